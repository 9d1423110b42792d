// The store's routes to project packages: the open project written as a
// package, and a package read in as a new project.
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/image_intake.h"
#include "app/package_export.h"
#include "app/package_import.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"
#include "app/store/packages_room.h"
#include "app/store/thumbnail_room.h"
#include "app/store/undo_room.h"
#include "model/export_file_names.h"
#include "packages/transfer_error.h"
#include "pdf/localization.h"
#include "platform/atomic_file.h"
#include "platform/paths.h"

namespace quorvane {
namespace {

// The size of a package for the diagnostics; "?" when it can't be read.
std::string packageSizeText(FileSystem& files, const std::string& path) {
  try {
    return std::to_string(files.fileSize(path));
  } catch (const std::exception&) {
    return "?";
  }
}

}  // namespace

PackageExport PackagesRoom::exportInput() {
  store_.settleSaves();
  store_.ensurePersisted();
  store_.settleSaves();
  PackageExport input;
  input.project = store_.state_.project;
  input.snapshot = store_.state_.snapshot;
  input.labelOverrides = store_.services_.labels.allLabelOverrides();
  input.backupReminder = store_.reminders_.state();
  input.lastProjectDataExportAt = store_.reminders_.lastProjectDataExportAt();
  input.lastProjectDataImportAt = store_.reminders_.lastProjectDataImportAt();
  return input;
}

std::optional<std::string> PackagesRoom::importMerged(
    const MergedPackage& merged, bool open, const std::function<void(std::string_view)>& done) {
  Logger& log = store_.services_.logger;
  log.log("app importProjectPackage(async) parsed projectId=" + merged.project.id);
  store_.thumbnails_->forgetLabels();  // the package's label overrides were merged in
  // The images whose derivatives are still to be made, for the
  // background to finish (and to find again after a restart).
  std::vector<std::string> pending =
      store_.services_.preferences.strings(preference_key::kPendingFinalizationArtworkIds)
          .value_or(std::vector<std::string>{});
  pending.insert(pending.end(), merged.pendingArtworkIds.begin(), merged.pendingArtworkIds.end());
  store_.services_.preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, pending);
  store_.countChanges(1);
  // What came in may have changed any project's works: no step of before
  // can be trusted to take back only its own change.
  store_.undo_->clear();
  store_.markProjectDataImported(store_.services_.clock.now());
  store_.reloadSummaries();
  if (open) store_.openLoaded(merged.project.id, true);
  log.log("app importProjectPackage(async) done pendingFinalization=" +
          std::to_string(merged.pendingArtworkIds.size()));
  store_.state_.isImportingProjectPackage = false;
  if (done) done("import.toast.step.done");
  store_.showToast(ToastStyle::success, store_.text("success.project_imported"));
  return merged.project.id;
}

void PackagesRoom::importFailed(const std::exception_ptr& failure) {
  Logger& log = store_.services_.logger;
  store_.state_.isImportingProjectPackage = false;
  try {
    if (failure) std::rethrow_exception(failure);
    lastImportFailure = "unknown";
  } catch (const CancelledError&) {
    log.log("app importProjectPackage(async) cancelled");
    lastImportFailure = "cancelled";
    store_.showToast(ToastStyle::info, store_.text("app.import.cancelled"));
    return;
  } catch (const QuorvaneTransferError& error) {
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    lastImportFailure = std::string(rawValue(error.errorCase()));
    // The file is at fault; when it is one work's image, the work is named.
    std::string words = store_.text("error.import_invalid_project");
    if (error.artworkTitle())
      words += " " + store_.text("package.error.import_sentence",
                                 {packageFailureText(error, store_.language())});
    store_.fail(words);
    return;
  } catch (const PackageDecodingError& error) {
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    lastImportFailure = error.what();
  } catch (const std::exception& error) {
    // The disk, or the library: nothing to do with the file, and said so.
    log.log(std::string("app importProjectPackage(async) failed error=") + error.what());
    log.log(failureDiagnostic(error));
    lastImportFailure = failureText(error, store_.language());
    store_.fail(store_.text("error.import_failed", {*lastImportFailure}));
    return;
  } catch (...) {
    lastImportFailure = "unknown";
  }
  store_.failWithKey("error.import_invalid_project");
}

