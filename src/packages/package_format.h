// The files inside a project package and their JSON shapes (see
// docs/package-format.md). Encoding writes every object with its keys in
// lexicographic order, indented, absent optionals left out; decoding is
// strict about types (PackageDecodingError) and ignores unknown keys.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "model/backup_reminder_state.h"
#include "model/records.h"

namespace quorvane::package {

inline constexpr std::string_view kManifestPath = "manifest.json";
inline constexpr std::string_view kProjectDataPath = "data/project.json";
inline constexpr std::string_view kArtworksDataPath = "data/artworks.json";
inline constexpr std::string_view kProjectArtworksPath = "data/project_artworks.json";
inline constexpr std::string_view kLabelOverridesPath = "data/label_overrides.json";
inline constexpr std::string_view kOriginalsFolder = "media/original/";

// "media/original/<id>.jpg", whatever the image's own format.
std::string originalMediaPath(const std::string& artworkId);

struct AppInfo {
  std::string name = "Quorvane";
  std::string edition = "universal";
  std::string platform = "linux";  // informational, never checked
  bool operator==(const AppInfo&) const = default;
};

struct ProjectInfo {
  std::string id;
  std::string kind;  // "portfolio" or "catalogue"
  std::optional<std::string> catalogueKind;
  std::string projectName;
  std::string projectTitle;
  std::string projectYear;
  std::string locale;
  std::string unit;
  std::optional<std::string> currency;
  std::optional<Date> createdAt;  // seconds since 2001-01-01 in the file
  std::optional<Date> updatedAt;
  bool operator==(const ProjectInfo&) const = default;
};

struct Counts {
  std::int64_t artworks = 0;
  std::int64_t media = 0;
  std::int64_t textBlocks = 7;
  bool operator==(const Counts&) const = default;
};

struct Manifest {
  std::string format = "quorvane";
  std::int64_t formatVersion = 4;
  std::string exportedAt;  // ISO 8601, UTC, whole seconds: 2025-03-01T09:30:00Z
  AppInfo app;
  ProjectInfo project;
  Counts counts;
  bool operator==(const Manifest&) const = default;
};

struct ProjectData {
  ArtistDetails details;
  CVData cv;
  std::string cvTitle;
  std::string statement;
  std::string statementTitle;
  std::string projectStatement;
  std::string projectStatementTitle;
  std::string biography;
  std::string biographyTitle;
  std::string unit = "cm";
  std::string projectOrientation = "portrait";
  std::string layoutMode = "artwork";
  std::vector<Document> documents;
  std::vector<DocumentArtworkLink> documentArtworkLinks;
  // The section times, in the snapshot's fields.
  std::optional<Date> detailsCreatedAt, detailsUpdatedAt, cvCreatedAt, cvUpdatedAt;
  std::optional<Date> statementCreatedAt, statementUpdatedAt;
  std::optional<Date> projectStatementCreatedAt, projectStatementUpdatedAt;
  std::optional<Date> biographyCreatedAt, biographyUpdatedAt;
  std::optional<Date> artworksCreatedAt, artworksUpdatedAt;
  std::optional<Date> lastProjectDataExportAt;
  std::optional<Date> lastProjectDataImportAt;
  std::optional<BackupReminderState> backupReminder;
  bool operator==(const ProjectData&) const = default;
};

struct ArtworkEntry {
  Artwork artwork;  // its fields as the entry holds them (no image path)
  std::optional<std::string> originalMediaFile;
  bool operator==(const ArtworkEntry&) const = default;
};

struct ProjectArtworkLink {
  std::string projectId;
  std::string artworkId;
  std::int64_t order = 0;
  bool operator==(const ProjectArtworkLink&) const = default;
};

// The section times, between a snapshot and the project data, both ways.
void copySectionTimes(const StudioSnapshot& from, ProjectData& to);
void copySectionTimes(const ProjectData& from, StudioSnapshot& to);

// Each throws PackageDecodingError on a shape it does not have.
nlohmann::json toJson(const Manifest& manifest);
Manifest manifestFromJson(const nlohmann::json& json);
nlohmann::json toJson(const ProjectData& data);
ProjectData projectDataFromJson(const nlohmann::json& json);
nlohmann::json toJson(const ArtworkEntry& entry);
ArtworkEntry artworkEntryFromJson(const nlohmann::json& json);
nlohmann::json toJson(const ProjectArtworkLink& link);
ProjectArtworkLink projectArtworkLinkFromJson(const nlohmann::json& json);
nlohmann::json toJson(const LabelOverrideEntry& entry);
LabelOverrideEntry labelOverrideFromJson(const nlohmann::json& json);

// The text of a JSON file as packages hold it: keys sorted, indented by
// two spaces, UTF-8.
std::string encode(const nlohmann::json& json);
// Parses one file's text; PackageDecodingError when it is no JSON (or
// nested deeper than any of our shapes).
nlohmann::json parse(std::string_view text);

// Dates as the manifest writes them: seconds since 2001-01-01T00:00:00Z.
double secondsSince2001(Date date);
Date dateFromSecondsSince2001(double seconds);
// "2025-03-01T09:30:00Z".
std::string iso8601(Date date);

}  // namespace quorvane::package
