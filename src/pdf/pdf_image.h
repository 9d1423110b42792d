// Images made ready for a PDF page.
//
// Web-optimised exports re-encode every image (1600 px on the long edge,
// JPEG quality 0.78). Print-quality exports embed the supplied JPEG bytes
// untouched when a PDF can carry them as they are (upright grey, RGB or
// CMYK), read through their own colour profile; any other image (a turned
// photo, PNG, HEIC, TIFF) goes in as its print derivative, in sRGB, as do
// all images of a web-optimised export.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "images/image_optimizer.h"
#include "model/enums.h"
#include "pdf/pdf_image_colour.h"

namespace quorvane {

struct ImagePreparationPolicy {
  std::optional<double> maxLongEdge;  // pixels; absent means 1600
  std::optional<double> jpegQuality;  // 0…1; absent means 0.78

  bool operator==(const ImagePreparationPolicy&) const = default;
};

// Present for web-optimised exports, absent for print quality.
std::optional<ImagePreparationPolicy> imagePreparationPolicy(ExportImageQuality quality);

struct PreparedPdfImage {
  std::vector<std::uint8_t> jpeg;                // what the page embeds
  std::optional<std::int64_t> preparedByteSize;  // absent when nothing was re-encoded
  std::int64_t sourceByteSize = 0;
  std::int64_t preparedPixelWidth = 0;
  std::int64_t preparedPixelHeight = 0;
  JpegColour colour;  // how the page reads `jpeg`: the original's own, or sRGB
};

// Nothing when the bytes can't be decoded or re-encoded: the page then goes
// without its image.
std::optional<PreparedPdfImage> preparePdfImage(
    const ImageOptimizer& optimizer, std::vector<std::uint8_t> source,
    const std::optional<ImagePreparationPolicy>& policy);

}  // namespace quorvane
