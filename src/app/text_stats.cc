#include "app/text_stats.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <memory>

namespace quorvane {
namespace {

std::unique_ptr<icu::BreakIterator> breakIterator(bool words, const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> iterator(
      words ? icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status)
            : icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) return nullptr;
  iterator->setText(text);
  return iterator;
}

}  // namespace

TextStats textStats(std::string_view utf8) {
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
  TextStats stats;
  if (auto characters = breakIterator(false, text)) {
    characters->first();
    while (characters->next() != icu::BreakIterator::DONE) ++stats.characters;
  }
  if (auto words = breakIterator(true, text)) {
    words->first();
    while (words->next() != icu::BreakIterator::DONE) {
      if (words->getRuleStatus() != UBRK_WORD_NONE) ++stats.words;
    }
  }
  return stats;
}

}  // namespace quorvane
