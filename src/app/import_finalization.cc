#include "app/import_finalization.h"

#include "app/image_intake.h"

namespace quorvane {

FinishedImage finishImportedImage(FilesMediaStore& media, const ImageOptimizer& optimizer,
                                  const std::string& artworkId, const std::string& originalPath) {
  PreparedImage image;
  image.original = media.files().readFile(originalPath);
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
  FinishedImage finished;
  finished.fields.id = artworkId;
  const std::string webPath = media.writeWebDerivative(artworkId, image.web.data);
  applyImage(finished.fields, image, webPath);
  finished.webImage = std::move(image.web.data);
  return finished;
}

}  // namespace quorvane
