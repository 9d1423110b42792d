// SQL helpers for storage tests: a text dump of a whole database, one-column
// queries, and the check that a database file is sound.
#pragma once

#include <string>
#include <vector>

#include "storage/sqlite_database.h"

namespace quorvane::testing {

// Every table's definition and rows, in a stable order, as text.
std::string dumpDatabase(SQLiteDatabase& db);

// One column of one query, as text ("NULL" for NULL).
std::vector<std::string> queryColumn(SQLiteDatabase& db, const std::string& sql);
std::string queryValue(SQLiteDatabase& db, const std::string& sql);

// PRAGMA integrity_check says "ok" and foreign_key_check finds nothing.
void expectSoundDatabase(SQLiteDatabase& db);

}  // namespace quorvane::testing
