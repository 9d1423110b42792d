#include "storage/files_media_store.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "model/bounded_json.h"
#include "platform/atomic_file.h"
#include "platform/uuid.h"

namespace quorvane {
namespace {

// Ids, extensions and keys become parts of file names inside the media
// folder, and they can come from imported packages: none may name another
// directory.
const std::string& requireNamePart(const std::string& part, const char* what) {
  if (part.empty() || part == "." || part == ".." || part.find('/') != std::string::npos ||
      part.find('\0') != std::string::npos) {
    throw std::invalid_argument(std::string("not usable in a media file name: ") + what + " '" +
                                part + "'");
  }
  return part;
}

std::string lowerCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

FilesMediaStore::FilesMediaStore(std::string directory, FileSystem& files, Logger& logger,
                                 bool createMissing)
    : directory_(std::move(directory)),
      pdfThumbDirectory_(directory_ + "/derived_web/pdfthumb"),
      files_(files),
      logger_(logger) {
  if (!createMissing) return;
  files_.createDirectories(directory_);
  files_.createDirectories(directory_ + "/derived_web");
  files_.createDirectories(pdfThumbDirectory_);
}

std::string FilesMediaStore::pathOf(const std::string& name) const {
  return directory_ + "/" + name;
}

std::string FilesMediaStore::writeOriginal(const std::string& artworkId,
                                           std::span<const std::uint8_t> data,
                                           const std::string& extension) {
  const std::string path = pathOf(requireNamePart(artworkId, "artwork id") + "_orig." +
                                  requireNamePart(extension, "extension"));
  files_.writeFileAtomically(path, data);
  return path;
}

std::vector<std::string> FilesMediaStore::filesWhere(
    const std::function<bool(const std::string& name)>& wanted) const {
  std::vector<std::string> names;
  try {
    names = files_.listDirectory(directory_);
  } catch (const std::exception&) {
    return {};
  }
  std::vector<std::string> paths;
  for (const std::string& name : names) {
    if (wanted(name)) paths.push_back(pathOf(name));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::map<std::string, std::vector<std::string>> FilesMediaStore::mediaFilesByArtworkOrThrow()
    const {
  std::map<std::string, std::vector<std::string>> files;
  for (const std::string& name : files_.listDirectory(directory_)) {
    if (const std::optional<std::string> id = artworkOfMediaFile(name)) {
      files[*id].push_back(pathOf(name));
    }
  }
  for (auto& [id, paths] : files) std::sort(paths.begin(), paths.end());
  return files;
}

std::vector<std::string> FilesMediaStore::originalFiles(const std::string& artworkId) const {
  const std::string prefix = artworkId + "_orig.";
  return filesWhere([&](const std::string& name) { return name.starts_with(prefix); });
}

std::map<std::string, std::string> FilesMediaStore::originalsByArtwork() const {
  std::map<std::string, std::string> originals;
  for (const std::string& path : filesWhere(
           [](const std::string& name) { return name.find("_orig.") != std::string::npos; })) {
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const std::optional<std::string> id = artworkOfMediaFile(name);
    if (id && name.starts_with(*id + "_orig.")) originals.emplace(*id, path);  // sorted: first kept
  }
  return originals;
}

std::vector<std::string> FilesMediaStore::mediaFiles(const std::string& artworkId) const {
  return filesWhere([&](const std::string& name) { return artworkOfMediaFile(name) == artworkId; });
}

std::optional<std::string> FilesMediaStore::artworkOfMediaFile(const std::string& name) {
  if (const auto original = name.rfind("_orig.");
      original != std::string::npos && original > 0 && original + 6 < name.size()) {
    return name.substr(0, original);
  }
  constexpr std::string_view kWeb = "_web_v1.jpg";
  if (name.size() > kWeb.size() && name.ends_with(kWeb)) {
    return name.substr(0, name.size() - kWeb.size());
  }
  const auto print = name.rfind("_print_v");
  if (print == std::string::npos || print == 0 || !name.ends_with(".jpg")) return std::nullopt;
  const std::string version = name.substr(print + 8, name.size() - print - 8 - 4);
  if (version.empty() || !std::all_of(version.begin(), version.end(),
                                      [](unsigned char c) { return std::isdigit(c) != 0; })) {
    return std::nullopt;
  }
  return name.substr(0, print);
}

std::string FilesMediaStore::webDerivativePath(const std::string& artworkId) const {
  return pathOf(requireNamePart(artworkId, "artwork id") + "_web_v1.jpg");
}

std::string FilesMediaStore::writeWebDerivative(const std::string& artworkId,
                                                std::span<const std::uint8_t> jpeg) {
  const std::string path = webDerivativePath(artworkId);
  files_.writeFileAtomically(path, jpeg);
  return path;
}

std::string FilesMediaStore::printVariantPath(const std::string& artworkId,
                                              std::int64_t version) const {
  return pathOf(requireNamePart(artworkId, "artwork id") + "_print_v" + std::to_string(version) +
                ".jpg");
}

std::string FilesMediaStore::writePrintVariant(const std::string& artworkId, std::int64_t version,
                                               std::span<const std::uint8_t> jpeg) {
  const std::string path = printVariantPath(artworkId, version);
  files_.writeFileAtomically(path, jpeg);
  return path;
}

void FilesMediaStore::deletePrintVariant(const std::string& artworkId, std::int64_t version) {
  removeQuietly(printVariantPath(artworkId, version));
}

std::optional<Bytes> FilesMediaStore::readFile(const std::string& path) const {
  try {
    return files_.readFile(path);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void FilesMediaStore::ensurePdfThumbDirectory() {
  const bool existed = files_.exists(pdfThumbDirectory_);
  files_.createDirectories(pdfThumbDirectory_);
  if (!existed)
    logger_.log("[Quorvane][PdfThumb] fs state=dir_recreated path=" + pdfThumbDirectory_);
}

std::string FilesMediaStore::pdfThumbFile(const std::string& key, const char* extension) const {
  return pdfThumbDirectory_ + "/" + requireNamePart(key, "thumbnail key") + "_pdfthumb_v1." +
         extension;
}

std::string FilesMediaStore::writePdfThumb(const std::string& key,
                                           std::span<const std::uint8_t> data,
                                           const std::string& extension) {
  ensurePdfThumbDirectory();
  const bool webp = lowerCased(extension) == "webp";
  const std::string path = pdfThumbFile(key, webp ? "webp" : "jpg");
  files_.writeFileAtomically(path, data);
  // At most one thumbnail per key.
  removeQuietly(pdfThumbFile(key, webp ? "jpg" : "webp"));
  return path;
}

std::string FilesMediaStore::pdfThumbPath(const std::string& key) const {
  const std::string webp = pdfThumbFile(key, "webp");
  return files_.exists(webp) ? webp : pdfThumbFile(key, "jpg");
}

void FilesMediaStore::removePdfThumbs(const std::string& key) {
  removeQuietly(pdfThumbFile(key, "jpg"));
  removeQuietly(pdfThumbFile(key, "webp"));
}

namespace {

constexpr std::string_view kThumbnailMark = "_pdfthumb_v1.";

}  // namespace

void FilesMediaStore::removeOwnMedia() {
  using Kind = FileSystem::EntryKind;
  const auto entries = [this](const std::string& folder) {
    try {
      return files_.listDirectory(folder);
    } catch (const std::exception&) {
      return std::vector<std::string>{};
    }
  };
  const auto kindOf = [this](const std::string& path) {
    try {
      return files_.entryKind(path);
    } catch (const std::exception&) {
      return Kind::other;  // not known to be ours: left alone
    }
  };
  for (const std::string& name : entries(directory_)) {
    const std::string path = pathOf(name);
    const Kind kind = kindOf(path);
    const bool ownFile = artworkOfMediaFile(name) || temporaryFileOwner(name);
    if ((kind == Kind::file && ownFile) ||
        (kind == Kind::directory &&
         (name.starts_with(".import-staging-") || name.starts_with(kUndoHoldingPrefix)))) {
      removeQuietly(path);  // a staging area holds nothing but ours; links in it stay unfollowed
    }
  }
  if (kindOf(directory_ + "/derived_web") == Kind::directory &&
      kindOf(pdfThumbDirectory_) == Kind::directory) {
    for (const std::string& name : entries(pdfThumbDirectory_)) {
      const std::string path = pdfThumbDirectory_ + "/" + name;
      const bool own = name.find(kThumbnailMark) != std::string::npos || temporaryFileOwner(name);
      if (own && kindOf(path) == Kind::file) removeQuietly(path);
    }
  }
  ensurePdfThumbDirectory();
}

std::optional<std::string> FilesMediaStore::linkTarget() const {
  std::error_code error;
  if (!std::filesystem::is_symlink(directory_, error)) return std::nullopt;
  const std::filesystem::path target = std::filesystem::read_symlink(directory_, error);
  if (error) return std::nullopt;
  return (std::filesystem::path(directory_).parent_path() / target).lexically_normal().string();
}

void FilesMediaStore::removeQuietly(const std::string& path) {
  try {
    files_.removeAll(path);
  } catch (const std::exception&) {
  }
}

// --- OriginalMediaImportTransaction ----------------------------------------------

namespace {

constexpr const char* kItemList = "transaction.json";
constexpr const char* kStagingPrefix = ".import-staging-";

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

void removeQuietly(FileSystem& files, const std::string& path) noexcept {
  try {
    files.removeAll(path);
  } catch (const std::exception&) {
  }
}

// The replaced files first and the list of items last: a kill part way
// leaves a list whose files say what happened, never set-aside files
// without the list that tells where they belong.
void removeStagingArea(FileSystem& files, const std::string& root) noexcept {
  removeQuietly(files, root + "/backup");
  removeQuietly(files, root + "/staged");
  removeQuietly(files, root);
}

}  // namespace

std::optional<OriginalMediaImportTransaction> OriginalMediaImportTransaction::begin(
    FilesMediaStore& store, const std::vector<OriginalMediaImportItem>& items) {
  if (items.empty()) return std::nullopt;
  // One original per artwork: a second would be set aside as the first's
  // "previous" original, and a rollback could not tell them apart.
  std::set<std::string> ids;
  for (const OriginalMediaImportItem& item : items) {
    requireNamePart(item.id, "artwork id");
    requireNamePart(item.fileExtension, "extension");
    if (!ids.insert(item.id).second) {
      throw std::invalid_argument("an import brings two originals for artwork '" + item.id + "'");
    }
  }
  OriginalMediaImportTransaction transaction = open(store);
  try {
    for (const OriginalMediaImportItem& item : items) transaction.stage(item);
  } catch (...) {
    removeQuietly(store.files(), transaction.rootPath_);
    throw;
  }
  return transaction;
}

OriginalMediaImportTransaction OriginalMediaImportTransaction::open(FilesMediaStore& store) {
  return OriginalMediaImportTransaction(store, store.pathOf(kStagingPrefix + makeUuid()));
}

void OriginalMediaImportTransaction::stage(const OriginalMediaImportItem& item) {
  requireNamePart(item.id, "artwork id");
  requireNamePart(item.fileExtension, "extension");
  if (stagedIds_.contains(item.id)) {
    throw std::invalid_argument("an import brings two originals for artwork '" + item.id + "'");
  }
  FileSystem& files = store_->files();
  if (!created_) {
    created_ = true;  // from here on, ending the transaction removes the area
    files.createDirectories(rootPath_ + "/staged");
    files.createDirectories(backupPath_);
  }
  const std::string name = item.id + "_orig." + item.fileExtension;
  StagedItem staged{item.id, rootPath_ + "/staged/" + name, store_->pathOf(name), {}, {}, {}};
  files.writeFileAtomically(staged.stagedPath, item.data);
  if (item.webDerivative) {
    const std::string webName = lastComponent(store_->webDerivativePath(item.id));
    staged.stagedWebPath = rootPath_ + "/staged/" + webName;
    staged.webTargetPath = store_->pathOf(webName);
    try {
      files.writeFileAtomically(*staged.stagedWebPath, *item.webDerivative);
    } catch (...) {
      removeQuietly(files, staged.stagedPath);
      throw;
    }
  }
  stagedIds_.insert(item.id);
  items_.push_back(std::move(staged));
}

void OriginalMediaImportTransaction::writeItemList(FileSystem& files, const std::string& root,
                                                   const std::vector<StagedItem>& items,
                                                   std::optional<Outcome> outcome) {
  nlohmann::json list = nlohmann::json::array();
  for (const StagedItem& item : items) {
    nlohmann::json entry{
        {"id", item.id}, {"original", lastComponent(item.targetPath)}, {"replaces", item.replaces}};
    if (item.webTargetPath) entry["web"] = lastComponent(*item.webTargetPath);
    list.push_back(std::move(entry));
  }
  nlohmann::json document{{"items", list}};
  if (outcome) document["outcome"] = *outcome == Outcome::keep ? "keep" : "rollback";
  const std::string text = document.dump(2) + "\n";
  files.writeFileAtomically(
      root + "/" + kItemList,
      std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

void OriginalMediaImportTransaction::recordOutcome(Outcome outcome) noexcept {
  try {
    writeItemList(store_->files(), rootPath_, items_, outcome);
  } catch (const std::exception&) {
    // Without it, the next run decides from the library, as for a kill.
  }
}

void OriginalMediaImportTransaction::commit() {
  if (ended_) throw std::logic_error("an import transaction can be committed only once");
  ended_ = true;
  if (items_.empty()) return;
  FileSystem& files = store_->files();
  try {
    // What each item replaces, and the list of it all, before anything
    // moves: a crash from here on leaves what is needed to put it back.
    // A folder that can't be listed must stop the commit: taken for empty,
    // it would let a new original replace the old one unbacked. One
    // listing serves every item.
    const std::map<std::string, std::vector<std::string>> current =
        store_->mediaFilesByArtworkOrThrow();
    for (StagedItem& item : items_) {
      item.replaces.clear();
      if (const auto found = current.find(item.id); found != current.end()) {
        for (const std::string& path : found->second) item.replaces.push_back(lastComponent(path));
      }
    }
    writeItemList(files, rootPath_, items_, std::nullopt);
    committed_ = true;
    for (const StagedItem& item : items_) {
      for (const std::string& name : item.replaces) {
        const std::string backup = backupPath_ + "/" + name;
        files.move(store_->pathOf(name), backup);
        backups_.emplace_back(backup, store_->pathOf(name));
      }
      files.move(item.stagedPath, item.targetPath);
      committedTargetPaths_.push_back(item.targetPath);
      if (item.stagedWebPath) {
        files.move(*item.stagedWebPath, *item.webTargetPath);
        committedTargetPaths_.push_back(*item.webTargetPath);
      }
    }
  } catch (...) {
    rollback();
    throw;
  }
}

void OriginalMediaImportTransaction::rollback() noexcept {
  ended_ = true;
  if (!created_) return;
  if (committed_) recordOutcome(Outcome::rollback);
  FileSystem& files = store_->files();
  // The replaced files back over the new ones of the same name, then the new
  // ones that replaced nothing of that name away: at no moment is an old
  // file gone without a way back.
  std::set<std::string> restored;
  bool complete = true;
  for (auto it = backups_.rbegin(); it != backups_.rend(); ++it) {
    try {
      if (files.exists(it->first)) files.move(it->first, it->second);
      restored.insert(it->second);
    } catch (const std::exception&) {
      complete = false;
    }
  }
  for (const std::string& target : committedTargetPaths_) {
    if (!restored.contains(target)) removeQuietly(files, target);
  }
  // A second rollback must not touch the files just put back.
  committedTargetPaths_.clear();
  backups_.clear();
  // The staging area goes only once every replaced file is back.
  if (complete) {
    removeStagingArea(files, rootPath_);
  } else {
    keptFolder_ = rootPath_;
    store_->logger().log("[Quorvane][Media] rollback state=incomplete kept=" + rootPath_);
  }
}

std::int64_t OriginalMediaImportTransaction::keepReplaced(const std::string& folder) {
  // Decided first: a run killed while they move keeps the new files.
  if (committed_) recordOutcome(Outcome::keep);
  FileSystem& files = store_->files();
  files.createDirectories(folder);
  std::int64_t bytes = 0;
  while (!backups_.empty()) {
    const std::string& backup = backups_.back().first;
    const std::string name = backup.substr(backup.find_last_of('/') + 1);
    bytes += static_cast<std::int64_t>(files.fileSize(backup));
    files.move(backup, folder + "/" + name);
    backups_.pop_back();
  }
  return bytes;
}

void OriginalMediaImportTransaction::discard() noexcept {
  ended_ = true;
  if (!created_) return;  // nothing was ever made on disk
  if (committed_) recordOutcome(Outcome::keep);
  removeStagingArea(store_->files(), rootPath_);
}

std::vector<OriginalMediaImportTransaction::LeftTransaction>
OriginalMediaImportTransaction::leftTransactions(FilesMediaStore& store) {
  std::vector<LeftTransaction> left;
  FileSystem& files = store.files();
  std::vector<std::string> names;
  try {
    names = files.listDirectory(store.directory());
  } catch (const std::exception&) {
    return left;
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    if (!name.starts_with(kStagingPrefix)) continue;
    LeftTransaction transaction{store.pathOf(name), {}, std::nullopt};
    const std::string listPath = transaction.rootPath + "/" + kItemList;
    std::optional<nlohmann::json> list;
    try {
      if (files.exists(listPath)) {
        const Bytes bytes = files.readFile(listPath);
        list = parseBoundedJson(
            std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
      }
    } catch (const std::exception&) {
    }
    if (list && list->is_object() && (*list)["items"].is_array()) {
      const nlohmann::json outcome = list->value("outcome", nlohmann::json());
      if (outcome == "keep") transaction.outcome = Outcome::keep;
      if (outcome == "rollback") transaction.outcome = Outcome::rollback;
      for (const nlohmann::json& entry : (*list)["items"]) {
        if (std::optional<StagedItem> item = itemFromList(store, transaction.rootPath, entry)) {
          transaction.items.push_back(std::move(*item));
        }
      }
    }
    left.push_back(std::move(transaction));
  }
  return left;
}

std::optional<OriginalMediaImportTransaction::StagedItem>
OriginalMediaImportTransaction::itemFromList(FilesMediaStore& store, const std::string& root,
                                             const nlohmann::json& entry) {
  const auto text = [&](const char* key) -> std::optional<std::string> {
    if (!entry.is_object() || !entry.contains(key) || !entry[key].is_string()) return std::nullopt;
    return entry[key].get<std::string>();
  };
  const std::optional<std::string> id = text("id");
  const std::optional<std::string> original = text("original");
  if (!id || !original) return std::nullopt;
  try {
    requireNamePart(*id, "artwork id");
    requireNamePart(*original, "file name");
  } catch (const std::invalid_argument&) {
    return std::nullopt;  // not a list this program wrote
  }
  StagedItem item{*id, root + "/staged/" + *original, store.pathOf(*original), {}, {}, {}};
  if (const std::optional<std::string> web = text("web");
      web && *web == lastComponent(store.webDerivativePath(*id))) {
    item.stagedWebPath = root + "/staged/" + *web;
    item.webTargetPath = store.pathOf(*web);
  }
  if (entry.contains("replaces") && entry["replaces"].is_array()) {
    for (const nlohmann::json& name : entry["replaces"]) {
      if (name.is_string()) item.replaces.push_back(name.get<std::string>());
    }
  }
  return item;
}

void OriginalMediaImportTransaction::rollBackLeft(FilesMediaStore& store,
                                                  const LeftTransaction& left) noexcept {
  FileSystem& files = store.files();
  try {
    const std::string backup = left.rootPath + "/backup";
    const bool hasBackups = files.exists(backup) && !files.listDirectory(backup).empty();
    if (left.items.empty() && hasBackups) {
      // Files set aside with no list of where they belong: nothing here
      // wrote that. They stay where they are, for a person to look at.
      return;
    }
    if (!left.items.empty()) writeItemList(files, left.rootPath, left.items, Outcome::rollback);
    // A new file in place (its staged copy gone) is removed, unless an old
    // one of its name was set aside: that one comes back over it below. So a
    // second run, after a kill in this one, removes no file put back.
    for (const StagedItem& item : left.items) {
      const std::set<std::string> replaced(item.replaces.begin(), item.replaces.end());
      const auto removeIfNew = [&](const std::string& staged, const std::string& target) {
        if (!files.exists(staged) && !replaced.contains(lastComponent(target))) {
          removeQuietly(files, target);
        }
      };
      removeIfNew(item.stagedPath, item.targetPath);
      if (item.stagedWebPath) removeIfNew(*item.stagedWebPath, *item.webTargetPath);
    }
    bool complete = true;
    if (files.exists(backup)) {
      for (const std::string& name : files.listDirectory(backup)) {
        try {
          files.move(backup + "/" + name, store.pathOf(name));
        } catch (const std::exception&) {
          complete = false;
        }
      }
    }
    if (complete) removeStagingArea(files, left.rootPath);
  } catch (const std::exception&) {
    // Left as it is: the next run that writes tries again.
  }
}

void OriginalMediaImportTransaction::finishLeft(FilesMediaStore& store,
                                                const LeftTransaction& left) noexcept {
  try {
    if (!left.items.empty()) writeItemList(store.files(), left.rootPath, left.items, Outcome::keep);
  } catch (const std::exception&) {
  }
  removeStagingArea(store.files(), left.rootPath);
}

}  // namespace quorvane
