#include "gui/works_board.h"

#include <QDragEnterEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "app/image_intake.h"
#include "gui/board_delegate.h"
#include "gui/board_pictures.h"
#include "gui/flow_layout.h"
#include "gui/image_intake_controller.h"
#include "gui/words.h"
#include "gui/works_board_model.h"

namespace quorvane::gui {
namespace {

const QString kImageFilter =
    QStringLiteral("*.jpg *.jpeg *.png *.gif *.tif *.tiff *.heic *.heif *.webp");

std::vector<std::string> pathsOf(const QStringList& files) {
  std::vector<std::string> paths;
  for (const QString& file : files) paths.push_back(utf8(file));
  return paths;
}

}  // namespace

BoardGrid::BoardGrid(QWidget* parent) : QListView(parent) {
  setViewMode(QListView::IconMode);
  // Static: a drop goes to the model (the store's order), never to a free
  // place on the canvas as icon views otherwise do.
  setMovement(QListView::Static);
  setFlow(QListView::LeftToRight);
  setWrapping(true);
  setResizeMode(QListView::Adjust);
  setUniformItemSizes(true);
  setLayoutMode(QListView::Batched);
  setBatchSize(200);
  // The air between cells is in the grid size: a spacing on top of it
  // would wrap the last column of a fitted row onto the next.
  setSpacing(0);
  setSelectionMode(QAbstractItemView::ExtendedSelection);
  setDragEnabled(true);
  setAcceptDrops(true);
  viewport()->setAcceptDrops(true);  // drops are delivered to the viewport
  setDropIndicatorShown(true);
  setDragDropMode(QAbstractItemView::DragDrop);
  setDefaultDropAction(Qt::MoveAction);
  setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  verticalScrollBar()->setSingleStep(24);
  setMouseTracking(true);
  setFrameShape(QFrame::NoFrame);
  fitColumns();
}

void BoardGrid::fitColumns() {
  const QSize smallest = BoardDelegate::cellSize() + QSize(8, 8);
  // The width the view lays its cells out in: it keeps room for a
  // scroll bar whether one shows or not.
  const int room = maximumViewportSize().width() -
                   style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, verticalScrollBar());
  const int width = std::max(room - 2, smallest.width());
  const int columns = std::max(1, width / smallest.width());
  const QSize grid(width / columns, smallest.height());
  if (gridSize() != grid) setGridSize(grid);
}

int BoardGrid::columnCount() const {
  return std::max(1, viewport()->width() / std::max(1, gridSize().width()));
}

void BoardGrid::keyPressEvent(QKeyEvent* event) {
  const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  if (enter && event->modifiers() == Qt::NoModifier) {
    emit editRequested();
    return event->accept();
  }
  const bool moving = event->modifiers().testAnyFlags(Qt::ControlModifier | Qt::AltModifier);
  if (moving) {
    const int columns = columnCount();
    const std::optional<int> offset = event->key() == Qt::Key_Left    ? std::optional(-1)
                                      : event->key() == Qt::Key_Right ? std::optional(1)
                                      : event->key() == Qt::Key_Up    ? std::optional(-columns)
                                      : event->key() == Qt::Key_Down  ? std::optional(columns)
                                                                      : std::nullopt;
    if (offset) {
      emit moveRequested(*offset);
      return event->accept();
    }
  }
  QListView::keyPressEvent(event);
}

void BoardGrid::resizeEvent(QResizeEvent* event) {
  QListView::resizeEvent(event);
  fitColumns();
}

