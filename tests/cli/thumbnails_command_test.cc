// quorvane thumbnails: the missing and stale ones drawn, the fresh left.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/library_home.h"

namespace quorvane {
namespace {

using testing::contains;
using testing::runCommandLine;

class ThumbnailsCommandTest : public testing::LibraryHomeTest {};

TEST_F(ThumbnailsCommandTest, OnlyWhatChangedIsDrawnAgain) {
  const std::string id = addArtwork("a.jpg", 90, 60);
  ASSERT_FALSE(id.empty());

  const auto counts = [&] {
    const testing::CliRun run = runCommandLine({"--json", "thumbnails"});
    EXPECT_EQ(run.code, 0) << run.err;
    return nlohmann::json::parse(run.out);
  };
  EXPECT_EQ(counts(), (nlohmann::json{{"fresh", 0}, {"rebuilt", 5}, {"failed", 0}}))
      << "one artwork page, four documents";
  EXPECT_EQ(counts(), (nlohmann::json{{"fresh", 5}, {"rebuilt", 0}, {"failed", 0}}));
  ASSERT_EQ(runCommandLine({"text", "set", "bio", "-"}, "Born in Lyon.").code, 0);
  ASSERT_EQ(runCommandLine({"artwork", "set", id, "--title", "Tide"}).code, 0);
  EXPECT_EQ(counts(), (nlohmann::json{{"fresh", 3}, {"rebuilt", 2}, {"failed", 0}}))
      << "the biography's page and the artwork's";
  const testing::CliRun french = runCommandLine({"--lang", "fr", "thumbnails"});
  EXPECT_TRUE(contains(french.out, "Vignettes\u00a0: 5 à jour, 0 redessinées, 0 en échec."))
      << french.out;
}

}  // namespace
}  // namespace quorvane
