// Where "now" comes from. Every reading of the current time goes through a
// `Clock`, so tests can fix and advance time instead of waiting for it.
#pragma once

#include "model/date.h"

namespace quorvane {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
};

// The wall clock of the machine.
class SystemClock final : public Clock {
 public:
  Date now() const override;
};

// The process-wide wall clock, for callers that are not handed one.
const Clock& systemClock();

}  // namespace quorvane
