#include "images/image_structure.h"

#include <cstring>

namespace quorvane {
namespace {

using Span = std::span<const std::uint8_t>;

std::uint32_t bigEndian16(Span d, std::size_t at) {
  return (std::uint32_t{d[at]} << 8) | d[at + 1];
}

std::uint32_t bigEndian32(Span d, std::size_t at) {
  return (bigEndian16(d, at) << 16) | bigEndian16(d, at + 2);
}

// Segments are skipped by their lengths; the entropy-coded data after a
// start of scan is searched for the next marker (0xFF not followed by a
// stuffed zero or a restart).
bool jpegReachesEnd(Span d) {
  const std::size_t n = d.size();
  if (n < 4 || d[0] != 0xFF || d[1] != 0xD8) return false;
  std::size_t i = 2;
  for (;;) {
    const void* found = std::memchr(d.data() + i, 0xFF, n - i);
    if (found == nullptr) return false;
    i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - d.data());
    while (i < n && d[i] == 0xFF) ++i;  // fill bytes
    if (i >= n) return false;
    const std::uint8_t marker = d[i++];
    if (marker == 0xD9) return true;
    if (marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;
    if (n - i < 2) return false;
    const std::size_t length = bigEndian16(d, i);
    if (length < 2 || length > n - i) return false;
    i += length;
  }
}

// Walks the segments before the first scan, each skipped by its length.
bool adobeSegmentBeforeScan(Span d) {
  const std::size_t n = d.size();
  if (n < 4 || d[0] != 0xFF || d[1] != 0xD8) return false;
  std::size_t i = 2;
  while (i < n && d[i] == 0xFF) {
    while (i < n && d[i] == 0xFF) ++i;  // fill bytes
    if (i >= n) return false;
    const std::uint8_t marker = d[i++];
    if (marker == 0xDA || marker == 0xD9) return false;  // the scan (or the end) came first
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;
    if (n - i < 2) return false;
    const std::size_t length = bigEndian16(d, i);
    if (length < 2 || length > n - i) return false;
    if (marker == 0xEE && length >= 7 && std::memcmp(d.data() + i + 2, "Adobe", 5) == 0) {
      return true;
    }
    i += length;
  }
  return false;
}

bool pngReachesEnd(Span d) {
  static constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (d.size() < 8 || std::memcmp(d.data(), kSignature, 8) != 0) return false;
  for (std::size_t i = 8; d.size() - i >= 12;) {
    const std::uint64_t length = bigEndian32(d, i);
    if (std::memcmp(d.data() + i + 4, "IEND", 4) == 0) return true;
    if (length > d.size() - i - 12) return false;
    i += 12 + length;
  }
  return false;
}

// Data sub-blocks, each led by its length, ended by an empty one.
bool skipSubBlocks(Span d, std::size_t& i) {
  for (;;) {
    if (i >= d.size()) return false;
    const std::size_t length = d[i++];
    if (length == 0) return true;
    i += length;
  }
}

bool gifReachesEnd(Span d) {
  if (d.size() < 13 || std::memcmp(d.data(), "GIF8", 4) != 0) return false;
  std::size_t i = 13;
  if (d[10] & 0x80) i += std::size_t{3} << ((d[10] & 7) + 1);  // the global colour table
  for (;;) {
    if (i >= d.size()) return false;
    switch (d[i++]) {
      case 0x3B:  // trailer
        return true;
      case 0x21:  // an extension: its label, then its data
        ++i;
        if (!skipSubBlocks(d, i)) return false;
        break;
      case 0x2C: {  // an image: its descriptor, colour table, code size, data
        if (d.size() - i < 9) return false;
        const std::uint8_t flags = d[i + 8];
        i += 9;
        if (flags & 0x80) i += std::size_t{3} << ((flags & 7) + 1);
        ++i;
        if (!skipSubBlocks(d, i)) return false;
        break;
      }
      default:
        return false;
    }
  }
}

bool webpReachesEnd(Span d) {
  if (d.size() < 12 || std::memcmp(d.data(), "RIFF", 4) != 0) return false;
  const std::uint64_t length = std::uint64_t{d[4]} | (std::uint64_t{d[5]} << 8) |
                               (std::uint64_t{d[6]} << 16) | (std::uint64_t{d[7]} << 24);
  return length >= 4 && length <= d.size() - 8;
}

// The top-level boxes of an ISO media file, each within the file.
bool heifReachesEnd(Span d) {
  std::size_t i = 0;
  while (i < d.size()) {
    if (d.size() - i < 8) return false;
    std::uint64_t size = bigEndian32(d, i);
    std::uint64_t header = 8;
    if (size == 0) return true;  // the last box, to the end of the file
    if (size == 1) {
      if (d.size() - i < 16) return false;
      size = (std::uint64_t{bigEndian32(d, i + 8)} << 32) | bigEndian32(d, i + 12);
      header = 16;
    }
    if (size < header || size > d.size() - i) return false;
    i += static_cast<std::size_t>(size);
  }
  return i > 0;
}

// The first image of a TIFF: every strip (or tile) its directory lists
// lies within the file.
class TiffWalk {
 public:
  explicit TiffWalk(Span d) : d_(d), little_(d.size() >= 2 && d[0] == 'I') {}

