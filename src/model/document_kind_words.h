// The words that name what a project prints as, one key per kind: a
// portfolio, or a price, exhibition or raisonné catalogue.
#pragma once

#include <optional>
#include <string_view>

#include "model/enums.h"

namespace quorvane {

// "document.kind.portfolio", "document.kind.raisonne", …; a catalogue of
// no stated kind is a price catalogue.
std::string_view projectKindKey(ProjectKind kind, std::optional<CatalogueKind> catalogueKind);
// "document.kind.biography", "document.kind.cv", …: a text by its kind.
std::string_view textKindKey(TextAssetType type);

}  // namespace quorvane
