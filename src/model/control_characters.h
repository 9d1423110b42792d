// Characters that are no text: NUL and the other C0 control characters,
// DEL and the C1 controls (U+0080–U+009F). Typed or pasted into a text they
// do harm out of sight: a PDF stops at a NUL, an escape sequence printed to a
// terminal changes the terminal. They are taken out of everything a user
// writes into the library, and escaped wherever the library's text is
// printed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvane {

enum class TextShape {
  singleLine,  // a title, a name: line breaks and tabs become spaces
  multiLine,   // a biography, a description: line breaks and tabs stay
};

struct CleanedText {
  std::string text;
  std::size_t removed = 0;  // characters taken out (replaced breaks are not counted)
};

// `text` without control characters. In a multi-line text, "\r\n" and a
// lone "\r" become "\n". Bytes that are not UTF-8 are left as they are.
CleanedText withoutControlCharacters(std::string_view text, TextShape shape);

// True when `text` holds a NUL byte.
bool holdsNul(std::string_view text);

// `text` with every control character but "\n" and "\t" written as a visible
// escape ("\u001b"), for a terminal (and still valid inside a JSON string).
std::string escapedForTerminal(std::string_view text);

// The same for a value that must stay on its line (a path beside its
// label): "\n" and "\t" are escaped too.
std::string escapedOnOneLine(std::string_view text);

}  // namespace quorvane
