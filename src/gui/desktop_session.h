// Everything the window runs on, for the whole life of the window: the
// library lock (the window is the library's one writer while it is open),
// the storage, the preferences, the queues and the store, its main
// executor the Qt event loop.
#pragma once

#include <QObject>
#include <memory>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "app/store_assembly.h"
#include "app/system_conditions_watch.h"
#include "gui/qt_main_executor.h"
#include "platform/library_lock.h"
#include "platform/logger.h"
#include "platform/preferences.h"
#include "storage/app_container.h"

namespace quorvane::gui {

// Why the window can't open the library, in the user's words.
class DesktopStartError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The folder of the library the window opens (its database, media, lock).
std::string libraryDirectory();

class DesktopSession {
 public:
  // Takes the lock, boots the library, starts the store. Throws
  // DesktopStartError when another program keeps the library, or it can't
  // be opened: at once when it is another window (it keeps the library
  // for hours), after `wait` when it is a command. `logger` gets the
  // diagnostics.
  DesktopSession(QObject& mainContext, Logger& logger, const LockWait& wait = {});
  // Writes what is pending, waits for the writes, lets go of the lock.
  ~DesktopSession();
  DesktopSession(const DesktopSession&) = delete;
  DesktopSession& operator=(const DesktopSession&) = delete;

  AppStore& store() { return assembly_->store(); }
  Preferences& preferences() { return *preferences_; }
  PdfRenderService& renderer() { return assembly_->renderer(); }
  // Notices about the storage to show once the window is up (a recovery,
  // a temporary library), in words.
  const std::vector<std::string>& notices() const { return notices_; }

 private:
  Logger& logger_;
  std::unique_ptr<LibraryLock> lock_;
  BootedStorage storage_;
  std::unique_ptr<Preferences> preferences_;
  QtMainExecutor main_;
  std::unique_ptr<StoreAssembly> assembly_;
  std::unique_ptr<SystemConditionsWatch> conditions_;  // tells store_ of heat and power
  std::vector<std::string> notices_;
};

}  // namespace quorvane::gui
