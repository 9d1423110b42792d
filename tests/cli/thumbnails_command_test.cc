// quorvane thumbnails: the missing and stale ones drawn, the fresh left.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/library_home.h"
#include "images/test_images.h"

namespace quorvane {
namespace {

using testing::contains;
using testing::runCommandLine;

class ThumbnailsCommandTest : public testing::LibraryHomeTest {};

TEST_F(ThumbnailsCommandTest, OnlyWhatChangedIsDrawnAgain) {
  const auto bytes = testing::encodedImage(".jpg", 90, 60);
  std::ofstream(dir.file("a.jpg"), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes->data()),
             static_cast<std::streamsize>(bytes->size()));
  const testing::CliRun added = runCommandLine({"--json", "artworks", "add", dir.file("a.jpg")});
  ASSERT_EQ(added.code, 0) << added.err;
  const std::string id = nlohmann::json::parse(added.out)[0]["id"];

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
  EXPECT_TRUE(contains(french.out, "Vignettes : 5 à jour, 0 redessinées, 0 en échec."))
      << french.out;
}

}  // namespace
}  // namespace quorvane
