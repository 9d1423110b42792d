#include "pdf/wrap_cache.h"

#include <cstdio>

namespace quorvane {

ArtworkDescriptionWrapCache& ArtworkDescriptionWrapCache::shared() {
  static ArtworkDescriptionWrapCache cache;
  return cache;
}

std::vector<WrappedArtworkLine> ArtworkDescriptionWrapCache::lines(const PdfCanvas& canvas,
                                                                   const std::string& text,
                                                                   const TextStyle& style,
                                                                   double maxWidth,
                                                                   std::size_t maxLines) {
  char measure[96];
  std::snprintf(measure, sizeof measure, "%.3f|%d|%.3f|%zu|", style.size,
                static_cast<int>(style.weight), maxWidth, maxLines);
  const std::string key = measure + text;
  {
    const std::lock_guard guard(lock_);
    if (const auto it = store_.find(key); it != store_.end()) {
      ++hitCount_;
      return it->second;
    }
    ++missCount_;
  }
  std::vector<WrappedArtworkLine> wrapped;
  std::size_t start = 0;
  while (start <= text.size() && wrapped.size() < maxLines) {
    auto end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string_view paragraph(text.data() + start, end - start);
    if (!paragraph.empty() && paragraph.back() == '\r') paragraph.remove_suffix(1);
    if (paragraph.find_first_not_of(" \t") == std::string_view::npos) {
      wrapped.push_back({"", true});
    } else {
      for (std::string& line :
           canvas.wrapParagraph(paragraph, maxWidth, style, maxLines - wrapped.size())) {
        wrapped.push_back({std::move(line), false});
      }
    }
    start = end + 1;
  }
  const std::lock_guard guard(lock_);
  store_.emplace(key, wrapped);
  return wrapped;
}

std::int64_t ArtworkDescriptionWrapCache::hitCount() const {
  const std::lock_guard guard(lock_);
  return hitCount_;
}

std::int64_t ArtworkDescriptionWrapCache::missCount() const {
  const std::lock_guard guard(lock_);
  return missCount_;
}

}  // namespace quorvane
