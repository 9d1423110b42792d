// The bounds of QuorvaneTransferService: what a package may hold, checked
// on what is actually read, never on what a header claims.
#pragma once

#include <cstdint>

namespace quorvane {

struct TransferLimits {
  std::int64_t currentFormatVersion = 4;
  std::uint64_t maximumManifestBytes = 262144;         // 256 KiB
  std::uint64_t maximumProjectDataBytes = 8388608;     // 8 MiB
  std::uint64_t maximumArtworksDataBytes = 33554432;   // 32 MiB, also project_artworks.json
  std::uint64_t maximumLabelOverridesBytes = 8388608;  // 8 MiB
  std::uint64_t maximumMediaBytes = 104857600;         // 100 MiB, each original
  std::int64_t maximumArtworkCount = 10000;
  std::int64_t maximumDocumentCount = 10000;
  std::int64_t maximumLinkCount = 100000;
  std::int64_t maximumLabelOverrideCount = 10000;

  // The whole file: at most what its parts may hold (every original at its
  // limit, every data file at its own), with room for the archive's
  // headers. A fixed figure below that (512 MiB, once) would let a library
  // hold projects whose backups it could not read back; bounded by the
  // parts, a package is still never read whole, and what it unpacks to is
  // checked against the free space before anything is written.
  std::uint64_t maximumPackageBytes() const {
    const auto artworks = static_cast<std::uint64_t>(maximumArtworkCount);
    return artworks * (maximumMediaBytes + kEntryHeaderBytes) + maximumManifestBytes +
           maximumProjectDataBytes + 2 * maximumArtworksDataBytes + maximumLabelOverridesBytes +
           8 * kEntryHeaderBytes;
  }

  // A generous bound on what the ZIP headers of one entry take (two
  // headers, a descriptor and its name twice).
  static constexpr std::uint64_t kEntryHeaderBytes = 1024;
};

// The oldest format version read.
inline constexpr std::int64_t kOldestFormatVersion = 3;

}  // namespace quorvane
