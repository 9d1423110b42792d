#include "storage/app_container.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "storage/side_files.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

// Long enough for another connection's commit, short enough for a test
// that waits for one holding the database on purpose.
constexpr int kTestBusyTimeoutMs = 200;

void writeText(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::string readText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

Names namesIn(const fs::path& directory) {
  Names names;
  if (!fs::exists(directory)) return names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Copies, then changes the copy's last byte: a copy that does not match.
class CorruptingCopies final : public ForwardingFileSystem {
 public:
  CorruptingCopies() : ForwardingFileSystem(realFileSystem()) {}
  void copyFile(const std::string& from, const std::string& to) override {
    ForwardingFileSystem::copyFile(from, to);
    std::fstream copy(to, std::ios::in | std::ios::out | std::ios::binary);
    copy.seekp(-1, std::ios::end);
    copy.put('!');
  }
};

class AppContainerTest : public ::testing::Test {
 protected:
  AppContainerTest() {
    environment = BootEnvironment{
        .applicationSupportDirectory = dir.file("support"),
        .temporaryDirectory = dir.file("tmp"),
        .runtimeDirectory = "",
        .files = &files,
        .clock = &clock,
        .logger = &logger,
        .makeUuid = [this] { return "UUID-" + std::to_string(++uuids); },
        .openRepository =
            [this](const std::string& path, SQLiteDatabase::Access access) {
              ++opens;
              if (failFromOpen > 0 && opens >= failFromOpen &&
                  (path != ":memory:" || failInMemoryToo)) {
                throw DomainError("SQLiteDatabase", 1, "Unable to open database", SQLITE_CANTOPEN);
              }
              if (failingOpens > 0) {
                --failingOpens;
                throw DomainError("SQLiteDatabase", 1, "Unable to open database", failingCode);
              }
              return std::make_unique<SQLiteSnapshotRepository>(
                  SQLiteDatabase(path, access, kTestBusyTimeoutMs), clock);
            },
        .access = StorageAccess::write,
        // As a reader does: a repair takes the lock, and waits for no one.
        .lockForRepair =
            [this] {
              ++repairs;
              return LibraryLock::acquire((appData() / "quorvane.lock").string(),
                                          LockHolder{1, "quorvane", "test"},
                                          LockWait{.patience = std::chrono::milliseconds(0),
                                                   .clock = &clock,
                                                   .sleep = {},
                                                   .onWait = {}});
            },
    };
  }

  fs::path appData() const { return dir.path() / "support" / "Quorvane"; }
  fs::path database() const { return appData() / "quorvane.sqlite"; }

  testing::TempDir dir;
  testing::ManualClock clock;
  testing::RecordingLogger logger;
  testing::FaultyFileSystem files;
  int uuids = 0;
  int opens = 0;
  int failingOpens = 0;
  int repairs = 0;
  int failingCode = 0;   // SQLite's code of the failing opens
  int failFromOpen = 0;  // this open and every later one of a file fails
  bool failInMemoryToo = false;
  BootEnvironment environment;
};

TEST_F(AppContainerTest, AHealthyLibraryStartsQuietlyWhereItBelongs) {
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.notices.empty());
  EXPECT_EQ(storage.databasePath, database().string());
  EXPECT_EQ(storage.media->directory(), (appData() / "media").string());
  EXPECT_EQ(namesIn(appData()), (Names{"media", "quorvane.sqlite"}));
}

TEST_F(AppContainerTest, ADamagedLibraryIsSetAsideVerifiedAndAFreshOneStarted) {
  const std::string garbage(3000, 'x');
  writeText(database(), garbage);
  writeText(database().string() + "-wal", "write-ahead log");

  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.repository->projectSummaries().empty());

  const fs::path copy =
      appData() / "Recovery" / ("sqlite-recovery-" + std::to_string(clock.nowMs()) + "-UUID-1");
  EXPECT_EQ(storage.notices,
            (std::vector<StorageNotice>{{"storage.recovery.archived", {copy.string()}}}));
  EXPECT_EQ(namesIn(copy), (Names{"manifest.json", "quorvane.sqlite", "quorvane.sqlite-wal"}));
  EXPECT_EQ(readText(copy / "quorvane.sqlite"), garbage);
  EXPECT_FALSE(fs::exists(database().string() + "-wal"));
  EXPECT_NE(readText(database()), garbage) << "a fresh library took the old one's place";

  const nlohmann::json manifest = nlohmann::json::parse(readText(copy / "manifest.json"));
  EXPECT_EQ(manifest["formatVersion"], 1);
  EXPECT_EQ(manifest["createdAt"], "2023-11-14T22:13:20Z");
  EXPECT_EQ(manifest["originalDatabasePath"], database().string());
  EXPECT_EQ(manifest["files"],
            (nlohmann::json{{{"byteSize", 3000}, {"name", "quorvane.sqlite"}},
                            {{"byteSize", 15}, {"name", "quorvane.sqlite-wal"}}}));

  // The next start finds the fresh library and says nothing.
  EXPECT_TRUE(AppContainer::bootStorage(environment).notices.empty());
}

