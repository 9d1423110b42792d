// The project's texts — biography, artist statement, project statement —
// each a title and a text, edited through the store (the save pipeline
// debounces the writes), with its word and character counts, and the same
// text of another project to take instead.
#pragma once

#include <QWidget>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QButtonGroup;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace quorvane::gui {

class SharingBar;

class TextsPage final : public QWidget {
  Q_OBJECT

 public:
  explicit TextsPage(AppStore& store, QWidget* parent = nullptr);

  // Which text is edited: bio, statement or projectStatement.
  void showSection(SaveSection section);
  SaveSection section() const { return section_; }
  void retranslate();

  QLineEdit* titleField() const { return title_; }
  QPlainTextEdit* textField() const { return text_; }
  QLabel* countsLabel() const { return counts_; }
  QLabel* roomLabel() const { return room_; }
  SharingBar* sharingBar() const { return sharing_; }
  // The other projects' texts of this kind, as the reuse menu lists them.
  void reuseText(const std::string& assetId);

 private:
  void storeChanged(const StoreChanges& changes);
  void fill();
  void edited();
  void updateCounts();
  void showReuseMenu();

  AppStore& store_;
  SaveSection section_ = SaveSection::bio;
  bool filling_ = false;
  QLabel* heading_;
  QButtonGroup* choices_;
  QLabel* titleLabel_;
  QLineEdit* title_;
  QLabel* textLabel_;
  QPlainTextEdit* text_;
  QLabel* counts_;
  QLabel* room_;
  QPushButton* reuse_;
  SharingBar* sharing_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
