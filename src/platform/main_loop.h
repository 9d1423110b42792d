// The real main executor: the thread that calls `run` or `runUntilIdle`
// runs every task, so state that belongs to the main thread is touched by
// that thread alone. Other threads post results back to it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/executor.h"

namespace quorvane {

class MainLoop final : public Executor {
 public:
  // Safe from any thread.
  void post(Task task) override;
  WorkItem postAfter(Milliseconds delay, Task task) override;

  // Runs the tasks that are due, and those they post for now, then returns;
  // timers not yet due are left waiting. A command-line run ends with it.
  void runUntilIdle();
  // Runs tasks as they fall due until `quit` is called.
  void run();
  // Runs tasks as they fall due, waiting for those other threads post,
  // until `finished` says so (checked after each task): how a command waits
  // for work it handed to a queue.
  void runUntil(const std::function<bool()>& finished);
  // Makes `run` return after the task in progress; safe from any thread.
  void quit();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  struct Entry {
    Task task;
    std::shared_ptr<std::atomic<bool>> cancelled;
  };
  // Takes the next task due by `limit`; false when there is none.
  bool takeDue(TimePoint limit, Entry& entry);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t sequence_ = 0;
  std::map<std::pair<TimePoint, std::uint64_t>, Entry> queue_;
  bool quitting_ = false;
};

}  // namespace quorvane
