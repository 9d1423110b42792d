// Runs every benchmark, then prints each figure of ours beside its anchor —
// a baseline doing the least work any implementation must do, measured in
// the same run on the same input — and the ratio of the two. Benchmarks pair
// up by name: "X/ours" (and any other "X/<variant>") with "X/anchor". Times
// are wall-clock: several figures wait on the disk. A benchmark that sets the
// counter "target_ms" (or "peak_MB" and "target_peak_MB") also gets a line
// saying whether it met that target.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace quorvane {
int measureDerivePeak(const char* path);
int measureExportPeak(const char* quality, int count, const char* output);
int measurePackagePeak(const char* what, int count, const char* folder);
int measureThumbnailsPeak();
int measureWindow(int argc, char** argv, const std::string& mode);   // window_bench.cc
int measurePreview(int argc, char** argv, const std::string& mode);  // preview_bench.cc
}  // namespace quorvane

namespace {

class PairingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const double nanoseconds = toNanoseconds(run.GetAdjustedRealTime(), run.time_unit);
      // The name as registered, without "/real_time" or "/iterations:N".
      const std::string& name = run.run_name.function_name;
      nanoseconds_[name] = nanoseconds;
      if (const auto target = run.counters.find("target_ms"); target != run.counters.end()) {
        targets_[name] = {nanoseconds / 1e6, target->second.value, "ms"};
      }
      const auto peak = run.counters.find("peak_MB");
      const auto peakTarget = run.counters.find("target_peak_MB");
      if (peak != run.counters.end() && peakTarget != run.counters.end()) {
        targets_[name] = {peak->second.value, peakTarget->second.value, "MB"};
      }
    }
  }

  void PrintRatios() const {
    std::printf("\n%-52s %14s %14s %8s\n", "figure", "ours (ns)", "anchor (ns)", "ratio");
    for (const auto& [name, ours] : nanoseconds_) {
      const auto slash = name.rfind('/');
      if (slash == std::string::npos || name.substr(slash) == "/anchor") continue;
      const auto anchor = nanoseconds_.find(name.substr(0, slash) + "/anchor");
      if (anchor == nanoseconds_.end()) continue;
      std::printf("%-52s %14.1f %14.1f %8.2f\n", name.c_str(), ours, anchor->second,
                  ours / anchor->second);
    }
    if (targets_.empty()) return;
    std::printf("\n%-52s %14s %14s\n", "target", "ours", "target");
    for (const auto& [name, target] : targets_) {
      std::printf("%-52s %11.2f %s %11.2f %s  %s\n", name.c_str(), target.ours, target.unit,
                  target.limit, target.unit, target.ours <= target.limit ? "met" : "MISSED");
    }
  }

 private:
  static double toNanoseconds(double time, benchmark::TimeUnit unit) {
    switch (unit) {
      case benchmark::kSecond:
        return time * 1e9;
      case benchmark::kMillisecond:
        return time * 1e6;
      case benchmark::kMicrosecond:
        return time * 1e3;
      default:
        return time;
    }
  }

  std::map<std::string, double> nanoseconds_;
  struct Target {
    double ours;
    double limit;
    const char* unit;
  };
  std::map<std::string, Target> targets_;
};

}  // namespace

int main(int argc, char** argv) {
  // The image benchmark runs this program again to measure one derivation's
  // peak memory in a process of its own.
  if (argc == 3 && std::string(argv[1]) == "--measure-derive-peak") {
    return quorvane::measureDerivePeak(argv[2]);
  }
  // The export benchmark does the same for a whole export.
  if (argc == 5 && std::string(argv[1]) == "--measure-export-peak") {
    return quorvane::measureExportPeak(argv[2], std::atoi(argv[3]), argv[4]);
  }
  // And the package benchmark for an export or an import.
  if (argc == 5 && std::string(argv[1]) == "--measure-package-peak") {
    return quorvane::measurePackagePeak(argv[2], std::atoi(argv[3]), argv[4]);
  }
  if (argc == 2 && std::string(argv[1]) == "--measure-thumbnails-peak") {
    return quorvane::measureThumbnailsPeak();
  }
#ifdef QUORVANE_BENCH_WINDOW
  // The window benchmark: one start (or one scroll) in a fresh process.
  if (argc == 3 && std::string(argv[1]) == "--measure-window") {
    int qtArgc = 1;
    return quorvane::measureWindow(qtArgc, argv, argv[2]);
  }
  // The preview benchmark: one option change in a fresh process.
  if (argc == 3 && std::string(argv[1]) == "--measure-preview") {
    int qtArgc = 1;
    return quorvane::measurePreview(qtArgc, argv, argv[2]);
  }
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  PairingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
