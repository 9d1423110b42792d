#include "platform/system_conditions.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

namespace quorvane {
namespace {

namespace fs = std::filesystem;

// The first line of a small sysfs file, if it can be read.
std::optional<std::string> firstLine(const fs::path& path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) return std::nullopt;
  return line;
}

std::optional<long long> number(const fs::path& path) {
  const std::optional<std::string> line = firstLine(path);
  if (!line) return std::nullopt;
  try {
    std::size_t used = 0;
    const long long value = std::stoll(*line, &used);
    return used > 0 ? std::optional<long long>(value) : std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

ThermalState stateForTrip(std::string_view type) {
  if (type == "critical") return ThermalState::critical;
  if (type == "hot") return ThermalState::serious;
  if (type == "passive") return ThermalState::fair;
  return ThermalState::nominal;  // "active": a fan turning on is normal
}

ThermalState zoneState(const fs::path& zone) {
  const std::optional<long long> temperature = number(zone / "temp");
  if (!temperature) return ThermalState::nominal;
  ThermalState state = ThermalState::nominal;
  // Trip points are numbered from 0; a zone has a handful at most.
  for (int trip = 0; trip < 64; ++trip) {
    const std::string prefix = "trip_point_" + std::to_string(trip);
    const std::optional<std::string> type = firstLine(zone / (prefix + "_type"));
    if (!type) break;
    const std::optional<long long> limit = number(zone / (prefix + "_temp"));
    if (!limit || *limit <= 0 || *temperature < *limit) continue;
    state = std::max(state, stateForTrip(*type));
  }
  return state;
}

}  // namespace

std::string_view thermalStateName(ThermalState state) {
  switch (state) {
    case ThermalState::nominal:
      return "nominal";
    case ThermalState::fair:
      return "fair";
    case ThermalState::serious:
      return "serious";
    case ThermalState::critical:
      return "critical";
  }
  return "nominal";
}

ThermalState readThermalState(const std::string& root) {
  std::error_code error;
  fs::directory_iterator zones(root, error);
  if (error) return ThermalState::nominal;
  ThermalState hottest = ThermalState::nominal;
  for (const fs::directory_entry& entry : zones) {
    if (entry.path().filename().string().rfind("thermal_zone", 0) != 0) continue;
    hottest = std::max(hottest, zoneState(entry.path()));
  }
  return hottest;
}

bool readLowPowerMode(const std::string& path) {
  return firstLine(path) == std::optional<std::string>("low-power");
}

}  // namespace quorvane
