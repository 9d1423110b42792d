// Word and character counts of a text, as the text editors show them.
#pragma once

#include <string_view>

#include "model/records.h"

namespace quorvane {

// Words are the segments ICU's word breaking marks as words (letters,
// numbers, ideographs, kana), so punctuation and spaces never count and
// "l'atelier" or "Hans-Peter" count as the reader would. Characters are
// user-perceived characters (grapheme clusters): "é" written as e plus a
// combining accent is one, a flag is one.
TextStats textStats(std::string_view utf8);

}  // namespace quorvane
