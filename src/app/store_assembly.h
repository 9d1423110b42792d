// The store as both faces build it over a booted library: the image
// optimiser, the renderer, the package service, the web CV import's
// repository and the queues, wired into one AppStore. The command line and
// the window differ only in their main executor and in whether pages are
// drawn ahead of need.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/app_store.h"
#include "app/prepared_image_cache.h"
#include "images/image_optimizer.h"
#include "packages/transfer_service.h"
#include "platform/executor.h"
#include "platform/logger.h"
#include "platform/preferences.h"
#include "storage/app_container.h"
#include "webcv/web_cv_persistence.h"

namespace quorvane {

struct StoreFace {
  Executor& main;
  Preferences& preferences;
  Logger& logger;
  // The folder of the library (its database, media and lock).
  std::string libraryDirectory;
  // Overrides the interface language for this run (the command line's --lang).
  std::optional<std::string> languageOverride;
  // Runs the main executor until `finished` says so (app/waiting_commands.h).
  std::function<void(const std::function<bool()>& finished)> runUntil;
  // Page thumbnails and board pictures on queues of their own: a window
  // shows them; a command has no use for pages drawn ahead of need.
  bool drawsPagesAhead = false;
};

class StoreAssembly {
 public:
  // Builds the store over `storage`, which must outlive it; nothing is
  // read until the store's `start`.
  StoreAssembly(BootedStorage& storage, StoreFace face);
  // Writes what is pending, waits for the writes, and lets the queues end
  // before what they use goes.
  ~StoreAssembly();
  StoreAssembly(const StoreAssembly&) = delete;
  StoreAssembly& operator=(const StoreAssembly&) = delete;

  AppStore& store() { return *store_; }
  PdfRenderService& renderer() { return *renderer_; }
  // Returns once every write handed to the save queue has run.
  void drainSaves() { saveQueue_.drain(); }

 private:
  ImageOptimizer optimizer_;
  PreparedImageCache preparedImages_;
  std::unique_ptr<PdfRenderService> renderer_;
  QuorvaneTransferService transfer_;
  std::unique_ptr<SQLiteWebCVRepository> webCV_;
  SerialQueue saveQueue_{"app.quorvane.snapshot-save"};
  // After the renderer: destroyed (and drained) before it.
  SerialQueue pdfQueue_{"app.quorvane.pdf-render"};
  SerialQueue imageQueue_{"app.quorvane.image-intake"};
  // Pages drawn ahead of need give way to the preview the user waits for.
  std::unique_ptr<WorkerPool> thumbnailQueue_;
  std::unique_ptr<SerialQueue> pictureQueue_;
  std::unique_ptr<AppStore> store_;
};

}  // namespace quorvane
