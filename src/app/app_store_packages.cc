// The store's routes to project packages: the open project written as a
// package, and a package read in as a new project.
#include <filesystem>

#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/image_intake.h"
#include "app/package_export.h"
#include "app/package_import.h"
#include "model/export_file_names.h"
#include "packages/transfer_error.h"
#include "pdf/localization.h"
#include "platform/atomic_file.h"
#include "platform/paths.h"

namespace quorvane {

std::string AppStore::projectPackageFileName() const {
  return packageFileName(state_.project, state_.snapshot.details, exportLanguage(),
                         services_.clock.now());
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
        writeProjectPackage(*services_.transfer, services_.media, services_.images, input, path,
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

void AppStore::packageWritten(const WrittenPackage& written, const std::string& path) {
  services_.logger.log("app package written path=" + path +
                       " bytes=" + std::to_string(written.bytes) +
                       " withoutImages=" + std::to_string(written.withoutImages.size()));
  markProjectDataExported(services_.clock.now());
}

void AppStore::packageFailed(const std::exception& error, const std::string& path) {
  if (dynamic_cast<const CancelledError*>(&error) != nullptr) {
    return showToast(ToastStyle::info, text("app.backup.cancelled"));
  }
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
      written = writeProjectPackage(*transfer, media, images, input, path, now, options, told);
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
    writeProjectPackage(*services_.transfer, services_.media, services_.images, input, path,
                        services_.clock.now(), {true, false, {}});
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
    return importMerged(merged, open, tell);
  } catch (...) {
    importFailed(std::current_exception());
    return std::nullopt;
  }
}

std::optional<std::string> AppStore::projectAlreadyInLibrary(const std::string& path) {
  if (services_.transfer == nullptr) return std::nullopt;
  try {
    const OpenedPackage opened = services_.transfer->openPackage(path);
    settleSaves();
    const auto same = sameProjectInLibrary(opened.content, services_.snapshots);
    if (same) return same->projectName;
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
  }
  return std::nullopt;
}

bool AppStore::importProjectPackageInBackground(const std::string& path, bool open,
                                                TransferProgressFn progress, PackageImported done,
                                                Cancellation cancel) {
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
  services_.saveQueue.post([weak, &main, transfer, merge, path, open, progress, done, step, cancel,
                            emptyName = text("app.project.imported_name")] {
    std::optional<MergedPackage> merged;
    std::exception_ptr failure;
    try {
      if (cancel.isCancelled()) throw CancelledError();
      OpenedPackage opened = transfer->openPackage(path);
      step("import.toast.step.hydrating");
      // Stopping between two originals: the media transaction takes back
      // what was staged, and the library is as before.
      const TransferProgressFn told = [&main, weak, progress, cancel](const TransferProgress& at) {
        if (cancel.isCancelled()) throw CancelledError();
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
          importedId = store.importMerged(*merged, open, [&store](std::string_view key) {
            store.showToast(ToastStyle::info, store.text(key));
          });
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

std::optional<std::string> AppStore::importMerged(
    const MergedPackage& merged, bool open, const std::function<void(std::string_view)>& done) {
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
  if (done) done("import.toast.step.done");
  showToast(ToastStyle::success, text("success.project_imported"));
  return merged.project.id;
}

void AppStore::importFailed(const std::exception_ptr& failure) {
  Logger& log = services_.logger;
  state_.isImportingProjectPackage = false;
  try {
    if (failure) std::rethrow_exception(failure);
    lastImportFailure_ = "unknown";
  } catch (const CancelledError&) {
    log.log("app importProjectPackage(async) cancelled");
    lastImportFailure_ = "cancelled";
    showToast(ToastStyle::info, text("app.import.cancelled"));
    return;
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

}  // namespace quorvane
