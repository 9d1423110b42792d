// Puts the application's storage together at launch, and never leaves the
// user without a working application:
//
//   1. the library at <application support>/Quorvane/quorvane.sqlite with
//      its media folder beside it;
//   2. when the database can't be opened, its files are copied into
//      Recovery/sqlite-recovery-<ms>-<UUID>/ with a manifest, verified byte
//      for byte, removed, and a fresh library is started (the user is told
//      where the old one went);
//   3. when that fails too, an in-memory library with temporary media serves
//      this run (the user is told nothing will be kept);
//   4. only when even that fails does the program stop.
//
// Before SQLite opens the library, its files are looked at: a write-ahead
// log or journal beside it that is not its own is set aside into a verified
// recovery copy (SQLite would replay it into the library), and the library
// is left as it is. A database that is not ours, or whose tables this
// version can't bring up to date, is never changed: it goes to a recovery
// copy as a damaged one does. A library that can't be written (a read-only
// file or folder) is opened for reading and never moved; one made by a
// newer version is not touched at all.
//
// A damaged library is never thrown away: its files are removed only after
// their copy has been verified. Only a failure that shows damage (not an
// SQLite file, not ours, tables no version made) sets a library aside, and
// only when a look taken again under the library lock still shows it: a
// library that another process is writing, or a disk error of the moment,
// never does. Moving files (a recovery copy, a stray log) happens only
// under the lock. Reading creates nothing: a library not there yet reads as
// an empty one in memory.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/library_lock.h"
#include "platform/logger.h"
#include "platform/private_directory.h"
#include "storage/files_media_store.h"
#include "storage/sqlite_snapshot_repository.h"

namespace quorvane {

// Something the user must be told about the storage, as a localisation key
// and its arguments.
struct StorageNotice {
  std::string key;
  std::vector<std::string> arguments;

  bool operator==(const StorageNotice&) const = default;
};

inline constexpr std::string_view kRecoveryArchivedNotice = "storage.recovery.archived";
inline constexpr std::string_view kFallbackTemporaryNotice = "storage.fallback.temporary";
// Files beside the library that were not its own were set aside (argument:
// the recovery copy); the library itself was left as it was.
inline constexpr std::string_view kStrayFilesNotice = "storage.recovery.stray_files";

// What a run will do with the library: read it only, or change it too.
enum class StorageAccess { read, write };

// Why a run is on the temporary library.
enum class FallbackCause {
  none,
  busy,         // another process kept the library past the busy timeout
  unavailable,  // it could not be opened or created now (a disk, the system)
};

// Why the library can't be used as it is, in words the user can act on: a
// catalogue key ("storage.problem.media_not_folder") and its values.
struct LibraryProblem {
  std::string key;
  std::vector<std::string> arguments;

  bool operator==(const LibraryProblem&) const = default;
};

// The storage a run works on.
struct BootedStorage {
  // The temporary fallback's media folder: private, removed when the
  // storage goes (after the media store that uses it).
  std::unique_ptr<PrivateDirectory> fallbackFolder;
  std::unique_ptr<SQLiteSnapshotRepository> repository;
  std::unique_ptr<FilesMediaStore> media;
  std::string databasePath;  // ":memory:" on the temporary fallback
  bool isFallback = false;
  // The library's file or folder can't be written: it was opened for
  // reading whatever the access asked for, and nothing can be changed.
  bool isWriteProtected = false;
  // Reading found no library yet: an empty one in memory stands in, and no
  // file was made.
  bool isEmptyStandIn = false;
  FallbackCause fallbackCause = FallbackCause::none;
  // Why the run is on the temporary library; for a run that only reads,
  // what would keep a run that writes off the library.
  std::optional<LibraryProblem> problem;
  std::vector<StorageNotice> notices;
};

// The places and seams boot works with. `standard()` is the real machine.
struct BootEnvironment {
  std::string applicationSupportDirectory;
  std::string temporaryDirectory;
  std::string runtimeDirectory;  // preferred for private temporary folders
  FileSystem* files = nullptr;
  const Clock* clock = nullptr;
  Logger* logger = nullptr;
  std::function<std::string()> makeUuid;
  // Opens a database file (or ":memory:") and the repository on it, which
  // brings the schema up to date when the connection can write; throws when
  // either fails.
  std::function<std::unique_ptr<SQLiteSnapshotRepository>(const std::string& path,
                                                          SQLiteDatabase::Access access)>
      openRepository;
  // Reading opens the library through a connection that can't write (a
  // library in an older shape is brought up to date first).
  StorageAccess access = StorageAccess::write;
  // Takes the library lock for a repair that moves files, for a caller that
  // does not hold it already; empty when the caller holds it. Throws
  // LibraryBusyError when another process keeps it.
  std::function<std::unique_ptr<LibraryLock>()> lockForRepair;

