// A picture of a work for a board's cell or a project's cover: its page
// thumbnail when there is one, else its web image, decoded on the picture
// queue apart from the drawing of pages.
#include "app/app_store.h"
#include "app/store/background.h"
#include "app/store/thumbnail_room.h"

namespace quorvane {
namespace {

Executor* pictureWorker(const AppStoreServices& services) {
  return services.pictureQueue != nullptr ? services.pictureQueue : services.thumbnailQueue;
}

using Picture = std::optional<AppStore::BoardPicture>;

// The web image of `artworkId`, decoded on the picture queue.
void loadWebPicture(const std::weak_ptr<AppStore*>& alive, const AppStoreServices& services,
                    const std::string& artworkId, int longEdge, AppStore::PictureLoaded done) {
  const FilesMediaStore& media = services.media;
  const ImageOptimizer& images = services.images;
  runInBackground(
      alive, *pictureWorker(services), services.main,
      [&media, &images, artworkId, longEdge]() -> Picture {
        try {
          if (const auto bytes = media.readFile(media.webDerivativePath(artworkId))) {
            return AppStore::BoardPicture{images.decodeToFit(*bytes, longEdge, longEdge), false};
          }
        } catch (const std::exception&) {
          // A web image that can't be read shows as an empty cell; the page
          // thumbnail replaces it once drawn.
        }
        return std::nullopt;
      },
      [done](AppStore&, const Outcome<Picture>& outcome) {
        done(outcome.value.value_or(Picture()));
      });
}

}  // namespace

void AppStore::loadBoardPicture(const std::string& artworkId, int longEdge, PictureLoaded done) {
  checkMainThread();
  // Any artwork of the library: a dashboard shows other projects' covers.
  const Artwork* shown = artwork(artworkId);
  if ((shown != nullptr && !shown->imagePath) || pictureWorker(services_) == nullptr) {
    services_.main.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  const std::weak_ptr<AppStore*> weak = self_;
  loadArtworkPdfThumb(artworkId, [weak, artworkId, longEdge, done = std::move(done)](
                                     const std::optional<std::vector<std::uint8_t>>& page) {
    const auto self = weak.lock();
    if (!self) return;
    AppStore& store = **self;
    if (!page) {
      // No page yet (never drawn, or its file lost): the bare image stands
      // in, and the page is drawn for next time.
      if (store.artwork(artworkId) != nullptr) {
        store.enqueueArtworkPdfThumb(artworkId, "board_missing");
      }
      loadWebPicture(weak, store.services_, artworkId, longEdge, done);
      return;
    }
    const ImageOptimizer& images = store.services_.images;
    runInBackground(
        weak, *pictureWorker(store.services_), store.services_.main,
        [&images, page = *page, longEdge]() -> Picture {
          try {
            return AppStore::BoardPicture{images.decodeToFit(page, longEdge, longEdge), true};
          } catch (const std::exception&) {
            return std::nullopt;  // the bare image stands in
          }
        },
        [weak, artworkId, longEdge, done](AppStore& store, const Outcome<Picture>& outcome) {
          if (outcome.value && *outcome.value) return done(*outcome.value);
          loadWebPicture(weak, store.services_, artworkId, longEdge, done);
        });
  });
}

}  // namespace quorvane
