// Feeds arbitrary bytes to the walk over an image file's structure that
// tells a whole original from one cut short, as each format it knows: it
// must read nothing outside the bytes and end, whatever they claim. The
// search for a JPEG's Adobe segment is fed the same bytes.
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "images/image_structure.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr std::array<std::string_view, 7> kTypes{"image/jpeg", "image/png",  "image/gif",
                                                          "image/webp", "image/tiff", "image/heic",
                                                          "image/avif"};
  if (size == 0) return 0;
  const std::string_view type = kTypes[data[0] % kTypes.size()];
  quorvane::reachesItsEnd(type, std::span(data + 1, size - 1));
  quorvane::jpegHasAdobeSegment(std::span(data + 1, size - 1));
  return 0;
}
