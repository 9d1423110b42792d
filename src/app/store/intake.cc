// Images coming in: added to the open project (at once or on the image
// queue), or replacing a work's image, files and rows written together.
#include "app/app_store.h"
#include "app/image_intake_job.h"
#include "app/pdf_render_service.h"
#include "app/save_pipeline.h"
#include "app/store/intake_room.h"
#include "app/store/undo_room.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "app/failure_text.h"
#include "app/image_intake.h"
#include "pdf/localization.h"
#include "platform/file_system.h"

namespace quorvane {

namespace {

std::string fileNameOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string megabytes(std::int64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / 1'048'576.0);
  return text;
}

}  // namespace

std::string IntakeRoom::imageFailureText(const ImageIntakeError& error,
                                         const std::string& path) const {
  using Case = ImageIntakeError::Case;
  switch (error.errorCase()) {
    case Case::unreadable:
      return store_.text("app.error.cannot_read_file", {path, error.what()});
    case Case::tooLarge:
      // Not "error.image_too_large", whose 15 MB is the near-limit warning's
      // figure: the refusal names the limit that refused.
      return store_.text(
          "app.error.image_over_limit",
          {fileNameOf(path), megabytes(error.byteSize()), megabytes(kMaximumOriginalBytes)});
    case Case::notAnImage:
      return store_.text("app.error.not_an_image", {path});
    case Case::optimizeFailed:
      return store_.text("error.image_optimize_failed") + " (" + fileNameOf(path) + ": " +
             error.what() + ")";
    case Case::cannotStore:
      return store_.text("app.error.cannot_store_image", {fileNameOf(path), error.what()});
  }
  return error.what();
}

std::optional<std::string> IntakeRoom::putInPlace(OriginalMediaImportTransaction& transaction,
                                                  const std::vector<Artwork>& artworks,
                                                  const std::string& fileName) {
  auto& images = store_.state_.snapshot.artworks.images;
  try {
    transaction.commit();
  } catch (const std::exception& error) {
    store_.services_.logger.log(failureDiagnostic(error));
    const std::string message =
        store_.text("app.error.cannot_store_images", {failureText(error, store_.language())}) +
        keptFilesText(transaction);
    store_.fail(message);
    return message;
  }
  const std::shared_ptr<const ProjectContent> contentBefore = store_.undo_->content();
  // The artworks as they were, to put back should the save fail.
  std::vector<Artwork> before = images;
  const auto timesBefore =
      std::pair(store_.state_.snapshot.artworksCreatedAt, store_.state_.snapshot.artworksUpdatedAt);
  for (const Artwork& artwork : artworks) {
    const auto existing = std::find_if(images.begin(), images.end(),
                                       [&](const Artwork& a) { return a.id == artwork.id; });
    if (existing != images.end()) {
      *existing = artwork;
    } else {
      images.push_back(artwork);
    }
  }
  store_.stampSection(SaveSection::artworks);
  store_.ensurePersisted();
  // Each image counts once as a change (by whoever adds it), its write not
  // again: twenty images are twenty works to lose, however they were written.
  std::size_t& silent = store_.silentWrites_[store_.state_.project.id];
  ++silent;
  if (!store_.pipeline_->saveNow(SaveSection::artworks, store_.state_.project,
                                 store_.state_.snapshot)) {
    if (silent > 0) --silent;
    transaction.rollback();
    images = std::move(before);
    std::tie(store_.state_.snapshot.artworksCreatedAt, store_.state_.snapshot.artworksUpdatedAt) =
        timesBefore;
    store_.stampedContent_[SaveSection::artworks] =
        sectionContentFingerprint(SaveSection::artworks, store_.state_.snapshot);
    // Other changes of the artworks written with this save must still go.
    store_.pipeline_->scheduleSave(SaveSection::artworks, store_.state_.project,
                                   store_.state_.snapshot);
    std::string message =
        store_.state_.lastErrorMessage.value_or(store_.text("app.error.save_failed", {""}));
    if (const std::string kept = keptFilesText(transaction); !kept.empty()) {
      message += kept;
      store_.fail(message);
    }
    store_.publish();
    return message;
  }
  for (const Artwork& artwork : artworks) {
    store_.undo_->imagePlaced(artwork.id, fileName, contentBefore, &transaction);
  }
  transaction.discard();
  return std::nullopt;
}

std::string IntakeRoom::keptFilesText(const OriginalMediaImportTransaction& transaction) const {
  if (!transaction.keptFolder()) return {};
  return " " + store_.text("app.error.media_kept", {*transaction.keptFolder()});
}

void IntakeRoom::announce(const std::vector<OversizedImageNotice>& oversized,
                          const std::optional<std::string>& lastFailure, std::size_t fileCount) {
  if (!oversized.empty()) {
    store_.state_.oversizedImageNotices = oversized;
    if (fileCount > 1) {
      const std::string review =
          store_.text("app.error.images_over_limit_review", {megabytes(kMaximumOriginalBytes)});
      store_.state_.showOversizedImagesHelper = true;
      store_.showToast(ToastStyle::error, review, ToastAction::showOversizedImages);
      return;
    }
  }
  if (lastFailure) store_.fail(*lastFailure);
  store_.publish();
}

