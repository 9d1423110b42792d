#include <gtest/gtest.h>

#include "storage/repository_fixture.h"

namespace quorvane {
namespace {

using testing::makeArtwork;
using testing::makeProject;
using Rows = std::vector<std::string>;

class RepositoryQueriesTest : public testing::RepositoryTest {
 protected:
  // Saves a project at the current time and moves the clock on, so that
  // later projects are newer.
  void saveAt(const std::string& id, StudioSnapshot snapshot = {}) {
    repository->save(makeProject(id), snapshot);
    clock.advanceMs(1000);
  }

  static StudioSnapshot withTexts(const std::string& biography, const std::string& statement) {
    StudioSnapshot snapshot;
    snapshot.biography = biography;
    snapshot.statement = statement;
    return snapshot;
  }
};

TEST_F(RepositoryQueriesTest, ProjectListsShowLiveProjectsNewestFirst) {
  StudioSnapshot older;
  older.details.firstName = "Older";
  saveAt("old", older);
  StudioSnapshot newer;
  newer.details.firstName = "Newer";
  saveAt("new", newer);
  saveAt("archived");
  repository->archiveProject("archived");

  std::vector<std::string> ids;
  for (const ProjectSummary& summary : repository->projectSummaries()) ids.push_back(summary.id);
  EXPECT_EQ(ids, (Rows{"new", "old"}));
  EXPECT_EQ(repository->projectSummaries().front().projectName, "Name of new");
  EXPECT_EQ(repository->latestDetails()->firstName, "Newer");
  EXPECT_TRUE(repository->load("archived")) << "archiving keeps the rows";

  exec("UPDATE projects SET createdAt = NULL, updatedAt = NULL WHERE id = 'new';");
  const ProjectSummary undated = repository->projectSummaries().back();
  EXPECT_EQ(undated.id, "new");
  EXPECT_EQ(undated.createdAt, std::nullopt);
  EXPECT_EQ(undated.updatedAt, std::nullopt);
}

TEST_F(RepositoryQueriesTest, AnEmptyLibraryHasNoLatestDetails) {
  EXPECT_EQ(repository->latestDetails(), std::nullopt);
  EXPECT_TRUE(repository->projectSummaries().empty());
  EXPECT_EQ(repository->libraryCounts(), LibraryKPIOverview{});
}

TEST_F(RepositoryQueriesTest, ReusableTextsAreTheNonEmptyOnesOfOtherProjects) {
  saveAt("a", withTexts("Bio of a", "   "));
  saveAt("b", withTexts("Bio of b", "Statement of b"));
  saveAt("mine", withTexts("My bio", ""));

  const std::vector<ReusableTextAsset> bios =
      repository->reusableTexts(TextAssetType::bio, std::string("mine"));
  ASSERT_EQ(bios.size(), 2u);
  EXPECT_EQ(bios[0], (ReusableTextAsset{"asset:bio:b", "b", "Name of b", "Biography", "Bio of b"}));
  EXPECT_EQ(bios[1].id, "asset:bio:a");
  EXPECT_EQ(repository->reusableTexts(TextAssetType::bio, std::nullopt).size(), 3u);

  const std::vector<ReusableTextAsset> statements =
      repository->reusableTexts(TextAssetType::statement, std::nullopt);
  ASSERT_EQ(statements.size(), 1u) << "blank texts are not offered";
  EXPECT_EQ(statements[0].content, "Statement of b");
  EXPECT_TRUE(repository->reusableTexts(TextAssetType::projectStatement, std::nullopt).empty());

  exec("UPDATE text_assets SET archivedAt = 1 WHERE id = 'asset:bio:b';");
  EXPECT_EQ(repository->reusableTexts(TextAssetType::bio, std::string("mine")).size(), 1u);
}

TEST_F(RepositoryQueriesTest, ReusableCVsCarryTheirDecodedCV) {
  StudioSnapshot withCV;
  withCV.cv.residencies = {{{"name", "Villa"}}};
  withCV.cvTitle = "Full CV";
  saveAt("a", withCV);
  saveAt("b");
  exec("UPDATE text_assets SET json = 'broken' WHERE id = 'asset:cv:b';");

  const std::vector<ReusableCVAsset> cvs = repository->reusableCVs(std::nullopt);
  ASSERT_EQ(cvs.size(), 2u);
  EXPECT_EQ(cvs[0].id, "asset:cv:b");
  EXPECT_EQ(cvs[0].cv, CVData{});
  EXPECT_EQ(cvs[1], (ReusableCVAsset{"asset:cv:a", "a", "Name of a", "Full CV", withCV.cv}));
  EXPECT_EQ(repository->reusableCVs(std::string("a")).size(), 1u);
}

TEST_F(RepositoryQueriesTest, TheVaultOffersEveryArtworkTheProjectDoesNotHold) {
  StudioSnapshot first;
  Artwork priced = makeArtwork("a1", "Priced");
  priced.priceCents = 500;
  priced.status = ArtworkStatus::sold;
  first.artworks.images = {priced, makeArtwork("a2")};
  saveAt("first", first);
  StudioSnapshot second;
  second.artworks.images = {makeArtwork("a2"), makeArtwork("b1")};
  saveAt("second", second);
  saveAt("first", StudioSnapshot{});  // a1 and a2 leave "first" but stay in the library
  exec(
      "INSERT INTO media(id, artworkId, mimeType, blob, byteSize, createdAt) VALUES "
      "('a1', 'a1', 'image/png', x'00', 1, 0);");

  const std::vector<ReusableArtworkAsset> vault = repository->reusableArtworks("second");
  ASSERT_EQ(vault.size(), 1u);
  EXPECT_EQ(vault[0].id, "a1");
  EXPECT_EQ(vault[0].sourceProjectId, "first") << "its own project, as no project holds it";
  EXPECT_EQ(vault[0].sourceProjectName, "");
  EXPECT_EQ(vault[0].artwork.title, "Priced");
  EXPECT_EQ(vault[0].artwork.status, ArtworkStatus::sold);
  EXPECT_EQ(vault[0].artwork.imagePath, "sqlite-media://a1");
  EXPECT_EQ(vault[0].artwork.mimeType, "image/png");
  EXPECT_EQ(vault[0].artwork.imageByteSize, 1);

  std::vector<std::string> all;
  for (const ReusableArtworkAsset& asset : repository->reusableArtworks(std::nullopt)) {
    all.push_back(asset.id + "@" + asset.sourceProjectName);
  }
  EXPECT_EQ(all, (Rows{"a2@Name of second", "b1@Name of second", "a1@"}));
}

TEST_F(RepositoryQueriesTest, CountsCoverEditedSectionsAndArtworksOfLiveProjects) {
  StudioSnapshot edited;
  edited.cvUpdatedAt = dateFromMilliseconds(5);
  edited.biographyCreatedAt = dateFromMilliseconds(5);
  edited.statementUpdatedAt = dateFromMilliseconds(5);
  edited.projectStatementUpdatedAt = dateFromMilliseconds(5);
  edited.artworks.images = {makeArtwork("a1"), makeArtwork("a2")};
  saveAt("p1", edited);
  StudioSnapshot neverEdited;
  neverEdited.biographyUpdatedAt = dateFromMilliseconds(0);
  neverEdited.artworks.images = {makeArtwork("b1")};
  saveAt("p2", neverEdited);
  saveAt("gone", edited);
  repository->archiveProject("gone");

  EXPECT_EQ(repository->libraryCounts(), (LibraryKPIOverview{1, 1, 2, 3}));
}

TEST_F(RepositoryQueriesTest, AProjectCanUseAnotherProjectsTextOrStartItsOwn) {
  saveAt("owner", withTexts("Owner bio", ""));
  saveAt("user", withTexts("User bio", ""));

  EXPECT_FALSE(repository->attachTextAsset("user", TextAssetType::bio, "asset:bio:nobody"));
  ASSERT_TRUE(repository->attachTextAsset("user", TextAssetType::bio, "asset:bio:owner"));
  EXPECT_EQ(repository->load("user")->snapshot.biography, "Owner bio");

  // Its own first asset still exists, so the new one gets an id of its own.
  const std::string created = repository->createTextAsset("user", TextAssetType::bio);
  EXPECT_EQ(created.rfind("asset:bio:user:", 0), 0u) << created;
  EXPECT_EQ(repository->load("user")->snapshot.biography, "");
  EXPECT_EQ(value("SELECT content FROM text_assets WHERE id = 'asset:bio:user'"), "User bio");
  EXPECT_EQ(repository->load("owner")->snapshot.biography, "Owner bio");

  exec(
      "DELETE FROM project_text_asset_links WHERE projectId = 'user' AND type = 'cv';"
      "DELETE FROM text_assets WHERE id = 'asset:cv:user';");
  EXPECT_EQ(repository->createTextAsset("user", TextAssetType::cv), "asset:cv:user");
  EXPECT_EQ(repository->load("user")->snapshot.cv, CVData{});
}

TEST_F(RepositoryQueriesTest, DeletingTheLibraryKeepsOnlyTheLabelOverrides) {
  StudioSnapshot full;
  full.artworks.images = {makeArtwork("a1")};
  full.documents = {
      Document{"d1", "p1", DocumentType::portfolio, "Doc", DocumentOrientation::portrait, {}, {}}};
  full.documentArtworkLinks = {{"l1", "d1", "a1", 0}};
  full.cvUpdatedAt = dateFromMilliseconds(1);
  saveAt("p1", full);
  exec("INSERT INTO media(id, artworkId, blob) VALUES('a1', 'a1', x'00');");
  repository->upsertLabelOverride({"portfolio", "en", "pdf.contents", "Index"});

  repository->deleteAllLibraryData();
  for (const std::string& table : column("SELECT name FROM sqlite_master WHERE type = 'table' "
                                         "AND name NOT IN ('label_overrides', 'schema_version')")) {
    EXPECT_EQ(value("SELECT COUNT(*) FROM " + table), "0") << table;
  }
  EXPECT_EQ(repository->allLabelOverrides().size(), 1u);
}

TEST_F(RepositoryQueriesTest, LabelOverridesAreKeptPerScopeLocaleAndKey) {
  repository->upsertLabelOverride({"portfolio", "en", "pdf.contents", "Index"});
  repository->upsertLabelOverride({"portfolio", "fr", "pdf.contents", "Sommaire"});
  repository->upsertLabelOverride({"catalogue", "en", "pdf.contents", "List"});
  clock.advanceMs(10);
  repository->upsertLabelOverride({"portfolio", "en", "pdf.contents", "Overview"});

  EXPECT_EQ(repository->labelOverride("portfolio", "en", "pdf.contents"), "Overview");
  EXPECT_EQ(repository->labelOverride("portfolio", "de", "pdf.contents"), std::nullopt);
  EXPECT_EQ(repository->labelOverrides("portfolio", "fr"),
            (std::map<std::string, std::string>{{"pdf.contents", "Sommaire"}}));
  EXPECT_EQ(repository->allLabelOverrides().size(), 3u);
  EXPECT_EQ(value("SELECT updatedAt FROM label_overrides WHERE value = 'Overview'"),
            std::to_string(clock.nowMs()));
  EXPECT_EQ(value("SELECT COUNT(DISTINCT id) FROM label_overrides"), "3");

  const std::vector<LabelOverrideEntry> replacement{{"cv", "it", "pdf.cv.title", "Curriculum"},
                                                    {"cv", "it", "pdf.cv.title", "CV"}};
  repository->replaceAllLabelOverrides(replacement);
  EXPECT_EQ(repository->allLabelOverrides(),
            (std::vector<LabelOverrideEntry>{{"cv", "it", "pdf.cv.title", "CV"}}))
      << "the later of two values for one label wins";
}

}  // namespace
}  // namespace quorvane
