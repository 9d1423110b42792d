// The store's routes to project packages: the open project written as a
// package, and a package read in as a new project.
#include <filesystem>

#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/image_intake.h"
#include "app/import_finalization.h"
#include "app/package_export.h"
#include "app/package_import.h"
#include "model/export_file_names.h"
#include "packages/transfer_error.h"
#include "pdf/localization.h"
#include "platform/atomic_file.h"
#include "platform/paths.h"

namespace quorvane {

std::string AppStore::projectPackageFileName() const {
  const bool catalogue = state_.project.kind == ProjectKind::catalogue;
  std::string name =
      exportFileName(catalogue ? ExportDocumentKind::catalogue : ExportDocumentKind::portfolio,
                     state_.snapshot.details, exportLanguage(), services_.clock.now(),
                     state_.project.projectTitle);
  const std::string pdf = ".pdf";
  if (name.ends_with(pdf)) name.resize(name.size() - pdf.size());
  return name + ".quorvane";
}

bool AppStore::canWritePackageTo(const std::string& path) {
  if (services_.transfer == nullptr) {
    return fail(text("app.error.export_failed", {path, "no package service"}));
  }
  if (services_.libraryDirectory && isInsideDirectory(path, *services_.libraryDirectory)) {
    return fail(text("app.error.export_into_library", {path, *services_.libraryDirectory}));
  }
  return true;
}

std::optional<WrittenPackage> AppStore::exportProjectPackage(const std::string& path,
                                                             const PackageExportOptions& options,
                                                             const TransferProgressFn& progress) {
  lastBackupMissingOriginals_.clear();
  if (!canWritePackageTo(path)) return std::nullopt;
  try {
    PackageExport input = packageExportInput();
    const WrittenPackage written =
        writePackage(*services_.transfer, services_.media, services_.images, input, path,
                     services_.clock.now(), options, progress);
    packageWritten(written, path);
    return written;
  } catch (const std::exception& error) {
    packageFailed(error, path);
    return std::nullopt;
  }
}

PackageExport AppStore::packageExportInput() {
  settleSaves();
  ensurePersisted();
  settleSaves();
  PackageExport input;
  input.project = state_.project;
  input.snapshot = state_.snapshot;
  input.labelOverrides = services_.labels.allLabelOverrides();
  input.backupReminder = reminders_.state();
  input.lastProjectDataExportAt = reminders_.lastProjectDataExportAt();
  input.lastProjectDataImportAt = reminders_.lastProjectDataImportAt();
  return input;
}

WrittenPackage AppStore::writePackage(const QuorvaneTransferService& transfer,
                                      FilesMediaStore& media, const ImageOptimizer& images,
                                      PackageExport& input, const std::string& path, Date now,
                                      const PackageExportOptions& options,
                                      const TransferProgressFn& progress) {
  const BackupOriginals chosen =
      backupOriginals(OriginalsInventory(media, images), input.snapshot.artworks.images,
                      options.allowMissingOriginals);
  input.originals = chosen.originals;
  input.checkImage = libraryImageCheck(images);
  const std::filesystem::path target(path);
  const std::string folder =
      target.has_parent_path() ? target.parent_path().string() : std::string(".");
  // Where the file system has no unnamed files (a USB stick's FAT), a
  // killed backup leaves a named temporary file: gone with the next one,
  // whatever its name.
  removeStaleTemporaryFilesOfKind(folder, ".quorvane");
  const std::uint64_t bytes =
      transfer.exportPackage(input, path, now, options.replaceExisting, progress);
  return WrittenPackage{bytes, chosen.leftOut};
}

void AppStore::packageWritten(const WrittenPackage& written, const std::string& path) {
  services_.logger.log("app package written path=" + path +
                       " bytes=" + std::to_string(written.bytes) +
                       " withoutImages=" + std::to_string(written.withoutImages.size()));
  markProjectDataExported(services_.clock.now());
}

void AppStore::packageFailed(const std::exception& error, const std::string& path) {
  if (const auto* missing = dynamic_cast<const MissingOriginalsError*>(&error)) {
    lastBackupMissingOriginals_ = missing->missing();
  }
  services_.logger.log(failureDiagnostic(error));
  fail(text("app.error.backup_failed", {path, packageFailureText(error, language())}));
}

void AppStore::exportProjectPackageInBackground(const std::string& path,
                                                PackageExportOptions options,
                                                TransferProgressFn progress, PackageWritten done) {
  lastBackupMissingOriginals_.clear();
  const auto finish = [done](const std::optional<WrittenPackage>& written) {
    if (done) done(written);
  };
  if (!canWritePackageTo(path)) return finish(std::nullopt);
  PackageExport input;
  try {
    input = packageExportInput();
  } catch (const std::exception& error) {
    packageFailed(error, path);
    return finish(std::nullopt);
  }
  const std::weak_ptr<AppStore*> weak = self_;
  Executor& main = services_.main;
  const QuorvaneTransferService* transfer = services_.transfer;
  FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  services_.saveQueue.post([weak, &main, transfer, &media, &images, input = std::move(input), path,
                            options, progress, finish, now = services_.clock.now()]() mutable {
    std::optional<WrittenPackage> written;
    std::exception_ptr failure;
    try {
      const TransferProgressFn told = [&main, weak, progress](const TransferProgress& at) {
        if (progress)
          main.post([weak, progress, at] {
            if (weak.lock()) progress(at);
          });
      };
      written = writePackage(*transfer, media, images, input, path, now, options, told);
    } catch (...) {
      failure = std::current_exception();
    }
    main.post([weak, path, written, failure, finish] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      if (!written) {
        try {
          std::rethrow_exception(failure);
        } catch (const std::exception& error) {
          store.packageFailed(error, path);
        } catch (...) {
          store.fail(store.text("app.error.export_failed", {path, ""}));
        }
        return finish(std::nullopt);
      }
      store.packageWritten(*written, path);
      finish(written);
    });
  });
}

