// Settings: the interface language (the window speaks it at once, no
// restart) and the appearance; the defaults an export starts from; the
// backup reminders; the printed labels; and deleting all data, asked first.
#pragma once

#include <QWidget>
#include <functional>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

namespace quorvane::gui {

class SettingsPage final : public QWidget {
  Q_OBJECT

 public:
  explicit SettingsPage(AppStore& store, QWidget* parent = nullptr);

  QComboBox* languageBox() const { return language_; }
  QComboBox* themeBox() const { return theme_; }
  QComboBox* exportLanguageBox() const { return exportLanguage_; }
  QComboBox* paperBox() const { return paper_; }
  QCheckBox* contentsSwitch() const { return contents_; }
  QCheckBox* coverImageSwitch() const { return cover_; }
  QCheckBox* remindersSwitch() const { return reminders_; }
  QComboBox* frequencyBox() const { return frequency_; }
  QCheckBox* largeEditsSwitch() const { return largeEdits_; }
  // Asks for the deletion of everything (the window's own dialog).
  void deleteAllData();
  void retranslate();

 signals:
  void labelsRequested();
  void deleteAllRequested();

 private:
  void fill();
  void exportDefaultsEdited();

  AppStore& store_;
  bool filling_ = false;
  QLabel* title_;
  QLabel* generalHeading_;
  QLabel* languageLabel_;
  QComboBox* language_;
  QLabel* themeLabel_;
  QComboBox* theme_;
  QLabel* exportHeading_;
  QLabel* exportLanguageLabel_;
  QComboBox* exportLanguage_;
  QLabel* paperLabel_;
  QComboBox* paper_;
  QCheckBox* contents_;
  QCheckBox* cover_;
  QPushButton* labels_;
  QLabel* backupHeading_;
  QCheckBox* reminders_;
  QLabel* frequencyLabel_;
  QComboBox* frequency_;
  QCheckBox* largeEdits_;
  QLabel* dataHeading_;
  QLabel* dataHelp_;
  QPushButton* delete_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
