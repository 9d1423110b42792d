// Exporting a portfolio of 50 camera-sized artworks (6000 × 4000 JPEGs made
// from a real photograph, Debian's mate-backgrounds elephants, cropped and
// scaled differently for each work).
//
// - Print quality, beside `img2pdf` of the same files (which also embeds
//   JPEGs untouched): ours must take at most 0.6 of its time.
// - Web-optimised, beside `vipsthumbnail` in two parallel processes (1600 px,
//   quality 78) followed by `img2pdf` of the thumbnails: at most 1.1 the
//   first time (decoding every pixel, which is the anchor's own work, is
//   nearly all of it), and at most 0.15 exported again with the images the
//   first export prepared kept.
// - Peak memory, in a fresh process: at most 100 MB at print quality, not
//   growing with the number of artworks; at most 200 MB web-optimised.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vips/vips.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/prepared_image_cache.h"
#include "bench_support.h"
#include "images/image_optimizer.h"
#include "pdf/portfolio_pdf_renderer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

using bench::runCommand;
using bench::selfPath;

std::string scratch() { return bench::scratchFolder("quorvane-export-bench"); }

constexpr const char* kPhotograph = "/usr/share/backgrounds/mate/abstract/Elephants_5640x3172.jpg";
constexpr int kWorks = 50;

// The 50 works, made once and kept beside the benchmark program.
const std::vector<std::string>& works() {
  static const std::vector<std::string> paths = [] {
    static const ImageOptimizer initialisesVips;
    const std::string directory =
        std::filesystem::path(selfPath()).parent_path().string() + "/export-bench-data";
    std::filesystem::create_directories(directory);
    std::vector<std::string> made;
    for (int i = 0; i < kWorks; ++i) {
      const std::string path = directory + "/work-" + std::to_string(i) + ".jpg";
      made.push_back(path);
      if (std::filesystem::exists(path)) continue;
      VipsImage* photo = vips_image_new_from_file(kPhotograph, nullptr);
      if (photo == nullptr) return std::vector<std::string>{};
      VipsImage* cropped = nullptr;
      VipsImage* scaled = nullptr;
      const int left = (i * 53) % 700, top = (i * 29) % 400;
      vips_crop(photo, &cropped, left, top, 4900, 2760, nullptr);
      vips_resize(cropped, &scaled, 6000.0 / 4900.0, "vscale", 4000.0 / 2760.0, nullptr);
      vips_jpegsave(scaled, (path + ".tmp").c_str(), "Q", 90, nullptr);
      std::filesystem::rename(path + ".tmp", path);
      g_object_unref(scaled);
      g_object_unref(cropped);
      g_object_unref(photo);
    }
    return made;
  }();
  return paths;
}

}  // namespace

// The works, for the package benchmark too.
const std::vector<std::string>& benchWorks() { return works(); }

namespace {

// Renders the works' portfolio to `output`, as `quorvane export` does; with
// `kept`, each page image comes through that cache of prepared images, as
// the store's exports take them.
void exportPortfolio(const std::vector<std::string>& paths, ExportImageQuality quality,
                     const std::string& output, PreparedImageCache* kept = nullptr) {
  Project project;
  project.id = "bench";
  project.projectTitle = "Fifty works";
  StudioSnapshot snapshot;
  snapshot.details.firstName = "Maren";
  snapshot.details.lastName = "Aalto";
  for (std::size_t i = 0; i < paths.size(); ++i) {
    Artwork artwork;
    artwork.id = std::to_string(i);
    artwork.title = "Work " + std::to_string(i + 1);
    artwork.imagePath = paths[i];
    snapshot.artworks.images.push_back(artwork);
  }
  ExportOptions options;
  options.imageQuality = quality;
  const ImageOptimizer optimizer;
  const std::optional<ImagePreparationPolicy> policy = imagePreparationPolicy(quality);
  PortfolioPdfRenderer renderer(
      PDFStyle{}, PdfStrings("en", "portfolio", {}),
      [](const Artwork& artwork) -> std::optional<std::vector<std::uint8_t>> {
        return realFileSystem().readFile(*artwork.imagePath);
      },
      optimizer, policy);
  if (kept != nullptr && policy) {
    renderer.takePageImagesFrom([&](const Artwork& artwork) {
      return kept->preparedFrom(artwork.id, *artwork.imagePath, *policy, [&] {
        return std::optional(realFileSystem().readFile(*artwork.imagePath));
      });
    });
  }
  AtomicFileWriter file(output);
  renderer.render(project, snapshot, options, true, [&](std::span<const std::uint8_t> bytes) {
    file.write(bytes);
    return true;
  });
  file.commit();
}

// Each export writes 400 MB. Every iteration starts with the dirty pages of
// the one before written back and its file gone, so that neither side pays
// for the other's writes.
void settleDisk(benchmark::State& state) {
  state.PauseTiming();
  std::error_code ignored;
  std::filesystem::remove(scratch() + "/ours.pdf", ignored);
  std::filesystem::remove(scratch() + "/img2pdf.pdf", ignored);
  std::filesystem::remove(scratch() + "/anchor.pdf", ignored);
  ::sync();
  state.ResumeTiming();
}

std::string quoted(const std::vector<std::string>& paths, std::size_t from, std::size_t to) {
  std::string list;
  for (std::size_t i = from; i < to; ++i) list += " '" + paths[i] + "'";
  return list;
}

bool ready(benchmark::State& state) {
  if (works().size() == kWorks) return true;
  state.SkipWithError("the photograph is missing (Debian package mate-backgrounds)");
  return false;
}

void BM_ExportPrint_ours(benchmark::State& state) {
  if (!ready(state)) return;
  std::filesystem::create_directories(scratch());
  for (auto _ : state) {
    settleDisk(state);
    exportPortfolio(works(), ExportImageQuality::printQuality, scratch() + "/ours.pdf");
  }
}
BENCHMARK(BM_ExportPrint_ours)
    ->Name("export_print_50_works/ours")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_ExportPrint_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  std::filesystem::create_directories(scratch());
  const std::string command =
      "img2pdf" + quoted(works(), 0, works().size()) + " -o '" + scratch() + "/img2pdf.pdf'";
  for (auto _ : state) {
    settleDisk(state);
    if (!runCommand(command)) {
      state.SkipWithError("img2pdf is missing (Debian package img2pdf)");
      break;
    }
  }
}
BENCHMARK(BM_ExportPrint_anchor)
    ->Name("export_print_50_works/anchor")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_ExportWeb_ours(benchmark::State& state) {
  if (!ready(state)) return;
  std::filesystem::create_directories(scratch());
  for (auto _ : state)
    exportPortfolio(works(), ExportImageQuality::webOptimized, scratch() + "/ours.pdf");
}
BENCHMARK(BM_ExportWeb_ours)
    ->Name("export_web_50_works/ours")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The same export again (a title edited, an option changed) with the
