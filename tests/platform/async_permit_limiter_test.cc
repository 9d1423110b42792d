// The permit limiter in virtual time: who runs, who waits, and when.
#include "platform/async_permit_limiter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorvane {
namespace {

class AsyncPermitLimiterTest : public ::testing::Test {
 protected:
  // Asks for a permit for the job `name`; its start is recorded.
  void job(const std::string& name) {
    limiter.acquire([this, name] { started.push_back(name); });
  }

  ManualExecutor main;
  AsyncPermitLimiter limiter{main, 2};
  std::vector<std::string> started;
};

TEST_F(AsyncPermitLimiterTest, TwoRunTheThirdStartsWhenOneReleasesAndTheOrderIsKept) {
  job("a");
  job("b");
  job("c");
  job("d");
  main.runUntilIdle();
  EXPECT_EQ(started, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(limiter.availablePermits(), 0);
  EXPECT_EQ(limiter.waiting(), 2u);

  limiter.release();  // a is done: its permit passes to c, not to the pool
  EXPECT_EQ(limiter.availablePermits(), 0);
  main.runUntilIdle();
  EXPECT_EQ(started, (std::vector<std::string>{"a", "b", "c"})) << "c starts, and only c";
  limiter.release();
  main.runUntilIdle();
  EXPECT_EQ(started.back(), "d") << "first in, first out";

  limiter.release();
  limiter.release();
  EXPECT_EQ(limiter.availablePermits(), 2);
  EXPECT_EQ(limiter.waiting(), 0u);
}

TEST_F(AsyncPermitLimiterTest, ExtraReleasesNeverMakeMoreThanTwoPermits) {
  limiter.release();
  EXPECT_EQ(limiter.availablePermits(), 2) << "a release with no waiter at two free permits";
  AsyncPermitLimiter wide(main, 5);
  for (int i = 0; i < 5; ++i) wide.acquire([] {});
  for (int i = 0; i < 5; ++i) wide.release();
  EXPECT_EQ(wide.availablePermits(), 2) << "the cap is the fixed number 2, not the limit";
}

}  // namespace
}  // namespace quorvane
