// The shape of the library database and the one procedure that brings any
// earlier shape up to it.
//
// There is no version number that selects steps: every step of `migrate`
// looks at the database itself (`sqlite_master`, `PRAGMA table_info`) or is
// written so that running it again changes nothing. It therefore runs at
// every start, before anything else touches the database.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "storage/sqlite_database.h"

namespace quorvane {

// The mark of a Quorvane library in the database header ("QRV1"), set at
// creation and by the migration. A database carrying another mark is some
// other program's and is never written to.
inline constexpr std::int32_t kQuorvaneApplicationId = 0x51525631;

// What a look at a database, through a connection that may be read-only,
// tells about it.
struct SchemaAssessment {
  // The database is a Quorvane library (marked, or unmarked with our
  // tables, as older versions left it) or empty.
  bool isOurs = false;
  // Its shape is one `migrate` can bring up to date; false with `problem`
  // telling why (a foreign table shape, a newer version's library).
  bool canMigrate = false;
  // Migrating would change something; false for a library in current shape.
  bool needsMigration = false;
  // A table or column is missing: the library can't be read until migrated.
  // (Rows that the migration would normalise, and an unmarked library, read
  // well as they are.)
  bool needsSchemaChange = false;
  // schema_version holds a version above ours: a newer program made it.
  bool isNewer = false;
  std::string problem;
};

// Reads only. Throws the SQLite error when the database can't be read.
SchemaAssessment assessSchema(SQLiteDatabase& db);

// Throws when the database lacks a table or column of the current shape.
void verifyCurrentShape(SQLiteDatabase& db);

// Every table, created only when missing, and the seed row of schema_version.
extern const std::string_view kSchemaScript;

// Brings the database to the current shape and marks it as ours. The caller
// runs it inside one immediate transaction; any failure throws and must roll
// everything back. A shape it can't bring up to date (a table of ours without
// a column no version left out) fails after the steps, so it is rolled back
// too: a database is never left half-migrated.
void migrate(SQLiteDatabase& db);

// Whether `table` has a column named exactly `column` (case-sensitive). A
// table that does not exist has no columns.
bool hasColumn(SQLiteDatabase& db, std::string_view table, std::string_view column);

}  // namespace quorvane
