#include "images/image_optimizer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "images/test_images.h"

namespace quorvane {
namespace {

using testing::decode;
using testing::encodedImage;
using Case = ImageDeriverError::Case;

// The case of the error `derive` throws for `source`.
std::optional<Case> failureOf(const std::vector<std::uint8_t>& source) {
  try {
    ImageOptimizer().derive(source, kWebPreset);
  } catch (const ImageDeriverError& error) {
    return error.errorCase();
  }
  return std::nullopt;
}

class ImageOptimizerTest : public ::testing::Test {
 protected:
  ImageOptimizer optimizer;
};

TEST_F(ImageOptimizerTest, LargeImagesShrinkToEachPresetsBound) {
  const auto camera = encodedImage(".jpg", 6000, 4000);
  ASSERT_TRUE(camera);
  const DerivedImageResult web = optimizer.derive(*camera, kWebPreset);
  EXPECT_EQ(web.width, 2000);
  EXPECT_TRUE(web.height == 1333 || web.height == 1334) << web.height;
  EXPECT_EQ(web.mimeType, "image/jpeg");
  EXPECT_EQ(web.kind, ImageDerivativeKind::web);
  EXPECT_EQ(decode(web.data).width, 2000) << "the stated size is the encoded one";

  const DerivedImageResult print = optimizer.derive(*camera, kPrintPreset);
  EXPECT_EQ(print.width, 3000);
  EXPECT_EQ(print.height, 2000);
  EXPECT_EQ(print.kind, ImageDerivativeKind::print);
}

TEST_F(ImageOptimizerTest, ARotatedPhotoComesOutUprightWithNothingLeftToApply) {
  const auto rotated = encodedImage(".jpg", 600, 400, 6);
  ASSERT_TRUE(rotated);
  ASSERT_EQ(decode(*rotated).orientation, 6) << "the test image must carry its orientation";

  const DerivedImageResult result = optimizer.derive(*rotated, kWebPreset);
  EXPECT_EQ(result.width, 400);
  EXPECT_EQ(result.height, 600);
  const testing::DecodedFacts facts = decode(result.data);
  EXPECT_EQ(facts.width, 400);
  EXPECT_EQ(facts.orientation.value_or(1), 1);
  EXPECT_FALSE(facts.hasExif) << "no metadata of the original (GPS included) may travel";
  EXPECT_FALSE(facts.hasIccProfile);

  // Orientation 6 turns the stored image a quarter clockwise: its black left
  // half is the top of the upright picture.
  const DerivedImageResult turned =
      optimizer.derive(testing::halfBlackHalfWhiteJpeg(600, 400, 6), kWebPreset);
  EXPECT_LT(testing::regionAverage(turned.data, 0, 0, 400, 280), 30);
  EXPECT_GT(testing::regionAverage(turned.data, 0, 320, 400, 280), 225);
}

TEST_F(ImageOptimizerTest, CmykOriginalsBecomeSRGB) {
  const DerivedImageResult result = optimizer.derive(testing::cmykJpeg(400, 300), kWebPreset);
  EXPECT_EQ(decode(result.data).bands, 3);
}

TEST_F(ImageOptimizerTest, SeveralDerivationsMayRunAtOnce) {
  const std::vector<std::uint8_t> good = *encodedImage(".jpg", 1600, 1200);
  std::vector<std::uint8_t> broken = good;
  broken.resize(broken.size() / 3);
  std::vector<std::thread> threads;
  std::atomic<int> made = 0;
  std::atomic<int> refused = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3; ++i) {
        try {
          optimizer.derive((t + i) % 2 == 0 ? good : broken, kWebPreset);
          ++made;
        } catch (const ImageDeriverError& error) {
          if (error.errorCase() == Case::decodeFailed) ++refused;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, 6);
  EXPECT_EQ(refused, 6);
}

TEST_F(ImageOptimizerTest, TransparencyIsFlattenedOntoWhite) {
  const DerivedImageResult result = optimizer.derive(testing::transparentPng(300, 200), kWebPreset);
  EXPECT_EQ(result.mimeType, "image/jpeg");
  const testing::DecodedFacts facts = decode(result.data);
  EXPECT_EQ(facts.bands, 3);
  EXPECT_GT(facts.average, 250) << "transparent pixels must become white, not black";
}

// Each is under the preset's bound, so it keeps its size.
TEST_F(ImageOptimizerTest, EveryFormatAnArtistBringsIsReadAndNamed) {
  struct Format {
    const char* suffix;
    const char* mimeType;
    const char* extension;
  };
  for (const Format& format :
       {Format{".jpg", "image/jpeg", "jpg"}, Format{".png", "image/png", "png"},
        Format{".tif", "image/tiff", "tiff"}, Format{".gif", "image/gif", "gif"},
        Format{".webp", "image/webp", "jpg"}, Format{".heic", "image/heic", "heic"}}) {
    SCOPED_TRACE(format.suffix);
    const auto bytes = encodedImage(format.suffix, 320, 240);
    if (!bytes) {
      ASSERT_STREQ(format.suffix, ".heic") << "only HEIC may be missing an encoder";
      GTEST_LOG_(INFO) << "no HEIC encoder on this machine; HEIC not tested";
      continue;
    }
    EXPECT_EQ(optimizer.sniffMimeType(*bytes), format.mimeType);
    EXPECT_EQ(ImageOptimizer::fileExtension(optimizer.sniffMimeType(*bytes)), format.extension);
    EXPECT_EQ(optimizer.pixelSize(*bytes), (PixelSize{320, 240}));
    const DerivedImageResult result = optimizer.derive(*bytes, kWebPreset);
    EXPECT_EQ(result.width, 320);
    EXPECT_EQ(result.height, 240);
  }
}

TEST_F(ImageOptimizerTest, EmptyDamagedAndForeignBytesAreRefused) {
  EXPECT_EQ(failureOf({}), Case::decodeFailed);
  const std::string text = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'/>";
  EXPECT_EQ(failureOf(std::vector<std::uint8_t>(text.begin(), text.end())), Case::decodeFailed);
  EXPECT_EQ(optimizer.sniffMimeType(std::vector<std::uint8_t>(text.begin(), text.end())),
            std::nullopt);
  // Formats every libvips build reads, but that no artist brings.
  const std::string ppm = "P3\n1 1\n255\n0 0 0\n";
  EXPECT_EQ(failureOf(std::vector<std::uint8_t>(ppm.begin(), ppm.end())), Case::decodeFailed);

  // Cut in half: the header is intact, the pixels are not. Decoding must fail
  // rather than fill the missing half with grey.
  std::vector<std::uint8_t> truncated = *encodedImage(".jpg", 1600, 1200);
  truncated.resize(truncated.size() / 2);
  EXPECT_EQ(failureOf(truncated), Case::decodeFailed);

  // A PNG whose header declares no pixels.
  EXPECT_EQ(failureOf(testing::pngHeader(0, 100)), Case::invalidSourceMetadata);
  EXPECT_EQ(optimizer.pixelSize(testing::pngHeader(0, 100)), std::nullopt);
}

TEST_F(ImageOptimizerTest, AnAbsurdPixelCountIsRefusedFromTheHeaderAlone) {
  const std::vector<std::uint8_t> huge = testing::pngHeader(100000, 100000);
  EXPECT_EQ(optimizer.pixelSize(huge), (PixelSize{100000, 100000}));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(failureOf(huge), Case::decodeFailed);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1))
      << "ten billion pixels must not be allocated or decoded";
}

