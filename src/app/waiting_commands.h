// The store's asynchronous commands as a face that waits for them calls
// them: the command line, and tests. Each starts the one asynchronous
// command the window uses too and runs the store's executors until it is
// done (AppStore::runUntil), so both faces go through the same code. The
// results, toasts and failures are those of the command.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/app_store.h"

namespace quorvane {

// Starts a command with the `done` it is to tell, and waits until it does.
template <typename Result, typename Start>
Result waitFor(AppStore& store, Start start) {
  std::optional<Result> result;
  start([&result](Result value) { result.emplace(std::move(value)); });
  store.runUntil([&result] { return result.has_value(); });
  return std::move(*result);
}

std::vector<ImageAddResult> addImages(AppStore& store, const std::vector<std::string>& paths,
                                      const AppStore::Progress& progress = {});
bool openProject(AppStore& store, const std::string& projectId);
std::vector<ReusableArtworkAsset> vault(AppStore& store);
std::optional<std::vector<PdfWarning>> exportPDF(AppStore& store, const RenderRequest& request,
                                                 const ExportOptions& options,
                                                 const std::string& path,
                                                 const AppStore::Progress& progress = {},
                                                 bool replaceExisting = true);
std::optional<WrittenPackage> exportProjectPackage(AppStore& store, const std::string& path,
                                                   const PackageExportOptions& options = {},
                                                   const TransferProgressFn& progress = {});
std::optional<AllBackups> exportAllProjectPackages(AppStore& store, const std::string& folder,
                                                   const PackageExportOptions& options = {},
                                                   const AllBackupsProgress& progress = {});
std::optional<PreparedWebCVImport> prepareWebCVImport(AppStore& store, const std::string& path);
bool applyWebCVImport(AppStore& store, const PreparedWebCVImport& prepared,
                      const WebCVImportSelection& selection);
// Reads a package into the library as a new project; its id, or nothing
// (the failure shown, its reason in `lastImportFailure`).
std::optional<std::string> importProjectPackage(AppStore& store, const std::string& path, bool open,
                                                const PackageImportRequest::Step& step = {},
                                                const TransferProgressFn& progress = {});
// Finishes the imported images still pending, the user waiting: with a
// `budget`, until that much time has passed. How many were finished.
std::size_t finishImportedImages(AppStore& store, const AppStore::Progress& progress = {},
                                 std::optional<Milliseconds> budget = std::nullopt);

}  // namespace quorvane
