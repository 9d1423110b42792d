// The thin seam between the program and the file system. Code that touches
// files takes a `FileSystem&`, so tests can hand it a fake that fails on
// purpose. Failures are thrown as `std::system_error` with the errno code.
#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "model/date.h"
#include "platform/atomic_file.h"

namespace quorvane {

using Bytes = std::vector<std::uint8_t>;

// One version of a file, told apart without reading it: where it lives
// (device and inode), its size, when its content was last written and when
// the file last changed at all (which no one but the kernel can set). A file
// written again, or another put in its place, has another stamp.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modifiedNanoseconds = 0;
  std::int64_t changedNanoseconds = 0;

  bool operator==(const FileStamp&) const = default;
};

// A file open for reading from its start; closed when destroyed.
class FileReader {
 public:
  virtual ~FileReader() = default;
  // Up to `maximum` further bytes; empty at the end of the file.
  virtual Bytes read(std::size_t maximum) = 0;
  // Its size when it was opened.
  virtual std::uint64_t size() = 0;
};

// A file being written that appears at its path only when committed, and
// then whole; uncommitted, nothing of it stays (see AtomicFile). Writes go
// at the position, which they move on.
class FileWriter {
 public:
  virtual ~FileWriter() = default;
  virtual void write(std::span<const std::uint8_t> bytes) = 0;
  virtual void seek(std::uint64_t offset) = 0;
  virtual std::uint64_t position() = 0;
  virtual std::uint64_t size() = 0;
  // A path under which what is written so far can be opened for reading,
  // until the commit.
  virtual std::string readBackPath() const = 0;
  virtual void commit(AtomicFile::Replace replace) = 0;
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

  // What is at `path` itself, a symbolic link not followed.
  enum class EntryKind { missing, file, directory, link, other };
  virtual EntryKind entryKind(const std::string& path) = 0;

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
  // The regular file at `path` itself: a symbolic link there is not
  // followed (ELOOP), and anything but a regular file (a FIFO, a device, a
  // folder) is refused (EINVAL) without waiting on it. For the library's
  // own files, which nothing outside may stand in for.
  virtual std::unique_ptr<FileReader> openRegularFile(const std::string& path) = 0;

  // Whether this process may write the file, or create files in the
  // directory, at `path` (false for what does not exist).
  virtual bool isWritable(const std::string& path) = 0;

  // When the file at `path` was last written.
  virtual Date modificationTime(const std::string& path) = 0;
  // The stamp of the regular file at `path` itself; nothing when nothing is
  // there, or a symbolic link, a folder or a FIFO is.
  virtual std::optional<FileStamp> regularFileStamp(const std::string& path) = 0;
  // A new file that becomes `path` when committed (AtomicFile).
  virtual std::unique_ptr<FileWriter> createAtomically(const std::string& path) = 0;
  // The bytes free for this user on the file system holding `path`.
  virtual std::uint64_t availableBytes(const std::string& path) = 0;
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
  EntryKind entryKind(const std::string& path) override { return target_.entryKind(path); }
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
  std::unique_ptr<FileReader> openRegularFile(const std::string& path) override {
    return target_.openRegularFile(path);
  }
  bool isWritable(const std::string& path) override { return target_.isWritable(path); }
  Date modificationTime(const std::string& path) override { return target_.modificationTime(path); }
  std::optional<FileStamp> regularFileStamp(const std::string& path) override {
    return target_.regularFileStamp(path);
  }
  std::unique_ptr<FileWriter> createAtomically(const std::string& path) override {
    return target_.createAtomically(path);
  }
  std::uint64_t availableBytes(const std::string& path) override {
    return target_.availableBytes(path);
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
  EntryKind entryKind(const std::string& path) override;
  std::vector<std::string> listDirectory(const std::string& path) override;
  void move(const std::string& from, const std::string& to) override;
  void removeAll(const std::string& path) override;
  void createDirectory(const std::string& path) override;
  void copyFile(const std::string& from, const std::string& to) override;
  std::uint64_t fileSize(const std::string& path) override;
  std::unique_ptr<FileReader> openForReading(const std::string& path) override;
  std::unique_ptr<FileReader> openRegularFile(const std::string& path) override;
  bool isWritable(const std::string& path) override;
  Date modificationTime(const std::string& path) override;
  std::optional<FileStamp> regularFileStamp(const std::string& path) override;
  std::unique_ptr<FileWriter> createAtomically(const std::string& path) override;
  std::uint64_t availableBytes(const std::string& path) override;
};

// Not enough free space for what is about to be written, found before
// anything was: ENOSPC, with the figures.
class InsufficientSpaceError : public std::system_error {
 public:
  InsufficientSpaceError(std::uint64_t needed, std::uint64_t available, const std::string& where)
      : std::system_error(ENOSPC, std::generic_category(),
                          where + " needs " + std::to_string(needed) + " bytes, " +
                              std::to_string(available) + " free"),
        needed_(needed),
        available_(available) {}
  std::uint64_t needed() const { return needed_; }
  std::uint64_t available() const { return available_; }

 private:
  std::uint64_t needed_;
  std::uint64_t available_;
};

// The process-wide real file system, for callers that are not handed one.
FileSystem& realFileSystem();

}  // namespace quorvane