bool PackagesRoom::canWriteTo(const std::string& path) {
  if (store_.services_.libraryDirectory &&
      isInsideDirectory(path, *store_.services_.libraryDirectory)) {
    return store_.fail(
        store_.text("app.error.export_into_library", {path, *store_.services_.libraryDirectory}));
  }
  return true;
}

void PackagesRoom::written(const WrittenPackage& written, const std::string& path) {
  store_.services_.logger.log("app package written path=" + path +
                              " bytes=" + std::to_string(written.bytes) +
                              " withoutImages=" + std::to_string(written.withoutImages.size()));
  store_.markProjectDataExported(store_.services_.clock.now());
}

void PackagesRoom::failed(const std::exception& error, const std::string& path) {
  if (dynamic_cast<const CancelledError*>(&error) != nullptr) {
    return store_.showToast(ToastStyle::info, store_.text("app.backup.cancelled"));
  }
  if (const auto* missing = dynamic_cast<const MissingOriginalsError*>(&error)) {
    lastBackupMissingOriginals = missing->missing();
  }
  store_.services_.logger.log(failureDiagnostic(error));
  store_.fail(
      store_.text("app.error.backup_failed", {path, packageFailureText(error, store_.language())}));
}

// ---- The store's routes ------------------------------------------------------

const std::optional<std::string>& AppStore::lastImportFailure() const {
  return packages_->lastImportFailure;
}

const std::vector<MissingOriginal>& AppStore::lastBackupMissingOriginals() const {
  return packages_->lastBackupMissingOriginals;
}

std::string AppStore::projectPackageFileName() const {
  return packageFileName(state_.project, state_.snapshot.details, exportLanguage(),
                         services_.clock.now());
}

void AppStore::exportProjectPackageInBackground(const std::string& path,
                                                PackageExportOptions options,
                                                TransferProgressFn progress, PackageWritten done) {
  packages_->lastBackupMissingOriginals.clear();
  const auto finish = [done](const std::optional<WrittenPackage>& written) {
    if (done) done(written);
  };
  if (!packages_->canWriteTo(path)) return finish(std::nullopt);
  PackageExport input;
  try {
    input = packages_->exportInput();
  } catch (const std::exception& error) {
    packages_->failed(error, path);
    return finish(std::nullopt);
  }
  const QuorvaneTransferService* transfer = &services_.transfer;
  FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [transfer, &media, &images, input = std::move(input), path, options,
       told = toldOnMain(self_, services_.main, std::move(progress)),
       now = services_.clock.now()]() mutable {
        return writeProjectPackage(*transfer, media, images, input, path, now, options, told);
      },
      [path, finish](AppStore& store, const Outcome<WrittenPackage>& outcome) {
        try {
          store.packages_->written(outcome.get(), path);
          finish(outcome.value);
        } catch (const std::exception& error) {
          store.packages_->failed(error, path);
          finish(std::nullopt);
        }
      });
}

std::vector<MissingOriginal> AppStore::missingOriginals() const {
  return quorvane::missingOriginals(OriginalsInventory(services_.media, services_.images),
                                    state_.snapshot.artworks.images);
}

