// The originals of a backup, chosen before a byte is written: every work
// with an image goes in with its original, checked (app/original_check.h),
// or the backup is refused naming the works whose original can't be used —
// unless the user asks for a backup without them, whose summary then names
// those works. A backup never lacks an image without saying so.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/original_check.h"
#include "images/image_optimizer.h"
#include "packages/package_reader.h"
#include "packages/transfer_service.h"
#include "platform/cancellation.h"

namespace quorvane {

// A backup refused: these works have an image but no original to put in.
class MissingOriginalsError : public std::runtime_error {
 public:
  explicit MissingOriginalsError(std::vector<MissingOriginal> missing);
  const std::vector<MissingOriginal>& missing() const { return missing_; }

 private:
  std::vector<MissingOriginal> missing_;
};

struct BackupOriginals {
  std::map<std::string, PackageOriginal> originals;  // by artwork id
  std::vector<MissingOriginal> leftOut;              // only with `allowMissing`
};

// Throws MissingOriginalsError unless `allowMissing`.
BackupOriginals backupOriginals(const OriginalsInventory& inventory,
                                const std::vector<Artwork>& artworks, bool allowMissing);

// The image checks a library makes of an original it takes in
// (images/image_check.h), for originals read from a package.
OriginalImageCheck libraryImageCheck(const ImageOptimizer& optimizer);

struct PackageExportOptions {
  bool replaceExisting = false;
  // Write the backup although some works' originals can't be used: those
  // works go in without their image, and are named.
  bool allowMissingOriginals = false;
  // Set by the user changing their mind: the writing stops between two
  // originals (CancelledError) and no file is left.
  Cancellation cancel;
};

struct WrittenPackage {
  std::uint64_t bytes = 0;
  std::vector<MissingOriginal> withoutImages;

  bool operator==(const WrittenPackage&) const = default;
};

// The name a package of `project` is given today: the export rule's
// (model/export_file_names.h) in `language`, with ".quorvane".
std::string packageFileName(const Project& project, const ArtistDetails& details,
                            const std::string& language, Date now);

// Chooses the originals of `input` (as `backupOriginals`), tidies our
// temporary files of killed backups in the folder, and writes the package
// at `path`; on any thread. Throws what failed.
WrittenPackage writeProjectPackage(const QuorvaneTransferService& transfer, FilesMediaStore& media,
                                   const ImageOptimizer& images, PackageExport& input,
                                   const std::string& path, Date now,
                                   const PackageExportOptions& options,
                                   const TransferProgressFn& progress = {});

}  // namespace quorvane
