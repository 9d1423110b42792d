#include "cli/store_session.h"
#include "app/library_tidy.h"
#include "app/waiting_commands.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "cli/command.h"
#include "model/control_characters.h"
#include "pdf/localization.h"
#include "platform/paths.h"
#include "platform/system_conditions.h"
#include "platform/uuid.h"

namespace quorvane {
namespace {

constexpr const char* kBackupCommand = "quorvane package export";

std::string_view reminderMessageKey(BackupReminderLevel level) {
  switch (level) {
    case BackupReminderLevel::soft:
      return "backup.reminder.soft.message";
    case BackupReminderLevel::strong:
      return "backup.reminder.strong.message";
    case BackupReminderLevel::largeEdit:
      return "backup.reminder.large_edit.message";
  }
  return "backup.reminder.soft.message";
}

std::chrono::milliseconds lockWait() {
  if (const char* value = std::getenv("QUORVANE_LOCK_WAIT_MS")) {
    try {
      return std::chrono::milliseconds(std::max(0LL, std::stoll(value)));
    } catch (const std::exception&) {
    }
  }
  return kDefaultLockWait;
}

// "artworks add", from the parsed command line.
std::string commandName(const CliContext& context) {
  std::string name;
  for (const CLI::App* app = context.root; app != nullptr;) {
    const auto chosen = app->get_subcommands();
    if (chosen.empty()) break;
    app = chosen.front();
    name += (name.empty() ? "" : " ") + app->get_name();
  }
  return name;
}

LockHolder thisRun(const CliContext& context) {
  return LockHolder{::getpid(), std::string(kCommandLineProgram), commandName(context)};
}

std::string dataDirectory() { return applicationSupportDirectory() + "/Quorvane"; }

LockWait waitTellingTheUser(CliContext& context) {
  LockWait wait;
  wait.patience = lockWait();
  wait.onWait = [&context](const LockHolder& holder) {
    const std::string key =
        holder.program == kDesktopProgram ? "cli.lock.waiting_app" : "cli.lock.waiting";
    context.err << context.format(key, {std::to_string(holder.pid), holder.command}) << '\n'
                << std::flush;
  };
  return wait;
}

// "5" for 5000 ms, "0.5" for 500.
std::string secondsText(std::chrono::milliseconds wait) {
  if (wait.count() % 1000 == 0) return std::to_string(wait.count() / 1000);
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(wait.count()) / 1000.0);
  return text;
}

// Takes the lock for a command that changes the library. Nothing, with a
// warning, where the file system has no locks (some network and FUSE
// mounts): the command then runs as before there were locks.
std::unique_ptr<LibraryLock> lockForChanges(CliContext& context, bool& locksWork) {
  const std::string directory = dataDirectory();
  const std::string path = directory + "/quorvane.lock";
  locksWork = true;
  try {
    realFileSystem().createDirectories(directory);
    return LibraryLock::acquire(path, thisRun(context), waitTellingTheUser(context));
  } catch (const LibraryBusyError& error) {
    throw CliError(libraryBusyText(context, error.holder(), false));
  } catch (const std::system_error& error) {
    const int code = error.code().value();
    if (code == ENOLCK || code == EOPNOTSUPP || code == ENOSYS) {
      locksWork = false;
      context.err << context.format("cli.warning",
                                    {context.format("cli.lock.unsupported", {directory})})
                  << '\n';
      return nullptr;
    }
    if (code == EACCES || code == EPERM || code == EROFS) {
      // A folder that can't be written can't hold the library's changes
      // either; a lock file of another user's (after a run with sudo) can.
      if (!realFileSystem().isWritable(directory)) {
        throw CliError(context.format("cli.error.library_read_only", {directory}));
      }
      throw CliError(context.format("cli.error.lock_not_writable", {path}));
    }
    throw;
  }
}

}  // namespace

