// What every screen of the window works with: the store (the state and its
// commands), the preferences (for what only the window remembers: its size,
// its splitters) and the clock.
#pragma once

#include "app/app_store.h"
#include "platform/clock.h"
#include "platform/preferences.h"

namespace quorvane::gui {

struct DesktopContext {
  AppStore& store;
  Preferences& preferences;
  const Clock& clock;
};

}  // namespace quorvane::gui
