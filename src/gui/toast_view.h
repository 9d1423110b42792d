// The toast the store publishes, over the window: its title and words in
// the style's colours, at the top or the middle as the toast says, with its
// action (the oversized images) when it has one. It goes by itself after a
// while (errors stay longer), or with its close button.
#pragma once

#include <QFrame>
#include <QTimer>
#include <optional>

#include "app/app_store.h"
#include "gui/store_subscription.h"

class QLabel;
class QPushButton;
class QToolButton;

namespace quorvane::gui {

class ToastView final : public QFrame {
  Q_OBJECT

 public:
  // Shown over `anchor` (the area beside the sidebar), a child of `parent`
  // outside any layout.
  ToastView(AppStore& store, QWidget* parent, QWidget* anchor);
  // The toast on screen, if any.
  const std::optional<ToastMessage>& toast() const { return shown_; }
  QLabel* textLabel() const { return text_; }
  void retranslate();
  // Places it over its parent as its placement says.
  void place();

  static constexpr int kInfoMilliseconds = 4500;
  static constexpr int kErrorMilliseconds = 9000;

 signals:
  void actionTriggered(ToastAction action);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void present(const std::optional<ToastMessage>& toast);

  AppStore& store_;
  QWidget* anchor_;
  std::optional<ToastMessage> shown_;
  QLabel* title_;
  QLabel* text_;
  QPushButton* action_;
  QToolButton* close_;
  QTimer timer_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