std::vector<MissingOriginal> AppStore::missingOriginals() const {
  return quorvane::missingOriginals(OriginalsInventory(services_.media, services_.images),
                                    state_.snapshot.artworks.images);
}

AppStore::RoundTripReport AppStore::roundTripProjectPackage(const std::string& folder) {
  if (services_.transfer == nullptr) return {false, text("error.roundtrip_export_failed")};
  const std::string path = folder + "/roundtrip.quorvane";
  std::size_t expected = 0;
  for (const Artwork& artwork : state_.snapshot.artworks.images) {
    if (!services_.media.originalFiles(artwork.id).empty()) ++expected;
  }
  try {
    PackageExport input = packageExportInput();
    writePackage(*services_.transfer, services_.media, services_.images, input, path,
                 services_.clock.now(), {true, false});
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    return {false, text("error.roundtrip_export_failed")};
  }
  try {
    OpenedPackage opened = services_.transfer->openPackage(path);
    checkOriginals(*opened.archive, opened.content, services_.transfer->limits());
    std::filesystem::remove(path);
    return {true,
            text("roundtrip.ok", {std::to_string(state_.snapshot.artworks.images.size()),
                                  std::to_string(opened.content.snapshot.artworks.images.size()),
                                  std::to_string(opened.content.mediaPathByArtworkId.size()),
                                  std::to_string(expected)})};
  } catch (const std::exception& error) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    return {false, text("error.roundtrip_failed", {error.what()})};
  }
}

