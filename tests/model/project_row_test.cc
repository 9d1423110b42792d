#include "model/project_row.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(ProjectRowTest, AnEmptyRowLoadsWithEveryDefault) {
  const Project project = decodeProjectRow(StoredProjectRow{});
  EXPECT_EQ(project.id, "single");
  EXPECT_EQ(project.kind, ProjectKind::portfolio);
  EXPECT_EQ(project.catalogueKind, std::nullopt);
  EXPECT_EQ(project.projectName, "Portfolio");
  EXPECT_EQ(project.projectTitle, "Portfolio");
  EXPECT_EQ(project.projectYear, "");
  EXPECT_EQ(project.locale, "en");
  EXPECT_EQ(project.currency, std::nullopt);
  EXPECT_EQ(project.unit, UnitSystem::cm);
  EXPECT_EQ(project.orientation, DocumentOrientation::portrait);
  EXPECT_EQ(project.createdAt, dateFromMilliseconds(0));
}

TEST(ProjectRowTest, EmptyNamesAreReplacedButAnEmptyYearIsKept) {
  StoredProjectRow row;
  row.projectName = "";
  row.projectTitle = "";
  row.projectYear = "";
  const Project project = decodeProjectRow(row);
  EXPECT_EQ(project.projectName, "Portfolio");
  EXPECT_EQ(project.projectTitle, "Portfolio");
  EXPECT_EQ(project.projectYear, "");
}

TEST(ProjectRowTest, CatalogueKindFollowsTheProjectKind) {
  StoredProjectRow portfolio;
  portfolio.kind = "portfolio";
  portfolio.catalogueKind = "exhibition";
  EXPECT_EQ(decodeProjectRow(portfolio).catalogueKind, std::nullopt);

  StoredProjectRow catalogue;
  catalogue.kind = "catalogue";
  catalogue.catalogueKind = "";
  EXPECT_EQ(decodeProjectRow(catalogue).kind, ProjectKind::catalogue);
  EXPECT_EQ(decodeProjectRow(catalogue).catalogueKind, CatalogueKind::price);
}

TEST(ProjectRowTest, AFullRowKeepsWhatItStores) {
  StoredProjectRow row;
  row.id = "p1";
  row.kind = "catalogue";
  row.catalogueKind = "raisonne";
  row.projectName = "Raisonné 2026";
  row.projectTitle = "Catalogue raisonné";
  row.projectYear = "2019–2026";
  row.locale = "fr";
  row.currency = "EUR";
  row.unit = "in";
  row.orientation = "landscape";
  row.createdAtMs = 1000;
  row.updatedAtMs = -1;

  Project expected;
  expected.id = "p1";
  expected.kind = ProjectKind::catalogue;
  expected.catalogueKind = CatalogueKind::raisonne;
  expected.projectName = "Raisonné 2026";
  expected.projectTitle = "Catalogue raisonné";
  expected.projectYear = "2019–2026";
  expected.locale = "fr";
  expected.currency = "EUR";
  expected.unit = UnitSystem::in;
  expected.orientation = DocumentOrientation::landscape;
  expected.createdAt = dateFromSeconds(1);
  expected.updatedAt = dateFromSeconds(-0.001);
  EXPECT_EQ(decodeProjectRow(row), expected);
}

}  // namespace
}  // namespace quorvane
