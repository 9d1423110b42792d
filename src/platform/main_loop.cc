#include "platform/main_loop.h"

namespace quorvane {

void MainLoop::post(Task task) { postAfter(Milliseconds(0), std::move(task)); }

WorkItem MainLoop::postAfter(Milliseconds delay, Task task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  {
    const std::lock_guard lock(mutex_);
    const TimePoint due = std::chrono::steady_clock::now() + delay;
    queue_.emplace(std::pair{due, sequence_++}, Entry{std::move(task), cancelled});
  }
  changed_.notify_all();
  return WorkItem(cancelled);
}

bool MainLoop::takeDue(TimePoint limit, Entry& entry) {
  const std::lock_guard lock(mutex_);
  while (!queue_.empty() && queue_.begin()->first.first <= limit) {
    auto node = queue_.extract(queue_.begin());
    if (node.mapped().cancelled->load()) continue;
    entry = std::move(node.mapped());
    return true;
  }
  return false;
}

void MainLoop::runUntilIdle() {
  Entry entry;
  while (takeDue(std::chrono::steady_clock::now(), entry)) {
    if (!entry.cancelled->load()) entry.task();
  }
}

void MainLoop::run() {
  for (;;) {
    runUntilIdle();
    std::unique_lock lock(mutex_);
    if (quitting_) {
      quitting_ = false;
      return;
    }
    if (queue_.empty()) {
      changed_.wait(lock);
    } else {
      changed_.wait_until(lock, queue_.begin()->first.first);
    }
    if (quitting_) {
      quitting_ = false;
      return;
    }
  }
}

void MainLoop::runUntil(const std::function<bool()>& finished) {
  Entry entry;
  while (!finished()) {
    if (takeDue(std::chrono::steady_clock::now(), entry)) {
      if (!entry.cancelled->load()) entry.task();
      continue;
    }
    std::unique_lock lock(mutex_);
    if (queue_.empty()) {
      changed_.wait(lock);
    } else {
      changed_.wait_until(lock, queue_.begin()->first.first);
    }
  }
}

void MainLoop::quit() {
  {
    const std::lock_guard lock(mutex_);
    quitting_ = true;
  }
  changed_.notify_all();
}

}  // namespace quorvane
