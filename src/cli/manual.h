// The manual page and the shell completion of the command line, made from
// the parsed command tree itself, so that they name every command and
// option the program has and no other (the build writes them from the
// program it has just made).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace quorvane {

// quorvane(1) in man(7) markup: the program's help, then each command's
// and subcommand's help as `--help` prints it, with the examples they give.
std::string manualPage(const CLI::App& app, std::string_view version, std::string_view date);

// A bash completion script: commands and subcommands, their options, and
// the values an option takes when it takes one of a list ("--lang <Tab>"
// offers the five languages). zsh takes it through bashcompinit.
std::string bashCompletion(const CLI::App& app);

// Every command path of `app` ("project", "project new", …), in order.
std::vector<std::string> commandPaths(const CLI::App& app);

}  // namespace quorvane
