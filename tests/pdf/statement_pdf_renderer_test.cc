#include "pdf/statement_pdf_renderer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::qpdfProblems;
using testing::readPdf;

PdfRenderResult renderStatement(const std::string& text, std::string_view titleKey,
                                const std::string& locale, std::string_view scope,
                                PdfFormat format = PdfFormat::a4,
                                std::map<std::string, std::string> overrides = {}) {
  ExportOptions options;
  options.format = format;
  options.exportLocale = locale;
  const StatementPdfRenderer renderer(PDFStyle{},
                                      PdfStrings(locale, std::string(scope), std::move(overrides)));
  return renderer.render(text, titleKey, "Maren Aalto", options);
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(StatementPdfRendererTest, OnePageOfTheFormatsSizeWithTitleAndExtractableText) {
  const PdfRenderResult a4 = renderStatement("Zoë Müller paints the sea.\n\nShe lives in Berlin.",
                                             kStatementTitleKey, "en", "statement");
  EXPECT_EQ(qpdfProblems(a4.data), "");
  const auto pages = readPdf(a4.data);
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_NEAR(pages[0].width, 595.28, 0.01);
  EXPECT_NEAR(pages[0].height, 841.89, 0.01);
  EXPECT_TRUE(contains(pages[0].text, "Artist Statement")) << pages[0].text;
  EXPECT_TRUE(contains(pages[0].text, "Zoë Müller paints the sea.")) << pages[0].text;
  EXPECT_EQ(pages[0].text.find("Maren Aalto"), 0u) << "whose text it is, first: " << pages[0].text;
  EXPECT_TRUE(a4.warnings.empty());

  const auto letter =
      readPdf(renderStatement("Text", kBiographyTitleKey, "en", "bio", PdfFormat::letter).data);
  EXPECT_DOUBLE_EQ(letter[0].width, 612);
  EXPECT_DOUBLE_EQ(letter[0].height, 792);
  EXPECT_TRUE(contains(letter[0].text, "Biography"));
}

TEST(StatementPdfRendererTest, TheTitleSpeaksTheExportLanguageOrTheUsersOverride) {
  const auto german = readPdf(renderStatement("Text", kStatementTitleKey, "de", "statement").data);
  EXPECT_TRUE(contains(german[0].text, "Künstlerisches Statement")) << german[0].text;
  const auto own =
      readPdf(renderStatement("Text", kStatementTitleKey, "de", "statement", PdfFormat::a4,
                              {{"pdf.statement.title", "Über meine Arbeit"}})
                  .data);
  EXPECT_TRUE(contains(own[0].text, "Über meine Arbeit")) << own[0].text;
  EXPECT_FALSE(contains(own[0].text, "Künstlerisches Statement"));
}

TEST(StatementPdfRendererTest, AnOverlongTextIsCutToOnePageAndSaidSo) {
  std::string text;
  for (int i = 0; i < 400; ++i) text += "Line " + std::to_string(i) + " of a long biography.\n";
  const PdfRenderResult result = renderStatement(text, kBiographyTitleKey, "en", "bio");
  EXPECT_EQ(result.warnings, std::vector<PdfWarning>{PdfWarning::statementTruncated});
  const auto pages = readPdf(result.data);
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_TRUE(contains(pages[0].text, "Line 0 of"));
  EXPECT_FALSE(contains(pages[0].text, "Line 399 of"));
  // As many lines as the room holds: 841.89 − 2 × 60 less the room of the
  // artist's name and the title, at 15 points a line.
  EXPECT_TRUE(contains(pages[0].text, "Line 43 of"));
  EXPECT_FALSE(contains(pages[0].text, "Line 44 of"));
  EXPECT_EQ(qpdfProblems(result.data), "");
}

TEST(StatementPdfRendererTest, TheMeasureOfAPageAgreesWithWhatThePageCuts) {
  const auto lines = [](int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "Line " + std::to_string(i) + " of a biography.\n";
    return text;
  };
  EXPECT_EQ(measureTextPage("", PdfFormat::a4), (TextPageFill{0, true}));
  const TextPageFill one = measureTextPage(lines(1), PdfFormat::a4);
  const TextPageFill half = measureTextPage(lines(24), PdfFormat::a4);
  EXPECT_TRUE(one.fits);
  EXPECT_GT(one.fraction, 0);
  EXPECT_NEAR(half.fraction, 24.0 / 44, 0.03);  // 44 lines to an A4 page
  // At the edge, the measure and the document agree line for line.
  for (const int count : {43, 44, 45}) {
    const bool cut =
        !renderStatement(lines(count), kBiographyTitleKey, "en", "bio").warnings.empty();
    const TextPageFill fill = measureTextPage(lines(count), PdfFormat::a4);
    EXPECT_EQ(fill.fits, !cut) << count;
    if (!fill.fits) {
      EXPECT_EQ(fill.fraction, 1.0);
    }
  }
  // Letter paper is shorter: the same text takes more of it.
  EXPECT_GT(measureTextPage(lines(24), PdfFormat::letter).fraction, half.fraction);
}

TEST(StatementPdfRendererTest, AOneWordTextOfFourMegabytesFillsOnePageWithinItsMargins) {
  const PdfRenderResult result =
      renderStatement(std::string(4 << 20, 'x'), kBiographyTitleKey, "en", "bio");
  EXPECT_EQ(result.warnings, std::vector<PdfWarning>{PdfWarning::statementTruncated});
  const auto pages = readPdf(result.data);
  ASSERT_EQ(pages.size(), 1u);
  // The word is broken at the right margin, line after line, to the bottom
  // margin: 44 lines, as for any text, each as long as the column allows.
  std::vector<std::size_t> lengths;
  std::size_t start = 0;
  while (start < pages[0].text.size()) {
    std::size_t end = pages[0].text.find('\n', start);
    if (end == std::string::npos) end = pages[0].text.size();
    const std::string line = pages[0].text.substr(start, end - start);
    if (line.find('x') != std::string::npos) lengths.push_back(line.size());
    start = end + 1;
  }
  ASSERT_EQ(lengths.size(), 44u);
  EXPECT_EQ(*std::min_element(lengths.begin(), lengths.end()),
            *std::max_element(lengths.begin(), lengths.end()));
  EXPECT_EQ(qpdfProblems(result.data), "");
}

}  // namespace
}  // namespace quorvane
