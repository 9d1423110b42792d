// The toast the store publishes: its title and words in the style's
// colours, with its action (the oversized images) when it has one. It sits
// in the window's layout below the pages, never over them, so it can't
// cover a field being typed in. It goes by itself after a while (errors
// stay longer), or with its close button.
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
  ToastView(AppStore& store, QWidget* parent);
  // The toast on screen, if any.
  const std::optional<ToastMessage>& toast() const { return shown_; }
  QLabel* textLabel() const { return text_; }
  QPushButton* actionButton() const { return action_; }
  void retranslate();

  static constexpr int kInfoMilliseconds = 4500;
  static constexpr int kErrorMilliseconds = 9000;

 signals:
  void actionTriggered(ToastAction action);

 private:
  void present(const std::optional<ToastMessage>& toast);

  AppStore& store_;
  std::optional<ToastMessage> shown_;
  QLabel* title_;
  QLabel* text_;
  QPushButton* action_;
  QToolButton* close_;
  QTimer timer_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
