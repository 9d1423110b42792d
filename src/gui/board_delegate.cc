#include "gui/board_delegate.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

#include "gui/board_pictures.h"
#include "gui/words.h"

namespace quorvane::gui {
namespace {

constexpr int kPadding = 10;
constexpr int kTextGap = 8;

}  // namespace

BoardDelegate::BoardDelegate(BoardPictures& pictures, int idRole, int captionRole, QObject* parent)
    : QStyledItemDelegate(parent),
      pictures_(pictures),
      idRole_(idRole),
      captionRole_(captionRole) {}

QSize BoardDelegate::cellSize() {
  const QFontMetrics metrics(QApplication::font());
  return {kPictureEdge + 2 * kPadding,
          kPictureEdge + 2 * kPadding + kTextGap + 2 * metrics.height() + 4};
}

QSize BoardDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
  return cellSize();
}

void BoardDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const {
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  const QPalette& palette = option.palette;
  // The cell's own width, centred in the (possibly wider) grid place.
  const QSize size = cellSize();
  const QRect place = option.rect;
  const QRect cell = QRect(place.left() + (place.width() - size.width()) / 2, place.top(),
                           size.width(), std::min(size.height(), place.height()))
                         .adjusted(3, 3, -3, -3);
  const bool selected = option.state.testFlag(QStyle::State_Selected);
  const bool hovered = option.state.testFlag(QStyle::State_MouseOver);
  if (selected || hovered) {
    QPainterPath outline;
    outline.addRoundedRect(cell, 10, 10);
    QColor fill = palette.color(QPalette::Highlight);
    fill.setAlpha(selected ? 40 : 16);
    painter->fillPath(outline, fill);
    if (selected) painter->strokePath(outline, QPen(palette.color(QPalette::Highlight), 2));
  }
  // The cell the keys act on, while the board has them: a dashed ring.
  if (option.state.testFlag(QStyle::State_HasFocus)) {
    QPainterPath ring;
    ring.addRoundedRect(QRectF(cell).adjusted(-2, -2, 2, 2), 12, 12);
    painter->strokePath(ring, QPen(palette.color(QPalette::Highlight), 1.5, Qt::DashLine));
  }

  // The picture, fitted and centred in its square, on a faint frame.
  const QRect frame(cell.left() + kPadding - 3, cell.top() + kPadding - 3, kPictureEdge,
                    kPictureEdge);
  const QPixmap pixmap = pictures_.picture(index.data(idRole_).toString().toStdString());
  if (pixmap.isNull()) {
    QColor empty = palette.color(QPalette::Text);
    empty.setAlpha(18);
    painter->fillRect(frame.adjusted(16, 16, -16, -16), empty);
  } else {
    const QSize fitted =
        pixmap.deviceIndependentSize().toSize().scaled(frame.size(), Qt::KeepAspectRatio);
    const QRect target(frame.left() + (frame.width() - fitted.width()) / 2,
                       frame.top() + (frame.height() - fitted.height()) / 2, fitted.width(),
                       fitted.height());
    QColor shadow(0, 0, 0, 28);
    painter->fillRect(target.translated(0, 1).adjusted(-1, -1, 1, 1), shadow);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawPixmap(target, pixmap);
  }

  // Title, then the caption in a quieter colour; both cut with an ellipsis.
  const QFontMetrics metrics(option.font);
  const int textLeft = frame.left();
  const int textWidth = frame.width();
  int y = frame.bottom() + kTextGap;
  QFont titleFont = option.font;
  titleFont.setWeight(QFont::DemiBold);
  painter->setFont(titleFont);
  painter->setPen(palette.color(QPalette::Text));
  const QString title = index.data(Qt::DisplayRole).toString();
  painter->drawText(QRect(textLeft, y, textWidth, metrics.height()), Qt::AlignHCenter,
                    QFontMetrics(titleFont).elidedText(title, Qt::ElideRight, textWidth));
  y += metrics.height() + 2;
  painter->setFont(option.font);
  painter->setPen(palette.color(QPalette::PlaceholderText));
  const QString caption = index.data(captionRole_).toString();
  painter->drawText(QRect(textLeft, y, textWidth, metrics.height()), Qt::AlignHCenter,
                    metrics.elidedText(caption, Qt::ElideRight, textWidth));
  painter->restore();
}

}  // namespace quorvane::gui
