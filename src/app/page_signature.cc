#include "app/page_signature.h"

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "model/raw_value.h"
#include "model/record_json.h"

namespace quorvane {
namespace {

// FNV-1a over fields each prefixed by its length, so that "ab"+"c" and
// "a"+"bc" differ.
class Digest {
 public:
  Digest& add(std::string_view text) {
    const std::uint64_t length = text.size();
    for (int shift = 0; shift < 64; shift += 8) byte(static_cast<unsigned char>(length >> shift));
    for (const char c : text) byte(static_cast<unsigned char>(c));
    return *this;
  }
  template <typename T>
  Digest& add(const std::optional<T>& value) {
    if (!value) return add("\x01-absent");
    if constexpr (std::is_same_v<T, std::string>) {
      return add(*value);
    } else {
      return add(std::to_string(*value));
    }
  }
  Digest& add(const LabelMap& labels) {
    add(std::to_string(labels.size()));
    for (const auto& [key, value] : labels) add(key).add(value);
    return *this;
  }
  std::string text() const {
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash_));
    return hex;
  }

 private:
  void byte(unsigned char c) {
    hash_ ^= c;
    hash_ *= 0x100000001b3ULL;
  }
  std::uint64_t hash_ = 0xcbf29ce484222325ULL;
};

template <typename E>
std::string rawOf(const std::optional<E>& value) {
  return value ? std::string(rawValue(*value)) : std::string("-");
}

Digest& addExport(Digest& digest, const ExportOptions& options, const LabelMap& labels) {
  return digest.add(options.exportLocale).add(rawValue(options.format)).add(labels);
}

}  // namespace

std::string artworkPageSignature(const Project& project, const ArtworksData& artworks,
                                 const Artwork& artwork, int number, const ExportOptions& options,
                                 const LabelMap& labels) {
  Digest digest;
  digest.add("artwork-page-1")
      .add(artwork.title)
      .add(artwork.year)
      .add(artwork.medium)
      .add(artwork.artworkWidth)
      .add(artwork.artworkHeight)
      .add(artwork.artworkDepth)
      .add(artwork.artworkText)
      .add(rawOf(artwork.status))
      .add(artwork.priceCents)
      .add(artwork.priceCurrency)
      .add(artwork.imagePath)
      .add(artwork.mimeType)
      .add(artwork.imageByteSize)
      .add(artwork.originalByteSize)
      .add(artwork.width)
      .add(artwork.height)
      .add(rawValue(project.kind))
      .add(rawOf(project.catalogueKind))
      .add(project.currency)
      .add(rawValue(project.orientation))
      .add(rawValue(artworks.unit))
      .add(rawValue(artworks.layoutMode));
  const bool numbered =
      project.kind == ProjectKind::catalogue && project.catalogueKind == CatalogueKind::raisonne;
  digest.add(numbered ? std::to_string(number) : std::string("-"));
  return addExport(digest, options, labels).text();
}

std::string documentPageSignature(std::string_view section, const StudioSnapshot& snapshot,
                                  const ExportOptions& options, const LabelMap& labels) {
  Digest digest;
  digest.add("document-page-1").add(section);
  if (section == "bio") digest.add(snapshot.biography);
  if (section == "statement") digest.add(snapshot.statement);
  if (section == "projectStatement") digest.add(snapshot.projectStatement);
  if (section == "cv") {
    digest.add(cvDataToJson(snapshot.cv).dump()).add(artistDetailsToJson(snapshot.details).dump());
  }
  return addExport(digest, options, labels).text();
}

}  // namespace quorvane
