#include "model/export_file_names.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "model/artist_name.h"
#include "model/slug.h"

namespace quorvane {
namespace {

// Sets the process time zone for one test and restores it afterwards. Zones
// are given as POSIX rules, which need no time-zone data installed.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) previous_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (previous_) {
      setenv("TZ", previous_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::optional<std::string> previous_;
};

Date localTime(int year, int month, int day, int hour = 12, int minute = 0) {
  std::tm local{};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_isdst = -1;
  return dateFromSeconds(static_cast<double>(std::mktime(&local)));
}

ArtistDetails named(std::string first, std::string last) {
  ArtistDetails details;
  details.firstName = std::move(first);
  details.lastName = std::move(last);
  return details;
}

const Date kFifthOfMarch = localTime(2026, 3, 5);

TEST(SlugTest, FoldsCaseAndDiacriticsToAsciiRuns) {
  EXPECT_EQ(slug("Zoë Müller"), "zoe-muller");
  EXPECT_EQ(slug("  ÉLODIE   d'Août -- 2026! "), "elodie-d-aout-2026");
  EXPECT_EQ(slug("Straße"), "strasse");
  EXPECT_EQ(slug("Ångström_Çelik"), "angstrom-celik");
  EXPECT_EQ(slug("a---b"), "a-b");
}

TEST(SlugTest, NothingLeftFallsBackToTheProductName) {
  EXPECT_EQ(slug(""), "quorvane");
  EXPECT_EQ(slug("— ! —"), "quorvane");
  EXPECT_EQ(slug("草間彌生"), "quorvane");
  EXPECT_EQ(slug("---", 5), "quorvane");
  EXPECT_EQ(slug("\xff\xfe"), "quorvane");  // not UTF-8
  EXPECT_EQ(slug("\u0301"), "quorvane");    // a lone combining accent
}

TEST(SlugTest, LengthLimitCutsThenTrimsHyphensAgain) {
  EXPECT_EQ(slug("abcdef ghij", 6), "abcdef");
  EXPECT_EQ(slug("abcde fghij", 6), "abcde");  // the cut lands on the hyphen
  EXPECT_EQ(slug("abc", 10), "abc");
  EXPECT_EQ(slug("abcdef", 0), "abcdef");  // a limit below one does not apply
}

TEST(ArtistNameTest, LegalNameByDefaultWithTheArtistNameAsFallback) {
  ArtistDetails details = named(" Zoë ", "Müller\n");
  details.artistName = "ZM";
  EXPECT_EQ(printedArtistName(details), "Zoë Müller");
  EXPECT_EQ(printedArtistName(named("", "Müller")), "Müller");
  EXPECT_EQ(printedArtistName(named("Zoë", " ")), "Zoë");
  ArtistDetails onlyArtistName;
  onlyArtistName.artistName = "ZM";
  EXPECT_EQ(printedArtistName(onlyArtistName), "ZM");
  EXPECT_EQ(printedArtistName(ArtistDetails{}), "");
}

TEST(ArtistNameTest, ArtistModePrintsTheArtistNameWithTheLegalNameAsFallback) {
  ArtistDetails details = named("Zoë", "Müller");
  details.nameDisplayMode = "artist";
  details.artistName = " ZM ";
  EXPECT_EQ(printedArtistName(details), "ZM");
  details.artistName = "";
  EXPECT_EQ(printedArtistName(details), "Zoë Müller");
  details.nameDisplayMode = "something-new";
  details.artistName = "ZM";
  EXPECT_EQ(printedArtistName(details), "Zoë Müller");
}

TEST(ExportFileNameTest, EveryKindWithAnEmptyNameBeginsWithQuorvane) {
  const ArtistDetails nobody;
  EXPECT_EQ(exportFileName(ExportDocumentKind::cv, nobody, "fr", kFifthOfMarch),
            "quorvane-cv-2026-03-05.pdf");
  EXPECT_EQ(exportFileName(ExportDocumentKind::projectStatement, nobody, "fr", kFifthOfMarch),
            "quorvane-statement-de-projet-2026-03-05.pdf");
}

TEST(ExportFileNameTest, KindWordsFollowTheExportLanguage) {
  using enum ExportDocumentKind;
  // Each language once at least: the words are looked up by its place.
  EXPECT_EQ(exportKindWord(biography, "fr"), "biographie");
  EXPECT_EQ(exportKindWord(biography, " DE\n"), "biografie");
  EXPECT_EQ(exportKindWord(biography, "pt"), "biography");
  EXPECT_EQ(exportKindWord(artistStatement, "it"), "statement-artista");
  EXPECT_EQ(exportKindWord(artistStatement, "es"), "declaracion-artistica");
  EXPECT_EQ(exportKindWord(artistStatement, "fr"), "demarche-artistique");
  EXPECT_EQ(exportKindWord(projectStatement, "it"), "project-statement");
}

TEST(ExportFileNameTest, LongNamesAreCutToSixtyCharactersBeforeTheKindWord) {
  const std::string eightyLetters(80, 'a');
  const std::string name =
      exportFileName(ExportDocumentKind::biography, named(eightyLetters, ""), "en", kFifthOfMarch);
  EXPECT_EQ(name, std::string(60, 'a') + "-biography-2026-03-05.pdf");
  // A cut that ends on the word break leaves no doubled hyphen.
  const std::string name59 = exportFileName(
      ExportDocumentKind::cv, named(std::string(59, 'b'), "Müller"), "en", kFifthOfMarch);
  EXPECT_EQ(name59, std::string(59, 'b') + "-cv-2026-03-05.pdf");
}

TEST(ExportFileNameTest, CataloguesNameTheirLabelAfterTheArtist) {
  EXPECT_EQ(exportFileName(ExportDocumentKind::catalogue, named("Zoë", "Müller"), "fr",
                           kFifthOfMarch, "Prix — Été 2026"),
            "zoe-muller-catalogue-prix-ete-2026-2026-03-05.pdf");
  EXPECT_EQ(exportFileName(ExportDocumentKind::catalogue, named("Zoë", "Müller"), "en",
                           kFifthOfMarch, "  "),
            "zoe-muller-catalogue-catalogue-2026-03-05.pdf");
  // The label is not limited to 60 characters, only to what a file name
  // can hold.
  const std::string longLabel(70, 'x');
  EXPECT_NE(
      exportFileName(ExportDocumentKind::catalogue, ArtistDetails{}, "en", kFifthOfMarch, longLabel)
          .find(longLabel),
      std::string::npos);
  std::string title;
  for (int i = 0; i < 40; ++i) title += "Paysages d’été ";  // 600 characters
  const std::string capped = exportFileName(ExportDocumentKind::catalogue, named("Zoë", "Müller"),
                                            "fr", kFifthOfMarch, title);
  EXPECT_LE(capped.size(), 255u);
  EXPECT_GE(capped.size(), 250u) << "as much of the title as fits";
  EXPECT_TRUE(capped.starts_with("zoe-muller-catalogue-paysages-d-ete-paysages")) << capped;
  EXPECT_TRUE(capped.ends_with("-2026-03-05.pdf")) << capped;
  EXPECT_EQ(capped.find("--"), std::string::npos) << "cut between words, never leaving a dash";
}

TEST(ExportFileNameTest, TheDayIsTheLocalDay) {
  const Date lateEveningInUtc = dateFromSeconds(1772751600);  // 2026-03-05 23:00 UTC
  {
    ScopedTimeZone utc("UTC0");
    EXPECT_EQ(exportDatePart(lateEveningInUtc), "2026-03-05");
  }
  {
    ScopedTimeZone auckland("NZST-12NZDT,M9.5.0,M4.1.0/3");  // Auckland, by rule
    EXPECT_EQ(exportDatePart(lateEveningInUtc), "2026-03-06");
  }
  {
    ScopedTimeZone honolulu("HST10");  // Honolulu
    EXPECT_EQ(exportDatePart(localTime(2026, 12, 31, 23, 59)), "2026-12-31");
  }
}

using ExportFileNameDeathTest = ::testing::Test;

TEST_F(ExportFileNameDeathTest, ANonFiniteMomentIsAProgrammingError) {
  const Date never = dateFromSeconds(std::numeric_limits<double>::quiet_NaN());
  EXPECT_DEATH(exportDatePart(never), "cannot be stored");
}

}  // namespace
}  // namespace quorvane
