// What a command of the command line sees, and how commands are listed.
//
// Adding a command takes one entry in the table of commands.cc (name and
// one-line summary) and one installer function, which gives the command its
// options, examples and action. Actions report failure by throwing `CliError` (or any
// exception); the runner turns it into a message and a non-zero exit.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string_view>

namespace quorvane {

struct CliContext {
  std::ostream& out;
  std::ostream& err;
  bool json = false;     // --json: machine-readable output on `out`
  bool verbose = false;  // --verbose: diagnostics on `err`
};

// A user-facing failure: bad arguments, unreadable input.
class CliError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Called with the command's own (sub)app, already named and summarised.
using CommandInstaller = void (*)(CLI::App& command, CliContext& context);

struct CommandEntry {
  const char* name;
  const char* summary;
  CommandInstaller install;
};

// Every command, in the order `--help` lists them.
std::span<const CommandEntry> cliCommands();

}  // namespace quorvane