TEST_F(AppContainerTest, WithNothingToSetAsideThePersistentStartIsTriedOnceMore) {
  failingOpens = 1;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.notices.empty());
  EXPECT_EQ(opens, 2);
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
}

TEST_F(AppContainerTest, AMediaFolderThatCannotBeMadeGoesStraightToTheFallback) {
  AppContainer::bootStorage(environment);  // a healthy library
  fs::remove_all(appData() / "media");
  writeText(appData() / "media", "a file where the folder should be");

  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_TRUE(storage.isFallback);
  EXPECT_EQ(storage.databasePath, ":memory:");
  EXPECT_TRUE(
      storage.media->directory().starts_with(dir.file("tmp") + "/Quorvane-fallback-media-"));
  EXPECT_EQ(storage.notices, (std::vector<StorageNotice>{{"storage.fallback.temporary", {}}}));
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
  EXPECT_TRUE(fs::exists(database())) << "a healthy database is never set aside";
}

TEST_F(AppContainerTest, TheFallbackMediaFolderIsPrivateNewAndGoneWithTheStorage) {
  // Another local user made the well-known name first, to read what is put
  // there or to make the fallback fail.
  fs::create_directories(dir.file("tmp") + "/Quorvane-fallback-media");
  writeText(dir.file("tmp") + "/Quorvane-fallback-media-XXXXXX", "planted");
  std::string first;
  {
    const BootedStorage storage = AppContainer::bootFallbackStorage(environment);
    first = storage.media->directory();
    EXPECT_NE(first, dir.file("tmp") + "/Quorvane-fallback-media");
    EXPECT_EQ(fs::status(first).permissions() & fs::perms::all, fs::perms::owner_all)
        << "no one else may enter it";
    const BootedStorage second = AppContainer::bootFallbackStorage(environment);
    EXPECT_NE(second.media->directory(), first) << "never one found in place";
  }
  EXPECT_FALSE(fs::exists(first)) << "removed when the storage goes";

  environment.runtimeDirectory = dir.file("run");
  fs::create_directories(environment.runtimeDirectory);
  const BootedStorage storage = AppContainer::bootFallbackStorage(environment);
  EXPECT_TRUE(storage.media->directory().starts_with(dir.file("run") + "/")) << "the login's own";
}

TEST_F(AppContainerTest, ARetryThatFailsAfterTheLibraryWasSetAsideReachesTheFallback) {
  AppContainer::bootStorage(environment);  // a library whose opens will fail
  opens = 0;
  failingOpens = 2;  // damaged at the first look and again under the lock: set aside
  failingCode = SQLITE_CORRUPT;
  failFromOpen = 3;  // and the fresh library can't be opened either
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_EQ(opens, 4) << "the look, under the lock, the retry, the fallback";
  EXPECT_TRUE(storage.isFallback);
  EXPECT_EQ(namesIn(appData() / "Recovery").size(), 1u) << "the damaged library is kept";
  EXPECT_EQ(storage.notices.back(), (StorageNotice{"storage.fallback.temporary", {}}));
}

TEST_F(AppContainerTest, WhenEvenTheFallbackFailsTheProgramStopsSayingWhy) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  failFromOpen = 1;
  failInMemoryToo = true;
  EXPECT_DEATH(AppContainer::bootStorage(environment),
               "Failed to boot app storage \\(persistent \\+ recovery \\+ fallback\\)");
}

