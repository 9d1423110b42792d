// Feeds arbitrary bytes, as a .quorvane file, to everything that reads a
// package: the ZIP container, the fourteen checks, the originals read
// through with the image checks of an import. Any outcome but a
// QuorvaneTransferError, a PackageDecodingError or a package read whole is
// a finding; so is a crash, a leak or a hang.
// The seed corpus (fuzz/corpus/package_reader) holds real packages.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "app/package_export.h"
#include "packages/transfer_error.h"
#include "packages/transfer_service.h"

namespace {

const std::string& packagePath() {
  static const std::string path = [] {
    std::string pattern = "/tmp/quorvane-fuzz-package-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern + "/fuzzed.quorvane";
  }();
  return path;
}

const quorvane::ImageOptimizer& images() {
  static const quorvane::ImageOptimizer optimizer;
  return optimizer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvane;
  std::ofstream(packagePath(), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  TransferLimits limits;
  limits.maximumMediaBytes = 1 << 20;  // bounded work per input
  const QuorvaneTransferService service(limits);
  try {
    OpenedPackage opened = service.openPackage(packagePath());
    checkOriginals(*opened.archive, opened.content, limits, libraryImageCheck(images()));
    // What was taken must hold together: ids safe, links within the package.
    for (const DocumentArtworkLink& link : opened.content.snapshot.documentArtworkLinks) {
      if (link.position < 0) __builtin_trap();
    }
  } catch (const QuorvaneTransferError&) {
  } catch (const PackageDecodingError&) {
  }
  return 0;
}
