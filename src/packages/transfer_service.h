// QuorvaneTransferService: one project of the library written into a
// package file, and a package file read back. Pure with respect to the
// library: neither writes the database or the media folder; the store
// merges what is read.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/backup_reminder_state.h"
#include "model/records.h"
#include "packages/package_reader.h"
#include "packages/transfer_limits.h"
#include "packages/zip_package.h"
#include "platform/file_system.h"
#include "platform/logger.h"

namespace quorvane {

// How far a long export or import has come: the originals' bytes, and the
// artworks whose original is done.
struct TransferProgress {
  std::uint64_t bytes = 0;
  std::uint64_t totalBytes = 0;
  std::size_t artworks = 0;
  std::size_t totalArtworks = 0;

  bool operator==(const TransferProgress&) const = default;
};
using TransferProgressFn = std::function<void(const TransferProgress&)>;

// What an export writes: the project as the store holds it, and where the
// originals are.
struct PackageExport {
  Project project;
  StudioSnapshot snapshot;
  std::vector<LabelOverrideEntry> labelOverrides;
  std::optional<BackupReminderState> backupReminder;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  // The file of an artwork's original, if it has one.
  std::function<std::optional<std::string>(const std::string& artworkId)> originalFile;
};

// A package opened and checked: its content, and the archive to copy the
// originals from.
struct OpenedPackage {
  std::unique_ptr<ZipPackageReader> archive;
  ImportedProjectPackage content;
  std::uint64_t bytes = 0;
};

class QuorvaneTransferService {
 public:
  // Originals are read, and packages published, through `files`.
  explicit QuorvaneTransferService(TransferLimits limits = {}, Logger& logger = nullLogger(),
                                   FileSystem& files = realFileSystem())
      : limits_(limits), logger_(logger), files_(files) {}

  const TransferLimits& limits() const { return limits_; }

  // Writes the package at `target`, whole or not at all (an older file
  // there is replaced only with `replaceExisting`); its size in bytes. An
  // original that can't be opened leaves its artwork without an image.
  // Throws std::system_error (the disk) or QuorvaneTransferError.
  // `progress` is told as the originals are copied in.
  std::uint64_t exportPackage(const PackageExport& input, const std::string& target, Date now,
                              bool replaceExisting, const TransferProgressFn& progress = {}) const;

  // Opens and checks the package at `path` (every check but the originals'
  // sizes, made as they are copied out: `streamOriginal`). Throws
  // QuorvaneTransferError, PackageDecodingError or std::system_error.
  OpenedPackage openPackage(const std::string& path) const;

 private:
  TransferLimits limits_;
  Logger& logger_;
  FileSystem& files_;
};

}  // namespace quorvane
