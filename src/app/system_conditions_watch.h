// Keeps the store told of the machine's heat and power mode while the
// window is open. Linux sends no notice when a laptop heats up or enters
// its low-power profile, so the watch looks: once at start, then every
// `interval` on the main executor, and tells the store only of a change
// (each change re-judges whether imported images are finished now or wait).
#pragma once

#include <functional>
#include <optional>

#include "platform/executor.h"
#include "platform/system_conditions.h"

namespace quorvane {

class AppStore;

// How the machine's state is read: from the kernel, or by a test.
struct SystemConditionReaders {
  std::function<ThermalState()> thermal = [] { return readThermalState(); };
  std::function<bool()> lowPower = [] { return readLowPowerMode(); };
};

class SystemConditionsWatch {
 public:
  using Readers = SystemConditionReaders;
  static constexpr Milliseconds kDefaultInterval{30'000};

  // Looks at once. `store` and `main` outlive the watch.
  SystemConditionsWatch(AppStore& store, Executor& main, Readers readers = {},
                        Milliseconds interval = kDefaultInterval);
  // Calls off the next look.
  ~SystemConditionsWatch();
  SystemConditionsWatch(const SystemConditionsWatch&) = delete;
  SystemConditionsWatch& operator=(const SystemConditionsWatch&) = delete;

 private:
  void look();

  AppStore& store_;
  Executor& main_;
  Readers readers_;
  Milliseconds interval_;
  std::optional<ThermalState> thermal_;
  std::optional<bool> lowPower_;
  WorkItem next_;
};

}  // namespace quorvane
