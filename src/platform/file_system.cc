#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace quorvane {
namespace {

[[noreturn]] void throwErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Closes the descriptor when the read is done, however it ends.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

Bytes RealFileSystem::readFile(const std::string& path) {
  // Non-blocking, so that a path naming a FIFO is refused below instead of
  // waiting for a writer; for regular files the flag changes nothing.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) throwErrno("open " + path);
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) throwErrno("stat " + path);
  if (!S_ISREG(info.st_mode)) {
    throw std::system_error(EISDIR, std::generic_category(), "not a regular file: " + path);
  }
  Bytes bytes;
  bytes.reserve(static_cast<std::size_t>(info.st_size));
  std::uint8_t buffer[1 << 16];
  for (;;) {
    const ssize_t count = ::read(file.get(), buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      throwErrno("read " + path);
    }
    if (count == 0) break;
    bytes.insert(bytes.end(), buffer, buffer + count);
  }
  return bytes;
}

FileSystem& realFileSystem() {
  static RealFileSystem fileSystem;
  return fileSystem;
}

}  // namespace quorvane
