#include "pdf/portfolio_pdf_renderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "images/test_images.h"
#include "pdf/pdf_reader.h"
#include "pdf/wrap_cache.h"

namespace quorvane {
namespace {

using testing::embeddedImages;
using testing::qpdfProblems;
using testing::readLinks;
using testing::readOutline;
using testing::ReadOutlineEntry;
using testing::ReadPage;
using testing::readPdf;

// An outline as (title, page) pairs, one level.
std::vector<std::pair<std::string, int>> entriesOf(const std::vector<ReadOutlineEntry>& outline) {
  std::vector<std::pair<std::string, int>> entries;
  for (const ReadOutlineEntry& entry : outline) entries.emplace_back(entry.title, entry.page);
  return entries;
}
using Entries = std::vector<std::pair<std::string, int>>;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A project with its content, and the image bytes the store would supply.
class PortfolioTest : public ::testing::Test {
 protected:
  PortfolioTest() {
    project.id = "p1";
    project.projectTitle = "Tides";
    snapshot.details.firstName = "Zoë";
    snapshot.details.lastName = "Müller";
    snapshot.details.email = "zoe@example.org";
    snapshot.statement = "I paint the sea.";
    snapshot.biography = "Born in Lyon.";
    snapshot.cv.education.push_back({{"year", "2008"}, {"majorDegree", "MFA"}});
  }
  void addArtwork(const std::string& id, std::vector<std::uint8_t> bytes) {
    Artwork artwork;
    artwork.id = id;
    artwork.title = "Work " + id;
    snapshot.artworks.images.push_back(artwork);
    imageBytes[id] = std::move(bytes);
  }
  PdfRenderResult render(const std::string& locale = "en",
                         std::map<std::string, std::string> overrides = {},
                         const PortfolioPdfRenderer::Progress& progress = {}) {
    options.exportLocale = locale;
    const PortfolioPdfRenderer renderer(
        PDFStyle{}, PdfStrings(locale, "portfolio", std::move(overrides)),
        [this](const Artwork& artwork) -> std::optional<std::vector<std::uint8_t>> {
          const auto it = imageBytes.find(artwork.id);
          if (it == imageBytes.end()) return std::nullopt;
          return it->second;
        },
        optimizer, imagePreparationPolicy(options.imageQuality));
    return renderer.render(project, snapshot, options, true, {}, progress);
  }

  Project project;
  StudioSnapshot snapshot;
  ExportOptions options;
  std::map<std::string, std::vector<std::uint8_t>> imageBytes;
  ImageOptimizer optimizer;
};

TEST_F(PortfolioTest, TheDocumentIsCoverContentsThenEveryPartInOrderAndSound) {
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 200));
  const PdfRenderResult result = render();
  EXPECT_EQ(qpdfProblems(result.data), "");
  EXPECT_TRUE(result.warnings.empty());
  const auto pages = readPdf(result.data);
  // cover, contents, statement, biography, CV, one artwork, contact
  ASSERT_EQ(pages.size(), 7u);
  EXPECT_TRUE(contains(pages[0].text, "Zoë Müller"));
  EXPECT_TRUE(contains(pages[0].text, "Portfolio"));
  EXPECT_TRUE(contains(pages[1].text, "Table of Contents"));
  EXPECT_TRUE(contains(pages[1].text, "Artist Statement")) << pages[1].text;
  EXPECT_TRUE(contains(pages[2].text, "I paint the sea."));
  EXPECT_TRUE(contains(pages[3].text, "Born in Lyon."));
  EXPECT_TRUE(contains(pages[4].text, "Education"));
  EXPECT_TRUE(contains(pages[5].text, "Work a1"));
  EXPECT_TRUE(contains(pages[6].text, "zoe@example.org"));
  // The contents page names the page where each part begins.
  EXPECT_TRUE(contains(pages[1].text, "Selected Works")) << pages[1].text;
  for (const auto& page : pages) {
    EXPECT_NEAR(page.width, 595.28, 0.01);
    EXPECT_NEAR(page.height, 841.89, 0.01);
  }
}

