// The shape of the library database and the one procedure that brings any
// earlier shape up to it.
//
// There is no version number that selects steps: every step of `migrate`
// looks at the database itself (`sqlite_master`, `PRAGMA table_info`) or is
// written so that running it again changes nothing. It therefore runs at
// every start, before anything else touches the database.
#pragma once

#include <string>
#include <string_view>

#include "storage/sqlite_database.h"

namespace quorvane {

// Every table, created only when missing, and the seed row of schema_version.
extern const std::string_view kSchemaScript;

// Brings the database to the current shape. The caller runs it inside one
// immediate transaction; any failure throws and must roll everything back.
void migrate(SQLiteDatabase& db);

// Whether `table` has a column named exactly `column` (case-sensitive). A
// table that does not exist has no columns.
bool hasColumn(SQLiteDatabase& db, std::string_view table, std::string_view column);

}  // namespace quorvane
