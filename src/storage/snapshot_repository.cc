#include "storage/snapshot_repository.h"

#include "model/image_path.h"

namespace quorvane {

void adoptStoredImages(StudioSnapshot& snapshot, const std::vector<StoredImageFile>& stored) {
  for (const StoredImageFile& file : stored) {
    for (Artwork& artwork : snapshot.artworks.images) {
      if (artwork.id == file.artworkId && artwork.imagePath == file.filePath) {
        artwork.imagePath = sqliteMediaPath(artwork.id);
      }
    }
  }
}

}  // namespace quorvane
