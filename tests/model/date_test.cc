#include "model/date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace quorvane {
namespace {

TEST(MillisecondsTest, StoredAsWholeMillisecondsTruncatedTowardZero) {
  EXPECT_EQ(millisecondsSince1970(dateFromSeconds(1.5)), 1500);
  EXPECT_EQ(millisecondsSince1970(dateFromSeconds(0.0009999)), 0);
  EXPECT_EQ(millisecondsSince1970(dateFromSeconds(-0.0015)), -1);
  EXPECT_EQ(millisecondsSince1970(dateFromSeconds(1772712000.1234)), 1772712000123);
  EXPECT_EQ(millisecondsSince1970(std::optional<Date>{}), std::nullopt);
  EXPECT_EQ(millisecondsSince1970(dateFromSeconds(-9223372036854775.808)), INT64_MIN)
      << "the lowest storable date";
}

TEST(MillisecondsTest, ReadBackAsSecondsSinceEpoch) {
  EXPECT_EQ(dateFromMilliseconds(1500), dateFromSeconds(1.5));
  EXPECT_EQ(dateFromMilliseconds(-1), dateFromSeconds(-0.001));
  EXPECT_LT(dateFromMilliseconds(-1), dateFromSeconds(0));
  EXPECT_EQ(dateFromMilliseconds(std::optional<std::int64_t>{}), std::nullopt);
}

TEST(MillisecondsTest, EveryStoredCountWritesBackUnchanged) {
  // 2182187855107 / 1000 * 1000 is …106.9998 in doubles: plain truncation
  // would move such a time back by 1 ms at every save.
  for (const std::int64_t ms : {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1},
                                std::int64_t{1772712000123}, std::int64_t{-62135596800000},
                                std::int64_t{253402300799999}, std::int64_t{2182187855107},
                                std::int64_t{-2160661102391}}) {
    EXPECT_EQ(millisecondsSince1970(dateFromMilliseconds(ms)), ms) << ms;
  }
  for (std::int64_t ms = 1700000000000; ms < 1700000200000; ms += 7) {
    ASSERT_EQ(millisecondsSince1970(dateFromMilliseconds(ms)), ms);
  }
  for (std::int64_t ms = -2208988800000; ms < -2208988600000; ms += 7) {
    ASSERT_EQ(millisecondsSince1970(dateFromMilliseconds(ms)), ms);
  }
}

TEST(MillisecondsTest, CorruptStoredCountsCanBeReadAndSavedAgain) {
  constexpr std::int64_t twoTo62 = std::int64_t{1} << 62;
  EXPECT_EQ(millisecondsSince1970(dateFromMilliseconds(INT64_MAX)), twoTo62);
  EXPECT_EQ(millisecondsSince1970(dateFromMilliseconds(INT64_MIN)), -twoTo62);
}

using MillisecondsDeathTest = ::testing::Test;

TEST_F(MillisecondsDeathTest, UnrepresentableDatesStopTheProgram) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_DEATH(millisecondsSince1970(dateFromSeconds(nan)), "cannot be stored");
  EXPECT_DEATH(millisecondsSince1970(dateFromSeconds(infinity)), "cannot be stored");
  EXPECT_DEATH(millisecondsSince1970(dateFromSeconds(-infinity)), "cannot be stored");
  // 2^63 ms is one past the largest signed 64-bit value.
  EXPECT_DEATH(millisecondsSince1970(dateFromSeconds(9223372036854775.808)), "cannot be stored");
  EXPECT_DEATH(millisecondsSince1970(dateFromSeconds(-1e16)), "cannot be stored");
}

}  // namespace
}  // namespace quorvane
