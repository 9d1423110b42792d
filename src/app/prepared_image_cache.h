// The images of web-quality exports, kept between them.
//
// Preparing a work's image (decoding a camera original, scaling it to 1600
// pixels, encoding a JPEG) is nearly all of a web-quality export's time, and
// an artist exports again and again while adjusting a title, an option, the
// language: each time the same images. Each prepared image is kept as its
// JPEG in a folder of the user's cache, under a name made of the work and a
// digest of everything that made it — the original's stamp (written again or
// replaced, it is another file) and the preparation (long edge, quality,
// and the version of the way images are decoded, scaled, converted to sRGB
// and encoded). One entry per work and preparation: keeping a new one drops
// the old.
//
// A file appears whole or not at all (a kill mid-write leaves nothing at
// its name), and one read back must still be a whole, upright RGB JPEG.
// The folder is bounded; past its capacity the oldest entries go, and
// nothing is kept on a disk nearly full. All of it
// is only a cache: a failure to read or write it means preparing the image
// again, never a failed export. Safe to use from several threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "images/image_optimizer.h"
#include "pdf/pdf_image.h"
#include "platform/file_system.h"
#include "platform/logger.h"

namespace quorvane {

class PreparedImageCache {
 public:
  static constexpr std::uint64_t kDefaultCapacity = std::uint64_t{512} << 20;

  // What one prepared image was made from.
  struct Key {
    std::string artworkId;
    FileStamp original;
    ImagePreparationPolicy policy;
  };

  // Entries live in `directory`, made when the first one is kept.
  PreparedImageCache(FileSystem& files, const ImageOptimizer& optimizer, std::string directory,
                     std::uint64_t capacity = kDefaultCapacity, Logger& logger = nullLogger());

  // The image kept for `key`, as the page embeds it; nothing when none is
  // (an entry found damaged is removed).
  std::optional<PreparedPdfImage> find(const Key& key);
  // Keeps `image`, prepared from `key`, in place of the work's entry of the
  // same preparation.
  void keep(const Key& key, const PreparedPdfImage& image);

  // The image of `artworkId` prepared by `policy` from its original at
  // `path`: the one kept while that is the same file, else the bytes `read`
  // gives prepared (and kept, when the file did not change while it was
  // read). Nothing when no regular file is at `path`, `read` gives nothing,
  // or the bytes can't be prepared.
  std::optional<PreparedPdfImage> preparedFrom(const std::string& artworkId,
                                               const std::string& path,
                                               const ImagePreparationPolicy& policy,
                                               const std::function<std::optional<Bytes>()>& read);

  // Drops the entries of one work (its image replaced, the work gone).
  void forget(const std::string& artworkId);
  // Drops the entries of every work not in `artworkIds`.
  void keepOnly(const std::set<std::string>& artworkIds);
  // Drops every entry.
  void clear();
  // Drops the oldest entries until the rest fit the capacity.
  void trim();

  const std::string& directory() const { return directory_; }
  std::size_t hits() const { return hits_; }
  std::size_t misses() const { return misses_; }

 private:
  std::string pathOf(const Key& key) const;
  void removeWhere(
      const std::function<bool(const std::string& artworkId, const std::string& name)>& drop);
  void removeQuietly(const std::string& name);

  FileSystem& files_;
  const ImageOptimizer& optimizer_;
  const std::string directory_;
  const std::uint64_t capacity_;
  Logger& logger_;
  std::atomic<std::size_t> hits_ = 0;
  std::atomic<std::size_t> misses_ = 0;
};

// The cache folder of the library in `libraryDirectory`:
// $XDG_CACHE_HOME/Quorvane/prepared-images/<a digest of the library's path>.
std::string preparedImagesDirectory(const std::string& libraryDirectory);

}  // namespace quorvane