TEST_F(AppContainerTest, ACopyThatDoesNotMatchIsDroppedAndTheSourcesStay) {
  CorruptingCopies corrupting;
  environment.files = &corrupting;
  writeText(database(), "damaged library");

  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_TRUE(storage.isFallback);
  EXPECT_EQ(storage.notices, (std::vector<StorageNotice>{{"storage.fallback.temporary", {}}}));
  EXPECT_EQ(namesIn(appData() / "Recovery"), Names{});
  EXPECT_EQ(readText(database()), "damaged library");

  EXPECT_THROW(AppContainer::archiveDatabaseForRecovery(corrupting, database().string(),
                                                        std::nullopt, clock.now(), "U"),
               DomainError)
      << "the mismatch is reported";
}

TEST_F(AppContainerTest, ALibraryThatAnotherProcessIsWritingOpensAndIsNeverSetAside) {
  AppContainer::bootStorage(environment);
  SQLiteDatabase otherProcess(database().string());
  otherProcess.exec("BEGIN IMMEDIATE TRANSACTION; DELETE FROM projects;");

  for (const StorageAccess access : {StorageAccess::write, StorageAccess::read}) {
    environment.access = access;
    const BootedStorage storage = AppContainer::bootStorage(environment);
    EXPECT_FALSE(storage.isFallback) << "a library in current shape needs no write to open";
    EXPECT_TRUE(storage.notices.empty());
    EXPECT_EQ(storage.repository->isReadOnly(), access == StorageAccess::read);
  }
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
  otherProcess.exec("ROLLBACK;");
}

// A library with one project, written and closed.
class LibraryOnDiskTest : public AppContainerTest {
 protected:
  LibraryOnDiskTest() {
    const BootedStorage storage = AppContainer::bootStorage(environment);
    Project project;
    project.id = "kept";
    project.projectName = "Years of work";
    storage.repository->save(project, StudioSnapshot{});
  }
  // The project names of the library as a fresh connection reads them.
  Names projectNames() {
    SQLiteDatabase db(database().string(), SQLiteDatabase::Access::readOnly);
    Statement select = db.prepare("SELECT projectName FROM projects ORDER BY id");
    Names names;
    while (select.nextRow()) names.push_back(select.textOrEmpty(0));
    Statement check = db.prepare("PRAGMA integrity_check");
    check.nextRow();
    EXPECT_EQ(check.textOrEmpty(0), "ok");
    return names;
  }
  fs::path onlyRecoveryCopy() {
    const Names copies = namesIn(appData() / "Recovery");
    EXPECT_EQ(copies.size(), 1u);
    return copies.empty() ? fs::path() : appData() / "Recovery" / copies[0];
  }
};

TEST_F(LibraryOnDiskTest, AnotherDatabasesWriteAheadLogIsSetAsideNotReplayed) {
  const std::string stray = database().string() + "-wal";
  testing::makeForeignWriteAheadLog(dir.file("other.sqlite"), stray, 50);
  const std::string strayBytes = readText(stray);

  std::vector<StorageNotice> notices;
  for (const StorageAccess access : {StorageAccess::read, StorageAccess::write}) {
    environment.access = access;
    const BootedStorage storage = AppContainer::bootStorage(environment);
    EXPECT_FALSE(storage.isFallback);
    EXPECT_EQ(storage.repository->projectSummaries().size(), 1u);
    notices.insert(notices.end(), storage.notices.begin(), storage.notices.end());
  }
  EXPECT_EQ(projectNames(), Names{"Years of work"});
  EXPECT_FALSE(fs::exists(stray));
  EXPECT_EQ(repairs, 1) << "set aside once, under the lock, by the first start";
  const fs::path copy = onlyRecoveryCopy();
  EXPECT_EQ(namesIn(copy), (Names{"manifest.json", "quorvane.sqlite-wal"}));
  EXPECT_EQ(readText(copy / "quorvane.sqlite-wal"), strayBytes);
  EXPECT_EQ(notices, (std::vector<StorageNotice>{{"storage.recovery.stray_files", {copy.string()}}}))
      << "the first start names the copy; the second finds nothing to say";
}

