// Qt's own words — a file dialog's "File name", a message box's "Cancel" —
// in the interface language, from the translations Qt ships; English where
// none is installed.
#pragma once

#include <string>

namespace quorvane::gui {

// Speaks `language` ("fr", "de", …) from now on, in place of the last one.
void speakQtIn(const std::string& language);

}  // namespace quorvane::gui
