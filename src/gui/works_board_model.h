// The open project's artworks as a list model, in project order. Rows are
// updated in place from the store's row changes, so a selection and the
// scroll position survive edits, additions and reordering. What is dropped
// on the board becomes the store's commands: the board's own artworks are
// reordered, artworks of the Vault added, image files taken in.
#pragma once

#include <QAbstractListModel>
#include <QMimeData>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "app/app_store.h"
#include "gui/store_subscription.h"

namespace quorvane::gui {

class ImageIntakeController;

// The MIME types of what is dragged between the board and the Vault.
inline constexpr const char* kBoardArtworksMime = "application/x-quorvane-board-artworks";
inline constexpr const char* kVaultArtworksMime = "application/x-quorvane-vault-artworks";

// `order` with `moving` (kept in their order in `order`) taken out and put
// back before the artwork that was at `row`, or at the end for a row past
// the last. Ids of `moving` not in `order` are ignored.
std::vector<std::string> orderAfterMove(const std::vector<std::string>& order,
                                        const std::vector<std::string>& moving, int row);

// The ids a drag carries (one per line), and the local files of a drop.
QByteArray encodeIds(const std::vector<std::string>& ids);
std::vector<std::string> decodeIds(const QByteArray& data);
std::vector<std::string> droppedFiles(const QMimeData& data);
// The backups among them (".quorvane" files): the window imports those.
std::vector<std::string> droppedPackages(const QMimeData& data);

class WorksBoardModel final : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role {
    ArtworkIdRole = Qt::UserRole + 1,
    CaptionRole,         // the line under the picture: year, medium
    PictureVersionRole,  // moves when a new page thumbnail is ready
  };

  WorksBoardModel(AppStore& store, ImageIntakeController& intake, QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override;
  Qt::DropActions supportedDropActions() const override;
  bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                       const QModelIndex& parent) const override;
  bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                    const QModelIndex& parent) override;

  const std::string& artworkId(int row) const { return rows_.at(static_cast<std::size_t>(row)); }
  // The row of an artwork, or -1.
  int rowOf(const std::string& artworkId) const;
  // The artwork of a row as the store has it now.
  const Artwork* artwork(int row) const;

  // Moves `ids` before `row` through the store.
  bool moveArtworks(const std::vector<std::string>& ids, int row);

 private:
  void storeChanged(const StoreChanges& changes);
  // Whether the step fits the rows as the view knows them.
  bool applies(const ArtworkRowChange& step) const;
  void apply(const ArtworkRowChange& step);
  void reset();
  void reindex();

  AppStore& store_;
  ImageIntakeController& intake_;
  std::vector<std::string> rows_;                       // ids, as the view knows them
  std::unordered_map<std::string, std::size_t> index_;  // id → place in the store's list
  std::string projectId_;
  std::unordered_map<std::string, std::int64_t> pictureVersions_;  // as last told to the view
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