// images the first one prepared kept in the cache: only the drawing and the
// writing are left. The untimed first run fills the cache.
void BM_ExportWeb_again(benchmark::State& state) {
  if (!ready(state)) return;
  std::filesystem::create_directories(scratch());
  const ImageOptimizer optimizer;
  PreparedImageCache kept(realFileSystem(), optimizer, scratch() + "/prepared-images");
  kept.clear();
  exportPortfolio(works(), ExportImageQuality::webOptimized, scratch() + "/ours.pdf", &kept);
  for (auto _ : state) {
    exportPortfolio(works(), ExportImageQuality::webOptimized, scratch() + "/ours.pdf", &kept);
  }
  if (kept.hits() != works().size() * state.iterations()) {
    state.SkipWithError("the prepared images were not all reused");
  }
}
BENCHMARK(BM_ExportWeb_again)
    ->Name("export_web_50_works/again")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Two vipsthumbnail processes share the works, then img2pdf binds them.
void BM_ExportWeb_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string thumbnails = scratch() + "/thumbnails";
  std::filesystem::create_directories(thumbnails);
  const std::size_t half = works().size() / 2;
  const std::string thumbnail = " --size 1600 -o '" + thumbnails + "/%s.jpg[Q=78,strip]'";
  const std::string command = "(vipsthumbnail" + quoted(works(), 0, half) + thumbnail +
                              " & vipsthumbnail" + quoted(works(), half, works().size()) +
                              thumbnail + " & wait) && img2pdf '" + thumbnails + "'/*.jpg -o '" +
                              scratch() + "/anchor.pdf'";
  for (auto _ : state) {
    if (!runCommand(command)) {
      state.SkipWithError("vipsthumbnail or img2pdf is missing");
      break;
    }
  }
}
BENCHMARK(BM_ExportWeb_anchor)
    ->Name("export_web_50_works/anchor")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Peak resident memory of an export in a process of its own.
void measureExportPeak(benchmark::State& state, const char* quality, int count, double target) {
  if (!ready(state)) return;
  const std::string command = selfPath() + " --measure-export-peak " + quality + " " +
                              std::to_string(count) + " '" + scratch() + "/peak.pdf'";
  std::filesystem::create_directories(scratch());
  bench::reportChildPeak(state, command, target);
}

void BM_PrintPeak10(benchmark::State& state) { measureExportPeak(state, "print", 10, 100); }
BENCHMARK(BM_PrintPeak10)->Name("export_print_peak_memory/10_works")->Iterations(1)->UseRealTime();
void BM_PrintPeak50(benchmark::State& state) { measureExportPeak(state, "print", 50, 100); }
BENCHMARK(BM_PrintPeak50)->Name("export_print_peak_memory/50_works")->Iterations(1)->UseRealTime();
void BM_WebPeak50(benchmark::State& state) { measureExportPeak(state, "web", 50, 200); }
BENCHMARK(BM_WebPeak50)->Name("export_web_peak_memory/50_works")->Iterations(1)->UseRealTime();

}  // namespace

// The child's side: export `count` works at `quality`, print the peak
// resident size in kilobytes.
int measureExportPeak(const char* quality, int count, const char* output) {
  const std::vector<std::string>& all = works();
  if (all.size() < static_cast<std::size_t>(count)) return 1;
  const std::vector<std::string> some(all.begin(), all.begin() + count);
  exportPortfolio(some,
                  std::string(quality) == "web" ? ExportImageQuality::webOptimized
                                                : ExportImageQuality::printQuality,
                  output);
  return bench::printPeakKilobytes();
}

}  // namespace quorvane
