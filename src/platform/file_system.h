// The thin seam between the program and the file system. Code that touches
// files takes a `FileSystem&`, so tests can hand it a fake that fails on
// purpose. Failures are thrown as `std::system_error` with the errno code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvane {

using Bytes = std::vector<std::uint8_t>;

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The whole content of the regular file at `path`.
  virtual Bytes readFile(const std::string& path) = 0;
};

// The machine's real file system.
class RealFileSystem final : public FileSystem {
 public:
  Bytes readFile(const std::string& path) override;
};

// The process-wide real file system, for callers that are not handed one.
FileSystem& realFileSystem();

}  // namespace quorvane
