#include "app/import_finalization.h"

#include "app/image_intake.h"

namespace quorvane {

bool finalizeImportedImage(FilesMediaStore& media, const ImageOptimizer& optimizer,
                           Artwork& artwork) {
  const std::vector<std::string> originals = media.originalFiles(artwork.id);
  if (originals.empty()) return false;
  PreparedImage image;
  image.original = media.files().readFile(originals.front());
  image.mimeType = optimizer.sniffMimeType(image.original).value_or(std::string(kDefaultMimeType));
  image.web = optimizer.derive(image.original, kWebPreset);
  // The header gives the stored size; the derivative which way up it is seen.
  PixelSize upright =
      optimizer.pixelSize(image.original).value_or(PixelSize{image.web.width, image.web.height});
  if (image.web.width != image.web.height &&
      (image.web.width > image.web.height) != (upright.width > upright.height)) {
    std::swap(upright.width, upright.height);
  }
  image.uprightSize = upright;
  const std::string webPath = media.writeWebDerivative(artwork.id, image.web.data);
  applyImage(artwork, image, webPath);
  return true;
}

}  // namespace quorvane
