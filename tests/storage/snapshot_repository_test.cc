#include <gtest/gtest.h>

#include <thread>

#include "model/image_path.h"
#include "storage/repository_fixture.h"

namespace quorvane {
namespace {

using testing::makeArtwork;
using testing::makeProject;
using Rows = std::vector<std::string>;

Bytes imageBytesOf(std::size_t size, std::uint8_t seed) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(seed + i * 31);
  return bytes;
}

class SnapshotRepositoryTest : public testing::RepositoryTest {
 protected:
  // A project and snapshot with every field set to something other than its
  // default, in the form a load gives back (images in the database).
  std::pair<Project, StudioSnapshot> everythingSet() {
    Project project = makeProject("p1");
    project.kind = ProjectKind::catalogue;
    project.catalogueKind = CatalogueKind::exhibition;
    project.projectYear = "2024–2025";
    project.locale = "fr";
    project.currency = "EUR";
    project.unit = UnitSystem::in;
    project.orientation = DocumentOrientation::landscape;

    StudioSnapshot snapshot;
    snapshot.details = ArtistDetails{"Ada",           "Lovelace", "A.L.",
                                     "artist",        "1 Rue",    "75001",
                                     "Paris",         "France",   "https://example.org",
                                     "a@example.org", "+33",      "1815",
                                     "London",        "UK"};
    snapshot.cv.education = {{{"degree", "MFA"}, {"year", "2010"}}};
    snapshot.cv.press = {{{"title", "Review"}}};
    snapshot.cvTitle = "Curriculum";
    snapshot.statement = "I paint light.\nOn two lines.";
    snapshot.statementTitle = "Statement";
    snapshot.projectStatement = "About this series.";
    snapshot.projectStatementTitle = "The series";
    snapshot.biography = "Born in London — «née» 1815.";
    snapshot.biographyTitle = "Bio";
    const auto times = [](std::int64_t ms) { return std::optional(dateFromMilliseconds(ms)); };
    snapshot.detailsCreatedAt = times(1);
    snapshot.detailsUpdatedAt = times(2);
    snapshot.cvCreatedAt = times(3);
    snapshot.cvUpdatedAt = times(4);
    snapshot.statementCreatedAt = times(5);
    snapshot.statementUpdatedAt = times(6);
    snapshot.projectStatementCreatedAt = times(7);
    snapshot.projectStatementUpdatedAt = times(8);
    snapshot.biographyCreatedAt = times(-9);
    snapshot.biographyUpdatedAt = times(10);
    snapshot.artworksCreatedAt = times(11);
    snapshot.artworksUpdatedAt = std::nullopt;  // one side of a pair may be absent

    Artwork full = makeArtwork("a1", "Dawn");
    full.medium = "Oil on linen";
    full.year = "2023";
    full.artworkWidth = "40";
    full.artworkHeight = "50.5";
    full.artworkDepth = "2";
    full.artworkText = "A longer text.";
    full.imagePath = sqliteMediaPath("a1");
    full.mimeType = "image/png";
    full.imageByteSize = 3000;
    full.originalByteSize = 9'000'000;
    full.width = 5'000'000'000;  // stored as the 64-bit value it is
    full.height = 1200;
    full.aspect = 4.0 / 3.0;
    full.sizeWarning = "Large";
    full.sizeWarningDismissed = true;
    full.sortIndex = 0;
    full.status = ArtworkStatus::inProgress;
    full.priceCents = 125'000;
    full.priceCurrency = "CHF";
    Artwork bare = makeArtwork("a2", "");
    bare.sortIndex = 1;
    snapshot.artworks = ArtworksData{UnitSystem::in, ArtworkLayoutMode::artworkText, {full, bare}};
    files.files["/media/a1.png"] = imageBytesOf(3000, 1);

    snapshot.documents = {
        Document{"d1", "p1", DocumentType::raisonne, "Catalogue", DocumentOrientation::landscape,
                 dateFromMilliseconds(100), dateFromMilliseconds(200)},
        Document{"d2", "p1", DocumentType::portfolio, "Folio", DocumentOrientation::portrait,
                 dateFromMilliseconds(300), dateFromMilliseconds(400)}};
    snapshot.documentArtworkLinks = {DocumentArtworkLink{"l1", "d1", "a1", 0},
                                     DocumentArtworkLink{"l2", "d1", "a2", 1},
                                     DocumentArtworkLink{"l3", "d2", "a2", 0}};
    return {project, snapshot};
  }

