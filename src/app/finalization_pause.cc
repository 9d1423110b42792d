#include "app/finalization_pause.h"

namespace quorvane {
namespace {

std::string word(bool value) { return value ? "true" : "false"; }

}  // namespace

std::optional<std::string> finalizationPauseReason(const FinalizationConditions& conditions) {
  if (conditions.override) return std::nullopt;
  if (!conditions.appActive) return std::string("works.finalization_paused_inactive");
  if (conditions.thermal >= ThermalState::serious) {
    return std::string("works.finalization_paused_thermal");
  }
  return std::nullopt;
}

std::string finalizationRunStateLine(std::size_t pending,
                                     const FinalizationConditions& conditions) {
  return "finalization run_state pending=" + std::to_string(pending) +
         " lowPower=" + word(conditions.lowPower) +
         " thermal=" + std::string(thermalStateName(conditions.thermal)) +
         " appActive=" + word(conditions.appActive) + " override=" + word(conditions.override) +
         " pauseReason=" + finalizationPauseReason(conditions).value_or("-");
}

}  // namespace quorvane
