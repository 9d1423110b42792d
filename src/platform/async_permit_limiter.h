// A small asynchronous semaphore: at most a few pieces of background work
// (page thumbnails) hold a permit at once, the others wait their turn in
// the order they asked. A waiter is a continuation, posted to the
// limiter's executor when a permit passes to it; nothing blocks a thread.
//
// All calls are made on the limiter's executor (the store's main one).
// Every granted permit must be released exactly once, also when the work
// fails or is called off: waiting is not cancellable, so a job cancelled
// while it waits still gets its permit and must give it back.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>

#include "platform/executor.h"

namespace quorvane {

class AsyncPermitLimiter {
 public:
  AsyncPermitLimiter(Executor& executor, int limit)
      : executor_(executor), limit_(limit), available_(limit) {}

  // Runs `granted` holding a permit: at once when one is free, else posted
  // when an earlier holder releases one (first in, first out).
  void acquire(std::function<void()> granted);
  // Hands the permit straight to the oldest waiter, or frees it. Free
  // permits never exceed 2, whatever `limit` is: the cap is fixed, and the
  // one limiter of the program has a limit of 2.
  void release();

  int limit() const { return limit_; }
  int availablePermits() const { return available_; }
  std::size_t waiting() const { return waiters_.size(); }

 private:
  static constexpr int kPermitCap = 2;

  Executor& executor_;
  int limit_;
  int available_;
  std::deque<std::function<void()>> waiters_;  // oldest first
};

}  // namespace quorvane
