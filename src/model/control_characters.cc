#include "model/control_characters.h"

#include <cstdio>

namespace quorvane {
namespace {

bool isC0OrDelete(unsigned char c) { return c < 0x20 || c == 0x7F; }

// A C1 control in UTF-8: C2 80 … C2 9F.
bool isC1At(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]) == 0xC2 && i + 1 < text.size() &&
         static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
         static_cast<unsigned char>(text[i + 1]) <= 0x9F;
}

std::string escape(unsigned codePoint) {
  char escaped[8];
  std::snprintf(escaped, sizeof escaped, "\\u%04x", codePoint);
  return escaped;
}

}  // namespace

CleanedText withoutControlCharacters(std::string_view text, TextShape shape) {
  CleanedText cleaned;
  cleaned.text.reserve(text.size());
  const bool multiLine = shape == TextShape::multiLine;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '\n' || c == '\t') {
      cleaned.text += multiLine ? static_cast<char>(c) : ' ';
    } else if (c == '\r') {
      if (i + 1 < text.size() && text[i + 1] == '\n') continue;  // the "\n" follows
      cleaned.text += multiLine ? '\n' : ' ';
    } else if (isC0OrDelete(c)) {
      ++cleaned.removed;
    } else if (isC1At(text, i)) {
      ++cleaned.removed;
      ++i;
    } else if (c >= 0x80 && c <= 0x9F && !cleaned.text.empty() &&
               static_cast<unsigned char>(cleaned.text.back()) == 0xC2) {
      // A lone C2 (no UTF-8) and this byte, brought together by what was
      // taken out between them, would make a C1 control: neither stays.
      cleaned.text.pop_back();
      ++cleaned.removed;
    } else {
      cleaned.text += static_cast<char>(c);
    }
  }
  return cleaned;
}

bool holdsNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }

namespace {

std::string escaped(std::string_view text, bool keepsLines) {
  std::string escaped;
  escaped.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (keepsLines && (c == '\n' || c == '\t')) {
      escaped += static_cast<char>(c);
    } else if (isC0OrDelete(c)) {
      escaped += escape(c);
    } else if (isC1At(text, i)) {
      escaped += escape(static_cast<unsigned char>(text[i + 1]));
      ++i;
    } else {
      escaped += static_cast<char>(c);
    }
  }
  return escaped;
}

}  // namespace

std::string escapedForTerminal(std::string_view text) { return escaped(text, true); }

std::string escapedOnOneLine(std::string_view text) { return escaped(text, false); }

}  // namespace quorvane
