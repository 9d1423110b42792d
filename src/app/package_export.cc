#include "app/package_export.h"

#include <filesystem>

#include "images/image_check.h"
#include "model/export_file_names.h"
#include "platform/atomic_file.h"

namespace quorvane {

MissingOriginalsError::MissingOriginalsError(std::vector<MissingOriginal> missing)
    : std::runtime_error("originals missing: " + std::to_string(missing.size())),
      missing_(std::move(missing)) {}

BackupOriginals backupOriginals(const OriginalsInventory& inventory,
                                const std::vector<Artwork>& artworks, bool allowMissing) {
  BackupOriginals chosen;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    const Artwork& artwork = artworks[i];
    const std::optional<OriginalCheck> check = inventory.check(artwork);
    if (!check) continue;  // a work without an image
    if (check->sound) {
      chosen.originals.emplace(artwork.id,
                               PackageOriginal{check->sound->path, check->sound->bytes});
    } else {
      chosen.leftOut.push_back({artwork.id, artwork.title, *check->fault, i + 1});
    }
  }
  if (!chosen.leftOut.empty() && !allowMissing) throw MissingOriginalsError(chosen.leftOut);
  return chosen;
}

OriginalImageCheck libraryImageCheck(const ImageOptimizer& optimizer) {
  return [&optimizer](std::span<const std::uint8_t> original) -> std::optional<std::string> {
    if (const std::optional<ImageFault> fault = imageFault(optimizer, original)) {
      return std::string(describe(*fault));
    }
    return std::nullopt;
  };
}

std::string packageFileName(const Project& project, const ArtistDetails& details,
                            const std::string& language, Date now) {
  const bool catalogue = project.kind == ProjectKind::catalogue;
  std::string name =
      exportFileName(catalogue ? ExportDocumentKind::catalogue : ExportDocumentKind::portfolio,
                     details, language, now, project.projectTitle);
  const std::string pdf = ".pdf";
  if (name.ends_with(pdf)) name.resize(name.size() - pdf.size());
  return name + ".quorvane";
}

WrittenPackage writeProjectPackage(const QuorvaneTransferService& transfer, FilesMediaStore& media,
                                   const ImageOptimizer& images, PackageExport& input,
                                   const std::string& path, Date now,
                                   const PackageExportOptions& options,
                                   const TransferProgressFn& progress) {
  const BackupOriginals chosen =
      backupOriginals(OriginalsInventory(media, images), input.snapshot.artworks.images,
                      options.allowMissingOriginals);
  input.originals = chosen.originals;
  input.checkImage = libraryImageCheck(images);
  const std::filesystem::path target(path);
  const std::string folder =
      target.has_parent_path() ? target.parent_path().string() : std::string(".");
  // Where the file system has no unnamed files (a USB stick's FAT), a
  // killed backup leaves a named temporary file: gone with the next one,
  // whatever its name.
  removeStaleTemporaryFilesOfKind(folder, ".quorvane");
  if (options.cancel.isCancelled()) throw CancelledError();
  const Cancellation cancel = options.cancel;
  const std::uint64_t bytes = transfer.exportPackage(
      input, path, now, options.replaceExisting, [&progress, cancel](const TransferProgress& at) {
        if (cancel.isCancelled()) throw CancelledError();
        if (progress) progress(at);
      });
  return WrittenPackage{bytes, chosen.leftOut};
}

}  // namespace quorvane
