#include "app/save_section.h"

#include <nlohmann/json.hpp>

#include "model/record_json.h"

namespace quorvane {
namespace {

nlohmann::json timesJson(const std::optional<Date>& createdAt,
                         const std::optional<Date>& updatedAt) {
  const auto ms = [](const std::optional<Date>& date) {
    return date ? nlohmann::json(millisecondsSince1970(*date)) : nlohmann::json(nullptr);
  };
  return {ms(createdAt), ms(updatedAt)};
}

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
  return {artworks, documents, links, timesJson(s.artworksCreatedAt, s.artworksUpdatedAt)};
}

nlohmann::json sectionJson(SaveSection section, const StudioSnapshot& s) {
  switch (section) {
    case SaveSection::artworks:
      return artworksSectionJson(s);
    case SaveSection::bio:
      return {s.biography, s.biographyTitle, timesJson(s.biographyCreatedAt, s.biographyUpdatedAt)};
    case SaveSection::statement:
      return {s.statement, s.statementTitle, timesJson(s.statementCreatedAt, s.statementUpdatedAt)};
    case SaveSection::projectStatement:
      return {s.projectStatement, s.projectStatementTitle,
              timesJson(s.projectStatementCreatedAt, s.projectStatementUpdatedAt)};
    case SaveSection::cv:
      return {cvDataToJson(s.cv), s.cvTitle, timesJson(s.cvCreatedAt, s.cvUpdatedAt)};
    case SaveSection::details:
      return {artistDetailsToJson(s.details), timesJson(s.detailsCreatedAt, s.detailsUpdatedAt)};
  }
  return nullptr;
}

}  // namespace

std::string_view storageSectionName(SaveSection section) {
  return section == SaveSection::projectStatement ? std::string_view("project_statement")
                                                  : rawValue(section);
}

std::uint64_t sectionFingerprint(SaveSection section, const Project& project,
                                 const StudioSnapshot& snapshot) {
  const std::string text = nlohmann::json{rawValue(section), projectJson(project, snapshot),
                                          sectionJson(section, snapshot)}
                               .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::uint64_t hash = 14695981039346656037ull;  // FNV-1a
  for (const unsigned char c : text) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

}  // namespace quorvane
