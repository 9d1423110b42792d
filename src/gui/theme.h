// The window's two appearances: a light and a dark palette with one accent,
// and the style sheet that gives the screens their spacing and type.
// "System" follows the desktop's palette as the window opens.
#pragma once

#include <QPalette>
#include <QString>

#include "app/app_store.h"

class QApplication;

namespace quorvane::gui {

// Whether `mode` shows dark, on a desktop whose own palette is `system`.
bool isDark(ThemeMode mode, const QPalette& system);
QPalette themePalette(bool dark);
QString themeStyleSheet(bool dark);
// Puts the theme on the whole application.
void applyTheme(QApplication& application, ThemeMode mode, const QPalette& system);

}  // namespace quorvane::gui