TEST_F(PortfolioTest, FormatOrientationAndTheContentsPageFollowTheOptions) {
  options.format = PdfFormat::letter;
  options.includeTableOfContents = false;
  project.orientation = DocumentOrientation::landscape;
  const auto pages = readPdf(render().data);
  EXPECT_DOUBLE_EQ(pages[0].width, 792);
  EXPECT_DOUBLE_EQ(pages[0].height, 612);
  for (const auto& page : pages) EXPECT_FALSE(contains(page.text, "Table of Contents"));

  // Nothing but the cover and the contact page: still more than one page.
  options.includeTableOfContents = true;
  options.includeStatement = options.includeBiography = options.includeCV = false;
  const auto small = readPdf(render().data);
  ASSERT_EQ(small.size(), 3u);
  EXPECT_TRUE(contains(small[1].text, "Table of Contents"));
  EXPECT_TRUE(contains(small[2].text, "3")) << "numbered as placed in the document";
}

// An address of two lines keeps both, each above the postcode and city,
// never drawn over them.
TEST_F(PortfolioTest, EachLineOfTheContactDetailsIsALineOfItsOwn) {
  snapshot.details.address = "Torstraße 12\nHinterhaus";
  snapshot.details.zipcode = "10435";
  snapshot.details.currentCity = "Berlin";
  snapshot.details.country = "Germany";
  const auto pages = readPdf(render().data);
  const std::string& contact = pages.back().text;
  EXPECT_TRUE(contains(contact, "Torstraße 12\nHinterhaus\n10435 Berlin\nGermany")) << contact;
}

// The first work's image stands above the names, which stay inside the
// page however long; the file holds the image once for both its pages.
TEST_F(PortfolioTest, TheCoverShowsTheFirstWorkAboveTheNamesHeldOnceInTheFile) {
  const auto photo = testing::flatJpegIn("p3", {30, 60, 160}, 900, 1200);  // portrait
  addArtwork("a1", photo);
  addArtwork("a2", *testing::encodedImage(".jpg", 300, 200));
  snapshot.details.firstName = std::string(60, 'N');
  project.projectTitle = std::string(200, 'T');
  for (const auto quality : {ExportImageQuality::printQuality, ExportImageQuality::webOptimized}) {
    options.imageQuality = quality;
    options.includeCoverImage = false;
    const auto without = render().data;
    options.includeCoverImage = true;
    const auto with = render().data;
    EXPECT_EQ(embeddedImages(with).size(), embeddedImages(without).size() + 1);
    EXPECT_LT(with.size(), without.size() + 2000) << "the cover uses the work's own image";
    EXPECT_EQ(qpdfProblems(with), "");

    const ReadPage cover = readPdf(with).front();
    EXPECT_GE(cover.ink.left, 40);
    EXPECT_LE(cover.ink.right, cover.width - 40);
    EXPECT_LE(cover.ink.bottom, cover.height - 40);
    // The image's blue fills the top of the page, the names are below it.
    const auto pixels = testing::rasterisePage(with, 0, 100, 141);
    const auto at = [&](int x, int y) {
      const std::size_t i = (static_cast<std::size_t>(y) * 100 + x) * 3;
      return std::array<int, 3>{pixels.rgb[i], pixels.rgb[i + 1], pixels.rgb[i + 2]};
    };
    EXPECT_GT(at(20, 30)[2], at(20, 30)[0] + 60) << "blue at the top left";
    EXPECT_GT(cover.ink.top, cover.height * 0.4) << "the names begin under the image";
  }
}

TEST_F(PortfolioTest, TheCoverPrintsTheYearOnceWhenTheTitleEndsWithIt) {
  const auto timesOnCover = [&](const std::string& title, const std::string& year) {
    project.projectTitle = title;
    project.projectYear = year;
    const std::string cover = readPdf(render().data).front().text;
    std::size_t count = 0;
    for (std::size_t at = cover.find(year); at != std::string::npos; at = cover.find(year, at + 1))
      ++count;
    return count;
  };
  EXPECT_EQ(timesOnCover("Spring Fair 2026", "2026"), 1u);
  EXPECT_EQ(timesOnCover("Spring Fair", "2026"), 1u);
  EXPECT_EQ(timesOnCover("Room 12026", "2026"), 2u) << "another number that ends alike";
}

TEST_F(PortfolioTest, TheCoverNamesTheArtistOrItsFallbackInTheExportLanguage) {
  snapshot.details = {};
  const auto french = readPdf(render("fr").data);
  EXPECT_TRUE(contains(french[0].text, "Nom de l'artiste")) << french[0].text;
  const auto own = readPdf(
      render("de", {{"pdf.toc.title", "Übersicht"}, {"pdf.cover.artist_name_fallback", "N. N."}})
          .data);
  EXPECT_TRUE(contains(own[0].text, "N. N."));
  EXPECT_TRUE(contains(own[1].text, "Übersicht"));
}

