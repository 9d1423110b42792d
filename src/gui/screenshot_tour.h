// A picture of every screen of the window, for a designer's eye: Home,
// the works (with a work open in the inspector, and empty), the Vault,
// Settings and a toast, each in the light and the dark theme, in English
// and in French. It works on the library the window has open, and changes
// it (a demo library in a temporary home is what it is for).
#pragma once

#include <QString>

namespace quorvane::gui {

class MainWindow;

// Writes the PNGs into `folder`; the number written.
int takeScreenshots(MainWindow& window, const QString& folder);

}  // namespace quorvane::gui
