#include "app/package_export.h"

#include "images/image_check.h"

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

}  // namespace quorvane
