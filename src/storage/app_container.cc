#include "storage/app_container.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "platform/domain_error.h"
#include "platform/paths.h"
#include "platform/uuid.h"
#include "storage/library_inspection.h"
#include "storage/schema.h"

namespace quorvane {
namespace {

constexpr std::size_t kComparisonChunk = 1 << 20;  // 1 MiB

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

std::string parentDirectory(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

// 2026-11-14T17:56:57Z.
std::string iso8601Seconds(Date date) {
  const auto seconds = static_cast<std::time_t>(
      std::floor(std::chrono::duration_cast<Seconds>(date.time_since_epoch()).count()));
  std::tm utc{};
  ::gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

DomainError verificationFailure(const std::string& path) {
  return DomainError("AppContainer.PersistentStorageRecovery", 1,
                     "SQLite recovery copy verification failed for " + lastComponent(path));
}

std::string describe(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown error";
  }
}

std::optional<int> errnoOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::system_error& failure) {
    return failure.code().value();
  } catch (...) {
    return std::nullopt;
  }
}

// What stands where a folder of the library should be, when it is no
// folder (a symbolic link to one is a folder).
bool isNoFolder(FileSystem& files, const std::string& path) {
  try {
    const FileSystem::EntryKind kind = files.entryKind(path);
    if (kind == FileSystem::EntryKind::link) {
      std::error_code error;
      return std::filesystem::exists(path, error) && !std::filesystem::is_directory(path, error);
    }
    return kind == FileSystem::EntryKind::file || kind == FileSystem::EntryKind::other;
  } catch (const std::exception&) {
    return false;
  }
}

std::string appDataDirectory(const BootEnvironment& environment);

// The reason in words of a library that could not be opened for this run.
LibraryProblem problemOf(const BootEnvironment& environment,
                         const PersistentStoreBootError& error) {
  FileSystem& files = *environment.files;
  const std::string directory = appDataDirectory(environment);
  const std::string media = directory + "/media";
  const std::optional<int> code = errnoOf(error.underlying());
  if (isNoFolder(files, directory)) return {"storage.problem.folder_not_folder", {directory}};
  const bool isMedia = error.errorCase() == PersistentStoreBootError::Case::media;
  if (isMedia && isNoFolder(files, media)) return {"storage.problem.media_not_folder", {media}};
  if (code == ENOSPC) return {"storage.problem.disk_full", {directory}};
  if (code == EACCES || code == EPERM || code == EROFS) {
    return {"storage.problem.not_writable", {isMedia ? media : directory}};
  }
  if (isMedia) return {"storage.problem.media_unusable", {media, error.what()}};
  return {"storage.problem.library_unusable", {directory + "/quorvane.sqlite", error.what()}};
}

}  // namespace

std::optional<LibraryProblem> mediaFolderProblem(FileSystem& files, const std::string& directory) {
  const std::string media = directory + "/media";
  if (isNoFolder(files, directory)) {
    return LibraryProblem{"storage.problem.folder_not_folder", {directory}};
  }
  if (isNoFolder(files, media)) return LibraryProblem{"storage.problem.media_not_folder", {media}};
  return std::nullopt;
}

namespace {

// Another process writing to the library makes a read or write wait and,
// past the busy timeout, fail "locked": the library is in use, not damaged.
bool isInUse(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const DomainError& domainError) {
    const int primary = domainError.sqliteResultCode() & 0xFF;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
  } catch (...) {
  }
  return false;
}

// Whether a failure says that the library can't be used as it is — not a
// SQLite database, damaged, not ours, tables no version made — as opposed to
// what this moment brings (another process keeping it, a disk or system
// error, no memory). Only the first sets a library aside.
bool showsDamage(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const DomainError& domainError) {
    switch (domainError.sqliteResultCode() & 0xFF) {
      case SQLITE_NOTADB:
      case SQLITE_CORRUPT:
      case SQLITE_ERROR:  // a statement the library's tables can't run
      case SQLITE_SCHEMA:
      case SQLITE_CONSTRAINT:
      case SQLITE_MISMATCH:
      case SQLITE_FORMAT:
      case SQLITE_RANGE:
      case SQLITE_TOOBIG:
        return true;
      default:
        return false;
    }
  } catch (...) {
  }
  return false;
}

