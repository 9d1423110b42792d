#include "app/failure_text.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <system_error>

#include "platform/domain_error.h"

namespace quorvane {
namespace {

TEST(FailureTextTest, TheLibrarysFailuresAreToldInWordsWithTheirCodesKeptForDiagnostics) {
  const auto told = [](int code) {
    return failureText(DomainError("SQLiteDatabase", 2, "raw message", code), "en");
  };
  EXPECT_EQ(told(SQLITE_BUSY), "the library is busy: another program kept it for too long");
  EXPECT_EQ(told(SQLITE_FULL), "the disk is full");
  EXPECT_EQ(told(SQLITE_READONLY_DBMOVED), "the library can’t be written (it is read-only)");
  EXPECT_EQ(told(SQLITE_CONSTRAINT_FOREIGNKEY), "the change does not fit what the library holds");
  EXPECT_EQ(told(SQLITE_IOERR_FSYNC), "the disk could not be read or written");
  EXPECT_EQ(told(SQLITE_NOTADB), "the library is damaged");
  EXPECT_EQ(failureText(DomainError("SQLiteSnapshotRepository", 13,
                                    "SQLite statement failed with "
                                    "code 13"),
                        "fr"),
            "le disque est plein")
      << "a statement's code is SQLite's";
  EXPECT_EQ(failureText(DomainError("Other", 7, "as it was said"), "en"), "as it was said");

  EXPECT_EQ(failureText(std::system_error(ENOSPC, std::generic_category(), "write x"), "de"),
            "der Datenträger ist voll");
  EXPECT_EQ(failureText(std::system_error(ENOENT, std::generic_category(), "open x"), "en"),
            "No such file or directory");

  EXPECT_EQ(
      failureDiagnostic(DomainError("SQLiteDatabase", 2, "database or disk is full", SQLITE_FULL)),
      "app error domain=SQLiteDatabase code=2 sqlite=13 "
      "description=database or disk is full");
}

}  // namespace
}  // namespace quorvane
