#include "model/date.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace quorvane {
namespace {

// 2^63 is exactly representable as a double; every finite value in
// [-2^63, 2^63) converts to int64 without overflow.
constexpr double kTwoTo63 = 9223372036854775808.0;

[[noreturn]] void stopOnUnrepresentableDate(double milliseconds) {
  std::fprintf(stderr, "quorvane: fatal: date of %g ms cannot be stored as 64-bit milliseconds\n",
               milliseconds);
  std::abort();
}

}  // namespace

std::int64_t millisecondsSince1970(Date date) {
  const double milliseconds = date.time_since_epoch().count() * 1000.0;
  if (!std::isfinite(milliseconds) || milliseconds >= kTwoTo63 || milliseconds < -kTwoTo63) {
    stopOnUnrepresentableDate(milliseconds);
  }
  return static_cast<std::int64_t>(milliseconds);  // truncates toward zero
}

std::optional<std::int64_t> millisecondsSince1970(std::optional<Date> date) {
  if (!date) return std::nullopt;
  return millisecondsSince1970(*date);
}

Date dateFromMilliseconds(std::int64_t milliseconds) {
  return Date(Seconds(static_cast<double>(milliseconds) / 1000.0));
}

std::optional<Date> dateFromMilliseconds(std::optional<std::int64_t> milliseconds) {
  if (!milliseconds) return std::nullopt;
  return dateFromMilliseconds(*milliseconds);
}

}  // namespace quorvane
