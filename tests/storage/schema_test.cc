#include "storage/schema.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "storage/sql_helpers.h"
#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::dumpDatabase;
using testing::queryColumn;
using testing::queryValue;
using Rows = std::vector<std::string>;

// A library as the earliest versions left it: the project's name in `title`,
// none of the later project columns, artworks owned through their own row,
// no memberships, no text assets, documents without orientation.
constexpr const char* kOldestLibrary = R"sql(
CREATE TABLE schema_version (version INTEGER NOT NULL);
INSERT INTO schema_version VALUES(1);
CREATE TABLE projects (id TEXT PRIMARY KEY, kind TEXT NOT NULL, title TEXT, locale TEXT NOT NULL,
  currency TEXT, unit TEXT NOT NULL, createdAt INTEGER, updatedAt INTEGER);
CREATE TABLE artworks (id TEXT PRIMARY KEY, projectId TEXT, title TEXT, medium TEXT, year TEXT,
  width TEXT, height TEXT, depth TEXT, imgWidth INTEGER, imgHeight INTEGER, aspect REAL,
  sortIndex INTEGER, status TEXT, priceCents INTEGER, priceCurrency TEXT, sizeWarning TEXT,
  sizeWarningDismissed INTEGER, sizeBytes INTEGER, originalSizeBytes INTEGER);
CREATE TABLE documents (id TEXT PRIMARY KEY, projectId TEXT NOT NULL, type TEXT NOT NULL,
  title TEXT NOT NULL, createdAt INTEGER NOT NULL, updatedAt INTEGER NOT NULL);
INSERT INTO projects VALUES('named', 'portfolio', 'Old name', 'fr', 'EUR', 'in', 1000, 2000);
INSERT INTO projects VALUES('unnamed', 'catalogue', '', 'en', NULL, 'cm', NULL, NULL);
INSERT INTO projects VALUES('raisonne', 'raisonne', NULL, 'en', NULL, 'cm', 5, NULL);
INSERT INTO artworks(id, projectId, title, sortIndex) VALUES('a1', 'named', 'First', 3);
INSERT INTO artworks(id, projectId, title, sortIndex) VALUES('a2', 'named', 'Second', NULL);
INSERT INTO artworks(id, projectId, title, sortIndex) VALUES('loose', NULL, 'No project', 0);
INSERT INTO artworks(id, projectId, title, sortIndex) VALUES('orphan', 'gone', 'Lost owner', 1);
INSERT INTO documents VALUES('d1', 'named', 'portfolio', 'Doc', 10, 20);
)sql";

class MigrationTest : public ::testing::Test {
 protected:
  void migrateOnce() {
    withImmediateTransaction(db, [&] { migrate(db); });
  }
  Rows rows(const std::string& sql) { return queryColumn(db, sql); }
  void TearDown() override { testing::expectSoundDatabase(db); }

  testing::TempDir dir;
  std::string path = dir.file("quorvane.sqlite");
  SQLiteDatabase db{path};
};

TEST_F(MigrationTest, AFreshFileBecomesAVersionOneLibrary) {
  migrateOnce();
  EXPECT_EQ(rows("SELECT version FROM schema_version"), Rows{"1"});
}

