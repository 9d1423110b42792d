// Reading a project package: the fourteen checks in their order (the
// first failure throws, and nothing is handed on before all pass), then
// the project as a record and a snapshot of its own.
//
// The originals stay in the package: the result names the entry of each,
// and `streamOriginal` copies one out with the size checks of the format
// (1 byte to the media limit, counted as it is read), so that no image is
// ever held whole in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "model/backup_reminder_state.h"
#include "model/records.h"
#include "packages/package_format.h"
#include "packages/package_tree.h"
#include "packages/transfer_error.h"
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
// QuorvaneTransferError naming the artwork: missingMedia when the entry
// can't be read, invalidMedia when it is empty or larger than the media
// limit or than the archive declares, invalidPackage when it is damaged.
std::uint64_t streamOriginal(PackageTree& tree, const ImportedProjectPackage& package,
                             const std::string& artworkId, const PackageTree::Sink& sink,
                             const TransferLimits& limits = {});

// The package's artwork `artworkId` as the user knows it, if it has it.
std::optional<ArtworkReference> artworkReference(const ImportedProjectPackage& package,
                                                 const std::string& artworkId);

// Why an original can't be taken (it is no image a library would
// accept), or nothing when it can.
using OriginalImageCheck =
    std::function<std::optional<std::string>(std::span<const std::uint8_t> original)>;

// Reads every original through: the media checks of a package that is
// only being looked at, and `checkImage` on each (held whole in memory,
// one at a time, only then), whose refusal is invalidMedia naming the
// artwork. `progress` is told after each: originals done, their bytes.
using OriginalsChecked = std::function<void(std::size_t done, std::uint64_t bytes)>;
void checkOriginals(PackageTree& tree, const ImportedProjectPackage& package,
                    const TransferLimits& limits = {}, const OriginalImageCheck& checkImage = {},
                    const OriginalsChecked& progress = {});

}  // namespace quorvane
