// The machine's heat read from a thermal tree laid out as the kernel lays
// out /sys/class/thermal, and the rule that holds finalisation back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/finalization_pause.h"
#include "platform/system_conditions.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

class ThermalTree {
 public:
  // A zone at `milliCelsius` with trip points of (type, milli-degrees).
  void zone(int number, const std::string& milliCelsius,
            const std::vector<std::pair<std::string, int>>& trips) {
    const fs::path zone = dir_.path() / ("thermal_zone" + std::to_string(number));
    fs::create_directories(zone);
    std::ofstream(zone / "temp") << milliCelsius << '\n';
    for (std::size_t i = 0; i < trips.size(); ++i) {
      const std::string prefix = "trip_point_" + std::to_string(i);
      std::ofstream(zone / (prefix + "_type")) << trips[i].first << '\n';
      std::ofstream(zone / (prefix + "_temp")) << trips[i].second << '\n';
    }
  }
  std::string root() const { return dir_.path().string(); }
  std::string file(const std::string& name) const { return dir_.file(name); }

 private:
  testing::TempDir dir_;
};

const std::vector<std::pair<std::string, int>> kLaptopTrips = {
    {"active", 50000}, {"passive", 80000}, {"hot", 95000}, {"critical", 105000}};

TEST(ThermalStateTest, EachZoneIsJudgedByItsOwnTripPointsAndTheHottestCounts) {
  ThermalTree tree;
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::nominal) << "no zones at all";
  EXPECT_EQ(readThermalState(tree.file("missing")), ThermalState::nominal);

  tree.zone(0, "60000", kLaptopTrips);  // the fan is on: still nominal
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::nominal);
  tree.zone(0, "80000", kLaptopTrips);  // exactly at the passive trip
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::fair);
  tree.zone(1, "96000", kLaptopTrips);
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::serious) << "the hotter zone";
  tree.zone(2, "105000", kLaptopTrips);
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::critical);
}

TEST(ThermalStateTest, WhatCannotBeReadCountsAsNominal) {
  ThermalTree tree;
  tree.zone(0, "garbage", kLaptopTrips);
  tree.zone(1, "120000", {});                 // a sensor without trips
  tree.zone(2, "120000", {{"critical", 0}});  // a trip the firmware left unset
  tree.zone(3, "", kLaptopTrips);
  fs::create_directories(fs::path(tree.root()) / "cooling_device0");
  EXPECT_EQ(readThermalState(tree.root()), ThermalState::nominal);
}

TEST(FinalizationPauseTest, AwayComesFirstThenHeatAndLowPowerNeverPauses) {
  FinalizationConditions conditions;
  EXPECT_FALSE(finalizationPauseReason(conditions));
  conditions.lowPower = true;
  conditions.thermal = ThermalState::fair;
  EXPECT_FALSE(finalizationPauseReason(conditions));
  conditions.thermal = ThermalState::serious;
  EXPECT_EQ(finalizationPauseReason(conditions), "works.finalization_paused_thermal");
  conditions.appActive = false;
  EXPECT_EQ(finalizationPauseReason(conditions), "works.finalization_paused_inactive");
  conditions.override = true;
  EXPECT_FALSE(finalizationPauseReason(conditions)) << "the user is waiting";
}

}  // namespace
}  // namespace quorvane
