// Backing up and restoring a project of 40 artworks whose originals are
// camera-sized JPEGs (about 10 MB each, the export benchmark's works made
// from a real photograph).
//
// - Export, beside `zip -0 -r -q` of the same tree (the least any archiver
//   does: read the originals, write them stored): at most 1.5, the export
//   reading its package back before it is published.
// - That reading back (every check, every original's checksum and image
//   checks), beside the export itself: at most 0.5.
// - Import until the project is in the library (checked, originals staged
//   and committed, the project written), beside `unzip -q` of the same
//   package: at most 1.5.
// - Finalisation of one imported image (its web derivative made from the
//   original and written), beside `vipsthumbnail` at the same size and
//   quality: at most 1.2.
// - An import with all its images finished, by the real program
//   (`quorvane package import --open`), of 1,000 and 4,000 small works,
//   per work, beside the same of 250: at most 1.5 (it grows with the
//   number of works, not with its square).
// - Peak memory of export and of import, in a fresh process: at most 100 MB,
//   the same for 10 and for 40 artworks (nothing held whole).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/import_finalization.h"
#include "app/package_export.h"
#include "app/package_import.h"
#include "bench_support.h"
#include "images/image_optimizer.h"
#include "packages/transfer_service.h"
#include "storage/sqlite_snapshot_repository.h"

