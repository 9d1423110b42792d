#include "storage/sqlite_database.h"

#include <limits>

namespace quorvane {
namespace {

// SQLite refuses a NULL pointer for a zero-length blob (it binds NULL then);
// any valid address with length 0 binds an empty blob.
constexpr std::uint8_t kEmptyBlob = 0;

DomainError databaseError(int code, const std::string& description, int sqliteResultCode) {
  return DomainError(std::string(kSQLiteDatabaseDomain), code, description, sqliteResultCode);
}

}  // namespace

DomainError statementFailure(int resultCode, int extendedResultCode) {
  return DomainError(std::string(kSQLiteSnapshotRepositoryDomain), resultCode,
                     "SQLite statement failed with code " + std::to_string(resultCode),
                     extendedResultCode != 0 ? extendedResultCode : resultCode);
}

// --- Statement ---------------------------------------------------------------

void Statement::check(int resultCode) const {
  if (resultCode != SQLITE_OK) throw failure(resultCode);
}

DomainError Statement::failure(int resultCode) const {
  // The connection's extended code tells a full disk from a busy database.
  const int extended = sqlite3_extended_errcode(sqlite3_db_handle(handle()));
  return statementFailure(resultCode, (extended & 0xFF) == (resultCode & 0xFF) ? extended : 0);
}

void Statement::bindText(int index, std::string_view text) {
  // A default string_view has no address, which SQLite would bind as NULL.
  const char* characters = text.data() != nullptr ? text.data() : "";
  check(
      sqlite3_bind_text64(handle(), index, characters, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bindOptionalText(int index, const std::optional<std::string>& text) {
  if (text) {
    bindText(index, std::string_view(*text));
  } else {
    bindNull(index);
  }
}

void Statement::bindInt64(int index, std::int64_t value) {
  check(sqlite3_bind_int64(handle(), index, value));
}

void Statement::bindInt64(int index, std::optional<std::int64_t> value) {
  if (value) {
    bindInt64(index, *value);
  } else {
    bindNull(index);
  }
}

void Statement::bindDouble(int index, std::optional<double> value) {
  if (value) {
    check(sqlite3_bind_double(handle(), index, *value));
  } else {
    bindNull(index);
  }
}

void Statement::bindBlob(int index, std::span<const std::uint8_t> bytes) {
  const void* data = bytes.empty() ? &kEmptyBlob : bytes.data();
  check(sqlite3_bind_blob64(handle(), index, data, bytes.size(), SQLITE_TRANSIENT));
}

void Statement::bindNull(int index) { check(sqlite3_bind_null(handle(), index)); }

int Statement::step() { return sqlite3_step(handle()); }

void Statement::stepStrict() {
  const int result = step();
  if (result != SQLITE_DONE) throw failure(result);
}

bool Statement::nextRow() {
  const int result = step();
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  throw failure(result);
}

void Statement::reset() { sqlite3_reset(handle()); }

void Statement::clearBindings() { sqlite3_clear_bindings(handle()); }

bool Statement::isNull(int column) const {
  return sqlite3_column_type(handle(), column) == SQLITE_NULL;
}

std::optional<std::string> Statement::text(int column) const {
  if (isNull(column)) return std::nullopt;
  const auto* characters = sqlite3_column_text(handle(), column);
  const int length = sqlite3_column_bytes(handle(), column);
  if (characters == nullptr) return std::string();
  return std::string(reinterpret_cast<const char*>(characters), static_cast<std::size_t>(length));
}

std::string Statement::textOrEmpty(int column) const { return text(column).value_or(""); }

std::optional<std::int64_t> Statement::int64(int column) const {
  if (isNull(column)) return std::nullopt;
  return sqlite3_column_int64(handle(), column);
}

std::optional<double> Statement::real(int column) const {
  if (isNull(column)) return std::nullopt;
  return sqlite3_column_double(handle(), column);
}

std::vector<std::uint8_t> Statement::blob(int column) const {
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle(), column));
  const int length = sqlite3_column_bytes(handle(), column);
  if (data == nullptr || length <= 0) return {};
  return std::vector<std::uint8_t>(data, data + length);
}

// --- SQLiteDatabase -----------------------------------------------------------

SQLiteDatabase::SQLiteDatabase(const std::string& path, Access access, int busyTimeoutMs) {
  sqlite3* raw = nullptr;
  const int flags = access == Access::readOnly ? SQLITE_OPEN_READONLY
                                               : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  const int result = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  db_.reset(raw);  // closed by the owner on every path, also when opening failed
  if (result != SQLITE_OK) {
    const int code = raw != nullptr ? sqlite3_extended_errcode(raw) : result;
    db_.reset();
    throw databaseError(1, "Unable to open database", code);
  }
  // Another process writing holds the database for a few milliseconds per
  // commit: wait for it rather than failing the user's command.
  sqlite3_busy_timeout(handle(), busyTimeoutMs);
  exec("PRAGMA foreign_keys = ON;");
}

void SQLiteDatabase::exec(const std::string& sql) {
  char* message = nullptr;
  const int result = sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, &message);
  if (result == SQLITE_OK) return;
  std::string description = message != nullptr ? message : "SQLite exec error";
  sqlite3_free(message);
  throw databaseError(2, description, sqlite3_extended_errcode(handle()));
}

Statement SQLiteDatabase::prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(handle(), sql.c_str(), -1, &statement, nullptr);
  if (result != SQLITE_OK || statement == nullptr) {
    sqlite3_finalize(statement);
    throw databaseError(3, sqlite3_errmsg(handle()),
                        result != SQLITE_OK ? sqlite3_extended_errcode(handle()) : SQLITE_MISUSE);
  }
  return Statement(statement);
}

int SQLiteDatabase::changes() const { return sqlite3_changes(handle()); }

bool SQLiteDatabase::isReadOnly() const { return sqlite3_db_readonly(handle(), "main") == 1; }

bool executeWithOptionalTexts(SQLiteDatabase& db, const std::string& sql,
                              const std::vector<std::optional<std::string>>& texts) {
  Statement statement = db.prepare(sql);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const int index = static_cast<int>(i + 1);
    const int result = texts[i]
                           ? sqlite3_bind_text64(statement.handle(), index, texts[i]->data(),
                                                 texts[i]->size(), SQLITE_TRANSIENT, SQLITE_UTF8)
                           : sqlite3_bind_null(statement.handle(), index);
    if (result != SQLITE_OK) return false;
  }
  statement.stepStrict();
  return sqlite3_changes(sqlite3_db_handle(statement.handle())) == 1;
}

namespace detail {
void rollbackQuietly(SQLiteDatabase& db, const char* rollbackSql) noexcept {
  try {
    db.exec(rollbackSql);
  } catch (...) {
  }
}
}  // namespace detail

}  // namespace quorvane
