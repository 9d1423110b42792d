#include "pdf/price_format.h"

#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/unistr.h>

#include <memory>

namespace quorvane {

std::string formatPrice(std::int64_t cents, const std::string& currency,
                        const std::string& locale) {
  const double amount = static_cast<double>(cents) / 100.0;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> format(
      icu::NumberFormat::createCurrencyInstance(icu::Locale(locale.c_str()), status));
  icu::UnicodeString code = icu::UnicodeString::fromUTF8(currency);
  if (U_SUCCESS(status) && currency.size() == 3) {
    format->setCurrency(code.getTerminatedBuffer(), status);
  }
  if (U_FAILURE(status) || currency.size() != 3) {
    const std::int64_t fraction = cents % 100;
    return std::to_string(cents / 100) + "." + (fraction < 10 ? "0" : "") +
           std::to_string(fraction) + (currency.empty() ? "" : " " + currency);
  }
  icu::UnicodeString text;
  format->format(amount, text);
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace quorvane