TEST_F(MigrationTest, TheOldestShapeReachesTheCurrentOneWithItsValues) {
  db.exec(kOldestLibrary);
  migrateOnce();
  EXPECT_EQ(rows("SELECT orientation FROM documents"), Rows{"portrait"});

  // Names come from the old title, else "Portfolio"; kinds are normalised
  // from what was stored before this run.
  EXPECT_EQ(rows("SELECT id || '|' || projectName || '|' || projectTitle || '|' || projectYear || "
                 "'|' || kind || '|' || COALESCE(catalogueKind, 'NULL') FROM projects ORDER BY id"),
            (Rows{"named|Old name|Old name||portfolio|NULL",
                  "raisonne|Portfolio|Portfolio||catalogue|raisonne",
                  "unnamed|Portfolio|Portfolio||catalogue|price"}));

  // Each artwork with a project becomes a member at its old position; one
  // whose project is gone, or that never had one, stays in the library only.
  EXPECT_EQ(rows("SELECT projectId || ':' || artworkId || ':' || sortIndex FROM project_artworks "
                 "ORDER BY artworkId"),
            (Rows{"named:a1:3", "named:a2:0"}));
  EXPECT_EQ(rows("SELECT COUNT(*) FROM artworks"), Rows{"4"});

  // Four own text assets and links per project, dated from the project.
  EXPECT_EQ(rows("SELECT id || '|' || title || '|' || COALESCE(json, 'NULL') || '|' || createdAt "
                 "|| '|' || updatedAt FROM text_assets WHERE ownerProjectId = 'named' ORDER BY id"),
            (Rows{"asset:bio:named|Biography|NULL|1000|2000", "asset:cv:named|CV|{}|1000|2000",
                  "asset:project_statement:named|Project Statement|NULL|1000|2000",
                  "asset:statement:named|Artist statement|NULL|1000|2000"}));
  EXPECT_EQ(rows("SELECT createdAt || '|' || updatedAt FROM text_assets WHERE id = "
                 "'asset:bio:raisonne'"),
            Rows{"5|5"});
  EXPECT_EQ(rows("SELECT COUNT(*) FROM project_text_asset_links"), Rows{"12"});
}

TEST_F(MigrationTest, ASecondRunChangesNothing) {
  db.exec(kOldestLibrary);
  migrateOnce();
  const std::string once = dumpDatabase(db);
  migrateOnce();
  EXPECT_EQ(dumpDatabase(db), once);
}

TEST_F(MigrationTest, CurrentShapeRowsAreNormalisedOnEveryStart) {
  migrateOnce();
  db.exec(R"sql(
    INSERT INTO projects(id, kind, catalogueKind, projectName, projectTitle, locale, unit)
      VALUES('p', 'portfolio', 'price', '', NULL, 'en', 'cm'),
            ('c', 'catalogue', 'exhibition', 'C', 'C', 'en', 'cm'),
            ('x', 'mystery', '', 'X', 'X', 'en', 'cm');
  )sql");
  migrateOnce();
  EXPECT_EQ(rows("SELECT id || '|' || kind || '|' || COALESCE(catalogueKind, 'NULL') || '|' || "
                 "projectName || '|' || projectTitle FROM projects ORDER BY id"),
            (Rows{"c|catalogue|exhibition|C|C", "p|portfolio|NULL|Portfolio|Portfolio",
                  "x|catalogue|raisonne|X|X"}));
  // Projects made after the first start still get their assets and links.
  EXPECT_EQ(rows("SELECT COUNT(*) FROM text_assets"), Rows{"12"});
}

TEST_F(MigrationTest, MembershipsAreCopiedOnlyWhenTheTableDidNotExist) {
  db.exec(kOldestLibrary);
  db.exec(
      "CREATE TABLE project_artworks (projectId TEXT NOT NULL, artworkId TEXT NOT NULL, "
      "sortIndex INTEGER NOT NULL, PRIMARY KEY(projectId, artworkId));");
  migrateOnce();
  EXPECT_EQ(rows("SELECT COUNT(*) FROM project_artworks"), Rows{"0"});
}

TEST_F(MigrationTest, AnExistingLinkToAnotherProjectsTextIsKept) {
  migrateOnce();
  db.exec(R"sql(
    INSERT INTO projects(id, kind, locale, unit) VALUES('o', 'portfolio', 'en', 'cm');
    INSERT INTO text_assets(id, type, ownerProjectId, title, content)
      VALUES('asset:bio:o', 'bio', 'o', 'Biography', 'Shared');
    INSERT INTO projects(id, kind, locale, unit) VALUES('p', 'portfolio', 'en', 'cm');
    INSERT INTO project_text_asset_links(projectId, type, assetId) VALUES('p', 'bio', 'asset:bio:o');
  )sql");
  migrateOnce();
  EXPECT_EQ(rows("SELECT assetId FROM project_text_asset_links WHERE projectId = 'p' AND type = "
                 "'bio'"),
            Rows{"asset:bio:o"});
  EXPECT_EQ(rows("SELECT content FROM text_assets WHERE id = 'asset:bio:o'"), Rows{"Shared"});
}

