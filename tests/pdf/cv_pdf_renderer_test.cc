#include "pdf/cv_pdf_renderer.h"

#include <gtest/gtest.h>

#include <cctype>

#include "cv/cv_sections.h"
#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::qpdfProblems;
using testing::readPdf;

CvPdfRenderer renderer(const std::string& locale) {
  return CvPdfRenderer(PDFStyle{}, PdfStrings(locale, "cv", {}));
}

ArtistDetails zoe() {
  ArtistDetails details;
  details.firstName = "Zoë";
  details.lastName = "Müller";
  details.birthYear = "1984";
  details.birthPlace = "Lyon";
  details.currentCity = "Berlin";
  return details;
}

std::size_t positionOf(const std::string& text, const std::string& part) { return text.find(part); }

TEST(CvPdfRendererTest, SectionsComeInCvOrderTitledInTheExportLanguageEmptyOnesLeftOut) {
  CVData cv;
  cv.education.push_back({{"year", "2008"}, {"majorDegree", "MFA"}, {"institution", "UdK"}});
  cv.soloExhibitions.push_back({{"year", "2024"}, {"title", "Tides"}, {"venue", "Galerie Nord"}});
  cv.press.push_back({{"year", "2023"}, {"author", "A. Critic"}, {"outlet", "frieze"}});
  cv.commissions.push_back({{"year", " "}});  // nothing in it: no section
  ExportOptions options;
  const PdfRenderResult result = renderer("fr").render(zoe(), cv, options);
  EXPECT_EQ(qpdfProblems(result.data), "");
  const auto pages = readPdf(result.data);
  ASSERT_EQ(pages.size(), 1u);
  const std::string& text = pages[0].text;
  EXPECT_NE(positionOf(text, "Zoë Müller"), std::string::npos) << text;
  EXPECT_NE(positionOf(text, "1984 — Lyon"), std::string::npos) << text;
  EXPECT_NE(positionOf(text, "Vit et travaille à Berlin"), std::string::npos);
  EXPECT_LT(positionOf(text, "Expositions personnelles"), positionOf(text, "Formation"));
  EXPECT_LT(positionOf(text, "Formation"), positionOf(text, "Presse"));
  EXPECT_NE(positionOf(text, "A. Critic, dans frieze"), std::string::npos) << text;
  EXPECT_EQ(positionOf(text, "Commandes"), std::string::npos);
}

TEST(CvPdfRendererTest, ALongCvTakesMorePagesNumberedFromTheSecondAndALimitCutsIt) {
  CVData cv;
  for (int i = 0; i < 90; ++i) {
    cv.groupExhibitions.push_back(
        {{"year", std::to_string(2024 - i % 30)}, {"title", "Show " + std::to_string(i)}});
  }
  ExportOptions options;
  const auto pages = readPdf(renderer("en").render(zoe(), cv, options).data);
  ASSERT_GE(pages.size(), 2u);
  EXPECT_NE(pages.back().text.find("Show 89"), std::string::npos);
  // The number is the page's last text, from the second page on.
  const auto lastLine = [](std::string text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    return text.substr(text.find_last_of('\n') + 1);
  };
  EXPECT_NE(lastLine(pages[0].text), "1");
  EXPECT_EQ(lastLine(pages[1].text), "2");

  PdfCanvas canvas(pageSize(PdfFormat::a4));
  const CvDrawResult limited = renderer("en").draw(canvas, zoe(), cv, 1);
  EXPECT_EQ(limited.pages, 1);
  EXPECT_TRUE(limited.truncated);
  PdfCanvas roomy(pageSize(PdfFormat::a4));
  EXPECT_FALSE(renderer("en").draw(roomy, zoe(), cv, 10).truncated);
}

