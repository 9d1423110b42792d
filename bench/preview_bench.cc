// The export sheet's preview, each run in a process of its own on Qt's
// offscreen platform, on a library of twenty works:
//
// - from an option changed in the sheet (the paper) to the portfolio at
//   web quality shown again beside it, at most 1.5 s;
// - from the same change to one artwork's page shown, at most 150 ms.
//
// Each anchor is the store's renderer drawing the same document for the
// screen alone, its fonts already loaded as in the window: the ratio is
// what the sheet, the queues and Qt PDF add to the drawing itself.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QBuffer>
#include <QComboBox>
#include <QElapsedTimer>
#include <QPdfDocument>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include "app/pdf_render_service.h"
#include "bench_support.h"
#include "gui/desktop_session.h"
#include "gui/export_sheet.h"
#include "gui/main_window.h"
#include "images/image_optimizer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

constexpr int kWorks = 20;

std::string home() { return bench::scratchFolder("quorvane-preview-bench"); }

std::string commandLine() {
  return fs::path(bench::selfPath()).parent_path().parent_path().string() + "/src/quorvane";
}

// Twenty paintings of 2400 × 1800 pixels and a biography.
bool makeLibrary() {
  const std::string marker = home() + "/made";
  if (fs::exists(marker)) return true;
  fs::remove_all(home());
  fs::create_directories(home() + "/images");
  const ImageOptimizer optimizer;
  std::string paths;
  for (int i = 0; i < kWorks; ++i) {
    RgbPixels pixels{2400, 1800, std::vector<std::uint8_t>(2400 * 1800 * 3)};
    for (std::size_t p = 0; p < pixels.data.size(); ++p) {
      pixels.data[p] = static_cast<std::uint8_t>((p * (i + 3) / 11 + i * 37) % 256);
    }
    const std::string path = home() + "/images/" + std::to_string(i) + ".png";
    realFileSystem().writeFileAtomically(path, optimizer.encodePng(pixels));
    paths += " " + path;
  }
  const std::string bio = home() + "/bio.txt";
  const std::string text = "Born by the sea, works by the sea.";
  realFileSystem().writeFileAtomically(bio, Bytes(text.begin(), text.end()));
  const std::string environment =
      "XDG_DATA_HOME=" + home() + "/data XDG_CONFIG_HOME=" + home() + "/config ";
  if (!bench::runCommand(environment + commandLine() + " artworks add" + paths + " > /dev/null") ||
      !bench::runCommand(environment + commandLine() + " text set bio " + bio + " > /dev/null")) {
    return false;
  }
  realFileSystem().writeFileAtomically(marker, Bytes{'1'});
  return true;
}

double childMilliseconds(const std::string& mode) {
  const std::string command = "XDG_DATA_HOME=" + home() + "/data XDG_CONFIG_HOME=" + home() +
                              "/config QT_QPA_PLATFORM=offscreen " + bench::selfPath() +
                              " --measure-preview " + mode + " 2>/dev/null";
  return bench::childNumber(command);
}

void measure(benchmark::State& state, const std::string& mode, double targetMs) {
  if (!makeLibrary()) return state.SkipWithError("the library could not be made");
  bench::timeChildRuns(
      state, [&] { return childMilliseconds(mode); }, targetMs);
}

void BM_PortfolioPreview_ours(benchmark::State& state) { measure(state, "portfolio", 1500); }
void BM_PortfolioPreview_anchor(benchmark::State& state) { measure(state, "portfolio-anchor", 0); }
void BM_PagePreview_ours(benchmark::State& state) { measure(state, "page", 150); }
void BM_PagePreview_anchor(benchmark::State& state) { measure(state, "page-anchor", 0); }

BENCHMARK(BM_PortfolioPreview_ours)
    ->Name("preview_after_option_change_20_works_web/ours")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PortfolioPreview_anchor)
    ->Name("preview_after_option_change_20_works_web/anchor")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PagePreview_ours)
    ->Name("preview_after_option_change_one_page/ours")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PagePreview_anchor)
    ->Name("preview_after_option_change_one_page/anchor")
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

