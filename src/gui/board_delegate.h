// How a cell of a board of artworks is drawn: the page (or image) fitted
// in a frame, the title and a caption below, the selection as an accent
// outline. Shared by the works board and the Vault.
#pragma once

#include <QStyledItemDelegate>

namespace quorvane::gui {

class BoardPictures;

class BoardDelegate final : public QStyledItemDelegate {
  Q_OBJECT

 public:
  // Roles of the model: the artwork's id and the caption line.
  BoardDelegate(BoardPictures& pictures, int idRole, int captionRole, QObject* parent = nullptr);

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  static constexpr int kPictureEdge = 168;  // logical pixels
  static QSize cellSize();

 private:
  BoardPictures& pictures_;
  int idRole_;
  int captionRole_;
};

}  // namespace quorvane::gui
