#include "model/typed_fields.h"

#include <cctype>
#include <string>

namespace quorvane {
namespace {

// A small cursor over ASCII text: each `take…` consumes on success only.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  bool done() const { return at_ == text_.size(); }

  // Consumes a run of digits, returning how many there were.
  std::size_t takeDigits() {
    const std::size_t start = at_;
    while (!done() && std::isdigit(static_cast<unsigned char>(text_[at_]))) ++at_;
    return at_ - start;
  }

  bool take(std::string_view word) {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  void skipSpaces() {
    while (!done() && text_[at_] == ' ') ++at_;
  }

  std::size_t position() const { return at_; }
  void rewind(std::size_t position) { at_ = position; }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool takeYear(Reader& reader) {
  const std::size_t digits = reader.takeDigits();
  return digits == 3 || digits == 4;
}

bool takeSpanMark(Reader& reader) {
  for (const std::string_view mark : {"–", "—", "-", "/"}) {
    if (reader.take(mark)) return true;
  }
  return false;
}

}  // namespace

bool isReadableYear(std::string_view text) {
  text = trimmed(text);
  if (text.empty()) return true;
  Reader reader(text);
  for (const std::string_view circa : {"circa", "ca.", "c."}) {
    if (reader.take(circa)) {
      reader.skipSpaces();
      break;
    }
  }
  if (!takeYear(reader)) return false;
  if (reader.done()) return true;
  reader.skipSpaces();
  if (!takeSpanMark(reader)) return false;
  reader.skipSpaces();
  const std::size_t digits = reader.takeDigits();
  return reader.done() && (digits == 2 || digits == 3 || digits == 4);
}

bool isReadableDimension(std::string_view text) {
  text = trimmed(text);
  if (text.empty()) return true;
  Reader reader(text);
  const auto takeFraction = [&reader] {
    return reader.takeDigits() > 0 && reader.take("/") && reader.takeDigits() > 0;
  };
  const std::size_t start = reader.position();
  if (takeFraction() && reader.done()) return true;
  reader.rewind(start);
  if (reader.takeDigits() == 0) return false;
  if (reader.take(".") || reader.take(",")) {
    if (reader.takeDigits() == 0) return false;
    return reader.done();
  }
  if (reader.done()) return true;
  reader.skipSpaces();
  return takeFraction() && reader.done();
}

}  // namespace quorvane
