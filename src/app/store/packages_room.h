// The store's project packages: what a backup of the open project holds,
// the ends of a package written or read, and why the last one failed.
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/all_backups.h"
#include "app/original_check.h"
#include "app/package_export.h"
#include "app/store_commands.h"

namespace quorvane {

class AppStore;
struct MergedPackage;

class PackagesRoom {
 public:
  explicit PackagesRoom(AppStore& store) : store_(store) {}

  // What a package export of the open project holds, its edits written.
  PackageExport exportInput();
  // Refuses (with a toast) a package that can't be written at `path`.
  bool canWriteTo(const std::string& path);
  // The ends of a package export: recorded, or the failure shown.
  void written(const WrittenPackage& written, const std::string& path);
  void failed(const std::exception& error, const std::string& path);
  AllBackupsPlan allBackupsPlan(const std::string& folder, const PackageExportOptions& options);
  void allBackupsWritten(const AllBackups& report);
  // The ends of an import shared by both routes: a new project in the
  // library (opened with `open`), or why not in `lastImportFailure`.
  // `done` is told the last step's key ("import.toast.step.done") once the
  // project is in the library, before the success toast.
  std::optional<std::string> importMerged(const MergedPackage& merged, bool open,
                                          const std::function<void(std::string_view)>& done);
  void importFailed(const std::exception_ptr& failure);
  // A step of an import, as a toast and to `step`.
  void tellStep(std::string_view key, const PackageImportRequest::Step& step);

  std::optional<std::string> lastImportFailure;
  std::vector<MissingOriginal> lastBackupMissingOriginals;

 private:
  AppStore& store_;
};

}  // namespace quorvane
