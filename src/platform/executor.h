// Where work runs. The program's state changes on one main executor; slow
// work runs on named serial queues ("app.quorvane.snapshot-save", …). Every
// delay goes through an executor too, so tests drive a `ManualExecutor` in
// virtual time: a 900 ms debounce is tested without waiting 900 ms.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"

namespace quorvane {

using Task = std::function<void()>;
using Milliseconds = std::chrono::milliseconds;

// A delayed task that can still be called off. Cancelling after it ran, or
// twice, does nothing.
class WorkItem {
 public:
  WorkItem() = default;
  explicit WorkItem(std::shared_ptr<std::atomic<bool>> cancelled)
      : cancelled_(std::move(cancelled)) {}
  void cancel() const {
    if (cancelled_) cancelled_->store(true);
  }
  bool isCancelled() const { return cancelled_ && cancelled_->load(); }

 private:
  std::shared_ptr<std::atomic<bool>> cancelled_;
};

class Executor {
 public:
  virtual ~Executor() = default;
  // Runs `task` soon, after the tasks posted before it.
  virtual void post(Task task) = 0;
  // Runs `task` once `delay` has passed, unless the returned item is
  // cancelled first.
  virtual WorkItem postAfter(Milliseconds delay, Task task) = 0;
};

// An executor in virtual time, for tests: nothing runs until the test says
// so, and time moves only when the test moves it. It is also the clock of
// that virtual time.
class ManualExecutor final : public Executor, public Clock {
 public:
  explicit ManualExecutor(std::int64_t startMs = 1'700'000'000'000) : nowMs_(startMs) {}

  void post(Task task) override { postAfter(Milliseconds(0), std::move(task)); }
  WorkItem postAfter(Milliseconds delay, Task task) override;
  Date now() const override { return dateFromMilliseconds(nowMs_); }
  std::int64_t nowMs() const { return nowMs_; }

  // Runs every task due by now, including those they post for now.
  void runUntilIdle();
  // Runs the first task due by now, if any; true when one ran.
  bool runOne() { return runNextDueBy(nowMs_); }
  // Moves time forward step by step, running each task at its due time.
  void advanceBy(Milliseconds duration);
  // Tasks waiting, due or not (cancelled ones excluded).
  std::size_t pendingCount() const;

 private:
  struct Entry {
    Task task;
    std::shared_ptr<std::atomic<bool>> cancelled;
  };
  bool runNextDueBy(std::int64_t limitMs);

  std::int64_t nowMs_;
  std::uint64_t sequence_ = 0;
  std::map<std::pair<std::int64_t, std::uint64_t>, Entry> queue_;  // (due, order) → task
};

class SerialQueue;

// Background work on a few threads: each task goes to the next of `threads`
// serial queues in turn. For work bounded elsewhere (the thumbnail permits)
// that wants as many lanes as it has permits.
// How a queue's threads share the processor with the others: `background`
// work (thumbnails drawn ahead of need) gives way to what the user waits
// for, as a lower scheduling priority (a higher nice value) of its threads.
enum class QueuePriority { normal, background };

class WorkerPool final : public Executor {
 public:
  WorkerPool(const std::string& label, int threads, QueuePriority priority = QueuePriority::normal);
  ~WorkerPool() override;

  void post(Task task) override;
  WorkItem postAfter(Milliseconds delay, Task task) override;

 private:
  SerialQueue& next();

  std::vector<std::unique_ptr<SerialQueue>> lanes_;
  std::atomic<std::size_t> turn_{0};
};

// A serial queue on a thread of its own: tasks run one at a time in the
// order posted. Destroying it runs what was posted, then stops.
class SerialQueue final : public Executor {
 public:
  explicit SerialQueue(std::string label, QueuePriority priority = QueuePriority::normal);
  ~SerialQueue() override;

  void post(Task task) override;
  WorkItem postAfter(Milliseconds delay, Task task) override;
  // Returns once every task posted before this call has run.
  void drain();
  const std::string& label() const { return label_; }

 private:
  void run();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<std::chrono::steady_clock::time_point,
                std::pair<Task, std::shared_ptr<std::atomic<bool>>>>
      tasks_;
  bool stopping_ = false;
  QueuePriority priority_;
  std::thread thread_;
};

}  // namespace quorvane
