#include "gui/board_pictures.h"

#include <QGuiApplication>
#include <QImage>
#include <algorithm>

#include "gui/words.h"

namespace quorvane::gui {
namespace {

QPixmap pixmapOf(const RgbPixels& pixels, double pixelRatio) {
  if (pixels.width <= 0 || pixels.height <= 0) return {};
  const QImage image(pixels.data.data(), pixels.width, pixels.height, pixels.width * 3,
                     QImage::Format_RGB888);
  QPixmap pixmap = QPixmap::fromImage(image.copy());  // the copy owns its pixels
  pixmap.setDevicePixelRatio(pixelRatio);
  return pixmap;
}

}  // namespace

BoardPictures::BoardPictures(AppStore& store, int longEdge, QObject* parent)
    : QObject(parent),
      store_(store),
      pixelRatio_(qGuiApp != nullptr ? qGuiApp->devicePixelRatio() : 1.0),
      longEdge_(static_cast<int>(longEdge * pixelRatio_)) {}

std::int64_t BoardPictures::currentVersion(const std::string& artworkId) const {
  const auto& versions = store_.state().artworkPdfThumbVersionByID;
  const auto found = versions.find(artworkId);
  return found == versions.end() ? 0 : found->second;
}

QPixmap BoardPictures::picture(const std::string& artworkId) {
  forgetOtherProjects();
  touch(artworkId);
  Entry& entry = entries_[artworkId];
  if (!entry.loading && entry.version != currentVersion(artworkId)) want(artworkId);
  return entry.pixmap;
}

void BoardPictures::forgetOtherProjects() {
  const std::string& projectId = store_.state().project.id;
  if (projectId == projectId_) return;
  // A work in two projects is one key, but each prints its own page: what
  // the last project showed is not this one's.
  projectId_ = projectId;
  ++generation_;
  entries_.clear();
  recent_.clear();
  recentPlace_.clear();
  wanted_.clear();
}

void BoardPictures::touch(const std::string& artworkId) {
  const auto place = recentPlace_.find(artworkId);
  if (place != recentPlace_.end()) recent_.erase(place->second);
  recent_.push_front(artworkId);
  recentPlace_[artworkId] = recent_.begin();
  evict();
}

void BoardPictures::evict() {
  while (recent_.size() > kKept) {
    const std::string oldest = recent_.back();
    if (entries_[oldest].loading) break;  // comes back soon; dropped then
    recent_.pop_back();
    recentPlace_.erase(oldest);
    entries_.erase(oldest);
  }
}

void BoardPictures::want(const std::string& artworkId) {
  std::erase(wanted_, artworkId);
  wanted_.push_back(artworkId);
  startLoads();
}

void BoardPictures::startLoads() {
  while (inFlight_ < kMaximumInFlight && !wanted_.empty()) {
    // Newest first: the cells the user is looking at now.
    const std::string artworkId = wanted_.back();
    wanted_.pop_back();
    if (isVisible_ && !isVisible_(artworkId)) continue;  // scrolled past; asked again if seen
    Entry& entry = entries_[artworkId];
    entry.loading = true;
    ++inFlight_;
    const std::int64_t version = currentVersion(artworkId);
    std::weak_ptr<bool> alive = alive_;
    store_.loadBoardPicture(artworkId, longEdge_,
                            [this, alive, artworkId, version, generation = generation_](
                                const std::optional<AppStore::BoardPicture>& picture) {
                              if (alive.expired()) return;
                              if (generation != generation_) {
                                --inFlight_;  // asked for another project's board
                                return startLoads();
                              }
                              arrived(artworkId, version, picture);
                            });
  }
}

void BoardPictures::arrived(const std::string& artworkId, std::int64_t version,
                            const std::optional<AppStore::BoardPicture>& picture) {
  --inFlight_;
  Entry& entry = entries_[artworkId];
  entry.loading = false;
  entry.version = version;
  // A bare image never takes the place of a page already shown.
  if (picture && (picture->isPage || !entry.isPage)) {
    entry.pixmap = pixmapOf(picture->pixels, pixelRatio_);
    entry.isPage = picture->isPage;
  }
  if (recentPlace_.count(artworkId) == 0) entries_.erase(artworkId);
  emit pictureReady(qstr(artworkId));
  startLoads();
}

}  // namespace quorvane::gui
