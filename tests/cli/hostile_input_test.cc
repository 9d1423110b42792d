// What a careless or hostile hand gives the command line: bytes that are no
// text, escape sequences, prices that could be read two ways. Each is
// refused or cleaned with a message; nothing of it reaches the library or
// the terminal as it came.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "cli/library_home.h"
#include "images/test_images.h"
#include "model/control_characters.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_database.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::CliRun;
using testing::runCommandLine;

using testing::contains;

class HostileInputTest : public testing::LibraryHomeTest {
 protected:
  std::string sql(const std::string& query) {
    SQLiteDatabase db(libraryPath());
    return testing::queryValue(db, query);
  }
};

TEST_F(HostileInputTest, ATextFileWithNulBytesIsRefusedAsNoText) {
  const std::string utf16 = dir.file("utf16.txt");
  std::ofstream(utf16, std::ios::binary) << std::string("B\0i\0o\0", 6);
  const CliRun refused = runCommandLine({"text", "set", "bio", utf16});
  EXPECT_EQ(refused.code, 1);
  EXPECT_TRUE(contains(refused.err,
                       "holds NUL bytes: it is not a plain text file (perhaps "
                       "UTF-16). Save it as UTF-8 text and try again."))
      << refused.err;
  EXPECT_EQ(sql("SELECT content FROM text_assets WHERE type = 'bio'"), "");
}

TEST_F(HostileInputTest, ControlCharactersAreTakenOutOfWhatIsWrittenAndSaidSo) {
  const CliRun written =
      runCommandLine({"text", "set", "bio", "-", "--title", "My\x1b]0;pwned\x07 life"},
                     "Born in Lyon.\r\nLives in\x0c Berlin.\x7f");
  EXPECT_EQ(written.code, 0) << written.err;
  EXPECT_TRUE(contains(written.err,
                       "warning: 4 control characters (NUL, escape and the like) "
                       "were taken out of what you wrote"))
      << written.err;
  EXPECT_EQ(sql("SELECT title FROM text_assets WHERE type = 'bio'"), "My]0;pwned life");
  EXPECT_EQ(sql("SELECT content FROM text_assets WHERE type = 'bio'"),
            "Born in Lyon.\nLives in Berlin.");

  const CliRun titled = runCommandLine({"details", "set", "--first-name",
                                        "Zo\xc2\x9b"
                                        "ë",
                                        "--city", "Ber\tlin"});
  EXPECT_EQ(titled.code, 0) << titled.err;
  EXPECT_EQ(sql("SELECT json_extract(json, '$.firstName') || '|' || "
                "json_extract(json, '$.currentCity') FROM details"),
            "Zoë|Ber lin")
      << "a C1 control goes; a tab in a one-line field becomes a space";
}

TEST_F(HostileInputTest, WhatTheLibraryAlreadyHoldsReachesTheTerminalEscaped) {
  // Written by an older version, or by hand: the library holds it as it is.
  {
    SQLiteDatabase db(dir.file("data") + "/Quorvane/quorvane.sqlite");
    db.exec("UPDATE projects SET projectName = 'Red' || char(27) || '[31m alert' || char(155)");
  }
  const CliRun listed = runCommandLine({"projects"});
  EXPECT_EQ(listed.code, 0);
  EXPECT_FALSE(contains(listed.out, "\x1b")) << "no escape reaches the terminal";
  EXPECT_FALSE(contains(listed.out, "\xc2\x9b"));
  EXPECT_TRUE(contains(listed.out, "Red\\u001b[31m alert\\u009b")) << listed.out;

  const CliRun json = runCommandLine({"--json", "projects"});
  EXPECT_EQ(nlohmann::json::parse(json.out)["projects"][0]["projectName"],
            "Red\x1b[31m alert\xc2\x9b")
      << "in JSON the escapes are JSON's own, and read back as the same text";
}

TEST_F(HostileInputTest, APriceThatCouldBeReadTwoWaysIsRefusedWithTheFormsThatWork) {
  const std::string image = dir.file("work.jpg");
  const auto bytes = testing::encodedImage(".jpg", 300, 200);
  std::ofstream(image, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes->data()),
             static_cast<std::streamsize>(bytes->size()));
  const CliRun added = runCommandLine({"artworks", "add", image});
  ASSERT_EQ(added.code, 0) << added.err;
  const std::string id = added.out.substr(0, added.out.find('\n'));
  for (const char* price : {"1.5.5", "1,2,3"}) {
    const CliRun refused = runCommandLine({"artwork", "set", id, "--price", price});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(contains(refused.err, std::string("“") + price +
                                          "” is not an amount. Write it like 1200, 1200.50, "
                                          "1,200.50 or 1.200,50."))
        << refused.err;
  }
  EXPECT_EQ(sql("SELECT COALESCE(priceCents, 'none') FROM artworks"), "none");
}

