#include "model/project_row.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(ProjectRowTest, EmptyNamesAreReplacedButAnEmptyYearIsKept) {
  StoredProjectRow row;
  row.projectName = "";
  row.projectTitle = "";
  row.projectYear = "";
  const Project project = decodeProjectRow(row);
  EXPECT_EQ(decodeProjectRow(StoredProjectRow{}).id, "single") << "the first version's one project";
  EXPECT_EQ(project.projectName, "Portfolio");
  EXPECT_EQ(project.projectTitle, "Portfolio");
  EXPECT_EQ(project.projectYear, "");
}

}  // namespace
}  // namespace quorvane
