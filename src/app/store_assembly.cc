#include "app/store_assembly.h"

#include "pdf/localization.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace quorvane {

StoreAssembly::StoreAssembly(BootedStorage& storage, StoreFace face)
    : preparedImages_(storage.media->files(), optimizer_,
                      preparedImagesDirectory(face.libraryDirectory),
                      PreparedImageCache::kDefaultCapacity, face.logger),
      transfer_(TransferLimits{}, face.logger) {
  renderer_ =
      std::make_unique<PdfRenderService>(*storage.repository, *storage.repository, *storage.media,
                                         optimizer_, face.logger, &preparedImages_);
  webCV_ = std::make_unique<SQLiteWebCVRepository>(*storage.repository);
  if (face.drawsPagesAhead) {
    thumbnailQueue_ =
        std::make_unique<WorkerPool>("app.quorvane.pdf-thumbs", 2, QueuePriority::background);
    pictureQueue_ = std::make_unique<SerialQueue>("app.quorvane.board-pictures");
  }
  store_ = std::make_unique<AppStore>(AppStoreServices{
      .snapshots = *storage.repository,
      .sectionSaves = *storage.repository,
      .labels = *storage.repository,
      .media = *storage.media,
      .images = optimizer_,
      .preferences = face.preferences,
      .main = face.main,
      .saveQueue = saveQueue_,
      .clock = systemClock(),
      .logger = face.logger,
      .makeUuid = makeUuid,
      .regionCode = systemRegionCode,
      .drainSaveQueue = [this] { saveQueue_.drain(); },
      .runUntil = face.runUntil,
      .renderer = *renderer_,
      .pdfRenderQueue = pdfQueue_,
      .transfer = transfer_,
      .imports = *storage.repository,
      .imageQueue = imageQueue_,
      .thumbnailQueue = thumbnailQueue_.get(),
      .pictureQueue = pictureQueue_.get(),
      .webCV = *webCV_,
      .languageOverride = face.languageOverride,
      .libraryDirectory = face.libraryDirectory,
  });
}

StoreAssembly::~StoreAssembly() {
  store_->quit();
  saveQueue_.drain();
  store_.reset();
}

}  // namespace quorvane
