// Small pieces the library commands share.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "model/amount.h"
#include "model/date.h"
#include "model/raw_value.h"

namespace quorvane {

// The raw values of an enumeration, for CLI::IsMember and help texts.
template <typename E>
std::vector<std::string> rawValues() {
  std::vector<std::string> values;
  for (const E value : allCases<E>()) values.emplace_back(rawValue(value));
  return values;
}

// The enumeration case of an option already checked against `rawValues`.
template <typename E>
std::optional<E> parsed(const std::optional<std::string>& raw) {
  if (!raw) return std::nullopt;
  return fromRawValue<E>(*raw);
}

// The day of `date` in the local time zone, YYYY-MM-DD.
std::string localDay(Date date);

// Prints the store's toast of success or information on standard error.
void printToast(CliContext& context);

// The most a text file given to a command may hold: far more than any
// document's text, far less than what would strain memory.
inline constexpr std::size_t kMaximumTextInputBytes = 4 << 20;

// The whole content of a regular file, or of standard input for "-", which
// must be UTF-8 text of at most kMaximumTextInputBytes. Throws CliError.
std::string readTextInput(CliContext& context, const std::string& path);

// JSON as the commands print it: indented, and never failing on text that
// is not UTF-8 (such bytes show as U+FFFD).
std::string jsonText(const nlohmann::json& json);

// The id among `ids` that `given` names: itself, or the one id it begins
// (ignoring case) when only one does, so that "90d8" can stand for a long
// id. `given` unchanged when it names none; CliError when it could be
// several.
std::string resolveId(CliContext& context, const std::string& given,
                      const std::vector<std::string>& ids);

}  // namespace quorvane
