// Prices as a reader of the export language writes them: "€4,800.00" in
// English, "4 800,00 €" in French, "4.800,00 €" in German.
#pragma once

#include <cstdint>
#include <string>

namespace quorvane {

// `cents` of `currency` (an ISO 4217 code) in the conventions of `locale`
// ("en", "fr", …). A code ICU does not know prints as "4800.00 XYZ"; a
// value no price can be (negative, or past 15 digits) prints as nothing.
std::string formatPrice(std::int64_t cents, const std::string& currency, const std::string& locale);

}  // namespace quorvane