std::optional<std::string> AppStore::importProjectPackage(
    const std::string& path, bool open, const std::function<void(const std::string&)>& step,
    const TransferProgressFn& progress) {
  lastImportFailure_.reset();
  if (services_.transfer == nullptr || services_.imports == nullptr) {
    lastImportFailure_ = "no package service";
    failWithKey("error.import_invalid_project");
    return std::nullopt;
  }
  if (state_.isImportingProjectPackage) {
    failWithKey("cv.import.error.busy");
    return std::nullopt;
  }
  state_.isImportingProjectPackage = true;
  publish();
  const auto tell = [&](std::string_view key) {
    if (step) step(text(key));
  };
  Logger& log = services_.logger;
  try {
    std::error_code sizeError;
    const auto bytes = std::filesystem::file_size(path, sizeError);
    log.log("app importProjectPackage(async) start bytes=" +
            (sizeError ? std::string("?") : std::to_string(bytes)));
    tell("import.toast.step.parsing");
    OpenedPackage opened = services_.transfer->openPackage(path);
    tell("import.toast.step.hydrating");
    settleSaves();
    const MergedPackage merged =
        mergeIntoLibrary(opened,
                         PackageMergeServices{*services_.imports, services_.labels, services_.media,
                                              services_.images, log, services_.makeUuid},
                         services_.transfer->limits(), text("app.project.imported_name"), progress);
    tell("import.toast.step.applying");
    const auto importedId = importMerged(merged, open);
    tell("import.toast.step.done");
    return importedId;
  } catch (...) {
    importFailed(std::current_exception());
    return std::nullopt;
  }
}

bool AppStore::importProjectPackageInBackground(const std::string& path, bool open,
                                                TransferProgressFn progress, PackageImported done) {
  lastImportFailure_.reset();
  if (services_.transfer == nullptr || services_.imports == nullptr) {
    lastImportFailure_ = "no package service";
    failWithKey("error.import_invalid_project");
    return false;
  }
  if (state_.isImportingProjectPackage) {
    failWithKey("cv.import.error.busy");
    return false;
  }
  state_.isImportingProjectPackage = true;
  std::error_code sizeError;
  const auto bytes = std::filesystem::file_size(path, sizeError);
  services_.logger.log("app importProjectPackage(async) start bytes=" +
                       (sizeError ? std::string("?") : std::to_string(bytes)));
  showToast(ToastStyle::info, text("import.toast.step.parsing"));
  // The edits waiting in their debounce go first on the same queue.
  pipeline_->firePendingSaves();
  const std::weak_ptr<AppStore*> weak = self_;
  Executor& main = services_.main;
  const QuorvaneTransferService* transfer = services_.transfer;
  const PackageMergeServices merge{*services_.imports, services_.labels, services_.media,
                                   services_.images,   services_.logger, services_.makeUuid};
  const auto step = [&main, weak](std::string key) {
    main.post([weak, key] {
      if (const auto self = weak.lock()) (*self)->showToast(ToastStyle::info, (*self)->text(key));
    });
  };
  services_.saveQueue.post([weak, &main, transfer, merge, path, open, progress, done, step,
                            emptyName = text("app.project.imported_name")] {
    std::optional<MergedPackage> merged;
    std::exception_ptr failure;
    try {
      OpenedPackage opened = transfer->openPackage(path);
      step("import.toast.step.hydrating");
      const TransferProgressFn told = [&main, weak, progress](const TransferProgress& at) {
        if (progress)
          main.post([weak, progress, at] {
            if (weak.lock()) progress(at);
          });
      };
      merged = mergeIntoLibrary(opened, merge, transfer->limits(), emptyName, told);
    } catch (...) {
      failure = std::current_exception();
    }
    main.post([weak, merged = std::move(merged), failure, open, done] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      std::optional<std::string> importedId;
      if (merged) {
        store.showToast(ToastStyle::info, store.text("import.toast.step.applying"));
        try {
          importedId = store.importMerged(*merged, open);
        } catch (...) {
          store.importFailed(std::current_exception());
        }
      } else {
        store.importFailed(failure);
      }
      if (done) done(importedId);
    });
  });
  publish();
  return true;
}

