#include "gui/vault_view.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/board_delegate.h"
#include "gui/board_pictures.h"
#include "gui/words.h"
#include "gui/works_board.h"
#include "gui/works_board_model.h"

namespace quorvane::gui {

VaultModel::VaultModel(AppStore& store, QObject* parent)
    : QAbstractListModel(parent), store_(store) {}

void VaultModel::refresh() {
  std::weak_ptr<bool> alive = alive_;
  store_.vaultInBackground([this, alive](std::vector<ReusableArtworkAsset> items) {
    if (alive.expired()) return;
    beginResetModel();
    items_ = std::move(items);
    endResetModel();
    emit refreshed();
  });
}

int VaultModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(items_.size());
}

QVariant VaultModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= static_cast<int>(items_.size())) return {};
  const ReusableArtworkAsset& item = items_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
      return item.artwork.title.empty() ? Words(store_)("desktop.works.untitled")
                                        : qstr(item.artwork.title);
    case Qt::ToolTipRole:
      return Words(store_).format("desktop.vault.from", {item.sourceProjectName});
    case ArtworkIdRole:
      return qstr(item.artwork.id);
    case CaptionRole:
      return qstr(item.sourceProjectName);
    default:
      return {};
  }
}

Qt::ItemFlags VaultModel::flags(const QModelIndex& index) const {
  return QAbstractListModel::flags(index) |
         (index.isValid() ? Qt::ItemIsDragEnabled : Qt::NoItemFlags);
}

QStringList VaultModel::mimeTypes() const { return {kVaultArtworksMime}; }

QMimeData* VaultModel::mimeData(const QModelIndexList& indexes) const {
  std::vector<std::string> ids;
  for (const QModelIndex& index : indexes) {
    if (index.isValid()) ids.push_back(items_.at(static_cast<std::size_t>(index.row())).artwork.id);
  }
  auto* data = new QMimeData;  // handed to the drag, which owns it
  data->setData(kVaultArtworksMime, encodeIds(ids));
  return data;
}

VaultView::VaultView(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      model_(new VaultModel(store, this)),
      pictures_(new BoardPictures(store, BoardDelegate::kPictureEdge, this)),
      grid_(new BoardGrid(this)),
      title_(new QLabel(this)),
      subtitle_(new QLabel(this)),
      add_(new QPushButton(this)),
      subscription_(store, [this](const StoreChanges& changes) {
        if ((changes.has(StoreArea::artworks) || changes.has(StoreArea::project)) && isVisible()) {
          model_->refresh();
        }
        if (changes.has(StoreArea::project)) retranslate();
      }) {
  grid_->setModel(model_);
  grid_->setAcceptDrops(false);
  grid_->viewport()->setAcceptDrops(false);
  grid_->setDragDropMode(QAbstractItemView::DragOnly);
  grid_->setDefaultDropAction(Qt::CopyAction);
  grid_->setItemDelegate(
      new BoardDelegate(*pictures_, VaultModel::ArtworkIdRole, VaultModel::CaptionRole, grid_));
  pictures_->setVisibleTest([this](const std::string& id) {
    const auto& items = model_->items();
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (items[i].artwork.id == id) return grid_->isRowVisible(static_cast<int>(i));
    }
    return false;
  });
  connect(pictures_, &BoardPictures::pictureReady, grid_->viewport(),
          qOverload<>(&QWidget::update));
  title_->setObjectName(QStringLiteral("pageTitle"));
  subtitle_->setObjectName(QStringLiteral("secondaryText"));
  add_->setObjectName(QStringLiteral("primary"));

  auto* header = new QHBoxLayout;
  auto* titles = new QVBoxLayout;
  titles->addWidget(title_);
  titles->addWidget(subtitle_);
  header->addLayout(titles, 1);
  header->addWidget(add_, 0, Qt::AlignBottom);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(24, 22, 24, 8);
  layout->setSpacing(12);
  layout->addLayout(header);
  layout->addWidget(grid_, 1);

  connect(add_, &QPushButton::clicked, this, &VaultView::addSelected);
  connect(grid_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &VaultView::updateButtons);
  connect(model_, &VaultModel::refreshed, this, &VaultView::updateButtons);
  connect(grid_, &QListView::doubleClicked, this, &VaultView::addSelected);
  retranslate();
}

void VaultView::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  model_->refresh();
}

void VaultView::retranslate() {
  const Words words(store_);
  title_->setText(words("desktop.nav.vault"));
  subtitle_->setText(words("desktop.vault.subtitle"));
  grid_->setAccessibleName(words("desktop.nav.vault"));
  grid_->setEmptyText(words("desktop.vault.empty.title"), words("desktop.vault.empty.text"));
  // Named for the project it adds to, which is not on screen here.
  const std::string project = store_.state().project.projectName;
  add_->setText(words.format("desktop.vault.add_to", {project}));
  add_->setAccessibleName(add_->text());
  updateButtons();
}

void VaultView::updateButtons() {
  add_->setEnabled(!grid_->selectedIds(VaultModel::ArtworkIdRole).empty());
}

void VaultView::addSelected() {
  store_.addFromVault(grid_->selectedIds(VaultModel::ArtworkIdRole));
}

}  // namespace quorvane::gui
