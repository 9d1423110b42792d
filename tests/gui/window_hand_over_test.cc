// A second launch while the window is open: its files reach the open
// window, and with no window open nothing waits long.
#include "gui/window_hand_over.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <atomic>
#include <fstream>
#include <thread>

#include "support/temp_dir.h"

namespace quorvane {
namespace {

using gui::WindowHandOver;

// What a second launch does, run beside the window's event loop.
bool launchWith(const QString& name, const QStringList& files) {
  std::atomic<bool> done{false};
  bool taken = false;
  std::thread launch([&] {
    taken = WindowHandOver::handTo(name, files, 2000);
    done = true;
  });
  while (!done) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  launch.join();
  QCoreApplication::processEvents();  // the window takes them from its loop
  return taken;
}

TEST(WindowHandOverTest, ALaunchHandsItsFilesToTheOpenWindowOrFindsNone) {
  testing::TempDir dir;
  const QString name = QString::fromStdString(dir.file("window"));
  std::vector<QStringList> received;
  WindowHandOver window(name, [&](const QStringList& files) { received.push_back(files); });
  ASSERT_TRUE(window.isListening());

  const QStringList files{QStringLiteral("/home/zoë/Tides 2026.quorvane"),
                          QStringLiteral("/tmp/two\nlines%41.quorvane")};
  EXPECT_TRUE(launchWith(name, files));
  EXPECT_TRUE(launchWith(name, {})) << "a launch without files brings the window forward";
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[0], files);
  EXPECT_TRUE(received[1].isEmpty());

  EXPECT_FALSE(WindowHandOver::handTo(QString::fromStdString(dir.file("no-window")), files, 200));

  // A socket left by a window that was killed is taken over.
  const std::string left = dir.file("left");
  std::ofstream(left) << "";
  WindowHandOver next(QString::fromStdString(left), [](const QStringList&) {});
  EXPECT_TRUE(next.isListening());
}

}  // namespace
}  // namespace quorvane