std::optional<std::string> AppStore::importMerged(const MergedPackage& merged, bool open) {
  Logger& log = services_.logger;
  log.log("app importProjectPackage(async) parsed projectId=" + merged.project.id);
  pageLabels_.reset();  // the package's label overrides were merged in
  // The images whose derivatives are still to be made, for the
  // background to finish (and to find again after a restart).
  std::vector<std::string> pending =
      services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  pending.insert(pending.end(), merged.pendingArtworkIds.begin(), merged.pendingArtworkIds.end());
  services_.preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  countChanges(1);
  markProjectDataImported(services_.clock.now());
  reloadSummaries();
  if (open) openLoaded(merged.project.id, true);
  log.log("app importProjectPackage(async) done pendingFinalization=" +
          std::to_string(merged.pendingArtworkIds.size()));
  state_.isImportingProjectPackage = false;
  showToast(ToastStyle::success, text("success.project_imported"));
  return merged.project.id;
}

void AppStore::importFailed(const std::exception_ptr& failure) {
  Logger& log = services_.logger;
  state_.isImportingProjectPackage = false;
  try {
    if (failure) std::rethrow_exception(failure);
    lastImportFailure_ = "unknown";
  } catch (const QuorvaneTransferError& error) {
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    lastImportFailure_ = std::string(rawValue(error.errorCase()));
    // The file is at fault; when it is one work's image, the work is named.
    std::string words = text("error.import_invalid_project");
    if (error.artworkTitle())
      words += " " + text("package.error.import_sentence", {packageFailureText(error, language())});
    fail(words);
    return;
  } catch (const PackageDecodingError& error) {
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    lastImportFailure_ = error.what();
  } catch (const std::exception& error) {
    // The disk, or the library: nothing to do with the file, and said so.
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    log.log(failureDiagnostic(error));
    lastImportFailure_ = failureText(error, language());
    fail(text("error.import_failed", {*lastImportFailure_}));
    return;
  } catch (...) {
    lastImportFailure_ = "unknown";
  }
  failWithKey("error.import_invalid_project");
}

