#include "app/system_conditions_watch.h"

#include "app/app_store.h"

namespace quorvane {

SystemConditionsWatch::SystemConditionsWatch(AppStore& store, Executor& main, Readers readers,
                                             Milliseconds interval)
    : store_(store), main_(main), readers_(std::move(readers)), interval_(interval) {
  look();
}

SystemConditionsWatch::~SystemConditionsWatch() { next_.cancel(); }

void SystemConditionsWatch::look() {
  const ThermalState thermal = readers_.thermal();
  if (thermal != thermal_) {
    thermal_ = thermal;
    store_.thermalStateChanged(thermal);
  }
  const bool lowPower = readers_.lowPower();
  if (lowPower != lowPower_) {
    lowPower_ = lowPower;
    store_.lowPowerModeChanged(lowPower);
  }
  next_ = main_.postAfter(interval_, [this] { look(); });
}

}  // namespace quorvane
