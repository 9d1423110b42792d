#include "platform/library_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <system_error>
#include <thread>

namespace quorvane {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPoll{5};
constexpr milliseconds kLongestPoll{100};

int openLockFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "open " + path);
  return fd;
}

// True when taken; false when another process holds it.
bool lockWithoutWaiting(int fd, const std::string& path) {
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno == EWOULDBLOCK) return false;
    throw std::system_error(errno, std::generic_category(), "lock " + path);
  }
  return true;
}

std::string describe(const LockHolder& holder) {
  return "pid=" + std::to_string(holder.pid) + "\nprogram=" + holder.program +
         "\ncommand=" + holder.command + "\n";
}

// What the holder wrote; a partly written or foreign file gives what it can.
LockHolder parseHolder(const std::string& text) {
  LockHolder holder;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string key = line.substr(0, equals);
    const std::string value = line.substr(equals + 1);
    if (key == "pid") {
      try {
        holder.pid = std::stoll(value);
      } catch (const std::exception&) {
      }
    } else if (key == "program") {
      holder.program = value;
    } else if (key == "command") {
      holder.command = value;
    }
  }
  return holder;
}

LockHolder readHolder(int fd) {
  std::string text(4096, '\0');
  const ssize_t count = ::pread(fd, text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return parseHolder(text);
}

// Says who holds the lock now: written over the old words, then cut to its
// length, so that a waiter reading meanwhile finds whole lines. Failing to
// write it costs only the waiter's message, never the lock.
void recordHolder(int fd, const LockHolder& self) {
  const std::string text = describe(self);
  if (::pwrite(fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) return;
  [[maybe_unused]] const int cut = ::ftruncate(fd, static_cast<off_t>(text.size()));
}

}  // namespace

LibraryBusyError::LibraryBusyError(LockHolder holder)
    : std::runtime_error(
          "the library is in use by " +
          (holder.program.empty() ? std::string("another process") : holder.program) + " (pid " +
          std::to_string(holder.pid) + ")"),
      holder_(std::move(holder)) {}

std::unique_ptr<LibraryLock> LibraryLock::acquire(const std::string& path, const LockHolder& self,
                                                  const LockWait& wait) {
  const int fd = openLockFile(path);
  try {
    if (lockWithoutWaiting(fd, path)) {
      recordHolder(fd, self);
      return std::make_unique<LibraryLock>(Held{}, path, fd);
    }
    const Clock& clock = wait.clock != nullptr ? *wait.clock : systemClock();
    const auto sleep =
        wait.sleep ? wait.sleep : [](milliseconds d) { std::this_thread::sleep_for(d); };
    const Date deadline = clock.now() + wait.patience;
    LockHolder holder = readHolder(fd);
    bool told = false;
    milliseconds poll = kFirstPoll;
    while (clock.now() < deadline) {
      // Told once, as soon as the holder's words are there to read (a holder
      // that has just taken the lock may not have written them yet).
      if (!told && (holder.pid != 0 || poll > kFirstPoll)) {
        if (wait.onWait) wait.onWait(holder);
        told = true;
      }
      sleep(poll);
      if (lockWithoutWaiting(fd, path)) {
        recordHolder(fd, self);
        return std::make_unique<LibraryLock>(Held{}, path, fd);
      }
      const LockHolder now = readHolder(fd);
      if (now.pid != 0) holder = now;
      poll = std::min(poll * 2, kLongestPoll);
    }
    if (!told && wait.onWait) wait.onWait(holder);
    throw LibraryBusyError(holder);
  } catch (...) {
    ::close(fd);
    throw;
  }
}

std::unique_ptr<LibraryLock> LibraryLock::tryAcquire(const std::string& path,
                                                     const LockHolder& self) {
  const int fd = openLockFile(path);
  try {
    if (!lockWithoutWaiting(fd, path)) {
      ::close(fd);
      return nullptr;
    }
  } catch (...) {
    ::close(fd);
    throw;
  }
  recordHolder(fd, self);
  return std::make_unique<LibraryLock>(Held{}, path, fd);
}

std::optional<LockHolder> LibraryLock::currentHolder(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::optional<LockHolder> holder;
  if (::flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    holder = readHolder(fd);
  } else {
    ::flock(fd, LOCK_UN);
  }
  ::close(fd);
  return holder;
}

LibraryLock::~LibraryLock() {
  // The file stays: removing it would let a waiter lock a file that a third
  // process has just created anew, and two writers would hold "the" lock.
  ::flock(fd_, LOCK_UN);
  ::close(fd_);
}

std::string libraryLockPath(const std::string& databasePath) {
  const auto slash = databasePath.find_last_of('/');
  const std::string directory = slash == std::string::npos ? "." : databasePath.substr(0, slash);
  return directory + "/quorvane.lock";
}

}  // namespace quorvane
