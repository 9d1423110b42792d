#include "app/prepared_image_cache.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <vector>

#include "platform/paths.h"

namespace quorvane {
namespace {

// Changed whenever preparing an image makes other pixels from the same
// original (decoding, scaling, colour handling, encoding): entries made the
// older way are then never found, and go with the bound or the next tidy.
constexpr int kPreparationVersion = 1;
constexpr std::uint64_t kLargestEntry = std::uint64_t{64} << 20;
constexpr std::string_view kExtension = ".jpg";
// What is left free on the disk, past which nothing more is kept: a cache
// never takes the room an export or the library needs.
constexpr std::uint64_t kSpareBytes = std::uint64_t{256} << 20;

std::uint64_t digest(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ull;  // FNV-1a, 64 bits
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 1099511628211ull;
  }
  return hash;
}

std::string hex(std::uint64_t value) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
  return text;
}

std::string exact(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

// Work ids become part of file names: only the letters, digits and dashes
// of the ids the library makes are let through.
bool isNameSafe(const std::string& id) {
  return !id.empty() && id.size() <= 64 && std::all_of(id.begin(), id.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-';
  });
}

// "1600-78": the preparation, readable in the name.
std::string tagOf(const ImagePreparationPolicy& policy) {
  const double edge = policy.maxLongEdge.value_or(1600);
  const double quality = policy.jpegQuality.value_or(0.78);
  return std::to_string(std::lround(edge)) + "-" + std::to_string(std::lround(quality * 100));
}

// The work of an entry's name ("<work>.<tag>.<digest>.jpg"); nothing for a
// name that is not one of ours.
std::optional<std::string> artworkOfEntry(const std::string& name) {
  if (!name.ends_with(kExtension) || name.starts_with('.')) return std::nullopt;
  if (std::count(name.begin(), name.end(), '.') != 3) return std::nullopt;
  std::string id = name.substr(0, name.find('.'));
  if (!isNameSafe(id)) return std::nullopt;
  return id;
}

bool isWholeJpeg(const Bytes& bytes) {
  return bytes.size() > 4 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF &&
         bytes[bytes.size() - 2] == 0xFF && bytes[bytes.size() - 1] == 0xD9;
}

}  // namespace

PreparedImageCache::PreparedImageCache(FileSystem& files, const ImageOptimizer& optimizer,
                                       std::string directory, std::uint64_t capacity,
                                       Logger& logger)
    : files_(files),
      optimizer_(optimizer),
      directory_(std::move(directory)),
      capacity_(capacity),
      logger_(logger) {}

std::string PreparedImageCache::pathOf(const Key& key) const {
  const FileStamp& stamp = key.original;
  const std::string made = std::to_string(kPreparationVersion) + "|" + key.artworkId + "|" +
                           std::to_string(stamp.device) + "|" + std::to_string(stamp.inode) + "|" +
                           std::to_string(stamp.size) + "|" +
                           std::to_string(stamp.modifiedNanoseconds) + "|" +
                           std::to_string(stamp.changedNanoseconds) + "|" +
                           exact(key.policy.maxLongEdge.value_or(1600)) + "|" +
                           exact(key.policy.jpegQuality.value_or(0.78));
  return directory_ + "/" + key.artworkId + "." + tagOf(key.policy) + "." + hex(digest(made)) +
         std::string(kExtension);
}

std::optional<PreparedPdfImage> PreparedImageCache::find(const Key& key) {
  if (!isNameSafe(key.artworkId)) return std::nullopt;
  const std::string path = pathOf(key);
  try {
    const std::unique_ptr<FileReader> reader = files_.openRegularFile(path);
    const std::uint64_t size = reader->size();
    Bytes bytes = size <= kLargestEntry ? reader->read(static_cast<std::size_t>(size)) : Bytes();
    const std::optional<EmbeddableJpeg> jpeg = bytes.size() == size && isWholeJpeg(bytes)
                                                   ? optimizer_.embeddableJpeg(bytes)
                                                   : std::nullopt;
    if (jpeg && jpeg->components == 3 && jpeg->iccProfile.empty()) {
      ++hits_;
      PreparedPdfImage image;
      image.preparedByteSize = static_cast<std::int64_t>(bytes.size());
      image.sourceByteSize = static_cast<std::int64_t>(key.original.size);
      image.preparedPixelWidth = jpeg->size.width;
      image.preparedPixelHeight = jpeg->size.height;
      image.jpeg = std::move(bytes);
      return image;
    }
    logger_.log("[Quorvane][PreparedImages] state=damaged_entry_removed path=" + path);
    removeQuietly(path);
  } catch (const std::exception&) {
    // None there, or none that can be read: prepared again.
  }
  ++misses_;
  return std::nullopt;
}

