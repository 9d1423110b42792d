// The plain value records of the user's library. A `Project` is the unit the
// user works in; everything it shows travels as one `StudioSnapshot`. Records
// compare by value and carry no behaviour beyond their defaults.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "model/date.h"
#include "model/enums.h"

namespace quorvane {

// The id of the one project of the earliest libraries, given to a project
// row whose id is missing.
inline constexpr std::string_view kLegacySingleProjectId = "single";
inline constexpr std::string_view kDefaultProjectName = "Portfolio";
inline constexpr std::string_view kDefaultLocale = "en";
inline constexpr std::string_view kDefaultMimeType = "image/jpeg";
// Prefix of the image path of an artwork whose image lives in the database.
inline constexpr std::string_view kSqliteMediaScheme = "sqlite-media://";

struct ArtistDetails {
  std::string firstName;
  std::string lastName;
  std::string artistName;
  std::string nameDisplayMode = "legal";
  std::string address;
  std::string zipcode;
  std::string currentCity;
  std::string country;
  std::string website;
  std::string email;
  std::string phone;
  std::string birthYear;
  std::string birthPlace;
  std::string birthCountry;

  bool operator==(const ArtistDetails&) const = default;
};

// One CV entry: field id (see the CV section catalogue) → value.
using CVEntry = std::map<std::string, std::string>;

struct CVData {
  std::vector<CVEntry> education;
  std::vector<CVEntry> soloExhibitions;
  std::vector<CVEntry> groupExhibitions;
  std::vector<CVEntry> artFairs;
  std::vector<CVEntry> commissions;
  std::vector<CVEntry> workExperiences;
  std::vector<CVEntry> collections;
  std::vector<CVEntry> grantsAwards;
  std::vector<CVEntry> residencies;
  std::vector<CVEntry> press;
  std::vector<CVEntry> bibliography;
  std::vector<CVEntry> representationEntries;

  bool operator==(const CVData&) const = default;
};

struct CVDataSection {
  std::string_view name;
  std::vector<CVEntry> CVData::*entries;
};

// The twelve sections of `CVData` with their coding keys, in field order.
inline constexpr std::array<CVDataSection, 12> kCVDataSections{{
    {"education", &CVData::education},
    {"soloExhibitions", &CVData::soloExhibitions},
    {"groupExhibitions", &CVData::groupExhibitions},
    {"artFairs", &CVData::artFairs},
    {"commissions", &CVData::commissions},
    {"workExperiences", &CVData::workExperiences},
    {"collections", &CVData::collections},
    {"grantsAwards", &CVData::grantsAwards},
    {"residencies", &CVData::residencies},
    {"press", &CVData::press},
    {"bibliography", &CVData::bibliography},
    {"representationEntries", &CVData::representationEntries},
}};

struct Project {
  std::string id;
  ProjectKind kind = ProjectKind::portfolio;
  std::optional<CatalogueKind> catalogueKind;  // present exactly for catalogues
  std::string projectName{kDefaultProjectName};
  std::string projectTitle{kDefaultProjectName};
  std::string projectYear;
  std::string locale{kDefaultLocale};
  std::optional<std::string> currency;
  UnitSystem unit = UnitSystem::cm;
  DocumentOrientation orientation = DocumentOrientation::portrait;
  Date createdAt;
  Date updatedAt;

  bool operator==(const Project&) const = default;
};

struct ProjectSummary {
  std::string id;
  std::string projectName;
  std::string projectTitle;
  std::optional<Date> createdAt;
  std::optional<Date> updatedAt;
  ProjectKind kind = ProjectKind::portfolio;
  std::optional<CatalogueKind> catalogueKind;
  // As the library last had them: the first artwork, for a cover, and
  // how many the project shows.
  std::optional<std::string> coverArtworkId;
  std::int64_t artworkCount = 0;
  std::optional<Date> deletedAt;  // set for a deleted project, kept to be restored

  static ProjectSummary of(const Project& project) {
    return ProjectSummary{project.id,
                          project.projectName,
                          project.projectTitle,
                          project.createdAt,
                          project.updatedAt,
                          project.kind,
                          project.catalogueKind,
                          std::nullopt,
                          0,
                          std::nullopt};
  }
  bool operator==(const ProjectSummary&) const = default;
};

struct Artwork {
  std::string id;
  std::string title;
  std::string medium;
  std::string year;
  std::string artworkWidth;
  std::string artworkHeight;
  std::string artworkDepth;
  std::string artworkText;
  std::optional<std::string> imagePath;
  std::string mimeType{kDefaultMimeType};
  std::optional<std::int64_t> imageByteSize;
  std::optional<std::int64_t> originalByteSize;
  std::optional<std::int64_t> width;
  std::optional<std::int64_t> height;
  std::optional<double> aspect;
  std::string sizeWarning;
  bool sizeWarningDismissed = false;
  bool nearLimit = false;
  std::int64_t sortIndex = 0;
  std::optional<ArtworkStatus> status;
  std::optional<std::int64_t> priceCents;
  std::optional<std::string> priceCurrency;