TEST_F(PortfolioTest, WebQualityReencodesTo1600PixelsPrintQualityEmbedsTheBytesAsSupplied) {
  const auto photo = *testing::encodedImage(".jpg", 2400, 1600);
  const auto turned = *testing::encodedImage(".jpg", 600, 400, 6);  // must be turned upright
  const auto png = *testing::encodedImage(".png", 500, 300);
  addArtwork("photo", photo);
  addArtwork("turned", turned);
  addArtwork("png", png);
  options.includeCoverImage = false;  // one image a page

  options.imageQuality = ExportImageQuality::webOptimized;
  const auto web = embeddedImages(render().data);
  ASSERT_EQ(web.size(), 3u);
  EXPECT_EQ(web[0].width, 1600);
  EXPECT_NEAR(web[0].height, 1067, 1);
  EXPECT_EQ(web[0].encoding, "jpeg");

  options.imageQuality = ExportImageQuality::printQuality;
  const auto print = embeddedImages(render().data);
  ASSERT_EQ(print.size(), 3u);
  EXPECT_EQ(print[0].data, photo) << "the supplied JPEG, byte for byte";
  EXPECT_EQ(print[1].width, 400) << "a turned photo goes in upright, re-encoded";
  EXPECT_EQ(print[1].height, 600);
  EXPECT_NE(print[1].data, turned);
  EXPECT_EQ(print[2].encoding, "jpeg");
  EXPECT_EQ(print[2].width, 500);
}

// The colour most of a page's non-white pixels have: a flat image's.
std::array<int, 3> dominantColour(const testing::PagePixels& page) {
  std::map<std::array<int, 3>, int> counts;
  for (std::size_t i = 0; i + 2 < page.rgb.size(); i += 3) {
    const std::array<int, 3> c{page.rgb[i], page.rgb[i + 1], page.rgb[i + 2]};
    if (c[0] + c[1] + c[2] < 720) ++counts[c];
  }
  std::array<int, 3> best{};
  int most = 0;
  for (const auto& [colour, count] : counts) {
    if (count > most) std::tie(best, most) = std::tie(colour, count);
  }
  return best;
}

TEST_F(PortfolioTest, EachOriginalPrintsInItsOwnColourWithOneProfileObjectEach) {
  const std::map<std::string, testing::ImageBytes> originals{
      {"p3 red", testing::flatJpegIn("p3", {230, 40, 40}, 300, 200)},
      {"p3 green", testing::flatJpegIn("p3", {40, 200, 90}, 300, 200)},
      {"cmyk", testing::flatJpegIn("cmyk", {40, 90, 200}, 300, 200)}};
  for (const auto& [id, bytes] : originals) addArtwork(id, bytes);
  options.includeCoverImage = false;

  for (const auto quality : {ExportImageQuality::printQuality, ExportImageQuality::webOptimized}) {
    options.imageQuality = quality;
    const auto pdf = render().data;
    EXPECT_EQ(qpdfProblems(pdf), "");
    const auto pages = readPdf(pdf);
    for (const auto& [id, bytes] : originals) {
      const auto page = std::find_if(pages.begin(), pages.end(), [&](const ReadPage& p) {
        return contains(p.text, "Work " + id) && !contains(p.text, "Contents");
      });
      ASSERT_NE(page, pages.end()) << id;
      const auto drawn = dominantColour(
          testing::rasterisePage(pdf, static_cast<int>(page - pages.begin()), 100, 141));
      // A CMYK profile is a table whose conversions differ a little from
      // one colour engine to the next (poppler's and libvips' both use
      // lcms, with their own settings); a CMYK read the wrong way round
      // is a negative, hundreds of levels away.
      const bool cmyk = id == "cmyk";
      if (cmyk && quality != ExportImageQuality::printQuality) continue;
      const auto expected = testing::srgbCentre(bytes);
      for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(drawn[c], expected[c], cmyk ? 24 : 6)
            << id << " channel " << c << " at "
            << (quality == ExportImageQuality::printQuality ? "print quality" : "web quality");
      }
    }
    if (quality != ExportImageQuality::printQuality) continue;
    std::size_t held = 0;
    for (const auto& image : embeddedImages(pdf)) {
      held += std::count_if(originals.begin(), originals.end(),
                            [&](const auto& original) { return original.second == image.data; });
    }
    EXPECT_EQ(held, originals.size()) << "each original's bytes, untouched";
    const std::string text(pdf.begin(), pdf.end());
    const auto count = [&](const std::string& what) {
      std::size_t n = 0;
      for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
      return n;
    };
    EXPECT_EQ(count("/Alternate /DeviceRGB"), 1u) << "both P3 works share one profile";
    EXPECT_EQ(count("/Alternate /DeviceCMYK"), 1u);
    EXPECT_EQ(count("/Decode [1 0 1 0 1 0 1 0]"), 1u) << "Photoshop's CMYK, read inverted";
  }
}

