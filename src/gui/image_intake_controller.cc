#include "gui/image_intake_controller.h"
#include "app/image_intake_job.h"

#include <algorithm>

namespace quorvane::gui {

ImageIntakeController::ImageIntakeController(AppStore& store, QObject* parent)
    : QObject(parent), store_(store) {}

void ImageIntakeController::add(const std::vector<std::string>& paths) {
  if (paths.empty()) return;
  waiting_.push_back(paths);
  if (!isRunning()) startNext();
}

void ImageIntakeController::cancel() {
  waiting_.clear();
  if (job_) job_->cancel();
}

void ImageIntakeController::startNext() {
  if (waiting_.empty()) return;
  const std::vector<std::string> paths = std::move(waiting_.front());
  waiting_.erase(waiting_.begin());
  running_ = true;
  const int total = static_cast<int>(paths.size());
  emit started(total);
  // The store may finish at once (no image queue): `alive_` keeps the
  // callbacks from reaching a controller already gone.
  std::weak_ptr<bool> alive = alive_;
  job_ = store_.addImagesInBackground(
      paths,
      [this, alive](std::size_t done, std::size_t all) {
        if (alive.expired()) return;
        emit progressed(static_cast<int>(done), static_cast<int>(all));
      },
      [this, alive](const std::vector<ImageAddResult>& results) {
        if (alive.expired()) return;
        const auto added = std::count_if(results.begin(), results.end(),
                                         [](const ImageAddResult& r) { return r.artworkId; });
        job_.reset();
        running_ = false;
        emit finished(static_cast<int>(added), static_cast<int>(results.size() - added));
        startNext();
      });
  if (!running_) job_.reset();  // finished before the job was handed back
}

}  // namespace quorvane::gui
