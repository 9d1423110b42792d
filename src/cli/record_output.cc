#include "cli/record_output.h"

#include "model/raw_value.h"
#include "model/record_json.h"

namespace quorvane {
namespace {

using nlohmann::json;

template <typename T>
void putOptional(json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

void putDate(json& object, const char* key, const std::optional<Date>& date) {
  if (date) object[key] = millisecondsSince1970(*date);
}

template <typename E>
void putRaw(json& object, const char* key, const std::optional<E>& value) {
  if (value) object[key] = std::string(rawValue(*value));
}

}  // namespace

json toJson(const Project& project) {
  json object{{"id", project.id},
              {"kind", rawValue(project.kind)},
              {"projectName", project.projectName},
              {"projectTitle", project.projectTitle},
              {"projectYear", project.projectYear},
              {"locale", project.locale},
              {"unit", rawValue(project.unit)},
              {"orientation", rawValue(project.orientation)}};
  putRaw(object, "catalogueKind", project.catalogueKind);
  putOptional(object, "currency", project.currency);
  putDate(object, "createdAt", project.createdAt);
  putDate(object, "updatedAt", project.updatedAt);
  return object;
}

json toJson(const ProjectSummary& summary) {
  json object{{"id", summary.id},
              {"projectName", summary.projectName},
              {"projectTitle", summary.projectTitle}};
  putDate(object, "createdAt", summary.createdAt);
  putDate(object, "updatedAt", summary.updatedAt);
  return object;
}

json toJson(const Artwork& artwork) {
  json object = artworkToJson(artwork);
  putOptional(object, "imagePath", artwork.imagePath);
  return object;
}

json toJson(const StudioSnapshot& snapshot) {
  json images = json::array();
  for (const Artwork& artwork : snapshot.artworks.images) images.push_back(toJson(artwork));
  json documents = json::array();
  for (const Document& document : snapshot.documents) {
    documents.push_back({{"id", document.id},
                         {"projectId", document.projectId},
                         {"type", rawValue(document.type)},
                         {"title", document.title},
                         {"orientation", rawValue(document.orientation)},
                         {"createdAt", millisecondsSince1970(document.createdAt)},
                         {"updatedAt", millisecondsSince1970(document.updatedAt)}});
  }
  json links = json::array();
  for (const DocumentArtworkLink& link : snapshot.documentArtworkLinks) {
    links.push_back({{"id", link.id},
                     {"documentId", link.documentId},
                     {"artworkId", link.artworkId},
                     {"position", link.position}});
  }
  json object{{"details", artistDetailsToJson(snapshot.details)},
              {"cv", cvDataToJson(snapshot.cv)},
              {"cvTitle", snapshot.cvTitle},
              {"statement", snapshot.statement},
              {"statementTitle", snapshot.statementTitle},
              {"projectStatement", snapshot.projectStatement},
              {"projectStatementTitle", snapshot.projectStatementTitle},
              {"biography", snapshot.biography},
              {"biographyTitle", snapshot.biographyTitle},
              {"artworks",
               {{"unit", rawValue(snapshot.artworks.unit)},
                {"layoutMode", rawValue(snapshot.artworks.layoutMode)},
                {"images", images}}},
              {"documents", documents},
              {"documentArtworkLinks", links}};
  putDate(object, "detailsCreatedAt", snapshot.detailsCreatedAt);
  putDate(object, "detailsUpdatedAt", snapshot.detailsUpdatedAt);
  putDate(object, "cvCreatedAt", snapshot.cvCreatedAt);
  putDate(object, "cvUpdatedAt", snapshot.cvUpdatedAt);
  putDate(object, "statementCreatedAt", snapshot.statementCreatedAt);
  putDate(object, "statementUpdatedAt", snapshot.statementUpdatedAt);
  putDate(object, "projectStatementCreatedAt", snapshot.projectStatementCreatedAt);
  putDate(object, "projectStatementUpdatedAt", snapshot.projectStatementUpdatedAt);
  putDate(object, "biographyCreatedAt", snapshot.biographyCreatedAt);
  putDate(object, "biographyUpdatedAt", snapshot.biographyUpdatedAt);
  putDate(object, "artworksCreatedAt", snapshot.artworksCreatedAt);
  putDate(object, "artworksUpdatedAt", snapshot.artworksUpdatedAt);
  return object;
}

json toJson(const ExportOptions& options) {
  json object{{"includeCV", options.includeCV},
              {"includeBiography", options.includeBiography},
              {"includeStatement", options.includeStatement},
              {"includeProjectStatement", options.includeProjectStatement},
              {"includeTableOfContents", options.includeTableOfContents},
              {"includeCoverImage", options.includeCoverImage},
              {"format", rawValue(options.format)},
              {"exportLocale", options.exportLocale},
              {"imageQuality", rawValue(options.imageQuality)}};
  putOptional(object, "showBiographyTitle", options.showBiographyTitle);
  putOptional(object, "showStatementTitle", options.showStatementTitle);
  putOptional(object, "showProjectStatementTitle", options.showProjectStatementTitle);
  return object;
}

}  // namespace quorvane
