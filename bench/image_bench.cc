// Deriving the web rendition of camera-sized JPEGs. The time is set against
// `vipsthumbnail` doing the same work (fit 2000 px, JPEG quality 82, no
// metadata) in the same run; the in-process libvips pipeline of that tool
// is shown beside it. Peak memory is measured in a fresh process per image,
// the source bytes included: it must stay far below the size of the decoded
// image (72 MB at 6000 × 4000, 288 MB at 12000 × 8000).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vips/vips.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "images/image_optimizer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

// A photograph-like JPEG: a gradient with fine noise, at quality 90.
Bytes cameraJpeg(int width, int height) {
  static const ImageOptimizer initialisesVips;
  VipsImage* noise = nullptr;
  VipsImage* xyz = nullptr;
  VipsImage* band = nullptr;
  VipsImage* sum = nullptr;
  VipsImage* rgb = nullptr;
  VipsImage* cast = nullptr;
  VipsImage* tagged = nullptr;
  vips_gaussnoise(&noise, width, height, "sigma", 12.0, "mean", 0.0, nullptr);
  vips_xyz(&xyz, width, height, nullptr);
  vips_extract_band(xyz, &band, 0, nullptr);
  VipsImage* gradient = nullptr;
  vips_linear1(band, &gradient, 200.0 / width, 20.0, nullptr);
  vips_add(gradient, noise, &sum, nullptr);
  std::array<VipsImage*, 3> bands{sum, sum, sum};
  vips_bandjoin(bands.data(), &rgb, 3, nullptr);
  vips_cast_uchar(rgb, &cast, nullptr);
  vips_copy(cast, &tagged, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
  void* buffer = nullptr;
  std::size_t length = 0;
  vips_jpegsave_buffer(tagged, &buffer, &length, "Q", 90, nullptr);
  Bytes bytes(static_cast<std::uint8_t*>(buffer), static_cast<std::uint8_t*>(buffer) + length);
  g_free(buffer);
  for (VipsImage* image : {noise, xyz, band, gradient, sum, rgb, cast, tagged}) {
    g_object_unref(image);
  }
  return bytes;
}

// Camera JPEGs written once per run into a temporary directory.
class CameraFiles {
 public:
  static CameraFiles& instance() {
    static CameraFiles files;
    return files;
  }
  ~CameraFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  const std::string& path(int width, int height) {
    const std::string name = std::to_string(width) + "x" + std::to_string(height) + ".jpg";
    auto [it, inserted] = paths_.try_emplace(name, directory_ + "/" + name);
    if (inserted) realFileSystem().writeFileAtomically(it->second, cameraJpeg(width, height));
    return it->second;
  }
  const std::string& directory() const { return directory_; }

 private:
  CameraFiles() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                          "/quorvane-image-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    directory_ = pattern;
  }
  std::string directory_;
  std::map<std::string, std::string> paths_;
};

void BM_DeriveWeb_ours(benchmark::State& state) {
  const Bytes source = realFileSystem().readFile(CameraFiles::instance().path(6000, 4000));
  const ImageOptimizer optimizer;
  for (auto _ : state) benchmark::DoNotOptimize(optimizer.derive(source, kWebPreset));
}
BENCHMARK(BM_DeriveWeb_ours)
    ->Name("derive_web_6000x4000/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The same work by the tool that ships with libvips, from file to file.
void BM_DeriveWeb_anchor(benchmark::State& state) {
  CameraFiles& files = CameraFiles::instance();
  const std::string command = "vipsthumbnail '" + files.path(6000, 4000) + "' --size 2000 -o '" +
                              files.directory() + "/thumbnail.jpg[Q=82,strip]'";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("vipsthumbnail is missing (Debian package libvips-tools)");
      break;
    }
  }
}
BENCHMARK(BM_DeriveWeb_anchor)
    ->Name("derive_web_6000x4000/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// What that tool runs, without its process: thumbnail and JPEG save.
void BM_DeriveWeb_pipeline(benchmark::State& state) {
  const Bytes source = realFileSystem().readFile(CameraFiles::instance().path(6000, 4000));
  for (auto _ : state) {
    VipsImage* thumbnail = nullptr;
    vips_thumbnail_buffer(const_cast<std::uint8_t*>(source.data()), source.size(), &thumbnail, 2000,
                          nullptr);
    void* buffer = nullptr;
    std::size_t length = 0;
    vips_jpegsave_buffer(thumbnail, &buffer, &length, "Q", 82, "strip", TRUE, nullptr);
    g_free(buffer);
    g_object_unref(thumbnail);
  }
}
BENCHMARK(BM_DeriveWeb_pipeline)
    ->Name("derive_web_6000x4000/libvips_pipeline_in_process")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Runs this program again to derive one image in a fresh process and reads
// back that process's peak resident memory.
double childPeakMegabytes(const std::string& path) {
  std::array<char, 4096> self{};
  const ssize_t length = ::readlink("/proc/self/exe", self.data(), self.size() - 1);
  if (length <= 0) return -1;
  const std::string command = std::string(self.data(), static_cast<std::size_t>(length)) +
                              " --measure-derive-peak '" + path + "'";
  FILE* child = ::popen(command.c_str(), "r");
  if (child == nullptr) return -1;
  double kilobytes = -1;
  if (std::fscanf(child, "%lf", &kilobytes) != 1) kilobytes = -1;
  ::pclose(child);
  return kilobytes / 1024.0;
}

void measurePeak(benchmark::State& state, int width, int height, double targetMegabytes) {
  const std::string& path = CameraFiles::instance().path(width, height);
  double peak = 0;
  for (auto _ : state) peak = childPeakMegabytes(path);
  if (peak < 0) state.SkipWithError("the measuring process failed");
  state.counters["peak_MB"] = peak;
  state.counters["source_MB"] = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
  state.counters["target_peak_MB"] = targetMegabytes;
}

void BM_PeakMemory_6000x4000(benchmark::State& state) { measurePeak(state, 6000, 4000, 100); }
BENCHMARK(BM_PeakMemory_6000x4000)
    ->Name("derive_web_peak_memory/6000x4000")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_PeakMemory_12000x8000(benchmark::State& state) { measurePeak(state, 12000, 8000, 150); }
BENCHMARK(BM_PeakMemory_12000x8000)
    ->Name("derive_web_peak_memory/12000x8000")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

// The child's side of the peak-memory measurement: derive, print the peak
// resident size in kilobytes.
int measureDerivePeak(const char* path) {
  const Bytes source = realFileSystem().readFile(path);
  const DerivedImageResult result = ImageOptimizer().derive(source, kWebPreset);
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("%ld\n", usage.ru_maxrss);
  return result.width > 0 ? 0 : 1;
}

}  // namespace quorvane
