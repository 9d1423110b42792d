// What the command line prints passes through this buffer, which writes
// control characters as visible escapes ("\u001b"): a title or a file name
// holding an escape sequence must never change the user's terminal. Line
// breaks and tabs pass; so does everything else, byte for byte. In JSON the
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
  void flushPending();

  std::streambuf* target_;
  bool pendingLeadByte_ = false;  // a 0xC2 that may begin a C1 control
};

}  // namespace quorvane
