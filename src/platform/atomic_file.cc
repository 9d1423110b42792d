#include "platform/atomic_file.h"

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <functional>
#include <mutex>
#include <random>
#include <set>
#include <system_error>

namespace quorvane {
namespace {

constexpr std::string_view kMarker = ".tmp-";
constexpr std::size_t kSuffixLength = 6;
// The target's name is shortened inside the temporary name, so that a
// target of 255 bytes still has a temporary file.
constexpr std::size_t kNameInTemporary = 100;
constexpr std::time_t kPidlessStaleSeconds = 60 * 60;

[[noreturn]] void throwErrno(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

std::string directoryOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string fileNameOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string randomSuffix() {
  static constexpr char kLetters[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  thread_local std::mt19937_64 generator{std::random_device{}()};
  std::string suffix;
  for (std::size_t i = 0; i < kSuffixLength; ++i) {
    suffix += kLetters[generator() % (sizeof kLetters - 1)];
  }
  return suffix;
}

// The target's name at most kNameInTemporary bytes long, its extension
// kept (the folder's tidying finds temporary files of a kind by it).
std::string shortenedName(const std::string& name) {
  if (name.size() <= kNameInTemporary) return name;
  const auto dot = name.rfind('.');
  const std::size_t extension = dot == std::string::npos ? 0 : name.size() - dot;
  if (dot == 0 || extension > kNameInTemporary / 2) return name.substr(0, kNameInTemporary);
  return name.substr(0, kNameInTemporary - extension) + name.substr(dot);
}

std::string temporaryNameFor(const std::string& path) {
  std::string name = shortenedName(fileNameOf(path));
  return directoryOf(path) + "/." + name + std::string(kMarker) + std::to_string(::getpid()) + "-" +
         randomSuffix();
}

void syncDirectory(const std::string& directory) {
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// The permissions the committed file gets: those of the file it replaces.
mode_t modeFor(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) return info.st_mode & 07777;
  return 0644;
}

bool canLinkUnnamedFiles() {
  static const bool possible = ::access("/proc/self/fd", X_OK) == 0;
  return possible;
}

}  // namespace

AtomicFile::AtomicFile(std::string path) : path_(std::move(path)), directory_(directoryOf(path_)) {
  if (canLinkUnnamedFiles()) {
    // Readable too: should linking it fail at the commit, its content is
    // copied into a named file instead.
    fd_ = ::open(directory_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd_ >= 0) {
      unnamed_ = true;
      return;
    }
    if (errno == ENOENT || errno == EACCES || errno == EROFS || errno == ENOSPC ||
        errno == ENOTDIR || errno == EDQUOT) {
      throwErrno(errno, "create a file in " + directory_);
    }
    // Any other answer means this file system has no unnamed files.
  }
  for (int attempt = 0; fd_ < 0; ++attempt) {
    temporary_ = temporaryNameFor(path_);
    fd_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd_ < 0 && (errno != EEXIST || attempt > 100)) {
      throwErrno(errno, "create a temporary file in " + directory_);
    }
  }
}

AtomicFile::~AtomicFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void AtomicFile::seek(std::uint64_t offset) {
  if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0) throwErrno(errno, "seek " + path_);
}

std::uint64_t AtomicFile::position() const {
  const off_t at = ::lseek(fd_, 0, SEEK_CUR);
  if (at < 0) throwErrno(errno, "seek " + path_);
  return static_cast<std::uint64_t>(at);
}

std::uint64_t AtomicFile::size() const {
  struct stat info {};
  if (::fstat(fd_, &info) != 0) throwErrno(errno, "stat " + path_);
  return static_cast<std::uint64_t>(info.st_size);
}

std::string AtomicFile::readBackPath() const {
  return unnamed_ ? "/proc/self/fd/" + std::to_string(fd_) : temporary_;
}

void AtomicFile::write(std::span<const std::uint8_t> bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = ::write(fd_, bytes.data() + written, bytes.size() - written);
    if (count < 0) {
      if (errno == EINTR) continue;
      throwErrno(errno, "write " + path_);
    }
    written += static_cast<std::size_t>(count);
  }
}

namespace {

// Copies the whole content of `from` into `to`, from their starts.
void copyContent(int from, int to, const std::string& path) {
  if (::lseek(from, 0, SEEK_SET) != 0) throwErrno(errno, "write " + path);
  char buffer[1 << 16];
  for (;;) {
    const ssize_t count = ::read(from, buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      throwErrno(errno, "write " + path);
    }
    if (count == 0) return;
    for (ssize_t written = 0; written < count;) {
      const ssize_t n = ::write(to, buffer + written, static_cast<std::size_t>(count - written));
      if (n < 0) {
        if (errno == EINTR) continue;
        throwErrno(errno, "write " + path);
      }
      written += n;
    }
  }
}

}  // namespace