void PreparedImageCache::keep(const Key& key, const PreparedPdfImage& image) {
  if (!isNameSafe(key.artworkId) || image.jpeg.empty()) return;
  const std::string path = pathOf(key);
  try {
    files_.createDirectories(directory_);
    if (files_.availableBytes(directory_) < kSpareBytes + image.jpeg.size()) return;
    const std::unique_ptr<FileWriter> file = files_.createAtomically(path);
    file->write(image.jpeg);
    file->commit(AtomicFile::Replace::existing);
  } catch (const std::exception& error) {
    logger_.log("[Quorvane][PreparedImages] state=not_kept id=" + key.artworkId +
                " error=" + error.what());
    return;
  }
  const std::string sibling = key.artworkId + "." + tagOf(key.policy) + ".";
  const std::string kept = path.substr(directory_.size() + 1);
  removeWhere([&](const std::string&, const std::string& name) {
    return name.starts_with(sibling) && name != kept;
  });
}

std::optional<PreparedPdfImage> PreparedImageCache::preparedFrom(
    const std::string& artworkId, const std::string& path, const ImagePreparationPolicy& policy,
    const std::function<std::optional<Bytes>()>& read) {
  const std::optional<FileStamp> stamp = files_.regularFileStamp(path);
  if (!stamp) return std::nullopt;
  const Key key{artworkId, *stamp, policy};
  if (std::optional<PreparedPdfImage> kept = find(key)) return kept;
  std::optional<Bytes> bytes = read();
  if (!bytes) return std::nullopt;
  std::optional<PreparedPdfImage> prepared = preparePdfImage(optimizer_, std::move(*bytes), policy);
  if (prepared && files_.regularFileStamp(path) == stamp) keep(key, *prepared);
  return prepared;
}

void PreparedImageCache::forget(const std::string& artworkId) {
  removeWhere([&](const std::string& id, const std::string&) { return id == artworkId; });
}

void PreparedImageCache::keepOnly(const std::set<std::string>& artworkIds) {
  removeWhere([&](const std::string& id, const std::string&) { return !artworkIds.contains(id); });
}

void PreparedImageCache::clear() {
  removeWhere([](const std::string&, const std::string&) { return true; });
}

void PreparedImageCache::trim() {
  struct Entry {
    std::string name;
    FileStamp stamp;
  };
  std::vector<Entry> entries;
  std::uint64_t total = 0;
  try {
    for (const std::string& name : files_.listDirectory(directory_)) {
      if (!artworkOfEntry(name)) continue;
      if (const auto stamp = files_.regularFileStamp(directory_ + "/" + name)) {
        entries.push_back({name, *stamp});
        total += stamp->size;
      }
    }
  } catch (const std::exception&) {
    return;
  }
  if (total <= capacity_) return;
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return a.stamp.modifiedNanoseconds < b.stamp.modifiedNanoseconds;
  });
  int removed = 0;
  for (const Entry& entry : entries) {
    if (total <= capacity_) break;
    removeQuietly(directory_ + "/" + entry.name);
    total -= entry.stamp.size;
    ++removed;
  }
  logger_.log("[Quorvane][PreparedImages] state=trimmed removed=" + std::to_string(removed) +
              " bytes=" + std::to_string(total));
}

void PreparedImageCache::removeWhere(
    const std::function<bool(const std::string& artworkId, const std::string& name)>& drop) {
  std::vector<std::string> names;
  try {
    names = files_.listDirectory(directory_);
  } catch (const std::exception&) {
    return;  // no folder yet: nothing kept
  }
  for (const std::string& name : names) {
    const std::optional<std::string> artwork = artworkOfEntry(name);
    if (artwork && drop(*artwork, name)) removeQuietly(directory_ + "/" + name);
  }
}

void PreparedImageCache::removeQuietly(const std::string& path) {
  try {
    files_.removeAll(path);
  } catch (const std::exception& error) {
    logger_.log("[Quorvane][PreparedImages] state=not_removed path=" + path +
                " error=" + error.what());
  }
}

std::string preparedImagesDirectory(const std::string& libraryDirectory) {
  return cacheDirectory() + "/prepared-images/" + hex(digest(libraryDirectory));
}

}  // namespace quorvane
