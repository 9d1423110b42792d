// The store's finishing of imported images (app/import_finalization.h):
// at once for the command line, on the image queue for a window, pausing
// while the application is away or the machine is hot.
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/import_finalization.h"
#include "model/image_path.h"

namespace quorvane {

std::optional<AppStore::FinalizationRun> AppStore::beginFinalization() {
  const std::vector<std::string> pending =
      services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  if (pending.empty()) return std::nullopt;
  Logger& log = services_.logger;
  log.log("finalization resume pendingIDs count=" + std::to_string(pending.size()));
  FinalizationRun run;
  try {
    settleSaves();
    // One question for the whole list: finished ones (a run cut short) and
    // those of artworks deleted meanwhile drop out.
    run.work = services_.snapshots.artworksAwaitingImages(pending);
    run.originals = services_.media.originalsByArtwork();  // one listing for the run
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
  log.log("finalization resume dropped stale IDs count=" +
          std::to_string(pending.size() - run.work.size()));
  // The others go off the list with this run.
  const std::set<std::string> awaiting(run.work.begin(), run.work.end());
  for (const std::string& id : pending) {
    if (!awaiting.contains(id)) run.processed.push_back(id);
  }
  if (run.work.empty()) {
    endFinalizationRun(run);
    return std::nullopt;
  }
  state_.importFinalizationStatus = ImportFinalizationStatus{0, run.work.size(), false, {}};
  publish();
  return run;
}

void AppStore::imageFinished(FinalizationRun& run, const std::string& id,
                             const std::optional<Artwork>& fields) {
  if (fields) {
    // In the library already (written with its media row): the open
    // project's copy only takes the fields, and its path names that row.
    if (Artwork* shown = artwork(id)) {
      copyImageFields(*fields, *shown);
      shown->imagePath = sqliteMediaPath(id);
    }
  }
  run.processed.push_back(id);
  if (state_.importFinalizationStatus) state_.importFinalizationStatus->done += 1;
  // Told a few times a second, not at every image: telling compares the
  // open project's works, and ten thousand images must not cost ten
  // thousand such comparisons.
  const Date now = services_.clock.now();
  if (run.lastPublished && now - *run.lastPublished < kFinalizationPublishInterval) return;
  run.lastPublished = now;
  publish();
}

void AppStore::endFinalizationRun(const FinalizationRun& run) {
  // Read again: an import during the run added ids of its own, which stay.
  std::vector<std::string> pending =
      services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  const std::set<std::string> processed(run.processed.begin(), run.processed.end());
  std::erase_if(pending, [&](const std::string& id) { return processed.contains(id); });
  services_.preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  state_.importFinalizationStatus.reset();
  publish();
}

std::optional<Artwork> AppStore::finishAndStore(FilesMediaStore& media,
                                                const ImageOptimizer& images,
                                                IncrementalSnapshotRepository& library,
                                                const std::string& id,
                                                const std::optional<std::string>& original) {
  if (!original) return std::nullopt;  // nothing to finish
  FinishedImage finished = finishImportedImage(media, images, id, *original);
  if (!library.saveFinishedImage(finished.fields, finished.webImage)) return std::nullopt;
  return std::move(finished.fields);
}

std::size_t AppStore::finishImportedImages(const Progress& progress,
                                           std::optional<Milliseconds> budget) {
  std::optional<FinalizationRun> run = beginFinalization();
  if (!run) return 0;
  // Someone is waiting at the terminal for these images: nothing holds
  // them back.
  FinalizationConditions conditions = finalizationConditions_;
  conditions.override = true;
  services_.logger.log(finalizationRunStateLine(run->work.size(), conditions));
  const std::optional<Date> until =
      budget ? std::optional<Date>(services_.clock.now() + *budget) : std::nullopt;
  std::size_t finished = 0;
  for (const std::string& id : run->work) {
    if (until && services_.clock.now() >= *until) break;
    std::optional<Artwork> fields;
    try {
      fields = finishAndStore(services_.media, services_.images, services_.sectionSaves, id,
                              run->originalOf(id));
      ++finished;
    } catch (const std::exception& error) {
      services_.logger.log("finalization failed artworkId=" + id + " " + failureDiagnostic(error));
    }
    imageFinished(*run, id, fields);
    if (progress) progress(state_.importFinalizationStatus->done, run->work.size());
  }
  endFinalizationRun(*run);
  return finished;
}

std::size_t AppStore::importImagesAwaiting() const {
  const std::optional<std::vector<std::string>> pending =
      services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds);
  return pending ? pending->size() : 0;
}

void AppStore::startImportFinalization() {
  checkMainThread();
  if (finalization_) return;
  if (services_.imageQueue == nullptr) {
    finishImportedImages();
    return;
  }
  finalization_ = beginFinalization();
  if (!finalization_) return;
  if (evaluateFinalizationPause()) advanceFinalization();
}

bool AppStore::evaluateFinalizationPause() {
  if (!finalization_ || !state_.importFinalizationStatus) return true;
  const std::size_t pending = finalization_->work.size() - finalization_->next;
  Logger& log = services_.logger;
  log.log(finalizationRunStateLine(pending, finalizationConditions_));
  const std::optional<std::string> reason = finalizationPauseReason(finalizationConditions_);
  ImportFinalizationStatus& status = *state_.importFinalizationStatus;
  const bool wasPaused = status.isPaused;
  status.isPaused = reason.has_value();
  status.message = reason ? std::optional<std::string>(text(*reason)) : std::nullopt;
  if (reason && !wasPaused) {
    log.log("finalization paused reason=" + *reason + " pending=" + std::to_string(pending));
  }
  publish();
  return !reason;
}

void AppStore::advanceFinalization() {
  if (!finalization_ || finalization_->inFlight) return;
  if (finalization_->next >= finalization_->work.size()) {
    const FinalizationRun run = std::move(*finalization_);
    finalization_.reset();
    endFinalizationRun(run);
    // Images of an import made while this run went on get a run of their own.
    if (importImagesAwaiting() > 0) startImportFinalization();
    return;
  }
  if (finalizationPauseReason(finalizationConditions_)) return;
  const std::string id = finalization_->work[finalization_->next++];
  const std::optional<std::string> original = finalization_->originalOf(id);
  finalization_->inFlight = true;
  const std::weak_ptr<AppStore*> weak = self_;
  FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  IncrementalSnapshotRepository& library = services_.sectionSaves;
  Executor& main = services_.main;
  services_.imageQueue->post([weak, &media, &images, &library, &main, id, original] {
    std::optional<Artwork> fields;
    std::exception_ptr failure;
    try {
      fields = finishAndStore(media, images, library, id, original);
    } catch (...) {
      failure = std::current_exception();
    }
    main.post([weak, id, fields = std::move(fields), failure] {
      const std::shared_ptr<AppStore*> alive = weak.lock();
      if (!alive) return;
      AppStore& store = **alive;
      if (!store.finalization_) return;
      if (failure) {
        try {
          std::rethrow_exception(failure);
        } catch (const std::exception& error) {
          store.services_.logger.log("finalization failed artworkId=" + id + " " +
                                     failureDiagnostic(error));
        } catch (...) {
          store.services_.logger.log("finalization failed artworkId=" + id);
        }
      }
      store.finalization_->inFlight = false;
      store.imageFinished(*store.finalization_, id, fields);
      store.advanceFinalization();
    });
  });
}

void AppStore::thermalStateChanged(ThermalState state) {
  checkMainThread();
  finalizationConditions_.thermal = state;
  if (evaluateFinalizationPause()) advanceFinalization();
}

void AppStore::lowPowerModeChanged(bool lowPower) {
  checkMainThread();
  finalizationConditions_.lowPower = lowPower;
  if (evaluateFinalizationPause()) advanceFinalization();
}

}  // namespace quorvane
