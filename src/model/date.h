// Points in time. In memory a date is a count of seconds since 1970 in double
// precision; wherever it is stored (database, JSON, packages) it is a signed
// 64-bit count of whole milliseconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace quorvane {

using Seconds = std::chrono::duration<double>;
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

// Seconds since 1970 times 1000, truncated toward zero — except that a date
// read from a stored count always writes that same count back. A date whose
// millisecond value is not finite or does not fit in 64 bits is a programming
// error: the program prints what it was given and stops.
std::int64_t millisecondsSince1970(Date date);
std::optional<std::int64_t> millisecondsSince1970(std::optional<Date> date);

// The stored count divided by 1000. Counts beyond ±2^62 (corrupt data, far
// outside any calendar) read as that limit, so they can be saved again.
Date dateFromMilliseconds(std::int64_t milliseconds);
std::optional<Date> dateFromMilliseconds(std::optional<std::int64_t> milliseconds);

inline Date dateFromSeconds(double seconds) { return Date(Seconds(seconds)); }

// A count of seconds read from outside (a preferences file, a package):
// nothing when it is no number or beyond what is stored as milliseconds
// (±2^62 ms), so that a hostile value never reaches a save.
std::optional<Date> storableDateFromSeconds(double seconds);

}  // namespace quorvane
