#include "model/amount.h"

#include <cctype>
#include <vector>

namespace quorvane {
namespace {

constexpr std::size_t kMaximumDigits = 15;

bool isGroupSeparator(char c) { return c == ',' || c == '.' || c == ' ' || c == '\''; }

// The amount with its no-break spaces (U+00A0, U+202F) as plain spaces and
// the white space around it gone.
std::string normalised(std::string_view amount) {
  std::string text;
  for (std::size_t i = 0; i < amount.size(); ++i) {
    if (amount.substr(i, 2) == "\xC2\xA0") {
      text += ' ';
      ++i;
    } else if (amount.substr(i, 3) == "\xE2\x80\xAF") {
      text += ' ';
      i += 2;
    } else {
      text += amount[i];
    }
  }
  const auto first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::optional<std::int64_t> parseAmountToCents(std::string_view amount) {
  const std::string text = normalised(amount);
  // Digit groups and the one-character separators between them.
  std::vector<std::string> groups{""};
  std::vector<char> separators;
  for (const char c : text) {
    if (std::isdigit(static_cast<unsigned char>(c))) {
      groups.back() += c;
    } else if (isGroupSeparator(c) && !groups.back().empty()) {
      separators.push_back(c);
      groups.emplace_back();
    } else {
      return std::nullopt;
    }
  }
  if (groups.back().empty()) return std::nullopt;

  std::string decimals;
  std::optional<char> decimalMark;
  const bool lastIsDecimal = !separators.empty() &&
                             (separators.back() == '.' || separators.back() == ',') &&
                             groups.back().size() <= 2;
  if (lastIsDecimal) {
    decimals = groups.back();
    decimalMark = separators.back();
    groups.pop_back();
    separators.pop_back();
  }
  if (!separators.empty()) {
    const char separator = separators.front();
    if (separator == decimalMark) return std::nullopt;
    if (groups.front().size() > 3) return std::nullopt;
    for (std::size_t i = 0; i < separators.size(); ++i) {
      if (separators[i] != separator || groups[i + 1].size() != 3) return std::nullopt;
    }
  }
  std::string digits;
  for (const std::string& group : groups) digits += group;
  digits += decimals;
  digits.append(2 - decimals.size(), '0');
  if (digits.size() > kMaximumDigits + 2) return std::nullopt;
  return std::stoll(digits);
}

std::string formatCents(std::int64_t cents) {
  // The magnitude unsigned: the most negative value has no positive twin.
  const std::uint64_t magnitude =
      cents < 0 ? 0 - static_cast<std::uint64_t>(cents) : static_cast<std::uint64_t>(cents);
  const std::uint64_t fraction = magnitude % 100;
  return (cents < 0 ? "-" : "") + std::to_string(magnitude / 100) + "." +
         (fraction < 10 ? "0" : "") + std::to_string(fraction);
}

std::optional<std::string> currencyCode(std::string_view text) {
  if (text.size() != 3) return std::nullopt;
  std::string code;
  for (const char c : text) {
    if (!std::isalpha(static_cast<unsigned char>(c))) return std::nullopt;
    code += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return code;
}

}  // namespace quorvane
