#include "images/image_optimizer.h"

#include "images/image_structure.h"

#include <vips/vips.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>

namespace quorvane {
namespace {

struct ImageUnref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using ImagePtr = std::unique_ptr<VipsImage, ImageUnref>;

struct BufferFree {
  void operator()(void* buffer) const { g_free(buffer); }
};

// The loader families that may see user bytes, with the MIME type of what
// each reads (HEIF containers are told apart by their brand). Every other
// loader of the libvips build (PDF, SVG, ImageMagick, raw formats, …) stays
// blocked.
struct AllowedLoader {
  const char* typeName;  // a class and, by prefix, its file/buffer/source variants
  std::string_view mimeType;
};
constexpr std::array<AllowedLoader, 6> kAllowedLoaders{{
    {"VipsForeignLoadJpeg", "image/jpeg"},
    {"VipsForeignLoadPng", "image/png"},
    {"VipsForeignLoadNsgif", "image/gif"},
    {"VipsForeignLoadTiff", "image/tiff"},
    {"VipsForeignLoadWebp", "image/webp"},
    {"VipsForeignLoadHeif", ""},
}};

// Options given to the loader through the thumbnail operation: damaged or
// truncated data fails instead of decoding to grey.
constexpr const char* kLoaderOptions = "fail_on=error";

void initialiseVips() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (VIPS_INIT("quorvane") != 0) {
      std::fprintf(stderr, "quorvane: the image library could not start: %s\n",
                   vips_error_buffer());
      std::abort();
    }
    vips_block_untrusted_set(TRUE);
    vips_operation_block_set("VipsForeignLoad", TRUE);
    for (const AllowedLoader& loader : kAllowedLoaders) {
      vips_operation_block_set(loader.typeName, FALSE);
    }
    // Every derivation stands alone: nothing of an original is kept between
    // calls.
    vips_cache_set_max(0);
  });
}

// The library's error text, taken out of its (process-wide) buffer in one
// step; with several derivations at once it may hold another's words too,
// so it only ever serves as explanation, never to decide anything.
std::string takeVipsError() {
  char* copy = vips_error_buffer_copy();
  std::string message = copy != nullptr ? copy : "";
  g_free(copy);
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
    message.pop_back();
  }
  return message;
}

// The brand of a HEIF container: "heic" family, "avif", or plain HEIF.
std::string heifMimeType(std::span<const std::uint8_t> data) {
  const auto brandAt = [&](std::size_t offset) {
    return std::string_view(reinterpret_cast<const char*>(data.data()) + offset, 4);
  };
  if (data.size() < 16 || brandAt(4) != "ftyp") return "image/heif";
  const std::size_t boxSize = (std::size_t{data[0]} << 24) | (std::size_t{data[1]} << 16) |
                              (std::size_t{data[2]} << 8) | std::size_t{data[3]};
  const std::size_t end = std::min(boxSize, data.size());
  bool avif = false;
  for (std::size_t offset = 8; offset + 4 <= end; offset += offset == 8 ? 8 : 4) {
    const std::string_view brand = brandAt(offset);
    if (brand == "heic" || brand == "heix" || brand == "hevc" || brand == "hevx") {
      return "image/heic";
    }
    avif = avif || brand == "avif" || brand == "avis";
  }
  return avif ? "image/avif" : "image/heif";
}

// The MIME type of the loader libvips would use, if it is one we allow.
std::optional<std::string> allowedMimeType(std::span<const std::uint8_t> data) {
  if (data.empty()) return std::nullopt;
  // The finder also names blocked loaders: only ours count.
  const char* typeName = vips_foreign_find_load_buffer(data.data(), data.size());
  if (typeName == nullptr) {
    takeVipsError();
    return std::nullopt;
  }
  for (const AllowedLoader& loader : kAllowedLoaders) {
    if (!std::string_view(typeName).starts_with(loader.typeName)) continue;
    if (loader.mimeType.empty()) return heifMimeType(data);
    return std::string(loader.mimeType);
  }
  return std::nullopt;
}

