// The checks an original passes before the library takes it, whoever
// brings it — a file the artist picks, or a package being imported or
// just written: a kind we decode, a header that gives a usable size, a
// pixel count within what derivation takes (`kMaximumSourcePixels`), and
// bytes that reach the end their format marks. No pixel is decoded: a
// package of hundreds of originals is checked at the speed of reading it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "images/image_optimizer.h"

namespace quorvane {

enum class ImageFault { notAnImage, unreadableHeader, tooManyPixels, cutShort };

std::optional<ImageFault> imageFault(const ImageOptimizer& optimizer,
                                     std::span<const std::uint8_t> bytes);

// For diagnostics: "cut short", "no image Quorvane reads", …
std::string_view describe(ImageFault fault);

}  // namespace quorvane
