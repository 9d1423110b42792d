// The store's finishing of imported images: what a run has left to do and
// the machine's conditions that hold it back. The store routes its
// finalisation commands here.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/finalization_pause.h"
#include "app/store_commands.h"
#include "model/date.h"
#include "model/records.h"
#include "platform/executor.h"

namespace quorvane {

class AppStore;
class FilesMediaStore;
class ImageOptimizer;
class IncrementalSnapshotRepository;

class FinalizationRoom {
 public:
  using Request = FinalizationRequest;

  explicit FinalizationRoom(AppStore& store) : store_(store) {}

  // A run over the images pending now, image by image on the image queue.
  void start(Request request);
  bool isRunning() const { return run_.has_value(); }
  // The conditions changed: the pause rule is applied again.
  void conditionsChanged();
  FinalizationConditions& conditions() { return conditions_; }

 private:
  struct Run {
    std::vector<std::string> work;                 // artwork ids awaiting their image, in order
    std::vector<std::string> processed;            // finished, or failed and reported
    std::size_t next = 0;                          // into `work`
    bool inFlight = false;                         // an image is being made
    std::optional<Date> lastPublished;             // when its progress was last told
    std::map<std::string, std::string> originals;  // artwork id → its original
    std::size_t finished = 0;                      // made and written
    bool userWaits = false;
    std::optional<Date> until;  // the end of its time budget
    std::function<void(std::size_t done, std::size_t total)> progress;
    std::function<void(std::size_t finished)> done;
    std::optional<std::string> originalOf(const std::string& id) const;
  };
  // The machine's conditions as this run takes them.
  FinalizationConditions effectiveConditions() const;
  static constexpr Milliseconds kPublishInterval{250};

  // Reads the pending ids, asks the library which still await their
  // image and publishes the status; nothing when none does.
  std::optional<Run> begin();
  // Makes the image of `id` from its `original` and writes it into its
  // artwork; on any thread. The artwork's image fields, or nothing when it
  // has no original or is gone. Throws when the image can't be made or
  // written.
  static std::optional<Artwork> finishAndStore(FilesMediaStore& media, const ImageOptimizer& images,
                                               IncrementalSnapshotRepository& library,
                                               const std::string& id,
                                               const std::optional<std::string>& original);
  // One id done (finished with `fields`, or failed and reported): the
  // open project shows it, the status counts it.
  void imageFinished(Run& run, const std::string& id, const std::optional<Artwork>& fields);
  // The processed ids off the pending list (ids added meanwhile stay).
  void end(const Run& run);
  // Applies the pause rule to the status, with its diagnostics; true when
  // the work may go on.
  bool evaluatePause();
  // Hands the next image to the worker unless one is there or it waits.
  void advance();

  AppStore& store_;
  FinalizationConditions conditions_;
  std::optional<Run> run_;
};

}  // namespace quorvane
