#include "platform/executor.h"

#include "platform/main_loop.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace quorvane {
namespace {

using namespace std::chrono_literals;

TEST(ManualExecutorTest, RunsTasksInTimeOrderAndSkipsCancelledOnes) {
  ManualExecutor executor;
  std::vector<std::string> ran;
  executor.postAfter(200ms, [&] { ran.push_back("late"); });
  const WorkItem cancelled = executor.postAfter(100ms, [&] { ran.push_back("cancelled"); });
  executor.post([&] {
    ran.push_back("now");
    executor.post([&] { ran.push_back("posted by a task"); });
  });
  cancelled.cancel();
  executor.runUntilIdle();
  EXPECT_EQ(ran, (std::vector<std::string>{"now", "posted by a task"}));
  EXPECT_EQ(executor.pendingCount(), 1u);
  const std::int64_t start = executor.nowMs();
  executor.advanceBy(199ms);
  EXPECT_EQ(ran.size(), 2u);
  executor.advanceBy(1ms);
  EXPECT_EQ(ran.back(), "late");
  EXPECT_EQ(executor.nowMs(), start + 200);
}

TEST(SerialQueueTest, RunsTasksOneAtATimeInOrderOnItsOwnThread) {
  std::vector<int> order;
  std::thread::id worker;
  {
    SerialQueue queue("app.quorvane.snapshot-save");
    for (int i = 0; i < 100; ++i) {
      queue.post([&, i] {
        order.push_back(i);
        worker = std::this_thread::get_id();
      });
    }
    queue.drain();
    EXPECT_EQ(order.size(), 100u);
    EXPECT_NE(worker, std::this_thread::get_id());
    const WorkItem never = queue.postAfter(1h, [&] { order.push_back(-1); });
    never.cancel();
    queue.postAfter(1h, [&] { order.push_back(100); });
  }  // leaving: what was posted still runs, what was cancelled does not
  ASSERT_EQ(order.size(), 101u);
  for (int i = 0; i <= 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(MainLoopTest, RunsWhatOtherThreadsPostOnTheThreadThatRunsIt) {
  MainLoop loop;
  SerialQueue worker("app.quorvane.pdf-render");
  std::vector<std::thread::id> ranOn;
  for (int i = 0; i < 3; ++i) {
    worker.post([&] { loop.post([&] { ranOn.push_back(std::this_thread::get_id()); }); });
  }
  worker.post([&] { loop.post([&] { loop.quit(); }); });
  loop.run();  // returns at the quit, which follows the three results
  ASSERT_EQ(ranOn.size(), 3u);
  for (const auto id : ranOn) EXPECT_EQ(id, std::this_thread::get_id());
}

TEST(MainLoopTest, RunUntilIdleLeavesTimersThatAreNotDue) {
  MainLoop loop;
  std::vector<std::string> ran;
  loop.postAfter(1h, [&] { ran.push_back("later"); });
  const WorkItem cancelled = loop.postAfter(0ms, [&] { ran.push_back("cancelled"); });
  cancelled.cancel();
  loop.post([&] {
    ran.push_back("first");
    loop.post([&] { ran.push_back("posted by first"); });
  });
  loop.runUntilIdle();
  EXPECT_EQ(ran, (std::vector<std::string>{"first", "posted by first"}));
}

TEST(WorkerPoolTest, TasksTakeTheLanesInTurn) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  std::atomic<int> ran{0};
  {
    WorkerPool pool("app.quorvane.pdf-thumbs", 2);
    for (int i = 0; i < 4; ++i) {
      pool.post([&] {
        const std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
        ++ran;
      });
    }
  }  // the lanes run what was posted before they stop
  EXPECT_EQ(ran.load(), 4);
  EXPECT_EQ(threads.size(), 2u);
  EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
}

TEST(WorkerPoolTest, BackgroundLanesYieldToTheRestAndOnlyThey) {
  const auto niceOfLane = [](QueuePriority priority) {
    int nice = 0;
    {
      WorkerPool pool("test.priority", 1, priority);
      std::promise<int> told;
      pool.post(
          [&] { told.set_value(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()))); });
      nice = told.get_future().get();
    }
    return nice;
  };
  const int ours = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
  EXPECT_EQ(niceOfLane(QueuePriority::normal), ours);
  // Capped at 19 by the system when this process is already niced.
  EXPECT_EQ(niceOfLane(QueuePriority::background), std::min(ours + 10, 19));
  EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())), ours)
      << "the caller keeps its own";
}

}  // namespace
}  // namespace quorvane
