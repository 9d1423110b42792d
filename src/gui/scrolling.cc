#include "gui/scrolling.h"

#include <QScrollArea>
#include <QVBoxLayout>

namespace quorvane::gui {

QScrollArea* framelessScroll(QWidget* content, QWidget* parent) {
  auto* scroll = new QScrollArea(parent);
  // Tab goes to the fields inside, never to the frame around them.
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->setWidget(content);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  return scroll;
}

void fillWithScrolling(QWidget* page, QWidget* content) {
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(framelessScroll(content, page));
}

}  // namespace quorvane::gui
