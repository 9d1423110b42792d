#include "gui/word_run_undo.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QTextDocument>

namespace quorvane {

namespace {

constexpr qint64 kPauseMs = 1000;

// A document merges consecutive typing into one undo step only while it
// is modified: marking it unmodified before a key starts a step there.
class WordRuns final : public QObject {
 public:
  explicit WordRuns(QPlainTextEdit* field) : QObject(field), field_(field) {
    field->installEventFilter(this);
    sinceLastKey_.start();
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched != field_ || event->type() != QEvent::KeyPress) return false;
    const QString typed = static_cast<QKeyEvent*>(event)->text();
    if (typed.isEmpty() || !typed.at(0).isPrint()) return false;
    const bool paused = sinceLastKey_.restart() > kPauseMs;
    if (paused || startsWord(typed.at(0))) field_->document()->setModified(false);
    return false;
  }

 private:
  bool startsWord(QChar typed) const {
    if (typed.isSpace()) return false;
    const QTextCursor cursor = field_->textCursor();
    if (cursor.atBlockStart()) return true;
    const int at = cursor.position() - 1;
    return field_->document()->characterAt(at).isSpace();
  }

  QPlainTextEdit* field_;
  QElapsedTimer sinceLastKey_;
};

}  // namespace

void undoByWordRuns(QPlainTextEdit* field) { new WordRuns(field); }

}  // namespace quorvane