BootEnvironment cliBootEnvironment(CliContext& context, Logger& logger, StorageAccess access,
                                   bool holdsLock) {
  BootEnvironment environment = BootEnvironment::standard(logger, access);
  if (!holdsLock) {
    environment.lockForRepair = [&context] {
      return LibraryLock::acquire(dataDirectory() + "/quorvane.lock", thisRun(context),
                                  waitTellingTheUser(context));
    };
  }
  return environment;
}

std::string libraryBusyText(const CliContext& context, const LockHolder& holder, bool forReading) {
  const std::string pid = std::to_string(holder.pid);
  if (forReading) return context.format("cli.error.repair_waits", {pid});
  if (holder.program == kDesktopProgram) return context.format("error.library_open_in_app", {pid});
  return context.format("error.library_busy", {pid, holder.command, secondsText(lockWait())});
}

std::string libraryProblemText(const CliContext& context,
                               const std::optional<LibraryProblem>& problem) {
  if (!problem) return context.text("storage.problem.unknown");
  std::vector<std::string> arguments;
  for (const std::string& argument : problem->arguments) {
    arguments.push_back(escapedOnOneLine(argument));
  }
  return fillPlaceholders(context.text(problem->key), arguments);
}

std::string libraryUnavailableText(const CliContext& context,
                                   const LibraryUnavailableError& error) {
  if (error.reason() == LibraryUnavailableError::Reason::newerVersion) {
    return context.format("cli.error.library_newer", {error.path()});
  }
  return context.format("cli.error.library_read_only_unusable", {error.path(), error.what()});
}

StoreSession::StoreSession(CliContext& context)
    : context_(context),
      diagnostics_(context.err),
      logger_(context.verbose ? static_cast<Logger&>(diagnostics_) : nullLogger()) {
  const bool changes = context.access == StorageAccess::write;
  bool locksWork = true;
  if (changes) lock_ = lockForChanges(context, locksWork);
  try {
    storage_ = AppContainer::bootStorage(
        cliBootEnvironment(context, logger_, context.access, lock_ != nullptr || !locksWork));
  } catch (const LibraryBusyError& error) {
    throw CliError(libraryBusyText(context, error.holder(), !changes));
  } catch (const LibraryUnavailableError& error) {
    throw CliError(libraryUnavailableText(context, error));
  }
  for (const StorageNotice& notice : storage_.notices) {
    if (notice.key == kFallbackTemporaryNotice) continue;  // said below, as an error
    context.err << "quorvane: " << fillPlaceholders(context.text(notice.key), notice.arguments)
                << '\n';
  }
  // A command never works on the temporary library: a change would be
  // lost, and what is read would be an empty library shown as the user's.
  if (storage_.isFallback) {
    throw CliError(
        storage_.fallbackCause == FallbackCause::busy
            ? context.format("cli.error.library_busy_storage",
                             {secondsText(std::chrono::milliseconds(kDefaultBusyTimeoutMs))})
            : context.format("cli.error.temporary_library_refused",
                             {libraryProblemText(context, storage_.problem)}));
  }
  // Reading goes on (what the library holds can still be read), saying once
  // what keeps it from being changed.
  if (storage_.problem) {
    context.err << "quorvane: "
                << context.format("cli.notice.library_unusable",
                                  {libraryProblemText(context, storage_.problem)})
                << '\n';
  }
  if (changes && storage_.isWriteProtected) {
    throw CliError(context.format("cli.error.library_read_only", {storage_.databasePath}));
  }
  preferences_ = std::make_unique<Preferences>(
      preferencesFilePath(), realFileSystem(), logger_, systemClock(),
      changes ? Preferences::Access::write : Preferences::Access::read);
  std::optional<std::string> language;
  if (!context.languageOption.empty()) language = context.languageOption;
  const auto runUntil = [this](const std::function<bool()>& finished) {
    mainLoop_.runUntil(finished);
  };
  assembly_ =
      std::make_unique<StoreAssembly>(storage_, StoreFace{.main = mainLoop_,
                                                          .preferences = *preferences_,
                                                          .logger = logger_,
                                                          .libraryDirectory = dataDirectory(),
                                                          .languageOverride = language,
                                                          .runUntil = runUntil,
                                                          .drawsPagesAhead = false});
  AppStore& store = assembly_->store();
  if (changes) {
    const TidyReport tidied =
        store.tidyAfterInterruptedRuns({dataDirectory(), preferencesDirectory()});
    if (tidied.strayMediaFolder) {
      context.err << "quorvane: "
                  << context.plural(
                         "cli.notice.stray_media_set_aside",
                         static_cast<std::int64_t>(tidied.strayMediaFiles),
                         {std::to_string(tidied.strayMediaFiles), *tidied.strayMediaFolder})
                  << '\n';
    }
    // The machine's state, for the diagnostics of images of an import
    // finished after the command (see `finish`).
    store.thermalStateChanged(readThermalState());
    store.lowPowerModeChanged(readLowPowerMode());
  }
  const std::optional<std::string> project =
      context.projectOption.empty() ? std::nullopt : std::optional(context.projectOption);
  if (!store.start(project)) {
    throw CliError(store.state().lastErrorMessage.value_or("the library could not be opened"));
  }
}

