#include "cv/cv_sections.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

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
