#include "model/text.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <limits>

namespace quorvane {
namespace {

// ICU's UTF-8 macros index with int32_t.
using Index = std::int32_t;

bool tooLongToScan(std::string_view text) {
  return text.size() > static_cast<std::size_t>(std::numeric_limits<Index>::max());
}

// Byte offset of the first code point of `text` that is not white space.
Index firstNonSpace(const char* s, Index length) {
  Index i = 0;
  while (i < length) {
    const Index start = i;
    UChar32 c;
    U8_NEXT(s, i, length, c);
    if (c < 0 || !u_isUWhiteSpace(c)) return start;
  }
  return length;
}

// Byte offset just past the last code point of `text` that is not white space.
Index endOfLastNonSpace(const char* s, Index start, Index length) {
  Index i = length;
  while (i > start) {
    const Index end = i;
    UChar32 c;
    U8_PREV(s, start, i, c);
    if (c < 0 || !u_isUWhiteSpace(c)) return end;
  }
  return start;
}

}  // namespace

std::string trimmedWhitespaceAndNewlines(std::string_view text) {
  if (tooLongToScan(text)) return std::string(text);
  const auto length = static_cast<Index>(text.size());
  const Index begin = firstNonSpace(text.data(), length);
  const Index end = endOfLastNonSpace(text.data(), begin, length);
  return std::string(text.substr(begin, end - begin));
}

bool isBlank(std::string_view text) {
  if (tooLongToScan(text)) return false;
  const auto length = static_cast<Index>(text.size());
  return firstNonSpace(text.data(), length) == length;
}

bool isValidUtf8(std::string_view text) {
  if (tooLongToScan(text)) return false;
  const auto length = static_cast<Index>(text.size());
  for (Index i = 0; i < length;) {
    UChar32 c;
    U8_NEXT(text.data(), i, length, c);
    if (c < 0) return false;  // ICU takes overlong forms and surrogates for ill-formed
  }
  return true;
}

std::string joinedNonEmpty(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

std::string isolatedText(std::string_view text) {
  // Only text that holds right-to-left letters needs the marks; elsewhere
  // they would only be invisible characters for a PDF's text layer to carry.
  bool rightToLeft = false;
  const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  for (std::int32_t at = 0; at < length && !rightToLeft;) {
    UChar32 c = 0;
    U8_NEXT(text.data(), at, length, c);
    const UCharDirection direction = u_charDirection(c);
    rightToLeft = direction == U_RIGHT_TO_LEFT || direction == U_RIGHT_TO_LEFT_ARABIC;
  }
  if (!rightToLeft) return std::string(text);
  return "\u2068" + std::string(text) + "\u2069";
}

}  // namespace quorvane
