#include "cli/terminal_stream.h"

#include <cstdio>

namespace quorvane {
namespace {

// The length of the UTF-8 character a byte begins; 0 for a byte that begins
// none.
int sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

}  // namespace

EscapingStreamBuffer::~EscapingStreamBuffer() { flushPending(); }

void EscapingStreamBuffer::put(const char* text) {
  for (; *text != '\0'; ++text) target_->sputc(*text);
}

void EscapingStreamBuffer::putByte(unsigned char byte) {
  char escaped[8];
  std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
  put(escaped);
}

void EscapingStreamBuffer::flushPending() {
  for (int i = 0; i < pendingLength_; ++i) putByte(pending_[i]);
  pendingLength_ = expectedLength_ = 0;
}

EscapingStreamBuffer::int_type EscapingStreamBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const auto byte = static_cast<unsigned char>(traits_type::to_char_type(c));
  char escaped[8];
  if (pendingLength_ > 0) {
    if ((byte & 0xC0) == 0x80) {
      pending_[pendingLength_++] = byte;
      if (pendingLength_ < expectedLength_) return c;
      // A whole character: a C1 control (U+0080–U+009F) is escaped, any
      // other passes.
      if (expectedLength_ == 2 && pending_[0] == 0xC2 && pending_[1] <= 0x9F) {
        std::snprintf(escaped, sizeof escaped, "\\u%04x", pending_[1]);
        put(escaped);
      } else {
        for (int i = 0; i < pendingLength_; ++i) target_->sputc(static_cast<char>(pending_[i]));
      }
      pendingLength_ = expectedLength_ = 0;
      return c;
    }
    flushPending();  // cut short: no character
  }
  const int length = sequenceLength(byte);
  if (length == 0) {
    putByte(byte);
  } else if (length > 1) {
    pending_[0] = byte;
    pendingLength_ = 1;
    expectedLength_ = length;
  } else if ((byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F) {
    std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
    put(escaped);
  } else {
    target_->sputc(static_cast<char>(byte));
  }
  return c;
}

int EscapingStreamBuffer::sync() {
  // A character cut by a flush is finished by the bytes that follow it.
  return target_->pubsync();
}

}  // namespace quorvane
