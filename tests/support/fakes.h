// Stand-ins for the platform seams: a clock that only moves when told, and an
// in-memory file system that counts its reads.
#pragma once

#include <cerrno>
#include <map>
#include <string>
#include <system_error>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace quorvane::testing {

class ManualClock final : public Clock {
 public:
  explicit ManualClock(std::int64_t startMs = 1'700'000'000'000) : nowMs_(startMs) {}
  Date now() const override { return dateFromMilliseconds(nowMs_); }
  std::int64_t nowMs() const { return nowMs_; }
  void advanceMs(std::int64_t ms) { nowMs_ += ms; }

 private:
  std::int64_t nowMs_;
};

class FakeFileSystem final : public FileSystem {
 public:
  Bytes readFile(const std::string& path) override {
    ++reads;
    const auto it = files.find(path);
    if (it == files.end()) throw std::system_error(ENOENT, std::generic_category(), path);
    return it->second;
  }

  std::map<std::string, Bytes> files;
  int reads = 0;
};

}  // namespace quorvane::testing
