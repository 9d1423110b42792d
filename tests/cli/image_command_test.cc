#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_run.h"
#include "images/test_images.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::CliRun;

CliRun run(const std::vector<std::string>& args) { return testing::runCommandLine(args); }

class ImageCommandTest : public ::testing::Test {
 protected:
  std::string write(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    const std::string path = dir.file(name);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path;
  }
  testing::TempDir dir;
};

TEST_F(ImageCommandTest, InfoNamesTypeExtensionAndSize) {
  const std::string png = write("scan.png", *testing::encodedImage(".png", 640, 480));
  const CliRun text = run({"image", "info", png});
  EXPECT_EQ(text.code, 0);
  EXPECT_EQ(text.out, "type       image/png\nstored as  .png\nsize       640 × 480 pixels\n");

  const CliRun json = run({"--json", "image", "info", png});
  EXPECT_EQ(nlohmann::json::parse(json.out),
            (nlohmann::json{
                {"mimeType", "image/png"}, {"extension", "png"}, {"width", 640}, {"height", 480}}));
}

TEST_F(ImageCommandTest, DeriveWritesTheDerivativeAndSaysItsSize) {
  const std::string jpeg = write("photo.jpg", *testing::encodedImage(".jpg", 4000, 3000, 6));
  const std::string out = dir.file("photo-web.jpg");
  const CliRun web = run({"image", "derive", jpeg, "-o", out});
  EXPECT_EQ(web.code, 0) << web.err;
  EXPECT_NE(web.out.find("1500 × 2000 pixels"), std::string::npos) << web.out;
  EXPECT_TRUE(std::filesystem::exists(out));

  const CliRun print = run({"--json", "image", "derive", jpeg, "--preset", "print", "-o", out});
  const nlohmann::json result = nlohmann::json::parse(print.out);
  EXPECT_EQ(result["width"], 2250);
  EXPECT_EQ(result["height"], 3000);
}

TEST_F(ImageCommandTest, ARefusedImageFailsClearlyAndWritesNothing) {
  const std::string huge = write("huge.png", testing::pngHeader(100000, 100000));
  const std::string out = dir.file("never.jpg");
  const CliRun refused = run({"image", "derive", huge, "-o", out});
  EXPECT_NE(refused.code, 0);
  EXPECT_NE(refused.err.find("100000 × 100000"), std::string::npos) << refused.err;
  EXPECT_FALSE(std::filesystem::exists(out));

  const std::string text = write("notes.txt", {'h', 'i'});
  const CliRun notImage = run({"image", "info", text});
  EXPECT_NE(notImage.code, 0);
  EXPECT_NE(notImage.err.find("not an image Quorvane can read"), std::string::npos);

  EXPECT_NE(run({"image", "derive", dir.file("missing.jpg"), "-o", out}).code, 0);
  EXPECT_NE(run({"image", "derive", huge, "--preset", "poster", "-o", out}).code, 0);
}

}  // namespace
}  // namespace quorvane