TEST_F(MigrationTest, AFailingStepLeavesTheDatabaseAsItWas) {
  db.exec(kOldestLibrary);
  db.exec(
      "CREATE TABLE text_assets (id TEXT PRIMARY KEY, type TEXT NOT NULL, ownerProjectId TEXT "
      "NOT NULL, title TEXT NOT NULL, content TEXT NOT NULL, json TEXT, createdAt INTEGER, "
      "updatedAt INTEGER, archivedAt INTEGER);"
      "CREATE TRIGGER refuse BEFORE INSERT ON text_assets BEGIN SELECT RAISE(ABORT, 'refused'); "
      "END;");
  const std::string before = dumpDatabase(db);
  testing::ManualClock clock;
  EXPECT_THROW(SQLiteSnapshotRepository(SQLiteDatabase(path), clock), DomainError)
      << "no repository on a database it could not migrate";
  EXPECT_EQ(dumpDatabase(db), before);
}

TEST_F(MigrationTest, AnOldLibraryLoadsThroughTheRepository) {
  db.exec(kOldestLibrary);
  testing::ManualClock clock;
  SQLiteSnapshotRepository repository(SQLiteDatabase(path), clock);

  const std::optional<LoadedProject> raisonne = repository.load("raisonne");
  ASSERT_TRUE(raisonne);
  EXPECT_EQ(raisonne->project.catalogueKind, CatalogueKind::raisonne);
  EXPECT_EQ(raisonne->snapshot.cv, CVData{}) << "the \"{}\" of a new CV asset is the empty CV";

  const std::optional<LoadedProject> named = repository.load("named");
  ASSERT_TRUE(named);
  EXPECT_EQ(named->project.unit, UnitSystem::in);
  EXPECT_EQ(named->project.currency, "EUR");
  ASSERT_EQ(named->snapshot.artworks.images.size(), 2u);
  EXPECT_EQ(named->snapshot.artworks.images[0].id, "a2");
  EXPECT_EQ(named->snapshot.artworks.images[1].sortIndex, 3);
  ASSERT_EQ(named->snapshot.documents.size(), 1u);
  EXPECT_EQ(named->snapshot.documents[0].orientation, DocumentOrientation::portrait);
}

std::string fileBytes(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  std::string bytes;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
    bytes.append(buffer, n);
  std::fclose(file);
  return bytes;
}

TEST_F(MigrationTest, TheLibraryIsMarkedAsOursAndAStartInCurrentShapeWritesNothing) {
  db.exec(kOldestLibrary);
  EXPECT_TRUE(assessSchema(db).isOurs) << "older versions left no mark, but our tables";
  EXPECT_TRUE(assessSchema(db).needsMigration);
  testing::ManualClock clock;
  { SQLiteSnapshotRepository first(SQLiteDatabase(path), clock); }
  EXPECT_EQ(queryValue(db, "PRAGMA application_id"), std::to_string(kQuorvaneApplicationId));
  EXPECT_FALSE(assessSchema(db).needsMigration);

  const std::string before = fileBytes(path);
  { SQLiteSnapshotRepository again(SQLiteDatabase(path), clock); }
  {
    SQLiteSnapshotRepository reader(SQLiteDatabase(path, SQLiteDatabase::Access::readOnly), clock);
    EXPECT_EQ(reader.projectSummaries().size(), 3u);
  }
  EXPECT_EQ(fileBytes(path), before) << "not even the change counter moved";

  // A project written without its texts, by hand or by an older version,
  // brings the migration back.
  db.exec(
      "INSERT INTO projects(id, kind, projectName, projectTitle, projectYear, locale, unit) "
      "VALUES('bare', 'portfolio', 'B', 'B', '', 'en', 'cm');");
  EXPECT_TRUE(assessSchema(db).needsMigration);
}

TEST_F(MigrationTest, OnlyOurOwnDatabasesAreTakenForLibraries) {
  EXPECT_TRUE(assessSchema(db).isOurs) << "an empty file becomes a library";
  EXPECT_TRUE(assessSchema(db).needsMigration);

  db.exec("CREATE TABLE notes(id INTEGER PRIMARY KEY, body TEXT);");
  EXPECT_FALSE(assessSchema(db).isOurs);

  db.exec("DROP TABLE notes; PRAGMA application_id = 12345;");
  EXPECT_FALSE(assessSchema(db).isOurs);

  testing::ManualClock clock;
  EXPECT_THROW(SQLiteSnapshotRepository(SQLiteDatabase(path), clock), DomainError);
  EXPECT_EQ(rows("SELECT COUNT(*) FROM sqlite_master"), Rows{"0"}) << "nothing of ours was added";
}

