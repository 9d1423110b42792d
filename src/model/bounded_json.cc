#include "model/bounded_json.h"

namespace quorvane {

std::size_t jsonNestingDepth(std::string_view text, std::size_t limit) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  bool inString = false;
  bool escaped = false;
  for (const char c : text) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    switch (c) {
      case '"':
        inString = true;
        break;
      case '[':
      case '{':
        deepest = std::max(deepest, ++depth);
        if (deepest > limit) return deepest;
        break;
      case ']':
      case '}':
        if (depth > 0) --depth;
        break;
      default:
        break;
    }
  }
  return deepest;
}

std::optional<nlohmann::json> parseBoundedJson(std::string_view text, std::size_t maximumDepth) {
  if (jsonNestingDepth(text, maximumDepth) > maximumDepth) return std::nullopt;
  nlohmann::json value = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

}  // namespace quorvane
