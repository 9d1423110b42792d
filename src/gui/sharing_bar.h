// Beside a text (or the CV) that other projects use too: which ones ("Used
// in 3 projects: Tides, Littoral, Spring fair"), since an edit here reaches
// them all, and the way to give this project a copy of its own first.
// Hidden for a text that is the project's own.
#pragma once

#include <QWidget>

#include "app/app_store.h"

class QLabel;
class QPushButton;

namespace quorvane::gui {

class SharingBar final : public QWidget {
  Q_OBJECT

 public:
  SharingBar(AppStore& store, TextAssetType type, QWidget* parent = nullptr);

  // Which text it speaks of (the texts page shows one at a time).
  void setType(TextAssetType type);
  // Shown, with the names, when the store says the text is shared.
  void refresh();

  QLabel* line() const { return line_; }
  QPushButton* copyButton() const { return copy_; }

 private:
  AppStore& store_;
  TextAssetType type_;
  QLabel* line_;
  QPushButton* copy_;
};

}  // namespace quorvane::gui
