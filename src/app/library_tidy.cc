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
    if (!item.stagedWebPath) continue;  // an original alone: its row is enough
    if (files.exists(*item.stagedWebPath)) return false;
    const std::optional<Bytes> placed = media.readFile(*item.webTargetPath);
    if (!placed || *placed != *stored) return false;
  }
  return true;
}

void resolveTransactions(FilesMediaStore& media, SnapshotRepository& repository, Logger& logger,
                         TidyReport& report) {
  for (const Transaction::LeftTransaction& left : Transaction::leftTransactions(media)) {
    if (libraryHoldsNewImages(media, repository, left)) {
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

void removeStrayMedia(FilesMediaStore& media, SnapshotRepository& repository, const Clock& clock,
                      Logger& logger, TidyReport& report) {
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
      files.removeAll(path);
      ++report.strayMediaFiles;
      logger.log("[Quorvane][Tidy] state=stray_media_removed path=" + path);
    } catch (const std::exception&) {
    }
  }
}

}  // namespace

TidyReport tidyLibrary(FilesMediaStore& media, SnapshotRepository& repository,
                       const std::vector<std::string>& otherFolders, const Clock& clock,
                       Logger& logger) {
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
  try {
    resolveTransactions(media, repository, logger, report);
    removeStrayMedia(media, repository, clock, logger, report);
  } catch (const std::exception& error) {
    // The library could not be read: what is left waits for the next run.
    logger.log(std::string("[Quorvane][Tidy] state=stopped error=") + error.what());
  }
  return report;
}

}  // namespace quorvane
