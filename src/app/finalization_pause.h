// When the images of an imported package wait: making derivatives is heavy
// work the user did not ask for just now, so it stops while the application
// is in the background or the machine is hot, and goes on by itself when
// that passes. Low-power mode is noted in the diagnostics but does not stop
// it (the images are needed, and a laptop on battery is normal).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/system_conditions.h"

namespace quorvane {

struct FinalizationConditions {
  bool appActive = true;
  ThermalState thermal = ThermalState::nominal;
  bool lowPower = false;
  // The user is waiting for the images (the command line finishes them
  // before it returns): nothing holds them back.
  bool override = false;

  bool operator==(const FinalizationConditions&) const = default;
};

// The localisation key of why finalisation waits, or nothing when it runs.
std::optional<std::string> finalizationPauseReason(const FinalizationConditions& conditions);

// "finalization run_state pending=3 lowPower=false thermal=nominal
// appActive=true override=false pauseReason=-"
std::string finalizationRunStateLine(std::size_t pending, const FinalizationConditions& conditions);

}  // namespace quorvane
