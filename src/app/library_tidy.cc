#include "app/library_tidy.h"

#include <set>

#include "platform/atomic_file.h"

namespace quorvane {
namespace {

using Transaction = OriginalMediaImportTransaction;

// Whether the library holds what the transaction put in place: every item's
// web derivative is in its place and is the image the library's row has.
bool libraryHoldsNewImages(FilesMediaStore& media, SnapshotRepository& repository,
                           const Transaction::LeftTransaction& left) {
  if (left.items.empty()) return false;  // nothing had moved
  FileSystem& files = media.files();
  for (const Transaction::StagedItem& item : left.items) {
    const std::optional<std::vector<std::uint8_t>> stored = repository.imageBytes(item.id);
    if (!stored) return false;
    // An original alone: a new artwork's row tells, a replaced one's can't
    // (its row was there before), and what can't be told is put back.
    if (!item.stagedWebPath) {
      if (!item.replaces.empty()) return false;
      continue;
    }
    if (files.exists(*item.stagedWebPath)) return false;
    const std::optional<Bytes> placed = media.readFile(*item.webTargetPath);
    if (!placed || *placed != *stored) return false;
  }
  return true;
}

void resolveTransactions(FilesMediaStore& media, SnapshotRepository& repository, Logger& logger,
                         TidyReport& report) {
  for (const Transaction::LeftTransaction& left : Transaction::leftTransactions(media)) {
    // A decision taken before the kill is carried on; else the library
    // decides: the images are kept when it holds them.
    const bool keep = left.outcome ? *left.outcome == Transaction::Outcome::keep
                                   : libraryHoldsNewImages(media, repository, left);
    if (keep) {
      Transaction::finishLeft(media, left);
      ++report.transactionsKept;
      logger.log("[Quorvane][Tidy] state=transaction_kept root=" + left.rootPath);
    } else {
      Transaction::rollBackLeft(media, left);
      ++report.transactionsUndone;
      logger.log("[Quorvane][Tidy] state=transaction_undone root=" + left.rootPath);
    }
  }
}

// Files of artworks the library does not know are moved, never deleted:
// they may be all that is left of a library that was set aside, or belong to
// a copy of the library the user will put back.
void setAsideStrayMedia(FilesMediaStore& media, SnapshotRepository& repository, const Clock& clock,
                        Logger& logger, const std::function<std::string()>& makeUuid,
                        TidyReport& report) {
  FileSystem& files = media.files();
  std::vector<std::string> names;
  try {
    names = files.listDirectory(media.directory());
  } catch (const std::exception&) {
    return;
  }
  std::set<std::string> known;
  bool knownRead = false;
  const Date now = clock.now();
  std::string folder;
  for (const std::string& name : names) {
    const std::optional<std::string> artwork = FilesMediaStore::artworkOfMediaFile(name);
    if (!artwork) continue;
    if (!knownRead) {
      known = repository.artworkIds();
      knownRead = true;
    }
    if (known.contains(*artwork)) continue;
    const std::string path = media.pathOf(name);
    try {
      if (now - files.modificationTime(path) < kStrayMediaAge) continue;
      if (folder.empty()) {
        const std::string library = media.directory().substr(0, media.directory().rfind('/'));
        folder = library + "/Recovery/unreferenced-media-" +
                 std::to_string(millisecondsSince1970(now)) + "-" + makeUuid();
        files.createDirectories(folder);
      }
      files.move(path, folder + "/" + name);
      ++report.strayMediaFiles;
      report.strayMediaFolder = folder;
      logger.log("[Quorvane][Tidy] state=stray_media_set_aside path=" + path + " to=" + folder);
    } catch (const std::exception&) {
    }
  }
}

// What a killed run kept to undo its steps: no run outlives its own.
int removeUndoHolding(FilesMediaStore& media, Logger& logger) {
  FileSystem& files = media.files();
  int removed = 0;
  try {
    for (const std::string& name : files.listDirectory(media.directory())) {
      const std::string path = media.pathOf(name);
      if (!name.starts_with(kUndoHoldingPrefix) ||
          files.entryKind(path) != FileSystem::EntryKind::directory) {
        continue;
      }
      files.removeAll(path);
      logger.log("[Quorvane][Tidy] state=undo_holding_removed dir=" + path);
      ++removed;
    }
  } catch (const std::exception& error) {
    logger.log(std::string("[Quorvane][Tidy] state=undo_holding_left error=") + error.what());
  }
  return removed;
}

}  // namespace

TidyReport tidyLibrary(FilesMediaStore& media, SnapshotRepository& repository,
                       const std::vector<std::string>& otherFolders, const Clock& clock,
                       Logger& logger, const std::function<std::string()>& makeUuid) {
  TidyReport report;
  std::vector<std::string> folders{media.directory()};
  folders.insert(folders.end(), otherFolders.begin(), otherFolders.end());
  for (const std::string& folder : folders) {
    const int removed = removeStaleTemporaryFiles(folder);
    if (removed == 0) continue;
    report.temporaryFiles += removed;
    logger.log("[Quorvane][Tidy] state=temporary_files_removed count=" + std::to_string(removed) +
               " dir=" + folder);
  }
  report.undoFolders = removeUndoHolding(media, logger);
  try {
    resolveTransactions(media, repository, logger, report);
    setAsideStrayMedia(media, repository, clock, logger, makeUuid, report);
  } catch (const std::exception& error) {
    // The library could not be read: what is left waits for the next run.
    logger.log(std::string("[Quorvane][Tidy] state=stopped error=") + error.what());
  }
  return report;
}

}  // namespace quorvane
