// Unicode-aware text helpers shared by the records and file names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvane {

// `text` (UTF-8) without leading and trailing white space and line breaks,
// as Unicode's White_Space property defines them (tabs, no-break and
// ideographic spaces, U+2028, NEL, …). Invalid UTF-8 is left as it is. A
// text of 2 GiB or more is returned unchanged.
std::string trimmedWhitespaceAndNewlines(std::string_view text);

// True when `text` holds nothing but white space and line breaks (never for
// 2 GiB or more).
bool isBlank(std::string_view text);

// True when `text` is well-formed UTF-8: no overlong forms, no surrogates,
// nothing beyond U+10FFFF, no sequence cut short (false for 2 GiB or more).
bool isValidUtf8(std::string_view text);

// The non-empty `parts` joined by `separator`: "Tides, Berlin" from
// {"Tides", "", "Berlin"} and ", ".
std::string joinedNonEmpty(const std::vector<std::string>& parts, std::string_view separator);

// `text` between the marks that isolate it from the text around it (U+2068
// … U+2069) when it holds right-to-left letters, else as it is: for a
// person's text set among a document's words, so that an Arabic title
// followed by ", 2026" keeps the year after it.
std::string isolatedText(std::string_view text);

}  // namespace quorvane
