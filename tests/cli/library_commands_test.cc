// The library commands as a user runs them: one invocation per command, each
// starting from what the previous ones left on disk.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_run.h"
#include "cli/command_support.h"
#include "images/test_images.h"
#include "pdf/pdf_reader.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_database.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::CliRun;
using testing::runCommandLine;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class LibraryCommandsTest : public ::testing::Test {
 protected:
  // Runs one command, failing the test when it fails.
  CliRun run(const std::vector<std::string>& args, const std::string& input = "") {
    CliRun result = runCommandLine(args, input);
    EXPECT_EQ(result.code, 0) << "quorvane";
    if (result.code != 0) ADD_FAILURE() << result.err;
    return result;
  }
  nlohmann::json json(const std::vector<std::string>& args) {
    std::vector<std::string> all{"--json"};
    all.insert(all.end(), args.begin(), args.end());
    return nlohmann::json::parse(run(all).out);
  }
  std::string image(const std::string& name, int width, int height) {
    const auto bytes = testing::encodedImage(name.substr(name.find_last_of('.')), width, height);
    std::ofstream(dir.file(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()),
               static_cast<std::streamsize>(bytes->size()));
    return dir.file(name);
  }
  std::string libraryPath() const { return dir.file("data") + "/Quorvane/quorvane.sqlite"; }
  std::string libraryDump() {
    SQLiteDatabase db(libraryPath());
    return testing::dumpDatabase(db);
  }

  testing::TempDir dir;
  testing::ScopedVariable data{"XDG_DATA_HOME", dir.file("data").c_str()};
  testing::ScopedVariable config{"XDG_CONFIG_HOME", dir.file("config").c_str()};
};

TEST_F(LibraryCommandsTest, ANewUserBuildsAPriceCatalogueThatIsThereTheNextTime) {
  const CliRun created = run({"project", "new", "Spring 2027", "--kind", "catalogue",
                              "--catalogue-kind", "price", "--currency", "eur", "--year", "2027"});
  const std::string projectId = linesOf(created.out).back();
  EXPECT_TRUE(contains(created.err, "Created and opened the project “Spring 2027”."));

  const CliRun added = run({"artworks", "add", image("a.jpg", 1600, 1200),
                            image("b.jpg", 900, 1400), image("c.jpg", 400, 400)});
  const std::vector<std::string> ids = linesOf(added.out);
  ASSERT_EQ(ids.size(), 3u);

  run({"details", "set", "--first-name", "Zoë", "--last-name", "Müller", "--city", "Berlin"});
  run({"text", "set", "bio", "-"}, "Zoë Müller lives in Berlin.\n\n");
  run({"text", "set", "statement", "--title", "On tides"});
  EXPECT_EQ(
      run({"cv", "add", "soloExhibitions", "year=2026", "title=Tides", "venue=Galerie Nord"}).out,
      "1\n");
  // The first characters of an id are enough, in any case.
  std::string prefix = ids[1].substr(0, 8);
  for (char& c : prefix) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  run({"artwork", "set", prefix, "--title", "Tide II", "--price", "1,200.50", "--status", "sold"});
  run({"artworks", "order", ids[2], ids[0], ids[1]});

  const nlohmann::json shown = json({"project", "show"});
  EXPECT_EQ(shown["project"]["id"], projectId);
  EXPECT_EQ(shown["project"]["kind"], "catalogue");
  EXPECT_EQ(shown["project"]["catalogueKind"], "price");
  EXPECT_EQ(shown["project"]["currency"], "EUR");
  EXPECT_TRUE(shown["project"]["createdAt"].is_number_integer());
  const nlohmann::json& snapshot = shown["snapshot"];
  EXPECT_EQ(snapshot["details"]["firstName"], "Zoë");
  EXPECT_EQ(snapshot["biography"], "Zoë Müller lives in Berlin.");
  EXPECT_EQ(snapshot["statementTitle"], "On tides");
  EXPECT_EQ(snapshot["cv"]["soloExhibitions"][0]["venue"], "Galerie Nord");
  const nlohmann::json& images = snapshot["artworks"]["images"];
  ASSERT_EQ(images.size(), 3u);
  EXPECT_EQ(images[0]["id"], ids[2]);
  EXPECT_EQ(images[2]["title"], "Tide II");
  EXPECT_EQ(images[2]["priceCents"], 120050);
  EXPECT_EQ(images[2]["status"], "sold");
  EXPECT_FALSE(images[0].contains("priceCents")) << "absent optionals are left out";
  EXPECT_EQ(images[2]["imagePath"], "sqlite-media://" + ids[1]);
  const nlohmann::json info = json({"info"});
  EXPECT_EQ(info["cvs"], 1);
  EXPECT_EQ(info["biographies"], 1);
  EXPECT_EQ(info["statements"], 1);
  EXPECT_EQ(info["artworks"], 3);

  SQLiteDatabase db(libraryPath());
  testing::expectSoundDatabase(db);
  const std::string media = dir.file("data") + "/Quorvane/media/";
  for (const std::string& id : ids) {
    EXPECT_TRUE(std::filesystem::exists(media + id + "_orig.jpg"));
    EXPECT_TRUE(std::filesystem::exists(media + id + "_web_v1.jpg"));
  }
}

