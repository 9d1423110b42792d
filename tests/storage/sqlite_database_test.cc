#include "storage/sqlite_database.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "storage/sql_helpers.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using testing::queryColumn;
using testing::queryValue;
using testing::TempDir;

// Runs `action` and hands back the DomainError it must throw.
template <typename Action>
DomainError errorOf(Action&& action) {
  try {
    action();
  } catch (const DomainError& error) {
    return error;
  }
  ADD_FAILURE() << "no DomainError was thrown";
  return DomainError("none", 0, "");
}

class SQLiteDatabaseTest : public ::testing::Test {
 protected:
  void TearDown() override { testing::expectSoundDatabase(db); }

  TempDir dir;
  SQLiteDatabase db{dir.file("library.sqlite")};
};

TEST(SQLiteDatabaseOpenTest, AFolderThatDoesNotExistCannotBeOpened) {
  TempDir dir;
  const DomainError error =
      errorOf([&] { SQLiteDatabase db(dir.file("missing/folder/library.sqlite")); });
  EXPECT_EQ(error.domain(), "SQLiteDatabase");
  EXPECT_EQ(error.code(), 1);
}

TEST_F(SQLiteDatabaseTest, OpensWithForeignKeysABusyTimeoutAndTheRollbackJournal) {
  EXPECT_EQ(queryValue(db, "PRAGMA foreign_keys"), "1");
  EXPECT_EQ(queryValue(db, "PRAGMA journal_mode"), "delete");
  EXPECT_EQ(queryValue(db, "PRAGMA busy_timeout"), std::to_string(kDefaultBusyTimeoutMs));
  EXPECT_FALSE(db.isReadOnly());
}

TEST_F(SQLiteDatabaseTest, AReadOnlyConnectionReadsAndRefusesEveryWrite) {
  db.exec("CREATE TABLE t(x INTEGER); INSERT INTO t VALUES(1);");
  SQLiteDatabase reader(dir.file("library.sqlite"), SQLiteDatabase::Access::readOnly);
  EXPECT_TRUE(reader.isReadOnly());
  EXPECT_EQ(queryValue(reader, "SELECT x FROM t"), "1");
  const DomainError refused = errorOf([&] { reader.exec("INSERT INTO t VALUES(2);"); });
  EXPECT_EQ(refused.code(), 2);
  EXPECT_EQ(refused.sqliteResultCode() & 0xFF, SQLITE_READONLY);

  const DomainError missing = errorOf(
      [&] { SQLiteDatabase nothing(dir.file("absent.sqlite"), SQLiteDatabase::Access::readOnly); });
  EXPECT_EQ(missing.code(), 1);
  EXPECT_FALSE(std::filesystem::exists(dir.file("absent.sqlite"))) << "reading creates nothing";
}

TEST_F(SQLiteDatabaseTest, ReportsFailuresWithTheirDomainAndCode) {
  const DomainError badScript = errorOf([&] { db.exec("CREATE TABLEX broken;"); });
  EXPECT_EQ(badScript.domain(), "SQLiteDatabase");
  EXPECT_EQ(badScript.code(), 2);
  for (const char* sql : {"", "SELECT * FROM nowhere"}) {
    const DomainError refused = errorOf([&] { db.prepare(sql); });
    EXPECT_EQ(refused.domain(), "SQLiteDatabase") << sql;
    EXPECT_EQ(refused.code(), 3) << sql;
  }
}

TEST_F(SQLiteDatabaseTest, AStrictStepRefusesEverythingButTheEndOfTheStatement) {
  Statement select = db.prepare("SELECT 1");
  const DomainError row = errorOf([&] { select.stepStrict(); });
  EXPECT_EQ(row.domain(), "SQLiteSnapshotRepository");
  EXPECT_EQ(row.code(), 100);

  db.exec("CREATE TABLE t(x TEXT NOT NULL);");
  Statement insert = db.prepare("INSERT INTO t(x) VALUES(NULL)");
  const DomainError refused = errorOf([&] { insert.stepStrict(); });
  EXPECT_EQ(refused.code(), SQLITE_CONSTRAINT);
  EXPECT_EQ(refused.sqliteResultCode(), SQLITE_CONSTRAINT_NOTNULL) << "the extended code is kept";

  Statement fine = db.prepare("INSERT INTO t(x) VALUES('a')");
  fine.stepStrict();
  EXPECT_EQ(queryValue(db, "SELECT COUNT(*) FROM t"), "1");
}

