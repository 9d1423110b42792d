// What a derivative of an original image is: the two recipes (web and
// print), the result of a derivation and its failures.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/raw_value.h"

namespace quorvane {

enum class ImageDerivativeKind { web, print };

template <>
struct RawValueTable<ImageDerivativeKind> {
  static constexpr std::array<RawCase<ImageDerivativeKind>, 2> cases{{
      {ImageDerivativeKind::web, "web"},
      {ImageDerivativeKind::print, "print"},
  }};
};

struct ImageDerivativePreset {
  ImageDerivativeKind kind = ImageDerivativeKind::web;
  // Part of the derivative's file name, so files of an older recipe can be
  // told apart.
  std::int64_t presetVersion = 1;
  double maxPixelSize = 2000;        // bound of the longer edge
  double compressionQuality = 0.82;  // JPEG quality, 0…1
  std::string mimeType = "image/jpeg";
  std::string colorSpaceName = "sRGB";  // the intent; derivation converts to sRGB
  bool auxiliaryFlag = true;
  bool neverUpscale = true;

  bool operator==(const ImageDerivativePreset&) const = default;
};

// For display and web-optimised PDFs.
inline const ImageDerivativePreset kWebPreset{
    ImageDerivativeKind::web, 1, 2000, 0.82, "image/jpeg", "sRGB", true, true};
// For PDFs at print quality.
inline const ImageDerivativePreset kPrintPreset{
    ImageDerivativeKind::print, 1, 3000, 0.88, "image/jpeg", "sRGB", true, true};

struct DerivedImageResult {
  std::vector<std::uint8_t> data;  // a JPEG file
  std::string mimeType;
  std::int64_t width = 0;  // upright, after the orientation was applied
  std::int64_t height = 0;
  ImageDerivativeKind kind = ImageDerivativeKind::web;
  std::int64_t presetVersion = 1;

  bool operator==(const DerivedImageResult&) const = default;
};

// Why no derivative was made. Callers write nothing for that artwork and go
// on; the text says what happened, for the log and the command line.
class ImageDeriverError : public std::runtime_error {
 public:
  enum class Case { decodeFailed, invalidSourceMetadata, encodeFailed };

  ImageDeriverError(Case errorCase, const std::string& what,
                    std::optional<std::pair<std::int64_t, std::int64_t>> declaredSize = {})
      : std::runtime_error(what), case_(errorCase), declaredSize_(declaredSize) {}
  Case errorCase() const { return case_; }
  // Width and height, when the image was refused for the size it declares.
  const std::optional<std::pair<std::int64_t, std::int64_t>>& declaredSize() const {
    return declaredSize_;
  }

 private:
  Case case_;
  std::optional<std::pair<std::int64_t, std::int64_t>> declaredSize_;
};

// The most pixels an original may declare. Beyond this (a 17,300 × 17,300
// scan, say) decoding would need gigabytes; such a header is refused before
// any pixel is read.
inline constexpr std::int64_t kMaximumSourcePixels = 300'000'000;

struct PixelSize {
  std::int64_t width = 0;
  std::int64_t height = 0;

  bool operator==(const PixelSize&) const = default;
};

// A JPEG a PDF can carry as it is, and how its values are to be read.
struct EmbeddableJpeg {
  PixelSize size;
  int components = 3;                   // 1 grey, 3 RGB, 4 CMYK
  std::vector<std::uint8_t> iccProfile;  // the profile the file embeds; empty for none
  bool invertedCmyk = false;             // Photoshop's CMYK, each ink stored inverted

  bool operator==(const EmbeddableJpeg&) const = default;
};

}  // namespace quorvane
