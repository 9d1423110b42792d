// QuorvaneTransferService: one project of the library written into a
// package file, and a package file read back. Pure with respect to the
// library: neither writes the database or the media folder; the store
// merges what is read.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
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
// artworks whose original is done — first as they are copied, then, for an
// export, as the written package is read back and checked.
struct TransferProgress {
  enum class Phase { copying, checking };
  std::uint64_t bytes = 0;
  std::uint64_t totalBytes = 0;
  std::size_t artworks = 0;
  std::size_t totalArtworks = 0;
  Phase phase = Phase::copying;

  bool operator==(const TransferProgress&) const = default;
};
using TransferProgressFn = std::function<void(const TransferProgress&)>;

// An original that goes into a package: a regular file, and the size it
// was found to have (it must still have it when it is copied in).
struct PackageOriginal {
  std::string path;
  std::uint64_t bytes = 0;

  bool operator==(const PackageOriginal&) const = default;
};

// What an export writes: the project as the store holds it, and its
// originals, looked at by the caller.
struct PackageExport {
  Project project;
  StudioSnapshot snapshot;
  std::vector<LabelOverrideEntry> labelOverrides;
  std::optional<BackupReminderState> backupReminder;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  // The original of each artwork that carries one, by artwork id; an
  // artwork not listed goes without an image.
  std::map<std::string, PackageOriginal> originals;
  // Run on every original as it is read back from the written package.
  OriginalImageCheck checkImage;
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
  // there is replaced only with `replaceExisting`); its size in bytes.
  // Nothing is written that the reader would refuse: what is over a limit
  // is refused before a byte is written (QuorvaneTransferError naming the
  // artwork), and the written file is read back through the reader —
  // every check, every original's size, checksum and `checkImage` — before
  // it takes its name. Throws std::system_error (the disk),
  // QuorvaneTransferError or PackageDecodingError. `progress` is told as
  // the originals are copied in, then as they are checked.
  std::uint64_t exportPackage(const PackageExport& input, const std::string& target, Date now,
                              bool replaceExisting, const TransferProgressFn& progress = {}) const;

  // Opens and checks the package at `path` (every check but the originals'
  // sizes, made as they are copied out: `streamOriginal`). Throws
  // QuorvaneTransferError, PackageDecodingError or std::system_error.
  OpenedPackage openPackage(const std::string& path) const;

 private:
  // The refusals a reader would make of `input`, made before writing.
  void checkWithinLimits(const PackageExport& input, const std::vector<ZipEntry>& tree) const;
  // Throws InsufficientSpaceError when the folder of `target` can't hold
  // the package `tree` makes: said before a byte is written, not when the
  // disk fills half-way.
  void requireRoomFor(const std::string& target, const std::vector<ZipEntry>& tree) const;
  // Reads the package just written at `path` as an import would, and
  // compares it with what was meant to be written.
  void verifyWritten(const std::string& path, const PackageExport& input,
                     const TransferProgressFn& progress) const;

  TransferLimits limits_;
  Logger& logger_;
  FileSystem& files_;
};

}  // namespace quorvane