TEST_F(LibraryCommandsTest, LabelsAreListedInTheLanguageThePdfWillBePrintedIn) {
  run({"project", "new", "Marées", "--locale", "fr"});
  run({"labels", "set", "portfolio", "fr", "pdf.cv.section.education", "Études suivies"});
  const nlohmann::json labels = json({"labels", "list", "--scope", "portfolio"});
  bool found = false;
  for (const auto& label : labels) {
    EXPECT_EQ(label["locale"], "fr") << "the project's own language, with no export language set";
    if (label["key"] != "pdf.cv.section.education") continue;
    found = true;
    EXPECT_EQ(label["value"], "Études suivies");
    EXPECT_TRUE(label["overridden"]);
  }
  EXPECT_TRUE(found);
  run({"settings", "set", "export.locale", "de"});
  EXPECT_EQ(json({"labels", "list", "--scope", "cv"})[0]["locale"], "de");
}

TEST_F(LibraryCommandsTest, BadInputSaysWhatIsWrongAndChangesNothing) {
  run({"project", "new", "Atlas"});
  run({"artworks", "add", image("a.jpg", 64, 48)});
  const std::string before = libraryDump();

  const CliRun missing = runCommandLine({"artworks", "add", dir.file("nowhere.jpg")});
  EXPECT_NE(missing.code, 0);
  EXPECT_TRUE(contains(missing.err, "Cannot read " + dir.file("nowhere.jpg"))) << missing.err;
  const CliRun unknown = runCommandLine({"--project", "NOPE", "artworks", "list"});
  EXPECT_NE(unknown.code, 0);
  EXPECT_EQ(unknown.err, "quorvane: There is no project with the id NOPE.\n");
  const CliRun badOption = runCommandLine({"project", "set", "--unit", "furlongs"});
  EXPECT_NE(badOption.code, 0);
  EXPECT_TRUE(contains(badOption.err, "furlongs")) << badOption.err;
  const CliRun badPrice = runCommandLine({"artwork", "set", "X", "--price", "cheap"});
  EXPECT_NE(badPrice.code, 0);
  EXPECT_NE(runCommandLine({"project", "set"}).code, 0);
  EXPECT_NE(runCommandLine({"cv", "add", "education", "colour=blue"}).code, 0);
  EXPECT_NE(runCommandLine({"reset"}).code, 0);
  EXPECT_NE(runCommandLine({"text", "set", "bio", dir.file("")}).code, 0) << "a directory";
  const CliRun latin1 = runCommandLine({"text", "set", "bio", "-"}, "caf\xe9");
  EXPECT_NE(latin1.code, 0);
  EXPECT_TRUE(contains(latin1.err, "is not UTF-8 text")) << latin1.err;
  const CliRun negative = runCommandLine({"cv", "remove", "education", "-1"});
  EXPECT_TRUE(contains(negative.err, "There is no entry -1 in education")) << negative.err;

  EXPECT_EQ(libraryDump(), before);
}