TEST_F(HostileInputTest, AnExportNeverTakesThePlaceOfTheLibraryOrOfAFileUnasked) {
  const std::string library = dir.file("data") + "/Quorvane/quorvane.sqlite";
  const std::string libraryBefore = sql("SELECT COUNT(*) || projectName FROM projects");
  for (const std::string& target :
       {library, dir.file("data") + "/Quorvane", dir.file("data") + "/Quorvane/media/x.pdf",
        dir.file("data") + "/Quorvane/../Quorvane/quorvane.sqlite"}) {
    const CliRun refused = runCommandLine({"export", "cv", "-o", target, "--force"});
    EXPECT_EQ(refused.code, 1) << target;
    EXPECT_TRUE(contains(refused.err, "is inside the library’s folder")) << refused.err;
  }
  EXPECT_EQ(sql("SELECT COUNT(*) || projectName FROM projects"), libraryBefore);
  EXPECT_EQ(runCommandLine({"projects"}).code, 0) << "the library is still the library";

  const std::string existing = dir.file("cv.pdf");
  std::ofstream(existing) << "an earlier export";
  ::chmod(existing.c_str(), 0600);
  const CliRun refused = runCommandLine({"export", "cv", "-o", existing});
  EXPECT_EQ(refused.code, 1);
  EXPECT_TRUE(contains(refused.err, "exists already, so nothing was written. Add --force"))
      << refused.err;
  std::ifstream unchanged(existing);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(unchanged), {}), "an earlier export");

  const CliRun replaced = runCommandLine({"export", "cv", "-o", existing, "--force"});
  EXPECT_EQ(replaced.code, 0) << replaced.err;
  struct stat info {};
  ::stat(existing.c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0600u) << "the replaced file keeps its permissions";
  EXPECT_GT(info.st_size, 1000);
}

TEST_F(HostileInputTest, ACatalogueWithAVeryLongTitleStillExportsUnderItsOwnName) {
  const std::string title(360, 'w');
  ASSERT_EQ(runCommandLine({"project", "set", "--kind", "catalogue", "--title", title}).code, 0);
  const std::filesystem::path folder = dir.path() / "out";
  std::filesystem::create_directories(folder);
  const CliRun exported = runCommandLine({"export", "portfolio", "-o", folder.string()});
  EXPECT_EQ(exported.code, 0) << exported.err;
  const std::string name =
      std::filesystem::path(exported.out.substr(0, exported.out.find('\n'))).filename().string();
  EXPECT_LE(name.size(), 255u);
  EXPECT_TRUE(name.starts_with("quorvane-catalogue-www")) << name;
  EXPECT_TRUE(std::filesystem::exists(folder / name));
}

TEST(ControlCharactersTest, OnlyWhatIsNoTextIsTakenOut) {
  const CleanedText multi =
      withoutControlCharacters("a\r\nb\rc\td\x01\x7f\xc2\x85\xc2\xa9", TextShape::multiLine);
  EXPECT_EQ(multi.text, "a\nb\nc\td\xc2\xa9") << "© (C2 A9) is text";
  EXPECT_EQ(multi.removed, 3u);
  const CleanedText single = withoutControlCharacters("a\nb\tc", TextShape::singleLine);
  EXPECT_EQ(single.text, "a b c");
  EXPECT_EQ(single.removed, 0u);
  EXPECT_EQ(escapedForTerminal("a\x1b[0m\tb\n\xc2\x85"), "a\\u001b[0m\tb\n\\u0085");
  // Taking out what lies between a lone C2 and a continuation byte (no
  // UTF-8 either) must not make a C1 control of them: found by fuzzing.
  const CleanedText joined = withoutControlCharacters("\xc2\x0e\x9d\x0e", TextShape::multiLine);
  EXPECT_EQ(joined.text, "");
  EXPECT_EQ(withoutControlCharacters(joined.text, TextShape::multiLine).text, joined.text);
}

// The media folder made a link to the user's pictures: a reset says so and
// takes only Quorvane's own files from there.
TEST_F(HostileInputTest, AResetThroughALinkedMediaFolderTakesOnlyQuorvanesOwnFiles) {
  namespace fs = std::filesystem;
  const fs::path pictures = dir.file("Pictures");
  fs::create_directories(pictures);
  std::ofstream(pictures / "holiday.jpg") << "the sea";
  std::ofstream(pictures / "notes.txt") << "a list";
  fs::remove_all(libraryDirectory() + "/media");
  fs::create_directory_symlink(pictures, libraryDirectory() + "/media");
  addArtwork("tide.jpg", 64, 48);

  const CliRun info = runCommandLine({"info"});
  EXPECT_TRUE(contains(info.out, "(a link to " + pictures.string() + ")")) << info.out;
  const CliRun asked = runCommandLine({"reset"});
  EXPECT_EQ(asked.code, 1);
  EXPECT_TRUE(contains(asked.err, "is a link to " + pictures.string() +
                                      ": only Quorvane’s own files in it are deleted"))
      << asked.err;
  const CliRun reset = runCommandLine({"reset", "--yes"});
  EXPECT_EQ(reset.code, 0) << reset.err;
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(pictures)) {
    left.push_back(entry.path().filename().string());
  }
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::string>{"derived_web", "holiday.jpg", "notes.txt"}));
}

}  // namespace
}  // namespace quorvane
