#include "storage/app_container.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include "platform/domain_error.h"
#include "platform/paths.h"
#include "platform/uuid.h"

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

// SQLite, opening a file that is no database, still takes up its "-wal"
// file and deletes it on closing; and it deletes the "-wal" of an empty or
// missing database unread. The recovery copy would miss what they hold. A
// file that does not start like an SQLite database, or a log beside an empty
// one, is therefore refused before SQLite sees it.
void refuseWhatIsNoDatabase(FileSystem& files, const std::string& path) {
  static constexpr std::string_view kHeader("SQLite format 3\0", 16);
  const bool empty = !files.exists(path) || files.fileSize(path) == 0;
  if (empty) {
    const std::string log = path + "-wal";
    if (files.exists(log) && files.fileSize(log) > 0) {
      throw DomainError("SQLiteDatabase", 1, "Unable to open database");
    }
    return;
  }
  const Bytes start = files.openForReading(path)->read(kHeader.size());
  if (std::string_view(reinterpret_cast<const char*>(start.data()), start.size()) != kHeader) {
    throw DomainError("SQLiteDatabase", 1, "Unable to open database");
  }
}

// Another process writing to the library makes opening it fail "locked":
// the library is in use, not damaged, and must not be set aside.
bool isInUse(const PersistentStoreBootError& error) {
  const std::string what = error.what();
  return what == "database is locked" || what == "database table is locked";
}

std::string appDataDirectory(const BootEnvironment& environment) {
  return environment.applicationSupportDirectory + "/Quorvane";
}

}  // namespace

BootEnvironment BootEnvironment::standard(Logger& logger) {
  return BootEnvironment{
      .applicationSupportDirectory = quorvane::applicationSupportDirectory(),
      .temporaryDirectory = quorvane::temporaryDirectory(),
      .files = &realFileSystem(),
      .clock = &systemClock(),
      .logger = &logger,
      .makeUuid = [] { return quorvane::makeUuid(); },
      .openRepository =
          [](const std::string& path) {
            return std::make_unique<SQLiteSnapshotRepository>(SQLiteDatabase(path));
          },
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
  BootedStorage storage;
  try {
    storage.databasePath = databaseURL(environment, "quorvane.sqlite");
    refuseWhatIsNoDatabase(*environment.files, storage.databasePath);
    storage.repository = environment.openRepository(storage.databasePath);
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    throw PersistentStoreBootError(Case::sqlite, error, describe(error));
  }
  try {
    storage.media = std::make_unique<FilesMediaStore>(appDataDirectory(environment) + "/media",
                                                      *environment.files, *environment.logger);
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
  storage.repository = environment.openRepository(storage.databasePath);
  storage.media =
      std::make_unique<FilesMediaStore>(environment.temporaryDirectory + "/Quorvane-fallback-media",
                                        *environment.files, *environment.logger);
  return storage;
}

BootedStorage AppContainer::bootStorage(const BootEnvironment& environment) {
  Logger& log = *environment.logger;
  try {
    return bootPersistentStorage(environment);
  } catch (const PersistentStoreBootError& error) {
    log.log(std::string("[Quorvane][Storage] boot state=persistent_failed case=") +
            (error.errorCase() == PersistentStoreBootError::Case::media ? "media" : "sqlite") +
            " error=" + error.what());
    if (error.errorCase() == PersistentStoreBootError::Case::sqlite && !isInUse(error)) {
      // A recovery copy can help the database only; a media folder that
      // can't be made goes straight to the temporary storage.
      try {
        const std::string path = databaseURL(environment, "quorvane.sqlite");
        const Date now = environment.clock->now();
        const std::optional<std::string> copy = archiveDatabaseForRecovery(
            *environment.files, path, std::nullopt, now, environment.makeUuid());
        BootedStorage storage = bootPersistentStorage(environment);
        if (copy) {
          log.log("[Quorvane][Storage] boot state=recovered copy=" + *copy);
          storage.notices.push_back({std::string(kRecoveryArchivedNotice), {*copy}});
        }
        return storage;
      } catch (...) {
        log.log("[Quorvane][Storage] boot state=recovery_failed error=" +
                describe(std::current_exception()));
      }
    }
  }
  try {
    BootedStorage storage = bootFallbackStorage(environment);
    log.log("[Quorvane][Storage] boot state=fallback");
    storage.notices.push_back({std::string(kFallbackTemporaryNotice), {}});
    return storage;
  } catch (...) {
    std::fprintf(stderr, "Failed to boot app storage (persistent + recovery + fallback): %s\n",
                 describe(std::current_exception()).c_str());
    std::abort();
  }
}

std::optional<std::string> AppContainer::archiveDatabaseForRecovery(
    FileSystem& files, const std::string& databasePath,
    const std::optional<std::string>& recoveryRoot, Date now, const std::string& uuid) {
  std::vector<std::string> sources;
  for (const std::string& candidate :
       {databasePath, databasePath + "-wal", databasePath + "-shm"}) {
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