TEST_F(PortfolioTest, WhatDoesNotFitBecomesAWarningNeverAFailure) {
  std::string longText;
  for (int i = 0; i < 300; ++i)
    longText += "A sentence of the biography, number " + std::to_string(i) + ".\n";
  snapshot.biography = longText;
  snapshot.statement = longText;
  addArtwork("broken", {0xFF, 0xD8, 0xFF, 0x00});  // no image to draw; the page still comes
  for (int i = 0; i < 200; ++i) {
    snapshot.cv.groupExhibitions.push_back(
        {{"year", "2020"}, {"title", "Show " + std::to_string(i)}});
  }
  const PdfRenderResult result = render();
  EXPECT_EQ(result.warnings,
            (std::vector<PdfWarning>{PdfWarning::statementTruncated, PdfWarning::biographyTruncated,
                                     PdfWarning::cvLongerThanTwoPages, PdfWarning::cvTruncated}));
  EXPECT_EQ(qpdfProblems(result.data), "");
  const auto pages = readPdf(result.data);
  EXPECT_TRUE(std::any_of(pages.begin(), pages.end(),
                          [](const auto& page) { return contains(page.text, "Work broken"); }));
}

TEST_F(PortfolioTest, CaptionsSayWhatTheCatalogueKindNeeds) {
  Artwork artwork;
  artwork.title = "Tide";
  artwork.year = "2026";
  artwork.medium = "Oil on linen";
  artwork.artworkWidth = "120";
  artwork.artworkHeight = "90";
  artwork.priceCents = 480050;
  artwork.status = ArtworkStatus::available;
  project.currency = "EUR";
  const PortfolioPdfRenderer renderer(PDFStyle{}, PdfStrings("fr", "portfolio", {}), {}, optimizer,
                                      std::nullopt);
  const std::string title = "Tide, 2026";
  const std::vector<std::string> plain{title, "Oil on linen", "120 × 90\u00a0cm"};
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3), plain) << "a portfolio";
  project.kind = ProjectKind::catalogue;
  project.catalogueKind = CatalogueKind::exhibition;
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3), plain) << "no price";

  project.catalogueKind = CatalogueKind::price;
  const auto price = renderer.captionLines(project, artwork, UnitSystem::in, 3);
  ASSERT_EQ(price.size(), 4u);
  EXPECT_EQ(price[2], "120 × 90\u00a0in");
  EXPECT_TRUE(contains(price[3], "4\u202f800,50\u00a0€ · Disponible")) << price[3];
  artwork.status = ArtworkStatus::sold;
  artwork.priceCents = 1250000;
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3).back(), "Vendu")
      << "a sold work shows that it is sold, not what it went for";
  artwork.status = std::nullopt;
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3).back(), "12\u202f500\u00a0€")
      << "a whole price without cents";

  project.catalogueKind = CatalogueKind::raisonne;
  artwork.status = ArtworkStatus::available;
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3),
            (std::vector<std::string>{"N° 3", title, "Oil on linen", "120 × 90\u00a0cm"}))
      << "the number first; never a price or an availability";
  artwork.title.clear();
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3)[1], "Sans titre, 2026");
  artwork.title = "المد";
  EXPECT_EQ(renderer.captionLines(project, artwork, UnitSystem::cm, 3)[1], "\u2068المد\u2069, 2026")
      << "a right-to-left title keeps the year after it";
}

