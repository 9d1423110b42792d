// An artwork's original as it goes into a backup or a print-quality PDF:
// it must be the file the library recorded — a regular file in the media
// folder (a symbolic link put in its place is never followed, a FIFO never
// waited on), of the size recorded when it came in, whose bytes are of the
// kind its name says. Anything else is reported, never silently used or
// left out.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "images/image_optimizer.h"
#include "model/records.h"
#include "platform/file_system.h"
#include "storage/files_media_store.h"

namespace quorvane {

enum class OriginalFault {
  missing,      // the work has an image, but no original is in the media folder
  notAFile,     // a symbolic link, a FIFO, a folder stands in its place
  unreadable,   // it can't be opened or read
  sizeDiffers,  // not the size recorded when it came in
  kindDiffers,  // its bytes are not of the kind its name says (or no image)
};

struct SoundOriginal {
  std::string path;
  std::uint64_t bytes = 0;
};

// One artwork's original looked at: sound, or at fault.
struct OriginalCheck {
  std::optional<SoundOriginal> sound;
  std::optional<OriginalFault> fault;
};

// The originals of the media folder (FilesMediaStore::originalsByArtwork)
// weighed against the artworks that have an image. An artwork with no image
// at all (none recorded, no original) is neither sound nor at fault.
class OriginalsInventory {
 public:
  OriginalsInventory(FilesMediaStore& media, const ImageOptimizer& optimizer);

  // Nothing for an artwork without an image.
  std::optional<OriginalCheck> check(const Artwork& artwork) const;
  // The bytes of the artwork's original when it is sound; nothing otherwise.
  std::optional<Bytes> read(const Artwork& artwork) const;

 private:
  // Opens the original and checks what can be checked on the open file.
  std::optional<OriginalFault> open(const Artwork& artwork, const std::string& path,
                                    std::unique_ptr<FileReader>& reader) const;

  FilesMediaStore& media_;
  const ImageOptimizer& optimizer_;
  std::map<std::string, std::string> originals_;  // artwork id → path
};

// The bytes of the original at `path` when it is sound for `artwork` (as
// `OriginalsInventory::check` says); nothing otherwise.
std::optional<Bytes> readSoundOriginal(FileSystem& files, const ImageOptimizer& optimizer,
                                       const Artwork& artwork, const std::string& path);

// An artwork whose image has no sound original, and why.
struct MissingOriginal {
  std::string artworkId;
  std::string title;
  OriginalFault fault = OriginalFault::missing;
  std::size_t position = 0;  // in the project, from 1

  bool operator==(const MissingOriginal&) const = default;
};

std::vector<MissingOriginal> missingOriginals(const OriginalsInventory& inventory,
                                              const std::vector<Artwork>& artworks);

}  // namespace quorvane
