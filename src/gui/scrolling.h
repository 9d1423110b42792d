// Frameless scrolling for the window's pages: a column of fields or cards
// taller than the window scrolls inside it, edge to edge, with no frame of
// its own around it.
#pragma once

class QScrollArea;
class QWidget;

namespace quorvane::gui {

// A frameless scroll area of `parent` around `content`, which it keeps as
// wide as itself.
QScrollArea* framelessScroll(QWidget* content, QWidget* parent);
// Fills `page` edge to edge with a frameless scroll area around `content`.
void fillWithScrolling(QWidget* page, QWidget* content);

}  // namespace quorvane::gui
