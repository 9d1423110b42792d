// The media directory: every artwork's original image and its web and print
// derivatives, named by artwork id so the database never stores a path,
// plus the cache of rendered PDF page thumbnails.
//
//   <id>_orig.<ext>             the original as the artist supplied it
//   <id>_web_v1.jpg             the web derivative
//   <id>_print_v<version>.jpg   the print derivative of a preset version
//   derived_web/pdfthumb/       <key>_pdfthumb_v1.webp or .jpg
//   .import-staging-<UUID>/     a batch import in progress (staged/, backup/)
//
// Every file is written atomically. The store holds no state besides its two
// directories, so any thread may use it. File-system errors pass through
// unchanged; an id, extension or key that would name a file outside the
// folder is refused with std::invalid_argument.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/logger.h"

namespace quorvane {

// The folder a run keeps replaced and removed images in while they can
// still be brought back (".undo-<UUID>"); no run outlives its own.
inline constexpr std::string_view kUndoHoldingPrefix = ".undo-";

class FilesMediaStore {
 public:
  // A store on `directory`, created with its parents, and the thumbnail
  // directory inside it. Throws when a directory can't be created. A store
  // for reading only (`createMissing` false) makes no directory.
  FilesMediaStore(std::string directory, FileSystem& files = realFileSystem(),
                  Logger& logger = nullLogger(), bool createMissing = true);

  const std::string& directory() const { return directory_; }
  const std::string& pdfThumbDirectory() const { return pdfThumbDirectory_; }
  FileSystem& files() const { return files_; }

  // <directory>/<name>.
  std::string pathOf(const std::string& name) const;

  // Writes the original of an artwork as <id>_orig.<extension>; its path.
  std::string writeOriginal(const std::string& artworkId, std::span<const std::uint8_t> data,
                            const std::string& extension);
  // Every original of the artwork (several extensions may exist), sorted;
  // none when the directory can't be listed. "a1" never finds "a10"'s.
  std::vector<std::string> originalFiles(const std::string& artworkId) const;
  // The first original of every artwork that has one, by artwork id, from
  // one listing of the folder (empty when it can't be listed).
  std::map<std::string, std::string> originalsByArtwork() const;
  // Every file of the artwork: its originals, its web derivative and its
  // print derivatives, sorted.
  std::vector<std::string> mediaFiles(const std::string& artworkId) const;
  // The artwork whose media file is named `name`, when it names one.
  static std::optional<std::string> artworkOfMediaFile(const std::string& name);

  std::string webDerivativePath(const std::string& artworkId) const;
  std::string writeWebDerivative(const std::string& artworkId, std::span<const std::uint8_t> jpeg);
  std::string printVariantPath(const std::string& artworkId, std::int64_t version) const;
  std::string writePrintVariant(const std::string& artworkId, std::int64_t version,
                                std::span<const std::uint8_t> jpeg);
  void deletePrintVariant(const std::string& artworkId, std::int64_t version);

  // A file's whole content, or nothing when it can't be read.
  std::optional<Bytes> readFile(const std::string& path) const;

  // Creates the thumbnail directory when missing, saying so in a diagnostic
  // (something removed it behind the program's back).
  void ensurePdfThumbDirectory();
  // Writes the thumbnail of `key` as .webp (when `extension` is "webp" in any
  // case) or .jpg, and removes the other one; its path.
  std::string writePdfThumb(const std::string& key, std::span<const std::uint8_t> data,
                            const std::string& extension);
  // The .webp thumbnail of `key` when it exists, else the .jpg path.
  std::string pdfThumbPath(const std::string& key) const;
  void removePdfThumbs(const std::string& key);

  // Removes what this store writes in the media directory — originals,
  // derivatives, the thumbnail cache's files, import staging areas, our
  // temporary files — and nothing else (what can't be removed stays), then
  // makes the thumbnail directory again; only that can throw. The folder
  // may be a link to one where the user keeps other files: a name of
  // another form is left alone, and a symbolic link is never followed nor
  // removed (this store never makes one).
  void removeOwnMedia();
  // Where the media directory leads, when it is itself a symbolic link.
  std::optional<std::string> linkTarget() const;

  // The files of every artwork, sorted, by artwork id, from one listing;
  // throws when the folder can't be listed (what must know every file, to
  // replace none unawares).
  std::map<std::string, std::vector<std::string>> mediaFilesByArtworkOrThrow() const;
  Logger& logger() const { return logger_; }

 private:
  // The files of the media directory whose name is `wanted`, sorted; none
  // when it can't be listed.
  std::vector<std::string> filesWhere(
      const std::function<bool(const std::string& name)>& wanted) const;
  std::string pdfThumbFile(const std::string& key, const char* extension) const;
  void removeQuietly(const std::string& path);

  std::string directory_;
  std::string pdfThumbDirectory_;
  FileSystem& files_;
  Logger& logger_;
};

// What a batch brings for one artwork: its original file and, when it is
// made already, its web derivative.
struct OriginalMediaImportItem {
  std::string id;
  Bytes data;
  std::string fileExtension;  // without the dot
  std::optional<Bytes> webDerivative;

