// One line of progress on the terminal, redrawn in place, for work that
// may take a while: it appears only once the work has gone on for a second
// (a quick job stays quiet), is redrawn at most ten times a second, and is
// wiped when the work ends, so the command's own output starts on a clean
// line. Nothing is drawn when standard error is no terminal.
#pragma once

#include <chrono>
#include <ostream>
#include <string>

namespace quorvane {

class ProgressLine {
 public:
  using Clock = std::chrono::steady_clock;

  explicit ProgressLine(std::ostream* terminal, Clock::time_point start = Clock::now())
      : terminal_(terminal), start_(start) {}
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Shows `text` unless it is too early, or too soon after the last time.
  void show(const std::string& text, Clock::time_point now = Clock::now()) {
    if (terminal_ == nullptr || now - start_ < std::chrono::seconds(1)) return;
    if (shown_ && now - last_ < std::chrono::milliseconds(100)) return;
    *terminal_ << '\r' << text << "\x1b[K" << std::flush;
    shown_ = true;
    last_ = now;
  }
  void clear() {
    if (!shown_) return;
    *terminal_ << "\r\x1b[K" << std::flush;
    shown_ = false;
  }

 private:
  std::ostream* terminal_;
  Clock::time_point start_;
  Clock::time_point last_;
  bool shown_ = false;
};

}  // namespace quorvane