std::string appDataDirectory(const BootEnvironment& environment) {
  return environment.applicationSupportDirectory + "/Quorvane";
}

// Holds the lock for a repair, unless the caller holds it already.
std::unique_ptr<LibraryLock> lockForRepair(const BootEnvironment& environment) {
  return environment.lockForRepair ? environment.lockForRepair() : nullptr;
}

// The same environment for a boot that holds the lock already.
BootEnvironment holdingTheLock(const BootEnvironment& environment) {
  BootEnvironment holding = environment;
  holding.lockForRepair = {};
  return holding;
}

[[noreturn]] void throwNotADatabase(const std::string& why) {
  throw DomainError(std::string(kSQLiteDatabaseDomain), 1, "Unable to open database: " + why,
                    SQLITE_NOTADB);
}

// Sets aside the side files that are not the library's own, and removes an
// empty "-wal", which holds nothing to replay. What was found is looked at
// again under the lock: it may have changed while the lock was awaited. A
// stray file that can't be set aside keeps the library closed: SQLite would
// replay it.
LibraryFiles repairSideFiles(const BootEnvironment& environment, const std::string& path,
                             LibraryFiles found, BootedStorage& storage) {
  Logger& log = *environment.logger;
  const auto needsRepair = [&](const LibraryFiles& files) {
    return !files.strayFiles.empty() ||
           (!files.emptySideFiles.empty() && environment.access == StorageAccess::write);
  };
  if (!needsRepair(found)) return found;
  if (found.readOnly) {
    if (found.strayFiles.empty()) return found;
    throw LibraryUnavailableError(
        LibraryUnavailableError::Reason::writeProtected, path,
        "files beside the read-only library must be set aside: " + found.strayReason);
  }
  const std::unique_ptr<LibraryLock> lock = lockForRepair(environment);
  if (lock) {
    found = inspectLibraryFiles(*environment.files, path);
    if (!needsRepair(found)) return found;
  }
  if (!found.strayFiles.empty()) {
    const std::optional<std::string> copy = AppContainer::archiveFilesForRecovery(
        *environment.files, path, found.strayFiles, std::nullopt, environment.clock->now(),
        environment.makeUuid());
    if (copy) {
      log.log("[Quorvane][Storage] boot state=stray_files_set_aside reason=" + found.strayReason +
              " copy=" + *copy);
      storage.notices.push_back({std::string(kStrayFilesNotice), {*copy}});
    }
  }
  for (const std::string& empty : found.emptySideFiles) {
    try {
      environment.files->removeAll(empty);
      log.log("[Quorvane][Storage] boot state=empty_side_file_removed path=" + empty);
    } catch (const std::exception&) {
    }
  }
  found.strayFiles.clear();
  found.emptySideFiles.clear();
  return found;
}

// A journal left by a writer that was killed is the library's own: SQLite
// rolls it back when a connection that can write first reads. (A journal of
// a writer at work is no hot journal: SQLite, under its own locks, leaves it.)
void rollBackInterruptedWrite(const BootEnvironment& environment, const std::string& path) {
  if (!environment.files->exists(path + "-journal")) return;
  SQLiteDatabase db(path, SQLiteDatabase::Access::readWrite);
  Statement read = db.prepare("SELECT COUNT(*) FROM sqlite_master");
  read.nextRow();
}

