// A home of its own for a test of the command line: the library and the
// preferences in a fresh temporary folder, as on a new machine, with one
// project already made and opened.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "cli/cli_run.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane::testing {

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class LibraryHomeTest : public ::testing::Test {
 protected:
  LibraryHomeTest() { EXPECT_EQ(runCommandLine({"project", "new", "Atelier"}).code, 0); }
  std::string libraryDirectory() const { return dir.file("data") + "/Quorvane"; }
  std::string libraryPath() const { return libraryDirectory() + "/quorvane.sqlite"; }

  TempDir dir;
  ScopedVariable data{"XDG_DATA_HOME", dir.file("data").c_str()};
  ScopedVariable config{"XDG_CONFIG_HOME", dir.file("config").c_str()};
};

}  // namespace quorvane::testing
