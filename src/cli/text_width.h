// Lining up text in columns whatever the language.
#pragma once

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvane {

// The number of characters (code points) of UTF-8 text: the columns it
// takes in a terminal for the Latin scripts the interface is written in.
inline std::size_t displayWidth(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

// "label  value" lines, the labels padded to one width.
inline void printLines(const std::vector<std::pair<std::string, std::string>>& lines,
                       std::ostream& out) {
  std::size_t width = 0;
  for (const auto& [label, value] : lines) width = std::max(width, displayWidth(label));
  for (const auto& [label, value] : lines) {
    out << label << std::string(width - displayWidth(label) + 2, ' ') << value << '\n';
  }
}

}  // namespace quorvane