// However long a title is, every word of it and the year after it are on
// the page, inside its margins, in every document kind.
TEST_F(PortfolioTest, ALongTitleWrapsInsideThePageAndKeepsItsYear) {
  std::string title;
  while (title.size() < 300) title += "Longitudinal study of tidal light ";
  addArtwork("a1", *testing::encodedImage(".jpg", 400, 300));
  snapshot.artworks.images[0].title = title;
  snapshot.artworks.images[0].year = "2026";
  project.projectTitle = title;
  for (const auto kind : {ProjectKind::portfolio, ProjectKind::catalogue}) {
    project.kind = kind;
    project.catalogueKind = CatalogueKind::raisonne;
    const auto pages = readPdf(render().data);
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const ReadPage& page = pages[i];
      EXPECT_GE(page.ink.left, PDFStyle{}.margin - 1) << "page " << i;
      EXPECT_LE(page.ink.right, page.width - PDFStyle{}.margin + 1)
          << "page " << i << ": " << page.text;
      EXPECT_LE(page.ink.bottom, page.height) << "page " << i;
    }
    const std::string& work = pages[pages.size() - 2].text;
    EXPECT_TRUE(contains(work, "2026")) << work;
    EXPECT_TRUE(contains(work, "tidal light")) << work;
  }
}

TEST_F(PortfolioTest, TheArtworkTextLayoutPrintsEachWorksTextWrappedOnceForAllRenderings) {
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 400));
  snapshot.artworks.layoutMode = ArtworkLayoutMode::artworkText;
  std::string text = "The painting was made on the beach at low tide over three mornings.\n\n";
  for (int i = 0; i < 12; ++i)
    text += "A sentence about salt, light and wind, number " + std::to_string(i) + ". ";
  snapshot.artworks.images[0].artworkText = text;
  options.includeCV = options.includeBiography = options.includeStatement = false;

  ArtworkDescriptionWrapCache& cache = ArtworkDescriptionWrapCache::shared();
  const std::int64_t hitsBefore = cache.hitCount();
  const auto pages = readPdf(render().data);
  const auto& page = pages[pages.size() - 2];  // the artwork's page, before the contact page
  EXPECT_TRUE(contains(page.text, "The painting was made on the beach")) << page.text;
  EXPECT_TRUE(contains(page.text, "number 11.")) << page.text;
  render();
  EXPECT_GT(cache.hitCount(), hitsBefore) << "the second rendering reuses the wrapped lines";

  // The artwork layout alone leaves the text out.
  snapshot.artworks.layoutMode = ArtworkLayoutMode::artwork;
  const auto plain = readPdf(render().data);
  EXPECT_FALSE(contains(plain[plain.size() - 2].text, "low tide"));
}

TEST(WrapCacheTest, ParagraphsBreakIntoLinesWithSpacersBetween) {
  PdfCanvas canvas(pageSize(PdfFormat::a4));
  ArtworkDescriptionWrapCache cache;
  const TextStyle style{10, FontWeight::regular, {}};
  const auto lines = cache.lines(canvas, "one two three four five six\n\nseven", style, 60);
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(lines.back(), (WrappedArtworkLine{"seven", false}));
  EXPECT_EQ(lines[lines.size() - 2], (WrappedArtworkLine{"", true}));
  std::string rejoined;
  for (std::size_t i = 0; i + 2 < lines.size(); ++i) {
    EXPECT_LE(canvas.textWidth(lines[i].text, style), 60.001) << lines[i].text;
    rejoined += (rejoined.empty() ? "" : " ") + lines[i].text;
  }
  EXPECT_EQ(rejoined, "one two three four five six");
  EXPECT_EQ(cache.missCount(), 1);
  cache.lines(canvas, "one two three four five six\n\nseven", style, 60);
  EXPECT_EQ(cache.hitCount(), 1);
  cache.lines(canvas, "one two three four five six\n\nseven", style, 80);
  EXPECT_EQ(cache.missCount(), 2) << "another width is another entry";
}

TEST_F(PortfolioTest, ARaisonneNumbersItsWorksInProjectOrder) {
  project.kind = ProjectKind::catalogue;
  project.catalogueKind = CatalogueKind::raisonne;
  options.includeCV = options.includeBiography = options.includeStatement = false;
  addArtwork("first", *testing::encodedImage(".jpg", 200, 200));
  addArtwork("second", *testing::encodedImage(".jpg", 200, 200));
  snapshot.artworks.images[1].artworkText = "Shown at the Kunsthalle in 2024.";
  std::vector<std::pair<std::size_t, std::size_t>> progress;
  const auto pages = readPdf(render("en", {}, [&](std::size_t done, std::size_t total) {
                               progress.emplace_back(done, total);
                             }).data);
  EXPECT_EQ(progress, (std::vector<std::pair<std::size_t, std::size_t>>{{1, 2}, {2, 2}}));
  ASSERT_EQ(pages.size(), 6u);  // cover, contents, two works, index, contact
  EXPECT_TRUE(contains(pages[2].text, "No. 1")) << pages[2].text;
  EXPECT_TRUE(contains(pages[3].text, "No. 2")) << pages[3].text;
  EXPECT_TRUE(contains(pages[3].text, "Shown at the Kunsthalle in 2024.")) << "every field";
  EXPECT_FALSE(contains(pages[0].text, "Portfolio")) << "a catalogue is no portfolio";
  EXPECT_TRUE(contains(pages[4].text, "Index by year")) << pages[4].text;

  // In the outline each work goes by its number and title, in the
  // language of the document.
  const auto outline = readOutline(render("fr").data);
  ASSERT_EQ(outline.size(), 3u);
  EXPECT_EQ(entriesOf(outline[0].children),
            (Entries{{"N° 1 — Work first", 3}, {"N° 2 — Work second", 4}}));
  EXPECT_EQ(outline[1].title, "Index par année");
}

