// The artist's details: every field of the record, and which name the
// documents print — with the printed name shown as it will appear, so the
// choice is made seeing its effect.
#pragma once

#include <QWidget>
#include <map>
#include <string>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace quorvane::gui {

class DetailsPage final : public QWidget {
  Q_OBJECT

 public:
  explicit DetailsPage(AppStore& store, QWidget* parent = nullptr);

  void retranslate();
  // The one-line field of `id` (a details field id), or nothing.
  QLineEdit* field(std::string_view id) const;
  QComboBox* nameDisplayChooser() const { return nameDisplay_; }
  QLabel* printedNameLabel() const { return printedName_; }
  // Shown once an edit leaves behind the other projects that had the same
  // details, with the button that gives them the edit too.
  QWidget* leftBehindBar() const { return leftBehind_; }
  QPushButton* applyToOthersButton() const { return applyToOthers_; }

 private:
  void storeChanged(const StoreChanges& changes);
  void fill();
  void edited();
  void showLeftBehind();

  AppStore& store_;
  bool filling_ = false;
  QLabel* heading_;
  QLabel* printedName_;
  QComboBox* nameDisplay_;
  QWidget* leftBehind_;
  QLabel* leftBehindLine_;
  QPushButton* applyToOthers_;
  std::map<std::string, QLineEdit*, std::less<>> lines_;
  std::map<std::string, QPlainTextEdit*, std::less<>> blocks_;
  std::map<std::string, QLabel*, std::less<>> labels_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
