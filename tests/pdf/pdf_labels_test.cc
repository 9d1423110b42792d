#include "pdf/pdf_labels.h"

#include <gtest/gtest.h>

#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

TEST(PdfStringsTest, LooksUpOverrideThenLocaleThenItsLanguageThenEnglishThenTheKey) {
  const PdfStrings german("de", "portfolio",
                          {{"pdf.toc.artworks", "Werke"}, {"pdf.toc.contact", ""}});
  EXPECT_EQ(german.label("pdf.toc.artworks"), "Werke");
  EXPECT_EQ(german.label("pdf.toc.contact"), "Kontakt") << "an empty override is no override";
  EXPECT_EQ(german.label("pdf.toc.title"), "Inhaltsverzeichnis");
  EXPECT_EQ(german.label("pdf.nothing.here"), "pdf.nothing.here");

  EXPECT_EQ(PdfStrings("de-AT", "portfolio", {}).label("pdf.toc.artworks"), "Ausgewählte Werke");
  EXPECT_EQ(PdfStrings("DE", "portfolio", {}).label("pdf.toc.artworks"), "Selected Works")
      << "the language step does not lower-case";

  // A text the language lacks prints in English.
  EXPECT_EQ(PdfStrings("it", "portfolio", {}).label("pdf.cover.artist_name_fallback"),
            "Artist Name");
}

TEST(PdfStringsTest, FormatFillsNamedPlaceholdersAndLeavesTheRest) {
  const PdfStrings english("en", "cv", {});
  EXPECT_EQ(english.format("pdf.cv.intro.lives_and_works_in", {{"location", "Berlin"}}),
            "Lives and works in Berlin");
  EXPECT_EQ(english.format("pdf.cv.intro.born_year_dash_location", {{"year", "1984"}}),
            "b. 1984 — {location}");
  EXPECT_EQ(english.format("pdf.cv.intro.born", {}), "b. {year}");
  EXPECT_EQ(english.format("pdf.press.in_outlet", {{"outlet", "{outlet} & co"}}),
            "in {outlet} & co")
      << "a value is inserted as it is, never filled again";
}

TEST(PdfStringsTest, OutsideEnglishTheCvIntroPrintsTheBareYearAndPlaceAndNoSelected) {
  for (const char* locale : {"fr", "it", "de", "es"}) {
    const PdfStrings strings(locale, "cv", {});
    EXPECT_EQ(strings.format("pdf.cv.intro.born", {{"year", "1986"}}), "1986") << locale;
    EXPECT_EQ(strings.format("pdf.cv.intro.born_in", {{"place", "Turku"}}), "Turku") << locale;
    EXPECT_EQ(strings.label("pdf.cv.section.press").find("Selected"), std::string::npos);
  }
  EXPECT_EQ(PdfStrings("en", "cv", {}).label("pdf.cv.section.press"), "Selected press");
}

TEST(PdfStringsTest, AnOverrideChangesOnlyItsOwnLanguageAndDocumentKind) {
  testing::TempDir dir;
  testing::ManualClock clock;
  SQLiteSnapshotRepository repository(SQLiteDatabase(dir.file("quorvane.sqlite")), clock);
  repository.upsertLabelOverride({"portfolio", "de", "pdf.toc.artworks", "Werke"});
  const auto resolver = [&](const char* locale, const char* scope) {
    return PdfStrings(locale, scope, repository.labelOverrides(scope, locale));
  };
  EXPECT_EQ(resolver("de", "portfolio").label("pdf.toc.artworks"), "Werke");
  EXPECT_EQ(resolver("fr", "portfolio").label("pdf.toc.artworks"), "Œuvres sélectionnées");
  EXPECT_EQ(resolver("de", "cv").label("pdf.toc.artworks"), "Ausgewählte Werke");
}

}  // namespace
}  // namespace quorvane
