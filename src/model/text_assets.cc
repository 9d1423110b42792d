#include "model/text_assets.h"

#include "model/text.h"

namespace quorvane {

std::string textAssetId(TextAssetType type, std::string_view ownerProjectId) {
  std::string id = "asset:";
  id += rawValue(type);
  id += ':';
  id += ownerProjectId;
  return id;
}

std::string_view defaultTextTitle(TextAssetType type) {
  switch (type) {
    case TextAssetType::bio:
      return "Biography";
    case TextAssetType::statement:
      return "Artist statement";
    case TextAssetType::projectStatement:
      return "Project Statement";
    case TextAssetType::cv:
      return "CV";
  }
  return "";
}

std::string normalizedTextTitle(std::string_view title, TextAssetType type) {
  std::string trimmed = trimmedWhitespaceAndNewlines(title);
  if (trimmed.empty()) return std::string(defaultTextTitle(type));
  return trimmed;
}

}  // namespace quorvane
