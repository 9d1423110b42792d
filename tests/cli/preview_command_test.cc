// quorvane preview: one page as a picture, without a PDF.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/library_home.h"
#include "images/image_optimizer.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::contains;
using testing::runCommandLine;

class PreviewCommandTest : public testing::LibraryHomeTest {};

TEST_F(PreviewCommandTest, AnArtworksPageAndATextsPageBecomePicturesOfTheWidthAsked) {
  const std::string id = addArtwork("a.jpg", 90, 60);
  ASSERT_FALSE(id.empty());

  const testing::CliRun page = runCommandLine(
      {"--json", "preview", id.substr(0, 8), "-o", dir.file("work.png"), "--width", "300"});
  ASSERT_EQ(page.code, 0) << page.err;
  const nlohmann::json told = nlohmann::json::parse(page.out);
  EXPECT_EQ(told["width"], 300);
  EXPECT_EQ(told["height"], 424) << "an A4 page, portrait";
  const ImageOptimizer optimizer;
  std::ifstream in(dir.file("work.png"), std::ios::binary);
  const std::vector<std::uint8_t> png(std::istreambuf_iterator<char>(in), {});
  EXPECT_EQ(optimizer.sniffMimeType(png), "image/png");
  EXPECT_EQ(optimizer.pixelSize(png), (PixelSize{300, 424}));

  ASSERT_EQ(runCommandLine({"text", "set", "bio", "-"}, "Born in Lyon.").code, 0);
  const testing::CliRun bio =
      runCommandLine({"preview", "bio", "-o", dir.file("bio.webp"), "--width", "200"});
  ASSERT_EQ(bio.code, 0) << bio.err;
  std::ifstream webp(dir.file("bio.webp"), std::ios::binary);
  EXPECT_EQ(
      optimizer.sniffMimeType(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(webp), {})),
      "image/webp");

  const testing::CliRun again = runCommandLine({"preview", "bio", "-o", dir.file("bio.webp")});
  EXPECT_NE(again.code, 0) << "an existing file needs --force";
  EXPECT_TRUE(contains(again.err, "exists already")) << again.err;
  const testing::CliRun unknown = runCommandLine({"preview", "NOPE", "-o", dir.file("x.png")});
  EXPECT_NE(unknown.code, 0);
  EXPECT_TRUE(contains(unknown.err, "no artwork with the id NOPE")) << unknown.err;
  EXPECT_FALSE(fs::exists(dir.file("x.png")));
}

}  // namespace
}  // namespace quorvane