TEST_F(LibraryOnDiskTest, AKilledWritersJournalIsRolledBackIntoTheLibrary) {
  testing::leaveHotJournal(
      database().string(),
      "UPDATE projects SET projectName = 'half written'; CREATE TABLE junk(x BLOB); "
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
      "INSERT INTO junk SELECT randomblob(2000) FROM n;");
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_TRUE(storage.notices.empty()) << "the library's own journal is no stray";
  EXPECT_EQ(repairs, 0);
  EXPECT_EQ(projectNames(), Names{"Years of work"});
  EXPECT_FALSE(fs::exists(database().string() + "-journal"));
}

TEST_F(LibraryOnDiskTest, AJournalOfAnotherProgramsDatabaseIsSetAsideNotRolledBack) {
  const std::string other = dir.file("other.sqlite");
  {
    SQLiteDatabase db(other);
    db.exec(
        "PRAGMA application_id = 777; CREATE TABLE notes(body TEXT);"
        "INSERT INTO notes VALUES('hello');");
  }
  testing::leaveHotJournal(other,
                           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                           "WHERE i < 300) INSERT INTO notes SELECT randomblob(2000) FROM n;");
  fs::rename(other + "-journal", database().string() + "-journal");

  const BootedStorage storage = AppContainer::bootStorage(environment);
  ASSERT_EQ(storage.notices.size(), 1u);
  EXPECT_EQ(storage.notices[0].key, "storage.recovery.stray_files");
  EXPECT_EQ(projectNames(), Names{"Years of work"});
  EXPECT_EQ(namesIn(onlyRecoveryCopy()), (Names{"manifest.json", "quorvane.sqlite-journal"}));
}

TEST_F(LibraryOnDiskTest, ARepairWaitsForTheLockAndIsNeverMadeWithoutIt) {
  const auto holder = LibraryLock::acquire((appData() / "quorvane.lock").string(),
                                           LockHolder{42, "quorvane-desktop", ""});
  const std::string stray = database().string() + "-wal";
  testing::makeForeignWriteAheadLog(dir.file("other.sqlite"), stray, 5);
  environment.access = StorageAccess::read;
  try {
    AppContainer::bootStorage(environment);
    FAIL() << "a repair may not be made while another process writes";
  } catch (const LibraryBusyError& error) {
    EXPECT_EQ(error.holder(), (LockHolder{42, "quorvane-desktop", ""}));
  }
  EXPECT_TRUE(fs::exists(stray));
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
}

// A table shape no version made, and another program's database in the
// library's place: neither is migrated nor taken for the library.
TEST_F(LibraryOnDiskTest, ADatabaseThatIsNoLibraryOfOursGoesToRecoveryByteForByte) {
  const struct {
    bool newFile;
    const char* sql;
  } cases[] = {
      {false,
       "CREATE TABLE projects_old AS SELECT id, kind, locale, unit FROM projects;"
       "PRAGMA foreign_keys = OFF; DROP TABLE projects;"
       "ALTER TABLE projects_old RENAME TO projects;"},
      {true, "PRAGMA application_id = 777; CREATE TABLE notes(body TEXT);"},
  };
  for (const auto& [newFile, sql] : cases) {
    SCOPED_TRACE(sql);
    if (newFile) fs::remove(database());
    fs::remove_all(appData() / "Recovery");
    {
      SQLiteDatabase db(database().string());
      db.exec(sql);
    }
    const std::string before = readText(database());
    const BootedStorage storage = AppContainer::bootStorage(environment);
    EXPECT_FALSE(storage.isFallback);
    ASSERT_EQ(storage.notices.size(), 1u);
    EXPECT_EQ(storage.notices[0].key, "storage.recovery.archived");
    EXPECT_EQ(readText(onlyRecoveryCopy() / "quorvane.sqlite"), before)
        << "a half-run migration left nothing behind";
    EXPECT_TRUE(storage.repository->projectSummaries().empty()) << "a new library took its place";
  }
}

TEST_F(LibraryOnDiskTest, ALibraryOfANewerVersionIsLeftExactlyAsItIsEvenWithOtherTables) {
  for (const char* sql : {"UPDATE schema_version SET version = 2;",
                          "UPDATE schema_version SET version = 3; "
                          "ALTER TABLE artworks DROP COLUMN depth;"}) {
    SCOPED_TRACE(sql);
    {
      SQLiteDatabase db(database().string());
      db.exec(sql);
    }
    const std::string before = readText(database());
    EXPECT_THROW(AppContainer::bootStorage(environment), LibraryUnavailableError);
    EXPECT_EQ(readText(database()), before);
    EXPECT_FALSE(fs::exists(appData() / "Recovery"));
  }
}

