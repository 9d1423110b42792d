// The steps a person can take back and do again, newest last: a bounded
// history that knows nothing of what a step holds beyond its name, its
// project, the bytes it keeps on disk and whether it may absorb the next.
//
// - Doing something new drops every step that could be redone.
// - At most `kMaxSteps` steps and `kMaxKeptBytes` bytes of kept files; the
//   oldest go first. A step leaving the history lets go of what it kept
//   (its `kept` handles are released with it).
// - Consecutive edits with the same coalescing key, each within
//   `kCoalescingPause` of the one before, are one step: typing a title is
//   one step, not one per key.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "model/records.h"

namespace quorvane {

// Files set aside for a step (a replaced original, a removed image) in a
// folder of their own, removed when the last holder lets go.
class KeptFiles {
 public:
  KeptFiles(FileSystem& files, std::string folder, std::int64_t bytes)
      : files_(files), folder_(std::move(folder)), bytes_(bytes) {}
  ~KeptFiles();
  KeptFiles(const KeptFiles&) = delete;
  KeptFiles& operator=(const KeptFiles&) = delete;

  const std::string& folder() const { return folder_; }
  std::int64_t bytes() const { return bytes_; }

 private:
  FileSystem& files_;
  std::string folder_;
  std::int64_t bytes_;
};

// The open project's content on one side of a step.
struct ProjectContent {
  Project project;
  StudioSnapshot snapshot;
};

enum class UndoKind {
  content,         // the project's content, `before` and `after`
  image,           // an image added or replaced: content and kept files
  projectDeleted,  // a project deleted (archived)
  projectCopied,   // a project duplicated
  textReused,      // a text or the CV of another project linked
  label,           // one label override
  exportOptions,   // the export defaults
};

struct UndoStep {
  UndoKind kind = UndoKind::content;
  // The menu's words: "undo.action.…" with the thing it acted on.
  std::string actionKey;
  std::string subject;
  std::string projectId;
  std::optional<std::string> coalescingKey;
  Date doneAt;
  // Where the window shows what came back.
  std::optional<SaveSection> section;
  std::optional<std::string> artworkId;

  std::shared_ptr<const ProjectContent> before;
  std::shared_ptr<const ProjectContent> after;
  // An image's files on either side (image steps): the side not in the
  // media folder waits here.
  std::shared_ptr<KeptFiles> keptBefore;
  std::shared_ptr<KeptFiles> keptAfter;
  // A project duplicated: the copy's id (`projectId` is the original's).
  std::string copyId;
  TextAssetType textType = TextAssetType::bio;
  std::string assetBefore;
  std::string assetAfter;
  std::vector<LabelOverrideEntry> labelsBefore;  // every override, on either side
  std::vector<LabelOverrideEntry> labelsAfter;
  ExportOptions optionsBefore;
  ExportOptions optionsAfter;

  std::int64_t keptBytes() const;
};

class UndoHistory {
 public:
  static constexpr std::size_t kMaxSteps = 100;
  static constexpr std::int64_t kMaxKeptBytes = std::int64_t{1} << 30;
  static constexpr std::chrono::milliseconds kCoalescingPause{1000};

  // A step just done. When it may absorb into the newest (same key, no
  // pause, nothing undone since), that one takes its `after` instead.
  void record(UndoStep step);
  bool canUndo() const { return !done_.empty(); }
  bool canRedo() const { return !undone_.empty(); }
  const UndoStep* nextUndo() const { return done_.empty() ? nullptr : &done_.back(); }
  const UndoStep* nextRedo() const { return undone_.empty() ? nullptr : &undone_.back(); }
  UndoStep* nextUndo() { return done_.empty() ? nullptr : &done_.back(); }
  UndoStep* nextRedo() { return undone_.empty() ? nullptr : &undone_.back(); }
  // The next step moves to the other side once it has been carried out.
  void undone();
  void redone();
  // The next step can't be carried out any more: it goes, with every step
  // beyond it on its side (they build on it).
  void dropNextUndo() { done_.clear(); }
  void dropNextRedo() { undone_.clear(); }
  // The next edit starts a step of its own (a field was left).
  void stopCoalescing() { mayCoalesce_ = false; }
  void clear();
  std::size_t size() const { return done_.size() + undone_.size(); }
  std::int64_t keptBytes() const;

 private:
  void bound();

  std::vector<UndoStep> done_;
  std::vector<UndoStep> undone_;
  bool mayCoalesce_ = false;
};

}  // namespace quorvane