  bool operator==(const OriginalMediaImportItem&) const = default;
};

// Puts a batch of originals (with their web derivatives) in place all
// together or not at all: a package import, new images, a replaced image.
// Every file is staged first; `commit` then swaps them in, setting aside
// every media file of the artwork they replace (originals of any type, its
// web derivative, its print derivatives, which were made from the old
// original), and `rollback` puts everything back as it was.
//
// Order of calls: `begin` (or `open` and `stage`), `commit`, then `discard`
// once the database is saved, or `rollback` when saving it fails. A failed
// `commit` has already rolled itself back.
//
// A crash can leave a staging area behind. Its "transaction.json", written
// before the first file moves, lists the items and what each replaces; the
// outcome (keep or roll back) is added to it before it is carried out.
// `leftTransactions` finds such areas and `rollBackLeft` or `finishLeft`
// ends them — as the outcome says, else as the database says the save did
// or did not happen. Without the list nothing had moved.
class OriginalMediaImportTransaction {
 public:
  struct StagedItem {
    std::string id;
    std::string stagedPath;
    std::string targetPath;
    std::optional<std::string> stagedWebPath;  // with a web derivative
    std::optional<std::string> webTargetPath;
    // The names of the artwork's files that the commit set aside.
    std::vector<std::string> replaces;

    bool operator==(const StagedItem&) const = default;
  };

  // What became of a transaction, once decided: written into its list
  // before it is carried out, so that a kill half-way is finished the same
  // way by the next run.
  enum class Outcome { keep, rollback };

  // Stages every item under <directory>/.import-staging-<UUID>/staged.
  // Nothing, and no directory, for an empty batch. Two items of one artwork,
  // or an id or extension that is no plain file-name part, are refused
  // (std::invalid_argument) before anything is written. A failed write
  // removes the staging area and is thrown.
  static std::optional<OriginalMediaImportTransaction> begin(
      FilesMediaStore& store, const std::vector<OriginalMediaImportItem>& items);

  // A transaction to which items are staged one by one; its directory is
  // made with the first.
  static OriginalMediaImportTransaction open(FilesMediaStore& store);
  // Stages one more item. Refuses (std::invalid_argument) a second item of
  // an artwork or a name part that could leave the folder; throws when a
  // write fails, with what was staged before left staged.
  void stage(const OriginalMediaImportItem& item);

  // Writes the list of items, then for each item in order: the artwork's
  // current media files move to the backup, the staged files to their
  // places. On a failure everything is rolled back and the error thrown.
  // Only once; an empty transaction commits nothing.
  void commit();
  // Undoes what `commit` did, as far as it got; never throws. Running it
  // again does nothing more. When a replaced file could not be put back,
  // the staging area (holding it) is kept and `keptFolder` names it.
  void rollback() noexcept;
  const std::optional<std::string>& keptFolder() const { return keptFolder_; }
  // Ends a successful import: the staging area and the replaced files go.
  void discard() noexcept;
  // Before `discard`: moves the files the commit set aside into `folder`
  // (made when missing), where they outlive the transaction; their bytes
  // in all. Throws when one can't be moved (the rest then go with
  // `discard`).
  std::int64_t keepReplaced(const std::string& folder);

  const std::string& rootPath() const { return rootPath_; }
  const std::vector<StagedItem>& items() const { return items_; }

  // A staging area that a process left behind.
  struct LeftTransaction {
    std::string rootPath;
    std::vector<StagedItem> items;   // empty when nothing had moved yet
    std::optional<Outcome> outcome;  // absent when killed before deciding
  };
  static std::vector<LeftTransaction> leftTransactions(FilesMediaStore& store);
  // Puts back what the left transaction had replaced and removes what it
  // had put in place, then its staging area (kept when something could not
  // be put back). Safe to run again after a kill in the middle.
  static void rollBackLeft(FilesMediaStore& store, const LeftTransaction& left) noexcept;
  // Keeps what it put in place; its staging area (the replaced files) goes.
  static void finishLeft(FilesMediaStore& store, const LeftTransaction& left) noexcept;

 private:
  OriginalMediaImportTransaction(FilesMediaStore& store, std::string rootPath)
      : store_(&store), rootPath_(std::move(rootPath)), backupPath_(rootPath_ + "/backup") {}
  static void writeItemList(FileSystem& files, const std::string& root,
                            const std::vector<StagedItem>& items, std::optional<Outcome> outcome);
  static std::optional<StagedItem> itemFromList(FilesMediaStore& store, const std::string& root,
                                                const nlohmann::json& entry);
  void recordOutcome(Outcome outcome) noexcept;

  FilesMediaStore* store_;
  std::string rootPath_;
  std::string backupPath_;
  std::vector<StagedItem> items_;
  std::set<std::string> stagedIds_;
  std::vector<std::string> committedTargetPaths_;
  std::vector<std::pair<std::string, std::string>> backups_;  // (backup, original)
  bool ended_ = false;                                        // committed, rolled back or discarded
  bool created_ = false;                                      // its directories exist
  bool committed_ = false;  // its list is written: files may have moved
  std::optional<std::string> keptFolder_;
};

}  // namespace quorvane
