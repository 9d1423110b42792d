// The window on a library of 2,000 works in one project, each run in a
// process of its own on Qt's offscreen platform:
//
// - from launching the process to the first painted window (the board
//   with its cells), at most 1 s; the anchor is a bare list of 2,000 rows
//   shown by Qt alone;
// - the longest the event loop is held while the board is scrolled from top
//   to bottom, a screen a frame, with pictures loading and pages being drawn
//   behind it: at most 50 ms; the anchor scrolls the bare list.
//
// A timer ticking every millisecond measures the hold: the longest gap
// between two ticks is the longest time nothing could answer the user.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QListView>
#include <QScrollBar>
#include <QStringListModel>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_support.h"
#include "gui/board_delegate.h"
#include "gui/desktop_session.h"
#include "gui/main_window.h"
#include "gui/works_board.h"
#include "images/image_optimizer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

constexpr int kWorks = 2000;

std::string home() { return bench::scratchFolder("quorvane-window-bench"); }

// The command line beside this benchmark: <build>/bench/… → <build>/src/quorvane.
std::string commandLine() {
  return fs::path(bench::selfPath()).parent_path().parent_path().string() + "/src/quorvane";
}

// The library, made once: 2,000 works from twenty small paintings.
bool makeLibrary() {
  const std::string marker = home() + "/made";
  if (fs::exists(marker)) return true;
  fs::remove_all(home());
  fs::create_directories(home() + "/images");
  const ImageOptimizer optimizer;
  std::string paths;
  for (int i = 0; i < 20; ++i) {
    RgbPixels pixels{400, 300, std::vector<std::uint8_t>(400 * 300 * 3)};
    for (std::size_t p = 0; p < pixels.data.size(); ++p) {
      pixels.data[p] = static_cast<std::uint8_t>((p * (i + 3) / 7 + i * 40) % 256);
    }
    const std::string path = home() + "/images/" + std::to_string(i) + ".png";
    realFileSystem().writeFileAtomically(path, optimizer.encodePng(pixels));
  }
  for (int i = 0; i < kWorks; ++i)
    paths += " " + home() + "/images/" + std::to_string(i % 20) + ".png";
  const std::string environment =
      "XDG_DATA_HOME=" + home() + "/data XDG_CONFIG_HOME=" + home() + "/config ";
  if (!bench::runCommand(environment + commandLine() + " artworks add" + paths + " > /dev/null")) {
    return false;
  }
  realFileSystem().writeFileAtomically(marker, Bytes{'1'});
  return true;
}

// Runs the child and returns the milliseconds it prints (-1 on a failure);
// for a start, the milliseconds from launching the process (its loading
// included) to the number arriving, which the child prints once painted.
double childMilliseconds(const std::string& mode) {
  const auto launched = std::chrono::steady_clock::now();
  const std::string command = "XDG_DATA_HOME=" + home() + "/data XDG_CONFIG_HOME=" + home() +
                              "/config QT_QPA_PLATFORM=offscreen " + bench::selfPath() +
                              " --measure-window " + mode + " 2>/dev/null";
  std::chrono::steady_clock::time_point painted;
  double milliseconds = bench::childNumber(command, &painted);
  if (milliseconds >= 0 && mode.starts_with("start")) {
    milliseconds = std::chrono::duration<double, std::milli>(painted - launched).count();
  }
  return milliseconds;
}

void measure(benchmark::State& state, const std::string& mode, double targetMs) {
  if (!makeLibrary()) return state.SkipWithError("the library could not be made");
  const auto once = [&] {
    // Every run starts with no page drawn: the scroll loads pictures while
    // the pages are being drawn behind it, as on the first opening.
    std::error_code ignored;
    fs::remove_all(home() + "/data/Quorvane/media/derived_web/pdfthumb", ignored);
    return childMilliseconds(mode);
  };
  bench::timeChildRuns(state, once, targetMs);
}

void BM_WindowStart_ours(benchmark::State& state) { measure(state, "start", 1000); }
void BM_WindowStart_anchor(benchmark::State& state) { measure(state, "start-anchor", 0); }
void BM_WindowScroll_ours(benchmark::State& state) { measure(state, "scroll", 50); }
void BM_WindowScroll_anchor(benchmark::State& state) { measure(state, "scroll-anchor", 0); }

