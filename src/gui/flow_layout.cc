#include "gui/flow_layout.h"

#include <QWidget>
#include <algorithm>
#include <vector>

namespace quorvane::gui {

FlowLayout::FlowLayout(QWidget* parent, int spacing) : QLayout(parent) {
  setSpacing(spacing);
  setContentsMargins(0, 0, 0, 0);
}

FlowLayout::~FlowLayout() {
  while (QLayoutItem* item = takeAt(0)) delete item;
}

void FlowLayout::addItem(QLayoutItem* item) { items_.append(item); }

QLayoutItem* FlowLayout::itemAt(int index) const {
  return index >= 0 && index < items_.size() ? items_.at(index) : nullptr;
}

QLayoutItem* FlowLayout::takeAt(int index) {
  return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr;
}

int FlowLayout::heightForWidth(int width) const { return arrange(QRect(0, 0, width, 0), false); }

QSize FlowLayout::minimumSize() const {
  // As narrow as the widest item: everything else wraps.
  QSize size;
  for (const QLayoutItem* item : items_) size = size.expandedTo(item->minimumSize());
  const QMargins margins = contentsMargins();
  return size + QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}

QSize FlowLayout::sizeHint() const {
  int width = 0;
  int height = 0;
  for (const QLayoutItem* item : items_) {
    if (item->isEmpty()) continue;
    width += item->sizeHint().width() + spacing();
    height = std::max(height, item->sizeHint().height());
  }
  const QMargins margins = contentsMargins();
  return {std::max(0, width - spacing()) + margins.left() + margins.right(),
          height + margins.top() + margins.bottom()};
}

void FlowLayout::setGeometry(const QRect& rect) {
  QLayout::setGeometry(rect);
  arrange(rect, true);
}

bool FlowLayout::isTrailing(const QLayoutItem* item) const {
  return trailingFrom_ >= 0 && items_.indexOf(const_cast<QLayoutItem*>(item)) >= trailingFrom_;
}

int FlowLayout::arrange(const QRect& rect, bool place) const {
  const QRect area = rect.marginsRemoved(contentsMargins());
  // Rows of items first, then each row placed: the trailing ones pushed right.
  std::vector<std::vector<QLayoutItem*>> rows(1);
  int x = 0;
  for (QLayoutItem* item : items_) {
    if (item->isEmpty()) continue;
    const int width = item->sizeHint().width();
    if (x > 0 && x + width > area.width()) {
      rows.emplace_back();
      x = 0;
    }
    rows.back().push_back(item);
    x += width + spacing();
  }
  int y = area.top();
  for (const auto& row : rows) {
    if (row.empty()) continue;
    int height = 0;
    int trailingWidth = 0;
    for (QLayoutItem* item : row) {
      height = std::max(height, item->sizeHint().height());
      if (isTrailing(item)) trailingWidth += item->sizeHint().width() + spacing();
    }
    int left = area.left();
    bool pushed = false;
    for (QLayoutItem* item : row) {
      if (isTrailing(item) && !pushed) {
        left = std::max(left, area.right() + 1 - (trailingWidth - spacing()));
        pushed = true;
      }
      const QSize size = item->sizeHint();
      if (place) item->setGeometry(QRect(QPoint(left, y + (height - size.height()) / 2), size));
      left += size.width() + spacing();
    }
    y += height + spacing();
  }
  return std::max(0, y - spacing() - area.top()) + contentsMargins().top() +
         contentsMargins().bottom();
}

}  // namespace quorvane::gui