  // Saves the snapshot with the first artwork's image still in a file, as
  // a freshly added image is.
  SavedProject saveWithImageFile(const Project& project, StudioSnapshot snapshot) {
    snapshot.artworks.images[0].imagePath = "/media/a1.png";
    return repository->save(project, snapshot);
  }
};

TEST_F(SnapshotRepositoryTest, ASnapshotWithEveryFieldSetComesBackUnchanged) {
  const auto [project, snapshot] = everythingSet();
  clock.advanceMs(5);
  const SavedProject saved = saveWithImageFile(project, snapshot);

  EXPECT_EQ(saved.project.updatedAt, clock.now());
  EXPECT_EQ(saved.storedImages, (std::vector<StoredImageFile>{{"a1", "/media/a1.png"}}));

  const std::optional<LoadedProject> loaded = repository->load("p1");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->project, saved.project);
  EXPECT_EQ(loaded->snapshot, snapshot);
  EXPECT_EQ(repository->imageBytes("a1"), imageBytesOf(3000, 1));

  // Saving what was loaded changes nothing but the project's change time.
  const std::string before = dump();
  repository->save(loaded->project, loaded->snapshot);
  EXPECT_EQ(dump(), before);
}

TEST_F(SnapshotRepositoryTest, LoadingAnUnknownProjectGivesNothingAndWritesNothing) {
  const std::string before = dump();
  EXPECT_EQ(repository->load("nobody"), std::nullopt);
  EXPECT_EQ(dump(), before);
}

TEST_F(SnapshotRepositoryTest, LoadingAProjectWithoutTextLinksCreatesItsOwnEmptyTexts) {
  exec(
      "INSERT INTO projects(id, kind, locale, unit, createdAt) VALUES('bare', 'portfolio', "
      "'en', 'cm', 1);");
  clock.advanceMs(1);
  const std::optional<LoadedProject> loaded = repository->load("bare");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->snapshot.cvTitle, "CV");
  EXPECT_EQ(column("SELECT assetId FROM project_text_asset_links WHERE projectId = 'bare' "
                   "ORDER BY type"),
            (Rows{"asset:bio:bare", "asset:cv:bare", "asset:project_statement:bare",
                  "asset:statement:bare"}));
  EXPECT_EQ(value("SELECT createdAt FROM text_assets WHERE id = 'asset:bio:bare'"),
            std::to_string(clock.nowMs()));
  const std::string once = dump();
  repository->load("bare");
  EXPECT_EQ(dump(), once) << "a second load finds what the first made";
}

TEST_F(SnapshotRepositoryTest, AnArchivedOwnTextIsRevivedWithItsTextKept) {
  saveProject("p1");
  exec(
      "UPDATE text_assets SET content = 'Kept words', archivedAt = 5 WHERE id = "
      "'asset:bio:p1';");
  const std::optional<LoadedProject> loaded = repository->load("p1");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->snapshot.biography, "Kept words");
  EXPECT_EQ(value("SELECT COALESCE(archivedAt, 'live') FROM text_assets WHERE id = "
                  "'asset:bio:p1'"),
            "live");
}

TEST_F(SnapshotRepositoryTest, ALinkToAnArchivedTextOfAnotherProjectFallsBackToItsOwn) {
  StudioSnapshot owner;
  owner.biography = "Owner's words";
  repository->save(makeProject("owner"), owner);
  StudioSnapshot user;
  user.biography = "User's own words";
  repository->save(makeProject("user"), user);
  repository->attachTextAsset("user", TextAssetType::bio, "asset:bio:owner");
  exec("UPDATE text_assets SET archivedAt = 1 WHERE id = 'asset:bio:owner';");

  EXPECT_EQ(repository->load("user")->snapshot.biography, "User's own words");
  EXPECT_EQ(value("SELECT assetId FROM project_text_asset_links WHERE projectId = 'user' AND "
                  "type = 'bio'"),
            "asset:bio:user");
}

TEST_F(SnapshotRepositoryTest, StoredTextsThatDoNotDecodeLoadAsDefaults) {
  saveProject("p1");
  exec(
      "UPDATE details SET json = '{\"firstName\": \"only\"}';"
      "UPDATE text_assets SET json = 'not json', title = ' \n\t ' WHERE type = 'cv';");
  const std::optional<LoadedProject> loaded = repository->load("p1");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->snapshot.details, ArtistDetails{});
  EXPECT_EQ(loaded->snapshot.cv, CVData{});
  EXPECT_EQ(loaded->snapshot.cvTitle, "CV");
}

