// The store's backup of everything (app/all_backups.h), and the gathering
// of the works only the Vault holds into a project of their own.
#include <unordered_set>

#include "app/all_backups.h"
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"
#include "app/store/packages_room.h"

namespace quorvane {

AllBackupsPlan PackagesRoom::allBackupsPlan(const std::string& folder,
                                            const PackageExportOptions& options) {
  AllBackupsPlan plan;
  plan.folder = folder;
  plan.labels = store_.services_.labels.allLabelOverrides();
  plan.reminder = store_.reminders_.state();
  plan.lastProjectDataExportAt = store_.reminders_.lastProjectDataExportAt();
  plan.lastProjectDataImportAt = store_.reminders_.lastProjectDataImportAt();
  plan.exportLanguage = store_.state_.exportOptions.exportLocale;
  plan.language = store_.language();
  plan.now = store_.services_.clock.now();
  plan.options = options;
  return plan;
}

void PackagesRoom::allBackupsWritten(const AllBackups& report) {
  std::size_t failed = 0;
  for (const ProjectBackup& backup : report.projects) {
    store_.services_.logger.log(
        "app package written path=" + backup.path +
        (backup.written ? " bytes=" + std::to_string(backup.written->bytes) : " failed"));
    if (!backup.written) ++failed;
  }
  if (failed > 0) {
    store_.fail(store_.text("backup.all.some_failed",
                            {std::to_string(failed), std::to_string(report.projects.size())}));
    return;
  }
  store_.markProjectDataExported(store_.services_.clock.now());
}

// ---- The store's routes ------------------------------------------------------

void AppStore::exportAllProjectPackagesInBackground(const std::string& folder,
                                                    PackageExportOptions options,
                                                    AllBackupsProgress progress,
                                                    AllBackupsWritten done) {
  if (!packages_->canWriteTo(folder + "/x.quorvane")) {
    if (done) done(std::nullopt);
    return;
  }
  AllBackupsPlan plan;
  try {
    plan = packages_->allBackupsPlan(folder, options);
  } catch (const std::exception& error) {
    failWith(error);
    if (done) done(std::nullopt);
    return;
  }
  // The edits waiting in their debounce go first on the same queue.
  pipeline_->firePendingSaves();
  SnapshotRepository& library = services_.snapshots;
  const QuorvaneTransferService* transfer = &services_.transfer;
  FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [&library, transfer, &media, &images, plan,
       told = toldOnMain(self_, services_.main, std::move(progress))] {
        return writeAllBackups(plan, library, *transfer, media, images, told);
      },
      [done](AppStore& store, const Outcome<AllBackups>& outcome) {
        if (outcome.value) {
          store.packages_->allBackupsWritten(*outcome.value);
        } else {
          store.fail(failureText(outcome.failure, store.language()));
        }
        if (done) done(outcome.value);
      });
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
