// The thin seam between the program and the file system. Code that touches
// files takes a `FileSystem&`, so tests can hand it a fake that fails on
// purpose. Failures are thrown as `std::system_error` with the errno code.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "model/date.h"
#include "platform/atomic_file.h"

namespace quorvane {

using Bytes = std::vector<std::uint8_t>;

// A file open for reading from its start; closed when destroyed.
class FileReader {
 public:
  virtual ~FileReader() = default;
  // Up to `maximum` further bytes; empty at the end of the file.
  virtual Bytes read(std::size_t maximum) = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The whole content of the regular file at `path`.
  virtual Bytes readFile(const std::string& path) = 0;

  // Writes `bytes` to a temporary file beside `path`, flushes it to the disk
  // and renames it over `path`: a reader sees the old file or the whole new
  // one, never a part, and a kill leaves nothing behind (AtomicFile).
  virtual void writeFileAtomically(const std::string& path,
                                   std::span<const std::uint8_t> bytes) = 0;

  // Creates the directory and any missing parents; an existing one is fine.
  virtual void createDirectories(const std::string& path) = 0;

  virtual bool exists(const std::string& path) = 0;

  // The names of the entries of a directory, in no particular order.
  virtual std::vector<std::string> listDirectory(const std::string& path) = 0;

  // Renames a file or directory, replacing a file at `to`.
  virtual void move(const std::string& from, const std::string& to) = 0;

  // Removes a file, or a directory with everything in it. Removing what
  // does not exist is no error.
  virtual void removeAll(const std::string& path) = 0;

  // Creates one new directory; one that exists already is an error.
  virtual void createDirectory(const std::string& path) = 0;

  // Copies a regular file's content to a new file.
  virtual void copyFile(const std::string& from, const std::string& to) = 0;

  // The size of a file in bytes.
  virtual std::uint64_t fileSize(const std::string& path) = 0;

  virtual std::unique_ptr<FileReader> openForReading(const std::string& path) = 0;

  // Whether this process may write the file, or create files in the
  // directory, at `path` (false for what does not exist).
  virtual bool isWritable(const std::string& path) = 0;

  // When the file at `path` was last written.
  virtual Date modificationTime(const std::string& path) = 0;
  // Flushes the finished temporary file (temporaryPathBeside) to the disk
  // and puts it at `target` in one step; on a failure the temporary file is
  // gone and `target` as it was (see publishTemporaryFile).
  virtual void publish(const std::string& temporary, const std::string& target,
                       AtomicFile::Replace replace) = 0;
};

// Hands every call on to another file system; a base for seams that change
// only some of them.
class ForwardingFileSystem : public FileSystem {
 public:
  explicit ForwardingFileSystem(FileSystem& target) : target_(target) {}

  Bytes readFile(const std::string& path) override { return target_.readFile(path); }
  void writeFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    target_.writeFileAtomically(path, bytes);
  }
  void createDirectories(const std::string& path) override { target_.createDirectories(path); }
  bool exists(const std::string& path) override { return target_.exists(path); }
  std::vector<std::string> listDirectory(const std::string& path) override {
    return target_.listDirectory(path);
  }
  void move(const std::string& from, const std::string& to) override { target_.move(from, to); }
  void removeAll(const std::string& path) override { target_.removeAll(path); }
  void createDirectory(const std::string& path) override { target_.createDirectory(path); }
  void copyFile(const std::string& from, const std::string& to) override {
    target_.copyFile(from, to);
  }
  std::uint64_t fileSize(const std::string& path) override { return target_.fileSize(path); }
  std::unique_ptr<FileReader> openForReading(const std::string& path) override {
    return target_.openForReading(path);
  }
  bool isWritable(const std::string& path) override { return target_.isWritable(path); }
  Date modificationTime(const std::string& path) override { return target_.modificationTime(path); }
  void publish(const std::string& temporary, const std::string& target,
               AtomicFile::Replace replace) override {
    target_.publish(temporary, target, replace);
  }

 private:
  FileSystem& target_;
};

// A file written piece by piece that appears at its path only when
// committed, and then whole; see atomic_file.h.
using AtomicFileWriter = AtomicFile;

// The machine's real file system.
class RealFileSystem final : public FileSystem {
 public:
  Bytes readFile(const std::string& path) override;
  void writeFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override;
  void createDirectories(const std::string& path) override;
  bool exists(const std::string& path) override;
  std::vector<std::string> listDirectory(const std::string& path) override;
  void move(const std::string& from, const std::string& to) override;
  void removeAll(const std::string& path) override;
  void createDirectory(const std::string& path) override;
  void copyFile(const std::string& from, const std::string& to) override;
  std::uint64_t fileSize(const std::string& path) override;
  std::unique_ptr<FileReader> openForReading(const std::string& path) override;
  bool isWritable(const std::string& path) override;
  Date modificationTime(const std::string& path) override;
  void publish(const std::string& temporary, const std::string& target,
               AtomicFile::Replace replace) override;
};

// The process-wide real file system, for callers that are not handed one.
FileSystem& realFileSystem();

}  // namespace quorvane
