#include "app/image_intake.h"

#include "images/image_check.h"

#include <optional>
#include <system_error>

namespace quorvane {

PreparedImage prepareImage(FileSystem& files, const ImageOptimizer& optimizer,
                           const std::string& path) {
  using Case = ImageIntakeError::Case;
  PreparedImage image;
  try {
    // The size first: a huge file is refused without being read.
    const auto size = static_cast<std::int64_t>(files.fileSize(path));
    if (size > kMaximumOriginalBytes) throw ImageIntakeError(Case::tooLarge, path, size);
    image.original = files.readFile(path);
  } catch (const ImageIntakeError&) {
    throw;
  } catch (const std::system_error& error) {
    // The reason alone: the message around it names the file already.
    throw ImageIntakeError(Case::unreadable, error.code().message());
  } catch (const std::exception& error) {
    throw ImageIntakeError(Case::unreadable, error.what());
  }
  const auto size = static_cast<std::int64_t>(image.original.size());
  if (size > kMaximumOriginalBytes) throw ImageIntakeError(Case::tooLarge, path, size);

  if (const std::optional<ImageFault> fault = imageFault(optimizer, image.original)) {
    if (*fault == ImageFault::notAnImage) throw ImageIntakeError(Case::notAnImage, path, size);
    throw ImageIntakeError(Case::optimizeFailed, std::string(describe(*fault)), size);
  }
  image.mimeType = optimizer.sniffMimeType(image.original).value_or(std::string(kDefaultMimeType));
  image.extension = ImageOptimizer::fileExtension(image.mimeType);
  try {
    image.web = optimizer.derive(image.original, kWebPreset);
  } catch (const ImageDeriverError& error) {
    throw ImageIntakeError(Case::optimizeFailed, error.what(), size);
  }
  // The header gives the stored size; the derivative shows which way up the
  // image is seen (EXIF orientation may turn it a quarter).
  const std::optional<PixelSize> stored = optimizer.pixelSize(image.original);
  PixelSize upright = stored.value_or(PixelSize{image.web.width, image.web.height});
  const bool derivativeIsWide = image.web.width > image.web.height;
  const bool storedIsWide = upright.width > upright.height;
  if (image.web.width != image.web.height && derivativeIsWide != storedIsWide) {
    std::swap(upright.width, upright.height);
  }
  image.uprightSize = upright;
  return image;
}

void stageImage(OriginalMediaImportTransaction& transaction, const std::string& artworkId,
                const PreparedImage& image) {
  try {
    transaction.stage({artworkId, image.original, image.extension, image.web.data});
  } catch (const std::exception& error) {
    throw ImageIntakeError(ImageIntakeError::Case::cannotStore, error.what(),
                           static_cast<std::int64_t>(image.original.size()));
  }
}

void applyImage(Artwork& artwork, const PreparedImage& image, const std::string& webPath) {
  artwork.imagePath = webPath;
  artwork.mimeType =
      image.web.mimeType.empty() ? std::string(kDefaultMimeType) : image.web.mimeType;
  artwork.imageByteSize = static_cast<std::int64_t>(image.web.data.size());
  artwork.originalByteSize = static_cast<std::int64_t>(image.original.size());
  artwork.width = image.uprightSize.width;
  artwork.height = image.uprightSize.height;
  artwork.aspect = image.uprightSize.height > 0
                       ? std::optional<double>(static_cast<double>(image.uprightSize.width) /
                                               static_cast<double>(image.uprightSize.height))
                       : std::nullopt;
  artwork.nearLimit = image.nearLimit();
  artwork.sizeWarning = artwork.nearLimit ? std::string(kNearLimitWarningKey) : std::string();
  artwork.sizeWarningDismissed = false;
}

void copyImageFields(const Artwork& from, Artwork& to) {
  to.imagePath = from.imagePath;
  to.mimeType = from.mimeType;
  to.imageByteSize = from.imageByteSize;
  to.originalByteSize = from.originalByteSize;
  to.width = from.width;
  to.height = from.height;
  to.aspect = from.aspect;
  to.nearLimit = from.nearLimit;
  to.sizeWarning = from.sizeWarning;
  to.sizeWarningDismissed = from.sizeWarningDismissed;
}

}  // namespace quorvane
