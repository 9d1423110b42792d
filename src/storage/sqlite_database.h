// A thin owner of one SQLite connection and of the statements prepared on it.
//
// `SQLiteDatabase` opens the library file with foreign keys enforced and a
// busy timeout, runs SQL scripts and prepares statements; the journal stays
// SQLite's rollback journal. Failures are thrown as `DomainError`s, which
// keep SQLite's extended result code:
//
//   "SQLiteDatabase" 1  "Unable to open database"            opening
//   "SQLiteDatabase" 2  SQLite's message, else "SQLite exec error"   exec
//   "SQLiteDatabase" 3  the connection's current error message      prepare
//   "SQLiteSnapshotRepository" <result code>
//       "SQLite statement failed with code <code>"    a failed statement step
//
// Neither class is thread-safe: the snapshot repository owns the only
// connection to the library and serialises every use of it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/domain_error.h"

namespace quorvane {

inline constexpr std::string_view kSQLiteDatabaseDomain = "SQLiteDatabase";
inline constexpr std::string_view kSQLiteSnapshotRepositoryDomain = "SQLiteSnapshotRepository";

// The error of a statement whose step (or bind) returned `resultCode`;
// `extendedResultCode`, when known, says more (SQLITE_IOERR_WRITE, …).
DomainError statementFailure(int resultCode, int extendedResultCode = 0);

// One prepared statement; finalised when it goes out of scope. Parameters
// are 1-based, columns 0-based, as in SQLite's C interface.
class Statement {
 public:
  explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}

  // Binding copies texts and blobs. A failed bind throws `statementFailure`.
  void bindText(int index, std::string_view text);
  void bindOptionalText(int index, const std::optional<std::string>& text);  // NULL when absent
  void bindInt64(int index, std::int64_t value);
  void bindInt64(int index, std::optional<std::int64_t> value);   // NULL when absent
  void bindDouble(int index, std::optional<double> value);        // NULL when absent
  void bindBlob(int index, std::span<const std::uint8_t> bytes);  // empty stays a blob
  void bindNull(int index);

  // One raw step; the SQLite result code.
  int step();
  // One step that must finish the statement (SQLITE_DONE); anything else,
  // including a row, throws `statementFailure` with the step's code.
  void stepStrict();
  // Steps to the next row: true on a row, false when done; an error throws.
  bool nextRow();
  // Makes the statement ready to run again; bindings are kept.
  void reset();
  void clearBindings();

  bool isNull(int column) const;
  std::optional<std::string> text(int column) const;  // absent when NULL
  std::string textOrEmpty(int column) const;
  std::optional<std::int64_t> int64(int column) const;  // absent when NULL
  std::optional<double> real(int column) const;         // absent when NULL
  std::vector<std::uint8_t> blob(int column) const;     // empty when NULL

  sqlite3_stmt* handle() const { return statement_.get(); }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  void check(int resultCode) const;
  DomainError failure(int resultCode) const;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// How long a statement waits for another connection (of this process or
// another) to release the database before it fails as busy.
inline constexpr int kDefaultBusyTimeoutMs = 5000;

class SQLiteDatabase {
 public:
  enum class Access {
    readWrite,  // created when missing
    readOnly,   // never written, not even to roll back a hot journal
  };

  // Opens the database file at `path` and turns foreign-key enforcement on.
  // A statement that finds the database locked by another connection waits
  // up to `busyTimeoutMs` before it fails. Throws code 1 when the file can't
  // be opened; no handle stays open then.
  explicit SQLiteDatabase(const std::string& path, Access access = Access::readWrite,
                          int busyTimeoutMs = kDefaultBusyTimeoutMs);

  SQLiteDatabase(SQLiteDatabase&&) noexcept = default;
  SQLiteDatabase& operator=(SQLiteDatabase&&) noexcept = default;

  // Runs one or more semicolon-separated statements, discarding any rows.
  void exec(const std::string& sql);

  // Compiles one statement. Empty SQL (no statement) fails like bad SQL.
  Statement prepare(const std::string& sql);

  // Rows changed by the most recently finished INSERT, UPDATE or DELETE.
  int changes() const;

  // True when the connection can't write (opened read-only).
  bool isReadOnly() const;

  sqlite3* handle() const { return db_.get(); }

 private:
  struct Closer {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };
  std::unique_ptr<sqlite3, Closer> db_;
};

// Prepares `sql`, binds `texts` in order (absent binds NULL), steps strictly
// and answers whether exactly one row changed. A text that can't be bound
// stops binding and nothing is run: the answer is then false.
bool executeWithOptionalTexts(SQLiteDatabase& db, const std::string& sql,
                              const std::vector<std::optional<std::string>>& texts);

namespace detail {
// Runs `rollbackSql`, dropping any error of its own: the error that made us
// roll back is the one the caller must see.
void rollbackQuietly(SQLiteDatabase& db, const char* rollbackSql) noexcept;

// Results are returned by value: a reference into the body's locals would
// dangle.
template <typename Body>
auto inTransaction(SQLiteDatabase& db, const char* beginSql, const char* commitSql,
                   const char* rollbackSql, Body&& body)
    -> std::decay_t<std::invoke_result_t<Body&>> {
  db.exec(beginSql);
  try {
    if constexpr (std::is_void_v<std::invoke_result_t<Body&>>) {
      body();
      db.exec(commitSql);
    } else {
      auto result = body();
      db.exec(commitSql);
      return result;
    }
  } catch (...) {
    rollbackQuietly(db, rollbackSql);
    throw;
  }
}
}  // namespace detail

// Runs `body` between "BEGIN IMMEDIATE TRANSACTION;" and "COMMIT;". When the
// body or the commit throws, the transaction is rolled back and that error is
// rethrown; a failing rollback never replaces it. Returns the body's result.
template <typename Body>
auto withImmediateTransaction(SQLiteDatabase& db, Body&& body) {
  return detail::inTransaction(db, "BEGIN IMMEDIATE TRANSACTION;", "COMMIT;", "ROLLBACK;",
                               std::forward<Body>(body));
}

// The same for reads that must see one consistent state of the database.
template <typename Body>
auto withDeferredTransaction(SQLiteDatabase& db, Body&& body) {
  return detail::inTransaction(db, "BEGIN DEFERRED TRANSACTION", "COMMIT", "ROLLBACK",
                               std::forward<Body>(body));
}

}  // namespace quorvane