// The real file system, except that nothing can be written.
class WriteProtected final : public ForwardingFileSystem {
 public:
  WriteProtected() : ForwardingFileSystem(realFileSystem()) {}
  bool isWritable(const std::string&) override { return false; }
};

TEST_F(LibraryOnDiskTest, AReadOnlyLibraryIsReadAndNothingIsMoved) {
  WriteProtected readOnly;
  environment.files = &readOnly;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.isWriteProtected);
  EXPECT_TRUE(storage.notices.empty());
  EXPECT_TRUE(storage.repository->isReadOnly());
  EXPECT_EQ(storage.repository->projectSummaries().size(), 1u);
  EXPECT_THROW(storage.repository->archiveProject("kept"), DomainError);

  writeText(database(), "damaged, and read-only");
  try {
    AppContainer::bootStorage(environment);
    FAIL() << "a read-only library is never set aside";
  } catch (const LibraryUnavailableError& error) {
    EXPECT_EQ(error.reason(), LibraryUnavailableError::Reason::writeProtected);
  }
  EXPECT_EQ(readText(database()), "damaged, and read-only");
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
}

TEST_F(LibraryOnDiskTest, AFailureOfTheMomentNeverSetsALibraryAside) {
  const std::string before = readText(database());
  for (const int code : {SQLITE_IOERR_READ, SQLITE_CANTOPEN, SQLITE_NOMEM, SQLITE_BUSY}) {
    SCOPED_TRACE(code);
    failingOpens = 1;
    failingCode = code;
    const BootedStorage storage = AppContainer::bootStorage(environment);
    EXPECT_TRUE(storage.isFallback);
    EXPECT_EQ(storage.fallbackCause,
              code == SQLITE_BUSY ? FallbackCause::busy : FallbackCause::unavailable);
  }
  EXPECT_EQ(readText(database()), before);
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
  EXPECT_EQ(repairs, 0) << "no repair was even begun";
}

TEST_F(LibraryOnDiskTest, WhatLooksDamagedIsLookedAtAgainUnderTheLockBeforeItIsSetAside) {
  // The first look fails as a damaged file would (a race with a writer, a
  // file being copied in); under the lock the library opens: it stays.
  failingOpens = 1;
  failingCode = SQLITE_NOTADB;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.notices.empty());
  EXPECT_EQ(repairs, 1);
  EXPECT_FALSE(fs::exists(appData() / "Recovery"));
  EXPECT_EQ(projectNames(), Names{"Years of work"});
}

TEST_F(LibraryOnDiskTest, AReadOnlyLibraryWhoseRowsAwaitNormalisingIsStillRead) {
  {
    SQLiteDatabase db(database().string());
    db.exec("UPDATE projects SET projectTitle = '';");
  }
  WriteProtected readOnly;
  environment.files = &readOnly;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  ASSERT_EQ(storage.repository->projectSummaries().size(), 1u);
  EXPECT_EQ(storage.repository->load("kept")->project.projectTitle, "Portfolio")
      << "loading gives the defaults the migration would write";
}

TEST_F(AppContainerTest, ReadingBeforeThereIsALibraryMakesNothing) {
  environment.access = StorageAccess::read;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_FALSE(storage.isFallback);
  EXPECT_TRUE(storage.isEmptyStandIn);
  EXPECT_TRUE(storage.repository->projectSummaries().empty());
  EXPECT_FALSE(fs::exists(dir.path() / "support")) << "no folder, no file";
}

TEST_F(AppContainerTest, AReaderBringsAnOlderLibraryUpToDateThenReadsWithoutWriting) {
  fs::create_directories(appData());
  {
    SQLiteDatabase db(database().string());
    db.exec(
        "CREATE TABLE projects (id TEXT PRIMARY KEY, kind TEXT NOT NULL, title TEXT, "
        "locale TEXT NOT NULL, currency TEXT, unit TEXT NOT NULL, createdAt INTEGER, "
        "updatedAt INTEGER); INSERT INTO projects VALUES('old', 'portfolio', 'Old', 'en', "
        "NULL, 'cm', 1, 2);");
  }
  environment.access = StorageAccess::read;
  const BootedStorage storage = AppContainer::bootStorage(environment);
  EXPECT_TRUE(storage.notices.empty());
  EXPECT_TRUE(storage.repository->isReadOnly());
  ASSERT_EQ(storage.repository->projectSummaries().size(), 1u);
  EXPECT_EQ(storage.repository->projectSummaries()[0].projectName, "Old");
}

