// The background half of a package import: the originals came in without
// the web derivatives every screen and the library's media rows use (making
// them takes a while). Each pending artwork gets its derivative made from
// its original, written beside it, and its image fields filled in as for an
// image added by hand; the store then saves it. The pending ids are kept in
// the preferences ("quorvane.importFinalization.pendingArtworkIds"), so that
// a run cut short is finished by the next.
#pragma once

#include <optional>
#include <string>

#include "images/image_optimizer.h"
#include "model/records.h"
#include "storage/files_media_store.h"

namespace quorvane {

// Makes and writes the web derivative of `artwork` from its original and
// points the artwork at it. False when the artwork has no original (it is
// then left as it is, nothing to finish); throws when the original can't
// be read or derived.
bool finalizeImportedImage(FilesMediaStore& media, const ImageOptimizer& optimizer,
                           Artwork& artwork);

}  // namespace quorvane
