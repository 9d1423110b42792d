// Whether an image file's bytes reach the end its format marks — a JPEG its
// end-of-image marker, a PNG its IEND chunk, a GIF its trailer, a WebP the
// length of its RIFF chunk, a HEIF its last box, a TIFF its strips or
// tiles — without decoding a pixel. A file cut short (a copy that stopped,
// a download that broke) fails; bytes after the end are allowed, as
// decoders allow them. A walk over the structure, at the speed of reading.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace quorvane {

// `mimeType` as ImageOptimizer::sniffMimeType names it; a type this does
// not know passes.
bool reachesItsEnd(std::string_view mimeType, std::span<const std::uint8_t> bytes);

}  // namespace quorvane
