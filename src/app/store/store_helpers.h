// Small helpers the store's rooms share.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "model/amount.h"
#include "model/text.h"

namespace quorvane {

// A value that is empty counts as absent.
inline std::optional<std::string> nonEmpty(const std::optional<std::string>& value) {
  if (!value || value->empty()) return std::nullopt;
  return value;
}

// A currency as the user typed it, as the store keeps it: a code
// upper-cased ("eur " → "EUR"), empty for none; nothing when it is no code.
inline std::optional<std::string> normalisedCurrency(std::string_view typed) {
  const std::string trimmed = trimmedWhitespaceAndNewlines(std::string(typed));
  if (trimmed.empty()) return std::string();
  return currencyCode(trimmed);
}

}  // namespace quorvane
