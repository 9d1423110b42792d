#include "model/slug.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace quorvane {
namespace {

// Case folding (locale-independent, so "I" folds to "i" even in Turkish),
// then canonical decomposition with the combining marks dropped ("ë" → "e"),
// then lower case in the current locale.
std::string foldedLowerCase(std::string_view text) {
  // A name never comes near this; a hostile text is cut rather than
  // overflowing ICU's int32_t lengths.
  constexpr std::size_t kLongestText = 1 << 20;
  text = text.substr(0, kLongestText);
  icu::UnicodeString folded = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  folded.foldCase();

  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
  icu::UnicodeString decomposed = U_SUCCESS(status) ? nfd->normalize(folded, status) : folded;
  if (U_FAILURE(status)) decomposed = folded;

  icu::UnicodeString withoutMarks;
  for (int32_t i = 0; i < decomposed.length();) {
    const UChar32 c = decomposed.char32At(i);
    if (u_charType(c) != U_NON_SPACING_MARK) withoutMarks.append(c);
    i += U16_LENGTH(c);
  }
  withoutMarks.toLower(icu::Locale::getDefault());

  std::string utf8;
  withoutMarks.toUTF8String(utf8);
  return utf8;
}

bool isSlugCharacter(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

// Runs of anything but [a-z0-9] (hyphens included) become a single "-".
std::string hyphenatedRuns(std::string_view folded) {
  std::string result;
  result.reserve(folded.size());
  for (const char c : folded) {
    if (isSlugCharacter(c)) {
      result += c;
    } else if (result.empty() || result.back() != '-') {
      result += '-';
    }
  }
  return result;
}

std::string trimmedHyphens(std::string_view text) {
  const auto first = text.find_first_not_of('-');
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of('-');
  return std::string(text.substr(first, last - first + 1));
}

}  // namespace

std::string slug(std::string_view text, std::optional<int> maxLength) {
  std::string result = trimmedHyphens(hyphenatedRuns(foldedLowerCase(text)));
  // Only ASCII is left, so characters and bytes are the same here.
  if (maxLength && *maxLength >= 1 && result.size() > static_cast<std::size_t>(*maxLength)) {
    result = trimmedHyphens(std::string_view(result).substr(0, *maxLength));
  }
  if (result.empty()) return std::string(kSlugFallback);
  return result;
}

}  // namespace quorvane
