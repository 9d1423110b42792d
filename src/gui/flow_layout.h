// A layout that sets its widgets side by side and wraps onto the next row
// when the width runs out, as words in a line do: the project's settings
// and the board's buttons keep their whole words on a small screen.
#pragma once

#include <QLayout>
#include <QList>

namespace quorvane::gui {

class FlowLayout final : public QLayout {
 public:
  explicit FlowLayout(QWidget* parent = nullptr, int spacing = 6);
  ~FlowLayout() override;

  void addItem(QLayoutItem* item) override;
  int count() const override { return static_cast<int>(items_.size()); }
  QLayoutItem* itemAt(int index) const override;
  QLayoutItem* takeAt(int index) override;
  Qt::Orientations expandingDirections() const override { return {}; }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;
  QSize minimumSize() const override;
  QSize sizeHint() const override;
  void setGeometry(const QRect& rect) override;
  // Items from `index` on sit at the right end of their row.
  void setTrailingFrom(int index) { trailingFrom_ = index; }

 private:
  // Places the items in `rect` (or only measures, when `place` is false)
  // and returns the height they take.
  int arrange(const QRect& rect, bool place) const;
  bool isTrailing(const QLayoutItem* item) const;

  QList<QLayoutItem*> items_;
  int trailingFrom_ = -1;
};

}  // namespace quorvane::gui
