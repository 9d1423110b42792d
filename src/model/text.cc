#include "model/text.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

namespace quorvane {
namespace {

using Index = std::int32_t;

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
  const auto length = static_cast<Index>(text.size());
  const Index begin = firstNonSpace(text.data(), length);
  const Index end = endOfLastNonSpace(text.data(), begin, length);
  return std::string(text.substr(begin, end - begin));
}

bool isBlank(std::string_view text) {
  const auto length = static_cast<Index>(text.size());
  return firstNonSpace(text.data(), length) == length;
}

}  // namespace quorvane
