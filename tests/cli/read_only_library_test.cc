// A library the user can read but not write (a read-only mount, a copy from
// a backup disk, another account's files): it is read as it is, every
// change is refused with a message, and nothing is moved or rewritten.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cli/process_support.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::ProcessOptions;
using testing::ProcessRun;
using testing::runQuorvane;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string contentOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class ReadOnlyLibraryTest : public ::testing::Test {
 protected:
  ProcessRun quorvane(const std::vector<std::string>& arguments, bool asReader) {
    ProcessOptions options;
    options.environment = testing::homeEnvironment(home.path().string(), 100);
    // Permissions do not hold back the super-user: the reader is then
    // another account.
    if (asReader && ::geteuid() == 0) options.asUser = "65534";
    return runQuorvane(arguments, options);
  }
  // Makes the library readable, not writable, by the reader.
  void protect() {
    for (const fs::path& path : {home.path(), home.path() / "data", home.path() / "config",
                                 home.path() / "config/Quorvane"}) {
      fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec);
    }
    for (const auto& entry : fs::recursive_directory_iterator(home.path() / "data")) {
      fs::permissions(entry.path(),
                      entry.is_directory()
                          ? fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                fs::perms::group_exec | fs::perms::others_read |
                                fs::perms::others_exec
                          : fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    }
    fs::permissions(home.path() / "data", fs::perms::owner_read | fs::perms::owner_exec |
                                              fs::perms::others_read | fs::perms::others_exec);
  }
  void TearDown() override {
    // Writable again, so the temporary folder can go.
    for (const auto& entry : fs::recursive_directory_iterator(home.path())) {
      std::error_code ignored;
      fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
  }

  testing::TempDir home;
};

TEST_F(ReadOnlyLibraryTest, ItIsReadAndEveryChangeIsRefusedWithNothingMoved) {
  ASSERT_EQ(quorvane({"project", "new", "On the backup disk"}, false).exitCode, 0);
  ASSERT_EQ(quorvane({"details", "set", "--first-name", "Ada"}, false).exitCode, 0);
  protect();
  const fs::path library = home.path() / "data/Quorvane/quorvane.sqlite";
  const std::string before = contentOf(library);

  const ProcessRun listed = quorvane({"projects"}, true);
  EXPECT_EQ(listed.exitCode, 0) << listed.err;
  EXPECT_TRUE(contains(listed.out, "On the backup disk")) << listed.out;
  const ProcessRun shown = quorvane({"--json", "project", "show"}, true);
  EXPECT_EQ(shown.exitCode, 0) << shown.err;

  for (const std::vector<std::string>& change :
       std::vector<std::vector<std::string>>{{"cv", "add", "soloExhibitions", "title=Tides"},
                                             {"project", "set", "--name", "Renamed"},
                                             {"reset", "--yes"}}) {
    const ProcessRun refused = quorvane(change, true);
    EXPECT_EQ(refused.exitCode, 1) << change[0];
    EXPECT_TRUE(contains(refused.err, "is read-only, so nothing can be changed there"))
        << refused.err;
  }
  EXPECT_EQ(contentOf(library), before);
  EXPECT_FALSE(fs::exists(home.path() / "data/Quorvane/Recovery"));
  EXPECT_FALSE(fs::exists(home.path() / "data/Quorvane/quorvane.sqlite-journal"));
}

}  // namespace
}  // namespace quorvane
