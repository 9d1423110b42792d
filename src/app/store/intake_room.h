// The store's intake of images: a failed file in words, and the staged
// files of a batch committed with their works.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "storage/files_media_store.h"

namespace quorvane {

class AppStore;
class ImageIntakeError;

class IntakeRoom {
 public:
  explicit IntakeRoom(AppStore& store) : store_(store) {}

  std::string imageFailureText(const ImageIntakeError& error, const std::string& path) const;
  // Commits the staged files of `artworks`, puts the artworks into the open
  // project (replacing those of the same id) and saves them at once. On a
  // failure the files and the artworks are as they were, and the error's
  // text is returned (and shown). Each is a step the person can undo, named
  // after its title, else `fileName`.
  std::optional<std::string> putInPlace(OriginalMediaImportTransaction& transaction,
                                        const std::vector<Artwork>& artworks,
                                        const std::string& fileName);
  // The end of an intake: oversized images listed, the last failure shown.
  void announce(const std::vector<OversizedImageNotice>& oversized,
                const std::optional<std::string>& lastFailure, std::size_t fileCount);
  std::int64_t nextSortIndex() const;

 private:
  // Where a rollback that could not put every file back kept them, in
  // words (empty when it could).
  std::string keptFilesText(const OriginalMediaImportTransaction& transaction) const;

  AppStore& store_;
};

}  // namespace quorvane
