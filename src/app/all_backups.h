// Everything backed up at once: one package per live project, each read
// back before it takes its name (packages/transfer_service.h), all in one
// folder under their export names; and the works no live project shows
// (kept only in the Vault), which no project's package holds, named — so
// that they can be gathered into a project of their own and backed up too.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/package_export.h"
#include "model/backup_reminder_state.h"
#include "model/records.h"
#include "storage/snapshot_repository.h"

namespace quorvane {

struct ProjectBackup {
  std::string projectId;
  std::string projectName;
  std::string path;
  std::optional<WrittenPackage> written;
  std::string failure;  // in words, when it was not written

  bool operator==(const ProjectBackup&) const = default;
};

struct AllBackups {
  std::vector<ProjectBackup> projects;
  std::vector<Artwork> vaultOnly;

  bool everyProjectWritten() const;
  bool operator==(const AllBackups&) const = default;
};

// What the backups are made of, taken from the store before they start.
struct AllBackupsPlan {
  std::string folder;
  std::vector<LabelOverrideEntry> labels;
  std::optional<BackupReminderState> reminder;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  std::string exportLanguage;  // of the file names; empty: each project's own
  std::string language;        // of the failures' words
  Date now;
  PackageExportOptions options;
};

// Told as each project's package is written: which project (from 0), of
// how many, and how far its originals have come.
using AllBackupsProgress =
    std::function<void(std::size_t project, std::size_t projects, const TransferProgress&)>;

// Writes the packages of every live project of `library`, most recently
// changed first; one that fails is reported and the others written. Two
// projects of one name the same day get "-2", "-3"… On any thread; the
// library's pending edits must be written first.
AllBackups writeAllBackups(const AllBackupsPlan& plan, SnapshotRepository& library,
                           const QuorvaneTransferService& transfer, FilesMediaStore& media,
                           const ImageOptimizer& images, const AllBackupsProgress& progress = {});

}  // namespace quorvane
