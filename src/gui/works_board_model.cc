#include "gui/works_board_model.h"

#include <QUrl>
#include <algorithm>
#include <set>

#include "gui/image_intake_controller.h"
#include "gui/words.h"

namespace quorvane::gui {

std::vector<std::string> orderAfterMove(const std::vector<std::string>& order,
                                        const std::vector<std::string>& moving, int row) {
  const std::set<std::string> moved(moving.begin(), moving.end());
  std::vector<std::string> kept;
  std::vector<std::string> taken;
  int before = std::clamp(row, 0, static_cast<int>(order.size()));
  int insertAt = before;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (moved.count(order[i]) == 0) {
      kept.push_back(order[i]);
      continue;
    }
    taken.push_back(order[i]);
    if (static_cast<int>(i) < before) --insertAt;
  }
  kept.insert(kept.begin() + insertAt, taken.begin(), taken.end());
  return kept;
}

QByteArray encodeIds(const std::vector<std::string>& ids) {
  QByteArray data;
  for (const std::string& id : ids) {
    data.append(id.data(), static_cast<qsizetype>(id.size()));
    data.append('\n');
  }
  return data;
}

std::vector<std::string> decodeIds(const QByteArray& data) {
  std::vector<std::string> ids;
  for (const QByteArray& line : data.split('\n')) {
    if (!line.isEmpty()) ids.push_back(line.toStdString());
  }
  return ids;
}

namespace {

bool isPackageFile(const QString& path) {
  return path.endsWith(QStringLiteral(".quorvane"), Qt::CaseInsensitive);
}

}  // namespace

std::vector<std::string> droppedFiles(const QMimeData& data) {
  std::vector<std::string> paths;
  for (const QUrl& url : data.urls()) {
    if (url.isLocalFile() && !isPackageFile(url.toLocalFile())) {
      paths.push_back(utf8(url.toLocalFile()));
    }
  }
  return paths;
}

std::vector<std::string> droppedPackages(const QMimeData& data) {
  std::vector<std::string> paths;
  for (const QUrl& url : data.urls()) {
    if (url.isLocalFile() && isPackageFile(url.toLocalFile())) {
      paths.push_back(utf8(url.toLocalFile()));
    }
  }
  return paths;
}

WorksBoardModel::WorksBoardModel(AppStore& store, ImageIntakeController& intake, QObject* parent)
    : QAbstractListModel(parent),
      store_(store),
      intake_(intake),
      subscription_(store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  reset();
}

void WorksBoardModel::reset() {
  beginResetModel();
  rows_.clear();
  for (const Artwork& artwork : store_.state().snapshot.artworks.images)
    rows_.push_back(artwork.id);
  projectId_ = store_.state().project.id;
  reindex();
  endResetModel();
}

void WorksBoardModel::reindex() {
  index_.clear();
  const auto& images = store_.state().snapshot.artworks.images;
  for (std::size_t i = 0; i < images.size(); ++i) index_[images[i].id] = i;
}

void WorksBoardModel::storeChanged(const StoreChanges& changes) {
  if (store_.state().project.id != projectId_) return reset();
  if (changes.has(StoreArea::artworks)) {
    reindex();
    for (const ArtworkRowChange& step : changes.artworkRows) {
      if (!applies(step)) return reset();
      apply(step);
    }
    // Should the steps not give the store's list (they always should), the
    // view starts again from the list rather than show a wrong one.
    const auto& images = store_.state().snapshot.artworks.images;
    const bool same =
        std::equal(rows_.begin(), rows_.end(), images.begin(), images.end(),
                   [](const std::string& id, const Artwork& a) { return id == a.id; });
    if (!same) reset();
  }
  if (changes.has(StoreArea::thumbnails)) {
    // Only the cells whose page moved on repaint.
    const auto& versions = store_.state().artworkPdfThumbVersionByID;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      const auto found = versions.find(rows_[row]);
      const std::int64_t version = found == versions.end() ? 0 : found->second;
      auto& seen = pictureVersions_[rows_[row]];
      if (seen == version) continue;
      seen = version;
      const QModelIndex cell = index(static_cast<int>(row));
      emit dataChanged(cell, cell, {PictureVersionRole});
    }
  }
}

bool WorksBoardModel::applies(const ArtworkRowChange& step) const {
  using Kind = ArtworkRowChange::Kind;
  const std::size_t size = rows_.size();
  switch (step.kind) {
    case Kind::removed:
      return step.from < size && rows_[step.from] == step.artworkId;
    case Kind::inserted:
      return step.to <= size;
    case Kind::moved:
      return step.from < size && step.to < size && rows_[step.from] == step.artworkId;
    case Kind::changed:
      return step.to < size && rows_[step.to] == step.artworkId;
  }
  return false;
}

