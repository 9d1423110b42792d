// What the machine says about its own state, for work that should wait
// while the machine is hot. Linux has no single "thermal state": the kernel
// offers thermal zones (/sys/class/thermal/thermal_zone*/temp) with trip
// points, and platform profiles ("low-power") on some laptops. We read those
// and map them onto four states; where there is nothing to read (a virtual
// machine, a desktop without sensors exposed), the state is nominal and
// low-power mode off: the work is never held back for want of a sensor.
#pragma once

#include <string>
#include <string_view>

namespace quorvane {

// In order of heat; serious and above hold back background work.
enum class ThermalState { nominal = 0, fair = 1, serious = 2, critical = 3 };

std::string_view thermalStateName(ThermalState state);

// The hottest zone under `root`, judged against its own trip points: at or
// above a "critical" trip is critical, at or above "hot" is serious, at or
// above "passive" is fair. A zone without readable trip points counts as
// nominal; so does a root that is missing or unreadable.
ThermalState readThermalState(const std::string& root = "/sys/class/thermal");

// True when the platform profile at `path` is "low-power".
bool readLowPowerMode(const std::string& path = "/sys/firmware/acpi/platform_profile");

}  // namespace quorvane
