// The manual page and the bash completion are written by the program from
// its own command tree; these stories read the tree as a user finds it
// (each command's --help) and look for every command in both.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/cli_run.h"

namespace quorvane {
namespace {

using testing::runCommandLine;

// Every command path, found by following the "Commands:" of each --help.
std::vector<std::vector<std::string>> commandsByHelp(std::vector<std::string> path = {}) {
  std::vector<std::string> asking = path;
  asking.push_back("--help");
  std::istringstream help(runCommandLine(asking).out);
  std::vector<std::vector<std::string>> found;
  bool listing = false;
  for (std::string line; std::getline(help, line);) {
    if (line == "Commands:") {
      listing = true;
    } else if (line.empty()) {
      listing = false;
    } else if (listing && line.starts_with("  ") && line[2] != ' ') {
      std::vector<std::string> command = path;
      command.push_back(line.substr(2, line.find(' ', 2) - 2));
      found.push_back(command);
      for (auto& below : commandsByHelp(command)) found.push_back(below);
    }
  }
  return found;
}

std::string joined(const std::vector<std::string>& words) {
  std::string out = "quorvane";
  for (const std::string& word : words) out += " " + word;
  return out;
}

TEST(ManualTest, TheManualAndTheCompletionNameEveryCommandTheHelpShows) {
  const auto commands = commandsByHelp();
  ASSERT_GT(commands.size(), 40u) << "the help lists the commands and their subcommands";
  const testing::CliRun manual = runCommandLine({"--manual"});
  const testing::CliRun completion = runCommandLine({"--completion", "bash"});
  ASSERT_EQ(manual.code, 0);
  ASSERT_EQ(completion.code, 0);
  for (const auto& command : commands) {
    SCOPED_TRACE(joined(command));
    EXPECT_NE(manual.out.find(".SS \"" + joined(command) + "\""), std::string::npos);
    std::vector<std::string> parent(command.begin(), command.end() - 1);
    const std::string listed = "[\"" + joined(parent) + "\"]=\"";
    const auto at = completion.out.find(listed);
    ASSERT_NE(at, std::string::npos);
    const std::string names = completion.out.substr(
        at + listed.size(), completion.out.find('"', at + listed.size()) - at - listed.size());
    EXPECT_NE((" " + names + " ").find(" " + command.back() + " "), std::string::npos);
  }
  // The examples a command's help gives are in the manual too.
  EXPECT_NE(manual.out.find("quorvane project new \"Spring 2027\""), std::string::npos);
  // An option that takes one of a list offers the list.
  EXPECT_NE(completion.out.find("[\"quorvane project new|--locale\"]=\"en fr it de es\""),
            std::string::npos);
  EXPECT_NE(completion.out.find("[\"quorvane|--lang\"]=\"en fr it de es\""), std::string::npos);
}

}  // namespace
}  // namespace quorvane
