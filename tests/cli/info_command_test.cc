#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::runCommandLine;

TEST(InfoCommandTest, ADamagedLibraryIsSetAsideOnceAndSaidSo) {
  testing::TempDir dir;
  const testing::ScopedVariable data("XDG_DATA_HOME", dir.file("data").c_str());
  const testing::ScopedVariable config("XDG_CONFIG_HOME", dir.file("config").c_str());
  std::filesystem::create_directories(dir.path() / "data" / "Quorvane");
  std::ofstream(dir.path() / "data" / "Quorvane" / "quorvane.sqlite") << "not a database at all";

  const testing::CliRun first = runCommandLine({"--json", "info"});
  ASSERT_EQ(first.code, 0) << first.err;
  const nlohmann::json info = nlohmann::json::parse(first.out);
  ASSERT_EQ(info["recoveryCopies"].size(), 1u);
  const std::string copy = info["recoveryCopies"][0];
  EXPECT_NE(first.err.find("set aside, unchanged, in " + copy), std::string::npos) << first.err;
  EXPECT_EQ(info["notices"][0]["key"], "storage.recovery.archived");
  EXPECT_EQ(info["temporary"], false);
  EXPECT_EQ(info["projects"], 0);
  EXPECT_EQ(info["integrity"], "ok");
  EXPECT_TRUE(std::filesystem::exists(copy + "/quorvane.sqlite"));

  const testing::CliRun second = runCommandLine({"info"});
  EXPECT_EQ(second.code, 0);
  EXPECT_EQ(second.err, "") << "a second start is quiet";
  const std::size_t line = second.out.find("\nrecovery ");
  ASSERT_NE(line, std::string::npos) << second.out;
  EXPECT_EQ(second.out.substr(second.out.find_first_not_of(' ', line + 9), copy.size() + 1),
            copy + "\n")
      << second.out;
}

TEST(InfoCommandTest, APathOfAnyShapeStaysOnItsLine) {
  testing::TempDir dir;
  const std::string odd = dir.file("da\nta\x1b[2J");
  const testing::ScopedVariable data("XDG_DATA_HOME", odd.c_str());
  const testing::ScopedVariable config("XDG_CONFIG_HOME", dir.file("config").c_str());
  const testing::CliRun run = runCommandLine({"info"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out.find('\x1b'), std::string::npos) << run.out;
  const std::string shown = dir.file("da\\u000ata\\u001b[2J") + "/Quorvane/quorvane.sqlite\n";
  EXPECT_EQ(run.out.rfind("library ", 0), 0u) << run.out;
  EXPECT_NE(run.out.find(shown), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\nstate                new (made at the first change)\n"),
            std::string::npos)
      << run.out;
}

}  // namespace
}  // namespace quorvane
