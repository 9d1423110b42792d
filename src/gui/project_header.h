// Above the board: the open project's name and its settings (kind, title,
// year, document language, currency, unit, orientation, artwork pages),
// each changed through the store as it is edited, and the save indicator.
#pragma once

#include <QWidget>

#include "gui/desktop_context.h"
#include "gui/store_subscription.h"
#include "gui/words.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QToolButton;

namespace quorvane::gui {

// The save indicator's words: "Saving…" while a write waits or runs, else
// "Saved" once something was written, else nothing.
QString saveIndicatorText(const Words& words, const AppState& state);

class ProjectHeader final : public QWidget {
  Q_OBJECT

 public:
  explicit ProjectHeader(DesktopContext context, QWidget* parent = nullptr);
  void retranslate();
  // Ctrl+S was pressed: the indicator says "Saved" (or "Saving…" until it is).
  void confirmSaved();

  QLineEdit* nameField() const { return name_; }
  QLineEdit* titleField() const { return title_; }
  QLineEdit* currencyField() const { return currency_; }
  QComboBox* kindBox() const { return kind_; }
  QLabel* saveIndicator() const { return saving_; }

 signals:
  void projectMenuRequested(const QPoint& globalPosition);

 private:
  void fill();
  void updateSaving();
  void kindChosen();
  void send(const ProjectChanges& changes);

  DesktopContext context_;
  bool filling_ = false;
  bool confirmed_ = false;  // Ctrl+S asked for a word even with nothing new
  QLineEdit* name_;
  QToolButton* menu_;
  QLabel* saving_;
  QComboBox* kind_;
  QLineEdit* title_;
  QLineEdit* year_;
  QComboBox* language_;
  QLineEdit* currency_;
  QComboBox* unit_;
  QComboBox* orientation_;
  QComboBox* layout_;
  std::vector<QLabel*> labels_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
