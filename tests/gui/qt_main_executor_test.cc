// The window's main executor: tasks in the order posted, from any thread,
// on the GUI thread; delayed tasks that can be called off.
#include "gui/qt_main_executor.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <thread>
#include <vector>

namespace quorvane {
namespace {

using namespace std::chrono_literals;

// Runs the event loop until `done` holds (at most two seconds).
template <typename Done>
bool runUntil(Done done) {
  QElapsedTimer clock;
  clock.start();
  while (!done() && clock.elapsed() < 2000)
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  return done();
}

TEST(QtMainExecutorTest, RunsTasksInTheOrderPostedOnTheGuiThreadWhoeverPosts) {
  QObject context;
  gui::QtMainExecutor main(context);
  std::vector<int> order;
  std::vector<bool> onGuiThread;
  main.post([&] { order.push_back(1); });
  main.postAfter(0ms, [&] { order.push_back(2); });  // no later than a post after it
  main.post([&] { order.push_back(3); });
  std::thread worker([&] {
    main.post([&] {
      order.push_back(4);
      onGuiThread.push_back(QThread::currentThread() == context.thread());
    });
  });
  worker.join();
  ASSERT_TRUE(runUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(onGuiThread, std::vector<bool>{true});
}

TEST(QtMainExecutorTest, ADelayedTaskCalledOffNeverRunsAndTheOthersDo) {
  QObject context;
  gui::QtMainExecutor main(context);
  bool cancelledRan = false;
  bool ran = false;
  const WorkItem cancelled = main.postAfter(20ms, [&] { cancelledRan = true; });
  std::thread worker([&] { main.postAfter(30ms, [&] { ran = true; }); });
  worker.join();
  cancelled.cancel();
  ASSERT_TRUE(runUntil([&] { return ran; }));
  EXPECT_FALSE(cancelledRan);
  EXPECT_TRUE(cancelled.isCancelled());
}

}  // namespace
}  // namespace quorvane
