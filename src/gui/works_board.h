// The works board: the open project's artworks as a grid of their pages,
// in project order. Drag to reorder (several at once), drop image files or
// artworks of the Vault onto it, add with a button, remove from the project
// (the artwork stays in the Vault), replace an image. Adding runs in the
// background with a progress bar and a cancel.
#pragma once

#include <QListView>
#include <QWidget>
#include <optional>
#include <string>
#include <vector>

#include "app/app_store.h"
#include "gui/question.h"
#include "gui/store_subscription.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QToolButton;

namespace quorvane::gui {

class BoardPictures;
class ImageIntakeController;
class WorksBoardModel;

// A grid of artwork cells: wraps, scrolls per pixel, drags by the model.
class BoardGrid final : public QListView {
  Q_OBJECT

 public:
  explicit BoardGrid(QWidget* parent = nullptr);
  // Ids of the selected artworks, in board order.
  std::vector<std::string> selectedIds(int idRole) const;
  // Whether the cell of the row is on screen now.
  bool isRowVisible(int row) const;
  // What an empty grid says, in its middle.
  void setEmptyText(const QString& title, const QString& text);
  // The row a drop at `point` (viewport coordinates) puts things before:
  // a cell's row in its left half, the next in its right half, the end
  // below the last cell.
  int dropRowAt(const QPoint& point) const;
  // Whether files or works from the Vault are being dragged over the board
  // now: it then shows, by its accent frame, that letting go adds them.
  bool isTakingDrop() const { return takingDrop_; }
  // How many cells a row of the grid holds now.
  int columnCount() const;

 signals:
  // Enter on the selection: its details are to be written.
  void editRequested();
  // Ctrl or Alt with an arrow: the selection moves by `offset` places.
  void moveRequested(int offset);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dragLeaveEvent(QDragLeaveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  // Widens the cells so that the columns fill the width, with no ragged
  // gap at the right.
  void fitColumns();
  void setTakingDrop(bool taking);
  QString emptyTitle_;
  QString emptyText_;
  bool takingDrop_ = false;
};

class WorksBoard final : public QWidget {
  Q_OBJECT

 public:
  WorksBoard(AppStore& store, QWidget* parent = nullptr);
  ~WorksBoard() override;

  WorksBoardModel& model() { return *model_; }
  BoardGrid& grid() { return *grid_; }
  ImageIntakeController& intake() { return *intake_; }
  BoardPictures& pictures() { return *pictures_; }
  // The selected artworks, in board order.
  std::vector<std::string> selectedIds() const;
  void select(const std::vector<std::string>& ids);
  // Selects the work and scrolls the board to it (a work that came back).
  void reveal(const std::string& id);

  void addImages();  // asks for files
  // Removes the selected works from the project once the user agrees;
  // they stay in the Vault.
  void removeSelected();
  void replaceSelectedImage();  // asks for one file
  // "Details": shows or folds the inspector beside the board (checked when
  // it is shown); the window acts on it.
  QToolButton* detailsButton() const { return detailsButton_; }
  // Moves the selected works by `offset` places in the project's order
  // (kept together, stopping at either end).
  void moveSelected(int offset);
  void retranslate();

  Ask ask;

 signals:
  // The artwork the inspector should show (nothing: none or several).
  void currentArtworkChanged(const std::optional<std::string>& artworkId);

 private:
  void selectionChanged();
  void updateCounts();

  AppStore& store_;
  ImageIntakeController* intake_;
  WorksBoardModel* model_;
  BoardPictures* pictures_;
  BoardGrid* grid_;
  QPushButton* addButton_;
  QToolButton* removeButton_;
  QToolButton* replaceButton_;
  QToolButton* detailsButton_;
  QLabel* countLabel_;
  QWidget* progressRow_;
  QLabel* progressLabel_;
  QProgressBar* progress_;
  QPushButton* cancelButton_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
