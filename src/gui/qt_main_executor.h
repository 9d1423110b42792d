// The main executor of the window: tasks run in the Qt event loop of the
// thread that made it (the GUI thread), timers are Qt timers there. Work
// on other threads posts its results back through it, so the store's state
// is touched by the GUI thread alone.
#pragma once

#include <QObject>

#include "platform/executor.h"

namespace quorvane::gui {

class QtMainExecutor final : public Executor {
 public:
  // `context` lives on the GUI thread and outlives every task posted.
  explicit QtMainExecutor(QObject& context) : context_(context) {}

  // Safe from any thread.
  void post(Task task) override;
  WorkItem postAfter(Milliseconds delay, Task task) override;

 private:
  QObject& context_;
};

}  // namespace quorvane::gui
