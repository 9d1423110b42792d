#include "pdf/pdf_image.h"

namespace quorvane {

std::optional<ImagePreparationPolicy> imagePreparationPolicy(ExportImageQuality quality) {
  if (quality == ExportImageQuality::printQuality) return std::nullopt;
  return ImagePreparationPolicy{1600, 0.78};
}

std::optional<PreparedPdfImage> preparePdfImage(
    const ImageOptimizer& optimizer, std::vector<std::uint8_t> source,
    const std::optional<ImagePreparationPolicy>& policy) {
  PreparedPdfImage prepared;
  prepared.sourceByteSize = static_cast<std::int64_t>(source.size());
  if (!policy) {
    if (auto embeddable = optimizer.embeddableJpeg(source)) {
      prepared.preparedPixelWidth = embeddable->size.width;
      prepared.preparedPixelHeight = embeddable->size.height;
      prepared.colour = {embeddable->components, std::move(embeddable->iccProfile),
                         embeddable->invertedCmyk};
      prepared.jpeg = std::move(source);
      return prepared;
    }
  }
  ImageDerivativePreset preset = kPrintPreset;
  if (policy) {
    preset = kWebPreset;
    preset.maxPixelSize = policy->maxLongEdge.value_or(1600);
    preset.compressionQuality = policy->jpegQuality.value_or(0.78);
  }
  try {
    DerivedImageResult derived = optimizer.derive(source, preset);
    prepared.preparedByteSize = static_cast<std::int64_t>(derived.data.size());
    prepared.preparedPixelWidth = derived.width;
    prepared.preparedPixelHeight = derived.height;
    prepared.jpeg = std::move(derived.data);
    return prepared;
  } catch (const ImageDeriverError&) {
    return std::nullopt;
  }
}

}  // namespace quorvane
