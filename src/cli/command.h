// What a command of the command line sees, and how commands are listed.
//
// Adding a command takes one entry in the table of commands.cc (name and
// one-line summary) and one installer function, which gives the command its
// options, examples and action. Actions report failure by throwing `CliError` (or any
// exception); the runner turns it into a message and a non-zero exit.
#pragma once

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "storage/app_container.h"

namespace quorvane {

class AppStore;
class StoreSession;

struct CliContext {
  std::ostream& out;
  std::ostream& err;
  bool json = false;                                    // --json: machine-readable output on `out`
  bool verbose = false;                                 // --verbose: diagnostics on `err`
  std::string languageOption;                           // --lang
  mutable std::optional<std::string> resolvedLanguage;  // read once per run
  std::string projectOption;                            // --project: this run's project
  std::istream* in = nullptr;                           // standard input ("-" as a file)
  std::shared_ptr<StoreSession> session;                // booted by the first `store()`
  // What the command does with the library. A command that changes it holds
  // the library lock from before the library is opened until everything is
  // written; one that only reads says so (`onlyReads`) and takes no lock.
  StorageAccess access = StorageAccess::write;
  CLI::App* root = nullptr;  // the parsed command line, to name the command
  // Standard error itself when it is a terminal, for progress lines that
  // redraw themselves (what they show must be escaped by the caller).
  std::ostream* terminal = nullptr;

  // The language messages are printed in: --lang, else the user's choice
  // in the preferences, else the system's (LANGUAGE, LC_ALL, …).
  std::string language() const;
  // An interface text in that language, its placeholders filled in order.
  std::string text(std::string_view key) const;
  std::string format(std::string_view key, std::initializer_list<std::string> arguments) const;
  // The plural form of `key` for `count` (uiPlural, uiCount).
  std::string plural(std::string_view key, std::int64_t count,
                     std::initializer_list<std::string> arguments) const;
  std::string count(std::string_view key, std::int64_t count) const;

  // Declares, before the first `store()`, that the command only reads: it
  // then works while another process changes the library, and writes
  // nothing, not even the preferences.
  void onlyReads() { access = StorageAccess::read; }
  // The library's store for this run: booted, started on the open project
  // (or --project) at the first call. Throws CliError when it can't start,
  // and, for a command that changes the library, when another process keeps
  // it, when it is read-only, or when only a temporary library could be
  // opened.
  AppStore& store();
  // Throws CliError with the store's last error message unless `ok`.
  void check(bool ok);
  // Writes what the command changed so far; throws CliError when it could
  // not. Called before printing what a change made (an id), so that nothing
  // is printed as done that is not in the library.
  void writeNow();
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
