#include "cv/cv_sections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

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
  // Every use of one id carries the same default label (keys are per id).
  for (const std::string_view id : {"year", "place", "country", "title", "institution"}) {
    std::set<std::string_view> labels;
    for (const CVSectionConfig& section : cvSectionConfigs()) {
      for (const CVFieldConfig& field : section.fields) {
        if (field.id == id) labels.insert(field.label);
      }
    }
    if (id != "title" && id != "institution") {
      EXPECT_EQ(labels.size(), 1u) << id;
    }
  }
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