TEST_F(AppContainerTest, ALogBesideAnEmptyDatabaseIsCopiedBeforeSQLiteCanDropIt) {
  writeText(database(), "");
  writeText(database().string() + "-wal", "pages that only the log holds");
  const BootedStorage storage = AppContainer::bootStorage(environment);
  ASSERT_EQ(storage.notices.size(), 1u);
  EXPECT_EQ(readText(fs::path(storage.notices[0].arguments[0]) / "quorvane.sqlite-wal"),
            "pages that only the log holds");
}

TEST_F(AppContainerTest, AFailedCopyLeavesNoCopyAndAFailedRemovalKeepsTheCopy) {
  writeText(database(), "damaged");
  writeText(database().string() + "-wal", "log");
  const fs::path root = dir.path() / "root";

  files.failAt("copy", 2);  // the "-wal"
  EXPECT_THROW(AppContainer::archiveDatabaseForRecovery(files, database().string(), root.string(),
                                                        clock.now(), "A"),
               std::system_error);
  EXPECT_EQ(namesIn(root), Names{}) << "the half-made copy is removed";
  EXPECT_EQ(readText(database()), "damaged");

  files.failAt("remove", 1);  // the first source to go, the "-wal"
  EXPECT_THROW(AppContainer::archiveDatabaseForRecovery(files, database().string(), root.string(),
                                                        clock.now(), "B"),
               std::system_error);
  const fs::path copy = root / ("sqlite-recovery-" + std::to_string(clock.nowMs()) + "-B");
  EXPECT_EQ(namesIn(copy), (Names{"manifest.json", "quorvane.sqlite", "quorvane.sqlite-wal"}))
      << "a verified copy is never removed";
  EXPECT_EQ(readText(database()), "damaged");
}

TEST_F(AppContainerTest, TwoCopiesInOneMillisecondGetTwoDirectories) {
  const fs::path root = dir.path() / "root";
  for (const char* uuid : {"A", "B"}) {
    writeText(database(), "damaged");
    ASSERT_TRUE(AppContainer::archiveDatabaseForRecovery(files, database().string(), root.string(),
                                                         clock.now(), uuid));
  }
  const std::string ms = std::to_string(clock.nowMs());
  EXPECT_EQ(namesIn(root), (Names{"sqlite-recovery-" + ms + "-A", "sqlite-recovery-" + ms + "-B"}));
  EXPECT_EQ(AppContainer::archiveDatabaseForRecovery(files, database().string(), root.string(),
                                                     clock.now(), "C"),
            std::nullopt)
      << "nothing left to copy";
}

TEST_F(AppContainerTest, ContentsAreComparedChunkByChunk) {
  const std::string big(3 * 1024 * 1024 + 7, 'a');
  std::string differentInThirdChunk = big;
  differentInThirdChunk[2 * 1024 * 1024 + 5] = 'b';
  writeText(dir.path() / "one", big);
  writeText(dir.path() / "two", big);
  writeText(dir.path() / "three", differentInThirdChunk);
  writeText(dir.path() / "short", big.substr(0, big.size() - 1));
  writeText(dir.path() / "empty1", "");
  writeText(dir.path() / "empty2", "");
  const auto same = [&](const char* a, const char* b) {
    return AppContainer::filesHaveIdenticalContents(files, dir.file(a), dir.file(b));
  };
  EXPECT_TRUE(same("one", "two"));
  EXPECT_FALSE(same("one", "three"));
  EXPECT_FALSE(same("one", "short"));
  EXPECT_TRUE(same("empty1", "empty2"));
  EXPECT_EQ(AppContainer::fileByteSize(files, dir.file("one")), big.size());
  EXPECT_THROW(same("one", "missing"), std::system_error);
}

}  // namespace
}  // namespace quorvane
