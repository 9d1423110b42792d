#include "app/save_section.h"

#include <nlohmann/json.hpp>

#include "model/record_json.h"

namespace quorvane {
namespace {

nlohmann::json projectJson(const Project& project, const StudioSnapshot& snapshot) {
  return {project.id,
          rawValue(project.kind),
          project.catalogueKind ? nlohmann::json(rawValue(*project.catalogueKind)) : nullptr,
          project.projectName,
          project.projectTitle,
          project.projectYear,
          project.locale,
          project.currency ? nlohmann::json(*project.currency) : nullptr,
          rawValue(snapshot.artworks.unit),
          rawValue(project.orientation),
          rawValue(snapshot.artworks.layoutMode),
          millisecondsSince1970(project.createdAt)};
}

template <typename T>
nlohmann::json optionalJson(const std::optional<T>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

nlohmann::json artworkJson(const Artwork& a) {
  return {a.id,
          a.title,
          a.medium,
          a.year,
          a.artworkWidth,
          a.artworkHeight,
          a.artworkDepth,
          a.artworkText,
          optionalJson(a.imagePath),
          a.mimeType,
          optionalJson(a.imageByteSize),
          optionalJson(a.originalByteSize),
          optionalJson(a.width),
          optionalJson(a.height),
          optionalJson(a.aspect),
          a.sizeWarning,
          a.sizeWarningDismissed,
          a.sortIndex,
          a.status ? nlohmann::json(rawValue(*a.status)) : nullptr,
          optionalJson(a.priceCents),
          optionalJson(a.priceCurrency)};
}

nlohmann::json artworksSectionJson(const StudioSnapshot& s) {
  nlohmann::json artworks = nlohmann::json::array();
  for (const Artwork& artwork : s.artworks.images) artworks.push_back(artworkJson(artwork));
  nlohmann::json documents = nlohmann::json::array();
  for (const Document& d : s.documents) {
    documents.push_back({d.id, rawValue(d.type), d.title, rawValue(d.orientation),
                         millisecondsSince1970(d.createdAt), millisecondsSince1970(d.updatedAt)});
  }
  nlohmann::json links = nlohmann::json::array();
  for (const DocumentArtworkLink& l : s.documentArtworkLinks) {
    links.push_back({l.id, l.documentId, l.artworkId, l.position});
  }
  return {artworks, documents, links};
}

nlohmann::json sectionJson(SaveSection section, const StudioSnapshot& s) {
  switch (section) {
    case SaveSection::artworks:
      return artworksSectionJson(s);
    case SaveSection::bio:
      return {s.biography, s.biographyTitle};
    case SaveSection::statement:
      return {s.statement, s.statementTitle};
    case SaveSection::projectStatement:
      return {s.projectStatement, s.projectStatementTitle};
    case SaveSection::cv:
      return {cvDataToJson(s.cv), s.cvTitle};
    case SaveSection::details:
      return {artistDetailsToJson(s.details)};
  }
  return nullptr;
}

std::uint64_t hashOf(const nlohmann::json& value) {
  const std::string text = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
  for (const unsigned char c : text) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

}  // namespace

TextAssetType textAssetType(SaveSection section) {
  switch (section) {
    case SaveSection::statement:
      return TextAssetType::statement;
    case SaveSection::projectStatement:
      return TextAssetType::projectStatement;
    case SaveSection::cv:
      return TextAssetType::cv;
    default:
      return TextAssetType::bio;
  }
}

SaveSection sectionOf(TextAssetType type) {
  switch (type) {
    case TextAssetType::statement:
      return SaveSection::statement;
    case TextAssetType::projectStatement:
      return SaveSection::projectStatement;
    case TextAssetType::cv:
      return SaveSection::cv;
    case TextAssetType::bio:
      break;
  }
  return SaveSection::bio;
}

std::string_view storageSectionName(SaveSection section) {
  return section == SaveSection::projectStatement ? std::string_view("project_statement")
                                                  : rawValue(section);
}

SectionTimes sectionTimes(StudioSnapshot& s, SaveSection section) {
  switch (section) {
    case SaveSection::artworks:
      return {s.artworksCreatedAt, s.artworksUpdatedAt};
    case SaveSection::bio:
      return {s.biographyCreatedAt, s.biographyUpdatedAt};
    case SaveSection::statement:
      return {s.statementCreatedAt, s.statementUpdatedAt};
    case SaveSection::projectStatement:
      return {s.projectStatementCreatedAt, s.projectStatementUpdatedAt};
    case SaveSection::cv:
      return {s.cvCreatedAt, s.cvUpdatedAt};
    case SaveSection::details:
      break;
  }
  return {s.detailsCreatedAt, s.detailsUpdatedAt};
}

std::uint64_t sectionFingerprint(SaveSection section, const Project& project,
                                 const StudioSnapshot& snapshot) {
  return hashOf(
      {rawValue(section), projectJson(project, snapshot), sectionJson(section, snapshot)});
}

std::uint64_t sectionContentFingerprint(SaveSection section, const StudioSnapshot& snapshot) {
  nlohmann::json content = sectionJson(section, snapshot);
  if (section == SaveSection::artworks) {
    content.push_back(rawValue(snapshot.artworks.unit));
    content.push_back(rawValue(snapshot.artworks.layoutMode));
  }
  return hashOf({rawValue(section), std::move(content)});
}

}  // namespace quorvane
