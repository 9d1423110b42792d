#include "app/all_backups.h"

#include <cerrno>
#include <set>
#include <system_error>
#include <unordered_set>

#include "app/failure_text.h"
#include "pdf/localization.h"

namespace quorvane {
namespace {

// `name` unless taken: "name-2.quorvane", "name-3.quorvane"…
std::string unusedName(const std::string& name, std::set<std::string>& taken) {
  const std::string extension = ".quorvane";
  const std::string stem = name.substr(0, name.size() - extension.size());
  std::string candidate = name;
  for (int n = 2; !taken.insert(candidate).second; ++n) {
    candidate = stem + "-" + std::to_string(n) + extension;
  }
  return candidate;
}

std::string failureWords(const std::exception& error, const std::string& path,
                         const std::string& language) {
  const auto* system = dynamic_cast<const std::system_error*>(&error);
  if (system != nullptr && system->code().value() == EEXIST) {
    return uiFormat("app.error.export_exists", language, {path});
  }
  return packageFailureText(error, language);
}

}  // namespace

bool AllBackups::everyProjectWritten() const {
  for (const ProjectBackup& backup : projects) {
    if (!backup.written) return false;
  }
  return true;
}

AllBackups writeAllBackups(const AllBackupsPlan& plan, SnapshotRepository& library,
                           const QuorvaneTransferService& transfer, FilesMediaStore& media,
                           const ImageOptimizer& images, const AllBackupsProgress& progress) {
  AllBackups report;
  const std::vector<ProjectSummary> projects = library.projectSummaries();
  std::set<std::string> names;
  for (std::size_t i = 0; i < projects.size(); ++i) {
    ProjectBackup backup{projects[i].id, projects[i].projectName, {}, std::nullopt, {}};
    try {
      std::optional<LoadedProject> loaded = library.load(projects[i].id);
      if (!loaded) continue;  // gone since the list was read
      const std::string language =
          plan.exportLanguage.empty() ? loaded->project.locale : plan.exportLanguage;
      backup.path =
          plan.folder + "/" +
          unusedName(packageFileName(loaded->project, loaded->snapshot.details, language, plan.now),
                     names);
      PackageExport input;
      input.project = std::move(loaded->project);
      input.snapshot = std::move(loaded->snapshot);
      input.labelOverrides = plan.labels;
      input.backupReminder = plan.reminder;
      input.lastProjectDataExportAt = plan.lastProjectDataExportAt;
      input.lastProjectDataImportAt = plan.lastProjectDataImportAt;
      backup.written = writeProjectPackage(transfer, media, images, input, backup.path, plan.now,
                                           plan.options, [&](const TransferProgress& at) {
                                             if (progress) progress(i, projects.size(), at);
                                           });
    } catch (const CancelledError&) {
      throw;  // the user stopped them all
    } catch (const std::exception& error) {
      backup.failure = failureWords(error, backup.path, plan.language);
    }
    report.projects.push_back(std::move(backup));
  }
  const std::vector<std::string> loose = library.artworksInNoProject();
  if (!loose.empty()) {
    const std::unordered_set<std::string> ids(loose.begin(), loose.end());
    for (ReusableArtworkAsset& asset : library.reusableArtworks(std::nullopt)) {
      if (ids.contains(asset.id)) report.vaultOnly.push_back(std::move(asset.artwork));
    }
  }
  return report;
}

}  // namespace quorvane
