// Turning an image file the artist picked into an artwork's image.
//
// What is kept, and where:
// - the original, byte for byte, in the media folder as <id>_orig.<ext>: the
//   print derivative and print-quality exports start from it;
// - the web derivative (longer edge at most 2000 px, JPEG) beside it as
//   <id>_web_v1.jpg, and the same bytes in the database's media row. The
//   database holds the web derivative, never the original: it is what every
//   screen shows and what a web-optimised export starts from, and at a few
//   hundred kilobytes per work it keeps the library small and its saves and
//   loads fast, whatever the size of the originals.
// - on the artwork: the original's upright pixel size and aspect, the web
//   derivative's byte size (`imageByteSize`, the stored image) and the
//   original's (`originalByteSize`), "image/jpeg" as the stored type.
//
// Size rules, on the original's byte count: above 15 MiB the image is kept
// with a warning (exports with very large originals get slow); above 50 MiB
// it is refused. 50 MiB holds the largest JPEG of any current camera at its
// best quality; what is larger is an uncompressed scan, which would make
// every print-quality PDF huge and is better converted first. The pixel
// count is bounded separately by the decoder (`kMaximumSourcePixels`).
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "images/image_derivation.h"
#include "images/image_optimizer.h"
#include "model/records.h"
#include "platform/file_system.h"
#include "storage/files_media_store.h"

namespace quorvane {

inline constexpr std::int64_t kImageNearLimitBytes = 15 * 1024 * 1024;
inline constexpr std::int64_t kMaximumOriginalBytes = 50 * 1024 * 1024;

// The key of the size warning an artwork carries (`Artwork::sizeWarning`).
inline constexpr std::string_view kNearLimitWarningKey = "warn.image_near_limit";

// True when an original of `byteSize` bytes earns the size warning.
constexpr bool isNearImageLimit(std::int64_t byteSize) { return byteSize > kImageNearLimitBytes; }

class ImageIntakeError : public std::runtime_error {
 public:
  enum class Case { unreadable, tooLarge, notAnImage, optimizeFailed, cannotStore };
  ImageIntakeError(Case errorCase, const std::string& what, std::int64_t byteSize = 0)
      : std::runtime_error(what), case_(errorCase), byteSize_(byteSize) {}
  Case errorCase() const { return case_; }
  std::int64_t byteSize() const { return byteSize_; }

 private:
  Case case_;
  std::int64_t byteSize_;
};

// An image read, checked and derived, not yet stored anywhere.
struct PreparedImage {
  Bytes original;
  std::string mimeType;   // of the original, sniffed from its bytes
  std::string extension;  // under which the original is kept
  DerivedImageResult web;
  PixelSize uprightSize;  // of the original, as it is seen

  bool nearLimit() const { return isNearImageLimit(static_cast<std::int64_t>(original.size())); }
};

// Reads `path` and makes its web derivative. Throws ImageIntakeError:
// unreadable, tooLarge (checked before reading), notAnImage or
// optimizeFailed; nothing is written.
PreparedImage prepareImage(FileSystem& files, const ImageOptimizer& optimizer,
                           const std::string& path);

// Stages the original and the web derivative of `artworkId` in a media
// transaction: they take their places (and those of any earlier image of the
// artwork, of whatever type) only when it commits. Throws ImageIntakeError
// (cannotStore).
void stageImage(OriginalMediaImportTransaction& transaction, const std::string& artworkId,
                const PreparedImage& image);

// Points `artwork` at the stored web derivative and fills in its sizes and
// size warning (a new image's warning is not dismissed).
void applyImage(Artwork& artwork, const PreparedImage& image, const std::string& webPath);
// Copies the fields `applyImage` sets from one artwork to another (an image
// finished on a copy, while the user may have edited the rest).
void copyImageFields(const Artwork& from, Artwork& to);

}  // namespace quorvane
