// Long work the window started — a backup written or read — shown in the
// window itself, under the pages: what is happening, how far it has come,
// and Cancel while the work can still stop. The window stays live above.
#pragma once

#include <QFrame>
#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace quorvane::gui {

class WorkStrip final : public QFrame {
  Q_OBJECT

 public:
  explicit WorkStrip(QWidget* parent = nullptr);

  // Shows `text` with a bar that moves until progress is told; `cancel`
  // (when given) is what the Cancel button does.
  void start(const QString& text, std::function<void()> cancel);
  void setText(const QString& text);
  void setProgress(int value, int maximum);
  // Hides it; the work is over.
  void finish();
  bool isRunning() const { return running_; }
  void retranslate(const QString& cancelWord);

  QLabel* textLabel() const { return text_; }
  QProgressBar* bar() const { return bar_; }
  QPushButton* cancelButton() const { return cancelButton_; }

 private:
  QLabel* text_;
  QProgressBar* bar_;
  QPushButton* cancelButton_;
  std::function<void()> cancel_;
  bool running_ = false;
};

}  // namespace quorvane::gui
