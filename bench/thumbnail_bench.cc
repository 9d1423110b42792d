// Page thumbnails, from the export benchmark's works (a real photograph),
// each first made into its 2000-pixel web copy as an import or an add does.
//
// - One artwork page, 512 pixels on its longer edge, encoded as WebP, the
//   web copy decoded included, beside `pdftoppm` drawing that page of the
//   exported PDF at the same size: at most 0.5 of its time, and at most
//   50 ms.
// - 100 thumbnails of a project through the store's machinery (debounce,
//   two permits, two worker lanes, the cache on disk): the total time, and
//   the peak memory in a process of its own.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/page_thumbnails.h"
#include "bench_support.h"
#include "images/image_optimizer.h"
#include "pdf/portfolio_pdf_renderer.h"
#include "platform/atomic_file.h"
#include "platform/file_system.h"
#include "platform/main_loop.h"

namespace quorvane {

const std::vector<std::string>& benchWorks();  // export_bench.cc

namespace {

namespace fs = std::filesystem;

std::string scratch() { return bench::scratchFolder("quorvane-thumb-bench"); }

// The web copies of the works, made once and kept on disk, as the media
// folder keeps them; each drawing reads its own.
const std::vector<std::string>& webCopies() {
  static const std::vector<std::string> copies = [] {
    std::vector<std::string> made;
    const ImageOptimizer optimizer;
    fs::create_directories(scratch() + "/web");
    for (std::size_t i = 0; i < benchWorks().size(); ++i) {
      const std::string path = scratch() + "/web/" + std::to_string(i) + ".jpg";
      if (!fs::exists(path)) {
        realFileSystem().writeFileAtomically(
            path, optimizer.derive(realFileSystem().readFile(benchWorks()[i]), kWebPreset).data);
      }
      made.push_back(path);
    }
    return made;
  }();
  return copies;
}

Bytes webCopy(std::size_t work) { return realFileSystem().readFile(webCopies()[work]); }

struct Page {
  Project project;
  StudioSnapshot snapshot;
};

Page pageOf(std::size_t work) {
  Page page;
  page.project.id = "bench";
  page.project.kind = ProjectKind::catalogue;
  page.project.catalogueKind = CatalogueKind::price;
  page.project.currency = "EUR";
  Artwork artwork;
  artwork.id = "W" + std::to_string(work);
  artwork.title = "Elephants at dusk, " + std::to_string(work + 1);
  artwork.medium = "Oil on linen";
  artwork.year = "2026";
  artwork.artworkWidth = "120";
  artwork.artworkHeight = "80";
  artwork.priceCents = 480000;
  page.snapshot.artworks.images.push_back(artwork);
  return page;
}

// What the store's thumbnail source draws: the page on pixels, then WebP.
Bytes drawThumbnail(std::size_t work) {
  static const ImageOptimizer optimizer;
  const Page page = pageOf(work);
  const PortfolioPdfRenderer renderer(
      PDFStyle{}, PdfStrings("en", "portfolio", {}),
      [work](const Artwork&) -> std::optional<Bytes> { return webCopy(work); }, optimizer,
      std::nullopt);
  const PageSize size = pageSize(PdfFormat::a4, DocumentOrientation::portrait);
  const auto canvas = PdfCanvas::raster(
      size, 512 / size.height,
      [](std::span<const std::uint8_t> image, int width, int height) -> std::optional<RgbPixels> {
        return optimizer.decodeToFit(image, width, height);
      });
  renderer.drawArtworkPage(*canvas, page.project, page.snapshot, page.snapshot.artworks.images[0],
                           1);
  return optimizer.encodeWebp(canvas->finishRaster(), 82);
}

bool ready(benchmark::State& state) {
  if (benchWorks().size() >= 50) return true;
  state.SkipWithError("the photograph is missing (Debian package mate-backgrounds)");
  return false;
}

void BM_Thumbnail_ours(benchmark::State& state) {
  if (!ready(state)) return;
  webCopies();
  // Fonts are found and loaded once per process, not per page: the window
  // draws pages by the hundred.
  benchmark::DoNotOptimize(drawThumbnail(49));
  std::size_t work = 0;
  for (auto _ : state) benchmark::DoNotOptimize(drawThumbnail(work++ % 49));
  state.counters["target_ms"] = 50;
}
BENCHMARK(BM_Thumbnail_ours)
    ->Name("artwork_page_thumbnail/ours")
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// pdftoppm drawing the page of the exported PDF (web copy embedded) at
// the same size, as a PDF viewer's thumbnail would be made.
void BM_Thumbnail_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  fs::create_directories(scratch());
  const std::string pdf = scratch() + "/page.pdf";
  {
    static const ImageOptimizer optimizer;
    const Page page = pageOf(0);
    const PortfolioPdfRenderer renderer(
        PDFStyle{}, PdfStrings("en", "portfolio", {}),
        [](const Artwork&) -> std::optional<Bytes> { return webCopy(0); }, optimizer,
        imagePreparationPolicy(ExportImageQuality::webOptimized));
    AtomicFileWriter file(pdf);
    renderer.render(page.project, page.snapshot, ExportOptions{}, false,
                    [&](std::span<const std::uint8_t> bytes) {
                      file.write(bytes);
                      return true;
                    });
    file.commit();
  }
  const std::string command =
      "pdftoppm -png -scale-to 512 -f 1 -l 1 '" + pdf + "' '" + scratch() + "/poppler'";
  for (auto _ : state) {
    if (!bench::runCommand(command)) {
      state.SkipWithError("pdftoppm is missing (Debian package poppler-utils)");
      break;
    }
  }
}
BENCHMARK(BM_Thumbnail_anchor)
    ->Name("artwork_page_thumbnail/anchor")
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// 100 pages through the machinery the window uses; returns when all are on
// disk.
void drawHundred() {
  fs::remove_all(scratch() + "/media");
  FilesMediaStore media(scratch() + "/media");
  MainLoop main;
  WorkerPool worker("app.quorvane.pdf-thumbs", PageThumbnails::kPermits);
  std::size_t stored = 0;
  PageThumbnails thumbnails(
      media, main, worker, nullLogger(),
      [](const std::string& key) -> std::optional<ThumbnailSource> {
        const std::size_t work = std::stoul(key.substr(1)) % 50;
        return ThumbnailSource{key, [work] { return drawThumbnail(work); }};
      },
      [&](const std::string&) {
        if (++stored == 100) main.quit();
      });
  for (int i = 0; i < 100; ++i) thumbnails.enqueue("P" + std::to_string(i), "artwork_added");
  main.run();
}

void BM_HundredThumbnails(benchmark::State& state) {
  if (!ready(state)) return;
  webCopies();
  for (auto _ : state) drawHundred();
}
BENCHMARK(BM_HundredThumbnails)
    ->Name("project_thumbnails_100_pages/ours")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_HundredThumbnailsPeak(benchmark::State& state) {
  if (!ready(state)) return;
  bench::reportChildPeak(state, bench::selfPath() + " --measure-thumbnails-peak", 200);
}
BENCHMARK(BM_HundredThumbnailsPeak)
    ->Name("project_thumbnails_peak_memory/100_pages")
    ->Iterations(1);

}  // namespace

int measureThumbnailsPeak() {
  if (benchWorks().size() < 50) return 1;
  webCopies();
  drawHundred();
  return bench::printPeakKilobytes();
}

}  // namespace quorvane