// The image with its header read and no pixel decoded.
ImagePtr openHeader(std::span<const std::uint8_t> data) {
  VipsImage* image = vips_image_new_from_buffer(data.data(), data.size(), "", "access",
                                                VIPS_ACCESS_SEQUENTIAL, nullptr);
  if (image == nullptr) takeVipsError();
  return ImagePtr(image);
}

[[noreturn]] void fail(ImageDeriverError::Case errorCase, const std::string& what) {
  throw ImageDeriverError(errorCase, what);
}

// The longer edge the derivative gets: the preset's bound, or the source's
// own longer edge when that is smaller and the preset never enlarges.
int targetLongEdge(const ImageDerivativePreset& preset, std::int64_t width, std::int64_t height) {
  const double bound = std::trunc(preset.maxPixelSize);
  if (!std::isfinite(bound) ||
      bound < static_cast<double>(std::numeric_limits<std::int64_t>::min()) ||
      bound >= static_cast<double>(std::numeric_limits<std::int64_t>::max())) {
    std::fprintf(stderr, "quorvane: image preset bound %g is not a pixel count\n",
                 preset.maxPixelSize);
    std::abort();
  }
  std::int64_t target = static_cast<std::int64_t>(bound);
  if (preset.neverUpscale) target = std::min(target, std::max(width, height));
  return static_cast<int>(std::clamp<std::int64_t>(target, 1, VIPS_MAX_COORD));
}

// Upright is already done by the thumbnail; here the pixels become 8-bit
// sRGB without transparency, as a JPEG needs them.
ImagePtr toOpaqueSRGB(ImagePtr image) {
  VipsImage* out = nullptr;
  if (vips_image_get_interpretation(image.get()) != VIPS_INTERPRETATION_sRGB ||
      vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR) {
    if (vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_sRGB, nullptr) != 0) return {};
    image.reset(out);
  }
  if (vips_image_hasalpha(image.get())) {
    VipsArrayDouble* white = vips_array_double_newv(1, 255.0);
    const int result = vips_flatten(image.get(), &out, "background", white, nullptr);
    vips_area_unref(VIPS_AREA(white));
    if (result != 0) return {};
    image.reset(out);
  }
  if (vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR) {
    if (vips_cast_uchar(image.get(), &out, nullptr) != 0) return {};
    image.reset(out);
  }
  return image;
}

// The scaled, upright, opaque 8-bit sRGB rendition, as a pipeline not yet
// run; nothing when it can't even be set up.
ImagePtr scaledRendition(std::span<const std::uint8_t> source, int target, bool neverUpscale,
                         bool convertsProfile) {
  const VipsSize size = neverUpscale ? VIPS_SIZE_DOWN : VIPS_SIZE_BOTH;
  void* data = const_cast<std::uint8_t*>(source.data());
  VipsImage* thumbnail = nullptr;
  const int result =
      convertsProfile
          ? vips_thumbnail_buffer(data, source.size(), &thumbnail, target, "height", target, "size",
                                  size, "export_profile", "srgb", "option_string", kLoaderOptions,
                                  nullptr)
          : vips_thumbnail_buffer(data, source.size(), &thumbnail, target, "height", target, "size",
                                  size, "option_string", kLoaderOptions, nullptr);
  if (result != 0) return {};
  return toOpaqueSRGB(ImagePtr(thumbnail));
}

}  // namespace

ImageOptimizer::ImageOptimizer() { initialiseVips(); }

