#include "pdf/pdf_xref_table.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace quorvane {

std::optional<std::vector<XrefEntry>> readXrefTable(const std::vector<std::uint8_t>& bytes,
                                                    std::size_t at) {
  const auto startsWith = [&](std::size_t p, std::string_view word) {
    return p + word.size() <= bytes.size() &&
           std::memcmp(bytes.data() + p, word.data(), word.size()) == 0;
  };
  const auto skipSpace = [&](std::size_t& p) {
    while (p < bytes.size() && isPdfSpace(bytes[p])) ++p;
  };
  const auto number = [&](std::size_t& p) -> std::optional<std::uint64_t> {
    std::uint64_t value = 0;
    const std::size_t from = p;
    while (p < bytes.size() && isPdfDigit(bytes[p]) && p - from < 12)
      value = value * 10 + (bytes[p++] - '0');
    if (p == from) return std::nullopt;
    return value;
  };
  if (!startsWith(at, "xref")) return std::nullopt;
  std::size_t p = at + 4;
  std::vector<XrefEntry> entries;
  for (;;) {
    skipSpace(p);
    if (startsWith(p, "trailer")) return entries;
    const std::optional<std::uint64_t> first = number(p);
    skipSpace(p);
    const std::optional<std::uint64_t> count = number(p);
    if (!first || !count) return std::nullopt;
    // The line ends right after the count; entries follow, 20 bytes each.
    while (p < bytes.size() && bytes[p] == ' ') ++p;
    if (p < bytes.size() && bytes[p] == '\r') ++p;
    if (p < bytes.size() && bytes[p] == '\n') ++p;
    if (*count > (bytes.size() - p) / 20) return std::nullopt;
    for (std::uint64_t i = 0; i < *count; ++i, p += 20) {
      const std::uint8_t* entry = bytes.data() + p;
      if (!std::all_of(entry, entry + 10, isPdfDigit) || entry[10] != ' ' ||
          !std::all_of(entry + 11, entry + 16, isPdfDigit) || entry[16] != ' ' ||
          (entry[17] != 'n' && entry[17] != 'f')) {
        return std::nullopt;
      }
      std::uint64_t offset = 0;
      for (int d = 0; d < 10; ++d) offset = offset * 10 + (entry[d] - '0');
      entries.push_back(XrefEntry{*first + i, p, offset, entry[17] == 'n'});
    }
  }
}

std::optional<std::uint64_t> xrefTableOffset(const std::vector<std::uint8_t>& bytes) {
  constexpr std::string_view kWord = "startxref";
  const std::size_t from = bytes.size() > 1024 ? bytes.size() - 1024 : 0;
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  const auto found = std::find_end(begin, bytes.end(), kWord.begin(), kWord.end());
  if (found == bytes.end()) return std::nullopt;
  std::size_t p = static_cast<std::size_t>(found - bytes.begin()) + kWord.size();
  while (p < bytes.size() && isPdfSpace(bytes[p])) ++p;
  std::uint64_t value = 0;
  const std::size_t digits = p;
  while (p < bytes.size() && isPdfDigit(bytes[p]) && p - digits < 19)
    value = value * 10 + (bytes[p++] - '0');
  if (p == digits) return std::nullopt;
  return value;
}

}  // namespace quorvane
