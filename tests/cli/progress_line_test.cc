#include "cli/progress_line.h"

#include <gtest/gtest.h>

#include <sstream>

namespace quorvane {
namespace {

using namespace std::chrono_literals;

TEST(ProgressLineTest, QuietForASecondThenRedrawnAtMostTenTimesASecondAndWipedAtTheEnd) {
  std::ostringstream terminal;
  const ProgressLine::Clock::time_point start{};
  {
    ProgressLine line(&terminal, start);
    line.show("1 of 40", start + 999ms);
    EXPECT_EQ(terminal.str(), "") << "a job done within a second says nothing";
    line.show("2 of 40", start + 1s);
    line.show("3 of 40", start + 1s + 50ms);
    line.show("4 of 40", start + 1s + 100ms);
    EXPECT_EQ(terminal.str(), "\r2 of 40\x1b[K\r4 of 40\x1b[K");
  }
  EXPECT_TRUE(terminal.str().ends_with("\r\x1b[K")) << "the command's output starts clean";

  std::ostringstream quiet;
  {
    ProgressLine line(&quiet, start);
    line.show("never shown", start + 500ms);
  }
  EXPECT_EQ(quiet.str(), "") << "nothing to wipe";
  ProgressLine nowhere(nullptr, start);
  nowhere.show("no terminal", start + 5s);  // nothing to draw on, and no crash
}

}  // namespace
}  // namespace quorvane
