#include "pdf/price_format.h"

#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/unistr.h>

#include <memory>

#include "model/amount.h"

namespace quorvane {

std::string formatPrice(std::int64_t cents, const std::string& currency,
                        const std::string& locale) {
  if (!isValidPriceCents(cents)) return {};
  // The amount as a decimal string: a double would round the largest.
  const std::string amount = formatCents(cents);
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> format(
      icu::NumberFormat::createCurrencyInstance(icu::Locale(locale.c_str()), status));
  icu::UnicodeString code = icu::UnicodeString::fromUTF8(currency);
  if (U_SUCCESS(status) && currency.size() == 3) {
    format->setCurrency(code.getTerminatedBuffer(), status);
    // A whole price is written as a gallery writes it, "€12,500": cents
    // only when there are some.
    if (cents % 100 == 0) format->setMinimumFractionDigits(0);
  }
  icu::UnicodeString text;
  if (U_SUCCESS(status) && currency.size() == 3) {
    const icu::Formattable number(icu::StringPiece(amount.data(), static_cast<int>(amount.size())),
                                  status);
    if (U_SUCCESS(status)) format->format(number, text, status);
  }
  if (U_FAILURE(status) || currency.size() != 3) {
    return amount + (currency.empty() ? "" : " " + currency);
  }
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace quorvane