BENCHMARK(BM_WindowStart_ours)
    ->Name("window_first_paint_2000_works/ours")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WindowStart_anchor)
    ->Name("window_first_paint_2000_works/anchor")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WindowScroll_ours)
    ->Name("window_scroll_longest_stall/ours")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WindowScroll_anchor)
    ->Name("window_scroll_longest_stall/anchor")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

// Waits (running the loop) until `view` has painted once.
class FirstPaint final : public QObject {
 public:
  explicit FirstPaint(QWidget& viewport) { viewport.installEventFilter(this); }
  bool painted = false;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) painted = true;
    return false;
  }
};

void waitForPaint(const FirstPaint& paint) {
  while (!paint.painted) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  QCoreApplication::processEvents();  // the paint itself finishes
}

// Scrolls `view` a screen a frame from top to bottom, then lets it settle
// for half a second; the longest hold of the event loop, in milliseconds.
double longestHoldWhileScrolling(QAbstractItemView& view) {
  QElapsedTimer clock;
  clock.start();
  qint64 last = 0;
  qint64 longest = 0;
  QTimer ticker;
  ticker.setTimerType(Qt::PreciseTimer);
  ticker.setInterval(1);
  QObject::connect(&ticker, &QTimer::timeout, [&] {
    const qint64 now = clock.elapsed();
    longest = std::max(longest, now - last);
    last = now;
  });
  QEventLoop loop;
  QTimer scroller;
  scroller.setInterval(16);
  qint64 reachedBottom = -1;
  int bottomAt = -1;
  QObject::connect(&scroller, &QTimer::timeout, [&] {
    QScrollBar* bar = view.verticalScrollBar();
    if (bar->value() < bar->maximum()) {
      bar->setValue(bar->value() + view.viewport()->height());
    } else if (reachedBottom < 0 || bar->maximum() != bottomAt) {
      // At the bottom (again, should the layout have grown meanwhile).
      reachedBottom = clock.elapsed();
      bottomAt = bar->maximum();
    } else if (clock.elapsed() - reachedBottom > 500) {
      loop.quit();
    }
  });
  last = clock.elapsed();
  ticker.start();
  scroller.start();
  loop.exec();
  return static_cast<double>(longest);
}

}  // namespace

// The child: one measure, its milliseconds on standard output.
int measureWindow(int argc, char** argv, const std::string& mode) {
  QElapsedTimer sinceStart;
  sinceStart.start();
  QApplication application(argc, argv);
  const bool anchor = mode.ends_with("-anchor");
  std::unique_ptr<gui::DesktopSession> session;
  std::unique_ptr<QWidget> window;
  QAbstractItemView* view = nullptr;
  QObject context;
  QStringListModel rows;
  if (anchor) {
    QStringList titles;
    for (int i = 0; i < kWorks; ++i) titles << QStringLiteral("Work %1").arg(i + 1);
    rows.setStringList(titles);
    auto* list = new QListView;
    list->setViewMode(QListView::IconMode);
    list->setUniformItemSizes(true);
    list->setGridSize(gui::BoardDelegate::cellSize());
    list->setModel(&rows);
    window.reset(list);
    view = list;
  } else {
    session = std::make_unique<gui::DesktopSession>(context, nullLogger());
    auto main = std::make_unique<gui::MainWindow>(
        gui::DesktopContext{session->store(), session->preferences(), systemClock()});
    main->showScreen(gui::Screen::works);
    view = &main->board().grid();
    window = std::move(main);
  }
  window->resize(1280, 820);
  FirstPaint paint(*view->viewport());
  window->show();
  waitForPaint(paint);
  double milliseconds = static_cast<double>(sinceStart.elapsed());
  if (mode.starts_with("scroll")) milliseconds = longestHoldWhileScrolling(*view);
  std::printf("%.1f\n", milliseconds);
  std::fflush(stdout);
  window.reset();
  session.reset();
  return 0;
}

}  // namespace quorvane
