#include "pdf/pdf_image_colour.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorvane {
namespace {

const std::string kCairoImage =
    "<< /Length 7 0 R\n   /Type /XObject\n   /Subtype /Image\n   /Width 64\n   /Height 64\n"
    "   /ColorSpace /DeviceCMYK\n   /Interpolate true\n   /BitsPerComponent 8\n"
    "   /Filter /DCTDecode\n>>";

// A profile header that says what it is, padded to `size`.
std::vector<std::uint8_t> profile(const char space[4], std::uint32_t size = 200) {
  std::vector<std::uint8_t> bytes(size, 0);
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
  std::copy(space, space + 4, bytes.begin() + 16);
  std::copy_n("acsp", 4, bytes.begin() + 36);
  return bytes;
}

std::span<const std::uint8_t> asBytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(PdfImageColourTest, ADictionaryIsWrittenAgainInAsManyBytesOrNotAtAll) {
  const auto rewritten = rewriteImageDictionary(kCairoImage, "[/ICCBased 1234 0 R]",
                                                "[1 0 1 0 1 0 1 0]");
  ASSERT_TRUE(rewritten);
  EXPECT_EQ(rewritten->size(), kCairoImage.size());
  EXPECT_TRUE(rewritten->starts_with(
      "<< /Length 7 0 R /Subtype /Image /Width 64 /Height 64 /Interpolate true "
      "/BitsPerComponent 8 /Filter /DCTDecode /ColorSpace"))
      << *rewritten;
  EXPECT_NE(rewritten->find("/ColorSpace [/ICCBased 1234 0 R] /Decode [1 0 1 0 1 0 1 0] "),
            std::string::npos);
  EXPECT_TRUE(rewritten->ends_with(" >>"));

  EXPECT_FALSE(rewriteImageDictionary("<< /Subtype /Image /ColorSpace /DeviceRGB >>",
                                      "[/ICCBased 1234 0 R]", ""))
      << "no room";
  EXPECT_FALSE(rewriteImageDictionary("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
                                      "/DeviceRGB", ""));
  EXPECT_FALSE(rewriteImageDictionary("<< /Subtype /Image /Decode [0 1] /Width 1 >>", "/G", ""));
  EXPECT_FALSE(rewriteImageDictionary("<< /Subtype >>", "/G", ""));
}

TEST(PdfImageColourTest, OnlyAWholeProfileOfTheImagesInksIsUsed) {
  EXPECT_EQ(iccProfileComponents(profile("RGB ")), 3);
  EXPECT_EQ(iccProfileComponents(profile("GRAY")), 1);
  EXPECT_EQ(iccProfileComponents(profile("CMYK")), 4);
  EXPECT_FALSE(iccProfileComponents(profile("Lab ")));
  auto cut = profile("RGB ");
  cut.resize(150);
  EXPECT_FALSE(iccProfileComponents(cut)) << "its header claims 200 bytes";

  // A grey profile in an RGB JPEG, and an image whose data comes in two
  // pieces, are left as cairo declares them.
  const std::string head = "9 0 obj\n" + kCairoImage + "\nstream\n";
  const std::string data(5000, 'x');
  PdfImageColours colours;
  std::uint64_t written = 0;
  const auto write = [&](std::span<const std::uint8_t> bytes) {
    colours.observe(bytes, written);
    written += bytes.size();
  };
  colours.expect(asBytes(data), JpegColour{3, profile("GRAY"), false});
  write(asBytes(head));
  write(asBytes(data));
  EXPECT_TRUE(colours.edits(50, written).empty());
  EXPECT_TRUE(colours.profileObjects().empty());

  colours.expect(asBytes(data), JpegColour{3, profile("RGB "), false});
  write(asBytes(head));
  write(asBytes(data).first(2500));
  write(asBytes(data).subspan(2500));
  EXPECT_TRUE(colours.edits(50, written).empty());

  const std::uint64_t dictionary = written + 8;
  write(asBytes(head));
  write(asBytes(data));
  const auto edits = colours.edits(50, written);
  ASSERT_EQ(edits.size(), 1u);
  EXPECT_EQ(edits[0].offset, dictionary);
  EXPECT_NE(edits[0].bytes.find("/ColorSpace [/ICCBased 50 0 R]"), std::string::npos);
  EXPECT_TRUE(colours.edits(50, dictionary).empty()) << "bytes not yet written are not edited";
}

}  // namespace
}  // namespace quorvane
