// One writer at a time, told as a user meets it: a command that would
// change the library while another process changes it waits a little, then
// says who holds it and changes nothing; commands that only read go on.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>

#include "cli/cli_run.h"
#include "cli/library_home.h"
#include "platform/library_lock.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_database.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::CliRun;
using testing::runCommandLine;

using testing::contains;

class OneWriterTest : public testing::LibraryHomeTest {
 protected:
  std::string lockPath() const { return libraryDirectory() + "/quorvane.lock"; }
  std::string libraryDump() {
    SQLiteDatabase db(libraryPath());
    return testing::dumpDatabase(db);
  }

  // The holder below never lets go: no test waits for it longer than this.
  testing::ScopedVariable patience{"QUORVANE_LOCK_WAIT_MS", "30"};
};

TEST_F(OneWriterTest, AChangeWaitsThenNamesTheCommandThatHoldsTheLibrary) {
  const std::string before = libraryDump();
  {
    const auto held =
        LibraryLock::acquire(lockPath(), LockHolder{4242, "quorvane", "artworks add"});
    const CliRun refused = runCommandLine({"cv", "add", "soloExhibitions", "title=Tides"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(contains(refused.err,
                         "Another Quorvane command (pid 4242: quorvane artworks add) is changing "
                         "the library; waiting for it to finish…"))
        << refused.err;
    EXPECT_TRUE(contains(refused.err, "so nothing was changed. Try again when it has finished."))
        << refused.err;
    EXPECT_FALSE(contains(refused.err, "locked")) << "SQLite's words never reach the user";

    // Reading goes on while the other process writes.
    const CliRun shown = runCommandLine({"--json", "project", "show"});
    EXPECT_EQ(shown.code, 0) << shown.err;
    EXPECT_EQ(runCommandLine({"projects"}).code, 0);
    EXPECT_EQ(runCommandLine({"cv", "show"}).code, 0);
  }
  EXPECT_EQ(libraryDump(), before);

  const CliRun added = runCommandLine({"cv", "add", "soloExhibitions", "title=Tides"});
  EXPECT_EQ(added.code, 0) << added.err;
  EXPECT_EQ(added.err.find("waiting"), std::string::npos) << "no wait when no one writes";
}

TEST_F(OneWriterTest, TheDesktopApplicationHoldingTheLibraryIsNamedAsSuch) {
  const auto held = LibraryLock::acquire(lockPath(), LockHolder{777, "quorvane-desktop", ""});
  const CliRun refused = runCommandLine({"settings", "set", "theme", "dark"});
  EXPECT_EQ(refused.code, 1);
  EXPECT_TRUE(contains(refused.err,
                       "The library is open in Quorvane (pid 777), so nothing was changed. Make "
                       "this change there, or quit Quorvane and try again."))
      << refused.err;
  std::ifstream in(dir.file("config") + "/Quorvane/preferences.json");
  const std::string preferences(std::istreambuf_iterator<char>(in), {});
  EXPECT_FALSE(contains(preferences, "dark")) << preferences;
}

TEST_F(OneWriterTest, AWriterRecordsWhoItIsWhileItHoldsTheLibrary) {
  // The holder's words are what a waiting command shows; they are written
  // by the command while it runs, so a reader of the file after it sees the
  // last writer.
  EXPECT_EQ(runCommandLine({"text", "set", "bio", "-"}, "Born in Lyon.").code, 0);
  std::ifstream in(lockPath());
  const std::string recorded(std::istreambuf_iterator<char>(in), {});
  EXPECT_TRUE(contains(recorded, "program=quorvane\ncommand=text set\n")) << recorded;
  EXPECT_EQ(LibraryLock::currentHolder(lockPath()), std::nullopt) << "released at the end";
}

TEST_F(OneWriterTest, ReadingCommandsNeverWriteTheLibraryOrThePreferences) {
  const std::string before = libraryDump();
  const auto modified = [&](const std::string& path) {
    return std::filesystem::last_write_time(path);
  };
  const std::string preferences = dir.file("config") + "/Quorvane/preferences.json";
  const auto preferencesBefore = modified(preferences);
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"projects"},
                                             {"project", "show"},
                                             {"artworks", "list"},
                                             {"vault"},
                                             {"text", "show", "bio"},
                                             {"details", "show"},
                                             {"cv", "show"},
                                             {"labels", "list", "--scope", "cv"},
                                             {"settings", "show"},
                                             {"info"},
                                             {"export", "bio", "-o", dir.file("bio.pdf")}}) {
    const CliRun result = runCommandLine(args);
    EXPECT_EQ(result.code, 0) << args[0] << ": " << result.err;
  }
  EXPECT_EQ(libraryDump(), before);
  EXPECT_EQ(modified(preferences), preferencesBefore);
  EXPECT_FALSE(std::filesystem::exists(lockPath()) &&
               LibraryLock::currentHolder(lockPath()).has_value());
}

TEST_F(OneWriterTest, AChangeNeverGoesIntoATemporaryLibrary) {
  // The media folder can't be made: only a temporary library could open.
  std::filesystem::remove_all(libraryDirectory() + "/media");
  std::ofstream(libraryDirectory() + "/media") << "a file where the folder should be";
  const CliRun refused = runCommandLine({"cv", "add", "soloExhibitions", "title=Tides"});
  EXPECT_EQ(refused.code, 1);
  const std::string reason =
      "The media folder " + libraryDirectory() + "/media is a file, not a folder.";
  EXPECT_EQ(refused.err,
            "quorvane: Quorvane could not open your library, so nothing was done. " + reason + "\n")
      << "the reason itself, not a command to run for it";
  EXPECT_FALSE(contains(refused.out, "1")) << "no entry number for a change that was not kept";

  const CliRun read = runCommandLine({"--json", "projects"});
  EXPECT_EQ(read.code, 0) << "reading needs no media folder: " << read.err;
  EXPECT_TRUE(contains(read.out, "Atelier")) << "the library itself, never a temporary one";
  EXPECT_EQ(read.err, "quorvane: Your library can be read but not changed: " + reason + "\n")
      << "said once";

  const nlohmann::json info = nlohmann::json::parse(runCommandLine({"--json", "info"}).out);
  EXPECT_EQ(info["state"], "unusable");
  EXPECT_EQ(info["problem"], reason);
}

TEST_F(OneWriterTest, ASettingThatCannotBeWrittenIsReportedNotLost) {
  // Where the preferences go is a file, not a folder: nothing can be written.
  std::filesystem::remove_all(dir.file("config"));
  std::ofstream(dir.file("config")) << "not a folder";
  const CliRun refused = runCommandLine({"settings", "set", "theme", "dark"});
  EXPECT_EQ(refused.code, 1);
  EXPECT_TRUE(contains(refused.err, "Your settings could not be saved:")) << refused.err;
}

}  // namespace
}  // namespace quorvane
