// One run of a command that works on the library: take the library lock
// (when the command changes it), boot the storage, start the store on the
// open project, run the command, write everything, and remind the user of a
// backup when one is due.
//
// A command never runs on anything but the library: when another process
// keeps the lock past a few seconds (for a change), when the library is
// read-only (for a change), or when only a temporary library could be
// opened, it stops before doing anything and says why.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "app/store_assembly.h"
#include "platform/executor.h"
#include "platform/logger.h"
#include "platform/main_loop.h"
#include "platform/preferences.h"
#include "storage/app_container.h"

namespace quorvane {

struct CliContext;

// How long a command waits for another one that changes the library; the
// variable QUORVANE_LOCK_WAIT_MS (milliseconds) sets another wait.
inline constexpr std::chrono::milliseconds kDefaultLockWait{5000};

// How long a command spends, after its own work, on imported images that a
// stopped run left unfinished ('quorvane package finish' does them all).
inline constexpr std::chrono::milliseconds kLeftImagesSlice{1500};

// The boot of the library as this run does it: `access` as the command
// asks, and a repair (a stray file set aside, a recovery copy) made under
// the library lock when the command does not hold it already.
BootEnvironment cliBootEnvironment(CliContext& context, Logger& logger, StorageAccess access,
                                   bool holdsLock);

// The library's media folder, where it is looked for.
std::string libraryMediaDirectory();

// The words telling that the library is kept by `holder`, and why nothing
// was done: a change waits for it, and so does reading when the library
// needs a repair first.
std::string libraryBusyText(const CliContext& context, const LockHolder& holder, bool forReading);
// The words for a library that must be left as it is.
std::string libraryUnavailableText(const CliContext& context, const LibraryUnavailableError& error);

// Why the library can't be used, in words ("The media folder … is a file,
// not a folder.").
std::string libraryProblemText(const CliContext& context,
                               const std::optional<LibraryProblem>& problem);

class StoreSession {
 public:
  // Boots the library (telling the user about recovery or a temporary
  // library on standard error) and starts the store. Throws CliError when
  // the store can't start, such as for an unknown --project.
  explicit StoreSession(CliContext& context);
  // Writes what is pending and waits for the writes.
  ~StoreSession();
  StoreSession(const StoreSession&) = delete;
  StoreSession& operator=(const StoreSession&) = delete;

  AppStore& store() { return assembly_->store(); }

  // Ends a successful command: writes every edit, then, when data changed,
  // prints the backup reminder that is due. A command line has no sheet to
  // close, so a printed reminder counts as seen and is snoozed. Throws
  // CliError when a write failed.
  void finish();
  // Writes every edit now. Throws CliError when a write of the library
  // failed: what a command prints as done (an id) must be in the library
  // first. A preference it could not write is a warning.
  void writeNow();

 private:
  void remindOfBackup();
  void finishLeftImages();

  CliContext& context_;
  StreamLogger diagnostics_;
  Logger& logger_;
  // Taken before the library is opened, released after everything is
  // written: the first member made, the last destroyed.
  std::unique_ptr<LibraryLock> lock_;
  BootedStorage storage_;
  std::unique_ptr<Preferences> preferences_;
  MainLoop mainLoop_;
  std::unique_ptr<StoreAssembly> assembly_;
  bool preferenceFailureTold_ = false;
};

}  // namespace quorvane
