#include "model/enums.h"

namespace quorvane {

ProjectKind decodeProjectKind(std::optional<std::string_view> stored) {
  return stored == "catalogue" ? ProjectKind::catalogue : ProjectKind::portfolio;
}

std::optional<CatalogueKind> decodeCatalogueKind(ProjectKind kind,
                                                 std::optional<std::string_view> stored) {
  if (kind != ProjectKind::catalogue) return std::nullopt;
  const auto known = stored ? fromRawValue<CatalogueKind>(*stored) : std::nullopt;
  return known.value_or(CatalogueKind::price);
}

UnitSystem decodeUnitSystem(std::optional<std::string_view> stored) {
  return stored == "in" ? UnitSystem::in : UnitSystem::cm;
}

DocumentOrientation decodeOrientation(std::optional<std::string_view> stored) {
  return stored == "landscape" ? DocumentOrientation::landscape : DocumentOrientation::portrait;
}

ArtworkLayoutMode decodeLayoutMode(std::optional<std::string_view> stored) {
  return stored == "artwork_text" ? ArtworkLayoutMode::artworkText : ArtworkLayoutMode::artwork;
}

std::optional<ArtworkStatus> decodeArtworkStatus(std::optional<std::string_view> stored) {
  if (!stored) return std::nullopt;
  return fromRawValue<ArtworkStatus>(*stored);
}

NameDisplayMode decodeNameDisplayMode(std::string_view stored) {
  return fromRawValue<NameDisplayMode>(stored).value_or(NameDisplayMode::legal);
}

}  // namespace quorvane
