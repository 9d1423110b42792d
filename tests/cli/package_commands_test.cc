// quorvane package: a backup made, checked, brought back as a new project,
// and a bad file refused with the library untouched.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "cli/library_home.h"
#include "images/test_images.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_database.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::contains;
using testing::runCommandLine;

class PackageCommandsTest : public testing::LibraryHomeTest {
 protected:
  std::string image(const std::string& name) {
    const auto bytes = testing::encodedImage(".jpg", 64, 48);
    std::ofstream(dir.file(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()),
               static_cast<std::streamsize>(bytes->size()));
    return dir.file(name);
  }
  std::string dump() {
    SQLiteDatabase db(libraryPath());
    return testing::dumpDatabase(db);
  }
};

TEST_F(PackageCommandsTest, ABackupIsMadeCheckedAndBroughtBackAsANewProject) {
  ASSERT_EQ(runCommandLine({"artworks", "add", image("a.jpg"), image("b.jpg")}).code, 0);
  ASSERT_EQ(runCommandLine({"text", "set", "bio", "-"}, "Born in Lyon.").code, 0);
  fs::create_directories(dir.file("backups"));

  const testing::CliRun exported = runCommandLine({"package", "export", "-o", dir.file("backups")});
  ASSERT_EQ(exported.code, 0) << exported.err;
  const std::string path = exported.out.substr(0, exported.out.find('\n'));
  EXPECT_TRUE(path.ends_with(".quorvane")) << path;
  EXPECT_TRUE(contains(exported.err, "Backed up the project: 2 artworks")) << exported.err;
  EXPECT_FALSE(contains(exported.err, "Backup reminder")) << "the backup was just made";
  EXPECT_NE(runCommandLine({"package", "export", "-o", path}).code, 0) << "no --force";

  const testing::CliRun checked = runCommandLine({"--json", "package", "check", path});
  ASSERT_EQ(checked.code, 0) << checked.err;
  const nlohmann::json summary = nlohmann::json::parse(checked.out);
  EXPECT_EQ(summary["artworks"], 2);
  EXPECT_EQ(summary["images"], 2);
  EXPECT_EQ(summary["formatVersion"], 4);

  const testing::CliRun imported = runCommandLine({"package", "import", path, "--open"});
  ASSERT_EQ(imported.code, 0) << imported.err;
  EXPECT_TRUE(contains(imported.err, "Reading package...")) << imported.err;
  EXPECT_TRUE(contains(imported.err, "Import complete.")) << imported.err;
  const std::string id = imported.out.substr(0, imported.out.find('\n'));
  const nlohmann::json shown =
      nlohmann::json::parse(runCommandLine({"--json", "project", "show"}).out);
  EXPECT_EQ(shown["project"]["id"], id);
  EXPECT_EQ(shown["snapshot"]["biography"], "Born in Lyon.");
  EXPECT_EQ(shown["snapshot"]["artworks"]["images"].size(), 2u);
  EXPECT_EQ(nlohmann::json::parse(runCommandLine({"--json", "projects"}).out).size(), 2u);

  const testing::CliRun roundtrip = runCommandLine({"package", "roundtrip"});
  EXPECT_EQ(roundtrip.code, 0) << roundtrip.err;
  EXPECT_TRUE(contains(roundtrip.out, "Round-trip OK. Artworks: 2 -> 2. Images restored: 2/2."))
      << roundtrip.out;
}

TEST_F(PackageCommandsTest, AFileThatIsNoPackageIsRefusedWithItsReasonAndChangesNothing) {
  std::ofstream(dir.file("holiday.quorvane")) << "not a package";
  const std::string before = dump();
  for (const char* command : {"check", "import"}) {
    const testing::CliRun refused =
        runCommandLine({"package", command, dir.file("holiday.quorvane")});
    EXPECT_EQ(refused.code, 1) << command;
    EXPECT_TRUE(contains(refused.err, "This file could not be imported.")) << refused.err;
    EXPECT_TRUE(contains(refused.err, "\ninvalidPackage")) << refused.err;
  }
  EXPECT_EQ(dump(), before);

  const testing::CliRun french =
      runCommandLine({"--lang", "fr", "package", "import", dir.file("holiday.quorvane")});
  EXPECT_TRUE(contains(french.err, "Ce fichier")) << french.err;
}

