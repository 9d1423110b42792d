// The bounds of QuorvaneTransferService: what a package may hold, checked
// on what is actually read, never on what a header claims.
#pragma once

#include <cstdint>

namespace quorvane {

struct TransferLimits {
  std::int64_t currentFormatVersion = 4;
  std::uint64_t maximumPackageBytes = 536870912;       // 512 MiB, the whole file
  std::uint64_t maximumManifestBytes = 262144;         // 256 KiB
  std::uint64_t maximumProjectDataBytes = 8388608;     // 8 MiB
  std::uint64_t maximumArtworksDataBytes = 33554432;   // 32 MiB, also project_artworks.json
  std::uint64_t maximumLabelOverridesBytes = 8388608;  // 8 MiB
  std::uint64_t maximumMediaBytes = 104857600;         // 100 MiB, each original
  std::int64_t maximumArtworkCount = 10000;
  std::int64_t maximumDocumentCount = 10000;
  std::int64_t maximumLinkCount = 100000;
  std::int64_t maximumLabelOverrideCount = 10000;
};

// The oldest format version read.
inline constexpr std::int64_t kOldestFormatVersion = 3;

}  // namespace quorvane
