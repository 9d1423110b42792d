#include "model/enums.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

// Raw values are persisted in databases and packages; a changed spelling
// would orphan stored data, so the less obvious ones are pinned here.
TEST(RawValueTest, PersistedSpellings) {
  EXPECT_EQ(rawValue(ArtworkLayoutMode::artworkText), "artwork_text");
  EXPECT_EQ(rawValue(ArtworkStatus::inProgress), "in_progress");
  EXPECT_EQ(rawValue(ExportImageQuality::webOptimized), "web");
  EXPECT_EQ(rawValue(ExportImageQuality::printQuality), "print");
  EXPECT_EQ(rawValue(PdfWarning::cvLongerThanTwoPages), "cv_longer_than_two_pages");
  EXPECT_EQ(rawValue(PortfolioExportSelectablePage::tableOfContents), "tableOfContents");
  EXPECT_EQ(rawValue(PortfolioExportSelectablePage::projectStatement), "projectStatement");
  EXPECT_EQ(rawValue(TextAssetType::projectStatement), "project_statement");
  EXPECT_EQ(rawValue(CatalogueKind::raisonne), "raisonne");
  // Read back exactly as spelled: no case folding, no other spelling.
  EXPECT_EQ(fromRawValue<ArtworkStatus>("in_progress"), ArtworkStatus::inProgress);
  EXPECT_EQ(fromRawValue<ArtworkStatus>("In_Progress"), std::nullopt);
  EXPECT_EQ(fromRawValue<ExportImageQuality>("webOptimized"), std::nullopt);
}

TEST(LenientDecodingTest, ProjectKindIsCatalogueOnlyWhenSaidSo) {
  EXPECT_EQ(decodeProjectKind("catalogue"), ProjectKind::catalogue);
  EXPECT_EQ(decodeProjectKind("portfolio"), ProjectKind::portfolio);
  EXPECT_EQ(decodeProjectKind("Catalogue"), ProjectKind::portfolio);
  EXPECT_EQ(decodeProjectKind(""), ProjectKind::portfolio);
  EXPECT_EQ(decodeProjectKind(std::nullopt), ProjectKind::portfolio);
}

TEST(LenientDecodingTest, CatalogueKindBelongsToCataloguesAndDefaultsToPrice) {
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::portfolio, "exhibition"), std::nullopt);
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::catalogue, "exhibition"), CatalogueKind::exhibition);
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::catalogue, "raisonne"), CatalogueKind::raisonne);
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::catalogue, ""), CatalogueKind::price);
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::catalogue, std::nullopt), CatalogueKind::price);
  EXPECT_EQ(decodeCatalogueKind(ProjectKind::catalogue, "auction"), CatalogueKind::price);
}

TEST(LenientDecodingTest, OtherKindsFallBackToTheirFirstCase) {
  EXPECT_EQ(decodeUnitSystem("in"), UnitSystem::in);
  EXPECT_EQ(decodeUnitSystem("inch"), UnitSystem::cm);
  EXPECT_EQ(decodeUnitSystem(std::nullopt), UnitSystem::cm);
  EXPECT_EQ(decodeOrientation("landscape"), DocumentOrientation::landscape);
  EXPECT_EQ(decodeOrientation("LANDSCAPE"), DocumentOrientation::portrait);
  EXPECT_EQ(decodeLayoutMode("artwork_text"), ArtworkLayoutMode::artworkText);
  EXPECT_EQ(decodeLayoutMode("artworkText"), ArtworkLayoutMode::artwork);
  EXPECT_EQ(decodeArtworkStatus("sold"), ArtworkStatus::sold);
  EXPECT_EQ(decodeArtworkStatus("in_progress"), ArtworkStatus::inProgress);
  EXPECT_EQ(decodeArtworkStatus("reserved"), std::nullopt);
  EXPECT_EQ(decodeArtworkStatus(std::nullopt), std::nullopt);
  EXPECT_EQ(decodeNameDisplayMode("artist"), NameDisplayMode::artist);
  EXPECT_EQ(decodeNameDisplayMode("pseudonym"), NameDisplayMode::legal);
}

}  // namespace
}  // namespace quorvane
