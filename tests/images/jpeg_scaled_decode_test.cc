#include "images/jpeg_scaled_decode.h"

#include <gtest/gtest.h>

#include "images/test_images.h"

namespace quorvane {
namespace {

TEST(JpegScaledDecodeTest, DecodesAtTheSmallestEighthThatStillReachesTheTarget) {
  EXPECT_EQ(jpegScaleFor(6000, 1600), 3);  // 2250; 2/8 would give 1500
  EXPECT_EQ(jpegScaleFor(4032, 1600), 4);
  EXPECT_EQ(jpegScaleFor(12800, 1600), 1);
  EXPECT_EQ(jpegScaleFor(1700, 1600), 8);
  EXPECT_EQ(jpegScaleFor(1000, 1600), 8);

  const ImagePtr image = decodeScaledJpeg(testing::texturedJpeg(4800, 3200), 1600);
  ASSERT_TRUE(image);
  EXPECT_EQ(vips_image_get_width(image.get()), 1800);
  EXPECT_EQ(vips_image_get_height(image.get()), 1200);
  EXPECT_EQ(vips_image_get_bands(image.get()), 3);
}

// Whatever it does not decode cleanly and whole is left to libvips, which
// refuses damaged data: nothing here may come back filled with grey.
TEST(JpegScaledDecodeTest, LeavesToTheUsualDecodingWhatItCannotTakeWhole) {
  const testing::ImageBytes photo = testing::texturedJpeg(4800, 3200);
  testing::ImageBytes truncated = photo;
  truncated.resize(truncated.size() / 2);
  EXPECT_FALSE(decodeScaledJpeg(truncated, 1600)) << "a file cut short";
  testing::ImageBytes headerOnly = photo;
  headerOnly.resize(600);
  EXPECT_FALSE(decodeScaledJpeg(headerOnly, 1600));
  EXPECT_FALSE(decodeScaledJpeg({}, 1600));
  EXPECT_FALSE(decodeScaledJpeg(*testing::encodedImage(".png", 4800, 3200), 1600));
  EXPECT_FALSE(decodeScaledJpeg(testing::cmykJpeg(4800, 3200), 1600));
  EXPECT_FALSE(decodeScaledJpeg(*testing::encodedImage(".jpg[interlace]", 4800, 3200), 1600))
      << "progressive";
  EXPECT_FALSE(decodeScaledJpeg(photo, 4500)) << "7/8 gives 4200: only the whole reaches 4500";
}

}  // namespace
}  // namespace quorvane
