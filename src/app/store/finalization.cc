// The store's finishing of imported images (app/import_finalization.h),
// image by image on the image queue. A run for a window pauses while the
// application is away or the machine is hot; a run the user waits for (the
// command line) goes on whatever the machine says, within its time budget.
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/image_intake.h"
#include "app/import_finalization.h"
#include "app/store/background.h"
#include "app/store/finalization_room.h"
#include "model/image_path.h"

namespace quorvane {

std::optional<FinalizationRoom::Run> FinalizationRoom::begin() {
  const std::vector<std::string> pending =
      store_.services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  if (pending.empty()) return std::nullopt;
  Logger& log = store_.services_.logger;
  log.log("finalization resume pendingIDs count=" + std::to_string(pending.size()));
  Run run;
  try {
    store_.settleSaves();
    // One question for the whole list: finished ones (a run cut short) and
    // those of artworks deleted meanwhile drop out.
    run.work = store_.services_.snapshots.artworksAwaitingImages(pending);
    run.originals = store_.services_.media.originalsByArtwork();  // one listing for the run
  } catch (const std::exception& error) {
    store_.failWith(error);
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
    end(run);
    return std::nullopt;
  }
  store_.state_.importFinalizationStatus = ImportFinalizationStatus{0, run.work.size(), false, {}};
  store_.publish();
  return run;
}

void FinalizationRoom::imageFinished(Run& run, const std::string& id,
                                     const std::optional<Artwork>& fields) {
  if (fields) {
    // In the library already (written with its media row): the open
    // project's copy only takes the fields, and its path names that row.
    if (Artwork* shown = store_.artwork(id)) {
      copyImageFields(*fields, *shown);
      shown->imagePath = sqliteMediaPath(id);
    }
  }
  run.processed.push_back(id);
  if (store_.state_.importFinalizationStatus) store_.state_.importFinalizationStatus->done += 1;
  // Told a few times a second, not at every image: telling compares the
  // open project's works, and ten thousand images must not cost ten
  // thousand such comparisons.
  const Date now = store_.services_.clock.now();
  if (run.lastPublished && now - *run.lastPublished < kPublishInterval) return;
  run.lastPublished = now;
  store_.publish();
}

void FinalizationRoom::end(const Run& run) {
  // Read again: an import during the run added ids of its own, which stay.
  std::vector<std::string> pending =
      store_.services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  const std::set<std::string> processed(run.processed.begin(), run.processed.end());
  std::erase_if(pending, [&](const std::string& id) { return processed.contains(id); });
  store_.services_.preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  store_.state_.importFinalizationStatus.reset();
  store_.publish();
}

std::optional<Artwork> FinalizationRoom::finishAndStore(
    FilesMediaStore& media, const ImageOptimizer& images, IncrementalSnapshotRepository& library,
    const std::string& id, const std::optional<std::string>& original) {
  if (!original) return std::nullopt;  // nothing to finish
  FinishedImage finished = finishImportedImage(media, images, id, *original);
  if (!library.saveFinishedImage(finished.fields, finished.webImage)) return std::nullopt;
  return std::move(finished.fields);
}

void FinalizationRoom::start(Request request) {
  if (run_) {
    // One run at a time: the one going on finishes these images too.
    if (request.done) request.done(0);
    return;
  }
  run_ = begin();
  if (!run_) {
    if (request.done) request.done(0);
    return;
  }
  run_->userWaits = request.userWaits;
  if (request.budget) run_->until = store_.services_.clock.now() + *request.budget;
  run_->progress = std::move(request.progress);
  run_->done = std::move(request.done);
  conditionsChanged();
}

FinalizationConditions FinalizationRoom::effectiveConditions() const {
  FinalizationConditions conditions = conditions_;
  // Someone is waiting at the terminal for these images: nothing holds
  // them back.
  conditions.override = run_ && run_->userWaits;
  return conditions;
}

void FinalizationRoom::conditionsChanged() {
  if (evaluatePause()) advance();
}

bool FinalizationRoom::evaluatePause() {
  if (!run_ || !store_.state_.importFinalizationStatus) return true;
  const std::size_t pending = run_->work.size() - run_->next;
  Logger& log = store_.services_.logger;
  const FinalizationConditions conditions = effectiveConditions();
  log.log(finalizationRunStateLine(pending, conditions));
  const std::optional<std::string> reason = finalizationPauseReason(conditions);
  ImportFinalizationStatus& status = *store_.state_.importFinalizationStatus;
  const bool wasPaused = status.isPaused;
  status.isPaused = reason.has_value();
  status.message = reason ? std::optional<std::string>(store_.text(*reason)) : std::nullopt;
  if (reason && !wasPaused) {
    log.log("finalization paused reason=" + *reason + " pending=" + std::to_string(pending));
  }
  store_.publish();
  return !reason;
}

void FinalizationRoom::advance() {
  if (!run_ || run_->inFlight) return;
  const bool outOfTime = run_->until && store_.services_.clock.now() >= *run_->until;
  if (run_->next >= run_->work.size() || outOfTime) {
    const Run run = std::move(*run_);
    run_.reset();
    end(run);
    if (run.done) {
      run.done(run.finished);
    } else if (store_.importImagesAwaiting() > 0) {
      // Images of an import made while this run went on get a run of their own.
      store_.startImportFinalization();
    }
    return;
  }
  if (finalizationPauseReason(effectiveConditions())) return;
  const std::string id = run_->work[run_->next++];
  const std::optional<std::string> original = run_->originalOf(id);
  run_->inFlight = true;
  FilesMediaStore& media = store_.services_.media;
  const ImageOptimizer& images = store_.services_.images;
  IncrementalSnapshotRepository& library = store_.services_.sectionSaves;
  runInBackground(
      store_.self_, store_.services_.imageQueue, store_.services_.main,
      [&media, &images, &library, id, original] {
        return finishAndStore(media, images, library, id, original);
      },
      [id](AppStore& store, const Outcome<std::optional<Artwork>>& outcome) {
        FinalizationRoom& room = *store.finalization_;
        if (!room.run_) return;
        std::optional<Artwork> fields;
        try {
          fields = outcome.get();
          ++room.run_->finished;
        } catch (const std::exception& error) {
          store.services_.logger.log("finalization failed artworkId=" + id + " " +
                                     failureDiagnostic(error));
        } catch (...) {
          store.services_.logger.log("finalization failed artworkId=" + id);
        }
        room.run_->inFlight = false;
        room.imageFinished(*room.run_, id, fields);
        if (room.run_->progress) {
          room.run_->progress(store.state_.importFinalizationStatus->done, room.run_->work.size());
        }
        room.advance();
      });
}

std::optional<std::string> FinalizationRoom::Run::originalOf(const std::string& id) const {
  const auto found = originals.find(id);
  return found == originals.end() ? std::nullopt : std::optional<std::string>(found->second);
}

// ---- The store's routes ------------------------------------------------------

std::size_t AppStore::importImagesAwaiting() const {
  const std::optional<std::vector<std::string>> pending =
      services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds);
  return pending ? pending->size() : 0;
}

void AppStore::startImportFinalization(FinalizationRequest request) {
  checkMainThread();
  finalization_->start(std::move(request));
}

bool AppStore::isImportFinalizationRunning() const { return finalization_->isRunning(); }

void AppStore::thermalStateChanged(ThermalState state) {
  checkMainThread();
  finalization_->conditions().thermal = state;
  finalization_->conditionsChanged();
}

void AppStore::lowPowerModeChanged(bool lowPower) {
  checkMainThread();
  finalization_->conditions().lowPower = lowPower;
  finalization_->conditionsChanged();
}

}  // namespace quorvane