std::unique_ptr<SQLiteSnapshotRepository> openLibrary(const BootEnvironment& environment,
                                                      const std::string& path,
                                                      const LibraryFiles& found,
                                                      BootedStorage& storage) {
  using Access = SQLiteDatabase::Access;
  const bool reading = environment.access == StorageAccess::read;
  const auto unavailable = [&](LibraryUnavailableError::Reason reason, const std::string& why) {
    return LibraryUnavailableError(reason, path, why);
  };
  if (found.condition == LibraryFiles::Condition::notSQLite) {
    if (found.readOnly) {
      throw unavailable(LibraryUnavailableError::Reason::writeProtected,
                        "the read-only library is not an SQLite database");
    }
    throwNotADatabase("the file is not an SQLite database");
  }
  if (found.condition == LibraryFiles::Condition::absent && reading) {
    // Nothing to read yet: an empty library in memory, and no file made.
    storage.isEmptyStandIn = true;
    return environment.openRepository(":memory:", Access::readWrite);
  }
  if (found.readOnly) {
    if (found.condition == LibraryFiles::Condition::absent) {
      throw unavailable(LibraryUnavailableError::Reason::writeProtected,
                        "the library's folder is read-only");
    }
    try {
      return environment.openRepository(path, Access::readOnly);
    } catch (const std::exception& error) {
      throw unavailable(LibraryUnavailableError::Reason::writeProtected, error.what());
    }
  }
  rollBackInterruptedWrite(environment, path);
  SchemaAssessment assessment;
  if (found.condition != LibraryFiles::Condition::absent) {
    SQLiteDatabase probe(path, Access::readOnly);
    assessment = assessSchema(probe);
    if (assessment.isNewer) {
      throw unavailable(LibraryUnavailableError::Reason::newerVersion, assessment.problem);
    }
    if (!assessment.isOurs || !assessment.canMigrate) throwNotADatabase(assessment.problem);
  }
  if (reading) {
    if (assessment.needsSchemaChange) {
      // Tables of an older version must be brought up to date before they
      // can be read: a change, made under the lock.
      const std::unique_ptr<LibraryLock> lock = lockForRepair(environment);
      environment.openRepository(path, Access::readWrite);
    }
    return environment.openRepository(path, Access::readOnly);
  }
  std::unique_ptr<SQLiteSnapshotRepository> repository =
      environment.openRepository(path, Access::readWrite);
  if (found.usesWriteAheadLog) {
    // The library keeps a rollback journal, so that any "-wal" beside it can
    // be known for a stray; someone switched the log on: switch it off.
    repository->withDatabase([](SQLiteDatabase& db) {
      try {
        db.exec("PRAGMA journal_mode = DELETE;");
      } catch (const DomainError&) {
      }
    });
  }
  return repository;
}

void logFailure(Logger& log, const std::string& state, const std::exception_ptr& error) {
  log.log("[Quorvane][Storage] boot state=" + state + " error=" + describe(error));
}

}  // namespace

BootEnvironment BootEnvironment::standard(Logger& logger, StorageAccess access) {
  return BootEnvironment{
      .applicationSupportDirectory = quorvane::applicationSupportDirectory(),
      .temporaryDirectory = quorvane::temporaryDirectory(),
      .runtimeDirectory = quorvane::runtimeDirectory(),
      .files = &realFileSystem(),
      .clock = &systemClock(),
      .logger = &logger,
      .makeUuid = [] { return quorvane::makeUuid(); },
      .openRepository =
          [](const std::string& path, SQLiteDatabase::Access access) {
            return std::make_unique<SQLiteSnapshotRepository>(SQLiteDatabase(path, access));
          },
      .access = access,
      .lockForRepair = {},
  };
}

std::string AppContainer::databaseURL(const BootEnvironment& environment,
                                      const std::string& fileName) {
  const std::string directory = appDataDirectory(environment);
  environment.files->createDirectories(directory);
  return directory + "/" + fileName;
}

