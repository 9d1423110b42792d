// Turns an original image into its web or print derivative, and answers what
// an image is without decoding it. Stateless and safe to use from any number
// of threads at once.
//
// Only raster formats an artist brings are decoded — JPEG, PNG, GIF, TIFF,
// HEIC/HEIF and WebP — by libvips with its untrusted loaders (PDF, SVG,
// ImageMagick and the like) blocked: image bytes come from outside.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "images/image_derivation.h"

namespace quorvane {

// While one is alive, every libvips operation of the process runs on one
// thread. For callers that already run several derivations side by side:
// there, more threads per image add memory (a buffer per thread per image),
// not speed. Not meant to be nested across threads.
class OneThreadPerDerivation {
 public:
  OneThreadPerDerivation();
  ~OneThreadPerDerivation();
  OneThreadPerDerivation(const OneThreadPerDerivation&) = delete;
  OneThreadPerDerivation& operator=(const OneThreadPerDerivation&) = delete;

 private:
  int previous_;
};

// 8-bit RGB pixels, rows packed (3 bytes a pixel), for drawing on a page
// rendered as an image.
struct RgbPixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> data;

  bool operator==(const RgbPixels&) const = default;
};

class ImageOptimizer {
 public:
  // Initialises libvips once per process and restricts its loaders.
  ImageOptimizer();

  // The sRGB IEC61966-2.1 profile, as libvips carries it; empty when it
  // can't be had.
  static std::vector<std::uint8_t> srgbProfile();

  // Decodes `source` scaled down on load so its longer edge is at most the
  // preset's bound (never enlarged), upright whatever its EXIF orientation,
  // transparency flattened onto white, converted to sRGB, and encodes it as
  // a JPEG at the preset's quality with no metadata at all (no EXIF, GPS,
  // XMP or profile). The full-size image is never held in memory.
  // Throws `ImageDeriverError`: `decodeFailed` for bytes that are no image
  // we decode, are damaged or truncated, or declare more than
  // `kMaximumSourcePixels`; `invalidSourceMetadata` for a recognised image
  // whose header gives no usable size; `encodeFailed`.
  DerivedImageResult derive(std::span<const std::uint8_t> source,
                            const ImageDerivativePreset& preset) const;

  // The MIME type of encoded image bytes ("image/jpeg", "image/png",
  // "image/gif", "image/tiff", "image/heic", "image/heif", "image/avif",
  // "image/webp"), or nothing when they are not an image we decode.
  std::optional<std::string> sniffMimeType(std::span<const std::uint8_t> data) const;

  // The same names, told from the signature at the start of a file alone
  // (`head`, its first bytes): for a file too large to read whole just to
  // know its kind. libvips can't be asked this of a part of a file — a TIFF
  // whose directory sits at its end reads as no TIFF at all.
  static std::optional<std::string> mimeTypeOfHead(std::span<const std::uint8_t> head);

  // The extension (no dot) under which an original of `mimeType` is stored:
  // jpg, png, heic, heif, tiff or gif; "jpg" for anything else or nothing.
  static std::string fileExtension(std::optional<std::string_view> mimeType);

  // The size the image's header declares, read without decoding pixels;
  // nothing when the bytes are no image we decode or the size is unusable.
  std::optional<PixelSize> pixelSize(std::span<const std::uint8_t> data) const;

  // What a PDF needs to carry a JPEG exactly as it is — upright (no EXIF
  // turn), grey, RGB or CMYK: its size, its inks, the colour profile it
  // embeds (empty for none) and whether its CMYK is stored inverted.
  // Nothing for anything else (a turned photo, another format), which must
  // be re-encoded first.
  std::optional<EmbeddableJpeg> embeddableJpeg(std::span<const std::uint8_t> data) const;

  // The image decoded to fit inside `maxWidth` × `maxHeight` (its shape
  // kept, shrunk on load, upright, sRGB, flattened onto white). Throws
  // `ImageDeriverError` as `derive` does.
  RgbPixels decodeToFit(std::span<const std::uint8_t> source, int maxWidth, int maxHeight) const;
  // Pixels as a WebP file at `quality` (1–100), or as a PNG file. Throw
  // `ImageDeriverError(encodeFailed)`.
  std::vector<std::uint8_t> encodeWebp(const RgbPixels& pixels, int quality) const;
  std::vector<std::uint8_t> encodePng(const RgbPixels& pixels) const;
};

}  // namespace quorvane