std::vector<std::string> BoardGrid::selectedIds(int idRole) const {
  QModelIndexList rows = selectionModel() ? selectionModel()->selectedIndexes() : QModelIndexList{};
  std::sort(rows.begin(), rows.end(),
            [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
  std::vector<std::string> ids;
  for (const QModelIndex& row : rows) ids.push_back(utf8(row.data(idRole).toString()));
  return ids;
}

bool BoardGrid::isRowVisible(int row) const {
  if (!model() || row < 0 || row >= model()->rowCount()) return false;
  return viewport()->rect().intersects(visualRect(model()->index(row, 0)));
}

void BoardGrid::setEmptyText(const QString& title, const QString& text) {
  emptyTitle_ = title;
  emptyText_ = text;
  viewport()->update();
}

void BoardGrid::dragEnterEvent(QDragEnterEvent* event) {
  QListView::dragEnterEvent(event);
  // Files from the file manager come as a copy; take them all the same.
  const bool takes =
      model() && model()->canDropMimeData(event->mimeData(), event->dropAction(), -1, -1, {});
  if (takes) event->acceptProposedAction();
  // Lit for what comes from outside the board; a reorder has its own marker.
  setTakingDrop(takes && !event->mimeData()->hasFormat(QString::fromLatin1(kBoardArtworksMime)));
}

void BoardGrid::dragLeaveEvent(QDragLeaveEvent* event) {
  QListView::dragLeaveEvent(event);
  setTakingDrop(false);
}

void BoardGrid::setTakingDrop(bool taking) {
  if (taking == takingDrop_) return;
  takingDrop_ = taking;
  viewport()->update();
}

void BoardGrid::dragMoveEvent(QDragMoveEvent* event) {
  QListView::dragMoveEvent(event);
  if (model() && model()->canDropMimeData(event->mimeData(), event->dropAction(), -1, -1, {})) {
    event->acceptProposedAction();
  }
}

int BoardGrid::dropRowAt(const QPoint& point) const {
  const int rows = model() ? model()->rowCount() : 0;
  const QModelIndex index = indexAt(point);
  if (index.isValid()) {
    const QRect cell = visualRect(index);
    return point.x() < cell.center().x() ? index.row() : index.row() + 1;
  }
  // Between cells: the nearest cell before the point in reading order.
  for (int row = rows - 1; row >= 0; --row) {
    const QRect cell = visualRect(model()->index(row, 0));
    const bool sameLine = point.y() >= cell.top() && point.y() <= cell.bottom();
    if ((sameLine && point.x() >= cell.left()) || point.y() > cell.bottom()) return row + 1;
  }
  return 0;
}

void BoardGrid::dropEvent(QDropEvent* event) {
  // The model decides what a drop means; the view only says where. Icon
  // views otherwise move cells about on their own or remove the dragged
  // rows once the drop is done.
  setTakingDrop(false);
  if (!model()) return;
  const int row = dropRowAt(event->position().toPoint());
  model()->dropMimeData(event->mimeData(), event->dropAction(), row, 0, {});
  event->setDropAction(Qt::CopyAction);
  event->accept();
  stopAutoScroll();
  setState(NoState);
  viewport()->update();
}

void BoardGrid::paintEvent(QPaintEvent* event) {
  QListView::paintEvent(event);
  const QColor accent = palette().color(QPalette::Highlight);
  const bool empty = model() && model()->rowCount() == 0 && !emptyTitle_.isEmpty();
  if (!empty) {
    if (!takingDrop_) return;
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(accent, 2));
    painter.drawRoundedRect(QRectF(viewport()->rect()).adjusted(3, 3, -3, -3), 10, 10);
    return;
  }
  QPainter painter(viewport());
  const QRect area = viewport()->rect().adjusted(40, 40, -40, -40);
  QColor line = palette().color(QPalette::Text);
  line.setAlpha(60);
  painter.setRenderHint(QPainter::Antialiasing);
  if (takingDrop_) {
    // Letting go here adds the files: the frame takes the accent.
    QColor wash = accent;
    wash.setAlpha(18);
    painter.setBrush(wash);
    line = accent;
  }
  painter.setPen(QPen(line, takingDrop_ ? 2.0 : 1.5, Qt::DashLine));
  painter.drawRoundedRect(area, 14, 14);
  painter.setBrush(Qt::NoBrush);
  QFont titleFont = font();
  titleFont.setPointSizeF(titleFont.pointSizeF() * 1.35);
  titleFont.setWeight(QFont::DemiBold);
  painter.setFont(titleFont);
  painter.setPen(palette().color(QPalette::Text));
  const QRect middle = area.adjusted(24, 0, -24, 0);
  const int titleHeight = QFontMetrics(titleFont).height();
  painter.drawText(
      QRect(middle.left(), middle.center().y() - titleHeight, middle.width(), titleHeight),
      Qt::AlignCenter, emptyTitle_);
  painter.setFont(font());
  painter.setPen(palette().color(QPalette::PlaceholderText));
  painter.drawText(QRect(middle.left(), middle.center().y() + 6, middle.width(), titleHeight * 3),
                   Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, emptyText_);
}

WorksBoard::WorksBoard(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      intake_(new ImageIntakeController(store, this)),
      model_(new WorksBoardModel(store, *intake_, this)),
      pictures_(new BoardPictures(store, BoardDelegate::kPictureEdge, this)),
      grid_(new BoardGrid(this)),
      addButton_(new QPushButton(this)),
      removeButton_(new QToolButton(this)),
      replaceButton_(new QToolButton(this)),
      detailsButton_(new QToolButton(this)),
      countLabel_(new QLabel(this)),
      progressRow_(new QWidget(this)),
      progressLabel_(new QLabel(progressRow_)),
      progress_(new QProgressBar(progressRow_)),
      cancelButton_(new QPushButton(progressRow_)),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::artworks) || changes.has(StoreArea::settings)) updateCounts();
      }) {
  grid_->setModel(model_);
  grid_->setItemDelegate(new BoardDelegate(*pictures_, WorksBoardModel::ArtworkIdRole,
                                           WorksBoardModel::CaptionRole, grid_));
  pictures_->setVisibleTest(
      [this](const std::string& id) { return grid_->isRowVisible(model_->rowOf(id)); });
  connect(pictures_, &BoardPictures::pictureReady, this, [this](const QString& id) {
    const int row = model_->rowOf(utf8(id));
    if (row >= 0) grid_->update(model_->index(row));
  });

  // The buttons keep their whole words: on a narrow board they wrap under
  // the count rather than shrink.
  auto* toolbarRow = new QWidget(this);
  auto* toolbar = new FlowLayout(toolbarRow, 8);
  toolbar->setContentsMargins(16, 10, 16, 6);
  countLabel_->setObjectName(QStringLiteral("secondaryText"));
  toolbar->addWidget(countLabel_);
  removeButton_->setObjectName(QStringLiteral("removeArtworks"));
  replaceButton_->setObjectName(QStringLiteral("replaceImage"));
  detailsButton_->setObjectName(QStringLiteral("toggleDetails"));
  detailsButton_->setCheckable(true);
  detailsButton_->setChecked(true);
  addButton_->setObjectName(QStringLiteral("addImages"));
  addButton_->setDefault(false);
  toolbar->setTrailingFrom(1);
  toolbar->addWidget(replaceButton_);
  toolbar->addWidget(removeButton_);
  toolbar->addWidget(detailsButton_);
  toolbar->addWidget(addButton_);

  auto* progressLayout = new QHBoxLayout(progressRow_);
  progressLayout->setContentsMargins(16, 0, 16, 6);
  progressLayout->addWidget(progressLabel_);
  progressLayout->addWidget(progress_, 1);
  progressLayout->addWidget(cancelButton_);
  progress_->setTextVisible(false);
  progress_->setMaximumHeight(6);
  progressRow_->hide();

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(toolbarRow);
  layout->addWidget(progressRow_);
  layout->addWidget(grid_, 1);

  // Tab in reading order: the buttons as they stand, then the works.
  setTabOrder(replaceButton_, removeButton_);
  setTabOrder(removeButton_, detailsButton_);
  setTabOrder(detailsButton_, addButton_);
  setTabOrder(addButton_, grid_);
  connect(addButton_, &QPushButton::clicked, this, &WorksBoard::addImages);
  connect(removeButton_, &QToolButton::clicked, this, &WorksBoard::removeSelected);
  connect(replaceButton_, &QToolButton::clicked, this, &WorksBoard::replaceSelectedImage);
  connect(cancelButton_, &QPushButton::clicked, intake_, &ImageIntakeController::cancel);
  connect(grid_, &BoardGrid::moveRequested, this, &WorksBoard::moveSelected);
  connect(grid_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &WorksBoard::selectionChanged);
  connect(model_, &QAbstractItemModel::modelReset, this, &WorksBoard::selectionChanged);
  connect(intake_, &ImageIntakeController::started, this, [this](int total) {
    progress_->setRange(0, total);
    progress_->setValue(0);
    progressLabel_->setText(
        Words(store_).format("desktop.works.adding", {"0", std::to_string(total)}));
    progressRow_->show();
  });
  connect(intake_, &ImageIntakeController::progressed, this, [this](int done, int total) {
    progress_->setRange(0, total);
    progress_->setValue(done);
    progressLabel_->setText(Words(store_).format("desktop.works.adding",
                                                 {std::to_string(done), std::to_string(total)}));
  });
  connect(intake_, &ImageIntakeController::finished, this, [this] { progressRow_->hide(); });

  ask = askOver(this);
  retranslate();
  selectionChanged();
}

