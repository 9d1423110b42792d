#include "storage/side_files.h"

#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace quorvane::testing {
namespace {

void run(sqlite3* db, const std::string& sql) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    const std::string text = message != nullptr ? message : "exec failed";
    sqlite3_free(message);
    throw std::runtime_error(text);
  }
}

}  // namespace

void makeForeignWriteAheadLog(const std::string& path, const std::string& walCopy, int rows) {
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  run(db, "PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;");
  run(db, "CREATE TABLE notes(id INTEGER PRIMARY KEY, body TEXT);");
  for (int i = 0; i < rows; ++i) {
    run(db, "INSERT INTO notes(body) VALUES('note " + std::to_string(i) + "');");
  }
  std::filesystem::copy_file(path + "-wal", walCopy,
                             std::filesystem::copy_options::overwrite_existing);
  sqlite3_close(db);
}

void leaveHotJournal(const std::string& path, const std::string& sql) {
  const pid_t child = ::fork();
  if (child == 0) {
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) ::_exit(2);
    if (sqlite3_exec(db, ("PRAGMA cache_size = 1; BEGIN IMMEDIATE; " + sql).c_str(), nullptr,
                     nullptr, nullptr) != SQLITE_OK) {
      ::_exit(3);
    }
    ::raise(SIGKILL);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!WIFSIGNALED(status)) throw std::runtime_error("the writer ended instead of being killed");
  if (!std::filesystem::exists(path + "-journal")) {
    throw std::runtime_error("the killed writer left no journal");
  }
}

}  // namespace quorvane::testing
