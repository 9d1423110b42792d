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
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"file-name", "poster"}, "poster"},
      {{"file-name", "cv", "--date", "2026-02-30"}, "2026-02-30"},
      {{"file-name", "cv", "--date", "5 March"}, "YYYY-MM-DD"},
      {{"publish"}, ""}};
  for (const auto& [args, named] : cases) {
    const CliRun refused = run(args);
    EXPECT_NE(refused.code, 0) << args.back();
    EXPECT_FALSE(refused.err.empty()) << args.back();
    EXPECT_NE(refused.err.find(named), std::string::npos) << refused.err;
  }
}

TEST(CliTest, CVSectionsListsTheCatalogue) {
  const CliRun json = run({"cv-sections", "--json"});
  ASSERT_EQ(json.code, 0) << json.err;
  const auto sections = nlohmann::json::parse(json.out);
  ASSERT_FALSE(sections.empty());
  EXPECT_EQ(sections[0]["key"], "soloExhibitions");

  const CliRun text = run({"cv-sections"});
  EXPECT_NE(text.out.find("Selected solo exhibitions (soloExhibitions)"), std::string::npos);
}

}  // namespace
}  // namespace quorvane
