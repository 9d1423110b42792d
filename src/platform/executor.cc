#include "platform/executor.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <future>

namespace quorvane {

WorkItem ManualExecutor::postAfter(Milliseconds delay, Task task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  queue_.emplace(std::pair{nowMs_ + std::max<std::int64_t>(delay.count(), 0), sequence_++},
                 Entry{std::move(task), cancelled});
  return WorkItem(cancelled);
}

bool ManualExecutor::runNextDueBy(std::int64_t limitMs) {
  while (!queue_.empty()) {
    auto first = queue_.begin();
    if (first->first.first > limitMs) return false;
    nowMs_ = std::max(nowMs_, first->first.first);
    Entry entry = std::move(first->second);
    queue_.erase(first);
    if (entry.cancelled->load()) continue;
    entry.task();
    return true;
  }
  return false;
}

void ManualExecutor::runUntilIdle() {
  while (runNextDueBy(nowMs_)) {
  }
}

void ManualExecutor::advanceBy(Milliseconds duration) {
  const std::int64_t end = nowMs_ + duration.count();
  while (runNextDueBy(end)) {
  }
  nowMs_ = end;
}

std::size_t ManualExecutor::pendingCount() const {
  std::size_t count = 0;
  for (const auto& [due, entry] : queue_) count += entry.cancelled->load() ? 0 : 1;
  return count;
}

SerialQueue::SerialQueue(std::string label, QueuePriority priority)
    : label_(std::move(label)), priority_(priority), thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SerialQueue::post(Task task) { postAfter(Milliseconds(0), std::move(task)); }

WorkItem SerialQueue::postAfter(Milliseconds delay, Task task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  {
    const std::lock_guard lock(mutex_);
    tasks_.emplace(std::chrono::steady_clock::now() + delay, std::pair{std::move(task), cancelled});
  }
  changed_.notify_all();
  return WorkItem(cancelled);
}

void SerialQueue::drain() {
  std::promise<void> done;
  post([&done] { done.set_value(); });
  done.get_future().wait();
}

void SerialQueue::run() {
  if (priority_ == QueuePriority::background) {
    // On Linux a nice value belongs to the thread: only this one yields.
    // Should it be refused, the work runs all the same, at the usual share.
    errno = 0;
    const int current = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
    if (errno == 0) ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), current + 10);
  }
  std::unique_lock lock(mutex_);
  for (;;) {
    if (tasks_.empty()) {
      if (stopping_) return;
      changed_.wait(lock);
      continue;
    }
    const auto due = tasks_.begin()->first;
    // On the way out, what was posted still runs, delays or not.
    if (!stopping_ && due > std::chrono::steady_clock::now()) {
      changed_.wait_until(lock, due);
      continue;
    }
    auto [task, cancelled] = std::move(tasks_.begin()->second);
    tasks_.erase(tasks_.begin());
    if (cancelled->load()) continue;
    lock.unlock();
    task();
    lock.lock();
  }
}

WorkerPool::WorkerPool(const std::string& label, int threads, QueuePriority priority) {
  for (int i = 0; i < std::max(threads, 1); ++i) {
    lanes_.push_back(std::make_unique<SerialQueue>(label + "." + std::to_string(i + 1), priority));
  }
}

WorkerPool::~WorkerPool() = default;

SerialQueue& WorkerPool::next() { return *lanes_[turn_.fetch_add(1) % lanes_.size()]; }

void WorkerPool::post(Task task) { next().post(std::move(task)); }

WorkItem WorkerPool::postAfter(Milliseconds delay, Task task) {
  return next().postAfter(delay, std::move(task));
}

}  // namespace quorvane