namespace quorvane {

const std::vector<std::string>& benchWorks();  // export_bench.cc

namespace {

namespace fs = std::filesystem;

using bench::runCommand;
using bench::selfPath;

std::string scratch() { return bench::scratchFolder("quorvane-package-bench"); }

constexpr int kArtworks = 40;

// A project of `count` artworks, each with one of the works as its original.
PackageExport projectOf(int count) {
  PackageExport input;
  input.project.id = "BENCH";
  input.project.projectName = "Forty works";
  input.snapshot.biography = "Born in Turku, lives in Lyon.";
  for (int i = 0; i < count; ++i) {
    Artwork artwork;
    artwork.id = "ART-" + std::to_string(i);
    artwork.title = "Work " + std::to_string(i + 1);
    artwork.medium = "Oil on linen";
    input.snapshot.artworks.images.push_back(artwork);
  }
  for (int i = 0; i < count && static_cast<std::size_t>(i) < benchWorks().size(); ++i) {
    const std::string& path = benchWorks()[static_cast<std::size_t>(i)];
    input.originals.emplace("ART-" + std::to_string(i), PackageOriginal{path, fs::file_size(path)});
  }
  return input;
}

const ImageOptimizer& optimizer() {
  static const ImageOptimizer images;
  return images;
}

// As `quorvane package export` writes it: read back and checked.
std::uint64_t exportPackage(int count, const std::string& target) {
  const QuorvaneTransferService service;
  PackageExport input = projectOf(count);
  input.checkImage = libraryImageCheck(optimizer());
  return service.exportPackage(input, target, dateFromSeconds(1'790'000'000), true);
}

// Reads `package` into a new library in `folder` (emptied first), as
// `quorvane package import` does before the images are finished.
MergedPackage importPackage(const std::string& package, const std::string& folder) {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  fs::create_directories(folder);
  const QuorvaneTransferService service;
  SQLiteSnapshotRepository library(SQLiteDatabase(folder + "/library.sqlite"));
  FilesMediaStore media(folder + "/media");
  const ImageOptimizer optimizer;
  int ids = 0;
  const PackageMergeServices services{library,      library,
                                      media,        optimizer,
                                      nullLogger(), [&] { return "ID-" + std::to_string(++ids); }};
  OpenedPackage opened = service.openPackage(package);
  return mergeIntoLibrary(opened, services, service.limits(), "Imported project");
}

bool ready(benchmark::State& state) {
  if (benchWorks().size() >= kArtworks) return true;
  state.SkipWithError("the photograph is missing (Debian package mate-backgrounds)");
  return false;
}

// The package and its tree, extracted, made once per run.
const std::string& package() {
  static const std::string path = [] {
    fs::create_directories(scratch());
    const std::string made = scratch() + "/forty.quorvane";
    exportPackage(kArtworks, made);
    fs::remove_all(scratch() + "/tree");
    runCommand("unzip -q -o '" + made + "' -d '" + scratch() + "/tree'");
    return made;
  }();
  return path;
}

// Every iteration starts with the writes of the one before on the disk and
// its output gone, so that neither side pays for the other's.
void settleDisk(benchmark::State& state) {
  state.PauseTiming();
  std::error_code ignored;
  for (const char* name : {"/ours.quorvane", "/anchor.zip"}) fs::remove(scratch() + name, ignored);
  fs::remove_all(scratch() + "/imported", ignored);
  fs::remove_all(scratch() + "/unzipped", ignored);
  ::sync();
  state.ResumeTiming();
}

void BM_Export_ours(benchmark::State& state) {
  if (!ready(state)) return;
  package();
  for (auto _ : state) {
    settleDisk(state);
    exportPackage(kArtworks, scratch() + "/ours.quorvane");
  }
}
BENCHMARK(BM_Export_ours)
    ->Name("package_export_40_works/ours")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Export_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  package();
  const std::string command =
      "cd '" + scratch() + "/tree' && zip -0 -r -q '" + scratch() + "/anchor.zip' .";
  for (auto _ : state) {
    settleDisk(state);
    if (!runCommand(command)) {
      state.SkipWithError("zip is missing (Debian package zip)");
      break;
    }
  }
}
BENCHMARK(BM_Export_anchor)
    ->Name("package_export_40_works/anchor")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The reading back alone, of the package the export wrote.
void BM_Verify_ours(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string& path = package();
  const QuorvaneTransferService service;
  for (auto _ : state) {
    OpenedPackage opened = service.openPackage(path);
    checkOriginals(*opened.archive, opened.content, service.limits(),
                   libraryImageCheck(optimizer()));
  }
}
BENCHMARK(BM_Verify_ours)
    ->Name("package_verify_40_works/ours")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Verify_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  package();
  for (auto _ : state) {
    settleDisk(state);
    exportPackage(kArtworks, scratch() + "/ours.quorvane");
  }
}
BENCHMARK(BM_Verify_anchor)
    ->Name("package_verify_40_works/anchor")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Import_ours(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string& path = package();
  for (auto _ : state) {
    settleDisk(state);
    importPackage(path, scratch() + "/imported");
  }
}
BENCHMARK(BM_Import_ours)
    ->Name("package_import_40_works/ours")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Import_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string command = "unzip -q -o '" + package() + "' -d '" + scratch() + "/unzipped'";
  for (auto _ : state) {
    settleDisk(state);
    if (!runCommand(command)) {
      state.SkipWithError("unzip is missing (Debian package unzip)");
      break;
    }
  }
}
BENCHMARK(BM_Import_anchor)
    ->Name("package_import_40_works/anchor")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

constexpr int kFinalized = 6;  // images per iteration of the finalisation figures

void BM_Finalize_ours(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string library = scratch() + "/finalized";
  const MergedPackage merged = importPackage(package(), library);
  FilesMediaStore media(library + "/media");
  const ImageOptimizer optimizer;
  const std::map<std::string, std::string> originals = media.originalsByArtwork();
  for (auto _ : state) {
    for (int i = 0; i < kFinalized; ++i) {
      const std::string& id = merged.snapshot.artworks.images[static_cast<std::size_t>(i)].id;
      finishImportedImage(media, optimizer, id, originals.at(id));
    }
  }
  state.SetItemsProcessed(state.iterations() * kFinalized);
}
BENCHMARK(BM_Finalize_ours)
    ->Name("package_finalize_6_images/ours")
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// One vipsthumbnail process for the same originals, at the web size and
// quality (2000 px, Q 82, metadata stripped).
void BM_Finalize_anchor(benchmark::State& state) {
  if (!ready(state)) return;
  package();
  const std::string out = scratch() + "/thumbnails";
  fs::create_directories(out);
  std::string command = "vipsthumbnail";
  for (int i = 0; i < kFinalized; ++i) {
    command += " '" + scratch() + "/tree/media/original/ART-" + std::to_string(i) + ".jpg'";
  }
  command += " --size 2000 -o '" + out + "/%s.jpg[Q=82,strip]'";
  for (auto _ : state) {
    if (!runCommand(command)) {
      state.SkipWithError("vipsthumbnail is missing (Debian package libvips-tools)");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kFinalized);
}
BENCHMARK(BM_Finalize_anchor)
    ->Name("package_finalize_6_images/anchor")
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// A package of `count` works sharing one small original (a 120 × 90 JPEG),
// made once per count.
std::string smallWorksPackage(int count) {
  const std::string folder = scratch() + "/small";
  const std::string path = folder + "/works-" + std::to_string(count) + ".quorvane";
  if (fs::exists(path)) return path;
  fs::create_directories(folder);
  const std::string original = folder + "/small.jpg";
  if (!fs::exists(original)) {
    runCommand("vips black '" + folder + "/black.v' 120 90 --bands 3 && vips linear '" + folder +
               "/black.v' '" + original + "[Q=85]' 1 128");
  }
  PackageExport input;
  input.project.id = "SMALL";
  input.project.projectName = std::to_string(count) + " small works";
  for (int i = 0; i < count; ++i) {
    Artwork artwork;
    artwork.id = "W-" + std::to_string(i);
    artwork.title = "Study " + std::to_string(i + 1);
    input.snapshot.artworks.images.push_back(artwork);
    input.originals.emplace(artwork.id, PackageOriginal{original, fs::file_size(original)});
  }
  const QuorvaneTransferService service;
  service.exportPackage(input, path, dateFromSeconds(1'790'000'000), true);
  return path;
}

// The program beside this one's build: build/release/src/quorvane.
std::string quorvaneProgram() {
  return (fs::path(selfPath()).parent_path().parent_path() / "src" / "quorvane").string();
}

// `quorvane package import --open` of `count` small works into a library of
// its own, with every image finished; the time per work.
void importAndFinish(benchmark::State& state, int count) {
  if (!fs::exists(quorvaneProgram())) return state.SkipWithError("quorvane is not built");
  const std::string path = smallWorksPackage(count);
  const std::string home = scratch() + "/home-" + std::to_string(count);
  for (auto _ : state) {
    fs::remove_all(home);
    fs::create_directories(home);
    const std::string command = "XDG_DATA_HOME='" + home + "/data' XDG_CONFIG_HOME='" + home +
                                "/config' '" + quorvaneProgram() + "' package import '" + path +
                                "' --open > /dev/null 2>&1";
    const auto start = std::chrono::steady_clock::now();
    if (!runCommand(command)) return state.SkipWithError("the import failed");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count() / count);
  }
}

void BM_ImportAndFinish250(benchmark::State& state) { importAndFinish(state, 250); }
BENCHMARK(BM_ImportAndFinish250)
    ->Name("package_import_and_finish_per_work/anchor")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
void BM_ImportAndFinish1000(benchmark::State& state) { importAndFinish(state, 1000); }
BENCHMARK(BM_ImportAndFinish1000)
    ->Name("package_import_and_finish_per_work/1000_works")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
void BM_ImportAndFinish4000(benchmark::State& state) { importAndFinish(state, 4000); }
BENCHMARK(BM_ImportAndFinish4000)
    ->Name("package_import_and_finish_per_work/4000_works")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

// Peak resident memory of an export or an import in a process of its own.
void measurePeak(benchmark::State& state, const char* what, int count) {
  if (!ready(state)) return;
  package();
  const std::string command = selfPath() + " --measure-package-peak " + what + " " +
                              std::to_string(count) + " '" + scratch() + "'";
  bench::reportChildPeak(state, command, 100);
}

void BM_ExportPeak10(benchmark::State& state) { measurePeak(state, "export", 10); }
BENCHMARK(BM_ExportPeak10)->Name("package_export_peak_memory/10_works")->Iterations(1);
void BM_ExportPeak40(benchmark::State& state) { measurePeak(state, "export", 40); }
BENCHMARK(BM_ExportPeak40)->Name("package_export_peak_memory/40_works")->Iterations(1);
void BM_ImportPeak10(benchmark::State& state) { measurePeak(state, "import", 10); }
BENCHMARK(BM_ImportPeak10)->Name("package_import_peak_memory/10_works")->Iterations(1);
void BM_ImportPeak40(benchmark::State& state) { measurePeak(state, "import", 40); }
BENCHMARK(BM_ImportPeak40)->Name("package_import_peak_memory/40_works")->Iterations(1);

}  // namespace

// The child's side: export a package of `count` works into `folder`, or
// import one of `count` works made there beforehand (outside the
// measurement: a child process of its own), then print the peak resident
// size in kilobytes.
int measurePackagePeak(const char* what, int count, const char* folder) {
  if (benchWorks().size() < static_cast<std::size_t>(count)) return 1;
  const std::string base = folder;
  const std::string path = base + "/peak-" + std::to_string(count) + ".quorvane";
  if (std::string(what) == "export") {
    exportPackage(count, path);
  } else {
    if (!fs::exists(path)) {
      const std::string made = selfPath() + " --measure-package-peak export " +
                               std::to_string(count) + " '" + base + "' > /dev/null";
      if (!runCommand(made)) return 1;
    }
    importPackage(path, base + "/peak-import");
  }
  return bench::printPeakKilobytes();
}

}  // namespace quorvane