StoreSession::~StoreSession() {
  store().quit();
  assembly_->drainSaves();
  mainLoop_.runUntilIdle();
  assembly_.reset();
}

void StoreSession::writeNow() {
  const std::optional<ToastMessage> before = store().state().errorToast;
  store().quit();
  mainLoop_.runUntilIdle();
  const std::optional<ToastMessage>& after = store().state().errorToast;
  if (after && after != before && after->style == ToastStyle::error) {
    throw CliError(after->text);  // a write failed: the user must know
  }
  // A setting this run could not write on the way (the open project, a
  // reminder's state) is said, once; it does not undo the command's own
  // change, which is written. (A command that sets a setting fails itself
  // when that can't be written.)
  if (preferences_->writeFailureCount() > 0 && !preferenceFailureTold_) {
    preferenceFailureTold_ = true;
    context_.err << context_.format(
                        "cli.warning",
                        {context_.format("app.error.settings_not_saved",
                                         {preferences_->lastWriteFailure().value_or("")})})
                 << '\n';
  }
}

void StoreSession::finish() {
  writeNow();
  if (const auto& notice = store().state().inputNotice) {
    context_.err << context_.format("cli.warning", {*notice}) << '\n';
  }
  if (store().changeCount() > 0) remindOfBackup();
  if (context_.access == StorageAccess::write) finishLeftImages();
}

void StoreSession::finishLeftImages() {
  // Images of an import that a stopped run left unfinished: the command's
  // own work is written first, then a slice of them is finished, so that no
  // command waits long for work it was not asked to do.
  if (store().importImagesAwaiting() == 0) return;
  finishImportedImages(store(), {}, kLeftImagesSlice);
  const std::size_t left = store().importImagesAwaiting();
  if (left == 0) return;
  context_.err << "quorvane: "
               << context_.plural("cli.finalization.left", static_cast<std::int64_t>(left),
                                  {std::to_string(left)})
               << '\n';
}

void StoreSession::remindOfBackup() {
  store().evaluateBackupReminder();
  const std::optional<BackupReminderLevel> level = store().state().activeBackupReminderLevel;
  if (!level) return;
  context_.err << context_.format("cli.backup.reminder_line",
                                  {context_.text("backup.reminder.title"),
                                   context_.text(reminderMessageKey(*level))})
               << '\n'
               << "  " << context_.format("cli.backup.export_hint", {kBackupCommand}) << '\n';
  // Said once: the terminal has no sheet to leave open.
  store().dismissBackupReminder(*level, true);
}

std::string libraryMediaDirectory() { return dataDirectory() + "/media"; }

}  // namespace quorvane
