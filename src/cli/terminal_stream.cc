#include "cli/terminal_stream.h"

#include <cstdio>

namespace quorvane {
namespace {

void escapeInto(char* buffer, std::size_t size, unsigned codePoint) {
  std::snprintf(buffer, size, "\\u%04x", codePoint);
}

}  // namespace

EscapingStreamBuffer::~EscapingStreamBuffer() { flushPending(); }

void EscapingStreamBuffer::put(const char* text) {
  for (; *text != '\0'; ++text) target_->sputc(*text);
}

void EscapingStreamBuffer::flushPending() {
  if (!pendingLeadByte_) return;
  pendingLeadByte_ = false;
  target_->sputc(static_cast<char>(0xC2));
}

EscapingStreamBuffer::int_type EscapingStreamBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const auto byte = static_cast<unsigned char>(traits_type::to_char_type(c));
  char escaped[8];
  if (pendingLeadByte_) {
    pendingLeadByte_ = false;
    if (byte >= 0x80 && byte <= 0x9F) {  // U+0080–U+009F
      escapeInto(escaped, sizeof escaped, byte);
      put(escaped);
      return c;
    }
    target_->sputc(static_cast<char>(0xC2));
  }
  if (byte == 0xC2) {
    pendingLeadByte_ = true;
  } else if ((byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F) {
    escapeInto(escaped, sizeof escaped, byte);
    put(escaped);
  } else {
    target_->sputc(static_cast<char>(byte));
  }
  return c;
}

int EscapingStreamBuffer::sync() {
  flushPending();
  return target_->pubsync();
}

}  // namespace quorvane