DerivedImageResult ImageOptimizer::derive(std::span<const std::uint8_t> source,
                                          const ImageDerivativePreset& preset) const {
  using Case = ImageDeriverError::Case;
  if (!allowedMimeType(source)) fail(Case::decodeFailed, "not an image Quorvane can read");
  const ImagePtr header = openHeader(source);
  if (!header) fail(Case::invalidSourceMetadata, "the image's header gives no usable size");
  const std::int64_t width = vips_image_get_width(header.get());
  const std::int64_t height = vips_image_get_height(header.get());
  if (width < 1 || height < 1) {
    fail(Case::invalidSourceMetadata, "the image's header gives no usable size");
  }
  if (width * height > kMaximumSourcePixels) {
    throw ImageDeriverError(Case::decodeFailed,
                            "the image declares " + std::to_string(width) + " × " +
                                std::to_string(height) +
                                " pixels, more than the 300 million Quorvane decodes",
                            std::pair{width, height});
  }

  const int target = targetLongEdge(preset, width, height);
  // An embedded colour profile (Display P3, Adobe RGB, CMYK) is converted to
  // sRGB: once stripped, the pixels must already be sRGB. Without a profile
  // the pixels are taken as sRGB already, and no colour transform is paid.
  const bool convertsProfile =
      vips_image_get_typeof(header.get(), VIPS_META_ICC_NAME) != 0 ||
      vips_image_get_interpretation(header.get()) == VIPS_INTERPRETATION_CMYK;
  const auto rendition = [&] {
    return scaledRendition(source, target, preset.neverUpscale, convertsProfile);
  };
  const ImagePtr image = rendition();
  if (!image) fail(Case::decodeFailed, "the image could not be decoded: " + takeVipsError());

  const int quality =
      static_cast<int>(std::clamp(std::lround(preset.compressionQuality * 100), 1L, 100L));
  void* buffer = nullptr;
  std::size_t length = 0;
  // The original is decoded here, streamed through the encoder. Should this
  // fail, decoding the rendition on its own tells whose fault it was.
  if (vips_jpegsave_buffer(image.get(), &buffer, &length, "Q", quality, "strip", TRUE, nullptr) !=
      0) {
    const std::string message = takeVipsError();
    const ImagePtr again = rendition();
    const ImagePtr decoded(again ? vips_image_copy_memory(again.get()) : nullptr);
    takeVipsError();
    if (!decoded) fail(Case::decodeFailed, "the image could not be decoded: " + message);
    fail(Case::encodeFailed, "the JPEG could not be encoded: " + message);
  }
  const std::unique_ptr<void, BufferFree> owned(buffer);
  const auto* bytes = static_cast<const std::uint8_t*>(buffer);
  return DerivedImageResult{
      .data = std::vector<std::uint8_t>(bytes, bytes + length),
      .mimeType = preset.mimeType,
      .width = vips_image_get_width(image.get()),
      .height = vips_image_get_height(image.get()),
      .kind = preset.kind,
      .presetVersion = preset.presetVersion,
  };
}

std::optional<std::string> ImageOptimizer::sniffMimeType(std::span<const std::uint8_t> data) const {
  return allowedMimeType(data);
}

