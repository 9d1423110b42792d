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
// A damaged library is never thrown away: its files are removed only after
// their copy has been verified. A library that another process is writing
// ("database is locked") is in use, not damaged: this run then works on the
// temporary storage and leaves it alone.
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
#include "platform/logger.h"
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

// The storage a run works on.
struct BootedStorage {
  std::unique_ptr<SQLiteSnapshotRepository> repository;
  std::unique_ptr<FilesMediaStore> media;
  std::string databasePath;  // ":memory:" on the temporary fallback
  bool isFallback = false;
  std::vector<StorageNotice> notices;
};

// The places and seams boot works with. `standard()` is the real machine.
struct BootEnvironment {
  std::string applicationSupportDirectory;
  std::string temporaryDirectory;
  FileSystem* files = nullptr;
  const Clock* clock = nullptr;
  Logger* logger = nullptr;
  std::function<std::string()> makeUuid;
  // Opens a database file (or ":memory:") and the repository on it, which
  // brings the schema up to date; throws when either fails.
  std::function<std::unique_ptr<SQLiteSnapshotRepository>(const std::string& path)> openRepository;

  static BootEnvironment standard(Logger& logger = nullLogger());
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

class AppContainer {
 public:
  // The storage of this run: persistent, recovered or temporary. Never
  // fails; should every way fail, the program stops with
  // "Failed to boot app storage (persistent + recovery + fallback): …".
  static BootedStorage bootStorage(const BootEnvironment& environment);

  // The library and media at their places. Throws PersistentStoreBootError.
  static BootedStorage bootPersistentStorage(const BootEnvironment& environment);

  // An in-memory library and media in <temporary>/Quorvane-fallback-media.
  static BootedStorage bootFallbackStorage(const BootEnvironment& environment);

  // <application support>/Quorvane/<fileName>, the directory created.
  static std::string databaseURL(const BootEnvironment& environment, const std::string& fileName);

  // Copies the database and its "-wal" and "-shm" files (those that exist)
  // into <root or Recovery beside the database>/sqlite-recovery-<ms>-<uuid>,
  // verifies each copy, writes manifest.json, then removes the sources.
  // Nothing, and no directory, when none of the files exists. A failed copy
  // or verification removes the copy directory and leaves the sources.
  static std::optional<std::string> archiveDatabaseForRecovery(
      FileSystem& files, const std::string& databasePath,
      const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid);

  static std::uint64_t fileByteSize(FileSystem& files, const std::string& path);

  // Byte for byte, in chunks of 1 MiB.
  static bool filesHaveIdenticalContents(FileSystem& files, const std::string& first,
                                         const std::string& second);
};

}  // namespace quorvane
