#include "model/project_row.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(ProjectRowTest, EmptyNamesAreReplacedButAnEmptyYearIsKept) {
  StoredProjectRow row;
  row.projectName = "";
  row.projectTitle = "";
  row.projectYear = "";
  const Project project = decodeProjectRow(row);
  EXPECT_EQ(decodeProjectRow(StoredProjectRow{}).id, "single") << "the first version's one project";
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
