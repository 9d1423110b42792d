// Diagnostics: plain lines of key=value words, such as
// "[Quorvane][PdfThumb] fs state=dir_recreated path=/…". Every diagnostic
// goes through one `Logger`, handed to whoever writes them, so the program
// stays quiet unless asked (--verbose) and tests can read what was said.
#pragma once

#include <mutex>
#include <ostream>
#include <string_view>

namespace quorvane {

class Logger {
 public:
  virtual ~Logger() = default;
  virtual void log(std::string_view line) = 0;
};

// Says nothing.
class NullLogger final : public Logger {
 public:
  void log(std::string_view) override {}
};

// Writes each line to a stream, whole, from any thread.
class StreamLogger final : public Logger {
 public:
  explicit StreamLogger(std::ostream& out) : out_(out) {}
  void log(std::string_view line) override {
    const std::lock_guard lock(mutex_);
    out_ << line << '\n' << std::flush;
  }

 private:
  std::mutex mutex_;
  std::ostream& out_;
};

// The process-wide silent logger, for callers that are not handed one.
inline Logger& nullLogger() {
  static NullLogger logger;
  return logger;
}

}  // namespace quorvane
