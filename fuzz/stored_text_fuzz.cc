// Feeds arbitrary bytes to everything that reads text the user did not type
// through our own editor: stored details and CV JSON, titles, names.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "model/export_file_names.h"
#include "model/record_json.h"
#include "model/slug.h"
#include "model/text_assets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  using namespace quorvane;

  const ArtistDetails details = decodeArtistDetails(text);
  if (decodeArtistDetails(encodeArtistDetails(details)) != details) __builtin_trap();
  const CVData cv = decodeCVData(text);
  if (decodeCVData(encodeCVData(cv)) != cv) __builtin_trap();

  const std::string s = slug(text, static_cast<int>(size % 80));
  if (s.empty()) __builtin_trap();
  for (const char c : s) {
    if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-')) __builtin_trap();
  }
  normalizedTextTitle(text, TextAssetType::bio);

  ArtistDetails named;
  named.artistName = std::string(text);
  named.nameDisplayMode = "artist";
  exportFileName(ExportDocumentKind::catalogue, named, text, dateFromSeconds(0), text);
  return 0;
}