TEST(CvPdfRendererTest, ACvOfThreePagesHasItsSectionsAsBookmarksEachOpeningWhereItsTitleIs) {
  CVData cv;
  for (int i = 0; i < 70; ++i) {
    cv.groupExhibitions.push_back({{"year", "2001"}, {"title", "Show " + std::to_string(i)}});
  }
  cv.press.push_back({{"author", "L. de Vries"}, {"title", "Looking at water"}});
  cv.education.push_back({{"year", "2008"}, {"majorDegree", "MFA"}});
  cv.representationEntries.push_back({{"galleryName", "Galerie Westhaven"}});
  const auto pdf = renderer("de").render(zoe(), cv, ExportOptions{}).data;
  EXPECT_EQ(qpdfProblems(pdf), "");
  const auto pages = readPdf(pdf);
  ASSERT_EQ(pages.size(), 3u);
  const auto outline = testing::readOutline(pdf);
  std::vector<std::string> titles;
  for (const auto& entry : outline) {
    titles.push_back(entry.title);
    ASSERT_GE(entry.page, 1);
    ASSERT_LE(entry.page, 3);
    EXPECT_NE(pages[entry.page - 1].text.find(entry.title), std::string::npos)
        << entry.title << " on page " << entry.page;
    EXPECT_TRUE(entry.children.empty());
  }
  EXPECT_EQ(titles, (std::vector<std::string>{"Gruppenausstellungen", "Ausbildung", "Presse",
                                              "Vertretung"}));
  EXPECT_EQ(outline.front().page, 1);
  EXPECT_EQ(outline.back().page, 3);
}

TEST(CvPdfRendererTest, IntroLinesSayWhatIsKnownInTheLanguagesWording) {
  ArtistDetails details;
  EXPECT_TRUE(renderer("en").introLines(details).empty());
  details.birthYear = "1984";
  EXPECT_EQ(renderer("en").introLines(details), std::vector<std::string>{"b. 1984"});
  details.birthYear.clear();
  details.birthPlace = "Lyon";
  details.birthCountry = "France";
  EXPECT_EQ(renderer("en").introLines(details), std::vector<std::string>{"Born in Lyon, France"});
  details.country = "Germany";
  EXPECT_EQ(renderer("es").introLines(details),
            (std::vector<std::string>{"Lyon, France", "Vive y trabaja en Germany"}));
}

TEST(CvPdfRendererTest, EntriesReadAsOneSentenceBesideTheirDate) {
  const CvPdfRenderer en = renderer("en");
  const CVEntry press{{"author", "A. Critic"}, {"title", "Weather"}, {"outlet", "frieze"}};
  EXPECT_EQ(en.entryText(CVSectionKey::press, press), "A. Critic, “Weather”, in frieze");
  const CVEntry residency{{"period", "2022–2023"}, {"name", "Cité"}, {"place", " Paris "}};
  EXPECT_EQ(CvPdfRenderer::entryDate(residency), "2022–2023");
  EXPECT_EQ(en.entryText(CVSectionKey::residencies, residency), "Cité, Paris");
  const CVEntry gallery{{"galleryName", "Galerie Nord"}, {"email", "info@nord.example"}};
  EXPECT_EQ(en.entryText(CVSectionKey::representation, gallery),
            "Galerie Nord · info@nord.example");
  EXPECT_EQ(CvPdfRenderer::entryDate(gallery), "");
}

// Whatever the editor lets an artist fill in is printed, as the entry's
// date or in its text: a field the renderer spells otherwise is lost.
TEST(CvPdfRendererTest, EveryFieldTheEditorOffersIsPrinted) {
  const CvPdfRenderer en = renderer("en");
  for (const CVSectionConfig& section : cvSectionConfigs()) {
    for (const CVFieldConfig& field : section.fields) {
      CVEntry entry;
      entry[std::string(field.id)] = "Filled in";
      const std::string printed =
          CvPdfRenderer::entryDate(entry) + "|" + en.entryText(section.id, entry);
      EXPECT_NE(printed.find("Filled in"), std::string::npos)
          << rawValue(section.id) << "." << field.id;
    }
  }
}

}  // namespace
}  // namespace quorvane
