#include "model/typed_fields.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(TypedFieldsTest, YearsAsArtistsWriteThemReadAndSlipsDoNot) {
  for (const char* year : {"", "2021", " 2021 ", "2019–2021", "2019-21", "2019 – 2021",
                           "2019/2020", "c. 2020", "ca. 1890", "circa 2020", "987"}) {
    EXPECT_TRUE(isReadableYear(year)) << year;
  }
  for (const char* year : {"20211", "21", "2019–", "–2021", "2019–2021–2023", "1.5.5",
                           "spring 2021", "2021?", "c.", "2019–1"}) {
    EXPECT_FALSE(isReadableYear(year)) << year;
  }
}

TEST(TypedFieldsTest, SizesAreNumbersWithADecimalOrAFraction) {
  for (const char* size : {"", "120", "80.5", "80,5", "24 1/2", "1/2", " 61 "}) {
    EXPECT_TRUE(isReadableDimension(size)) << size;
  }
  for (const char* size : {"1.5.5", "80.", ".5", "120 cm", "24 1/", "1/2 1/2", "x", "-3"}) {
    EXPECT_FALSE(isReadableDimension(size)) << size;
  }
}

}  // namespace
}  // namespace quorvane
