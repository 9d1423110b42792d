// A flag that one side sets and work running elsewhere reads between its
// steps: how long work is stopped when the user changes their mind. Shared
// by value; every copy is the same flag.
#pragma once

#include <atomic>
#include <memory>
#include <stdexcept>

namespace quorvane {

class Cancellation {
 public:
  void cancel() { flag_->store(true); }
  bool isCancelled() const { return flag_->load(); }

 private:
  std::shared_ptr<std::atomic<bool>> flag_ = std::make_shared<std::atomic<bool>>(false);
};

// Thrown by work that noticed it was cancelled, to unwind what it holds.
class CancelledError : public std::runtime_error {
 public:
  CancelledError() : std::runtime_error("cancelled") {}
};

}  // namespace quorvane
