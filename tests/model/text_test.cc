#include "model/text.h"

#include <gtest/gtest.h>

#include "model/text_assets.h"

namespace quorvane {
namespace {

TEST(TrimTest, RemovesUnicodeWhiteSpaceAndLineBreaksAtBothEnds) {
  EXPECT_EQ(trimmedWhitespaceAndNewlines("  Bio \n"), "Bio");
  EXPECT_EQ(trimmedWhitespaceAndNewlines("\t\r\nStatement\r\n"), "Statement");
  // No-break space, ideographic space, line separator, next line.
  EXPECT_EQ(trimmedWhitespaceAndNewlines("\u00a0\u3000Texte\u2028\u0085"), "Texte");
  EXPECT_EQ(trimmedWhitespaceAndNewlines("Zoë Müller"), "Zoë Müller");
}

TEST(TrimTest, KeepsInnerSpacesAndNonSpaceMarks) {
  EXPECT_EQ(trimmedWhitespaceAndNewlines(" two  words "), "two  words");
  // A zero-width space is not white space.
  EXPECT_EQ(trimmedWhitespaceAndNewlines("\u200bx"), "\u200bx");
}

TEST(TrimTest, LeavesInvalidUtf8Alone) {
  EXPECT_EQ(trimmedWhitespaceAndNewlines(" \xff\xfe "), "\xff\xfe");
  EXPECT_EQ(trimmedWhitespaceAndNewlines("\xc3"), "\xc3");
  EXPECT_FALSE(isBlank("\xe2\x80"));
}

TEST(TrimTest, BlankMeansNothingButSpace) {
  EXPECT_TRUE(isBlank(""));
  EXPECT_TRUE(isBlank(" \n\u2029\t"));
  EXPECT_FALSE(isBlank(" . "));
}

TEST(TextAssetTest, BlankTitlesTakeTheDefaultOfTheirType) {
  EXPECT_EQ(normalizedTextTitle(" \n \r\n ", TextAssetType::cv), "CV");
  EXPECT_EQ(normalizedTextTitle("", TextAssetType::statement), "Artist statement");
  EXPECT_EQ(normalizedTextTitle("\t", TextAssetType::projectStatement), "Project Statement");
  EXPECT_EQ(normalizedTextTitle("\u00a0", TextAssetType::bio), "Biography");
  EXPECT_EQ(normalizedTextTitle("  About me\n", TextAssetType::bio), "About me");
}

}  // namespace
}  // namespace quorvane
