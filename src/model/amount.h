// Amounts of money as artists write them, read strictly: a price that could
// be read two ways is refused, never guessed ("1.5.5" is no 15.50).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvane {

// Cents of an amount written as whole units ("1200"), with one or two
// decimals after "." or "," ("1200.5", "1200,50"), with thousands grouped by
// one separator throughout — ",", ".", a space, a no-break space or an
// apostrophe — in groups of three after the first ("1,200.50", "1.200,50",
// "1 200", "1'200.50"), the decimal mark then being the other one. Nothing
// for anything else, for negative amounts and for more than 15 digits.
std::optional<std::int64_t> parseAmountToCents(std::string_view amount);

// The largest price an artist can write: 15 digits of whole units.
inline constexpr std::int64_t kMaximumPriceCents = 99'999'999'999'999'999;

// A price the command line and the window would take: from nothing to the
// largest. Anything else found in a package or a library is no price.
constexpr bool isValidPriceCents(std::int64_t cents) {
  return cents >= 0 && cents <= kMaximumPriceCents;
}

// 120050 → "1200.50", -5 → "-0.05"; right for every value.
std::string formatCents(std::int64_t cents);

// An ISO 4217-shaped code (three letters), upper-cased; nothing otherwise.
std::optional<std::string> currencyCode(std::string_view text);

}  // namespace quorvane
