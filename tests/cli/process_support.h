// The real `quorvane` program run as a user runs it, in a process of its
// own: what it printed, how it ended, and a kill at a chosen moment.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quorvane::testing {

struct ProcessRun {
  int exitCode = -1;    // when it ended by itself
  bool killed = false;  // when the kill came first
  std::string out;
  std::string err;
  std::chrono::milliseconds took{0};
};

struct ProcessOptions {
  std::vector<std::string> environment;  // "NAME=value", added to this process's own
  std::string input;                     // its standard input
  // Killed with SIGKILL this long after it started, unless it ended before.
  std::optional<std::chrono::microseconds> killAfter;
  // Run as this user (through setpriv) when set, for a library it can't write.
  std::optional<std::string> asUser;
  // Another program built with the tests, in place of quorvane.
  std::optional<std::string> program;
};

// The environment of a run whose library and preferences live in `home`,
// in English, waiting `lockWaitMs` for another writer.
std::vector<std::string> homeEnvironment(const std::string& home, int lockWaitMs = 5000);

// Runs the quorvane program built with these tests with `arguments`.
ProcessRun runQuorvane(const std::vector<std::string>& arguments,
                       const ProcessOptions& options = {});

}  // namespace quorvane::testing
