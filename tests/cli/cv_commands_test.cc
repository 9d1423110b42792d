// `quorvane cv import` and `quorvane cv guide` as a user runs them.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "cli/library_home.h"
#include "webcv/web_cv_file.h"

namespace quorvane {
namespace {

using testing::contains;
using testing::runCommandLine;

class CVCommandsTest : public testing::LibraryHomeTest {
 protected:
  std::string example() { return QUORVANE_DOCS_DIR "/web-cv-example.json"; }
  nlohmann::json shown(const std::string& what) {
    const testing::CliRun run = runCommandLine({"--json", what, "show"});
    EXPECT_EQ(run.code, 0) << run.err;
    return nlohmann::json::parse(run.out);
  }
};

TEST_F(CVCommandsTest, ThePlanIsShownAndNothingChangesUntilAGroupIsChosen) {
  runCommandLine({"details", "set", "--first-name", "Ada", "--zipcode", "75011"});
  const nlohmann::json details = shown("details");
  const nlohmann::json cv = shown("cv");

  const testing::CliRun plan = runCommandLine({"cv", "import", example()});
  EXPECT_EQ(plan.code, 0) << plan.err;
  EXPECT_TRUE(contains(plan.out, "Artist identity — suggested: Keep existing")) << plan.out;
  EXPECT_TRUE(contains(plan.out, "Ada → Zoë")) << plan.out;
  EXPECT_TRUE(contains(plan.out, "Via dei Serpenti 12 ↵ Interno 4")) << plan.out;
  EXPECT_TRUE(contains(plan.out, "CV content — suggested: Replace")) << plan.out;
  EXPECT_TRUE(contains(plan.out, "Entry 2  2023 · Low Tide")) << plan.out;
  EXPECT_TRUE(contains(plan.out, "Your current postal code will be kept.")) << plan.out;
  EXPECT_TRUE(contains(plan.err, "Nothing changes until you confirm.")) << plan.err;
  EXPECT_EQ(runCommandLine({"cv", "import", example(), "--dry-run", "--cv", "replace"}).code, 0);
  EXPECT_EQ(shown("details"), details);
  EXPECT_EQ(shown("cv"), cv);

  const testing::CliRun json = runCommandLine({"--json", "cv", "import", example()});
  ASSERT_EQ(json.code, 0) << json.err;
  const nlohmann::json parsed = nlohmann::json::parse(json.out);
  EXPECT_EQ(parsed["cv"]["entries"], 12);
  EXPECT_EQ(parsed["identity"]["suggested"], "keep");
  EXPECT_EQ(parsed["issues"].size(), 3u);
  EXPECT_EQ(parsed["issues"][2]["code"], "existingZipcodePreserved");
}

TEST_F(CVCommandsTest, ChoosingReplacesOnlyTheGroupsNamed) {
  runCommandLine({"details", "set", "--first-name", "Ada"});
  const testing::CliRun cvOnly = runCommandLine({"cv", "import", example(), "--cv", "replace"});
  ASSERT_EQ(cvOnly.code, 0) << cvOnly.err;
  EXPECT_EQ(cvOnly.out, "Replaced: CV content (12 entries in 11 sections).\n");
  EXPECT_EQ(shown("details")["firstName"], "Ada");
  EXPECT_EQ(shown("cv")["cv"]["soloExhibitions"].size(), 2u);

  const testing::CliRun both =
      runCommandLine({"--lang", "fr", "cv", "import", example(), "--identity", "replace"});
  ASSERT_EQ(both.code, 0) << both.err;
  EXPECT_EQ(both.out, "Remplacé\u00a0: Identité de l’artiste.\n");
  EXPECT_EQ(shown("details")["firstName"], "Zoë");
  EXPECT_EQ(runCommandLine({"cv", "import", example()}).out,
            "Already up to date\n\nThings to check\n"
            "  · Export information is not part of the CV.  (exportedAt)\n"
            "  · Entry order and repeated entries are preserved.  (cv)\n");
}

TEST_F(CVCommandsTest, AFileThatIsNoCVExportFailsWithItsReasonInTheInterfaceLanguage) {
  std::ofstream(dir.file("other.json")) << R"({"kind":"quorvane.project","schemaVersion":1})";
  const testing::CliRun run = runCommandLine({"cv", "import", dir.file("other.json")});
  EXPECT_NE(run.code, 0);
  EXPECT_TRUE(contains(run.err, "This is not a valid Quorvane CV export.")) << run.err;
  const testing::CliRun french =
      runCommandLine({"--lang", "de", "cv", "import", dir.file("missing.json"), "--cv", "replace"});
  EXPECT_NE(french.code, 0);
  EXPECT_TRUE(contains(french.err, "Es wurden keine Daten ersetzt")) << french.err;

  // A FIFO would be waited on, the library locked all the while.
  const std::string fifo = dir.file("cv.fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const testing::CliRun waiting = runCommandLine({"cv", "import", fifo, "--cv", "replace"});
  EXPECT_NE(waiting.code, 0);
  EXPECT_EQ(waiting.err, "quorvane: Cannot read " + fifo + ".\n");

  // A section longer than any CV's is refused, naming the section.
  nlohmann::json endless = nlohmann::json::parse(std::ifstream(example()));
  endless["cv"]["press"] = nlohmann::json::array();
  for (std::size_t i = 0; i <= kWebCVMaximumEntriesPerSection; ++i) {
    endless["cv"]["press"].push_back(nlohmann::json::object());
  }
  std::ofstream(dir.file("endless.json")) << endless.dump();
  const testing::CliRun refused = runCommandLine({"cv", "import", dir.file("endless.json")});
  EXPECT_NE(refused.code, 0);
  EXPECT_TRUE(contains(refused.err, "“Selected press”")) << refused.err;
  EXPECT_TRUE(contains(refused.err, "5000")) << refused.err;
}

TEST_F(CVCommandsTest, TheGuideAsksFieldByFieldAndKeepsWhatWasEntered) {
  std::string answers = "Ada\nLovelace\n\npseudonym\nlegal\n\n\nLondon\n";
  answers += std::string(7, '\n');                               // the other details skipped
  answers += "y\n2026\nTides\nGalerie Nord\nBerlin\nGermany\n";  // a solo exhibition
  answers += "y\n\n\n\n\n\nn\n";                                 // another, left empty: not added
  answers += std::string(11, '\n');                              // the other sections skipped
  const testing::CliRun run = runCommandLine({"cv", "guide"}, answers);
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_TRUE(contains(run.err, "  First name: ")) << run.err;
  EXPECT_TRUE(contains(run.err, "  Year (e.g. 2024): ")) << run.err;
  EXPECT_TRUE(contains(run.err, "Type legal (your first and last name) or artist")) << run.err;
  EXPECT_TRUE(contains(run.err, "Nothing entered: no entry added.")) << run.err;
  EXPECT_TRUE(contains(run.err, "Saved. The CV has 1 entry in 1 section.")) << run.err;
  const nlohmann::json details = shown("details");
  EXPECT_EQ(details["firstName"], "Ada");
  EXPECT_EQ(details["currentCity"], "London");
  EXPECT_EQ(details["nameDisplayMode"], "legal");
  const nlohmann::json cv = shown("cv")["cv"];
  ASSERT_EQ(cv["soloExhibitions"].size(), 1u);
  EXPECT_EQ(cv["soloExhibitions"][0]["venue"], "Galerie Nord");

  // Run again: Enter keeps each value, shown in brackets; the end of input
  // in the middle of an entry keeps what was typed of it.
  const testing::CliRun stopped =
      runCommandLine({"cv", "guide"}, std::string(14, '\n') + "\ny\n2027\nSecond show\n");
  ASSERT_EQ(stopped.code, 0) << stopped.err;
  EXPECT_TRUE(contains(stopped.err, "  First name [Ada]: ")) << stopped.err;
  EXPECT_TRUE(contains(stopped.err, "Stopped. What you entered so far is saved.")) << stopped.err;
  EXPECT_EQ(shown("details")["firstName"], "Ada");
  const nlohmann::json after = shown("cv")["cv"];
  ASSERT_EQ(after["groupExhibitions"].size(), 1u);
  EXPECT_EQ(after["groupExhibitions"][0]["title"], "Second show");
  EXPECT_EQ(after["soloExhibitions"].size(), 1u);
}

}  // namespace
}  // namespace quorvane
