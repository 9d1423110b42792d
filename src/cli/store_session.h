// One run of a command that works on the library: boot the storage, start
// the store on the open project, run the command, write everything, and
// remind the user of a backup when one is due.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "images/image_optimizer.h"
#include "platform/executor.h"
#include "platform/logger.h"
#include "platform/main_loop.h"
#include "platform/preferences.h"
#include "storage/app_container.h"

namespace quorvane {

struct CliContext;

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

  AppStore& store() { return *store_; }

  // Ends a successful command: writes every edit, then, when data changed,
  // prints the backup reminder that is due. A command line has no sheet to
  // close, so a printed reminder counts as seen and is snoozed. Throws
  // CliError when a write failed.
  void finish();

 private:
  void remindOfBackup();

  CliContext& context_;
  StreamLogger diagnostics_;
  Logger& logger_;
  BootedStorage storage_;
  Preferences preferences_;
  MainLoop mainLoop_;
  SerialQueue saveQueue_{"app.quorvane.snapshot-save"};
  ImageOptimizer optimizer_;
  std::unique_ptr<PdfRenderService> renderer_;
  // After the renderer: destroyed (and drained) before it.
  SerialQueue pdfQueue_{"app.quorvane.pdf-render"};
  std::unique_ptr<AppStore> store_;
};

}  // namespace quorvane