TEST_F(SnapshotRepositoryTest, MembershipFollowsTheSnapshotAndArtworksStayInTheLibrary) {
  saveProject("p1", {makeArtwork("A"), makeArtwork("B"), makeArtwork("C")});
  saveProject("p1", {makeArtwork("B"), makeArtwork("A")});
  EXPECT_EQ(column("SELECT artworkId || ':' || sortIndex FROM project_artworks ORDER BY "
                   "sortIndex"),
            (Rows{"B:0", "A:1"}));
  EXPECT_EQ(column("SELECT id FROM artworks ORDER BY id"), (Rows{"A", "B", "C"}));

  // The first project to save an artwork stays its owner.
  saveProject("p2", {makeArtwork("A", "Renamed")});
  EXPECT_EQ(value("SELECT projectId || ':' || title FROM artworks WHERE id = 'A'"), "p1:Renamed");

  saveProject("p1", {});
  EXPECT_EQ(value("SELECT COUNT(*) FROM project_artworks WHERE projectId = 'p1'"), "0");
  EXPECT_EQ(value("SELECT COUNT(*) FROM project_artworks WHERE projectId = 'p2'"), "1");
}

TEST_F(SnapshotRepositoryTest, OnlyLinksBetweenTheSnapshotsDocumentsAndArtworksAreWritten) {
  StudioSnapshot snapshot;
  snapshot.artworks.images = {makeArtwork("a1"), makeArtwork("a2")};
  const Document document{"d1",
                          "elsewhere",
                          DocumentType::catalogue,
                          "Doc",
                          DocumentOrientation::portrait,
                          dateFromMilliseconds(1),
                          dateFromMilliseconds(2)};
  snapshot.documents = {document, document};  // the same id twice: the first counts
  snapshot.documentArtworkLinks = {
      {"l1", "d1", "a1", 0},
      {"l2", "d1", "missing-artwork", 1},
      {"l3", "missing-document", "a1", 0},
      {"l4", "d1", "a1", 2},  // a1 is already in d1
      {"l5", "d1", "a2", 3},
  };
  repository->save(makeProject("p1"), snapshot);

  EXPECT_EQ(column("SELECT id || ':' || projectId FROM documents"), Rows{"d1:p1"});
  EXPECT_EQ(column("SELECT id FROM document_artworks ORDER BY id"), (Rows{"l1", "l5"}));

  snapshot.artworks.images = {makeArtwork("a2")};
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(column("SELECT id FROM document_artworks ORDER BY id"), Rows{"l5"});
  snapshot.documents.clear();
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(value("SELECT COUNT(*) FROM documents"), "0");
  EXPECT_EQ(value("SELECT COUNT(*) FROM document_artworks"), "0");
}

TEST_F(SnapshotRepositoryTest, MoreArtworksThanOneStatementCanNameStillLeaveCorrectly) {
  // 20 parameters: the most any other statement of a save needs.
  repository->withDatabase(
      [](SQLiteDatabase& db) { sqlite3_limit(db.handle(), SQLITE_LIMIT_VARIABLE_NUMBER, 20); });
  std::vector<Artwork> artworks;
  for (int i = 0; i < 25; ++i) artworks.push_back(makeArtwork("a" + std::to_string(i)));
  saveProject("p1", artworks);
  artworks.erase(artworks.begin() + 3);
  std::swap(artworks.front(), artworks.back());
  saveProject("p1", artworks);
  EXPECT_EQ(value("SELECT COUNT(*) FROM project_artworks"), "24");
  EXPECT_EQ(value("SELECT COUNT(*) FROM project_artworks WHERE artworkId = 'a3'"), "0");
  EXPECT_EQ(value("SELECT artworkId FROM project_artworks WHERE sortIndex = 0"), "a24");
}

TEST_F(SnapshotRepositoryTest, APortfolioStoresNoCatalogueKind) {
  Project project = makeProject("p1");
  project.kind = ProjectKind::portfolio;
  project.catalogueKind = CatalogueKind::price;
  const SavedProject saved = repository->save(project, StudioSnapshot{});
  EXPECT_EQ(saved.project.catalogueKind, std::nullopt);
  EXPECT_EQ(value("SELECT COALESCE(catalogueKind, 'NULL') FROM projects"), "NULL");
}