std::optional<AppStore::FinalizationRun> AppStore::beginFinalization() {
  Preferences& preferences = services_.preferences;
  std::vector<std::string> pending =
      preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  if (pending.empty()) return std::nullopt;
  Logger& log = services_.logger;
  log.log("finalization resume pendingIDs count=" + std::to_string(pending.size()));
  FinalizationRun run;
  try {
    settleSaves();
    for (const ProjectSummary& summary : services_.snapshots.projectSummaries()) {
      const std::optional<LoadedProject> loaded = services_.snapshots.load(summary.id);
      if (!loaded) continue;
      for (const Artwork& artwork : loaded->snapshot.artworks.images) {
        run.projectOf.emplace(artwork.id, summary.id);
      }
    }
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
  const std::size_t before = pending.size();
  std::erase_if(pending, [&](const std::string& id) { return !run.projectOf.contains(id); });
  log.log("finalization resume dropped stale IDs count=" + std::to_string(before - pending.size()));
  preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  if (pending.empty()) return std::nullopt;
  run.work = pending;
  state_.importFinalizationStatus = ImportFinalizationStatus{0, pending.size(), false, {}};
  publish();
  return run;
}

std::optional<Artwork> AppStore::pendingArtwork(const FinalizationRun& run, const std::string& id) {
  const std::string& projectId = run.projectOf.at(id);
  if (projectId == state_.project.id) {
    if (isUnsaved_) return std::nullopt;
    const Artwork* live = artwork(id);
    return live != nullptr ? std::optional<Artwork>(*live) : std::nullopt;
  }
  const std::optional<LoadedProject> loaded = services_.snapshots.load(projectId);
  if (!loaded) return std::nullopt;
  for (const Artwork& candidate : loaded->snapshot.artworks.images) {
    if (candidate.id == id) return candidate;
  }
  return std::nullopt;
}

void AppStore::storeFinalized(const std::string& projectId, const Artwork& finished) {
  if (projectId == state_.project.id) {
    Artwork* target = artwork(finished.id);
    if (target == nullptr) return;  // removed while its image was being made
    copyImageFields(finished, *target);
    stampSection(SaveSection::artworks);
    if (!pipeline_->saveNow(SaveSection::artworks, state_.project, state_.snapshot)) {
      throw std::runtime_error(state_.lastErrorMessage.value_or("save failed"));
    }
    return;
  }
  std::optional<LoadedProject> loaded = services_.snapshots.load(projectId);
  if (!loaded) return;
  for (Artwork& candidate : loaded->snapshot.artworks.images) {
    if (candidate.id != finished.id) continue;
    copyImageFields(finished, candidate);
    services_.sectionSaves.save(loaded->project, loaded->snapshot, "artworks");
  }
}

void AppStore::finalizationStepDone(const std::string& id) {
  Preferences& preferences = services_.preferences;
  std::vector<std::string> pending =
      preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  std::erase(pending, id);
  preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  if (state_.importFinalizationStatus) state_.importFinalizationStatus->done += 1;
  publish();
}

void AppStore::endFinalization() {
  finalization_.reset();
  state_.importFinalizationStatus.reset();
  publish();
}

std::size_t AppStore::finishImportedImages(const Progress& progress) {
  std::optional<FinalizationRun> run = beginFinalization();
  if (!run) return 0;
  // Someone is waiting at the terminal for these images: nothing holds
  // them back.
  FinalizationConditions conditions = finalizationConditions_;
  conditions.override = true;
  services_.logger.log(finalizationRunStateLine(run->work.size(), conditions));
  std::size_t finished = 0;
  for (const std::string& id : run->work) {
    try {
      std::optional<Artwork> copy = pendingArtwork(*run, id);
      if (copy && finalizeImportedImage(services_.media, services_.images, *copy)) {
        storeFinalized(run->projectOf.at(id), *copy);
      }
      ++finished;
    } catch (const std::exception& error) {
      services_.logger.log("finalization failed artworkId=" + id + " " + failureDiagnostic(error));
    }
    finalizationStepDone(id);
    if (progress) progress(state_.importFinalizationStatus->done, run->work.size());
  }
  state_.importFinalizationStatus.reset();
  publish();
  return finished;
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
  while (finalization_->next < finalization_->work.size()) {
    if (finalizationPauseReason(finalizationConditions_)) return;
    const std::string id = finalization_->work[finalization_->next++];
    std::optional<Artwork> copy;
    try {
      copy = pendingArtwork(*finalization_, id);
    } catch (const std::exception& error) {
      services_.logger.log("finalization failed artworkId=" + id + " " + failureDiagnostic(error));
    }
    if (!copy) {
      finalizationStepDone(id);
      continue;
    }
    finalization_->inFlight = true;
    const std::weak_ptr<AppStore*> weak = self_;
    FilesMediaStore& media = services_.media;
    const ImageOptimizer& images = services_.images;
    Executor& main = services_.main;
    services_.imageQueue->post(
        [weak, &media, &images, &main, artwork = std::move(*copy)]() mutable {
          std::exception_ptr failure;
          bool made = false;
          try {
            made = finalizeImportedImage(media, images, artwork);
          } catch (...) {
            failure = std::current_exception();
          }
          main.post([weak, made, failure, artwork = std::move(artwork)] {
            const std::shared_ptr<AppStore*> alive = weak.lock();
            if (!alive) return;
            AppStore& store = **alive;
            if (!store.finalization_) return;
            try {
              if (failure) std::rethrow_exception(failure);
              if (made)
                store.storeFinalized(store.finalization_->projectOf.at(artwork.id), artwork);
            } catch (const std::exception& error) {
              store.services_.logger.log("finalization failed artworkId=" + artwork.id + " " +
                                         failureDiagnostic(error));
            }
            store.finalization_->inFlight = false;
            store.finalizationStepDone(artwork.id);
            store.advanceFinalization();
          });
        });
    return;
  }
  endFinalization();
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
