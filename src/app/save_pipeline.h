// Every edit changes the open project in memory at once; this pipeline
// writes it to the library later, per section, without blocking the user:
//
// - a section saves at most once per 900 ms of quiet (a burst of edits ends
//   in one save of the last state), sections independently;
// - a section whose content equals what was saved last is not written;
// - writes run on the save queue, one at a time, in the order issued, and a
//   write never replaces newer content of its section;
// - the "saving" indicator stays on at least 650 ms; a section's "saved"
//   badge shows for 2.4 s;
// - while a web CV import runs into a project, its saves are held back and
//   written when the import ends; a save issued before the import is dropped
//   only when the import replaced its section (it would overwrite newer
//   content), every other is written;
// - `flushPendingSaves` writes everything pending at once (quitting calls it,
//   so no edit is lost on exit).
//
// Everything but the writes runs on the main executor, which must be the one
// calling in. Tasks left behind on either executor do nothing once the
// pipeline is gone, but a write already running on the save queue uses it:
// drain the save queue before destroying the pipeline (quitting flushes, then
// drains).
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "app/save_section.h"
#include "platform/clock.h"
#include "platform/executor.h"
#include "storage/snapshot_repository.h"

namespace quorvane {

class SavePipeline {
 public:
  static constexpr Milliseconds kQuietBeforeSave{900};
  static constexpr Milliseconds kMinimumSavingIndicator{650};
  static constexpr Milliseconds kSavedBadge{2400};

  // Told on the main executor after each write: what was saved (its image
  // paths to adopt), or why it failed.
  struct Listener {
    std::function<void(SaveSection, const SavedProject&)> saved;
    std::function<void(SaveSection, std::exception_ptr)> failed;
    std::function<void()> stateChanged;  // waiting, saving or a badge changed
  };

  SavePipeline(Executor& main, const Clock& clock, Executor& saveQueue,
               IncrementalSnapshotRepository& repository, Listener listener = {});
  ~SavePipeline();
  SavePipeline(const SavePipeline&) = delete;
  SavePipeline& operator=(const SavePipeline&) = delete;

  void scheduleSave(SaveSection section, const Project& project, const StudioSnapshot& snapshot);

  // Writes every pending section now, on the calling thread, and returns when
  // they are written.
  void flushPendingSaves();

  // Hands every pending section to the save queue now, in the order of
  // the edits, without waiting for them: for a window losing the focus.
  void firePendingSaves();

  // Writes `section` of this content now, on the calling thread, in place of
  // any pending save of it; true when it was written. For changes whose
  // files and rows go together (a replaced image), which must know at once.
  bool saveNow(SaveSection section, const Project& project, const StudioSnapshot& snapshot);

  // Writes every section of this content now, in one transaction, in place
  // of every pending save; `forgotten` artworks leave the library with it
  // (IncrementalSnapshotRepository::saveWhole). True when it was written;
  // a failure is told once. For a change of several sections that must
  // reach the library together (an undo).
  bool saveWholeNow(const Project& project, const StudioSnapshot& snapshot,
                    const std::vector<std::string>& forgotten = {});

  void beginWebCVImport(const std::string& projectId);
  // Drops the saves issued before the import of the sections it `replaced`
  // in the library. While the project is still the one edited, `imported` is
  // its content as the import left the library: the replaced sections count
  // as saved with it, and the sections held back during the import are
  // scheduled as usual. Otherwise they are handed to the save queue at once.
  // Either way a held section is written with the content last given for it
  // (an edit made during the import is newer than the import).
  void endWebCVImport(const std::string& projectId, const std::set<SaveSection>& replaced,
                      const std::optional<std::pair<Project, StudioSnapshot>>& imported);

  bool isSaveWaiting() const { return isSaveWaiting_; }
  bool isSaving() const { return isSaving_; }
  bool isSaved(SaveSection section) const;

 private:
  struct PendingSave {
    WorkItem workItem;
    Project project;
    StudioSnapshot snapshot;
    std::uint64_t fingerprint = 0;
    std::uint64_t generation = 0;
    std::uint64_t sequence = 0;
  };
  struct Write {
    SaveSection section;
    Project project;
    StudioSnapshot snapshot;
    std::uint64_t fingerprint;
    std::uint64_t generation;
    std::uint64_t sequence;
  };
  enum class Outcome { written, failed, dropped };

  void fire(SaveSection section);
  // Hands `write` to the save queue; its outcome is told on the main executor.
  void hand(Write write);
  // Writes unless the write is stale; run on the save queue or in a flush.
  Outcome write(const Write& write, SavedProject& saved, std::exception_ptr& error);
  void finish(const Write& write, Outcome outcome, const SavedProject& saved,
              const std::exception_ptr& error);
  void beginSaving();
  void endSaving();
  void updateWaiting();
  void changed();
  std::uint64_t generationOf(const std::string& projectId, SaveSection section) const;

  Executor& main_;
  const Clock& clock_;
  Executor& saveQueue_;
  IncrementalSnapshotRepository& repository_;
  Listener listener_;
  // Tasks hold this weakly: once the pipeline is gone they do nothing.
  std::shared_ptr<SavePipeline*> self_;

  std::map<SaveSection, PendingSave> pending_;
  std::map<SaveSection, std::uint64_t> lastSavedFingerprints_;
  std::map<SaveSection, std::uint64_t> lastFinishedSequences_;
  std::map<SaveSection, bool> savedFlags_;
  std::map<SaveSection, WorkItem> badgeResets_;
  std::uint64_t nextSequence_ = 1;
  bool isSaveWaiting_ = false;
  bool isSaving_ = false;
  int activeSaves_ = 0;
  std::optional<Date> savingBeganAt_;
  WorkItem savingReset_;

  std::optional<std::string> webCVImportTarget_;
  std::map<std::string, std::pair<Project, StudioSnapshot>> deferredSnapshots_;
  std::map<std::string, std::set<SaveSection>> deferredSections_;

  // Shared with the save queue.
  mutable std::mutex writeMutex_;
  std::map<std::pair<std::string, SaveSection>, std::uint64_t> generations_;
  std::map<SaveSection, std::uint64_t> lastWrittenSequences_;
};

}  // namespace quorvane
