#include "model/date.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace quorvane {
namespace {

// 2^63 is exactly representable as a double; every finite value in
// [-2^63, 2^63) converts to int64 without overflow.
constexpr double kTwoTo63 = 9223372036854775808.0;

// Past 2^53 doubles no longer hold every whole count, so there is no exact
// stored count to give back.
constexpr double kTwoTo53 = 9007199254740992.0;

// Stored counts beyond ±2^62 ms (146 million years) are corrupt data. They
// are read as that limit, so that writing the date back cannot overflow.
constexpr double kLargestReadableMilliseconds = 4611686018427387904.0;  // 2^62

[[noreturn]] void stopOnUnrepresentableDate(double milliseconds) {
  std::fprintf(stderr, "quorvane: fatal: date of %g ms cannot be stored as 64-bit milliseconds\n",
               milliseconds);
  std::abort();
}

}  // namespace

std::int64_t millisecondsSince1970(Date date) {
  const double seconds = date.time_since_epoch().count();
  const double milliseconds = seconds * 1000.0;
  if (!std::isfinite(milliseconds) || milliseconds >= kTwoTo63 || milliseconds < -kTwoTo63) {
    stopOnUnrepresentableDate(milliseconds);
  }
  const auto truncated = static_cast<std::int64_t>(milliseconds);  // toward zero
  // seconds * 1000 can land just short of the whole count the date was read
  // from (2182187855.107 s gives …106.9998 ms). Truncating that would move
  // a stored time back by 1 ms on every load and save; a date that is exactly
  // what a count reads as writes that count back.
  if (std::abs(milliseconds) >= kTwoTo53) return truncated;
  const std::int64_t awayFromZero = truncated + (milliseconds < 0 ? -1 : 1);
  if (dateFromMilliseconds(awayFromZero) == date) return awayFromZero;
  return truncated;
}

std::optional<Date> storableDateFromSeconds(double seconds) {
  if (!std::isfinite(seconds) || std::abs(seconds) * 1000.0 > kLargestReadableMilliseconds) {
    return std::nullopt;
  }
  return dateFromSeconds(seconds);
}

std::optional<std::int64_t> millisecondsSince1970(std::optional<Date> date) {
  if (!date) return std::nullopt;
  return millisecondsSince1970(*date);
}

Date dateFromMilliseconds(std::int64_t milliseconds) {
  const double limited = std::clamp(static_cast<double>(milliseconds),
                                    -kLargestReadableMilliseconds, kLargestReadableMilliseconds);
  return Date(Seconds(limited / 1000.0));
}

std::optional<Date> dateFromMilliseconds(std::optional<std::int64_t> milliseconds) {
  if (!milliseconds) return std::nullopt;
  return dateFromMilliseconds(*milliseconds);
}

}  // namespace quorvane
