// Runs the command line in-process and keeps what it printed.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "cli/cli.h"

namespace quorvane::testing {

struct CliRun {
  int code;
  std::string out;
  std::string err;
};

inline CliRun runCommandLine(const std::vector<std::string>& args, const std::string& input = "") {
  std::ostringstream out, err;
  std::istringstream in(input);
  const int code = runCli(args, out, err, &in);
  return {code, out.str(), err.str()};
}

}  // namespace quorvane::testing