// The index lists the works by year, the earliest first, each with its
// number and its page; works without a year come last.
TEST_F(PortfolioTest, TheRaisonneIndexFindsEachWorkByItsYear) {
  project.kind = ProjectKind::catalogue;
  project.catalogueKind = CatalogueKind::raisonne;
  options.includeCV = options.includeBiography = options.includeStatement = false;
  for (const char* year : {"2025", "", "2019", "2025"}) {
    addArtwork(std::to_string(snapshot.artworks.images.size() + 1), {});
    snapshot.artworks.images.back().year = year;
  }
  const auto pages = readPdf(render().data);
  const std::string& index = pages[pages.size() - 2].text;
  const std::size_t w3 = index.find("Work 3"), w1 = index.find("Work 1"), w4 = index.find("Work 4"),
                    w2 = index.find("Work 2");
  ASSERT_NE(w2, std::string::npos) << index;
  EXPECT_TRUE(w3 < w1 && w1 < w4 && w4 < w2) << index;
  // The reader joins a row's cells without a space: year, number, title, page.
  EXPECT_TRUE(contains(index, "20193Work 35")) << index;
  EXPECT_TRUE(contains(index, "\n4Work 46")) << "the year once for its works: " << index;
  EXPECT_TRUE(contains(index, "\n2Work 24") && contains(index, "—")) << "no year: " << index;
}

// A price catalogue ends with a price list, an exhibition catalogue with a
// list of works: every work in project order, the heading row on every page
// the list takes, no price for a sold work and none in an exhibition's.
TEST_F(PortfolioTest, EachCatalogueEndsWithTheListItsReadersLookFor) {
  project.kind = ProjectKind::catalogue;
  project.catalogueKind = CatalogueKind::price;
  project.currency = "EUR";
  options.includeCV = options.includeBiography = options.includeStatement = false;
  for (int i = 1; i <= 60; ++i) {
    addArtwork(std::to_string(i), {});
    Artwork& artwork = snapshot.artworks.images.back();
    artwork.medium = "Oil on linen";
    artwork.priceCents = 100000 * i;
    artwork.status = i == 2 ? ArtworkStatus::sold : ArtworkStatus::available;
  }
  const auto pages = readPdf(render().data);
  std::vector<std::string> list;
  for (const ReadPage& page : pages) {
    if (contains(page.text, "Dimensions")) list.push_back(page.text);
  }
  ASSERT_GE(list.size(), 2u) << "sixty works take more than a page";
  EXPECT_TRUE(contains(list.front(), "Price list"));
  for (const std::string& page : list) EXPECT_TRUE(contains(page, "Price")) << page;
  for (const char* cell : {"Work 1", "€1,000", "Available", "Work 2", "Sold"}) {
    EXPECT_TRUE(contains(list.front(), cell)) << cell << " in " << list.front();
  }
  EXPECT_TRUE(contains(list.back(), "€60,000")) << list.back();
  for (const ReadPage& page : pages) {
    EXPECT_FALSE(contains(page.text, "€2,000")) << "the sold work's price: " << page.text;
  }
  EXPECT_TRUE(contains(pages[1].text, "Price list")) << "in the contents";

  project.catalogueKind = CatalogueKind::exhibition;
  const auto exhibition = readPdf(render().data);
  bool listed = false;
  for (const ReadPage& page : exhibition) {
    EXPECT_FALSE(contains(page.text, "€")) << page.text;
    listed = listed || contains(page.text, "List of works");
  }
  EXPECT_TRUE(listed);
}

