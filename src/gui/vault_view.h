// The Vault: the library's artworks that the open project does not show,
// as a grid. Add the selected ones to the project with a button, or drag
// them onto the works board.
#pragma once

#include <QAbstractListModel>
#include <QWidget>
#include <vector>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QLabel;
class QPushButton;

namespace quorvane::gui {

class BoardGrid;
class BoardPictures;

class VaultModel final : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role { ArtworkIdRole = Qt::UserRole + 1, CaptionRole };
  explicit VaultModel(AppStore& store, QObject* parent = nullptr);

  // Reads the Vault again (in the background, after the pending saves).
  void refresh();
  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }
  const std::vector<ReusableArtworkAsset>& items() const { return items_; }

 signals:
  void refreshed();

 private:
  AppStore& store_;
  std::vector<ReusableArtworkAsset> items_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

class VaultView final : public QWidget {
  Q_OBJECT

 public:
  explicit VaultView(AppStore& store, QWidget* parent = nullptr);
  VaultModel& model() { return *model_; }
  BoardGrid& grid() { return *grid_; }
  // "Add to “Tides”": adds the selected works to the open project.
  QPushButton* addButton() const { return add_; }
  void addSelected();
  void retranslate();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void updateButtons();

  AppStore& store_;
  VaultModel* model_;
  BoardPictures* pictures_;
  BoardGrid* grid_;
  QLabel* title_;
  QLabel* subtitle_;
  QPushButton* add_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
