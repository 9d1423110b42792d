#include "images/test_images.h"

#include <vips/vips.h>

#include <array>
#include <memory>
#include <stdexcept>

#include "images/image_optimizer.h"

namespace quorvane::testing {
namespace {

struct ImageUnref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using ImagePtr = std::unique_ptr<VipsImage, ImageUnref>;

void check(int result, const char* what) {
  if (result != 0) {
    const std::string message = vips_error_buffer();
    vips_error_clear();
    throw std::runtime_error(std::string(what) + ": " + message);
  }
}

// Three equal bands of x mod 256, tagged sRGB.
ImagePtr gradient(int width, int height, int bands = 3) {
  static const ImageOptimizer initialisesVips;
  VipsImage* out = nullptr;
  check(vips_xyz(&out, width, height, nullptr), "xyz");
  ImagePtr image(out);
  check(vips_extract_band(image.get(), &out, 0, nullptr), "extract_band");
  image.reset(out);
  check(vips_cast_uchar(image.get(), &out, nullptr), "cast");
  image.reset(out);
  std::array<VipsImage*, 4> copies{image.get(), image.get(), image.get(), image.get()};
  check(vips_bandjoin(copies.data(), &out, bands, nullptr), "bandjoin");
  image.reset(out);
  check(vips_copy(image.get(), &out, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr), "copy");
  return ImagePtr(out);
}

std::optional<ImageBytes> write(VipsImage* image, const std::string& suffix) {
  void* buffer = nullptr;
  std::size_t length = 0;
  if (vips_image_write_to_buffer(image, suffix.c_str(), &buffer, &length, nullptr) != 0) {
    vips_error_clear();
    return std::nullopt;
  }
  ImageBytes bytes(static_cast<std::uint8_t*>(buffer), static_cast<std::uint8_t*>(buffer) + length);
  g_free(buffer);
  return bytes;
}

void appendBigEndian(ImageBytes& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

}  // namespace

std::optional<ImageBytes> encodedImage(const std::string& suffix, int width, int height,
                                       int orientation) {
  ImagePtr image = gradient(width, height);
  if (orientation != 1) {
    VipsImage* out = nullptr;
    check(vips_copy(image.get(), &out, nullptr), "copy");
    image.reset(out);
    vips_image_set_int(image.get(), VIPS_META_ORIENTATION, orientation);
  }
  return write(image.get(), suffix);
}

ImageBytes halfBlackHalfWhiteJpeg(int width, int height, int orientation) {
  static const ImageOptimizer initialisesVips;
  VipsImage* out = nullptr;
  // 255 where x is in the right half, 0 elsewhere.
  check(vips_xyz(&out, width, height, nullptr), "xyz");
  ImagePtr xyz(out);
  check(vips_extract_band(xyz.get(), &out, 0, nullptr), "band");
  ImagePtr x(out);
  check(vips_moreeq_const1(x.get(), &out, width / 2.0, nullptr), "moreeq");
  ImagePtr right(out);
  std::array<VipsImage*, 3> bands{right.get(), right.get(), right.get()};
  check(vips_bandjoin(bands.data(), &out, 3, nullptr), "bandjoin");
  ImagePtr rgb(out);
  check(vips_copy(rgb.get(), &out, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr), "copy");
  ImagePtr tagged(out);
  vips_image_set_int(tagged.get(), VIPS_META_ORIENTATION, orientation);
  return *write(tagged.get(), ".jpg");
}

ImageBytes cmykJpeg(int width, int height) {
  ImagePtr image = gradient(width, height);
  VipsImage* out = nullptr;
  check(vips_colourspace(image.get(), &out, VIPS_INTERPRETATION_CMYK, nullptr), "to CMYK");
  ImagePtr cmyk(out);
  return *write(cmyk.get(), ".jpg");
}

ImageBytes flatJpegIn(const std::string& profile, std::array<int, 3> rgb, int width, int height) {
  ImagePtr image = gradient(width, height);
  VipsImage* out = nullptr;
  const std::array<double, 3> zero{0, 0, 0};
  const std::array<double, 3> values{double(rgb[0]), double(rgb[1]), double(rgb[2])};
  check(vips_linear(image.get(), &out, zero.data(), values.data(), 3, "uchar", TRUE, nullptr),
        "linear");
  image.reset(out);
  check(vips_icc_transform(image.get(), &out, profile.c_str(), "input_profile", "srgb", nullptr),
        "icc_transform");
  ImagePtr converted(out);
  if (profile == "cmyk") return *write(converted.get(), ".jpg[Q=95]");
  // The values as given, read through the profile.
  const void* data = nullptr;
  std::size_t length = 0;
  check(vips_image_get_blob(converted.get(), VIPS_META_ICC_NAME, &data, &length), "profile");
  check(vips_copy(image.get(), &out, nullptr), "copy");
  ImagePtr tagged(out);
  vips_image_set_blob_copy(tagged.get(), VIPS_META_ICC_NAME, data, length);
  return *write(tagged.get(), ".jpg[Q=95]");
}

std::array<int, 3> srgbCentre(const ImageBytes& bytes) {
  static const ImageOptimizer initialisesVips;
  VipsImage* out = vips_image_new_from_buffer(bytes.data(), bytes.size(), "", nullptr);
  if (out == nullptr) check(-1, "load");
  ImagePtr image(out);
  check(vips_icc_transform(image.get(), &out, "srgb", "embedded", TRUE, nullptr), "to sRGB");
  ImagePtr srgb(out);
  double* pixel = nullptr;
  int bands = 0;
  check(vips_getpoint(srgb.get(), &pixel, &bands, vips_image_get_width(srgb.get()) / 2,
                      vips_image_get_height(srgb.get()) / 2, nullptr),
        "getpoint");
  std::array<int, 3> centre{static_cast<int>(pixel[0]), static_cast<int>(pixel[1]),
                            static_cast<int>(pixel[2])};
  g_free(pixel);
  return centre;
}

ImageBytes transparentPng(int width, int height) {
  ImagePtr image = gradient(width, height, 4);
  VipsImage* out = nullptr;
  // Band 3 (alpha) to zero: multiply by (1, 1, 1, 0).
  const std::array<double, 4> factors{1, 1, 1, 0};
  const std::array<double, 4> offsets{0, 0, 0, 0};
  check(vips_linear(image.get(), &out, factors.data(), offsets.data(), 4, "uchar", TRUE, nullptr),
        "linear");
  ImagePtr transparent(out);
  return *write(transparent.get(), ".png");
}

ImageBytes pngHeader(std::uint32_t width, std::uint32_t height) {
  ImageBytes bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const auto appendChunk = [&bytes](const char* type, const ImageBytes& data) {
    appendBigEndian(bytes, static_cast<std::uint32_t>(data.size()));
    ImageBytes chunk(type, type + 4);
    chunk.insert(chunk.end(), data.begin(), data.end());
    bytes.insert(bytes.end(), chunk.begin(), chunk.end());
    std::uint32_t crc = 0xFFFFFFFFu;  // CRC-32 over type and data
    for (const std::uint8_t byte : chunk) {
      crc ^= byte;
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    appendBigEndian(bytes, ~crc);
  };
  ImageBytes header;
  appendBigEndian(header, width);
  appendBigEndian(header, height);
  header.insert(header.end(), {8, 2, 0, 0, 0});  // 8-bit RGB, no interlace
  appendChunk("IHDR", header);
  appendChunk("IDAT", {120, 156, 99, 96, 128, 1, 0, 0, 10, 0, 1});  // ten zero bytes, deflated
  appendChunk("IEND", {});
  return bytes;
}

DecodedFacts decode(const ImageBytes& bytes) {
  static const ImageOptimizer initialisesVips;
  VipsImage* raw = vips_image_new_from_buffer(bytes.data(), bytes.size(), "", nullptr);
  if (raw == nullptr) {
    vips_error_clear();
    throw std::runtime_error("test image does not decode");
  }
  const ImagePtr image(raw);
  DecodedFacts facts;
  facts.width = vips_image_get_width(image.get());
  facts.height = vips_image_get_height(image.get());
  facts.bands = vips_image_get_bands(image.get());
  int orientation = 0;
  if (vips_image_get_typeof(image.get(), VIPS_META_ORIENTATION) != 0 &&
      vips_image_get_int(image.get(), VIPS_META_ORIENTATION, &orientation) == 0) {
    facts.orientation = orientation;
  }
  facts.hasExif = vips_image_get_typeof(image.get(), VIPS_META_EXIF_NAME) != 0;
  facts.hasIccProfile = vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0;
  check(vips_avg(image.get(), &facts.average, nullptr), "avg");
  return facts;
}

double regionAverage(const ImageBytes& bytes, int left, int top, int width, int height) {
  static const ImageOptimizer initialisesVips;
  VipsImage* raw = vips_image_new_from_buffer(bytes.data(), bytes.size(), "", nullptr);
  if (raw == nullptr) throw std::runtime_error("test image does not decode");
  const ImagePtr image(raw);
  VipsImage* out = nullptr;
  check(vips_extract_area(image.get(), &out, left, top, width, height, nullptr), "extract_area");
  const ImagePtr area(out);
  double average = 0;
  check(vips_avg(area.get(), &average, nullptr), "avg");
  return average;
}

}  // namespace quorvane::testing
