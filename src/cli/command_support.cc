#include "cli/command_support.h"

#include <unicode/ustring.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "app/app_store.h"
#include "model/control_characters.h"

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

namespace {

bool isUtf8(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t length = 0;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return status != U_INVALID_CHAR_FOUND && status != U_ILLEGAL_CHAR_FOUND;
}

// Reads at most one byte more than the limit, so a huge or endless input
// (a device, a wrong file) is refused without being held in memory.
std::string readLimited(std::istream& in, std::size_t limit) {
  std::string content(limit + 1, '\0');
  in.read(content.data(), static_cast<std::streamsize>(content.size()));
  content.resize(static_cast<std::size_t>(in.gcount()));
  return content;
}

}  // namespace

std::string readTextInput(CliContext& context, const std::string& path) {
  constexpr std::size_t kLimit = kMaximumTextInputBytes;
  std::string content;
  if (path == "-") {
    content = readLimited(*context.in, kLimit);
  } else {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
      throw CliError(context.format("cli.error.cannot_read", {path}));
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw CliError(context.format("cli.error.cannot_read", {path}));
    content = readLimited(file, kLimit);
  }
  if (content.size() > kLimit) {
    throw CliError(
        context.format("cli.error.text_too_large", {path, std::to_string(kLimit >> 20)}));
  }
  if (!isUtf8(content)) throw CliError(context.format("cli.error.not_utf8", {path}));
  // NUL is valid UTF-8 but no text: a file full of them is UTF-16 or binary.
  if (holdsNul(content)) throw CliError(context.format("cli.error.nul_in_text", {path}));
  return content;
}

std::string jsonText(const nlohmann::json& json) {
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string resolveId(CliContext& context, const std::string& given,
                      const std::vector<std::string>& ids) {
  const auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  if (std::find(ids.begin(), ids.end(), given) != ids.end() || given.empty()) return given;
  const std::string prefix = lower(given);
  std::vector<std::string> matches;
  for (const std::string& id : ids) {
    if (lower(id).starts_with(prefix)) matches.push_back(id);
  }
  if (matches.size() == 1) return matches.front();
  if (matches.empty()) return given;
  std::string listed;
  for (const std::string& match : matches) listed += (listed.empty() ? "" : ", ") + match;
  throw CliError(context.format("cli.error.ambiguous_id", {given, listed}));
}

}  // namespace quorvane
