#include "storage/sql_helpers.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace quorvane::testing {
namespace {

std::string cellText(const Statement& row, int column) {
  switch (sqlite3_column_type(row.handle(), column)) {
    case SQLITE_NULL:
      return "NULL";
    case SQLITE_INTEGER:
      return std::to_string(*row.int64(column));
    case SQLITE_FLOAT: {
      char buffer[40];
      std::snprintf(buffer, sizeof buffer, "%.17g", *row.real(column));
      return buffer;
    }
    case SQLITE_BLOB: {
      const std::vector<std::uint8_t> bytes = row.blob(column);
      std::uint32_t hash = 2166136261u;
      for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 16777619u;
      return "blob(" + std::to_string(bytes.size()) + "," + std::to_string(hash) + ")";
    }
    default:
      return "'" + row.textOrEmpty(column) + "'";
  }
}

}  // namespace

std::string dumpDatabase(SQLiteDatabase& db) {
  std::string dump;
  const std::vector<std::string> tables =
      queryColumn(db, "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name");
  for (const std::string& table : tables) {
    dump += queryValue(db, "SELECT sql FROM sqlite_master WHERE name='" + table + "'") + "\n";
    Statement rows = db.prepare("SELECT * FROM " + table + " ORDER BY rowid");
    while (rows.nextRow()) {
      dump += "  ";
      for (int i = 0; i < sqlite3_column_count(rows.handle()); ++i) {
        dump += cellText(rows, i) + " ";
      }
      dump += "\n";
    }
  }
  return dump;
}

std::vector<std::string> queryColumn(SQLiteDatabase& db, const std::string& sql) {
  Statement rows = db.prepare(sql);
  std::vector<std::string> values;
  while (rows.nextRow()) values.push_back(rows.text(0).value_or("NULL"));
  return values;
}

std::string queryValue(SQLiteDatabase& db, const std::string& sql) {
  const std::vector<std::string> values = queryColumn(db, sql);
  return values.empty() ? "<no row>" : values.front();
}

void expectSoundDatabase(SQLiteDatabase& db) {
  EXPECT_EQ(queryColumn(db, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
  EXPECT_EQ(queryColumn(db, "PRAGMA foreign_key_check"), std::vector<std::string>{});
}

}  // namespace quorvane::testing
