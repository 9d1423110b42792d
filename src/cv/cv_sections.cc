#include "cv/cv_sections.h"

namespace quorvane {
namespace {

using Field = CVFieldConfig;

constexpr Field kExhibitionFields[] = {
    {"year", "Year", "2024"}, {"title", "Exhibition title", ""}, {"venue", "Gallery / museum", ""},
    {"place", "Place", ""},   {"country", "Country", ""},
};

constexpr Field kArtFairFields[] = {
    {"year", "Year", "2024"}, {"fair", "Fair", ""},       {"gallery", "Represented by gallery", ""},
    {"place", "Place", ""},   {"country", "Country", ""},
};

constexpr Field kCommissionFields[] = {
    {"year", "Year", "2024"},         {"type", "Type of commission", ""}, {"title", "Title", ""},
    {"materials", "Material(s)", ""}, {"location", "Location", ""},
};

constexpr Field kResidencyFields[] = {
    {"period", "Year from \u2013 year to", "2022\u20132023"},
    {"name", "Residency name", ""},
    {"institution", "Institution / location", ""},
    {"place", "Place", ""},
    {"country", "Country", ""},
};

constexpr Field kEducationFields[] = {
    {"year", "Year", "2024"},
    {"majorDegree", "Major / degree", "MFA"},
    {"institution", "Institution", "School"},
    {"place", "Place", "Paris"},
    {"country", "Country", "France"},
};

constexpr Field kWorkExperienceFields[] = {
    {"yearsEmployed", "Years employed", ""},
    {"positionTitle", "Position title", ""},
    {"placeOfWork", "Place of work", ""},
    {"city", "City", ""},
    {"state", "State", ""},
    {"roleResponsibilities", "Responsibilities & Achievements", ""},
};

constexpr Field kCollectionFields[] = {
    {"collectionName", "Collection name", ""},
    {"place", "Place", ""},
    {"country", "Country", ""},
};

constexpr Field kGrantAwardFields[] = {
    {"year", "Year", "2024"},
    {"name", "Award / grant name", ""},
    {"institution", "Institution / museum", ""},
    {"place", "Place", ""},
    {"country", "Country", ""},
};

constexpr Field kPressFields[] = {
    {"author", "Author(s)", ""}, {"title", "Title", ""},     {"outlet", "Outlet", ""},
    {"year", "Year", "2024"},    {"url", "URL", "https://"},
};

constexpr Field kBibliographyFields[] = {
    {"author", "Author", ""},
    {"bookTitle", "Book title", ""},
    {"publisher", "Publisher", ""},
    {"year", "Year", "2024"},
};

constexpr Field kRepresentationFields[] = {
    {"galleryName", "Gallery name", ""},
    {"address", "Address", ""},
    {"website", "Website", ""},
    {"email", "Email", ""},
    {"phone", "Phone", ""},
};

constexpr std::array<CVSectionConfig, 12> kSections{{
    {CVSectionKey::soloExhibitions, "Selected solo exhibitions", "Add solo exhibition",
     kExhibitionFields},
    {CVSectionKey::groupExhibitions, "Selected group exhibitions", "Add group exhibition",
     kExhibitionFields},
    {CVSectionKey::artFairs, "Art fairs", "Add art fair", kArtFairFields},
    {CVSectionKey::commissions, "Commissions", "Add commission", kCommissionFields},
    {CVSectionKey::residencies, "Residencies", "Add residency", kResidencyFields},
    {CVSectionKey::education, "Education", "Add education entry", kEducationFields},
    {CVSectionKey::workExperiences, "Work experience", "Add work experience",
     kWorkExperienceFields},
    {CVSectionKey::collections, "Selected collections", "Add collection", kCollectionFields},
    {CVSectionKey::grantsAwards, "Grants & awards", "Add grant or award", kGrantAwardFields},
    {CVSectionKey::press, "Selected press", "Add press entry", kPressFields},
    {CVSectionKey::bibliography, "Bibliography", "Add bibliography entry", kBibliographyFields},
    {CVSectionKey::representation, "Representation", "Edit representation", kRepresentationFields},
}};

std::vector<CVEntry> CVData::*entriesMember(CVSectionKey key) {
  switch (key) {
    case CVSectionKey::soloExhibitions:
      return &CVData::soloExhibitions;
    case CVSectionKey::groupExhibitions:
      return &CVData::groupExhibitions;
    case CVSectionKey::artFairs:
      return &CVData::artFairs;
    case CVSectionKey::commissions:
      return &CVData::commissions;
    case CVSectionKey::residencies:
      return &CVData::residencies;
    case CVSectionKey::education:
      return &CVData::education;
    case CVSectionKey::workExperiences:
      return &CVData::workExperiences;
    case CVSectionKey::collections:
      return &CVData::collections;
    case CVSectionKey::grantsAwards:
      return &CVData::grantsAwards;
    case CVSectionKey::press:
      return &CVData::press;
    case CVSectionKey::bibliography:
      return &CVData::bibliography;
    case CVSectionKey::representation:
      return &CVData::representationEntries;
  }
  return &CVData::education;  // unreachable
}

std::string key(std::string_view prefix, std::string_view name, std::string_view suffix) {
  std::string result(prefix);
  result += name;
  result += suffix;
  return result;
}

}  // namespace

std::span<const CVSectionConfig> cvSectionConfigs() { return kSections; }

const CVSectionConfig& cvSectionConfig(CVSectionKey key) {
  return kSections[static_cast<std::size_t>(key)];
}

std::vector<CVEntry>& cvEntries(CVData& cv, CVSectionKey key) { return cv.*entriesMember(key); }

const std::vector<CVEntry>& cvEntries(const CVData& cv, CVSectionKey key) {
  return cv.*entriesMember(key);
}

std::string cvSectionTitleKey(CVSectionKey section) {
  return key("cvcfg.section.", rawValue(section), ".title");
}

std::string cvSectionEmptyLabelKey(CVSectionKey section) {
  return key("cvcfg.section.", rawValue(section), ".empty");
}

std::string cvFieldLabelKey(std::string_view fieldId) {
  return key("cvcfg.field.", fieldId, ".label");
}

std::string cvFieldPlaceholderKey(std::string_view fieldId) {
  return key("cvcfg.field.", fieldId, ".placeholder");
}

}  // namespace quorvane