TEST_F(PackageCommandsTest, AWorkWhoseOriginalIsGoneIsNamedAndLeftOutOnlyWhenAsked) {
  ASSERT_EQ(runCommandLine({"artworks", "add", image("tide.jpg"), image("dune.jpg")}).code, 0);
  const nlohmann::json works =
      nlohmann::json::parse(runCommandLine({"--json", "artworks", "list"}).out);
  const std::string dune = works[1]["id"];
  ASSERT_EQ(runCommandLine({"artwork", "set", dune, "--title", "Dune"}).code, 0);
  fs::remove(libraryDirectory() + "/media/" + dune + "_orig.jpg");
  fs::create_directories(dir.file("backups"));

  const testing::CliRun refused = runCommandLine({"package", "export", "-o", dir.file("backups")});
  EXPECT_EQ(refused.code, 1);
  EXPECT_TRUE(contains(refused.err,
                       "the original images of these works can’t be used: “Dune” "
                       "(its file is missing)."))
      << refused.err;
  EXPECT_TRUE(contains(refused.err, "add --allow-missing")) << refused.err;
  EXPECT_TRUE(fs::is_empty(dir.file("backups")));

  const testing::CliRun partial =
      runCommandLine({"package", "export", "--allow-missing", "-o", dir.file("backups")});
  ASSERT_EQ(partial.code, 0) << partial.err;
  EXPECT_TRUE(contains(partial.err,
                       "warning: these works were backed up without their images: "
                       "“Dune” (its file is missing)."))
      << partial.err;
  const std::string path = partial.out.substr(0, partial.out.find('\n'));
  const testing::CliRun checked = runCommandLine({"package", "check", path});
  ASSERT_EQ(checked.code, 0) << checked.err;
  EXPECT_TRUE(contains(checked.err,
                       "The package can be imported, but these works in it have no image: "
                       "“Dune”."))
      << checked.err;

  const testing::CliRun printed = runCommandLine(
      {"export", "portfolio", "--quality", "print", "-o", dir.file("backups/print.pdf")});
  ASSERT_EQ(printed.code, 0) << printed.err;
  EXPECT_TRUE(contains(printed.err,
                       "warning: these works were printed from their screen copies, "
                       "as their original images can’t be used: “Dune”"))
      << printed.err;
}

// Every project backed up at once, each under its name, and the works no
// project holds named — then gathered into one, and backed up too.
TEST_F(PackageCommandsTest, EverythingIsBackedUpAtOnceAndTheVaultsOwnWorksAreNotForgotten) {
  ASSERT_EQ(runCommandLine({"artworks", "add", image("a.jpg"), image("b.jpg")}).code, 0);
  const nlohmann::json works =
      nlohmann::json::parse(runCommandLine({"--json", "artworks", "list"}).out);
  const std::string loose = works[1]["id"];
  ASSERT_EQ(runCommandLine({"artwork", "set", loose, "--title", "Loose"}).code, 0);
  ASSERT_EQ(runCommandLine({"artwork", "remove", loose}).code, 0);  // in the Vault only
  for (const char* name : {"Tides", "Tides"}) {
    ASSERT_EQ(runCommandLine({"project", "new", name}).code, 0);
    ASSERT_EQ(runCommandLine({"artworks", "add", image("c.jpg")}).code, 0);
  }
  const std::string folder = dir.file("backups");

  const testing::CliRun all = runCommandLine({"package", "export", "--all", "-o", folder});
  ASSERT_EQ(all.code, 0) << all.err;
  EXPECT_TRUE(contains(all.err, "Backed up 3 of 3 projects into " + folder + ".")) << all.err;
  EXPECT_TRUE(contains(all.err,
                       "1 work is in no project (only in the Vault), so no backup holds "
                       "it: “Loose”."))
      << all.err;
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
    const testing::CliRun checked = runCommandLine({"package", "check", entry.path()});
    EXPECT_EQ(checked.code, 0) << entry.path() << checked.err;
  }
  EXPECT_EQ(names.size(), 3u);
  EXPECT_EQ(std::count_if(names.begin(), names.end(),
                          [](const std::string& n) { return n.ends_with("-2.quorvane"); }),
            1)
      << "two projects of one name keep a file each";

  const testing::CliRun again = runCommandLine({"package", "export", "--all", "-o", folder});
  EXPECT_EQ(again.code, 1) << "the files are there: nothing replaced without --force";

  const testing::CliRun gathered = runCommandLine(
      {"--json", "package", "export", "--all", "--gather-vault", "--force", "-o", folder});
  ASSERT_EQ(gathered.code, 0) << gathered.err;
  const nlohmann::json report = nlohmann::json::parse(gathered.out);
  EXPECT_EQ(report["projects"].size(), 4u);
  EXPECT_TRUE(report["vaultOnly"].empty());
  EXPECT_EQ(report["projects"][0]["name"], "From the Vault");
}

}  // namespace
}  // namespace quorvane
