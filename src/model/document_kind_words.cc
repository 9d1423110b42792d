#include "model/document_kind_words.h"

namespace quorvane {

std::string_view projectKindKey(ProjectKind kind, std::optional<CatalogueKind> catalogueKind) {
  if (kind == ProjectKind::portfolio) return "document.kind.portfolio";
  switch (catalogueKind.value_or(CatalogueKind::price)) {
    case CatalogueKind::price:
      return "document.kind.price_catalogue";
    case CatalogueKind::exhibition:
      return "document.kind.exhibition_catalogue";
    case CatalogueKind::raisonne:
      return "document.kind.raisonne";
  }
  return "document.kind.price_catalogue";
}

std::string_view textKindKey(TextAssetType type) {
  switch (type) {
    case TextAssetType::statement:
      return "document.kind.statement";
    case TextAssetType::projectStatement:
      return "document.kind.project_statement";
    case TextAssetType::cv:
      return "document.kind.cv";
    case TextAssetType::bio:
      break;
  }
  return "document.kind.biography";
}

}  // namespace quorvane
