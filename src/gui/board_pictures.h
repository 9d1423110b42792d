// The pictures of a board's cells: asked for when a cell is painted (so
// only visible cells load), decoded off the GUI thread by the store, kept
// for the most recently seen cells. A cell shows what it has — the page,
// else the bare image, else an empty frame — and never waits.
#pragma once

#include <QObject>
#include <QPixmap>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "app/app_store.h"

namespace quorvane::gui {

class BoardPictures final : public QObject {
  Q_OBJECT

 public:
  // `longEdge`: the longer side of the pictures, in the window's (logical)
  // pixels; they are loaded sharp for the screen's pixel ratio.
  BoardPictures(AppStore& store, int longEdge, QObject* parent = nullptr);

  // The picture of `artworkId` now (null while none has arrived), asking
  // for a newer one when the page thumbnail moved on since.
  QPixmap picture(const std::string& artworkId);
  // Told which cells are on screen, so that a fast scroll loads the cells
  // it stopped at, not those it passed.
  void setVisibleTest(std::function<bool(const std::string&)> isVisible) {
    isVisible_ = std::move(isVisible);
  }
  std::size_t loadsInFlight() const { return inFlight_; }
  // Whether the picture held for `artworkId` is its page (not the bare image).
  bool showsPage(const std::string& artworkId) const {
    const auto found = entries_.find(artworkId);
    return found != entries_.end() && found->second.isPage;
  }

  static constexpr std::size_t kMaximumInFlight = 6;
  static constexpr std::size_t kKept = 360;

 signals:
  void pictureReady(const QString& artworkId);

 private:
  struct Entry {
    QPixmap pixmap;
    std::int64_t version = -1;  // the thumbnail version it was asked for
    bool isPage = false;
    bool loading = false;
  };
  std::int64_t currentVersion(const std::string& artworkId) const;
  void want(const std::string& artworkId);
  void startLoads();
  void arrived(const std::string& artworkId, std::int64_t version,
               const std::optional<AppStore::BoardPicture>& picture);
  // Drops every picture when another project is open.
  void forgetOtherProjects();
  void touch(const std::string& artworkId);
  void evict();

  AppStore& store_;
  double pixelRatio_;
  int longEdge_;  // in device pixels
  std::unordered_map<std::string, Entry> entries_;
  std::list<std::string> recent_;  // most recently painted first
  std::unordered_map<std::string, std::list<std::string>::iterator> recentPlace_;
  std::vector<std::string> wanted_;  // newest last
  std::size_t inFlight_ = 0;
  std::string projectId_;         // whose board the pictures are
  std::uint64_t generation_ = 0;  // moves on with projectId_
  std::function<bool(const std::string&)> isVisible_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace quorvane::gui
