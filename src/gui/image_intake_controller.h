// One batch of images being added to the open project, as the window shows
// it: progress while the files are read and derived in the background, a
// cancel, and the end. One batch at a time: files dropped while one runs
// join the queue and start when it ends.
#pragma once

#include <QObject>
#include <memory>
#include <string>
#include <vector>

#include "app/app_store.h"

namespace quorvane::gui {

class ImageIntakeController final : public QObject {
  Q_OBJECT

 public:
  explicit ImageIntakeController(AppStore& store, QObject* parent = nullptr);
  // A window closing mid-batch leaves the rest undone: nothing more is read.
  ~ImageIntakeController() override { cancel(); }

  void add(const std::vector<std::string>& paths);
  void cancel();
  bool isRunning() const { return job_ != nullptr || running_; }

 signals:
  void started(int total);
  void progressed(int done, int total);
  // `added` images are in the project; `refused` were not (each said in a
  // toast by the store).
  void finished(int added, int refused);

 private:
  void startNext();

  AppStore& store_;
  std::shared_ptr<ImageIntakeJob> job_;
  bool running_ = false;
  std::vector<std::vector<std::string>> waiting_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quorvane::gui