BootedStorage AppContainer::bootPersistentStorage(const BootEnvironment& environment) {
  using Case = PersistentStoreBootError::Case;
  const bool reading = environment.access == StorageAccess::read;
  BootedStorage storage;
  try {
    // Reading makes no folder: a library not there yet reads as empty.
    storage.databasePath = reading ? appDataDirectory(environment) + "/quorvane.sqlite"
                                   : databaseURL(environment, "quorvane.sqlite");
    LibraryFiles found = inspectLibraryFiles(*environment.files, storage.databasePath);
    storage.isWriteProtected = found.readOnly;
    found = repairSideFiles(environment, storage.databasePath, std::move(found), storage);
    storage.repository = openLibrary(environment, storage.databasePath, found, storage);
  } catch (const LibraryUnavailableError&) {
    throw;
  } catch (const LibraryBusyError&) {
    throw;
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    throw PersistentStoreBootError(Case::sqlite, error, describe(error));
  }
  try {
    storage.media =
        std::make_unique<FilesMediaStore>(appDataDirectory(environment) + "/media",
                                          *environment.files, *environment.logger, !reading);
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    throw PersistentStoreBootError(Case::media, error, describe(error));
  }
  return storage;
}

BootedStorage AppContainer::bootFallbackStorage(const BootEnvironment& environment) {
  BootedStorage storage;
  storage.databasePath = ":memory:";
  storage.isFallback = true;
  storage.repository =
      environment.openRepository(storage.databasePath, SQLiteDatabase::Access::readWrite);
  storage.fallbackFolder = PrivateDirectory::create(
      {environment.runtimeDirectory, environment.temporaryDirectory}, "Quorvane-fallback-media");
  storage.media = std::make_unique<FilesMediaStore>(storage.fallbackFolder->path(),
                                                    *environment.files, *environment.logger);
  return storage;
}

BootedStorage AppContainer::bootStorage(const BootEnvironment& environment) {
  Logger& log = *environment.logger;
  FallbackCause cause = FallbackCause::unavailable;
  std::optional<LibraryProblem> problem;
  try {
    BootedStorage storage = bootPersistentStorage(environment);
    // A run that reads makes no folder, so a media folder that a run that
    // writes could not make is found out here.
    if (environment.access == StorageAccess::read) {
      storage.problem = mediaFolderProblem(*environment.files, appDataDirectory(environment));
    }
    return storage;
  } catch (const PersistentStoreBootError& error) {
    problem = problemOf(environment, error);
    log.log(std::string("[Quorvane][Storage] boot state=persistent_failed case=") +
            (error.errorCase() == PersistentStoreBootError::Case::media ? "media" : "sqlite") +
            " error=" + error.what());
    if (error.errorCase() == PersistentStoreBootError::Case::sqlite) {
      if (std::optional<BootedStorage> recovered = recoverFrom(environment, error, cause)) {
        return std::move(*recovered);
      }
    }
  }
  try {
    BootedStorage storage = bootFallbackStorage(environment);
    storage.fallbackCause = cause;
    storage.problem = std::move(problem);
    log.log(std::string("[Quorvane][Storage] boot state=fallback cause=") +
            (cause == FallbackCause::busy ? "busy" : "unavailable"));
    storage.notices.push_back({std::string(kFallbackTemporaryNotice), {}});
    return storage;
  } catch (...) {
    std::fprintf(stderr, "Failed to boot app storage (persistent + recovery + fallback): %s\n",
                 describe(std::current_exception()).c_str());
    std::abort();
  }
}

