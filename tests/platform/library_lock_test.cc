#include "platform/library_lock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using std::chrono::milliseconds;

class LibraryLockTest : public ::testing::Test {
 protected:
  // A wait in virtual time: each sleep moves the clock instead.
  LockWait patientFor(milliseconds patience) {
    LockWait wait;
    wait.patience = patience;
    wait.clock = &clock;
    wait.sleep = [this](milliseconds slept) {
      sleeps.push_back(slept);
      clock.advanceMs(slept.count());
      if (onSleep) onSleep();
    };
    wait.onWait = [this](const LockHolder& holder) { waitedFor.push_back(holder); };
    return wait;
  }

  testing::TempDir dir;
  std::string path = dir.file("quorvane.lock");
  testing::ManualClock clock;
  std::vector<milliseconds> sleeps;
  std::vector<LockHolder> waitedFor;
  std::function<void()> onSleep;
  const LockHolder command{1234, "quorvane", "artworks add"};
  const LockHolder desktop{777, "quorvane-desktop", ""};
};

TEST_F(LibraryLockTest, AWriterHoldsTheLockAndSaysWhoItIs) {
  EXPECT_EQ(LibraryLock::currentHolder(path), std::nullopt) << "no file yet, no holder";
  {
    const auto lock = LibraryLock::acquire(path, command);
    EXPECT_EQ(LibraryLock::currentHolder(path), command);
    EXPECT_EQ(LibraryLock::tryAcquire(path, desktop), nullptr) << "one writer at a time";
  }
  EXPECT_EQ(LibraryLock::currentHolder(path), std::nullopt);
  const auto next = LibraryLock::tryAcquire(path, desktop);
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(LibraryLock::currentHolder(path), desktop) << "the new holder's words replace the old";
}

TEST_F(LibraryLockTest, ASecondWriterWaitsItsPatienceThenNamesTheHolder) {
  const auto held = LibraryLock::acquire(path, desktop);
  try {
    LibraryLock::acquire(path, command, patientFor(milliseconds(5000)));
    FAIL() << "the lock is held throughout";
  } catch (const LibraryBusyError& error) {
    EXPECT_EQ(error.holder(), desktop);
  }
  EXPECT_EQ(waitedFor, std::vector<LockHolder>{desktop}) << "told once that it waits, and for whom";
  milliseconds total{0};
  for (const milliseconds slept : sleeps) {
    total += slept;
    EXPECT_LE(slept, milliseconds(100)) << "a freed lock is taken within a tenth of a second";
  }
  EXPECT_GE(total, milliseconds(5000));
  EXPECT_LT(total, milliseconds(5100));
}

TEST_F(LibraryLockTest, AWaitingWriterTakesTheLockAsSoonAsTheHolderIsDone) {
  auto held = LibraryLock::acquire(path, desktop);
  onSleep = [&] {
    if (sleeps.size() == 3) held.reset();
  };
  const auto lock = LibraryLock::acquire(path, command, patientFor(milliseconds(5000)));
  EXPECT_EQ(sleeps.size(), 3u);
  EXPECT_EQ(LibraryLock::currentHolder(path), command);
}

TEST_F(LibraryLockTest, AHolderThatIsKilledLeavesNoLockBehind) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto lock = LibraryLock::acquire(path, LockHolder{::getpid(), "quorvane", "text set"});
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(ready[1], &byte, 1);
    for (;;) ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_EQ(LibraryLock::currentHolder(path), (LockHolder{child, "quorvane", "text set"}));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(ready[0]);
  ::close(ready[1]);
  EXPECT_NE(LibraryLock::tryAcquire(path, command), nullptr);
}

TEST_F(LibraryLockTest, AFolderWhereNoLockCanBeMadeIsAnErrorNotAWait) {
  EXPECT_THROW(LibraryLock::acquire(dir.file("missing/quorvane.lock"), command), std::system_error);
}

}  // namespace
}  // namespace quorvane