std::int64_t IntakeRoom::nextSortIndex() const {
  std::int64_t next = 0;
  for (const Artwork& existing : store_.state_.snapshot.artworks.images) {
    next = std::max(next, existing.sortIndex + 1);
  }
  return next;
}

// ---- The store's routes ------------------------------------------------------

std::shared_ptr<ImageIntakeJob> AppStore::addImagesInBackground(
    const std::vector<std::string>& paths, Progress progress, ImagesAdded done) {
  struct Batch {
    std::string projectId;
    std::vector<ImageAddResult> results;
    std::vector<OversizedImageNotice> oversized;
    std::optional<std::string> lastFailure;
    std::size_t handled = 0;
  };
  auto batch = std::make_shared<Batch>();
  batch->projectId = state_.project.id;
  std::vector<IntakeFile> files;
  for (const std::string& path : paths) {
    files.push_back({path, services_.makeUuid()});
    batch->results.push_back({path, std::nullopt, {}});
  }
  const std::weak_ptr<AppStore*> weak = self_;
  const std::size_t total = paths.size();
  const auto take = [weak, batch, progress, total](PreparedIntake& intake) {
    const auto self = weak.lock();
    if (!self) {
      if (intake.transaction) intake.transaction->rollback();
      return;
    }
    AppStore& store = **self;
    ImageAddResult& result = batch->results[batch->handled++];
    if (intake.error) {
      result.message = store.intake_->imageFailureText(*intake.error, intake.file.path);
      batch->lastFailure = result.message;
      if (intake.error->errorCase() == ImageIntakeError::Case::tooLarge) {
        batch->oversized.push_back(OversizedImageNotice{store.services_.makeUuid(),
                                                        fileNameOf(intake.file.path),
                                                        intake.error->byteSize(),
                                                        {}});
      }
    } else if (store.state_.project.id != batch->projectId) {
      intake.transaction->rollback();
      result.message = store.text("app.intake.project_left");
    } else {
      Artwork artwork = *intake.artwork;
      artwork.sortIndex = store.intake_->nextSortIndex();
      if (const auto failure = store.intake_->putInPlace(*intake.transaction, {artwork},
                                                         fileNameOf(intake.file.path))) {
        result.message = *failure;
        batch->lastFailure = result.message;
      } else {
        result.artworkId = artwork.id;
        store.services_.logger.log("app add image id=" + artwork.id +
                                   " bytes=" + std::to_string(*artwork.originalByteSize));
        if (artwork.nearLimit) {
          result.message = store.text(kNearLimitWarningKey, {megabytes(*artwork.originalByteSize)});
          store.state_.imageSizeWarning = result.message;
        }
        store.countChanges(1);
        store.publish();
      }
    }
    if (progress) progress(batch->handled, total);
  };
  const auto finish = [weak, batch, done](bool cancelled) {
    const auto self = weak.lock();
    if (!self) return;
    AppStore& store = **self;
    for (ImageAddResult& result : batch->results) {
      if (!result.artworkId && result.message.empty()) {
        result.message = store.text("app.intake.cancelled");
      }
    }
    if (cancelled) store.services_.logger.log("app add images cancelled");
    store.intake_->announce(batch->oversized, batch->lastFailure, batch->results.size());
    if (done) done(batch->results);
  };
  return ImageIntakeJob::start(services_.media, services_.images, services_.imageQueue,
                               services_.main, std::move(files), take, finish);
}

bool AppStore::replaceImage(const std::string& artworkId, const std::string& path) {
  const Artwork* target = artwork(artworkId);
  if (target == nullptr) return failWithKey("app.error.no_such_artwork", {artworkId});
  Artwork replaced = *target;
  std::optional<PreparedImage> image;
  OriginalMediaImportTransaction transaction =
      OriginalMediaImportTransaction::open(services_.media);
  try {
    image = prepareImage(services_.media.files(), services_.images, path);
    stageImage(transaction, artworkId, *image);
  } catch (const ImageIntakeError& error) {
    transaction.rollback();
    if (error.errorCase() == ImageIntakeError::Case::tooLarge) {
      state_.oversizedImageNotices = {
          OversizedImageNotice{services_.makeUuid(), fileNameOf(path), error.byteSize(), {}}};
    }
    return fail(intake_->imageFailureText(error, path));
  }
  applyImage(replaced, *image, services_.media.webDerivativePath(artworkId));
  // The old original and its derivatives stay until the library holds the
  // new image; should that fail, they are put back.
  if (intake_->putInPlace(transaction, {replaced}, fileNameOf(path))) return false;
  state_.imageSizeWarning =
      replaced.nearLimit ? text(kNearLimitWarningKey, {megabytes(*replaced.originalByteSize)})
                         : std::string();
  services_.logger.log("app replace image id=" + artworkId +
                       " bytes=" + std::to_string(*replaced.originalByteSize));
  if (PreparedImageCache* kept = services_.renderer.preparedImages()) kept->forget(artworkId);
  countChanges(1);
  publish();
  return true;
}

}  // namespace quorvane
