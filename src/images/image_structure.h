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

// Whether a JPEG has an Adobe segment (APP14) before its first scan: the
// mark of Photoshop's CMYK JPEGs, which store each ink inverted, so a PDF
// must be told to read them back the other way round.
bool jpegHasAdobeSegment(std::span<const std::uint8_t> bytes);

}  // namespace quorvane
