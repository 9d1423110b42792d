// Real side files of SQLite databases, made the way they are made in the
// field: a write-ahead log of another database, and the journal a writer
// leaves behind when it is killed in the middle of a transaction.
#pragma once

#include <string>

namespace quorvane::testing {

// Makes a database at `path` in write-ahead-log mode holding `rows` rows,
// and copies its "-wal" (with frames not yet checkpointed) to `walCopy`.
void makeForeignWriteAheadLog(const std::string& path, const std::string& walCopy, int rows);

// In a child process that is then killed: opens `path`, runs `sql` inside a
// transaction it never commits, with a cache so small that the changed pages
// reach the file. The database's "-journal" stays behind, hot.
void leaveHotJournal(const std::string& path, const std::string& sql);

}  // namespace quorvane::testing
