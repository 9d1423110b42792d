// The store's undo and redo: each command a person makes is recorded as a
// step of the history (app/undo_history.h), which this room carries out
// backwards and forwards.
//
// - A step on a project's content is written in one transaction, every
//   section it touches at once: a kill leaves the change or its undo.
// - Only what a step changed is put back: an artwork another step or a
//   finished import changed meanwhile keeps its own state. A step whose
//   target changed since (a work gone, a text rewritten elsewhere) is not
//   carried out; the person is told, and the steps behind it go.
// - Images added or replaced keep their files in a holding folder of this
//   run inside the media folder (".undo-<id>"), removed when the step leaves
//   the history, when the store ends, and by the next start after a kill.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/undo_history.h"

namespace quorvane {

class AppStore;
class OriginalMediaImportTransaction;

// A step's words and where the window shows it; the rest is filled in as
// it is recorded.
UndoStep undoStep(std::string actionKey, std::string subject = {},
                  std::optional<SaveSection> section = {},
                  std::optional<std::string> artworkId = {},
                  std::optional<std::string> coalescingKey = {});

class UndoRoom {
 public:
  explicit UndoRoom(AppStore& store);
  ~UndoRoom();
  UndoRoom(const UndoRoom&) = delete;
  UndoRoom& operator=(const UndoRoom&) = delete;

  // Records what a command does to the open project's content: a step when
  // the outermost recording ends with the content changed. Inside an undo,
  // or inside another recording, it records nothing.
  class Recording {
   public:
    Recording(UndoRoom& room, UndoStep step);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    // The words of the step, once the command knows them.
    UndoStep& step() { return step_; }

   private:
    UndoRoom& room_;
    UndoStep step_;
    bool active_ = false;
  };

  // A step a command built itself; nothing while an undo is carried out.
  void record(UndoStep step);
  // The open project's content as it is now.
  std::shared_ptr<const ProjectContent> content() const;
  bool isCarryingOut() const { return carryingOut_; }

  // An image added or replaced, once the library holds it: its step, with
  // the replaced files (set aside by `transaction`) kept for the undo.
  void imagePlaced(const std::string& artworkId, const std::string& fileName,
                   std::shared_ptr<const ProjectContent> before,
                   OriginalMediaImportTransaction* replacing);

  bool undo();
  bool redo();
  // The history goes, with every file it kept.
  void clear();
  // "Remove ‘Tide I’": what the next undo (or redo) would do, in words.
  std::optional<std::string> nextName(bool undoing) const;
  // The menu's words again, in the interface language now.
  void languageChanged() { refresh(); }

  UndoHistory history;

 private:
  bool carryOut(UndoStep& step, bool undoing);
  bool restoreContent(UndoStep& step, bool undoing);
  bool swapImage(UndoStep& step, bool undoing);
  bool takeBackImage(UndoStep& step);
  bool bringBackImage(UndoStep& step);
  bool switchProject(UndoStep& step, bool undoing);
  bool relinkText(UndoStep& step, bool undoing);
  bool changeLabel(UndoStep& step, bool undoing);
  // Writes `target` over the open project where it differs from
  // `expected`, in one transaction; `forgotten` artworks leave the library
  // with it. False, with the state as it was, when it can't be.
  bool writeContent(const ProjectContent& target, const ProjectContent& expected,
                    const std::vector<std::string>& forgotten = {},
                    const std::vector<std::string>& newImages = {});
  bool openProject(const std::string& projectId);
  bool stale(const UndoStep& step);
  std::string stepName(const UndoStep& step) const;
  // Publishes what the Edit menu offers now.
  void refresh();
  // A new folder of this run's holding area.
  std::string newHoldingFolder();

  AppStore& store_;
  int depth_ = 0;
  bool carryingOut_ = false;
  std::string holdingRoot_;
};

}  // namespace quorvane
