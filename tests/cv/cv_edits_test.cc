// What the CV editor's buttons do to a CV, including the clicks that come
// late: on an entry already gone, a field the section does not have.
#include "cv/cv_edits.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

std::vector<std::string> titles(const CVData& cv, CVSectionKey section) {
  std::vector<std::string> out;
  for (const CVEntry& entry : cvEntries(cv, section)) {
    out.push_back(entry.count("title") ? entry.at("title") : "-");
  }
  return out;
}

CVData threeShows() {
  CVData cv;
  for (const char* title : {"A", "B", "C"}) {
    const std::size_t index = addCVEntry(cv, CVSectionKey::soloExhibitions);
    setCVField(cv, CVSectionKey::soloExhibitions, index, "title", title);
  }
  return cv;
}

TEST(CVEditsTest, EntriesAreAddedAtTheEndAndFieldsWrittenOnlyWhereTheSectionHasThem) {
  CVData cv;
  EXPECT_EQ(addCVEntry(cv, CVSectionKey::representation), 0u);
  EXPECT_EQ(cv.representationEntries.size(), 1u);  // the list the section edits
  EXPECT_TRUE(setCVField(cv, CVSectionKey::representation, 0, "galleryName", "Galerie Nord"));
  EXPECT_FALSE(setCVField(cv, CVSectionKey::representation, 0, "galleryName", "Galerie Nord"));
  EXPECT_FALSE(setCVField(cv, CVSectionKey::representation, 0, "year", "2020"));  // not its field
  EXPECT_FALSE(setCVField(cv, CVSectionKey::representation, 3, "email", "a@b.c"));
  EXPECT_EQ(cv.representationEntries[0], (CVEntry{{"galleryName", "Galerie Nord"}}));
  // Emptied, a field is gone rather than stored empty.
  EXPECT_TRUE(setCVField(cv, CVSectionKey::representation, 0, "galleryName", ""));
  EXPECT_TRUE(cv.representationEntries[0].empty());
  EXPECT_FALSE(setCVField(cv, CVSectionKey::representation, 0, "galleryName", ""));
}

TEST(CVEditsTest, EntriesMoveWithinTheirSectionStoppingAtTheEnds) {
  CVData cv = threeShows();
  EXPECT_TRUE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 0, 1));
  EXPECT_EQ(titles(cv, CVSectionKey::soloExhibitions), (std::vector<std::string>{"B", "A", "C"}));
  EXPECT_TRUE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 2, -2));
  EXPECT_EQ(titles(cv, CVSectionKey::soloExhibitions), (std::vector<std::string>{"C", "B", "A"}));
  EXPECT_TRUE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 1, 9));  // past the end: last
  EXPECT_EQ(titles(cv, CVSectionKey::soloExhibitions), (std::vector<std::string>{"C", "A", "B"}));
  EXPECT_FALSE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 0, -1));
  EXPECT_FALSE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 2, 1));
  EXPECT_FALSE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 7, -1));
  EXPECT_FALSE(moveCVEntry(cv, CVSectionKey::soloExhibitions, 1, 0));
  EXPECT_TRUE(cv.groupExhibitions.empty());
}

TEST(CVEditsTest, RemovingTakesOneEntryAndALateClickNothing) {
  CVData cv = threeShows();
  EXPECT_TRUE(removeCVEntry(cv, CVSectionKey::soloExhibitions, 1));
  EXPECT_EQ(titles(cv, CVSectionKey::soloExhibitions), (std::vector<std::string>{"A", "C"}));
  EXPECT_FALSE(removeCVEntry(cv, CVSectionKey::soloExhibitions, 2));
  addCVEntry(cv, CVSectionKey::press);  // added, nothing written yet
  EXPECT_EQ(filledCVEntryCount(cv), 2u);
}

}  // namespace
}  // namespace quorvane
