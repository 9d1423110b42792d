#include "gui/qt_main_executor.h"

#include <QMetaObject>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>

namespace quorvane::gui {

void QtMainExecutor::post(Task task) {
  QMetaObject::invokeMethod(
      &context_, [task = std::move(task)] { task(); }, Qt::QueuedConnection);
}

WorkItem QtMainExecutor::postAfter(Milliseconds delay, Task task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  auto guarded = [cancelled, task = std::move(task)] {
    if (!cancelled->load()) task();
  };
  if (delay.count() <= 0) {
    post(std::move(guarded));  // in order with what is posted after it
    return WorkItem(cancelled);
  }
  // A timer belongs to the thread that starts it: start it on the GUI
  // thread whoever asks.
  QObject* context = &context_;
  const int milliseconds =
      static_cast<int>(std::min<Milliseconds::rep>(delay.count(), std::numeric_limits<int>::max()));
  QMetaObject::invokeMethod(
      context,
      [context, milliseconds, guarded = std::move(guarded)] {
        QTimer::singleShot(milliseconds, context, guarded);
      },
      Qt::QueuedConnection);
  return WorkItem(cancelled);
}

}  // namespace quorvane::gui
