#include "app/text_stats.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(TextStatsTest, WordsAreWhatAReaderCountsNotSpacesOrPunctuation) {
  EXPECT_EQ(textStats("").words, 0);
  EXPECT_EQ(textStats("  \n\t ").words, 0);
  EXPECT_EQ(textStats("Born in Lyon, 1984 — lives in Berlin.").words, 7);
  EXPECT_EQ(textStats("l'atelier de Hans-Peter").words, 4);
  EXPECT_EQ(textStats("« Peinture » ... !").words, 1);
}

TEST(TextStatsTest, CharactersAreWhatTheEyeSees) {
  EXPECT_EQ(textStats("Zoë").characters, 3);
  EXPECT_EQ(textStats("Zoe\u0308").characters, 3);             // e + combining diaeresis
  EXPECT_EQ(textStats("\U0001F1EB\U0001F1F7").characters, 1);  // a flag: two code points
  EXPECT_EQ(textStats("a\r\nb").characters, 3);                // CR LF is one
  EXPECT_EQ(textStats("東京の美術館").characters, 6);
  EXPECT_GE(textStats("東京の美術館").words, 2);
}

}  // namespace
}  // namespace quorvane