TEST_F(LibraryCommandsTest, ProjectOptionWorksOnAnotherProjectForOneRun) {
  const std::string first = linesOf(run({"project", "new", "First"}).out).back();
  const std::string second = linesOf(run({"project", "new", "Second"}).out).back();
  run({"--project", first, "text", "set", "bio", "-"}, "About the first.");
  EXPECT_EQ(json({"projects"})["currentProjectId"], second);
  EXPECT_EQ(json({"text", "show", "bio"})["content"], "");
  EXPECT_EQ(json({"--project", first, "text", "show", "bio"})["content"], "About the first.");

  run({"project", "open", first});
  const std::string copy = linesOf(run({"project", "duplicate"}).out).back();
  run({"project", "delete"});
  // The deleted copy is listed as deleted, and comes back by its id's start.
  const nlohmann::json deleted = json({"projects", "--deleted"});
  ASSERT_EQ(deleted["deletedProjects"].size(), 1u);
  EXPECT_EQ(deleted["deletedProjects"][0]["id"], copy);
  EXPECT_TRUE(contains(run({"project", "restore", copy.substr(0, 8)}).err,
                       "“First (copy)” is back in your projects."));
  EXPECT_EQ(json({"projects"})["projects"].size(), 3u);
}

// A text reused in another project is shared, and `text show` says with
// whom; `text copy` makes it the open project's own.
TEST_F(LibraryCommandsTest, ASharedTextNamesItsProjectsUntilItIsCopied) {
  const std::string tides = linesOf(run({"project", "new", "Tides"}).out).back();
  run({"text", "set", "bio", "-"}, "Born by the sea.");
  run({"cv", "add", "education", "year=2004", "institution=Fine Arts"});
  // A project of its own texts, then one that shares the latest ones, as
  // `project new` does unless told otherwise.
  const std::string blank = linesOf(run({"project", "new", "Blank", "--own-texts"}).out).back();
  EXPECT_EQ(json({"text", "show", "bio"})["content"], "");
  const CliRun made = run({"project", "new", "Littoral"});
  const std::string littoral = linesOf(made.out).back();
  EXPECT_TRUE(
      contains(made.err, "It shares your latest texts with Tides (Biography, Curriculum vitae)"))
      << made.err;
  EXPECT_EQ(json({"text", "show", "bio"})["content"], "Born by the sea.");

  EXPECT_TRUE(contains(run({"text", "show", "bio"}).err, "Shared with: Tides"));
  EXPECT_EQ(json({"text", "show", "bio"})["sharedWith"][0]["name"], "Tides");
  EXPECT_TRUE(contains(run({"cv", "show"}).err, "Shared with: Tides"));
  EXPECT_FALSE(contains(run({"text", "show", "statement"}).err, "Shared with"));

  EXPECT_TRUE(contains(run({"text", "copy", "bio"}).err, "“Biography” is now this project’s own"));
  EXPECT_TRUE(contains(run({"text", "copy", "bio"}).err, "already this project’s own"));
  run({"text", "set", "bio", "-"}, "Born inland.");
  EXPECT_EQ(json({"text", "show", "bio"})["sharedWith"].size(), 0u);
  run({"project", "open", tides});
  EXPECT_EQ(json({"text", "show", "bio"})["content"], "Born by the sea.");
  EXPECT_EQ(json({"text", "show", "bio"})["sharedWith"].size(), 0u);
  EXPECT_EQ(json({"cv", "show"})["sharedWith"][0]["id"], littoral) << "the CV still is";

  // Details are each project's: an edit says who keeps the earlier ones,
  // and --everywhere takes it to them.
  EXPECT_TRUE(contains(run({"details", "set", "--email", "a@tides.example"}).err,
                       "the same details were in: Blank, Littoral"));
  run({"project", "open", littoral});
  EXPECT_TRUE(contains(run({"details", "set", "--email", "a@new.example", "--everywhere"}).err,
                       "Also changed in: Blank."));
  run({"project", "open", blank});
  EXPECT_EQ(json({"details", "show"})["email"], "a@new.example");
  run({"project", "open", tides});
  EXPECT_EQ(json({"details", "show"})["email"], "a@tides.example");
}

TEST_F(LibraryCommandsTest, ABackupReminderIsPrintedOnceAfterAChangeThenSnoozed) {
  const CliRun first = run({"project", "new", "Atlas"});
  EXPECT_TRUE(contains(first.err, "Backup reminder: You haven’t exported a backup recently."))
      << first.err;
  EXPECT_TRUE(contains(first.err, "quorvane package export"));
  EXPECT_FALSE(contains(run({"text", "set", "bio", "-"}, "Bio").err, "Backup reminder"));
  EXPECT_FALSE(contains(run({"projects"}).err, "Backup reminder"));
}

