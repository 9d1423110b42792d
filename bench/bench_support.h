// What the benchmarks share: where they keep their files, running a tool,
// and measuring a peak of memory in a process of its own (this program run
// again with a --measure-… argument, see bench_main.cc).
#pragma once

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace quorvane::bench {

// This program's own path, to run it again as a child.
inline std::string selfPath() {
  std::array<char, 4096> self{};
  const ssize_t length = ::readlink("/proc/self/exe", self.data(), self.size() - 1);
  return length > 0 ? std::string(self.data(), static_cast<std::size_t>(length)) : std::string();
}

// A folder of the benchmark's own under $TMPDIR (else /tmp).
inline std::string scratchFolder(const std::string& name) {
  const char* base = std::getenv("TMPDIR");
  return std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + name;
}

inline bool runCommand(const std::string& command) { return std::system(command.c_str()) == 0; }

// Runs `command` — a child that prints one number — and returns it, or -1
// when the child could not be run or printed none. `readAt`, when given, is
// the moment the number arrived, before the child's own ending.
inline double childNumber(const std::string& command,
                          std::chrono::steady_clock::time_point* readAt = nullptr) {
  FILE* child = ::popen(command.c_str(), "r");
  if (child == nullptr) return -1;
  double number = -1;
  if (std::fscanf(child, "%lf", &number) != 1) number = -1;
  if (readAt != nullptr) *readAt = std::chrono::steady_clock::now();
  ::pclose(child);
  return number;
}

// Runs `command` — a child that prints its peak resident size in kilobytes
// — and reports it as "peak_MB" beside "target_peak_MB".
inline void reportChildPeak(benchmark::State& state, const std::string& command,
                            double targetMegabytes) {
  double peak = -1;
  for (auto _ : state) peak = childNumber(command) / 1024.0;
  if (peak < 0) state.SkipWithError("the measuring process failed");
  state.counters["peak_MB"] = peak;
  state.counters["target_peak_MB"] = targetMegabytes;
}

// Takes each iteration's time from `once` — a child's milliseconds, negative
// when it failed — and shows `targetMs`, when above 0, beside the figure.
inline void timeChildRuns(benchmark::State& state, const std::function<double()>& once,
                          double targetMs) {
  for (auto _ : state) {
    const double milliseconds = once();
    if (milliseconds < 0) return state.SkipWithError("the measuring process failed");
    state.SetIterationTime(milliseconds / 1000.0);
  }
  if (targetMs > 0) state.counters["target_ms"] = targetMs;
}

// The child's side: its peak resident size so far, in kilobytes, on
// standard output.
inline int printPeakKilobytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("%ld\n", usage.ru_maxrss);
  return 0;
}

}  // namespace quorvane::bench
