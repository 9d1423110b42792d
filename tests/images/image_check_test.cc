#include "images/image_check.h"

#include <gtest/gtest.h>

#include "images/image_structure.h"
#include "images/test_images.h"

namespace quorvane {
namespace {

class ImageCheckTest : public ::testing::Test {
 protected:
  ImageOptimizer optimizer;
};

// Every format an artist brings passes whole, and with bytes after its end
// (decoders ignore them; padded files exist); cut anywhere after its
// header, it is refused — the file of a copy that stopped is no original.
TEST_F(ImageCheckTest, AWholeImagePassesAndOneCutShortAnywhereIsRefused) {
  for (const char* suffix : {".jpg", ".png", ".gif", ".tif", ".webp", ".heic"}) {
    const std::optional<testing::ImageBytes> image = testing::encodedImage(suffix, 120, 90);
    if (!image) continue;  // this libvips can't write it
    EXPECT_EQ(imageFault(optimizer, *image), std::nullopt) << suffix;
    testing::ImageBytes padded = *image;
    padded.insert(padded.end(), 4096, 0);
    EXPECT_EQ(imageFault(optimizer, padded), std::nullopt) << suffix << " with padding";
    for (const double kept : {0.5, 0.75, 0.9, 0.99}) {
      const auto length = static_cast<std::ptrdiff_t>(static_cast<double>(image->size()) * kept);
      const testing::ImageBytes cut(image->begin(), image->begin() + length);
      EXPECT_NE(imageFault(optimizer, cut), std::nullopt) << suffix << " cut at " << kept;
    }
    const testing::ImageBytes lastByteGone(image->begin(), image->end() - 1);
    EXPECT_NE(imageFault(optimizer, lastByteGone), std::nullopt) << suffix;
  }
}

// A file's kind told from its first bytes is the kind the whole file reads
// as: an original is checked by its head before it goes into a backup.
TEST_F(ImageCheckTest, TheKindOfAFilesHeadIsTheKindOfTheWholeFile) {
  for (const char* suffix : {".jpg", ".png", ".gif", ".tif", ".webp", ".heic"}) {
    const std::optional<testing::ImageBytes> image = testing::encodedImage(suffix, 400, 300);
    if (!image) continue;
    const std::span<const std::uint8_t> head(image->data(),
                                             std::min<std::size_t>(256, image->size()));
    EXPECT_EQ(ImageOptimizer::mimeTypeOfHead(head), optimizer.sniffMimeType(*image)) << suffix;
  }
  const std::string text = "GIF is a word, not an image";
  EXPECT_EQ(ImageOptimizer::mimeTypeOfHead(
                std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())),
            std::nullopt);
}

TEST_F(ImageCheckTest, TextAnAbsurdPixelCountAndAStructureThatLiesAreRefused) {
  const std::string text = "hello, I am no image";
  EXPECT_EQ(imageFault(optimizer,
                       std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())),
            ImageFault::notAnImage);
  EXPECT_EQ(imageFault(optimizer, testing::pngHeader(60000, 60000)), ImageFault::tooManyPixels);
  // Lengths that point past the end, read as such and never beyond.
  const std::uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0xFF, 0xFF};
  EXPECT_FALSE(reachesItsEnd("image/jpeg", jpeg));
  const std::uint8_t riff[] = {'R', 'I', 'F', 'F', 0xFF, 0xFF, 0xFF, 0x7F, 'W', 'E', 'B', 'P'};
  EXPECT_FALSE(reachesItsEnd("image/webp", riff));
  const std::uint8_t box[] = {0, 0, 0, 1, 'f', 't', 'y', 'p', 0xFF, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_FALSE(reachesItsEnd("image/heif", box));
  const std::uint8_t tiff[] = {'I', 'I', 42, 0, 0xF0, 0xFF, 0xFF, 0xFF};
  EXPECT_FALSE(reachesItsEnd("image/tiff", tiff));
}

}  // namespace
}  // namespace quorvane
