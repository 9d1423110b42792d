// Runs every benchmark, then prints each figure of ours beside its anchor —
// a baseline doing the least work any implementation must do, measured in
// the same run on the same input — and the ratio of the two. Benchmarks pair
// up by name: "X/ours" and "X/anchor".
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

class PairingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      nanoseconds_[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
  }

  void PrintRatios() const {
    std::printf("\n%-28s %14s %14s %8s\n", "figure", "ours (ns)", "anchor (ns)", "ratio");
    for (const auto& [name, ours] : nanoseconds_) {
      const auto slash = name.rfind("/ours");
      if (slash == std::string::npos) continue;
      const std::string figure = name.substr(0, slash);
      const auto anchor = nanoseconds_.find(figure + "/anchor");
      if (anchor == nanoseconds_.end()) continue;
      std::printf("%-28s %14.1f %14.1f %8.2f\n", figure.c_str(), ours, anchor->second,
                  ours / anchor->second);
    }
  }

 private:
  std::map<std::string, double> nanoseconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  PairingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
