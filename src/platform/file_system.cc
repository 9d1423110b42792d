#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
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
    throw std::system_error(EINVAL, std::generic_category(), path + " is not a regular file");
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

void RealFileSystem::writeFileAtomically(const std::string& path,
                                         std::span<const std::uint8_t> bytes) {
  AtomicFile file(path);
  file.write(bytes);
  file.commit();
}

void RealFileSystem::createDirectories(const std::string& path) {
  std::filesystem::create_directories(path);
}

bool RealFileSystem::exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

FileSystem::EntryKind RealFileSystem::entryKind(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return EntryKind::missing;
    throwErrno("stat " + path);
  }
  if (S_ISLNK(info.st_mode)) return EntryKind::link;
  if (S_ISREG(info.st_mode)) return EntryKind::file;
  if (S_ISDIR(info.st_mode)) return EntryKind::directory;
  return EntryKind::other;
}

std::vector<std::string> RealFileSystem::listDirectory(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

void RealFileSystem::move(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) throwErrno("move " + from + " to " + to);
}

void RealFileSystem::removeAll(const std::string& path) { std::filesystem::remove_all(path); }

void RealFileSystem::createDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0755) != 0) throwErrno("create directory " + path);
}

void RealFileSystem::copyFile(const std::string& from, const std::string& to) {
  std::filesystem::copy_file(from, to);  // fails when `to` exists
}

std::uint64_t RealFileSystem::fileSize(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) throwErrno("stat " + path);
  return static_cast<std::uint64_t>(info.st_size);
}

namespace {

class PosixFileReader final : public FileReader {
 public:
  // `flags` are added to opening for reading.
  PosixFileReader(const std::string& path, int flags)
      : path_(path), fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags)) {
    if (fd_.get() < 0) throwErrno("open " + path);
    struct stat info {};
    if (::fstat(fd_.get(), &info) != 0) throwErrno("stat " + path);
    regular_ = S_ISREG(info.st_mode);
    size_ = static_cast<std::uint64_t>(info.st_size);
  }
  bool isRegular() const { return regular_; }
  int descriptor() const { return fd_.get(); }
  std::uint64_t size() override { return size_; }
  Bytes read(std::size_t maximum) override {
    Bytes bytes(maximum);
    std::size_t filled = 0;
    while (filled < maximum) {
      const ssize_t count = ::read(fd_.get(), bytes.data() + filled, maximum - filled);
      if (count < 0) {
        if (errno == EINTR) continue;
        throwErrno("read " + path_);
      }
      if (count == 0) break;
      filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
  }

 private:
  std::string path_;
  FileDescriptor fd_;
  bool regular_ = false;
  std::uint64_t size_ = 0;
};

class WriterOnAtomicFile final : public FileWriter {
 public:
  explicit WriterOnAtomicFile(const std::string& path) : file_(path) {}
  void write(std::span<const std::uint8_t> bytes) override { file_.write(bytes); }
  void seek(std::uint64_t offset) override { file_.seek(offset); }
  std::uint64_t position() override { return file_.position(); }
  std::uint64_t size() override { return file_.size(); }
  std::string readBackPath() const override { return file_.readBackPath(); }
  void commit(AtomicFile::Replace replace) override { file_.commit(replace); }

 private:
  AtomicFile file_;
};

}  // namespace

std::unique_ptr<FileReader> RealFileSystem::openForReading(const std::string& path) {
  return std::make_unique<PosixFileReader>(path, 0);
}

std::unique_ptr<FileReader> RealFileSystem::openRegularFile(const std::string& path) {
  // Non-blocking, so that a FIFO is refused below instead of waited on.
  auto reader = std::make_unique<PosixFileReader>(path, O_NOFOLLOW | O_NONBLOCK);
  if (!reader->isRegular()) {
    throw std::system_error(EINVAL, std::generic_category(), path + " is not a regular file");
  }
  const int flags = ::fcntl(reader->descriptor(), F_GETFL);
  if (flags < 0 || ::fcntl(reader->descriptor(), F_SETFL, flags & ~O_NONBLOCK) != 0) {
    throwErrno("open " + path);
  }
  return reader;
}

std::unique_ptr<FileWriter> RealFileSystem::createAtomically(const std::string& path) {
  return std::make_unique<WriterOnAtomicFile>(path);
}

std::uint64_t RealFileSystem::availableBytes(const std::string& path) {
  struct statvfs info {};
  if (::statvfs(path.c_str(), &info) != 0) throwErrno("statvfs " + path);
  return static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
}

bool RealFileSystem::isWritable(const std::string& path) {
  // access() answers for this process's real ids and says EROFS for a
  // read-only mount, which is what writing would meet.
  return ::access(path.c_str(), W_OK) == 0;
}

Date RealFileSystem::modificationTime(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) throwErrno("stat " + path);
  return dateFromMilliseconds(static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000 +
                              info.st_mtim.tv_nsec / 1'000'000);
}

std::optional<FileStamp> RealFileSystem::regularFileStamp(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  const auto nanoseconds = [](const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
  };
  return FileStamp{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
                   static_cast<std::uint64_t>(info.st_size), nanoseconds(info.st_mtim),
                   nanoseconds(info.st_ctim)};
}

FileSystem& realFileSystem() {
  static RealFileSystem fileSystem;
  return fileSystem;
}

}  // namespace quorvane
