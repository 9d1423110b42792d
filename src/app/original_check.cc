#include "app/original_check.h"

#include <cerrno>
#include <system_error>

namespace quorvane {
namespace {

constexpr std::size_t kKindBytes = 256;  // every signature we know, a HEIF's brands too

std::string extensionOf(const std::string& path) {
  const auto marker = path.rfind("_orig.");
  return marker == std::string::npos ? std::string() : path.substr(marker + 6);
}

}  // namespace

OriginalsInventory::OriginalsInventory(FilesMediaStore& media, const ImageOptimizer& optimizer)
    : media_(media), optimizer_(optimizer), originals_(media.originalsByArtwork()) {}

std::optional<OriginalFault> OriginalsInventory::open(const Artwork& artwork,
                                                      const std::string& path,
                                                      std::unique_ptr<FileReader>& reader) const {
  try {
    reader = media_.files().openRegularFile(path);
  } catch (const std::system_error& error) {
    const int code = error.code().value();
    return code == ELOOP || code == EINVAL ? OriginalFault::notAFile : OriginalFault::unreadable;
  }
  if (artwork.originalByteSize && *artwork.originalByteSize > 0 &&
      reader->size() != static_cast<std::uint64_t>(*artwork.originalByteSize)) {
    return OriginalFault::sizeDiffers;
  }
  return std::nullopt;
}

std::optional<OriginalCheck> OriginalsInventory::check(const Artwork& artwork) const {
  const auto found = originals_.find(artwork.id);
  if (found == originals_.end()) {
    if (!artwork.imagePath) return std::nullopt;
    return OriginalCheck{std::nullopt, OriginalFault::missing};
  }
  std::unique_ptr<FileReader> reader;
  if (const std::optional<OriginalFault> fault = open(artwork, found->second, reader)) {
    return OriginalCheck{std::nullopt, fault};
  }
  try {
    const Bytes head = reader->read(kKindBytes);
    const std::optional<std::string> kind = ImageOptimizer::mimeTypeOfHead(head);
    if (!kind || ImageOptimizer::fileExtension(*kind) != extensionOf(found->second)) {
      return OriginalCheck{std::nullopt, OriginalFault::kindDiffers};
    }
  } catch (const std::exception&) {
    return OriginalCheck{std::nullopt, OriginalFault::unreadable};
  }
  return OriginalCheck{SoundOriginal{found->second, reader->size()}, std::nullopt};
}

std::optional<Bytes> OriginalsInventory::read(const Artwork& artwork) const {
  const auto found = originals_.find(artwork.id);
  if (found == originals_.end()) return std::nullopt;
  return readSoundOriginal(media_.files(), optimizer_, artwork, found->second);
}

std::optional<Bytes> readSoundOriginal(FileSystem& files, const ImageOptimizer& optimizer,
                                       const Artwork& artwork, const std::string& path) {
  try {
    const std::unique_ptr<FileReader> reader = files.openRegularFile(path);
    const std::uint64_t size = reader->size();
    if (artwork.originalByteSize && *artwork.originalByteSize > 0 &&
        size != static_cast<std::uint64_t>(*artwork.originalByteSize)) {
      return std::nullopt;
    }
    Bytes bytes = reader->read(static_cast<std::size_t>(size));
    // Grown or shrunk since it was opened: not the file that was looked at.
    if (bytes.size() != size || !reader->read(1).empty()) return std::nullopt;
    const std::optional<std::string> kind = optimizer.sniffMimeType(bytes);
    if (!kind || ImageOptimizer::fileExtension(*kind) != extensionOf(path)) return std::nullopt;
    return bytes;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::vector<MissingOriginal> missingOriginals(const OriginalsInventory& inventory,
                                              const std::vector<Artwork>& artworks) {
  std::vector<MissingOriginal> missing;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    const std::optional<OriginalCheck> check = inventory.check(artworks[i]);
    if (check && check->fault) {
      missing.push_back({artworks[i].id, artworks[i].title, *check->fault, i + 1});
    }
  }
  return missing;
}

}  // namespace quorvane
