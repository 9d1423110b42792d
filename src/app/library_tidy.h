// What runs that were killed leave behind, put in order by the next run that
// writes (it holds the library lock, so no other writer is at work):
//
// - temporary files of ours whose process is gone, in the media folder, the
//   library's folder and the preferences' folder;
// - media transactions that were interrupted (a staging area of replaced or
//   added images): when the library holds the new images they are kept,
//   otherwise what was replaced is put back and what was added removed;
// - what a killed run kept to undo its steps (".undo-<UUID>" folders):
//   removed, as that run's history ended with it;
// - media files of artworks that the library does not know, once they are
//   an hour old (younger ones may belong to an import under way elsewhere),
//   are moved into Recovery/unreferenced-media-<ms>-<UUID>/ beside the
//   library — never deleted: they may be all that is left of a library that
//   was set aside, or belong to a copy of it that the user will put back.
//
// Each thing done is told in a diagnostic line; nothing here fails the run.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/logger.h"
#include "storage/files_media_store.h"
#include "storage/snapshot_repository.h"

namespace quorvane {

inline constexpr std::chrono::milliseconds kStrayMediaAge{60 * 60 * 1000};

struct TidyReport {
  int temporaryFiles = 0;
  int transactionsUndone = 0;
  int transactionsKept = 0;
  int strayMediaFiles = 0;
  int undoFolders = 0;                          // images a killed run kept to undo its steps
  std::optional<std::string> strayMediaFolder;  // where they went

  bool operator==(const TidyReport&) const = default;
};

TidyReport tidyLibrary(FilesMediaStore& media, SnapshotRepository& repository,
                       const std::vector<std::string>& otherFolders, const Clock& clock,
                       Logger& logger, const std::function<std::string()>& makeUuid);

}  // namespace quorvane
