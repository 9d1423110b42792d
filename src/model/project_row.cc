#include "model/project_row.h"

namespace quorvane {
namespace {

std::string nonEmptyOr(const std::optional<std::string>& stored, std::string_view fallback) {
  return stored && !stored->empty() ? *stored : std::string(fallback);
}

}  // namespace

Project decodeProjectRow(const StoredProjectRow& row) {
  Project project;
  project.id = row.id.value_or(std::string(kLegacySingleProjectId));
  project.kind = decodeProjectKind(row.kind);
  project.catalogueKind = decodeCatalogueKind(project.kind, row.catalogueKind);
  project.projectName = nonEmptyOr(row.projectName, kDefaultProjectName);
  project.projectTitle = nonEmptyOr(row.projectTitle, kDefaultProjectName);
  project.projectYear = row.projectYear.value_or("");
  project.locale = row.locale.value_or(std::string(kDefaultLocale));
  project.currency = row.currency;
  project.unit = decodeUnitSystem(row.unit);
  project.orientation = decodeOrientation(row.orientation);
  project.createdAt = dateFromMilliseconds(row.createdAtMs.value_or(0));
  project.updatedAt = dateFromMilliseconds(row.updatedAtMs.value_or(0));
  return project;
}

}  // namespace quorvane