TEST_F(SnapshotRepositoryTest, TheFirstCreationTimesSurviveLaterSaves) {
  Project project = makeProject("p1");
  repository->save(project, StudioSnapshot{});
  const std::string firstSave = std::to_string(clock.nowMs());
  clock.advanceMs(60'000);
  project.createdAt = clock.now();  // a record that forgot its creation time
  StudioSnapshot snapshot;
  snapshot.biography = "New text";
  repository->save(project, snapshot);

  EXPECT_EQ(value("SELECT createdAt FROM projects"), "1600000000000");
  EXPECT_EQ(column("SELECT DISTINCT createdAt FROM text_assets"), Rows{firstSave});
  EXPECT_EQ(column("SELECT DISTINCT updatedAt FROM text_assets"),
            Rows{std::to_string(clock.nowMs())});
}

TEST_F(SnapshotRepositoryTest, SectionTimesAreWrittenAndRemovedPairByPair) {
  StudioSnapshot snapshot;
  snapshot.cvCreatedAt = dateFromMilliseconds(10);
  snapshot.cvUpdatedAt = dateFromMilliseconds(20);
  snapshot.detailsUpdatedAt = dateFromMilliseconds(30);
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(column("SELECT section || ':' || COALESCE(createdAt, 'NULL') || ':' || updatedAt "
                   "FROM section_timestamps ORDER BY section"),
            (Rows{"cv:10:20", "details:NULL:30"}));

  snapshot.cvCreatedAt.reset();
  snapshot.cvUpdatedAt.reset();
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(column("SELECT section FROM section_timestamps"), Rows{"details"});
}

TEST_F(SnapshotRepositoryTest, EditingASharedTextChangesItsOwnerToo) {
  StudioSnapshot ownerSnapshot;
  ownerSnapshot.statement = "Owner's statement";
  repository->save(makeProject("owner"), ownerSnapshot);
  saveProject("user");
  ASSERT_TRUE(
      repository->attachTextAsset("user", TextAssetType::statement, "asset:statement:owner"));

  clock.advanceMs(90'000);
  std::optional<LoadedProject> user = repository->load("user");
  ASSERT_TRUE(user);
  EXPECT_EQ(user->snapshot.statement, "Owner's statement");
  user->snapshot.statement = "Edited from the other project";
  repository->save(user->project, user->snapshot, "statement");

  EXPECT_EQ(value("SELECT updatedAt FROM projects WHERE id = 'owner'"),
            std::to_string(clock.nowMs()));
  EXPECT_EQ(value("SELECT ownerProjectId FROM text_assets WHERE id = 'asset:statement:owner'"),
            "owner");
  EXPECT_EQ(repository->load("owner")->snapshot.statement, "Edited from the other project");

  // Saving only the owner's own texts leaves the user project alone.
  const std::string userChange = value("SELECT updatedAt FROM projects WHERE id = 'user'");
  clock.advanceMs(1);
  repository->save(repository->load("owner")->project, StudioSnapshot{}, "bio");
  EXPECT_EQ(value("SELECT updatedAt FROM projects WHERE id = 'user'"), userChange);
}

TEST_F(SnapshotRepositoryTest, TheSaveOfOneSectionWritesOnlyThatSection) {
  auto [project, snapshot] = everythingSet();
  saveWithImageFile(project, snapshot);
  std::optional<LoadedProject> stored = repository->load("p1");
  ASSERT_TRUE(stored);

  StudioSnapshot edited = stored->snapshot;
  edited.biography = "New biography";
  edited.biographyUpdatedAt = dateFromMilliseconds(999);
  edited.details.firstName = "Changed";
  edited.statement = "Changed statement";
  edited.artworks.images[1].title = "Changed title";
  edited.documents.clear();

  repository->save(stored->project, edited, "bio");
  std::optional<LoadedProject> after = repository->load("p1");
  StudioSnapshot expected = stored->snapshot;
  expected.biography = "New biography";
  expected.biographyUpdatedAt = dateFromMilliseconds(999);
  EXPECT_EQ(after->snapshot, expected);

  repository->save(stored->project, edited, "details");
  expected.details.firstName = "Changed";
  EXPECT_EQ(repository->load("p1")->snapshot, expected);

  edited.cv.press.clear();
  edited.cvTitle = "Changed CV";
  edited.projectStatement = "Changed project statement";
  repository->save(stored->project, edited, "cv");
  expected.cv.press.clear();
  expected.cvTitle = "Changed CV";
  repository->save(stored->project, edited, "project_statement");
  expected.projectStatement = "Changed project statement";
  EXPECT_EQ(repository->load("p1")->snapshot, expected);

  repository->save(stored->project, edited, "artworks");
  expected.artworks.images[1].title = "Changed title";
  expected.documents.clear();
  expected.documentArtworkLinks.clear();
  EXPECT_EQ(repository->load("p1")->snapshot, expected);

  // A name that is no section writes everything.
  repository->save(stored->project, edited, "everything");
  edited.documentArtworkLinks.clear();  // their documents are gone
  EXPECT_EQ(repository->load("p1")->snapshot, edited);
}

TEST_F(SnapshotRepositoryTest, OnlyAnImportSaveReplacesTheLabelOverridesInTheSameTransaction) {
  repository->upsertLabelOverride({"portfolio", "en", "pdf.contents", "Index"});
  saveProject("p1");
  repository->save(makeProject("p1"), StudioSnapshot{}, "details");
  EXPECT_EQ(repository->allLabelOverrides(),
            (std::vector<LabelOverrideEntry>{{"portfolio", "en", "pdf.contents", "Index"}}))
      << "the plain saves never touch them";

  const std::vector<LabelOverrideEntry> imported{{"catalogue", "fr", "pdf.price", "Prix"},
                                                 {"portfolio", "de", "pdf.contents", "Inhalt"}};
  repository->saveImportedProject(makeProject("imported"), StudioSnapshot{}, imported);
  EXPECT_EQ(repository->allLabelOverrides(), imported);
  EXPECT_TRUE(repository->load("imported"));

  // An override that can't be written undoes the whole import.
  exec(
      "CREATE TRIGGER refuse BEFORE INSERT ON label_overrides BEGIN "
      "SELECT RAISE(ABORT, 'refused'); END;");
  const std::string before = dump();
  EXPECT_THROW(repository->saveImportedProject(makeProject("second"), StudioSnapshot{}, imported),
               DomainError);
  EXPECT_EQ(dump(), before);
  EXPECT_EQ(repository->load("second"), std::nullopt);
}

TEST_F(SnapshotRepositoryTest, AFailedStatementRollsTheWholeSaveBack) {
  saveProject("p1", {makeArtwork("a1", "Before")});
  exec(
      "CREATE TRIGGER refuse BEFORE UPDATE OF title ON artworks WHEN NEW.title = 'Poison' "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  const std::string before = dump();

  StudioSnapshot snapshot;
  snapshot.biography = "Would be lost with the rest";
  snapshot.artworks.images = {makeArtwork("a0"), makeArtwork("a1", "Poison")};
  clock.advanceMs(1000);
  try {
    repository->save(makeProject("p1"), snapshot);
    FAIL() << "the save must fail";
  } catch (const DomainError& error) {
    EXPECT_EQ(error.domain(), "SQLiteSnapshotRepository");
    EXPECT_EQ(error.code(), SQLITE_CONSTRAINT);
  }
  EXPECT_EQ(dump(), before);
  EXPECT_THROW(repository->save(makeProject("p1"), snapshot, "artworks"), DomainError);
  EXPECT_EQ(dump(), before);
  // The repository stays usable.
  snapshot.artworks.images[1].title = "After";
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(repository->load("p1")->snapshot.biography, "Would be lost with the rest");
}

// --- image bytes -------------------------------------------------------------

class ImageStorageTest : public SnapshotRepositoryTest {
 protected:
  // Saves p1 with artwork a1 whose image is the file /in/a1.jpg, then takes
  // the database path back into the snapshot as the app store does.
  StudioSnapshot saveWithNewImage(std::size_t size = 5000) {
    files.files["/in/a1.jpg"] = imageBytesOf(size, 7);
    StudioSnapshot snapshot;
    Artwork artwork = makeArtwork("a1", "First title");
    artwork.imagePath = "/in/a1.jpg";
    snapshot.artworks.images = {artwork, makeArtwork("a2")};
    const SavedProject saved = repository->save(makeProject("p1"), snapshot);
    adoptStoredImages(snapshot, saved.storedImages);
    return snapshot;
  }

  // From now on no statement may read or write the media table: preparing
  // one fails, and with it the operation.
  void denyMediaAccess() {
    repository->withDatabase([](SQLiteDatabase& db) {
      sqlite3_set_authorizer(
          db.handle(),
          [](void*, int action, const char* table, const char*, const char*, const char*) {
            const bool touchesTable = action == SQLITE_READ || action == SQLITE_INSERT ||
                                      action == SQLITE_UPDATE || action == SQLITE_DELETE;
            return touchesTable && table != nullptr && std::string_view(table) == "media"
                       ? SQLITE_DENY
                       : SQLITE_OK;
          },
          nullptr);
    });
  }
  void allowMediaAccess() {
    repository->withDatabase(
        [](SQLiteDatabase& db) { sqlite3_set_authorizer(db.handle(), nullptr, nullptr); });
  }
};

TEST_F(ImageStorageTest, ANewImageIsStoredOnceAndThenLeftWhereItIs) {
  StudioSnapshot snapshot = saveWithNewImage();
  EXPECT_EQ(snapshot.artworks.images[0].imagePath, "sqlite-media://a1");
  EXPECT_EQ(repository->imageBytes("a1"), imageBytesOf(5000, 7));
  EXPECT_EQ(value("SELECT id || ':' || artworkId || ':' || mimeType || ':' || byteSize || ':' || "
                  "createdAt FROM media"),
            "a1:a1:image/jpeg:5000:" + std::to_string(clock.nowMs()));
  EXPECT_EQ(files.reads, 1);

  // Editing a title: neither the file nor the media table is read or written.
  denyMediaAccess();
  EXPECT_THROW(repository->imageBytes("a1"), DomainError) << "the denial works";
  clock.advanceMs(1000);
  snapshot.artworks.images[0].title = "Second title";
  const SavedProject saved = repository->save(makeProject("p1"), snapshot, "artworks");
  EXPECT_TRUE(saved.storedImages.empty());
  EXPECT_EQ(files.reads, 1);
  repository->save(makeProject("p1"), snapshot);
  allowMediaAccess();
  const LoadedProject loaded = *repository->load("p1");
  EXPECT_EQ(loaded.snapshot.artworks.images[0].title, "Second title");
  EXPECT_EQ(loaded.snapshot.artworks.images[0].imagePath, "sqlite-media://a1");
  EXPECT_EQ(loaded.snapshot.artworks.images[0].imageByteSize, 5000);
}

TEST_F(ImageStorageTest, AReplacedImageIsWrittenAgain) {
  StudioSnapshot snapshot = saveWithNewImage();
  files.files["/in/replacement.webp"] = imageBytesOf(100, 9);
  snapshot.artworks.images[0].imagePath = "/in/replacement.webp";
  snapshot.artworks.images[0].mimeType = "image/webp";
  clock.advanceMs(10);
  const SavedProject saved = repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(saved.storedImages, (std::vector<StoredImageFile>{{"a1", "/in/replacement.webp"}}));
  EXPECT_EQ(repository->imageBytes("a1"), imageBytesOf(100, 9));
  EXPECT_EQ(value("SELECT COUNT(*) || ':' || mimeType || ':' || byteSize || ':' || createdAt FROM "
                  "media"),
            "1:image/webp:100:" + std::to_string(clock.nowMs()));

  // The store's snapshot changed again meanwhile: that newer path is kept.
  snapshot.artworks.images[0].imagePath = "/in/newer.jpg";
  adoptStoredImages(snapshot, saved.storedImages);
  EXPECT_EQ(snapshot.artworks.images[0].imagePath, "/in/newer.jpg");
}

TEST_F(ImageStorageTest, AnImageFileThatCannotBeReadLeavesTheArtworkWithoutNewBytes) {
  StudioSnapshot snapshot;
  Artwork artwork = makeArtwork("a1");
  artwork.imagePath = "/in/vanished.jpg";
  snapshot.artworks.images = {artwork};
  const SavedProject saved = repository->save(makeProject("p1"), snapshot);
  EXPECT_TRUE(saved.storedImages.empty());
  EXPECT_EQ(value("SELECT COUNT(*) FROM media"), "0");
  EXPECT_EQ(repository->load("p1")->snapshot.artworks.images[0].imagePath, std::nullopt);
}

TEST_F(ImageStorageTest, AFileTooLargeForTheDatabaseIsRefusedBeforeAByteIsRead) {
  const std::string largest = repository->withDatabase([](SQLiteDatabase& db) {
    return std::to_string(sqlite3_limit(db.handle(), SQLITE_LIMIT_LENGTH, -1));
  });
  files.files["/in/huge.tif"] = imageBytesOf(10, 1);
  files.sizes["/in/huge.tif"] = std::stoull(largest) + 1;
  StudioSnapshot snapshot;
  Artwork artwork = makeArtwork("a1");
  artwork.imagePath = "/in/huge.tif";
  snapshot.artworks.images = {artwork};
  const SavedProject saved = repository->save(makeProject("p1"), snapshot);
  EXPECT_TRUE(saved.storedImages.empty());
  EXPECT_EQ(files.reads, 0) << "its size said enough";
  EXPECT_EQ(value("SELECT COUNT(*) FROM media"), "0");
  EXPECT_EQ(value("SELECT COUNT(*) FROM artworks"), "1") << "the save went on";
}

TEST_F(ImageStorageTest, ImageFilesAreReadBeforeTheSaveHoldsTheDatabase) {
  // A read that looks whether another connection can write meanwhile: it
  // can only when the save's transaction has not begun.
  SQLiteDatabase other(databasePath, SQLiteDatabase::Access::readWrite, 0);
  bool couldWrite = false;
  class WatchingReads final : public ForwardingFileSystem {
   public:
    WatchingReads(FileSystem& target, std::function<void()> onRead)
        : ForwardingFileSystem(target), onRead_(std::move(onRead)) {}
    Bytes readFile(const std::string& path) override {
      onRead_();
      return ForwardingFileSystem::readFile(path);
    }

   private:
    std::function<void()> onRead_;
  } watching(files, [&] {
    try {
      other.exec("BEGIN IMMEDIATE; COMMIT;");
      couldWrite = true;
    } catch (const std::exception&) {
    }
  });
  SQLiteSnapshotRepository watched(SQLiteDatabase(databasePath), clock, watching);
  files.files["/in/a1.jpg"] = imageBytesOf(500, 3);
  StudioSnapshot snapshot;
  Artwork artwork = makeArtwork("a1");
  artwork.imagePath = "/in/a1.jpg";
  snapshot.artworks.images = {artwork};
  EXPECT_EQ(watched.save(makeProject("p1"), snapshot, "artworks").storedImages.size(), 1u);
  EXPECT_TRUE(couldWrite);
}

TEST_F(SnapshotRepositoryTest, TheUnitSavedIsThatOfTheArtworksNotOfTheProjectRecord) {
  Project project = makeProject("p1");
  project.unit = UnitSystem::cm;
  StudioSnapshot snapshot;
  snapshot.artworks.unit = UnitSystem::in;
  repository->save(project, snapshot);
  EXPECT_EQ(value("SELECT unit FROM projects WHERE id = 'p1'"), "in");
  EXPECT_EQ(repository->load("p1")->project.unit, UnitSystem::in);
}

TEST_F(SnapshotRepositoryTest, APositionNoListCanHoldFailsTheSaveAndIsRenumberedOnLoad) {
  StudioSnapshot snapshot;
  snapshot.artworks.images = {makeArtwork("a1"), makeArtwork("a2")};
  Document document;
  document.id = "d1";
  document.title = "Book";
  snapshot.documents = {document};
  snapshot.documentArtworkLinks = {{"l1", "d1", "a1", 5}, {"l2", "d1", "a2", 7}};
  repository->save(makeProject("p1"), snapshot);
  const std::string before = dump();

  snapshot.documentArtworkLinks[0].position = std::int64_t{1} << 40;
  EXPECT_THROW(repository->save(makeProject("p1"), snapshot), std::out_of_range);
  EXPECT_EQ(dump(), before) << "refused whole, the program still running";

  // Another program wrote one such position: the next load numbers the
  // document afresh, in the order its positions gave, and it saves again.
  exec("UPDATE document_artworks SET position = 9000000000000 WHERE id = 'l1'");
  const LoadedProject loaded = *repository->load("p1");
  EXPECT_EQ(loaded.snapshot.documentArtworkLinks,
            (std::vector<DocumentArtworkLink>{{"l2", "d1", "a2", 0}, {"l1", "d1", "a1", 1}}));
  EXPECT_NO_THROW(repository->save(loaded.project, loaded.snapshot));
}

TEST_F(ImageStorageTest, AnEmptyImageFileIsStoredAsAnEmptyBlob) {
  saveWithNewImage(0);
  EXPECT_EQ(value("SELECT typeof(blob) || ':' || byteSize FROM media"), "blob:0");
  EXPECT_EQ(repository->imageBytes("a1"), Bytes{});
}

TEST_F(ImageStorageTest, RemovingTheImagePathKeepsTheMediaRow) {
  StudioSnapshot snapshot = saveWithNewImage();
  snapshot.artworks.images[0].imagePath.reset();
  repository->save(makeProject("p1"), snapshot);
  EXPECT_EQ(value("SELECT COUNT(*) FROM media"), "1");
  EXPECT_EQ(repository->load("p1")->snapshot.artworks.images[0].imagePath, "sqlite-media://a1");
}

TEST_F(ImageStorageTest, MediaLeftOutOfShapeByOlderVersionsIsTidiedFromItsOwnBytes) {
  saveProject("p1", {makeArtwork("a1"), makeArtwork("a2")});
  exec(
      "INSERT INTO media(id, artworkId, mimeType, blob, byteSize, createdAt) VALUES "
      "('old-a1', 'a1', 'image/png', x'0102', 2, 1), ('old-a2', 'a2', NULL, x'03', 1, 1);");
  StudioSnapshot loaded = repository->load("p1")->snapshot;
  EXPECT_EQ(loaded.artworks.images[0].imagePath, "sqlite-media://old-a1");
  EXPECT_EQ(loaded.artworks.images[1].mimeType, "image/jpeg");

  repository->save(makeProject("p1"), loaded);
  EXPECT_EQ(column("SELECT id || ':' || artworkId || ':' || mimeType || ':' || hex(blob) || ':' || "
                   "byteSize FROM media ORDER BY id"),
            (Rows{"a1:a1:image/png:0102:2", "a2:a2:image/jpeg:03:1"}));
  EXPECT_EQ(repository->load("p1")->snapshot.artworks.images[0].imagePath, "sqlite-media://a1");
}

TEST_F(ImageStorageTest, OfSeveralMediaRowsTheArtworksOwnIdWinsElseTheSmallest) {
  saveProject("p1", {makeArtwork("a1"), makeArtwork("a2"), makeArtwork("a3")});
  exec(
      "INSERT INTO media(id, artworkId, mimeType, blob, byteSize) VALUES "
      "('0-older', 'a1', 'image/png', x'01', 1), ('a1', 'a1', 'image/jpeg', x'0202', 2), "
      "('z-old', 'a2', 'image/png', x'03', 1), ('b-old', 'a2', 'image/gif', x'04', 1), "
      "('a3-empty', 'a3', 'image/jpeg', NULL, NULL);");

  StudioSnapshot loaded = repository->load("p1")->snapshot;
  EXPECT_EQ(loaded.artworks.images[0].imagePath, "sqlite-media://a1");
  EXPECT_EQ(loaded.artworks.images[0].imageByteSize, 2);
  EXPECT_EQ(repository->imageBytes("a1"), (Bytes{2, 2}));
  EXPECT_EQ(loaded.artworks.images[1].imagePath, "sqlite-media://b-old");
  EXPECT_EQ(loaded.artworks.images[1].mimeType, "image/gif");
  EXPECT_EQ(repository->imageBytes("a2"), Bytes{4});
  EXPECT_EQ(repository->imageBytes("a3"), std::nullopt);

  // Saving tidies a2 from the row shown; a3's row has no bytes to move.
  repository->save(makeProject("p1"), loaded);
  EXPECT_EQ(column("SELECT id || ':' || artworkId FROM media ORDER BY id"),
            (Rows{"0-older:a1", "a1:a1", "a2:a2", "a3-empty:a3"}));
  EXPECT_EQ(repository->imageBytes("a2"), Bytes{4});
}

TEST_F(ImageStorageTest, AVaultArtworkAddedToAnotherProjectKeepsItsImage) {
  saveWithNewImage();
  StudioSnapshot other;
  Artwork fromVault = repository->reusableArtworks("p2").front().artwork;
  EXPECT_EQ(fromVault.imagePath, "sqlite-media://a1");
  other.artworks.images = {fromVault};
  denyMediaAccess();
  repository->save(makeProject("p2"), other);
  allowMediaAccess();
  EXPECT_EQ(repository->load("p2")->snapshot.artworks.images[0].imagePath, "sqlite-media://a1");
}

TEST_F(SnapshotRepositoryTest, OperationsFromSeveralThreadsNeverInterleave) {
  saveProject("p1");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 25; ++i) {
        StudioSnapshot snapshot;
        snapshot.biography = "thread " + std::to_string(t);
        snapshot.artworks.images = {makeArtwork("a" + std::to_string(i % 3))};
        repository->save(makeProject("p1"), snapshot, "everything");
        ASSERT_TRUE(repository->load("p1"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(column("SELECT COUNT(*) FROM project_artworks"), Rows{"1"});
}

}  // namespace
}  // namespace quorvane