std::optional<BootedStorage> AppContainer::recoverFrom(const BootEnvironment& environment,
                                                       const PersistentStoreBootError& error,
                                                       FallbackCause& cause) {
  Logger& log = *environment.logger;
  const std::string path = appDataDirectory(environment) + "/quorvane.sqlite";
  if (!showsDamage(error.underlying())) {
    if (isInUse(error.underlying())) cause = FallbackCause::busy;
    // Nothing there to set aside: the start is tried once more.
    if (cause != FallbackCause::busy && !environment.files->exists(path)) {
      try {
        return bootPersistentStorage(environment);
      } catch (const PersistentStoreBootError&) {
      }
    }
    return std::nullopt;
  }
  // Set aside only under the lock, and only when a look taken under it still
  // finds the library unusable: what failed may have been the moment.
  const std::unique_ptr<LibraryLock> lock = lockForRepair(environment);
  const BootEnvironment holding = holdingTheLock(environment);
  if (lock) {
    try {
      return bootPersistentStorage(holding);
    } catch (const PersistentStoreBootError& again) {
      if (!showsDamage(again.underlying())) {
        if (isInUse(again.underlying())) cause = FallbackCause::busy;
        return std::nullopt;
      }
    }
  }
  std::optional<std::string> copy;
  try {
    copy = archiveDatabaseForRecovery(*environment.files, path, std::nullopt,
                                      environment.clock->now(), environment.makeUuid());
  } catch (...) {
    logFailure(log, "recovery_failed", std::current_exception());
    return std::nullopt;
  }
  try {
    BootedStorage storage = bootPersistentStorage(holding);
    if (copy) {
      log.log("[Quorvane][Storage] boot state=recovered copy=" + *copy);
      storage.notices.push_back({std::string(kRecoveryArchivedNotice), {*copy}});
    }
    return storage;
  } catch (const PersistentStoreBootError&) {
    logFailure(log, "recovery_failed", std::current_exception());
    return std::nullopt;
  }
}

std::optional<std::string> AppContainer::archiveDatabaseForRecovery(
    FileSystem& files, const std::string& databasePath,
    const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid) {
  // A damaged library's journal goes with it: left behind, it would be
  // rolled back into the fresh library that takes its place.
  return archiveFilesForRecovery(
      files, databasePath,
      {databasePath, databasePath + "-wal", databasePath + "-shm", databasePath + "-journal"},
      recoveryRoot, now, uuid);
}

std::optional<std::string> AppContainer::archiveFilesForRecovery(
    FileSystem& files, const std::string& databasePath, const std::vector<std::string>& candidates,
    const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid) {
  std::vector<std::string> sources;
  for (const std::string& candidate : candidates) {
    if (files.exists(candidate)) sources.push_back(candidate);
  }
  if (sources.empty()) return std::nullopt;

  const std::string root = recoveryRoot.value_or(parentDirectory(databasePath) + "/Recovery");
  files.createDirectories(root);
  const std::string copyDirectory =
      root + "/sqlite-recovery-" + std::to_string(millisecondsSince1970(now)) + "-" + uuid;
  files.createDirectory(copyDirectory);

  try {
    nlohmann::json records = nlohmann::json::array();
    for (const std::string& source : sources) {
      const std::string copy = copyDirectory + "/" + lastComponent(source);
      files.copyFile(source, copy);
      const std::uint64_t size = fileByteSize(files, source);
      if (size != fileByteSize(files, copy) || !filesHaveIdenticalContents(files, source, copy)) {
        throw verificationFailure(source);
      }
      records.push_back({{"name", lastComponent(source)}, {"byteSize", size}});
    }
    const nlohmann::json manifest{{"formatVersion", 1},
                                  {"createdAt", iso8601Seconds(now)},
                                  {"originalDatabasePath", databasePath},
                                  {"files", records}};
    const std::string text = manifest.dump(2) + "\n";
    files.writeFileAtomically(
        copyDirectory + "/manifest.json",
        std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  } catch (...) {
    try {
      files.removeAll(copyDirectory);
    } catch (const std::exception&) {
    }
    throw;
  }

  // Only now, with every byte safe in the copy, do the sources go.
  for (auto it = sources.rbegin(); it != sources.rend(); ++it) files.removeAll(*it);
  return copyDirectory;
}

std::uint64_t AppContainer::fileByteSize(FileSystem& files, const std::string& path) {
  return files.fileSize(path);
}

bool AppContainer::filesHaveIdenticalContents(FileSystem& files, const std::string& first,
                                              const std::string& second) {
  const std::unique_ptr<FileReader> a = files.openForReading(first);
  const std::unique_ptr<FileReader> b = files.openForReading(second);
  for (;;) {
    const Bytes chunkA = a->read(kComparisonChunk);
    const Bytes chunkB = b->read(kComparisonChunk);
    if (chunkA != chunkB) return false;
    if (chunkA.empty()) return true;
  }
}

}  // namespace quorvane
