// Settings: the interface language (the window speaks it at once, no
// restart) and the appearance (system, light, dark).
#pragma once

#include <QWidget>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QComboBox;
class QLabel;

namespace quorvane::gui {

class SettingsPage final : public QWidget {
  Q_OBJECT

 public:
  explicit SettingsPage(AppStore& store, QWidget* parent = nullptr);
  QComboBox* languageBox() const { return language_; }
  QComboBox* themeBox() const { return theme_; }
  void retranslate();

 private:
  void fill();

  AppStore& store_;
  bool filling_ = false;
  QLabel* title_;
  QLabel* languageLabel_;
  QComboBox* language_;
  QLabel* themeLabel_;
  QComboBox* theme_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
