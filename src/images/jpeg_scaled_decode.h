// A JPEG decoded straight at a reduced size.
//
// libjpeg can leave detail out while it decodes, at any scale n/8, at a
// fraction of the cost of decoding every pixel. libvips asks only for 1/2,
// 1/4 or 1/8, and keeps a margin for its resize: a 24-megapixel photograph
// bound to 1600 pixels (a factor of 3.75) is decoded whole. At 3/8 the
// inverse transform and the colour conversion do a seventh of that work and
// the resize after it reads a seventh of the pixels.
#pragma once

#include <cstdint>
#include <span>

#include "images/vips_image.h"

namespace quorvane {

// The JPEG in `source` decoded at the smallest scale n/8 whose longer edge
// is still at least `targetLongEdge` pixels: an 8-bit sRGB (or grey) image
// in memory, as stored (no orientation applied). Nothing when no scale below
// 8/8 reaches the target, when the JPEG is not a plain baseline one (CMYK,
// progressive), and at any error or warning of the decoder — damaged or
// truncated data is for the usual decoding to judge.
ImagePtr decodeScaledJpeg(std::span<const std::uint8_t> source, int targetLongEdge);

// The n of that n/8 for an image whose longer edge is `longEdge`; 8 when
// the whole image is needed.
int jpegScaleFor(std::int64_t longEdge, int targetLongEdge);

}  // namespace quorvane