TEST(ImageFileExtensionTest, FollowsTheMimeTypeCaseInsensitivelyWithJpgForTheRest) {
  EXPECT_EQ(ImageOptimizer::fileExtension("IMAGE/PNG"), "png");
  EXPECT_EQ(ImageOptimizer::fileExtension("image/jpg"), "jpg");
  EXPECT_EQ(ImageOptimizer::fileExtension("image/HEIF"), "heif");
  EXPECT_EQ(ImageOptimizer::fileExtension(""), "jpg");
  EXPECT_EQ(ImageOptimizer::fileExtension(std::nullopt), "jpg");
}

}  // namespace
}  // namespace quorvane

namespace quorvane {
namespace {

// Pages drawn as pictures decode their images at the size drawn, and come
// out as WebP or PNG.
TEST(ImagePixelsTest, ImagesDecodeUprightToFitTheirBoxAndPicturesEncodeBack) {
  const ImageOptimizer optimizer;
  // Stored 80 × 40 and turned a quarter (orientation 6): upright, 40 × 80.
  const RgbPixels turned =
      optimizer.decodeToFit(testing::halfBlackHalfWhiteJpeg(80, 40, 6), 100, 100);
  EXPECT_EQ(turned.width, 50);
  EXPECT_EQ(turned.height, 100);
  EXPECT_EQ(turned.data.size(), 50u * 100u * 3u);
  const RgbPixels transparent = optimizer.decodeToFit(testing::transparentPng(30, 30), 30, 30);
  EXPECT_EQ(transparent.data.front(), 255) << "flattened onto white";
  EXPECT_THROW(optimizer.decodeToFit(testing::pngHeader(100000, 100000), 10, 10),
               ImageDeriverError);
  EXPECT_THROW(optimizer.decodeToFit(std::vector<std::uint8_t>{1, 2, 3}, 10, 10),
               ImageDeriverError);

  const std::vector<std::uint8_t> webp = optimizer.encodeWebp(turned, 80);
  EXPECT_EQ(optimizer.sniffMimeType(webp), "image/webp");
  EXPECT_EQ(optimizer.pixelSize(webp), (PixelSize{50, 100}));
  const std::vector<std::uint8_t> png = optimizer.encodePng(turned);
  EXPECT_EQ(optimizer.sniffMimeType(png), "image/png");
  EXPECT_EQ(optimizer.decodeToFit(png, 50, 100), turned) << "PNG keeps every pixel";
  EXPECT_THROW(optimizer.encodePng(RgbPixels{2, 2, {1, 2, 3}}), ImageDeriverError)
      << "pixels that do not fill their size";
}

}  // namespace
}  // namespace quorvane