TEST_F(MigrationTest, AShapeNoVersionLeftIsRefusedAndLeftExactlyAsItWas) {
  db.exec(R"sql(
    CREATE TABLE schema_version (version INTEGER NOT NULL);
    INSERT INTO schema_version VALUES(1);
    CREATE TABLE projects (id TEXT PRIMARY KEY, kind TEXT NOT NULL, projectName TEXT,
      locale TEXT NOT NULL, unit TEXT NOT NULL, createdAt INTEGER, updatedAt INTEGER);
    INSERT INTO projects VALUES('p', 'portfolio', 'Kept', 'en', 'cm', 1, 2);
  )sql");
  const SchemaAssessment assessment = assessSchema(db);
  EXPECT_TRUE(assessment.isOurs);
  EXPECT_FALSE(assessment.canMigrate);

  const std::string before = fileBytes(path);
  testing::ManualClock clock;
  EXPECT_THROW(SQLiteSnapshotRepository(SQLiteDatabase(path), clock), DomainError);
  EXPECT_EQ(fileBytes(path), before);

  // Even when something calls the migration itself, nothing of it is kept.
  EXPECT_THROW(migrateOnce(), DomainError);
  EXPECT_EQ(fileBytes(path), before);
}

TEST(HostileDatabaseTest, AFileThatIsNoDatabaseIsRefusedAndLeftAlone) {
  testing::TempDir dir;
  const std::string path = dir.file("quorvane.sqlite");
  const std::string garbage = "This is not an SQLite database, just some text.\n";
  {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    for (int i = 0; i < 200; ++i) std::fputs(garbage.c_str(), file);
    std::fclose(file);
  }
  testing::ManualClock clock;
  EXPECT_THROW(SQLiteSnapshotRepository(SQLiteDatabase(path), clock), DomainError)
      << "a file that is no database must not become a library";
  EXPECT_EQ(std::filesystem::file_size(path), garbage.size() * 200);
}

TEST(HostileDatabaseTest, ValuesOfTheWrongTypeLoadWithoutFailing) {
  testing::TempDir dir;
  testing::ManualClock clock;
  SQLiteSnapshotRepository repository(SQLiteDatabase(dir.file("quorvane.sqlite")), clock);
  repository.withDatabase([](SQLiteDatabase& db) {
    db.exec(R"sql(
      INSERT INTO projects(id, kind, projectName, projectTitle, locale, unit, orientation,
                           createdAt, updatedAt)
        VALUES('p', 'portfolio', x'ff00fe', 42, 'en', 7, x'00', 'yesterday', 9e300);
      INSERT INTO artworks(id, projectId, title, imgWidth, aspect, sortIndex, status,
                           sizeWarningDismissed, sizeBytes)
        VALUES('a', 'p', x'c3', 'wide', 'tall', 'first', 'lost', 'maybe', -5);
      INSERT INTO project_artworks VALUES('p', 'a', -3);
      INSERT INTO details VALUES('p', '[1, 2');
      INSERT INTO section_timestamps VALUES('p', 'unknown', 1, 2), ('p', 'cv', 'x', NULL);
    )sql");
  });
  const std::optional<LoadedProject> loaded = repository.load("p");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->project.projectTitle, "42");
  EXPECT_EQ(loaded->project.unit, UnitSystem::cm);
  ASSERT_EQ(loaded->snapshot.artworks.images.size(), 1u);
  EXPECT_EQ(loaded->snapshot.artworks.images[0].status, std::nullopt);
  EXPECT_EQ(loaded->snapshot.artworks.images[0].sortIndex, -3);
  EXPECT_EQ(loaded->snapshot.details, ArtistDetails{});
  // What was loaded can be saved again.
  repository.save(loaded->project, loaded->snapshot);
  EXPECT_EQ(repository.load("p")->snapshot.artworks.images[0].sortIndex, 0);
  repository.withDatabase([](SQLiteDatabase& db) { testing::expectSoundDatabase(db); });
}

}  // namespace
}  // namespace quorvane
