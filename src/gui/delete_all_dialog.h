// The deletion of everything, asked as its own dialog: what goes (the
// projects, the artworks with their images, the texts and CVs), what stays
// (settings, printed labels), a way to back everything up first, and the
// button that deletes, enabled only once the confirmation word (in the
// interface language) is typed. Cancel is the default and Escape's answer.
#pragma once

#include <QDialog>

#include "app/app_store.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace quorvane::gui {

class DeleteAllDialog final : public QDialog {
  Q_OBJECT

 public:
  explicit DeleteAllDialog(AppStore& store, QWidget* parent = nullptr);

  QLineEdit* confirmationField() const { return word_; }
  QPushButton* deleteButton() const { return delete_; }
  QPushButton* backUpFirstButton() const { return backUpFirst_; }
  QPushButton* cancelButton() const { return cancel_; }

 signals:
  void backUpFirstRequested();
  void deleted();

 private:
  void deleteEverything();

  AppStore& store_;
  QLabel* text_;
  QLabel* prompt_;
  QLineEdit* word_;
  QPushButton* backUpFirst_;
  QPushButton* cancel_;
  QPushButton* delete_;
};

}  // namespace quorvane::gui