// A reader finds their way: the outline, the contents page's links, a table
// of objects that qpdf and a print shop's preflight accept.

// An emoji, Arabic or Chinese in a title prints as itself, kept as text:
// not a box of hex digits, not a colour bitmap pasted in as a picture.
TEST_F(PortfolioTest, EveryCharacterATitleHoldsPrintsAsText) {
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 200));
  snapshot.artworks.images[0].title = "Tide 🌊 المد 潮";
  options.includeCV = options.includeBiography = options.includeStatement = false;
  options.includeCoverImage = false;
  const auto pdf = render().data;
  const auto pages = readPdf(pdf);
  const std::string& work = pages[2].text;
  // Arabic comes back letter by letter in the order drawn; each is there.
  for (const char* part : {"🌊", "م", "د", "潮"}) EXPECT_TRUE(contains(work, part)) << work;
  EXPECT_EQ(embeddedImages(pdf).size(), 1u) << "the work's image, and no picture of a glyph";
}

// A screen reader finds the parts as headings, each work as a figure read
// as its caption, in the document's language; a preflight tool finds XMP
// metadata that agrees with the properties, and the sRGB output intent.
TEST_F(PortfolioTest, TheDocumentIsTaggedInReadingOrderInItsLanguage) {
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 200));
  snapshot.artworks.images[0].title = "Tide I";
  snapshot.artworks.images[0].year = "2026";
  snapshot.artworks.images[0].medium = "Oil on linen";
  options.exportLocale = "fr";
  const PortfolioPdfRenderer renderer(
      PDFStyle{}, PdfStrings("fr", "portfolio", {}),
      [this](const Artwork& artwork) { return std::optional(imageBytes[artwork.id]); }, optimizer,
      std::nullopt);
  DocumentProperties properties;
  properties.title = "Marées";
  properties.author = "Zoë Müller";
  properties.language = "fr";
  const auto pdf = renderer.render(project, snapshot, options, true, {}, {}, properties).data;
  EXPECT_EQ(qpdfProblems(pdf), "");
  const testing::ReadStructure read = testing::readStructure(pdf);
  EXPECT_TRUE(contains(read.info, "Tagged:          yes")) << read.info;
  const std::string& tree = read.tree;
  const std::size_t cover = tree.find("\"Zoë Müller\""), statement = tree.find("\"Démarche\""),
                    figure = tree.find("Figure"), contact = tree.rfind("H1");
  EXPECT_TRUE(cover < figure && figure < contact) << tree;
  EXPECT_NE(statement, 0u);
  EXPECT_TRUE(contains(tree, "H1 (block)\n    \"Biographie\"")) << tree;
  EXPECT_TRUE(contains(tree, "LI")) << "the CV's entries are a list: " << tree;

  const std::string& file = read.uncompressed;
  EXPECT_TRUE(contains(file, "/Lang (fr)")) << "the language a reader reads it in";
  EXPECT_TRUE(contains(file, "/Marked true"));
  EXPECT_TRUE(contains(file, "/Alt (Tide I, 2026, Oil on linen)"))
      << "each work's figure is read as its caption";
  EXPECT_TRUE(contains(file, "/OutputIntents")) << "an sRGB output intent";
  EXPECT_TRUE(contains(file, "/DestOutputProfile"));
  EXPECT_TRUE(contains(file, "<rdf:li xml:lang=\"x-default\">Marées</rdf:li>"))
      << "XMP metadata that says what the properties say";
  EXPECT_TRUE(contains(file, "<rdf:li>Zoë Müller</rdf:li>"));
  EXPECT_TRUE(contains(file, "<dc:language><rdf:Bag><rdf:li>fr</rdf:li>"));
}

