#include "images/image_check.h"

#include "images/image_structure.h"

namespace quorvane {

std::optional<ImageFault> imageFault(const ImageOptimizer& optimizer,
                                     std::span<const std::uint8_t> bytes) {
  const std::optional<std::string> mimeType = optimizer.sniffMimeType(bytes);
  if (!mimeType) return ImageFault::notAnImage;
  const std::optional<PixelSize> size = optimizer.pixelSize(bytes);
  if (!size) return ImageFault::unreadableHeader;
  if (size->width > kMaximumSourcePixels / size->height) return ImageFault::tooManyPixels;
  if (!reachesItsEnd(*mimeType, bytes)) return ImageFault::cutShort;
  return std::nullopt;
}

std::string_view describe(ImageFault fault) {
  switch (fault) {
    case ImageFault::notAnImage:
      return "no image Quorvane reads";
    case ImageFault::unreadableHeader:
      return "a header that gives no usable size";
    case ImageFault::tooManyPixels:
      return "more pixels than an image may have";
    case ImageFault::cutShort:
      return "cut short";
  }
  return "unknown";
}

}  // namespace quorvane
