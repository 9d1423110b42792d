// What a command of the command line sees, and how commands are listed.
//
// Adding a command takes one installer function, which declares the
// subcommand, its options and its action, and one entry in the table of
// commands.cc. Actions report failure by throwing `CliError` (or any
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

using CommandInstaller = void (*)(CLI::App& app, CliContext& context);

struct CommandEntry {
  std::string_view name;
  CommandInstaller install;
};

// Every command, in the order `--help` lists them.
std::span<const CommandEntry> cliCommands();

}  // namespace quorvane