void WorksBoardModel::apply(const ArtworkRowChange& step) {
  using Kind = ArtworkRowChange::Kind;
  const int from = static_cast<int>(step.from);
  const int to = static_cast<int>(step.to);
  switch (step.kind) {
    case Kind::removed:
      beginRemoveRows({}, from, from);
      rows_.erase(rows_.begin() + from);
      endRemoveRows();
      break;
    case Kind::inserted:
      beginInsertRows({}, to, to);
      rows_.insert(rows_.begin() + to, step.artworkId);
      endInsertRows();
      break;
    case Kind::moved: {
      // Qt counts the destination before the move: one more when moving down.
      const int destination = to > from ? to + 1 : to;
      if (from == to) break;
      beginMoveRows({}, from, from, {}, destination);
      rows_.erase(rows_.begin() + from);
      rows_.insert(rows_.begin() + to, step.artworkId);
      endMoveRows();
      break;
    }
    case Kind::changed:
      emit dataChanged(index(to), index(to));
      break;
  }
}

int WorksBoardModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

const Artwork* WorksBoardModel::artwork(int row) const {
  if (row < 0 || row >= static_cast<int>(rows_.size())) return nullptr;
  const auto found = index_.find(rows_[static_cast<std::size_t>(row)]);
  if (found == index_.end()) return nullptr;
  return &store_.state().snapshot.artworks.images.at(found->second);
}

int WorksBoardModel::rowOf(const std::string& artworkId) const {
  const auto found = std::find(rows_.begin(), rows_.end(), artworkId);
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

QVariant WorksBoardModel::data(const QModelIndex& index, int role) const {
  const Artwork* shown = artwork(index.row());
  if (shown == nullptr) return {};
  switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
      return shown->title.empty() ? Words(store_)("desktop.works.untitled") : qstr(shown->title);
    case Qt::AccessibleTextRole:
      return Words(store_).format(
          "desktop.works.cell_accessible",
          {std::to_string(index.row() + 1),
           shown->title.empty() ? utf8(Words(store_)("desktop.works.untitled")) : shown->title});
    case ArtworkIdRole:
      return qstr(shown->id);
    case CaptionRole: {
      QStringList parts;
      if (!shown->year.empty()) parts << qstr(shown->year);
      if (!shown->medium.empty()) parts << qstr(shown->medium);
      return parts.join(QStringLiteral(" · "));
    }
    case PictureVersionRole: {
      const auto& versions = store_.state().artworkPdfThumbVersionByID;
      const auto found = versions.find(shown->id);
      return QVariant::fromValue<qint64>(found == versions.end() ? 0 : found->second);
    }
    default:
      return {};
  }
}

Qt::ItemFlags WorksBoardModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags base = QAbstractListModel::flags(index);
  // Between cells and after the last one, not onto a cell: a drop puts
  // artworks in a place, it never merges them.
  if (!index.isValid()) return base | Qt::ItemIsDropEnabled;
  return base | Qt::ItemIsDragEnabled;
}

QStringList WorksBoardModel::mimeTypes() const {
  return {kBoardArtworksMime, kVaultArtworksMime, QStringLiteral("text/uri-list")};
}

QMimeData* WorksBoardModel::mimeData(const QModelIndexList& indexes) const {
  std::vector<int> rows;
  for (const QModelIndex& index : indexes) {
    if (index.isValid()) rows.push_back(index.row());
  }
  std::sort(rows.begin(), rows.end());
  std::vector<std::string> ids;
  for (int row : rows) ids.push_back(rows_.at(static_cast<std::size_t>(row)));
  auto* data = new QMimeData;  // handed to the drag, which owns it
  data->setData(kBoardArtworksMime, encodeIds(ids));
  return data;
}

Qt::DropActions WorksBoardModel::supportedDragActions() const { return Qt::MoveAction; }

Qt::DropActions WorksBoardModel::supportedDropActions() const {
  return Qt::MoveAction | Qt::CopyAction | Qt::LinkAction;
}

bool WorksBoardModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int,
                                      const QModelIndex&) const {
  if (data == nullptr) return false;
  return data->hasFormat(kBoardArtworksMime) || data->hasFormat(kVaultArtworksMime) ||
         !droppedFiles(*data).empty();
}

bool WorksBoardModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row,
                                   int column, const QModelIndex& parent) {
  if (!canDropMimeData(data, action, row, column, parent)) return false;
  if (row < 0) row = parent.isValid() ? parent.row() : static_cast<int>(rows_.size());
  if (data->hasFormat(kBoardArtworksMime)) {
    moveArtworks(decodeIds(data->data(kBoardArtworksMime)), row);
    // Nothing for the view to remove afterwards: the store moved the rows.
    return false;
  }
  if (data->hasFormat(kVaultArtworksMime)) {
    // Added at the end, then put where they were dropped.
    std::vector<std::string> added;
    for (const std::string& id : decodeIds(data->data(kVaultArtworksMime))) {
      if (!store_.addFromVault(id)) break;
      added.push_back(id);
    }
    if (!added.empty() && row < static_cast<int>(rows_.size()) - static_cast<int>(added.size())) {
      moveArtworks(added, row);
    }
    return false;
  }
  intake_.add(droppedFiles(*data));
  return false;
}

bool WorksBoardModel::moveArtworks(const std::vector<std::string>& ids, int row) {
  std::vector<std::string> order;
  for (const Artwork& artwork : store_.state().snapshot.artworks.images)
    order.push_back(artwork.id);
  const std::vector<std::string> moved = orderAfterMove(order, ids, row);
  if (moved == order) return true;
  return store_.reorderArtworks(moved);
}

}  // namespace quorvane::gui