  bool reachesEnd() const {
    const std::size_t n = d_.size();
    if (n < 8 || (std::memcmp(d_.data(), "II", 2) != 0 && std::memcmp(d_.data(), "MM", 2) != 0)) {
      return false;
    }
    if (u16(2) == 43) return true;  // BigTIFF: not walked here
    const std::uint64_t directory = u32(4);
    if (directory < 8 || directory > n - 2) return false;
    const std::uint64_t entries = u16(static_cast<std::size_t>(directory));
    if (entries * 12 > n - directory - 2) return false;
    Values offsets, counts;
    for (std::uint64_t k = 0; k < entries; ++k) {
      const auto entry = static_cast<std::size_t>(directory + 2 + k * 12);
      const std::uint32_t tag = u16(entry);
      if (tag == 273 || tag == 324) offsets = values(entry);
      if (tag == 279 || tag == 325) counts = values(entry);
    }
    if (!offsets.valid || !counts.valid || offsets.count == 0 || offsets.count != counts.count) {
      return false;
    }
    for (std::uint64_t k = 0; k < offsets.count; ++k) {
      const std::uint64_t start = value(offsets, k);
      const std::uint64_t length = value(counts, k);
      if (start > n || length > n - start) return false;
    }
    return true;
  }

 private:
  struct Values {
    bool valid = false;
    std::uint64_t count = 0;
    std::size_t at = 0;     // where the values are
    std::size_t width = 0;  // bytes per value
  };

  std::uint32_t u16(std::size_t at) const {
    return little_ ? (std::uint32_t{d_[at + 1]} << 8) | d_[at] : bigEndian16(d_, at);
  }
  std::uint32_t u32(std::size_t at) const {
    return little_ ? (u16(at + 2) << 16) | u16(at) : bigEndian32(d_, at);
  }

  // The SHORT or LONG values of a directory entry, inline or at an offset,
  // all within the file.
  Values values(std::size_t entry) const {
    Values v;
    const std::uint32_t type = u16(entry + 2);
    v.width = type == 3 ? 2 : type == 4 ? 4 : 0;
    v.count = u32(entry + 4);
    if (v.width == 0 || v.count > d_.size() / v.width) return v;
    const std::uint64_t total = v.count * v.width;
    v.at = total <= 4 ? entry + 8 : u32(entry + 8);
    v.valid = v.at <= d_.size() && total <= d_.size() - v.at;
    return v;
  }

  std::uint64_t value(const Values& v, std::uint64_t k) const {
    const auto at = static_cast<std::size_t>(v.at + k * v.width);
    return v.width == 2 ? u16(at) : u32(at);
  }

  Span d_;
  bool little_;
};

}  // namespace

bool reachesItsEnd(std::string_view mimeType, std::span<const std::uint8_t> bytes) {
  if (mimeType == "image/jpeg") return jpegReachesEnd(bytes);
  if (mimeType == "image/png") return pngReachesEnd(bytes);
  if (mimeType == "image/gif") return gifReachesEnd(bytes);
  if (mimeType == "image/webp") return webpReachesEnd(bytes);
  if (mimeType == "image/tiff") return TiffWalk(bytes).reachesEnd();
  if (mimeType == "image/heic" || mimeType == "image/heif" || mimeType == "image/avif") {
    return heifReachesEnd(bytes);
  }
  return true;
}

bool jpegHasAdobeSegment(std::span<const std::uint8_t> bytes) {
  return adobeSegmentBeforeScan(bytes);
}

}  // namespace quorvane
