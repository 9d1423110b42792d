#include "storage/files_media_store.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <stdexcept>

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

FilesMediaStore::FilesMediaStore(std::string directory, FileSystem& files, Logger& logger)
    : directory_(std::move(directory)),
      pdfThumbDirectory_(directory_ + "/derived_web/pdfthumb"),
      files_(files),
      logger_(logger) {
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

std::vector<std::string> FilesMediaStore::originalFiles(const std::string& artworkId) const {
  std::vector<std::string> names;
  try {
    names = files_.listDirectory(directory_);
  } catch (const std::exception&) {
    return {};
  }
  const std::string prefix = artworkId + "_orig.";
  std::vector<std::string> originals;
  for (const std::string& name : names) {
    if (name.starts_with(prefix)) originals.push_back(pathOf(name));
  }
  std::sort(originals.begin(), originals.end());
  return originals;
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

void FilesMediaStore::removeAllMedia() {
  std::vector<std::string> names;
  try {
    names = files_.listDirectory(directory_);
  } catch (const std::exception&) {
  }
  for (const std::string& name : names) removeQuietly(pathOf(name));
  ensurePdfThumbDirectory();
}

void FilesMediaStore::removeQuietly(const std::string& path) {
  try {
    files_.removeAll(path);
  } catch (const std::exception&) {
  }
}

// --- OriginalMediaImportTransaction ----------------------------------------------

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
  FileSystem& files = store.files();
  OriginalMediaImportTransaction transaction(store, store.pathOf(".import-staging-" + makeUuid()));
  try {
    files.createDirectories(transaction.rootPath_ + "/staged");
    files.createDirectories(transaction.backupPath_);
    for (const OriginalMediaImportItem& item : items) {
      const std::string name = item.id + "_orig." + item.fileExtension;
      const std::string staged = transaction.rootPath_ + "/staged/" + name;
      files.writeFileAtomically(staged, item.data);
      transaction.items_.push_back(StagedItem{item.id, staged, store.pathOf(name)});
    }
  } catch (...) {
    try {
      files.removeAll(transaction.rootPath_);
    } catch (const std::exception&) {
    }
    throw;
  }
  return transaction;
}

void OriginalMediaImportTransaction::commit() {
  if (ended_) throw std::logic_error("an import transaction can be committed only once");
  ended_ = true;
  FileSystem& files = store_->files();
  try {
    for (const StagedItem& item : items_) {
      for (const std::string& original : store_->originalFiles(item.id)) {
        const std::string backup =
            backupPath_ + "/" + original.substr(original.find_last_of('/') + 1);
        files.move(original, backup);
        backups_.emplace_back(backup, original);
      }
      files.move(item.stagedPath, item.targetPath);
      committedTargetPaths_.push_back(item.targetPath);
    }
  } catch (...) {
    rollback();
    throw;
  }
}

void OriginalMediaImportTransaction::rollback() noexcept {
  ended_ = true;
  FileSystem& files = store_->files();
  for (const std::string& target : committedTargetPaths_) {
    try {
      files.removeAll(target);
    } catch (const std::exception&) {
    }
  }
  for (auto it = backups_.rbegin(); it != backups_.rend(); ++it) {
    try {
      if (files.exists(it->first)) files.move(it->first, it->second);
    } catch (const std::exception&) {
    }
  }
  // A second rollback must not remove the originals just put back.
  committedTargetPaths_.clear();
  backups_.clear();
  discard();
}

void OriginalMediaImportTransaction::discard() noexcept {
  ended_ = true;
  try {
    store_->files().removeAll(rootPath_);
  } catch (const std::exception&) {
  }
}

}  // namespace quorvane
