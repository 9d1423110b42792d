#include "cli/command_support.h"

#include <cctype>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>

#include "app/app_store.h"

namespace quorvane {

std::string localDay(Date date) {
  const std::time_t seconds = static_cast<std::time_t>(millisecondsSince1970(date) / 1000);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", &local);
  return text;
}

void printToast(CliContext& context) {
  const auto& toast = context.store().state().errorToast;
  if (toast && toast->style != ToastStyle::error) context.err << toast->text << '\n';
}

std::string readTextInput(CliContext& context, const std::string& path) {
  if (path == "-") {
    return std::string(std::istreambuf_iterator<char>(*context.in), {});
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw CliError(context.format("cli.error.cannot_read", {path}));
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

std::optional<std::int64_t> parseAmountToCents(std::string_view amount) {
  std::string digits;
  std::optional<std::size_t> decimals;
  // The last '.' or ',' followed by one or two digits is the decimal mark;
  // every other '.', ',', space or apostrophe groups thousands.
  const auto mark = amount.find_last_of(".,");
  const bool hasDecimals = mark != std::string_view::npos && amount.size() - mark - 1 >= 1 &&
                           amount.size() - mark - 1 <= 2;
  for (std::size_t i = 0; i < amount.size(); ++i) {
    const char c = amount[i];
    if (std::isdigit(static_cast<unsigned char>(c))) {
      digits += c;
      if (decimals) ++*decimals;
    } else if (hasDecimals && i == mark) {
      decimals = 0;
    } else if (c == ',' || c == '.' || c == ' ' || c == '\'') {
      if (i == 0 || i + 1 == amount.size()) return std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  if (digits.empty() || digits.size() > 15) return std::nullopt;
  std::int64_t cents = std::stoll(digits);
  for (std::size_t d = decimals.value_or(0); d < 2; ++d) cents *= 10;
  return cents;
}

std::string formatCents(std::int64_t cents) {
  const std::int64_t fraction = cents % 100;
  return std::to_string(cents / 100) + "." + (fraction < 10 ? "0" : "") + std::to_string(fraction);
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
