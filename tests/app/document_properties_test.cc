// What a reader's viewer says about each document: its title bar and its
// properties, in the language the document is exported in.
#include "pdf/document_properties.h"

#include <gtest/gtest.h>

#include <ctime>

#include "app/app_store_fixture.h"
#include "pdf/localization.h"
#include "pdf/pdf_reader.h"
#include "quorvane_version.h"

namespace quorvane {
namespace {

using testing::qpdfProblems;
using testing::readProperties;

class DocumentPropertiesTest : public testing::AppStoreTest {
 protected:
  DocumentPropertiesTest() {
    open();
    project.id = "p1";
    project.kind = ProjectKind::catalogue;
    project.catalogueKind = CatalogueKind::raisonne;
    project.projectTitle = "Tides";
    project.projectYear = "2024";
    snapshot.details.firstName = "Zoë";
    snapshot.details.lastName = "Müller";
    snapshot.biography = "Born in Lyon.";
    snapshot.statement = "I paint the sea.";
    snapshot.projectStatement = "A year on one shore.";
    snapshot.cv.education.push_back({{"year", "2008"}, {"majorDegree", "MFA"}});
  }
  std::vector<std::uint8_t> render(RenderKind kind, const std::string& locale) {
    ExportOptions options;
    options.exportLocale = locale;
    return renderer->render(RenderRequest{kind, std::nullopt}, project, snapshot, options).data;
  }

  Project project;
  StudioSnapshot snapshot;
};

TEST_F(DocumentPropertiesTest, EachDocumentSaysWhatItIsWhoMadeItAndWhenInTheExportLanguage) {
  const long long before = std::time(nullptr);
  const auto catalogue = readProperties(render(RenderKind::portfolio, "de"));
  EXPECT_EQ(catalogue.title, "Tides");
  EXPECT_EQ(catalogue.author, "Zoë Müller");
  EXPECT_EQ(catalogue.subject, "Werkverzeichnis");
  EXPECT_EQ(catalogue.keywords, "Tides, 2024");
  EXPECT_EQ(catalogue.creator, std::string("Quorvane ") + kQuorvaneVersion);
  EXPECT_GE(catalogue.created, before - 1);
  EXPECT_LE(catalogue.created, std::time(nullptr) + 1);

  const auto cv = readProperties(render(RenderKind::cv, "de"));
  EXPECT_EQ(cv.title, "Lebenslauf");
  EXPECT_EQ(cv.author, "Zoë Müller");
  EXPECT_EQ(readProperties(render(RenderKind::bio, "de")).title, "Biografie");
  const auto statement = readProperties(render(RenderKind::statement, "de"));
  EXPECT_EQ(statement.title, "Künstlerisches Statement");
  EXPECT_EQ(statement.subject, uiText("document.kind.statement", "de"));
}

TEST_F(DocumentPropertiesTest, AProjectWithoutATitleGoesByItsKindAndAUsersTitleIsTheTitle) {
  project.projectTitle = "";
  project.catalogueKind = std::nullopt;
  const auto price = readProperties(render(RenderKind::portfolio, "fr"));
  EXPECT_EQ(price.title, "Catalogue de prix");
  EXPECT_EQ(price.keywords, "2024");
  project.kind = ProjectKind::portfolio;
  EXPECT_EQ(readProperties(render(RenderKind::portfolio, "en")).subject, "Portfolio");

  repository->upsertLabelOverride({"bio", "en", "pdf.biography.title", "About Zoë"});
  EXPECT_EQ(readProperties(render(RenderKind::bio, "en")).title, "About Zoë");
  snapshot.details = {};
  EXPECT_EQ(readProperties(render(RenderKind::bio, "de")).author, "") << "no name: no author";
}

TEST_F(DocumentPropertiesTest, EveryKindOfDocumentIsASoundFile) {
  for (const RenderKind kind : {RenderKind::portfolio, RenderKind::cv, RenderKind::bio,
                                RenderKind::statement, RenderKind::projectStatement}) {
    EXPECT_EQ(qpdfProblems(render(kind, "it")), "") << rawValue(kind);
  }
}

}  // namespace
}  // namespace quorvane
