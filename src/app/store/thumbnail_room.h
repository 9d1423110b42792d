// The store's page thumbnails: the drawer (in a window only), what each
// page was last drawn from, and the label overrides the pages read, kept
// between edits because a window publishes at every keystroke.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/page_thumbnails.h"
#include "app/thumbnail_refresh.h"

namespace quorvane {

class AppStore;

class ThumbnailRoom {
 public:
  // Draws in the background only with a thumbnail queue and a renderer.
  explicit ThumbnailRoom(AppStore& store);

  // The background drawer; nothing where pages are not drawn in the
  // background (the command line).
  PageThumbnails* drawer() { return drawer_.get(); }
  // The source of a page now: its signature and how to draw it.
  std::optional<ThumbnailSource> source(const std::string& key);
  // Schedules the pages a change made stale (called from `publish`).
  void refresh();
  // The labels changed: read them again.
  void forgetLabels() { labels_.reset(); }

 private:
  std::optional<std::string> currentSignature(const std::string& key);
  PageLabels currentLabels();
  void ready(const std::string& key);

  AppStore& store_;
  std::unique_ptr<PageThumbnails> drawer_;
  ThumbnailRefresh refresh_;
  std::string projectId_;  // the project the refresh last looked at
  std::optional<PageLabels> labels_;
  std::string labelsLocale_;
};

}  // namespace quorvane