WorksBoard::~WorksBoard() = default;

void WorksBoard::retranslate() {
  const Words words(store_);
  addButton_->setText(words("desktop.works.add_images"));
  addButton_->setToolTip(words("desktop.works.add_images.tip") + QStringLiteral("  (Ctrl+I)"));
  addButton_->setAccessibleName(words("desktop.works.add_images"));
  removeButton_->setText(words("desktop.works.remove"));
  removeButton_->setToolTip(words("desktop.works.remove.tip"));
  removeButton_->setAccessibleName(words("desktop.works.remove"));
  replaceButton_->setText(words("desktop.works.replace_image"));
  replaceButton_->setAccessibleName(words("desktop.works.replace_image"));
  detailsButton_->setText(words("desktop.works.details"));
  detailsButton_->setAccessibleName(words("desktop.works.details"));
  detailsButton_->setToolTip(words("desktop.works.details.tip"));
  cancelButton_->setText(words("desktop.common.cancel"));
  cancelButton_->setAccessibleName(words("desktop.works.cancel_adding"));
  progress_->setAccessibleName(words("desktop.works.cancel_adding"));
  grid_->setAccessibleName(words("desktop.works.board"));
  grid_->setEmptyText(words("desktop.works.empty.title"),
                      words.format("desktop.works.empty.text",
                                   {std::to_string(kMaximumOriginalBytes / (1024 * 1024))}));
  updateCounts();
  grid_->viewport()->update();
}