TEST_F(SQLiteDatabaseTest, TextsKeepEveryByte) {
  db.exec("CREATE TABLE t(s TEXT);");
  Statement insert = db.prepare("INSERT INTO t(s) VALUES(?)");
  const std::string withNul("a\0b", 3);
  insert.bindText(1, withNul);
  insert.stepStrict();
  Statement select = db.prepare("SELECT s FROM t");
  ASSERT_TRUE(select.nextRow());
  EXPECT_EQ(select.text(0), withNul);

  Statement empty = db.prepare("SELECT typeof(?)");
  empty.bindText(1, std::string_view());
  ASSERT_TRUE(empty.nextRow());
  EXPECT_EQ(empty.text(0), "text") << "an empty text is a text, not NULL";
}

TEST_F(SQLiteDatabaseTest, ExecuteWithOptionalTextsTellsWhetherExactlyOneRowChanged) {
  db.exec("CREATE TABLE t(a TEXT, b TEXT); INSERT INTO t VALUES('x', 'y'), ('x', 'z');");
  EXPECT_TRUE(executeWithOptionalTexts(db, "INSERT INTO t(a, b) VALUES(?, ?)",
                                       {std::string("w"), std::nullopt}));
  EXPECT_EQ(queryValue(db, "SELECT COALESCE(b, 'null') FROM t WHERE a = 'w'"), "null");
  EXPECT_FALSE(executeWithOptionalTexts(db, "UPDATE t SET b = ? WHERE a = ?",
                                        {std::string("v"), std::string("x")}));
  EXPECT_FALSE(executeWithOptionalTexts(db, "UPDATE t SET b = ? WHERE a = ?",
                                        {std::string("v"), std::string("none")}));
  // More texts than parameters: the extra bind fails and nothing runs.
  EXPECT_FALSE(executeWithOptionalTexts(db, "DELETE FROM t WHERE a = ?",
                                        {std::string("w"), std::string("extra")}));
  EXPECT_EQ(queryValue(db, "SELECT COUNT(*) FROM t"), "3");
}

TEST_F(SQLiteDatabaseTest, AnImmediateTransactionCommitsOrLeavesNothingBehind) {
  db.exec("CREATE TABLE t(x INTEGER);");
  const int result = withImmediateTransaction(db, [&] {
    db.exec("INSERT INTO t VALUES(1);");
    return 42;
  });
  EXPECT_EQ(result, 42);

  EXPECT_THROW(withImmediateTransaction(db,
                                        [&] {
                                          db.exec("INSERT INTO t VALUES(2);");
                                          db.exec("INSERT INTO nowhere VALUES(3);");
                                        }),
               DomainError);
  EXPECT_EQ(queryColumn(db, "SELECT x FROM t"), std::vector<std::string>{"1"});
  EXPECT_EQ(queryValue(db, "SELECT 1"), "1") << "no transaction may be left open";
  withImmediateTransaction(db, [&] { db.exec("INSERT INTO t VALUES(4);"); });
}

TEST_F(SQLiteDatabaseTest, AFailedRollbackNeverHidesTheBodysError) {
  // The body ends the transaction itself, so the rollback that follows its
  // failure fails too ("no transaction is active").
  try {
    withImmediateTransaction(db, [&] {
      db.exec("ROLLBACK;");
      throw std::runtime_error("the body's own failure");
    });
    FAIL() << "the body's error was swallowed";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "the body's own failure");
  }
  try {
    withDeferredTransaction(db, [&]() -> int { throw DomainError("Test", 7, "deferred"); });
    FAIL();
  } catch (const DomainError& error) {
    EXPECT_EQ(error.code(), 7);
  }
}

TEST(SQLiteDatabaseBusyTest, AWriterThatKeepsTheDatabaseFailsOthersAsBusyAfterTheTimeout) {
  TempDir dir;
  SQLiteDatabase patient(dir.file("library.sqlite"), SQLiteDatabase::Access::readWrite, 20);
  SQLiteDatabase other(dir.file("library.sqlite"));
  other.exec("CREATE TABLE t(x INTEGER); BEGIN IMMEDIATE TRANSACTION; INSERT INTO t VALUES(1);");
  const DomainError busy = errorOf([&] { withImmediateTransaction(patient, [] {}); });
  EXPECT_EQ(busy.domain(), "SQLiteDatabase");
  EXPECT_EQ(busy.code(), 2);
  EXPECT_EQ(busy.sqliteResultCode() & 0xFF, SQLITE_BUSY);
  EXPECT_EQ(queryValue(patient, "SELECT COUNT(*) FROM t"), "0")
      << "a reader is not kept out by a writer that has not committed";
  other.exec("ROLLBACK;");
  withImmediateTransaction(patient, [] {});
}

}  // namespace
}  // namespace quorvane
