// Every question the window asks before something is lost goes through
// here: the answer that loses something is named for what it does ("Delete
// project"), never "Yes", and is never the default — Cancel is, and
// Escape's answer too, so a stray Enter keeps everything.
#pragma once

#include <QString>
#include <functional>

class QMessageBox;
class QWidget;

namespace quorvane::gui {

// The question, not shown yet: `message`, Cancel (the default) and the
// button `action`. Owned by `parent`.
QMessageBox* makeQuestion(QWidget* parent, const QString& message, const QString& action);

// Asks and waits for the answer: whether the user chose `action`.
bool askBeforeActing(QWidget* parent, const QString& message, const QString& action);

// How a screen asks before losing something: the window hands its own to
// every screen, so that tests answer all questions in one place.
using Ask = std::function<bool(const QString& message, const QString& action)>;

// Asks with `askBeforeActing` over `parent`: a screen's own way until the
// window hands it the shared one.
Ask askOver(QWidget* parent);

}  // namespace quorvane::gui
