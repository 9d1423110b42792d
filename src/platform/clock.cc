#include "platform/clock.h"

#include <chrono>

namespace quorvane {

Date SystemClock::now() const {
  return std::chrono::time_point_cast<Seconds>(std::chrono::system_clock::now());
}

const Clock& systemClock() {
  static const SystemClock clock;
  return clock;
}

}  // namespace quorvane
