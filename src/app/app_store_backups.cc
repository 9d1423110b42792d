// The store's backup of everything (app/all_backups.h), and the gathering
// of the works only the Vault holds into a project of their own.
#include <unordered_set>

#include "app/all_backups.h"
#include "app/app_store.h"
#include "app/failure_text.h"

namespace quorvane {

AllBackupsPlan AppStore::allBackupsPlan(const std::string& folder,
                                        const PackageExportOptions& options) {
  AllBackupsPlan plan;
  plan.folder = folder;
  plan.labels = services_.labels.allLabelOverrides();
  plan.reminder = reminders_.state();
  plan.lastProjectDataExportAt = reminders_.lastProjectDataExportAt();
  plan.lastProjectDataImportAt = reminders_.lastProjectDataImportAt();
  plan.exportLanguage = state_.exportOptions.exportLocale;
  plan.language = language();
  plan.now = services_.clock.now();
  plan.options = options;
  return plan;
}

std::optional<AllBackups> AppStore::exportAllProjectPackages(const std::string& folder,
                                                             const PackageExportOptions& options,
                                                             const AllBackupsProgress& progress) {
  if (!canWritePackageTo(folder + "/x.quorvane")) return std::nullopt;
  try {
    settleSaves();
    const AllBackups report =
        writeAllBackups(allBackupsPlan(folder, options), services_.snapshots, *services_.transfer,
                        services_.media, services_.images, progress);
    allBackupsWritten(report);
    return report;
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

void AppStore::exportAllProjectPackagesInBackground(const std::string& folder,
                                                    PackageExportOptions options,
                                                    AllBackupsProgress progress,
                                                    AllBackupsWritten done) {
  if (!canWritePackageTo(folder + "/x.quorvane")) {
    if (done) done(std::nullopt);
    return;
  }
  AllBackupsPlan plan;
  try {
    plan = allBackupsPlan(folder, options);
  } catch (const std::exception& error) {
    failWith(error);
    if (done) done(std::nullopt);
    return;
  }
  // The edits waiting in their debounce go first on the same queue.
  pipeline_->firePendingSaves();
  const std::weak_ptr<AppStore*> weak = self_;
  Executor& main = services_.main;
  SnapshotRepository& library = services_.snapshots;
  const QuorvaneTransferService* transfer = services_.transfer;
  FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  services_.saveQueue.post([weak, &main, &library, transfer, &media, &images, plan, progress,
                            done] {
    std::optional<AllBackups> report;
    std::exception_ptr failure;
    try {
      report = writeAllBackups(plan, library, *transfer, media, images,
                               [&main, weak, progress](std::size_t project, std::size_t projects,
                                                       const TransferProgress& at) {
                                 if (!progress) return;
                                 main.post([weak, progress, project, projects, at] {
                                   if (weak.lock()) progress(project, projects, at);
                                 });
                               });
    } catch (...) {
      failure = std::current_exception();
    }
    main.post([weak, report, failure, done] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      if (report) {
        store.allBackupsWritten(*report);
      } else {
        store.fail(failureText(failure, store.language()));
      }
      if (done) done(report);
    });
  });
}

void AppStore::allBackupsWritten(const AllBackups& report) {
  std::size_t failed = 0;
  for (const ProjectBackup& backup : report.projects) {
    services_.logger.log(
        "app package written path=" + backup.path +
        (backup.written ? " bytes=" + std::to_string(backup.written->bytes) : " failed"));
    if (!backup.written) ++failed;
  }
  if (failed > 0) {
    fail(text("backup.all.some_failed",
              {std::to_string(failed), std::to_string(report.projects.size())}));
    return;
  }
  markProjectDataExported(services_.clock.now());
}

std::optional<std::string> AppStore::gatherVaultOnlyArtworks() {
  try {
    settleSaves();
    const std::vector<std::string> loose = services_.snapshots.artworksInNoProject();
    if (loose.empty()) return std::nullopt;
    const std::unordered_set<std::string> ids(loose.begin(), loose.end());
    std::vector<Artwork> gathered;
    for (ReusableArtworkAsset& asset : services_.snapshots.reusableArtworks(std::nullopt)) {
      if (ids.contains(asset.id)) gathered.push_back(std::move(asset.artwork));
    }
    ProjectChanges changes;
    changes.name = text("app.project.vault_gathered_name");
    const std::optional<std::string> id = createProject(changes);
    if (!id) return std::nullopt;
    for (std::size_t i = 0; i < gathered.size(); ++i) {
      gathered[i].sortIndex = static_cast<std::int64_t>(i);
    }
    state_.snapshot.artworks.images = std::move(gathered);
    scheduleSave(SaveSection::artworks);
    settleSaves();
    publish();
    return id;
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

}  // namespace quorvane
