// A home of its own for a test of the command line: the library and the
// preferences in a fresh temporary folder, as on a new machine, with one
// project already made and opened.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/cli_run.h"
#include "images/test_images.h"
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
  // A JPEG of `width` × `height` in the test's folder, added to the open
  // project as an artwork; its id.
  std::string addArtwork(const std::string& name, int width, int height) {
    const auto bytes = encodedImage(".jpg", width, height);
    std::ofstream(dir.file(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()),
               static_cast<std::streamsize>(bytes->size()));
    const CliRun added = runCommandLine({"--json", "artworks", "add", dir.file(name)});
    EXPECT_EQ(added.code, 0) << added.err;
    return added.code == 0 ? nlohmann::json::parse(added.out)[0]["id"].get<std::string>() : "";
  }

  TempDir dir;
  ScopedVariable data{"XDG_DATA_HOME", dir.file("data").c_str()};
  ScopedVariable config{"XDG_CONFIG_HOME", dir.file("config").c_str()};
};

}  // namespace quorvane::testing
