#include "app/save_pipeline.h"

#include <algorithm>
#include <vector>

namespace quorvane {

SavePipeline::SavePipeline(Executor& main, const Clock& clock, Executor& saveQueue,
                           IncrementalSnapshotRepository& repository, Listener listener)
    : main_(main),
      clock_(clock),
      saveQueue_(saveQueue),
      repository_(repository),
      listener_(std::move(listener)),
      self_(std::make_shared<SavePipeline*>(this)) {}

SavePipeline::~SavePipeline() {
  for (auto& [section, save] : pending_) save.workItem.cancel();
  for (auto& [section, reset] : badgeResets_) reset.cancel();
  savingReset_.cancel();
}

bool SavePipeline::isSaved(SaveSection section) const {
  const auto it = savedFlags_.find(section);
  return it != savedFlags_.end() && it->second;
}

std::uint64_t SavePipeline::generationOf(const std::string& projectId, SaveSection section) const {
  const std::lock_guard lock(writeMutex_);
  const auto it = generations_.find({projectId, section});
  return it == generations_.end() ? 0 : it->second;
}

void SavePipeline::scheduleSave(SaveSection section, const Project& project,
                                const StudioSnapshot& snapshot) {
  if (webCVImportTarget_ == project.id) {
    deferredSections_[project.id].insert(section);
    deferredSnapshots_.insert_or_assign(project.id, std::pair{project, snapshot});
    return;
  }
  const std::uint64_t fingerprint = sectionFingerprint(section, project, snapshot);
  if (const auto pending = pending_.find(section); pending != pending_.end()) {
    pending->second.workItem.cancel();
    pending_.erase(pending);
  }
  const auto saved = lastSavedFingerprints_.find(section);
  if (saved != lastSavedFingerprints_.end() && saved->second == fingerprint) {
    // Back to what was saved last: nothing to write, and a pending save of
    // the content in between must not be written either.
    updateWaiting();
    return;
  }
  const std::weak_ptr<SavePipeline*> weak = self_;
  WorkItem item = main_.postAfter(kQuietBeforeSave, [weak, section] {
    if (const auto self = weak.lock()) (*self)->fire(section);
  });
  pending_.insert_or_assign(
      section, PendingSave{item, project, snapshot, fingerprint, generationOf(project.id, section),
                           nextSequence_++});
  updateWaiting();
}

void SavePipeline::fire(SaveSection section) {
  const auto it = pending_.find(section);
  if (it == pending_.end()) return;
  Write write{section,
              it->second.project,
              it->second.snapshot,
              it->second.fingerprint,
              it->second.generation,
              it->second.sequence};
  pending_.erase(it);
  updateWaiting();
  hand(std::move(write));
}

void SavePipeline::hand(Write write) {
  beginSaving();
  const std::weak_ptr<SavePipeline*> weak = self_;
  saveQueue_.post([weak, write = std::move(write)] {
    const auto self = weak.lock();
    if (!self) return;
    SavedProject saved;
    std::exception_ptr error;
    const Outcome outcome = (*self)->write(write, saved, error);
    (*self)->main_.post([weak, write, outcome, saved, error] {
      if (const auto pipeline = weak.lock()) (*pipeline)->finish(write, outcome, saved, error);
    });
  });
}

SavePipeline::Outcome SavePipeline::write(const Write& write, SavedProject& saved,
                                          std::exception_ptr& error) {
  // One write at a time, here or in a flush: the checks and the write must
  // not be overtaken by a newer write of the same section.
  const std::lock_guard lock(writeMutex_);
  const auto generation = generations_.find({write.project.id, write.section});
  if ((generation == generations_.end() ? 0 : generation->second) != write.generation) {
    return Outcome::dropped;  // issued before a web CV import replaced this section
  }
  std::uint64_t& lastWritten = lastWrittenSequences_[write.section];
  if (lastWritten > write.sequence) return Outcome::dropped;  // newer content is written
  try {
    saved = repository_.save(write.project, write.snapshot, storageSectionName(write.section));
    lastWritten = write.sequence;
    return Outcome::written;
  } catch (...) {
    error = std::current_exception();
    return Outcome::failed;
  }
}

void SavePipeline::finish(const Write& write, Outcome outcome, const SavedProject& saved,
                          const std::exception_ptr& error) {
  endSaving();
  if (outcome == Outcome::failed) {
    if (listener_.failed) listener_.failed(write.section, error);
    return;
  }
  if (outcome == Outcome::dropped) return;
  // A write that reports back after a newer one of its section (a flush
  // overtook it) must not claim to be what was saved last.
  std::uint64_t& newest = lastFinishedSequences_[write.section];
  if (write.sequence >= newest) {
    newest = write.sequence;
    lastSavedFingerprints_[write.section] = write.fingerprint;
  }
  savedFlags_[write.section] = true;
  badgeResets_[write.section].cancel();
  const std::weak_ptr<SavePipeline*> weak = self_;
  const SaveSection section = write.section;
  badgeResets_[section] = main_.postAfter(kSavedBadge, [weak, section] {
    const auto self = weak.lock();
    if (!self) return;
    (*self)->savedFlags_[section] = false;
    (*self)->changed();
  });
  if (listener_.saved) listener_.saved(write.section, saved);
  changed();
}

void SavePipeline::flushPendingSaves() {
  std::map<SaveSection, PendingSave> pending;
  pending.swap(pending_);
  updateWaiting();
  // In the order the edits were made: each write carries the project row as
  // it was at its edit, and the newest row must be written last.
  std::vector<std::pair<SaveSection, PendingSave*>> inOrder;
  for (auto& [section, save] : pending) inOrder.emplace_back(section, &save);
  std::sort(inOrder.begin(), inOrder.end(),
            [](const auto& a, const auto& b) { return a.second->sequence < b.second->sequence; });
  for (auto& [section, pendingSave] : inOrder) {
    PendingSave& save = *pendingSave;
    save.workItem.cancel();
    const Write write{section,          save.project,    save.snapshot,
                      save.fingerprint, save.generation, save.sequence};
    beginSaving();
    SavedProject saved;
    std::exception_ptr error;
    const Outcome outcome = this->write(write, saved, error);
    finish(write, outcome, saved, error);
  }
}

void SavePipeline::firePendingSaves() {
  std::vector<std::pair<std::uint64_t, SaveSection>> inOrder;
  for (const auto& [section, save] : pending_) inOrder.emplace_back(save.sequence, section);
  std::sort(inOrder.begin(), inOrder.end());
  for (const auto& [sequence, section] : inOrder) {
    pending_.at(section).workItem.cancel();
    fire(section);
  }
}

bool SavePipeline::saveNow(SaveSection section, const Project& project,
                           const StudioSnapshot& snapshot) {
  if (const auto pending = pending_.find(section); pending != pending_.end()) {
    pending->second.workItem.cancel();
    pending_.erase(pending);
    updateWaiting();
  }
  const Write write{section,
                    project,
                    snapshot,
                    sectionFingerprint(section, project, snapshot),
                    generationOf(project.id, section),
                    nextSequence_++};
  beginSaving();
  SavedProject saved;
  std::exception_ptr error;
  const Outcome outcome = this->write(write, saved, error);
  finish(write, outcome, saved, error);
  return outcome == Outcome::written;
}

bool SavePipeline::saveWholeNow(const Project& project, const StudioSnapshot& snapshot,
                                const std::vector<std::string>& forgotten) {
  // What waited is written by this save; should it fail, it waits again.
  std::vector<std::pair<SaveSection, PendingSave>> waiting;
  for (auto& [section, pending] : pending_) {
    pending.workItem.cancel();
    waiting.emplace_back(section, std::move(pending));
  }
  pending_.clear();
  updateWaiting();
  std::vector<Write> writes;
  for (const SaveSection section : allCases<SaveSection>()) {
    writes.push_back(Write{section, project, snapshot,
                           sectionFingerprint(section, project, snapshot),
                           generationOf(project.id, section), nextSequence_++});
    beginSaving();
  }
  SavedProject saved;
  std::exception_ptr error;
  Outcome outcome = Outcome::written;
  {
    const std::lock_guard lock(writeMutex_);
    try {
      saved = repository_.saveWhole(project, snapshot, forgotten);
      for (const Write& write : writes) lastWrittenSequences_[write.section] = write.sequence;
    } catch (...) {
      error = std::current_exception();
      outcome = Outcome::failed;
    }
  }
  for (std::size_t i = 0; i < writes.size(); ++i) {
    if (outcome == Outcome::failed && i > 0) {
      endSaving();  // one failure, told once
    } else {
      finish(writes[i], outcome, saved, error);
    }
  }
  if (outcome == Outcome::failed) {
    for (const auto& [section, pending] : waiting) {
      scheduleSave(section, pending.project, pending.snapshot);
    }
  }
  return outcome == Outcome::written;
}

void SavePipeline::beginWebCVImport(const std::string& projectId) {
  webCVImportTarget_ = projectId;
}

void SavePipeline::endWebCVImport(
    const std::string& projectId, const std::set<SaveSection>& replaced,
    const std::optional<std::pair<Project, StudioSnapshot>>& imported) {
  if (webCVImportTarget_ == projectId) webCVImportTarget_.reset();
  {
    const std::lock_guard lock(writeMutex_);
    for (const SaveSection section : replaced) ++generations_[{projectId, section}];
  }
  if (imported) {
    // What the import wrote is what was saved last: an edit that returns to
    // the content before it must be written.
    for (const SaveSection section : replaced) {
      lastSavedFingerprints_[section] =
          sectionFingerprint(section, imported->first, imported->second);
    }
  }
  const auto held = deferredSnapshots_.find(projectId);
  const auto sections = deferredSections_.find(projectId);
  if (held == deferredSnapshots_.end() || sections == deferredSections_.end()) return;
  const auto [project, content] = held->second;
  const std::set<SaveSection> heldSections = sections->second;
  deferredSnapshots_.erase(held);
  deferredSections_.erase(sections);
  for (const SaveSection section : heldSections) {
    if (imported) {
      scheduleSave(section, project, content);
    } else {
      // Another project is edited now: its pending saves must not be
      // replaced by these.
      hand({section, project, content, sectionFingerprint(section, project, content),
            generationOf(projectId, section), nextSequence_++});
    }
  }
}

void SavePipeline::beginSaving() {
  savingReset_.cancel();
  if (activeSaves_ == 0) savingBeganAt_ = clock_.now();
  ++activeSaves_;
  if (!isSaving_) {
    isSaving_ = true;
    changed();
  }
}

void SavePipeline::endSaving() {
  activeSaves_ = std::max(activeSaves_ - 1, 0);
  if (activeSaves_ > 0) return;
  const std::int64_t elapsed =
      savingBeganAt_ ? millisecondsSince1970(clock_.now()) - millisecondsSince1970(*savingBeganAt_)
                     : 0;
  const std::int64_t remaining = kMinimumSavingIndicator.count() - elapsed;
  savingReset_.cancel();
  const auto switchOff = [this] {
    savingBeganAt_.reset();
    if (isSaving_) {
      isSaving_ = false;
      changed();
    }
  };
  if (remaining < 1) {
    switchOff();
    return;
  }
  const std::weak_ptr<SavePipeline*> weak = self_;
  savingReset_ = main_.postAfter(Milliseconds(remaining), [weak] {
    const auto self = weak.lock();
    if (!self) return;
    SavePipeline& pipeline = **self;
    pipeline.savingBeganAt_.reset();
    if (pipeline.isSaving_) {
      pipeline.isSaving_ = false;
      pipeline.changed();
    }
  });
}

void SavePipeline::updateWaiting() {
  const bool waiting = !pending_.empty();
  if (waiting == isSaveWaiting_) return;
  isSaveWaiting_ = waiting;
  changed();
}

void SavePipeline::changed() {
  if (listener_.stateChanged) listener_.stateChanged();
}

}  // namespace quorvane