  static BootEnvironment standard(Logger& logger = nullLogger(),
                                  StorageAccess access = StorageAccess::write);
};

// A library that must be left exactly as it is and can't be used in this
// run: made by a newer version, or needing a change (an update of its
// tables, a repair) that its read-only file or folder does not allow.
class LibraryUnavailableError : public std::runtime_error {
 public:
  enum class Reason { newerVersion, writeProtected };
  LibraryUnavailableError(Reason reason, std::string path, const std::string& what)
      : std::runtime_error(what), reason_(reason), path_(std::move(path)) {}
  Reason reason() const { return reason_; }
  const std::string& path() const { return path_; }

 private:
  Reason reason_;
  std::string path_;
};

// Why the persistent storage could not be put together.
class PersistentStoreBootError : public std::runtime_error {
 public:
  enum class Case { sqlite, media };
  PersistentStoreBootError(Case errorCase, std::exception_ptr underlying, const std::string& what)
      : std::runtime_error(what), case_(errorCase), underlying_(std::move(underlying)) {}
  Case errorCase() const { return case_; }
  const std::exception_ptr& underlying() const { return underlying_; }

 private:
  Case case_;
  std::exception_ptr underlying_;
};

// What keeps the library in `directory` from being used when its folder
// or its media folder is something other than a folder; nothing otherwise.
std::optional<LibraryProblem> mediaFolderProblem(FileSystem& files, const std::string& directory);

class AppContainer {
 public:
  // The storage of this run: persistent, recovered or temporary. Should
  // every way fail, the program stops with "Failed to boot app storage
  // (persistent + recovery + fallback): …". Throws LibraryUnavailableError
  // for a library that must be left alone, and LibraryBusyError when a
  // repair waits for the lock that another process keeps.
  static BootedStorage bootStorage(const BootEnvironment& environment);

  // The library and media at their places. Throws PersistentStoreBootError,
  // LibraryUnavailableError or LibraryBusyError.
  static BootedStorage bootPersistentStorage(const BootEnvironment& environment);

  // An in-memory library and media in a private folder made for this run
  // (under $XDG_RUNTIME_DIR, else the temporary folder), removed after it.
  static BootedStorage bootFallbackStorage(const BootEnvironment& environment);

  // After a failed persistent start: the library set aside and a new one
  // started when the failure shows damage (and still does under the lock),
  // or the start tried once more when there is nothing to set aside;
  // nothing when the run must go on the temporary library, `cause` saying why.
  static std::optional<BootedStorage> recoverFrom(const BootEnvironment& environment,
                                                  const PersistentStoreBootError& error,
                                                  FallbackCause& cause);

  // <application support>/Quorvane/<fileName>, the directory created.
  static std::string databaseURL(const BootEnvironment& environment, const std::string& fileName);

  // Copies the database and its "-wal", "-shm" and "-journal" files (those
  // that exist) into <root or Recovery beside the database>/
  // sqlite-recovery-<ms>-<uuid>, verifies each copy, writes manifest.json,
  // then removes the sources. Nothing, and no directory, when none of the
  // files exists. A failed copy or verification removes the copy directory
  // and leaves the sources.
  static std::optional<std::string> archiveDatabaseForRecovery(
      FileSystem& files, const std::string& databasePath,
      const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid);

  // The same for the given files only (side files that are not the
  // library's own); the database stays where it is.
  static std::optional<std::string> archiveFilesForRecovery(
      FileSystem& files, const std::string& databasePath, const std::vector<std::string>& sources,
      const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid);

  static std::uint64_t fileByteSize(FileSystem& files, const std::string& path);

  // Byte for byte, in chunks of 1 MiB.
  static bool filesHaveIdenticalContents(FileSystem& files, const std::string& first,
                                         const std::string& second);
};

}  // namespace quorvane