  bool operator==(const Artwork&) const = default;
};

struct ArtworksData {
  UnitSystem unit = UnitSystem::cm;
  ArtworkLayoutMode layoutMode = ArtworkLayoutMode::artwork;
  std::vector<Artwork> images;

  bool operator==(const ArtworksData&) const = default;
};

struct ProjectArtwork {
  std::string projectId;
  std::string artworkId;
  std::int64_t order = 0;

  // Identity in lists: project id + ":" + artwork id.
  std::string identity() const { return projectId + ":" + artworkId; }
  bool operator==(const ProjectArtwork&) const = default;
};

struct Document {
  std::string id;
  std::string projectId;
  DocumentType type = DocumentType::portfolio;
  std::string title;
  DocumentOrientation orientation = DocumentOrientation::portrait;
  Date createdAt;
  Date updatedAt;

  bool operator==(const Document&) const = default;
};

// An artwork placed in a document; an artwork occurs at most once per document.
struct DocumentArtworkLink {
  std::string id;
  std::string documentId;
  std::string artworkId;
  std::int64_t position = 0;

  bool operator==(const DocumentArtworkLink&) const = default;
};

struct StudioSnapshot {
  ArtistDetails details;
  std::optional<Date> detailsCreatedAt;
  std::optional<Date> detailsUpdatedAt;
  CVData cv;
  std::optional<Date> cvCreatedAt;
  std::optional<Date> cvUpdatedAt;
  std::string cvTitle{"CV"};
  std::string statement;
  std::optional<Date> statementCreatedAt;
  std::optional<Date> statementUpdatedAt;
  std::string statementTitle{"Artist statement"};
  std::string projectStatement;
  std::optional<Date> projectStatementCreatedAt;
  std::optional<Date> projectStatementUpdatedAt;
  std::string projectStatementTitle{"Project Statement"};
  std::string biography;
  std::optional<Date> biographyCreatedAt;
  std::optional<Date> biographyUpdatedAt;
  std::string biographyTitle{"Biography"};
  ArtworksData artworks;
  std::optional<Date> artworksCreatedAt;
  std::optional<Date> artworksUpdatedAt;
  std::vector<Document> documents;  // oldest first
  std::vector<DocumentArtworkLink> documentArtworkLinks;

  bool operator==(const StudioSnapshot&) const = default;
};

struct ReusableTextAsset {
  std::string id;
  std::string sourceProjectId;
  std::string sourceProjectName;
  std::string title;
  std::string content;

  bool operator==(const ReusableTextAsset&) const = default;
};

// A project named where it is shown beside another's: which others use a
// text, say.
struct ProjectRef {
  std::string id;
  std::string name;

  bool operator==(const ProjectRef&) const = default;
};

struct ReusableCVAsset {
  std::string id;
  std::string sourceProjectId;
  std::string sourceProjectName;
  std::string title;
  CVData cv;

  bool operator==(const ReusableCVAsset&) const = default;
};

// An artwork of the Vault offered to a project that does not hold it yet.
struct ReusableArtworkAsset {
  std::string id;
  std::string sourceProjectId;
  std::string sourceProjectName;
  Artwork artwork;

  bool operator==(const ReusableArtworkAsset&) const = default;
};

struct TextStats {
  std::int64_t words = 0;
  std::int64_t characters = 0;

  bool operator==(const TextStats&) const = default;
};

struct LibraryKPIOverview {
  std::int64_t cvCount = 0;
  std::int64_t bioCount = 0;
  std::int64_t statementCount = 0;
  std::int64_t artworksCount = 0;

  bool operator==(const LibraryKPIOverview&) const = default;
};

struct ExportOptions {
  bool includeCV = true;
  bool includeBiography = true;
  bool includeStatement = true;
  bool includeProjectStatement = true;
  bool includeTableOfContents = true;
  // A portfolio's or catalogue's cover shows the first work's image.
  bool includeCoverImage = true;
  // Absent while the user has made no choice; the renderer decides then.
  std::optional<bool> showBiographyTitle;
  std::optional<bool> showStatementTitle;
  std::optional<bool> showProjectStatementTitle;
  PdfFormat format = PdfFormat::a4;
  std::string exportLocale{kDefaultLocale};
  ExportImageQuality imageQuality = ExportImageQuality::printQuality;

  bool operator==(const ExportOptions&) const = default;
};

// A user's replacement for one printed label, per document scope and language.
struct LabelOverrideEntry {
  std::string scope;
  std::string locale;
  std::string key;
  std::string value;

  bool operator==(const LabelOverrideEntry&) const = default;
};

struct PdfRenderResult {
  std::vector<std::uint8_t> data;
  std::vector<PdfWarning> warnings;

  bool operator==(const PdfRenderResult&) const = default;
};

}  // namespace quorvane
