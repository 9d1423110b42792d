#include "app/undo_history.h"

#include <numeric>

namespace quorvane {

KeptFiles::~KeptFiles() {
  try {
    files_.removeAll(folder_);
  } catch (...) {
    // Left for the next start's tidying, which removes what a run kept.
  }
}

std::int64_t UndoStep::keptBytes() const {
  return (keptBefore ? keptBefore->bytes() : 0) + (keptAfter ? keptAfter->bytes() : 0);
}

void UndoHistory::record(UndoStep step) {
  undone_.clear();
  if (mayCoalesce_ && !done_.empty() && step.coalescingKey) {
    UndoStep& newest = done_.back();
    if (newest.coalescingKey == step.coalescingKey && newest.projectId == step.projectId &&
        step.doneAt - newest.doneAt <= kCoalescingPause) {
      newest.after = std::move(step.after);
      newest.doneAt = step.doneAt;
      return;
    }
  }
  done_.push_back(std::move(step));
  mayCoalesce_ = true;
  bound();
}

void UndoHistory::undone() {
  if (done_.empty()) return;
  undone_.push_back(std::move(done_.back()));
  done_.pop_back();
  mayCoalesce_ = false;  // whatever is typed next starts a step of its own
  // Taken back, it may keep what it put aside: the oldest steps behind go
  // first, then those furthest to redo.
  bound();
  while (undone_.size() > 1 && keptBytes() > kMaxKeptBytes) undone_.erase(undone_.begin());
}

void UndoHistory::redone() {
  if (undone_.empty()) return;
  done_.push_back(std::move(undone_.back()));
  undone_.pop_back();
  mayCoalesce_ = false;
  bound();  // the step may keep other files now
}

void UndoHistory::clear() {
  done_.clear();
  undone_.clear();
}

std::int64_t UndoHistory::keptBytes() const {
  const auto sum = [](std::int64_t total, const UndoStep& step) {
    return total + step.keptBytes();
  };
  return std::accumulate(done_.begin(), done_.end(), std::int64_t{0}, sum) +
         std::accumulate(undone_.begin(), undone_.end(), std::int64_t{0}, sum);
}

void UndoHistory::bound() {
  std::size_t drop = done_.size() > kMaxSteps ? done_.size() - kMaxSteps : 0;
  std::int64_t bytes = keptBytes();
  // The newest step stays whatever it keeps: it is what the person may
  // want back in a moment.
  while (drop + 1 < done_.size() && bytes > kMaxKeptBytes) {
    bytes -= done_[drop].keptBytes();
    ++drop;
  }
  done_.erase(done_.begin(), done_.begin() + static_cast<std::ptrdiff_t>(drop));
}

}  // namespace quorvane
