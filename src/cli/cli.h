// The `quorvane` command line. `runCli` is the whole program behind `main`,
// with its streams passed in so tests can run it in-process.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace quorvane {

// Runs the command line `args` (without the program name) and returns the
// exit code: 0 on success, non-zero with a message on `err` on failure.
// A file argument "-" reads `in` (standard input when none is given).
int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
           std::istream* in = nullptr);

}  // namespace quorvane
