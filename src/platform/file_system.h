// The thin seam between the program and the file system. Code that touches
// files takes a `FileSystem&`, so tests can hand it a fake that fails on
// purpose. Failures are thrown as `std::system_error` with the errno code.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quorvane {

using Bytes = std::vector<std::uint8_t>;

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The whole content of the regular file at `path`.
  virtual Bytes readFile(const std::string& path) = 0;

  // Writes `bytes` to a temporary file beside `path`, flushes it to the disk
  // and renames it over `path`: a reader sees the old file or the whole new
  // one, never a part.
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
};

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
};

// The process-wide real file system, for callers that are not handed one.
FileSystem& realFileSystem();

}  // namespace quorvane