void WorksBoard::updateCounts() {
  const auto count = static_cast<std::int64_t>(store_.state().snapshot.artworks.images.size());
  countLabel_->setText(Words(store_).count("desktop.count.artworks", count));
  // Nothing to remove or replace on an empty board: only the way to add.
  removeButton_->setVisible(count > 0);
  replaceButton_->setVisible(count > 0);
}

std::vector<std::string> WorksBoard::selectedIds() const {
  return grid_->selectedIds(WorksBoardModel::ArtworkIdRole);
}

void WorksBoard::select(const std::vector<std::string>& ids) {
  QItemSelection selection;
  for (const std::string& id : ids) {
    const int row = model_->rowOf(id);
    if (row >= 0) selection.select(model_->index(row), model_->index(row));
  }
  grid_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
  if (!ids.empty()) {
    const int row = model_->rowOf(ids.front());
    if (row >= 0)
      grid_->selectionModel()->setCurrentIndex(model_->index(row), QItemSelectionModel::NoUpdate);
  }
}

void WorksBoard::reveal(const std::string& id) {
  const int row = model_->rowOf(id);
  if (row < 0) return;
  select({id});
  grid_->scrollTo(model_->index(row));
}

void WorksBoard::selectionChanged() {
  const std::vector<std::string> ids = selectedIds();
  removeButton_->setEnabled(!ids.empty());
  replaceButton_->setEnabled(ids.size() == 1);
  emit currentArtworkChanged(ids.size() == 1 ? std::optional<std::string>(ids.front())
                                             : std::nullopt);
}

void WorksBoard::addImages() {
  const Words words(store_);
  const QStringList files =
      QFileDialog::getOpenFileNames(this, words("desktop.works.add_images"), QString(),
                                    words("desktop.works.image_files") + QStringLiteral(" (") +
                                        kImageFilter + QStringLiteral(")"));
  intake_->add(pathsOf(files));
}

void WorksBoard::removeSelected() {
  const std::vector<std::string> ids = selectedIds();
  if (ids.empty()) return;
  const Words words(store_);
  QString message;
  if (ids.size() == 1) {
    const auto& works = store_.state().snapshot.artworks.images;
    const auto work = std::find_if(works.begin(), works.end(),
                                   [&](const Artwork& each) { return each.id == ids.front(); });
    const bool titled = work != works.end() && !work->title.empty();
    message = words.format("desktop.works.remove.confirm_one",
                           {titled ? work->title : utf8(words("desktop.works.untitled"))});
  } else {
    message = words.format("desktop.works.remove.confirm_many", {std::to_string(ids.size())});
  }
  if (!ask(message, words("desktop.works.remove.action"))) return;
  store_.removeArtworks(ids);
}

void WorksBoard::moveSelected(int offset) {
  const std::vector<std::string> moving = selectedIds();
  if (moving.empty() || offset == 0) return;
  std::vector<std::string> order;
  for (const Artwork& work : store_.state().snapshot.artworks.images) order.push_back(work.id);
  std::vector<std::string> rest;
  int first = -1;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (std::find(moving.begin(), moving.end(), order[i]) == moving.end()) {
      rest.push_back(order[i]);
    } else if (first < 0) {
      first = static_cast<int>(i);
    }
  }
  const int place = std::clamp(first + offset, 0, static_cast<int>(rest.size()));
  if (place == first) return;
  rest.insert(rest.begin() + place, moving.begin(), moving.end());
  if (store_.reorderArtworks(rest)) select(moving);
}

void WorksBoard::replaceSelectedImage() {
  const std::vector<std::string> ids = selectedIds();
  if (ids.size() != 1) return;
  const Words words(store_);
  const QString file =
      QFileDialog::getOpenFileName(this, words("desktop.works.replace_image"), QString(),
                                   words("desktop.works.image_files") + QStringLiteral(" (") +
                                       kImageFilter + QStringLiteral(")"));
  if (!file.isEmpty()) store_.replaceImage(ids.front(), utf8(file));
}

}  // namespace quorvane::gui
