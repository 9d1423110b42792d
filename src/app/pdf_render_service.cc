#include "app/pdf_render_service.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "app/original_check.h"
#include "app/save_section.h"
#include "model/artist_name.h"
#include "pdf/cv_pdf_renderer.h"
#include "pdf/document_properties.h"
#include "pdf/portfolio_pdf_renderer.h"
#include "pdf/statement_pdf_renderer.h"

namespace quorvane {
std::string_view labelScopeOf(RenderKind kind) {
  switch (kind) {
    case RenderKind::statement:
      return "statement";
    case RenderKind::projectStatement:
      return "project_statement";
    case RenderKind::bio:
      return "bio";
    case RenderKind::cv:
      return "cv";
    default:
      return "portfolio";
  }
}

namespace {

PdfDocumentKind documentKindOf(RenderKind kind, const Project& project) {
  switch (kind) {
    case RenderKind::statement:
      return PdfDocumentKind::statement;
    case RenderKind::projectStatement:
      return PdfDocumentKind::projectStatement;
    case RenderKind::bio:
      return PdfDocumentKind::biography;
    case RenderKind::cv:
      return PdfDocumentKind::cv;
    case RenderKind::portfolio:
    case RenderKind::artworksPages:
    case RenderKind::singleArtwork:
      break;
  }
  return projectDocumentKind(project);
}

std::map<std::string, std::string> overridesOf(LabelOverrideRepository& labels,
                                               std::string_view scope, const std::string& locale) {
  return labels.labelOverrides(std::string(scope), locale);
}

// Everything a rendering depends on, as one key.
std::string cacheKey(const RenderRequest& request, const Project& project,
                     const StudioSnapshot& snapshot, const ExportOptions& options,
                     RenderImages images, const std::map<std::string, std::string>& overrides) {
  nlohmann::json key{images == RenderImages::forScreen ? "screen" : "file",
                     rawValue(request.kind),
                     request.artworkId.value_or(""),
                     rawValue(options.format),
                     options.exportLocale,
                     rawValue(options.imageQuality),
                     options.includeCV,
                     options.includeBiography,
                     options.includeStatement,
                     options.includeProjectStatement,
                     options.includeTableOfContents,
                     options.includeCoverImage,
                     options.showBiographyTitle.value_or(2),
                     options.showStatementTitle.value_or(2),
                     options.showProjectStatementTitle.value_or(2),
                     overrides};
  for (const SaveSection section : allCases<SaveSection>()) {
    key.push_back(sectionFingerprint(section, project, snapshot));
  }
  return key.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

PdfRenderService::PdfRenderService(LabelOverrideRepository& labels, SnapshotRepository& snapshots,
                                   FilesMediaStore& media, const ImageOptimizer& optimizer,
                                   Logger& logger, PreparedImageCache* preparedImages)
    : labels_(labels),
      snapshots_(snapshots),
      media_(media),
      optimizer_(optimizer),
      logger_(logger),
      preparedImages_(preparedImages) {}

std::optional<std::vector<std::uint8_t>> PdfRenderService::imageData(const Artwork& artwork) {
  // Only the original the library recorded: a link put in its place is not
  // followed, a file changed since is not printed (its screen copy is, and
  // the export says so).
  for (const std::string& original : media_.originalFiles(artwork.id)) {
    if (auto bytes = readSoundOriginal(media_.files(), optimizer_, artwork, original)) {
      return bytes;
    }
  }
  return fallbackImageData(artwork);
}

std::optional<std::vector<std::uint8_t>> PdfRenderService::fallbackImageData(
    const Artwork& artwork) {
  if (artwork.imagePath && !artwork.imagePath->starts_with(kSqliteMediaScheme)) {
    if (auto bytes = media_.readFile(*artwork.imagePath)) return bytes;
  }
  try {
    return snapshots_.imageBytes(artwork.id);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<PreparedPdfImage> PdfRenderService::preparedImage(
    const Artwork& artwork, const ImagePreparationPolicy& policy) {
  for (const std::string& original : media_.originalFiles(artwork.id)) {
    if (auto image = preparedImages_->preparedFrom(artwork.id, original, policy, [&] {
          return readSoundOriginal(media_.files(), optimizer_, artwork, original);
        })) {
      return image;
    }
  }
  std::optional<Bytes> bytes = fallbackImageData(artwork);
  if (!bytes) return std::nullopt;
  return preparePdfImage(optimizer_, std::move(*bytes), policy);
}

std::optional<std::vector<std::uint8_t>> PdfRenderService::webImageData(const Artwork& artwork) {
  if (auto bytes = media_.readFile(media_.webDerivativePath(artwork.id))) return bytes;
  try {
    if (auto bytes = snapshots_.imageBytes(artwork.id)) return bytes;
  } catch (const std::exception&) {
    // Not in the library: the original, below.
  }
  return imageData(artwork);
}

RgbPixels PdfRenderService::renderPageImage(const RenderRequest& request, const Project& project,
                                            const StudioSnapshot& snapshot,
                                            const ExportOptions& given, int longEdge) {
  ExportOptions options = given;
  if (options.exportLocale.empty()) options.exportLocale = project.locale;
  const bool artworkPage = request.kind == RenderKind::singleArtwork;
  const PageSize page =
      pageSize(options.format, artworkPage ? project.orientation : DocumentOrientation::portrait);
  const double pixelsPerPoint =
      static_cast<double>(std::max(longEdge, 1)) / std::max(page.width, page.height);
  const ImageOptimizer& optimizer = optimizer_;
  const auto canvas =
      PdfCanvas::raster(page, pixelsPerPoint,
                        [&optimizer](std::span<const std::uint8_t> image, int width,
                                     int height) -> std::optional<RgbPixels> {
                          try {
                            return optimizer.decodeToFit(image, width, height);
                          } catch (const std::exception&) {
                            return std::nullopt;  // the page goes without its image, as in the PDF
                          }
                        });
  const std::string_view scope = labelScopeOf(request.kind);
  const PdfStrings labels(options.exportLocale, std::string(scope),
                          overridesOf(labels_, scope, options.exportLocale));
  const PDFStyle style;
  switch (request.kind) {
    case RenderKind::statement:
      StatementPdfRenderer(style, labels)
          .draw(*canvas, snapshot.statement, kStatementTitleKey,
                printedArtistName(snapshot.details));
      break;
    case RenderKind::projectStatement:
      StatementPdfRenderer(style, labels)
          .draw(*canvas, snapshot.projectStatement, kProjectStatementTitleKey,
                printedArtistName(snapshot.details));
      break;
    case RenderKind::bio:
      StatementPdfRenderer(style, labels)
          .draw(*canvas, snapshot.biography, kBiographyTitleKey,
                printedArtistName(snapshot.details));
      break;
    case RenderKind::cv:
      CvPdfRenderer(style, labels).draw(*canvas, snapshot.details, snapshot.cv, 1);
      break;
    case RenderKind::singleArtwork: {
      const auto& artworks = snapshot.artworks.images;
      const auto found = std::find_if(artworks.begin(), artworks.end(), [&](const Artwork& a) {
        return request.artworkId && a.id == *request.artworkId;
      });
      if (found == artworks.end()) throw std::invalid_argument("no such artwork in the project");
      const PortfolioPdfRenderer renderer(
          style, labels, [this](const Artwork& artwork) { return webImageData(artwork); },
          optimizer_, std::nullopt);
      renderer.drawArtworkPage(*canvas, project, snapshot, *found,
                               static_cast<int>(found - artworks.begin()) + 1);
      break;
    }
    case RenderKind::portfolio:
    case RenderKind::artworksPages:
      throw std::invalid_argument("a document of many pages has no one page to show");
  }
  return canvas->finishRaster();
}

PdfRenderResult PdfRenderService::draw(const RenderRequest& request, const Project& project,
                                       const StudioSnapshot& snapshot, const ExportOptions& options,
                                       RenderImages images, const PdfSink& sink,
                                       const Progress& progress) {
  const std::string& locale = options.exportLocale;
  const std::string_view scope = labelScopeOf(request.kind);
  const PdfStrings labels(locale, std::string(scope), overridesOf(labels_, scope, locale));
  const PDFStyle style;
  const DocumentProperties properties =
      documentProperties(documentKindOf(request.kind, project), project, snapshot.details, labels);
  PdfRenderResult result;
  switch (request.kind) {
    case RenderKind::statement:
      result = StatementPdfRenderer(style, labels)
                   .render(snapshot.statement, kStatementTitleKey, properties.author, options,
                           properties);
      break;
    case RenderKind::projectStatement:
      result = StatementPdfRenderer(style, labels)
                   .render(snapshot.projectStatement, kProjectStatementTitleKey, properties.author,
                           options, properties);
      break;
    case RenderKind::bio:
      result = StatementPdfRenderer(style, labels)
                   .render(snapshot.biography, kBiographyTitleKey, properties.author, options,
                           properties);
      break;
    case RenderKind::cv:
      result =
          CvPdfRenderer(style, labels).render(snapshot.details, snapshot.cv, options, properties);
      break;
    case RenderKind::portfolio:
    case RenderKind::artworksPages:
    case RenderKind::singleArtwork: {
      StudioSnapshot content = snapshot;
      if (request.kind == RenderKind::singleArtwork && request.artworkId) {
        std::erase_if(content.artworks.images,
                      [&](const Artwork& a) { return a.id != *request.artworkId; });
      }
      const bool onScreen = images == RenderImages::forScreen;
      const std::optional<ImagePreparationPolicy> policy =
          onScreen ? std::nullopt : imagePreparationPolicy(options.imageQuality);
      PortfolioPdfRenderer renderer(
          style, labels,
          [this, onScreen](const Artwork& artwork) {
            return onScreen ? webImageData(artwork) : imageData(artwork);
          },
          optimizer_, policy);
      if (policy && preparedImages_ != nullptr) {
        renderer.takePageImagesFrom(
            [this, &policy](const Artwork& artwork) { return preparedImage(artwork, *policy); });
      }
      PdfRenderResult drawn =
          renderer.render(project, content, options, request.kind == RenderKind::portfolio, sink,
                          progress, properties);
      if (policy && preparedImages_ != nullptr) preparedImages_->trim();
      return drawn;
    }
  }
  // The small documents are made in memory, then handed on.
  if (sink && !sink.write(result.data))
    throw std::runtime_error("the document could not be written");
  if (sink) result.data.clear();
  return result;
}

PdfRenderResult PdfRenderService::renderTo(const RenderRequest& request, const Project& project,
                                           const StudioSnapshot& snapshot,
                                           const ExportOptions& given, const PdfSink& sink,
                                           const Progress& progress) {
  ExportOptions options = given;
  if (options.exportLocale.empty()) options.exportLocale = project.locale;
  return draw(request, project, snapshot, options, RenderImages::forFile, sink, progress);
}

void PdfRenderService::clearCache() {
  const std::lock_guard lock(mutex_);
  cache_.clear();
}

PdfRenderResult PdfRenderService::render(const RenderRequest& request, const Project& project,
                                         const StudioSnapshot& snapshot, const ExportOptions& given,
                                         RenderImages images) {
  ExportOptions options = given;
  if (options.exportLocale.empty()) options.exportLocale = project.locale;
  // On a screen the quality changes nothing: one drawing serves both.
  if (images == RenderImages::forScreen) options.imageQuality = ExportImageQuality::webOptimized;
  const std::string& locale = options.exportLocale;
  const std::string_view scope = labelScopeOf(request.kind);
  const auto overrides = overridesOf(labels_, scope, locale);
  const std::string key = cacheKey(request, project, snapshot, options, images, overrides);
  {
    const std::lock_guard lock(mutex_);
    for (auto it = cache_.begin(); it != cache_.end(); ++it) {
      if (it->first != key) continue;
      cache_.splice(cache_.begin(), cache_, it);
      ++hits_;
      logger_.log("render cache hit kind=" + std::string(rawValue(request.kind)));
      return cache_.front().second;
    }
  }

  PdfRenderResult result = draw(request, project, snapshot, options, images, {});
  const std::lock_guard lock(mutex_);
  ++misses_;
  cache_.emplace_front(key, result);
  if (cache_.size() > kCacheSize) cache_.pop_back();
  return result;
}

}  // namespace quorvane