// Gives the unnamed file a temporary name beside the target; where linking
// through /proc is not allowed (some sandboxes), its content goes into a
// named temporary file instead.
void AtomicFile::nameTheUnnamedFile() {
  const std::string self = "/proc/self/fd/" + std::to_string(fd_);
  for (int attempt = 0;; ++attempt) {
    temporary_ = temporaryNameFor(path_);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      return;
    }
    const int error = errno;
    temporary_.clear();
    if (error == EEXIST && attempt < 100) continue;
    if (error != EPERM && error != ENOENT && error != EACCES) throwErrno(error, "write " + path_);
    break;
  }
  int named = -1;
  for (int attempt = 0; named < 0; ++attempt) {
    temporary_ = temporaryNameFor(path_);
    named = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (named < 0 && (errno != EEXIST || attempt > 100)) {
      const int error = errno;
      temporary_.clear();
      throwErrno(error, "create a temporary file in " + directory_);
    }
  }
  try {
    copyContent(fd_, named, path_);
    if (::fsync(named) != 0) throwErrno(errno, "write " + path_);
    if (::fchmod(named, modeFor(path_)) != 0) throwErrno(errno, "chmod " + path_);
  } catch (...) {
    ::close(named);
    throw;
  }
  ::close(named);
}

void AtomicFile::commit(Replace replace) {
  if (::fsync(fd_) != 0) throwErrno(errno, "write " + path_);
  if (::fchmod(fd_, modeFor(path_)) != 0) throwErrno(errno, "chmod " + path_);
  if (unnamed_) nameTheUnnamedFile();
  ::close(fd_);
  fd_ = -1;
  // Replacing is one rename; not replacing, a rename that refuses a file
  // already there, so that no check can be overtaken by another writer.
  const int renamed =
      replace == Replace::existing
          ? ::rename(temporary_.c_str(), path_.c_str())
          : ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE);
  if (renamed != 0) {
    const int error = errno;
    ::unlink(temporary_.c_str());
    temporary_.clear();
    throwErrno(error, "rename to " + path_);
  }
  temporary_.clear();
  syncDirectory(directory_);
}

std::optional<long> temporaryFileOwner(const std::string& name) {
  if (name.size() < 2 || name[0] != '.') return std::nullopt;
  const auto marker = name.rfind(kMarker);
  if (marker == std::string::npos || marker == 0) return std::nullopt;
  std::string tail = name.substr(marker + kMarker.size());
  // A library writing under our name may add its own ".XXXXXX" while it
  // writes (libzip does): still ours.
  if (const auto dot = tail.find('.'); dot != std::string::npos) {
    const std::string extra = tail.substr(dot + 1);
    if (extra.size() != 6 || !std::all_of(extra.begin(), extra.end(),
                                          [](unsigned char c) { return std::isalnum(c) != 0; })) {
      return std::nullopt;
    }
    tail.resize(dot);
  }
  const auto isSuffix = [](std::string_view text) {
    if (text.size() != kSuffixLength) return false;
    for (const char c : text) {
      if (!std::isalnum(static_cast<unsigned char>(c))) return false;
    }
    return true;
  };
  if (isSuffix(tail)) return 0;  // an older version's name, without a pid
  const auto dash = tail.find('-');
  if (dash == std::string::npos || dash == 0 || dash > 10 || !isSuffix(tail.substr(dash + 1))) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < dash; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(tail[i]))) return std::nullopt;
  }
  return std::stol(tail.substr(0, dash));
}

namespace {

// Removes our temporary files in `directory` whose process is gone and
// whose name `wanted` takes.
int removeStaleWhere(const std::string& directory,
                     const std::function<bool(const std::string&)>& wanted) {
  DIR* listing = ::opendir(directory.c_str());
  if (listing == nullptr) return 0;
  int removed = 0;
  const std::time_t now = std::time(nullptr);
  while (const dirent* entry = ::readdir(listing)) {
    const std::string name = entry->d_name;
    if (!wanted(name)) continue;
    const std::optional<long> owner = temporaryFileOwner(name);
    if (!owner) continue;
    const std::string path = directory + "/" + name;
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
    const bool stale = *owner > 0 ? ::kill(static_cast<pid_t>(*owner), 0) != 0 && errno == ESRCH
                                  : now - info.st_mtime > kPidlessStaleSeconds;
    if (stale && ::unlink(path.c_str()) == 0) ++removed;
  }
  ::closedir(listing);
  return removed;
}

}  // namespace

int removeStaleTemporaryFiles(const std::string& directory,
                              const std::optional<std::string>& targetName) {
  const std::optional<std::string> prefix =
      targetName
          ? std::optional<std::string>("." + shortenedName(*targetName) + std::string(kMarker))
          : std::nullopt;
  return removeStaleWhere(
      directory, [&](const std::string& name) { return !prefix || name.starts_with(*prefix); });
}

int removeStaleTemporaryFilesOfKind(const std::string& directory, std::string_view extension) {
  const std::string marked = std::string(extension) + std::string(kMarker);
  return removeStaleWhere(directory, [&](const std::string& name) {
    const auto marker = name.rfind(kMarker);
    return marker != std::string::npos && marker >= extension.size() &&
           name.compare(marker - extension.size(), marked.size(), marked) == 0;
  });
}

}  // namespace quorvane
