#include "pdf/pdf_canvas.h"

#include <gtest/gtest.h>

#include <numeric>

namespace quorvane {
namespace {

const TextStyle kBody{10, FontWeight::regular, {}};
constexpr double kColumn = 475;

std::string joined(const std::vector<std::string>& lines) {
  return std::accumulate(lines.begin(), lines.end(), std::string());
}

TEST(PdfCanvasTextTest, ALongParagraphBreaksOneLineAtATimeAsItWouldAllAtOnce) {
  PdfCanvas canvas(pageSize(PdfFormat::a4));
  std::string shortParagraph;
  for (int i = 0; shortParagraph.size() < 1200; ++i) {
    shortParagraph += "word" + std::to_string(i * 7919 % 1000) + (i % 9 == 0 ? ", " : " ");
  }
  std::string longParagraph;
  while (longParagraph.size() < 20'000) longParagraph += shortParagraph;

  const auto whole = canvas.wrapParagraph(shortParagraph, kColumn, kBody);
  const auto pieceByPiece = canvas.wrapParagraph(longParagraph, kColumn, kBody, 200);
  ASSERT_GT(whole.size(), 5u);
  for (std::size_t i = 0; i + 1 < whole.size(); ++i) {
    EXPECT_EQ(pieceByPiece[i], whole[i]) << "line " << i;
  }
  EXPECT_EQ(canvas.wrapParagraph(longParagraph, kColumn, kBody, 3).size(), 3u);
  for (const std::string& line : pieceByPiece) {
    EXPECT_LE(canvas.textWidth(line, kBody), kColumn + 0.01) << line;
  }
}

TEST(PdfCanvasTextTest, AnUnbreakableWordIsBrokenAtTheColumnAndNothingOfItIsLost) {
  PdfCanvas canvas(pageSize(PdfFormat::a4));
  const std::string word = "Ünbreakable" + std::string(10'000, 'x') + "é";
  const auto lines = canvas.wrapParagraph(word, kColumn, kBody);
  ASSERT_GT(lines.size(), 20u);
  for (const std::string& line : lines) {
    EXPECT_LE(canvas.textWidth(line, kBody), kColumn + 0.01);
  }
  EXPECT_EQ(joined(lines), word) << "every letter is on some line, once";
}

TEST(PdfCanvasTextTest, FlowingAHugeTextStopsWhereThePageEndsAndSaysSo) {
  PdfCanvas canvas(pageSize(PdfFormat::a4));
  canvas.beginPage();
  const std::string text = std::string(4 << 20, 'y') + "\nsecond paragraph";
  const TextFlowResult flow = canvas.flowText(text, 60, 100, kColumn, 781, kBody, 14);
  EXPECT_FALSE(flow.complete);
  EXPECT_EQ(flow.lines, 48u) << "(781 − 100) / 14 lines, no more";
  EXPECT_NEAR(flow.bottom, 100 + 48 * 14, 1e-9);
}

}  // namespace
}  // namespace quorvane
