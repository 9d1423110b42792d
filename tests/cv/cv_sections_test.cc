#include "cv/cv_sections.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

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