TEST_F(PortfolioTest, TheOutlineHasEveryPartAndUnderThemTheWorksAndCvSectionsAtBothQualities) {
  snapshot.projectStatement = "A year on one shore.";
  snapshot.cv.soloExhibitions.push_back({{"year", "2020"}, {"title", "Tidewater"}});
  // A CV long enough to take a second page, its last section on it.
  for (int i = 0; i < 60; ++i) {
    snapshot.cv.education.push_back(
        {{"year", std::to_string(1990 + i)}, {"majorDegree", "Course " + std::to_string(i)}});
  }
  snapshot.cv.representationEntries.push_back({{"galleryName", "Galerie Westhaven"}});
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 200));
  addArtwork("a2", *testing::encodedImage(".jpg", 200, 300));
  // Titles as people type them: brackets, a backslash, a line break, bytes
  // that are no UTF-8 (which once stopped cairo drawing: the document
  // must still end with its contact page).
  snapshot.artworks.images[0].title = "Low (tide) \\ one\ntwo";
  snapshot.artworks.images[1].title = "";
  addArtwork("a3", *testing::encodedImage(".jpg", 100, 100));
  snapshot.artworks.images[2].title = "Salt \xff marsh";

  for (const ExportImageQuality quality :
       {ExportImageQuality::webOptimized, ExportImageQuality::printQuality}) {
    options.imageQuality = quality;
    const auto pdf = render().data;
    EXPECT_EQ(qpdfProblems(pdf), "");
    const auto pages = readPdf(pdf);
    // cover 1, contents 2, project statement 3, statement 4, biography 5,
    // CV 6–7, works 8–10, contact 11
    ASSERT_EQ(pages.size(), 11u);
    const auto outline = readOutline(pdf);
    EXPECT_EQ(entriesOf(outline), (Entries{{"Project Statement", 3},
                                           {"Artist Statement", 4},
                                           {"Biography", 5},
                                           {"Curriculum Vitae", 6},
                                           {"Selected Works", 8},
                                           {"Contact", 11}}));
    ASSERT_EQ(outline.size(), 6u);
    EXPECT_EQ(entriesOf(outline[3].children),
              (Entries{{"Selected solo exhibitions", 6}, {"Education", 6}, {"Representation", 7}}));
    EXPECT_TRUE(contains(pages[6].text, "Galerie Westhaven"));
    EXPECT_EQ(entriesOf(outline[4].children),
              (Entries{{"Low (tide) \\ one two", 8}, {"Untitled", 9}, {"Salt \uFFFD marsh", 10}}));
    for (const ReadOutlineEntry& part : outline) {
      if (part.title != "Selected Works" && part.title != "Curriculum Vitae") {
        EXPECT_TRUE(part.children.empty()) << part.title;
      }
    }
  }
}

TEST_F(PortfolioTest, EveryLineOfTheContentsPageIsALinkToItsPartPageNumberIncluded) {
  addArtwork("a1", *testing::encodedImage(".jpg", 300, 200));
  addArtwork("a2", *testing::encodedImage(".jpg", 300, 200));
  const auto pdf = render("de").data;
  const auto pages = readPdf(pdf);
  ASSERT_EQ(pages.size(), 8u);  // cover, contents, statement, biography, CV, two works, contact
  const auto links = readLinks(pdf, 1);
  ASSERT_EQ(links.size(), 5u);
  const std::vector<int> targets{3, 4, 5, 6, 8};
  const PDFStyle style;
  for (std::size_t i = 0; i < links.size(); ++i) {
    EXPECT_EQ(links[i].page, targets[i]) << "line " << i;
    // From the title at the margin to the page number at the right margin.
    EXPECT_LE(links[i].left, style.margin + 0.5);
    EXPECT_GE(links[i].right, pages[1].width - style.margin - 0.5);
    if (i > 0) {
      EXPECT_LE(links[i - 1].bottom, links[i].top + 0.01) << "lines' links never overlap";
    }
  }
  EXPECT_TRUE(contains(pages[1].text, "Lebenslauf")) << pages[1].text;
  for (const int page : {0, 2, 3, 4, 5, 6, 7}) {
    EXPECT_TRUE(readLinks(pdf, page).empty()) << "page " << page + 1;
  }
}

TEST_F(PortfolioTest, TwoHundredWorksStillMakeASoundFileWithAnEntryForEach) {
  const auto jpeg = *testing::encodedImage(".jpg", 64, 48);
  for (int i = 1; i <= 200; ++i) addArtwork(std::to_string(i), jpeg);
  options.imageQuality = ExportImageQuality::printQuality;
  const auto pdf = render().data;
  EXPECT_EQ(qpdfProblems(pdf), "");
  const auto outline = readOutline(pdf);
  ASSERT_EQ(outline.size(), 5u);  // statement, biography, CV, works, contact
  ASSERT_EQ(outline[3].children.size(), 200u);
  // cover, contents, statement, biography, CV: the works from page 6 on
  EXPECT_EQ(outline[3].children.front().page, 6);
  EXPECT_EQ(outline[3].children.back().title, "Work 200");
  EXPECT_EQ(outline[3].children.back().page, 205);
  EXPECT_EQ(outline[4].page, 206);
}

}  // namespace
}  // namespace quorvane
