// Feeds arbitrary bytes to the decoding of a JPEG at a reduced scale, behind
// the same header checks an original passes first: whatever the bytes claim,
// it must end, fail cleanly or give an image of the size it says.
#include <cstddef>
#include <cstdint>
#include <span>

#include "images/image_optimizer.h"
#include "images/jpeg_scaled_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const quorvane::ImageOptimizer optimizer;
  const std::span bytes(data, size);
  const std::optional<quorvane::PixelSize> declared = optimizer.pixelSize(bytes);
  if (!declared || declared->width * declared->height > 50'000'000) return 0;
  if (const quorvane::ImagePtr image = quorvane::decodeScaledJpeg(bytes, 48)) {
    if (vips_image_get_width(image.get()) < 1 || vips_image_get_height(image.get()) < 1) {
      __builtin_trap();
    }
  }
  return 0;
}
