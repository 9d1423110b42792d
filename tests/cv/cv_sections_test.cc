#include "cv/cv_sections.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace quorvane {
namespace {

std::vector<CVSectionKey> sectionsUsingField(std::string_view fieldId) {
  std::vector<CVSectionKey> sections;
  for (const CVSectionConfig& section : cvSectionConfigs()) {
    const auto& fields = section.fields;
    const bool uses = std::any_of(fields.begin(), fields.end(),
                                  [&](const CVFieldConfig& f) { return f.id == fieldId; });
    if (uses) sections.push_back(section.id);
  }
  return sections;
}

TEST(CVSectionsTest, TwelveSectionsInKeyOrderEachFoundByItsKey) {
  const auto configs = cvSectionConfigs();
  ASSERT_EQ(configs.size(), 12u);
  const auto keys = allCases<CVSectionKey>();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(configs[i].id, keys[i]);
    EXPECT_EQ(cvSectionConfig(keys[i]).id, keys[i]);
  }
  EXPECT_EQ(rawValue(keys.front()), "soloExhibitions");
  EXPECT_EQ(rawValue(keys.back()), "representation");
  EXPECT_EQ(cvSectionConfig(CVSectionKey::grantsAwards).title, "Grants & awards");
  EXPECT_EQ(cvSectionConfig(CVSectionKey::representation).emptyLabel, "Edit representation");
}

TEST(CVSectionsTest, SharedFieldIdsShareOneLabelKey) {
  EXPECT_EQ(sectionsUsingField("place").size(), 7u);
  EXPECT_EQ(sectionsUsingField("year").size(), 8u);
  EXPECT_EQ(cvFieldLabelKey("year"), "cvcfg.field.year.label");
  EXPECT_EQ(cvFieldPlaceholderKey("url"), "cvcfg.field.url.placeholder");
  EXPECT_EQ(cvSectionTitleKey(CVSectionKey::artFairs), "cvcfg.section.artFairs.title");
  EXPECT_EQ(cvSectionEmptyLabelKey(CVSectionKey::representation),
            "cvcfg.section.representation.empty");
}

std::vector<std::string_view> fieldIds(CVSectionKey key) {
  std::vector<std::string_view> ids;
  for (const CVFieldConfig& field : cvSectionConfig(key).fields) ids.push_back(field.id);
  return ids;
}

// Field ids are the keys of stored CV entries: renaming one would hide data
// that is already saved.
TEST(CVSectionsTest, FieldIdsOfEverySection) {
  using enum CVSectionKey;
  using Ids = std::vector<std::string_view>;
  EXPECT_EQ(fieldIds(soloExhibitions), (Ids{"year", "title", "venue", "place", "country"}));
  EXPECT_EQ(fieldIds(groupExhibitions), fieldIds(soloExhibitions));
  EXPECT_EQ(fieldIds(artFairs), (Ids{"year", "fair", "gallery", "place", "country"}));
  EXPECT_EQ(fieldIds(commissions), (Ids{"year", "type", "title", "materials", "location"}));
  EXPECT_EQ(fieldIds(residencies), (Ids{"period", "name", "institution", "place", "country"}));
  EXPECT_EQ(fieldIds(education), (Ids{"year", "majorDegree", "institution", "place", "country"}));
  EXPECT_EQ(fieldIds(workExperiences), (Ids{"yearsEmployed", "positionTitle", "placeOfWork", "city",
                                            "state", "roleResponsibilities"}));
  EXPECT_EQ(fieldIds(collections), (Ids{"collectionName", "place", "country"}));
  EXPECT_EQ(fieldIds(grantsAwards), (Ids{"year", "name", "institution", "place", "country"}));
  EXPECT_EQ(fieldIds(press), (Ids{"author", "title", "outlet", "year", "url"}));
  EXPECT_EQ(fieldIds(bibliography), (Ids{"author", "bookTitle", "publisher", "year"}));
  EXPECT_EQ(fieldIds(representation), (Ids{"galleryName", "address", "website", "email", "phone"}));
}

TEST(CVSectionsTest, EducationSuggestsAWholeEntryAndPressAnAddress) {
  const auto education = cvSectionConfig(CVSectionKey::education).fields;
  EXPECT_EQ(education[1], (CVFieldConfig{"majorDegree", "Major / degree", "MFA"}));
  EXPECT_EQ(education[2], (CVFieldConfig{"institution", "Institution", "School"}));
  EXPECT_EQ(education[3], (CVFieldConfig{"place", "Place", "Paris"}));
  EXPECT_EQ(education[4], (CVFieldConfig{"country", "Country", "France"}));
  EXPECT_EQ(cvSectionConfig(CVSectionKey::press).fields[4],
            (CVFieldConfig{"url", "URL", "https://"}));
  EXPECT_EQ(cvSectionConfig(CVSectionKey::commissions).fields[3].label, "Material(s)");
  EXPECT_EQ(cvSectionConfig(CVSectionKey::workExperiences).fields[5].label,
            "Responsibilities & Achievements");
  // Fields that carry no example show no placeholder.
  EXPECT_EQ(cvSectionConfig(CVSectionKey::collections).fields[0].placeholder, "");
}

TEST(CVSectionsTest, FieldCountsSetWorkExperienceAndCollectionsApart) {
  for (const CVSectionConfig& section : cvSectionConfigs()) {
    const std::size_t count = section.fields.size();
    if (section.id == CVSectionKey::workExperiences) {
      EXPECT_EQ(count, 6u);
    } else if (section.id == CVSectionKey::collections) {
      EXPECT_EQ(count, 3u);
    } else {
      EXPECT_TRUE(count == 4 || count == 5) << rawValue(section.id);
    }
  }
}

TEST(CVSectionsTest, ResidencyPeriodUsesAnEnDash) {
  const CVFieldConfig& period = cvSectionConfig(CVSectionKey::residencies).fields[0];
  EXPECT_EQ(period.id, "period");
  EXPECT_EQ(period.label, "Year from \xe2\x80\x93 year to");
  EXPECT_EQ(period.placeholder,
            "2022\xe2\x80\x93"
            "2023");
}

TEST(CVSectionsTest, EachSectionEditsItsOwnListOfTheCV) {
  CVData cv;
  int marker = 0;
  for (const CVSectionKey key : allCases<CVSectionKey>()) {
    cvEntries(cv, key).push_back({{"n", std::to_string(marker++)}});
  }
  EXPECT_EQ(cv.representationEntries, (std::vector<CVEntry>{{{"n", "11"}}}));
  EXPECT_EQ(cv.soloExhibitions, (std::vector<CVEntry>{{{"n", "0"}}}));
  for (const auto& section : kCVDataSections) {
    EXPECT_EQ((cv.*section.entries).size(), 1u) << section.name;
  }
}

}  // namespace
}  // namespace quorvane