// Runs the loop until `done` holds.
template <typename Predicate>
void runUntil(Predicate done) {
  while (!done()) QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
}

}  // namespace

// The child: one measure, its milliseconds on standard output.
int measurePreview(int argc, char** argv, const std::string& mode) {
  QApplication application(argc, argv);
  QObject context;
  gui::DesktopSession session(context, nullLogger());
  AppStore& store = session.store();
  ExportOptions options = store.state().exportOptions;
  options.format = PdfFormat::a4;
  options.imageQuality = ExportImageQuality::webOptimized;
  store.setExportOptions(options);
  const std::string firstWork = store.state().snapshot.artworks.images.front().id;
  const bool page = mode.starts_with("page");
  const RenderRequest request = page ? RenderRequest{RenderKind::singleArtwork, firstWork}
                                     : RenderRequest{RenderKind::portfolio, std::nullopt};
  QElapsedTimer clock;
  double milliseconds = 0;
  if (mode.ends_with("-anchor")) {
    // The store's renderer alone, on this thread: once to load what a
    // first drawing loads, then the document on the other paper, timed.
    PdfRenderService& renderer = session.renderer();
    const Project& project = store.state().project;
    const StudioSnapshot& snapshot = store.state().snapshot;
    renderer.render(request, project, snapshot, options, RenderImages::forScreen);
    options.format = PdfFormat::letter;
    clock.start();
    renderer.render(request, project, snapshot, options, RenderImages::forScreen);
    milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  } else if (page) {
    // The page as a window shows it: rendered on the render queue,
    // published, read by Qt PDF.
    gui::MainWindow window(gui::DesktopContext{store, session.preferences(), systemClock()});
    window.resize(1280, 820);
    window.show();
    QPdfDocument shown;
    QBuffer bytes;
    const std::size_t token = store.observe([&] {
      const auto& data = store.state().pdfPreviewData;
      if (!data || store.state().isPdfRendering) return;
      shown.close();
      bytes.close();
      bytes.setData(reinterpret_cast<const char*>(data->data()),
                    static_cast<qsizetype>(data->size()));
      bytes.open(QIODevice::ReadOnly);
      shown.load(&bytes);
    });
    const auto showsPaperWidth = [&](double width) {
      return shown.status() == QPdfDocument::Status::Ready && shown.pageCount() > 0 &&
             std::abs(shown.pagePointSize(0).width() - width) < 1;
    };
    store.requestPreview(request);
    runUntil([&] { return showsPaperWidth(595); });
    clock.start();
    options.format = PdfFormat::letter;
    store.setExportOptions(options);
    store.requestPreview(request);
    runUntil([&] { return showsPaperWidth(612); });
    milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    store.stopObserving(token);
  } else {
    gui::MainWindow window(gui::DesktopContext{store, session.preferences(), systemClock()});
    window.resize(1280, 820);
    window.show();
    window.showProjectTab(gui::ProjectTab::exportSheet);
    gui::ExportSheet& sheet = window.exportSheet();
    QPdfDocument& shown = sheet.previewDocument();
    const auto showsPaperWidth = [&](double width) {
      return shown.status() == QPdfDocument::Status::Ready && shown.pageCount() > 0 &&
             std::abs(shown.pagePointSize(0).width() - width) < 1;
    };
    runUntil([&] { return showsPaperWidth(595) && !store.state().isPdfRendering; });
    QCoreApplication::processEvents();  // the first preview painted
    clock.start();
    QComboBox* paper = sheet.paperChooser();
    const int letter = paper->findData(QStringLiteral("letter"));
    paper->setCurrentIndex(letter);
    emit paper->activated(letter);
    runUntil([&] { return showsPaperWidth(612) && !store.state().isPdfRendering; });
    QCoreApplication::processEvents();  // and painted
    milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  }
  std::printf("%.1f\n", milliseconds);
  std::fflush(stdout);
  return 0;
}

}  // namespace quorvane
