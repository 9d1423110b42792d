// What the command line prints passes through this buffer, which writes
// control characters as visible escapes ("\u001b", "\u009b"): a title or a
// file name holding an escape sequence must never change the user's
// terminal. Bytes that are no UTF-8 are written "\x9b", so that no lone
// byte can be taken for a control by an 8-bit terminal. Line breaks and tabs
// pass; so does all other text, byte for byte. In JSON (always UTF-8) the
// escapes are the JSON escapes of the same characters.
#pragma once

#include <streambuf>

namespace quorvane {

class EscapingStreamBuffer final : public std::streambuf {
 public:
  explicit EscapingStreamBuffer(std::streambuf* target) : target_(target) {}
  ~EscapingStreamBuffer() override;

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  void put(const char* text);
  void putByte(unsigned char byte);
  // The bytes of an incomplete character, written as escapes.
  void flushPending();

  std::streambuf* target_;
  unsigned char pending_[4] = {};  // the character being read
  int pendingLength_ = 0;
  int expectedLength_ = 0;
};

}  // namespace quorvane
