// A look at the library's files before SQLite may write to them or replay
// anything into them.
//
// SQLite replays whatever "-wal" file it finds beside a database, and rolls
// back whatever hot "-journal" it finds, without asking whose they are: a
// write-ahead log that a user copied in from another database would replace
// the library's pages. The library never uses write-ahead logging (it keeps
// SQLite's rollback journal), so a "-wal" beside a library in rollback mode
// is never its own; a "-journal" is its own only when the page it saved of
// the database's header is a Quorvane library's header. Files that are not
// the library's own are set aside into a verified recovery copy, and the
// library is left as it is.
//
// Nothing here writes; the boot (app_container) acts on what is found.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace quorvane {

struct LibraryFiles {
  enum class Condition {
    absent,     // no database yet (or an empty file): a new library starts
    database,   // an SQLite database, to be looked at through SQLite next
    notSQLite,  // not an SQLite database at all
  };
  Condition condition = Condition::absent;
  // The library can't be written: the file, or the folder its journal goes
  // into, is read-only.
  bool readOnly = false;
  // The database header says write-ahead logging: someone switched it on.
  bool usesWriteAheadLog = false;
  // "-wal", "-shm" and "-journal" files beside the database that are not its
  // own and must be set aside before SQLite opens it, with why.
  std::vector<std::string> strayFiles;
  std::string strayReason;
  // Empty side files that hold nothing to replay; removing them loses nothing.
  std::vector<std::string> emptySideFiles;
};

// Reads the database's header and its side files. File-system errors other
// than absence are thrown.
LibraryFiles inspectLibraryFiles(FileSystem& files, const std::string& databasePath);

// The application id written in a database header (offset 68), or nothing
// when `header` is too short to hold one.
std::optional<std::int32_t> headerApplicationId(const Bytes& header);

}  // namespace quorvane
