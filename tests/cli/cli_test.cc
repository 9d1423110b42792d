#include "cli/cli_run.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "quorvane_version.h"

namespace quorvane {
namespace {

using testing::CliRun;

CliRun run(const std::vector<std::string>& args) { return testing::runCommandLine(args); }

TEST(CliTest, VersionAndHelp) {
  const CliRun version = run({"--version"});
  EXPECT_EQ(version.code, 0);
  EXPECT_NE(version.out.find(std::string("quorvane ") + kQuorvaneVersion), std::string::npos);

  const CliRun help = run({"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("file-name"), std::string::npos);
  EXPECT_NE(help.out.find("cv-sections"), std::string::npos);
  EXPECT_NE(help.out.find("Examples"), std::string::npos);

  EXPECT_EQ(run({}).out, help.out);  // no command shows the same help
}

TEST(CliTest, FileNameForAGivenDayInTextAndJson) {
  const CliRun text = run({"file-name", "portfolio", "--first-name", "Zoë", "--last-name", "Müller",
                           "--date", "2026-03-05"});
  EXPECT_EQ(text.code, 0) << text.err;
  EXPECT_EQ(text.out, "zoe-muller-portfolio-2026-03-05.pdf\n");

  const CliRun json = run({"file-name", "biography", "--artist-name", "ZM", "--name-display",
                           "artist", "--language", "de", "--date", "2026-03-05", "--json"});
  EXPECT_EQ(json.code, 0) << json.err;
  EXPECT_EQ(nlohmann::json::parse(json.out)["fileName"], "zm-biografie-2026-03-05.pdf");
}

TEST(CliTest, BadArgumentsFailWithAMessageNamingTheProblem) {
  const CliRun unknownKind = run({"file-name", "poster"});
  EXPECT_NE(unknownKind.code, 0);
  EXPECT_NE(unknownKind.err.find("poster"), std::string::npos);

  const CliRun badDate = run({"file-name", "cv", "--date", "2026-02-30"});
  EXPECT_NE(badDate.code, 0);
  EXPECT_NE(badDate.err.find("2026-02-30"), std::string::npos);

  const CliRun notADate = run({"file-name", "cv", "--date", "5 March"});
  EXPECT_NE(notADate.code, 0);
  EXPECT_NE(notADate.err.find("YYYY-MM-DD"), std::string::npos);

  const CliRun unknownCommand = run({"publish"});
  EXPECT_NE(unknownCommand.code, 0);
  EXPECT_FALSE(unknownCommand.err.empty());
}

TEST(CliTest, CVSectionsListsTheCatalogue) {
  const CliRun json = run({"cv-sections", "--json"});
  ASSERT_EQ(json.code, 0) << json.err;
  const auto sections = nlohmann::json::parse(json.out);
  ASSERT_EQ(sections.size(), 12u);
  EXPECT_EQ(sections[0]["key"], "soloExhibitions");
  EXPECT_EQ(sections[0]["fields"][0]["labelKey"], "cvcfg.field.year.label");

  const CliRun text = run({"cv-sections"});
  EXPECT_NE(text.out.find("Selected solo exhibitions (soloExhibitions)"), std::string::npos);
}

}  // namespace
}  // namespace quorvane
