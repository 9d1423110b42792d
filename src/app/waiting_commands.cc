#include "app/waiting_commands.h"

#include "app/export_job.h"
#include "app/image_intake_job.h"

namespace quorvane {

std::vector<ImageAddResult> addImages(AppStore& store, const std::vector<std::string>& paths,
                                      const AppStore::Progress& progress) {
  using Results = std::vector<ImageAddResult>;
  return waitFor<Results>(store, [&](std::function<void(Results)> done) {
    store.addImagesInBackground(paths, progress, [done](const Results& results) { done(results); });
  });
}

bool openProject(AppStore& store, const std::string& projectId) {
  return waitFor<bool>(store, [&](std::function<void(bool)> done) {
    store.openProjectInBackground(projectId, std::move(done));
  });
}

std::vector<ReusableArtworkAsset> vault(AppStore& store) {
  return waitFor<std::vector<ReusableArtworkAsset>>(
      store, [&](std::function<void(std::vector<ReusableArtworkAsset>)> done) {
        store.vaultInBackground(std::move(done));
      });
}

std::optional<std::vector<PdfWarning>> exportPDF(AppStore& store, const RenderRequest& request,
                                                 const ExportOptions& options,
                                                 const std::string& path,
                                                 const AppStore::Progress& progress,
                                                 bool replaceExisting) {
  using Warnings = std::optional<std::vector<PdfWarning>>;
  return waitFor<Warnings>(store, [&](std::function<void(Warnings)> done) {
    store.exportPDFInBackground(
        request, options, path, progress, [done](const Warnings& warnings) { done(warnings); },
        replaceExisting);
  });
}

std::optional<WrittenPackage> exportProjectPackage(AppStore& store, const std::string& path,
                                                   const PackageExportOptions& options,
                                                   const TransferProgressFn& progress) {
  using Written = std::optional<WrittenPackage>;
  return waitFor<Written>(store, [&](std::function<void(Written)> done) {
    store.exportProjectPackageInBackground(path, options, progress,
                                           [done](const Written& written) { done(written); });
  });
}

std::optional<AllBackups> exportAllProjectPackages(AppStore& store, const std::string& folder,
                                                   const PackageExportOptions& options,
                                                   const AllBackupsProgress& progress) {
  using Report = std::optional<AllBackups>;
  return waitFor<Report>(store, [&](std::function<void(Report)> done) {
    store.exportAllProjectPackagesInBackground(folder, options, progress,
                                               [done](const Report& report) { done(report); });
  });
}

std::optional<PreparedWebCVImport> prepareWebCVImport(AppStore& store, const std::string& path) {
  using Prepared = std::optional<PreparedWebCVImport>;
  return waitFor<Prepared>(store, [&](std::function<void(Prepared)> done) {
    if (!store.prepareWebCVImportInBackground(path, done)) done(std::nullopt);
  });
}

bool applyWebCVImport(AppStore& store, const PreparedWebCVImport& prepared,
                      const WebCVImportSelection& selection) {
  return waitFor<bool>(store, [&](std::function<void(bool)> done) {
    if (!store.applyWebCVImportInBackground(prepared, selection, done)) done(false);
  });
}

std::optional<std::string> importProjectPackage(AppStore& store, const std::string& path, bool open,
                                                const PackageImportRequest::Step& step,
                                                const TransferProgressFn& progress) {
  using Imported = std::optional<std::string>;
  return waitFor<Imported>(store, [&](std::function<void(Imported)> done) {
    const bool started =
        store.importProjectPackageInBackground({.path = path,
                                                .open = open,
                                                .progress = progress,
                                                .step = step,
                                                .done = [done](const Imported& id) { done(id); },
                                                .cancel = {},
                                                .finishImagesAfter = false});
    if (!started) done(std::nullopt);
  });
}

std::size_t finishImportedImages(AppStore& store, const AppStore::Progress& progress,
                                 std::optional<Milliseconds> budget) {
  return waitFor<std::size_t>(store, [&](std::function<void(std::size_t)> done) {
    store.startImportFinalization(
        {.userWaits = true, .budget = budget, .progress = progress, .done = std::move(done)});
  });
}

}  // namespace quorvane
