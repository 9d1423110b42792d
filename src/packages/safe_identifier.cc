#include "packages/safe_identifier.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace quorvane {

bool isSafeIdentifier(std::string_view id) {
  if (id.empty() || id == "." || id == "..") return false;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(id.data());
  const auto length = static_cast<std::int32_t>(id.size());
  std::int32_t offset = 0;
  int characters = 0;
  while (offset < length) {
    UChar32 c = 0;
    U8_NEXT(bytes, offset, length, c);
    if (c < 0) return false;  // no UTF-8
    if (++characters > 128) return false;
    const bool letterOrDigit = u_isalpha(c) || u_isdigit(c);
    if (characters == 1 && !letterOrDigit) return false;
    if (!letterOrDigit && c != '.' && c != '_' && c != ':' && c != '-') return false;
  }
  return true;
}

}  // namespace quorvane