std::optional<std::string> ImageOptimizer::mimeTypeOfHead(std::span<const std::uint8_t> head) {
  const auto startsWith = [&](std::size_t at, std::string_view signature) {
    return head.size() >= at + signature.size() &&
           std::equal(signature.begin(), signature.end(), head.begin() + static_cast<long>(at),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
  };
  if (startsWith(0, "\xFF\xD8\xFF")) return "image/jpeg";
  if (startsWith(0, "\x89PNG\r\n\x1A\n")) return "image/png";
  if (startsWith(0, "GIF87a") || startsWith(0, "GIF89a")) return "image/gif";
  if (startsWith(0, std::string_view("II*\0", 4)) || startsWith(0, std::string_view("MM\0*", 4)) ||
      startsWith(0, std::string_view("II+\0", 4)) || startsWith(0, std::string_view("MM\0+", 4))) {
    return "image/tiff";
  }
  if (startsWith(0, "RIFF") && startsWith(8, "WEBP")) return "image/webp";
  if (startsWith(4, "ftyp")) return heifMimeType(head);
  return std::nullopt;
}

std::string ImageOptimizer::fileExtension(std::optional<std::string_view> mimeType) {
  if (!mimeType || mimeType->empty()) return "jpg";
  std::string lower(*mimeType);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> kExtensions{{
      {"image/jpeg", "jpg"},
      {"image/jpg", "jpg"},
      {"image/png", "png"},
      {"image/heic", "heic"},
      {"image/heif", "heif"},
      {"image/tiff", "tiff"},
      {"image/gif", "gif"},
  }};
  for (const auto& [mime, extension] : kExtensions) {
    if (lower == mime) return std::string(extension);
  }
  return "jpg";
}

std::optional<PixelSize> ImageOptimizer::pixelSize(std::span<const std::uint8_t> data) const {
  if (!allowedMimeType(data)) return std::nullopt;
  const ImagePtr header = openHeader(data);
  if (!header) return std::nullopt;
  const PixelSize size{vips_image_get_width(header.get()), vips_image_get_height(header.get())};
  if (size.width < 1 || size.height < 1) return std::nullopt;
  return size;
}

std::optional<EmbeddableJpeg> ImageOptimizer::embeddableJpeg(
    std::span<const std::uint8_t> data) const {
  if (allowedMimeType(data) != std::optional<std::string>("image/jpeg")) return std::nullopt;
  const ImagePtr header = openHeader(data);
  if (!header) return std::nullopt;
  VipsImage* image = header.get();
  const int bands = vips_image_get_bands(image);
  const VipsInterpretation interpretation = vips_image_get_interpretation(image);
  const bool plainColour = (bands == 3 && interpretation == VIPS_INTERPRETATION_sRGB) ||
                           (bands == 1 && interpretation == VIPS_INTERPRETATION_B_W) ||
                           (bands == 4 && interpretation == VIPS_INTERPRETATION_CMYK);
  int orientation = 1;
  if (vips_image_get_typeof(image, VIPS_META_ORIENTATION) != 0) {
    vips_image_get_int(image, VIPS_META_ORIENTATION, &orientation);
  }
  EmbeddableJpeg jpeg;
  jpeg.size = {vips_image_get_width(image), vips_image_get_height(image)};
  if (!plainColour || orientation != 1 || jpeg.size.width < 1 || jpeg.size.height < 1) {
    return std::nullopt;
  }
  jpeg.components = bands;
  const void* profile = nullptr;
  std::size_t length = 0;
  if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) != 0 &&
      vips_image_get_blob(image, VIPS_META_ICC_NAME, &profile, &length) == 0 && length > 0) {
    const auto* bytes = static_cast<const std::uint8_t*>(profile);
    jpeg.iccProfile.assign(bytes, bytes + length);
  }
  jpeg.invertedCmyk = bands == 4 && jpegHasAdobeSegment(data);
  return jpeg;
}

RgbPixels ImageOptimizer::decodeToFit(std::span<const std::uint8_t> source, int maxWidth,
                                      int maxHeight) const {
  using Case = ImageDeriverError::Case;
  if (!allowedMimeType(source)) fail(Case::decodeFailed, "not an image Quorvane can read");
  const std::optional<PixelSize> size = pixelSize(source);
  if (!size) fail(Case::invalidSourceMetadata, "the image's header gives no usable size");
  if (size->width * size->height > kMaximumSourcePixels) {
    fail(Case::decodeFailed,
         "the image declares more than the 300 million pixels Quorvane decodes");
  }
  const int width = std::clamp(maxWidth, 1, VIPS_MAX_COORD);
  const int height = std::clamp(maxHeight, 1, VIPS_MAX_COORD);
  VipsImage* thumbnail = nullptr;
  void* data = const_cast<std::uint8_t*>(source.data());
  if (vips_thumbnail_buffer(data, source.size(), &thumbnail, width, "height", height,
                            "option_string", kLoaderOptions, nullptr) != 0) {
    fail(Case::decodeFailed, "the image could not be decoded: " + takeVipsError());
  }
  ImagePtr image = toOpaqueSRGB(ImagePtr(thumbnail));
  if (image && vips_image_get_bands(image.get()) == 1) {
    // Grey: the one band three times.
    VipsImage* bands[3] = {image.get(), image.get(), image.get()};
    VipsImage* rgb = nullptr;
    image.reset(vips_bandjoin(bands, &rgb, 3, nullptr) == 0 ? rgb : nullptr);
  }
  if (image && vips_image_get_bands(image.get()) != 3) image.reset();
  std::size_t length = 0;
  void* pixels = image ? vips_image_write_to_memory(image.get(), &length) : nullptr;
  if (pixels == nullptr)
    fail(Case::decodeFailed, "the image could not be decoded: " + takeVipsError());
  const std::unique_ptr<void, BufferFree> owned(pixels);
  const auto* bytes = static_cast<const std::uint8_t*>(pixels);
  return RgbPixels{vips_image_get_width(image.get()), vips_image_get_height(image.get()),
                   std::vector<std::uint8_t>(bytes, bytes + length)};
}