TEST_F(LibraryCommandsTest, SettingsAndLabelsAreSetShownAndCleared) {
  run({"settings", "set", "export.format", "letter"});
  run({"settings", "set", "export.show-bio-title", "off"});
  run({"settings", "set", "backup.frequency", "frequent"});
  const nlohmann::json settings = json({"settings", "show"});
  EXPECT_EQ(settings["export.format"], "letter");
  EXPECT_EQ(settings["export.show-bio-title"], "off");
  EXPECT_EQ(settings["backup.frequency"], "frequent");
  EXPECT_NE(runCommandLine({"settings", "set", "theme", "purple"}).code, 0);

  run({"labels", "set", "cv", "fr", "pdf.biography.title", "Parcours"});
  const auto label = [&](const char* locale) {
    for (const auto& entry : json({"labels", "list", "--scope", "cv", "--locale", locale})) {
      if (entry["key"] == "pdf.biography.title") return entry;
    }
    return nlohmann::json();
  };
  EXPECT_EQ(label("fr")["value"], "Parcours");
  EXPECT_EQ(label("en")["value"], "Biography");
  run({"labels", "clear", "cv", "fr", "pdf.biography.title"});
  EXPECT_EQ(label("fr")["value"], "Biographie");
  EXPECT_NE(runCommandLine({"labels", "set", "cv", "fr", "pdf.no.such", "x"}).code, 0);
}

TEST_F(LibraryCommandsTest, ExportsAreNamedWrittenAndTheirWarningsSaid) {
  run({"project", "new", "Spring", "--kind", "catalogue", "--currency", "EUR"});
  run({"details", "set", "--first-name", "Zoë", "--last-name", "Müller"});
  run({"artworks", "add", image("a.jpg", 400, 300)});
  std::string biography;
  for (int i = 0; i < 200; ++i)
    biography += "A line of a long life, number " + std::to_string(i) + ".\n";
  run({"text", "set", "bio", "-"}, biography);
  const std::string folder = dir.file("");

  const CliRun exported = run({"export", "portfolio", "-o", folder, "--no-toc"});
  const std::string path = linesOf(exported.out).back();
  EXPECT_EQ(path.substr(0, folder.size()), folder);
  EXPECT_TRUE(contains(path, "zoe-muller-catalogue-spring-")) << path;
  EXPECT_TRUE(contains(exported.err, "warning: biography_truncated")) << exported.err;
  std::ifstream file(path, std::ios::binary);
  const std::vector<std::uint8_t> pdf{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(testing::qpdfProblems(pdf), "");
  const auto pages = testing::readPdf(pdf);
  for (const auto& page : pages) EXPECT_FALSE(contains(page.text, "Table of Contents"));

  const nlohmann::json cv =
      json({"export", "cv", "-o", dir.file("mine.pdf"), "--format", "letter", "--locale", "de"});
  EXPECT_EQ(cv["path"], dir.file("mine.pdf"));
  std::ifstream cvFile(dir.file("mine.pdf"), std::ios::binary);
  const auto cvPages =
      testing::readPdf(std::vector<std::uint8_t>{std::istreambuf_iterator<char>(cvFile), {}});
  EXPECT_DOUBLE_EQ(cvPages[0].width, 612);

  EXPECT_NE(runCommandLine({"export", "poster"}).code, 0);
  EXPECT_NE(runCommandLine({"export", "cv", "-o", dir.file("no/such/folder/cv.pdf")}).code, 0);
}

TEST(ResolveIdTest, AnIdOrTheOneIdItBeginsIsMeantAndTwoAreRefused) {
  std::ostringstream out, err;
  CliContext context{.out = out,
                     .err = err,
                     .json = false,
                     .verbose = false,
                     .languageOption = "en",
                     .resolvedLanguage = {},
                     .projectOption = {},
                     .in = nullptr,
                     .session = {}};
  const std::vector<std::string> ids{"AB12", "AB34", "C5"};
  EXPECT_EQ(resolveId(context, "AB12", ids), "AB12");
  EXPECT_EQ(resolveId(context, "ab3", ids), "AB34");
  EXPECT_EQ(resolveId(context, "c", ids), "C5");
  EXPECT_EQ(resolveId(context, "Z", ids), "Z") << "left for the store to report";
  try {
    resolveId(context, "ab", ids);
    ADD_FAILURE() << "two ids begin with ab";
  } catch (const CliError& error) {
    EXPECT_TRUE(contains(error.what(), "AB12, AB34")) << error.what();
  }
}

}  // namespace
}  // namespace quorvane
