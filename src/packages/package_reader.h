// Reading a project package: the fourteen checks in their order (the
// first failure throws, and nothing is handed on before all pass), then
// the project as a record and a snapshot of its own.
//
// The originals stay in the package: the result names the entry of each,
// and `streamOriginal` copies one out with the size checks of the format
// (1 byte to the media limit, counted as it is read), so that no image is
// ever held whole in memory.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "model/backup_reminder_state.h"
#include "model/records.h"
#include "packages/package_format.h"
#include "packages/package_tree.h"
#include "packages/transfer_limits.h"
#include "platform/logger.h"

namespace quorvane {

struct ImportedProjectPackage {
  package::Manifest manifest;
  Project project;
  StudioSnapshot snapshot;  // only this project's; artworks in sortIndex order
  std::map<std::string, std::string> mediaPathByArtworkId;  // entry of each original
  std::vector<LabelOverrideEntry> labelOverrides;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  std::optional<BackupReminderState> backupReminder;
};

// Throws QuorvaneTransferError, or PackageDecodingError for a JSON file
// that is not its shape. `packageBytes` is the size of the whole file.
ImportedProjectPackage readPackage(PackageTree& tree, std::uint64_t packageBytes,
                                   const TransferLimits& limits = {},
                                   Logger& logger = nullLogger());

// Copies the original of `artworkId` to `sink`; its size. Throws
// QuorvaneTransferError: missingMedia when the entry can't be read,
// invalidMedia when it is empty or larger than the media limit,
// invalidPackage when it is damaged.
std::uint64_t streamOriginal(PackageTree& tree, const ImportedProjectPackage& package,
                             const std::string& artworkId, const PackageTree::Sink& sink,
                             const TransferLimits& limits = {});

// Reads every original through (nothing kept): the media checks of a
// package that is only being looked at.
void checkOriginals(PackageTree& tree, const ImportedProjectPackage& package,
                    const TransferLimits& limits = {});

}  // namespace quorvane
