// Artwork texts wrapped to their column, kept for the life of the process:
// a catalogue re-exported after a price change, or its pages previewed one
// by one, does not break the same texts into lines again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "pdf/pdf_canvas.h"

namespace quorvane {

struct WrappedArtworkLine {
  std::string text;
  bool isSpacer = false;  // an empty line standing for a paragraph break

  bool operator==(const WrappedArtworkLine&) const = default;
};

class ArtworkDescriptionWrapCache {
 public:
  static ArtworkDescriptionWrapCache& shared();

  // The first `maxLines` lines of `text` at `maxWidth` in `style`: each
  // paragraph's lines, one spacer for each empty line between paragraphs.
  // Only what a page can show is broken, however long the text. Safe from
  // any thread.
  std::vector<WrappedArtworkLine> lines(const PdfCanvas& canvas, const std::string& text,
                                        const TextStyle& style, double maxWidth,
                                        std::size_t maxLines = SIZE_MAX);

  std::int64_t hitCount() const;
  std::int64_t missCount() const;

 private:
  mutable std::mutex lock_;
  std::map<std::string, std::vector<WrappedArtworkLine>> store_;
  std::int64_t hitCount_ = 0;
  std::int64_t missCount_ = 0;
};

}  // namespace quorvane
