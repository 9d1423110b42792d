// Renders the documents of a project, as the app store asks for them: the
// portfolio or catalogue, one artwork's page, the CV and the three text
// documents. Labels come with the user's overrides of the document's scope
// and language; artwork images are the originals in the media folder (the
// library's web derivative when the original is missing).
//
// The last eight results are kept: asking again for a document whose
// content, options and labels have not changed costs nothing. Given a
// cache of prepared images, a web-quality file reuses each work's image
// prepared for an earlier export while its original is the same file. Safe to use
// from one thread at a time per call; the cache is guarded.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>

#include "app/prepared_image_cache.h"
#include "images/image_optimizer.h"
#include "model/raw_value.h"
#include "model/records.h"
#include "pdf/pdf_canvas.h"
#include "platform/logger.h"
#include "storage/files_media_store.h"
#include "storage/snapshot_repository.h"

namespace quorvane {

enum class RenderKind {
  portfolio,
  artworksPages,
  singleArtwork,
  statement,
  projectStatement,
  bio,
  cv
};
template <>
struct RawValueTable<RenderKind> {
  static constexpr std::array<RawCase<RenderKind>, 7> cases{{
      {RenderKind::portfolio, "portfolio"},
      {RenderKind::artworksPages, "artworks_pages"},
      {RenderKind::singleArtwork, "single_artwork"},
      {RenderKind::statement, "statement"},
      {RenderKind::projectStatement, "project_statement"},
      {RenderKind::bio, "bio"},
      {RenderKind::cv, "cv"},
  }};
};

// The scope of the label overrides a document prints with.
std::string_view labelScopeOf(RenderKind kind);

// What to render: the kind, and for the page of one artwork, which.
struct RenderRequest {
  RenderKind kind = RenderKind::portfolio;
  std::optional<std::string> artworkId;
};

// Where the artworks' pictures in a document come from.
enum class RenderImages {
  // A file: the originals, prepared for the export's image quality.
  forFile,
  // A screen: each work's stored web derivative as it is, nothing decoded
  // or re-encoded, whatever the image quality; the pages are laid out
  // exactly as the file's.
  forScreen,
};

class PdfRenderService {
 public:
  static constexpr std::size_t kCacheSize = 8;

  PdfRenderService(LabelOverrideRepository& labels, SnapshotRepository& snapshots,
                   FilesMediaStore& media, const ImageOptimizer& optimizer,
                   Logger& logger = nullLogger(), PreparedImageCache* preparedImages = nullptr);

  // The document, in `options.exportLocale` (the project's language when
  // empty). Throws when the library can't be read.
  PdfRenderResult render(const RenderRequest& request, const Project& project,
                         const StudioSnapshot& snapshot, const ExportOptions& options,
                         RenderImages images = RenderImages::forFile);
  // The same, written to `sink` as it is made (nothing is cached, the
  // result holds only the warnings): an export of many images never has to
  // fit in memory.
  using Progress = std::function<void(std::size_t done, std::size_t total)>;
  PdfRenderResult renderTo(const RenderRequest& request, const Project& project,
                           const StudioSnapshot& snapshot, const ExportOptions& options,
                           const PdfSink& sink, const Progress& progress = {});

  // The page of one artwork (`request.artworkId`), or the first page of a
  // text document or the CV, drawn as pixels `longEdge` on its longer side,
  // exactly as the document lays it out. An artwork is drawn from its web
  // derivative, never its original. Throws std::invalid_argument for an
  // artwork the snapshot does not hold, or a portfolio (many pages).
  RgbPixels renderPageImage(const RenderRequest& request, const Project& project,
                            const StudioSnapshot& snapshot, const ExportOptions& options,
                            int longEdge);

  std::size_t cacheHits() const { return hits_; }
  std::size_t cacheMisses() const { return misses_; }  // documents drawn afresh
  // Forgets the rendered documents kept for reuse (memory is short).
  void clearCache();

  // The prepared images kept for web-quality files, if any.
  PreparedImageCache* preparedImages() { return preparedImages_; }

 private:
  std::optional<std::vector<std::uint8_t>> imageData(const Artwork& artwork);
  // When the library holds no sound original: the file the work names, or
  // the image bytes stored with it.
  std::optional<std::vector<std::uint8_t>> fallbackImageData(const Artwork& artwork);
  // A work's page image for a file prepared by `policy`: kept from an
  // earlier export of the same original, else prepared and kept.
  std::optional<PreparedPdfImage> preparedImage(const Artwork& artwork,
                                                const ImagePreparationPolicy& policy);
  // The web derivative, else whatever `imageData` finds.
  std::optional<std::vector<std::uint8_t>> webImageData(const Artwork& artwork);
  PdfRenderResult draw(const RenderRequest& request, const Project& project,
                       const StudioSnapshot& snapshot, const ExportOptions& options,
                       RenderImages images, const PdfSink& sink, const Progress& progress = {});

  LabelOverrideRepository& labels_;
  SnapshotRepository& snapshots_;
  FilesMediaStore& media_;
  const ImageOptimizer& optimizer_;
  Logger& logger_;
  PreparedImageCache* preparedImages_;
  std::mutex mutex_;
  std::list<std::pair<std::string, PdfRenderResult>> cache_;  // most recent first
  std::size_t hits_ = 0;
  std::size_t misses_ = 0;
};

}  // namespace quorvane