namespace {

// Encodes `pixels` with `save` (a vips_*save_buffer call on the image).
template <typename Save>
std::vector<std::uint8_t> encodePixels(const RgbPixels& pixels, Save save) {
  const auto expected =
      static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height) * 3;
  if (pixels.width < 1 || pixels.height < 1 || pixels.data.size() != expected) {
    fail(ImageDeriverError::Case::encodeFailed, "no pixels to encode");
  }
  const ImagePtr image(vips_image_new_from_memory(
      pixels.data.data(), pixels.data.size(), pixels.width, pixels.height, 3, VIPS_FORMAT_UCHAR));
  void* buffer = nullptr;
  std::size_t length = 0;
  if (!image || save(image.get(), &buffer, &length) != 0) {
    fail(ImageDeriverError::Case::encodeFailed,
         "the image could not be encoded: " + takeVipsError());
  }
  const std::unique_ptr<void, BufferFree> owned(buffer);
  const auto* bytes = static_cast<const std::uint8_t*>(buffer);
  return std::vector<std::uint8_t>(bytes, bytes + length);
}

}  // namespace

std::vector<std::uint8_t> ImageOptimizer::encodeWebp(const RgbPixels& pixels, int quality) const {
  const int q = std::clamp(quality, 1, 100);
  return encodePixels(pixels, [q](VipsImage* image, void** buffer, std::size_t* length) {
    // Effort 1 of 6: a page of flat white and text gains next to nothing
    // from a slower search, and thumbnails come a hundred at a time.
    return vips_webpsave_buffer(image, buffer, length, "Q", q, "strip", TRUE, "effort", 1, nullptr);
  });
}

std::vector<std::uint8_t> ImageOptimizer::encodePng(const RgbPixels& pixels) const {
  return encodePixels(pixels, [](VipsImage* image, void** buffer, std::size_t* length) {
    return vips_pngsave_buffer(image, buffer, length, "strip", TRUE, nullptr);
  });
}

OneThreadPerDerivation::OneThreadPerDerivation() : previous_(vips_concurrency_get()) {
  vips_concurrency_set(1);
}

OneThreadPerDerivation::~OneThreadPerDerivation() { vips_concurrency_set(previous_); }

std::vector<std::uint8_t> ImageOptimizer::srgbProfile() {
  static const std::vector<std::uint8_t> profile = [] {
    VipsBlob* blob = nullptr;
    std::vector<std::uint8_t> bytes;
    if (vips_profile_load("srgb", &blob, nullptr) == 0 && blob != nullptr) {
      std::size_t size = 0;
      const auto* data = static_cast<const std::uint8_t*>(vips_blob_get(blob, &size));
      bytes.assign(data, data + size);
    }
    if (blob != nullptr) vips_area_unref(VIPS_AREA(blob));
    return bytes;
  }();
  return profile;
}

}  // namespace quorvane