AppStore::RoundTripReport AppStore::roundTripProjectPackage(const std::string& folder) {
  const std::string path = folder + "/roundtrip.quorvane";
  std::size_t expected = 0;
  for (const Artwork& artwork : state_.snapshot.artworks.images) {
    if (!services_.media.originalFiles(artwork.id).empty()) ++expected;
  }
  try {
    PackageExport input = packages_->exportInput();
    writeProjectPackage(services_.transfer, services_.media, services_.images, input, path,
                        services_.clock.now(), {true, false, {}});
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    return {false, text("error.roundtrip_export_failed")};
  }
  try {
    OpenedPackage opened = services_.transfer.openPackage(path);
    checkOriginals(*opened.archive, opened.content, services_.transfer.limits());
    services_.files->removeAll(path);
    return {true,
            text("roundtrip.ok", {std::to_string(state_.snapshot.artworks.images.size()),
                                  std::to_string(opened.content.snapshot.artworks.images.size()),
                                  std::to_string(opened.content.mediaPathByArtworkId.size()),
                                  std::to_string(expected)})};
  } catch (const std::exception& error) {
    try {
      services_.files->removeAll(path);
    } catch (const std::exception&) {
      // Left for the user to remove: the round trip's own failure is what to say.
    }
    return {false, text("error.roundtrip_failed", {error.what()})};
  }
}

std::optional<std::string> AppStore::projectAlreadyInLibrary(const std::string& path) {
  try {
    const OpenedPackage opened = services_.transfer.openPackage(path);
    settleSaves();
    const auto same = sameProjectInLibrary(opened.content, services_.snapshots);
    if (same) return same->projectName;
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
  }
  return std::nullopt;
}

void PackagesRoom::tellStep(std::string_view key, const PackageImportRequest::Step& step) {
  const std::string words = store_.text(key);
  store_.showToast(ToastStyle::info, words);
  if (step) step(words);
}

bool AppStore::importProjectPackageInBackground(PackageImportRequest request) {
  packages_->lastImportFailure.reset();
  if (state_.isImportingProjectPackage) {
    failWithKey("cv.import.error.busy");
    return false;
  }
  state_.isImportingProjectPackage = true;
  services_.logger.log("app importProjectPackage(async) start bytes=" +
                       packageSizeText(*services_.files, request.path));
  packages_->tellStep("import.toast.step.parsing", request.step);
  // The edits waiting in their debounce go first on the same queue.
  pipeline_->firePendingSaves();
  const QuorvaneTransferService* transfer = &services_.transfer;
  const PackageMergeServices merge{services_.imports, services_.labels, services_.media,
                                   services_.images,  services_.logger, services_.makeUuid};
  const std::function<void(std::string)> tell = toldOnMain(
      self_, services_.main,
      std::function<void(std::string)>(
          [this, step = request.step](const std::string& key) { packages_->tellStep(key, step); }));
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [transfer, merge, path = request.path, tell, cancel = request.cancel,
       emptyName = text("app.project.imported_name"),
       told = toldOnMain(self_, services_.main, request.progress)] {
        if (cancel.isCancelled()) throw CancelledError();
        OpenedPackage opened = transfer->openPackage(path);
        tell("import.toast.step.hydrating");
        // Stopping between two originals: the media transaction takes back
        // what was staged, and the library is as before.
        const TransferProgressFn tellOrStop = [told, cancel](const TransferProgress& at) {
          if (cancel.isCancelled()) throw CancelledError();
          if (told) told(at);
        };
        return mergeIntoLibrary(opened, merge, transfer->limits(), emptyName, tellOrStop);
      },
      [request](AppStore& store, const Outcome<MergedPackage>& outcome) {
        std::optional<std::string> importedId;
        try {
          const MergedPackage& merged = outcome.get();
          store.packages_->tellStep("import.toast.step.applying", request.step);
          importedId = store.packages_->importMerged(merged, request.open,
                                                     [&store, &request](std::string_view key) {
                                                       store.packages_->tellStep(key, request.step);
                                                     });
        } catch (...) {
          store.packages_->importFailed(std::current_exception());
        }
        if (importedId && request.finishImagesAfter) store.startImportFinalization();
        if (request.done) request.done(importedId);
      });
  publish();
  return true;
}

}  // namespace quorvane
