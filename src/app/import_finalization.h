// The background half of a package import: the originals came in without
// the web derivatives every screen and the library's media rows use (making
// them takes a while). Each pending artwork gets its derivative made from
// its original, written beside it, and its image fields filled in as for an
// image added by hand; the store then writes them into that artwork alone
// (SnapshotRepository's `saveFinishedImage`), so that finishing N images
// costs N small writes, whatever the size of the projects. The pending ids
// are kept in the preferences
// ("quorvane.importFinalization.pendingArtworkIds") until a run ends; a run
// cut short is resumed by the next, which asks the library which of them
// still await their image.
#pragma once

#include <optional>
#include <string>

#include "images/image_optimizer.h"
#include "model/records.h"
#include "storage/files_media_store.h"

namespace quorvane {

struct FinishedImage {
  Artwork fields;  // the id and the image fields (sizes, aspect, warning)
  Bytes webImage;  // the derivative, as written beside the original
};

// Makes and writes the web derivative of the artwork's original, at
// `originalPath`. Throws when the original can't be read or derived.
FinishedImage finishImportedImage(FilesMediaStore& media, const ImageOptimizer& optimizer,
                                  const std::string& artworkId, const std::string& originalPath);

}  // namespace quorvane
