// One writer at a time. A process that changes the library (its database,
// its media folder, the preferences) first takes this lock; one that only
// reads never does. The lock is an advisory lock (flock) on a small file
// beside the database, in which the holder writes its pid, program and
// command so that a process that finds the library taken can say by whom.
//
// The kernel drops the lock when its holder ends, however it ends (a kill
// included), so a lock is never left behind; the file itself stays, and what
// it says matters only while someone holds the lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/clock.h"

namespace quorvane {

// The programs that take the lock: the command line, and the desktop
// application, which holds it for as long as it is open.
inline constexpr std::string_view kCommandLineProgram = "quorvane";
inline constexpr std::string_view kDesktopProgram = "quorvane-desktop";

// Who holds (or asks for) the lock.
struct LockHolder {
  std::int64_t pid = 0;
  std::string program;  // kCommandLineProgram or kDesktopProgram
  std::string command;  // what it is doing, such as "artworks add"

  bool operator==(const LockHolder&) const = default;
};

// The library is being changed by another process and stayed so for as long
// as this one was willing to wait.
class LibraryBusyError : public std::runtime_error {
 public:
  explicit LibraryBusyError(LockHolder holder);
  const LockHolder& holder() const { return holder_; }

 private:
  LockHolder holder_;
};

// How long a writer waits for the lock and how it waits; the default is
// the machine's clock and sleep. Tests pass a clock they move themselves.
struct LockWait {
  std::chrono::milliseconds patience{5000};
  const Clock* clock = nullptr;                          // systemClock() when null
  std::function<void(std::chrono::milliseconds)> sleep;  // a real sleep when empty
  // Called once, when the lock is found taken and waiting begins.
  std::function<void(const LockHolder&)> onWait;
};

class LibraryLock {
 public:
  // Takes the lock on the file at `path` (created when missing), waiting as
  // `wait` says while another process holds it. Throws LibraryBusyError when
  // the wait ends with the lock still taken, and std::system_error when the
  // file can't be created or locked (a read-only folder).
  static std::unique_ptr<LibraryLock> acquire(const std::string& path, const LockHolder& self,
                                              const LockWait& wait = {});
  // Takes the lock when it is free at once; nothing when it is taken.
  static std::unique_ptr<LibraryLock> tryAcquire(const std::string& path, const LockHolder& self);

  // Who holds the lock on `path` now, when someone does.
  static std::optional<LockHolder> currentHolder(const std::string& path);

  ~LibraryLock();
  LibraryLock(const LibraryLock&) = delete;
  LibraryLock& operator=(const LibraryLock&) = delete;

  const std::string& path() const { return path_; }

 private:
  struct Held {
    explicit Held() = default;
  };

 public:
  // Made only by `acquire` and `tryAcquire`, around a descriptor that holds
  // the lock.
  LibraryLock(Held, std::string path, int fd) : path_(std::move(path)), fd_(fd) {}

 private:
  std::string path_;
  int fd_;
};

// The lock file of the library whose database is at `databasePath`.
std::string libraryLockPath(const std::string& databasePath);

}  // namespace quorvane
