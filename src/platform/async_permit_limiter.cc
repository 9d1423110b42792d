#include "platform/async_permit_limiter.h"

#include <algorithm>

namespace quorvane {

void AsyncPermitLimiter::acquire(std::function<void()> granted) {
  if (available_ >= 1) {
    --available_;
    granted();
    return;
  }
  waiters_.push_back(std::move(granted));
}

void AsyncPermitLimiter::release() {
  if (!waiters_.empty()) {
    // The permit passes directly: `available_` stays as it is.
    std::function<void()> next = std::move(waiters_.front());
    waiters_.pop_front();
    executor_.post(std::move(next));
    return;
  }
  available_ = std::min(available_ + 1, kPermitCap);
}

}  // namespace quorvane
