// Feeds arbitrary bytes to the readers of what a careless or hostile hand
// gives the program: JSON files, prices, pasted text, names of files found
// in its folders. None may crash, hang or break its promise.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "model/amount.h"
#include "model/bounded_json.h"
#include "model/control_characters.h"
#include "platform/atomic_file.h"
#include "storage/files_media_store.h"

namespace {

bool isControl(std::string_view text, std::size_t i) {
  const auto c = static_cast<unsigned char>(text[i]);
  if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7F) return true;
  return c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
         static_cast<unsigned char>(text[i + 1]) <= 0x9F;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  using namespace quorvane;

  if (parseBoundedJson(text) && jsonNestingDepth(text) > kMaximumJsonDepth) __builtin_trap();

  if (const auto cents = parseAmountToCents(text)) {
    if (*cents < 0 || parseAmountToCents(formatCents(*cents)) != cents) __builtin_trap();
  }

  for (const TextShape shape : {TextShape::singleLine, TextShape::multiLine}) {
    const CleanedText cleaned = withoutControlCharacters(text, shape);
    for (std::size_t i = 0; i < cleaned.text.size(); ++i) {
      if (isControl(cleaned.text, i)) __builtin_trap();
    }
    if (withoutControlCharacters(cleaned.text, shape).text != cleaned.text) __builtin_trap();
  }
  const std::string escaped = escapedForTerminal(text);
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (isControl(escaped, i)) __builtin_trap();
  }

  temporaryFileOwner(std::string(text));
  if (const auto artwork = FilesMediaStore::artworkOfMediaFile(std::string(text))) {
    if (artwork->empty() || artwork->size() >= size) __builtin_trap();
  }
  return 0;
}
