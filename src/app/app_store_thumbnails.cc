// The store's routes to page thumbnails: the source of each page as the
// store holds it, the pages each change makes stale, and the versions
// published for the screens.
#include "app/app_store.h"
#include "app/failure_text.h"

namespace quorvane {
namespace {

// Thumbnails are drawn for a grid on a high-density screen: 512 pixels on
// the longer edge is sharp at 256 points, the size of the largest cell.
constexpr int kThumbnailLongEdge = 512;
constexpr int kThumbnailQuality = 82;

RenderKind kindOfSection(const std::string& section) {
  if (section == "bio") return RenderKind::bio;
  if (section == "statement") return RenderKind::statement;
  if (section == "projectStatement") return RenderKind::projectStatement;
  return RenderKind::cv;
}

}  // namespace

PageLabels AppStore::currentPageLabels() {
  const std::string locale = exportLanguage();
  if (pageLabels_ && pageLabelsLocale_ == locale) return *pageLabels_;
  PageLabels labels;
  labels.portfolio = services_.labels.labelOverrides("portfolio", locale);
  for (const std::string& section : documentSections()) {
    labels.documents[section] =
        services_.labels.labelOverrides(std::string(labelScopeOf(kindOfSection(section))), locale);
  }
  pageLabels_ = labels;
  pageLabelsLocale_ = locale;
  return labels;
}

std::optional<ThumbnailSource> AppStore::thumbnailSource(const std::string& key) {
  if (services_.renderer == nullptr) return std::nullopt;
  const std::optional<std::string> section = sectionOfThumbKey(key);
  RenderRequest request{section ? kindOfSection(*section) : RenderKind::singleArtwork,
                        section ? std::nullopt : std::optional(key)};
  if (!section && artwork(key) == nullptr) return std::nullopt;  // removed meanwhile
  ExportOptions options = state_.exportOptions;
  options.exportLocale = exportLanguage();
  const std::optional<std::string> signature = currentThumbnailSignature(key);
  if (!signature) return std::nullopt;
  // Drawn on the worker from a copy of the project as it is now.
  PdfRenderService& renderer = *services_.renderer;
  const ImageOptimizer& images = services_.images;
  return ThumbnailSource{*signature, [&renderer, &images, request, project = state_.project,
                                      snapshot = state_.snapshot, options] {
                           const RgbPixels pixels = renderer.renderPageImage(
                               request, project, snapshot, options, kThumbnailLongEdge);
                           return images.encodeWebp(pixels, kThumbnailQuality);
                         }};
}

std::optional<std::string> AppStore::currentThumbnailSignature(const std::string& key) {
  if (const std::optional<std::string> known = thumbnailRefresh_.signature(key)) return known;
  if (thumbnailProjectId_ != state_.project.id || !thumbnails_) {
    // Not looked at yet (the command line has no background thumbnails).
    ExportOptions options = state_.exportOptions;
    options.exportLocale = exportLanguage();
    thumbnailRefresh_.reset();
    thumbnailProjectId_ = state_.project.id;
    thumbnailRefresh_.update(state_.project, state_.snapshot, options, currentPageLabels());
  }
  return thumbnailRefresh_.signature(key);
}

AppStore::ThumbnailReport AppStore::buildThumbnails(const Progress& progress) {
  ThumbnailReport report;
  std::vector<std::string> keys;
  for (const Artwork& artwork : state_.snapshot.artworks.images) keys.push_back(artwork.id);
  for (const std::string& section : documentSections()) keys.push_back(documentThumbKey(section));
  std::size_t done = 0;
  for (const std::string& key : keys) {
    try {
      const std::optional<ThumbnailSource> source = thumbnailSource(key);
      if (!source) throw std::runtime_error("the page has no source");
      if (PageThumbnails::storedSignature(services_.media, key) == source->signature) {
        ++report.fresh;
      } else {
        PageThumbnails::store(services_.media, key, source->draw(), source->signature);
        ++report.rebuilt;
      }
    } catch (const std::exception& error) {
      services_.logger.log("[Quorvane][PdfThumb] render failed id=" + key + " " +
                           failureDiagnostic(error));
      ++report.failed;
    }
    if (progress) progress(++done, keys.size());
  }
  return report;
}

void AppStore::refreshThumbnails() {
  if (!thumbnails_) return;
  if (thumbnailProjectId_ != state_.project.id) {
    thumbnailRefresh_.reset();
    thumbnailProjectId_ = state_.project.id;
  }
  ExportOptions options = state_.exportOptions;
  options.exportLocale = exportLanguage();
  PageLabels labels;
  try {
    labels = currentPageLabels();
  } catch (const std::exception& error) {
    services_.logger.log("[Quorvane][PdfThumb] labels unreadable " + failureDiagnostic(error));
    return;
  }
  const std::vector<ThumbnailRefresh::Stale> stale =
      thumbnailRefresh_.update(state_.project, state_.snapshot, options, labels);
  for (const std::string& id : thumbnailRefresh_.gone()) {
    thumbnails_->forget(id);
    state_.artworkPdfThumbVersionByID.erase(id);
    state_.artworkPdfThumbGeneratedSignatureByID.erase(id);
  }
  for (const ThumbnailRefresh::Stale& page : stale) {
    thumbnails_->enqueue(page.key, page.reason, page.key == state_.worksInspectorArtworkID);
  }
}

void AppStore::thumbnailReady(const std::string& key) {
  const std::int64_t version = thumbnails_->versions().at(key);
  const std::string& signature = thumbnails_->generatedSignatures().at(key);
  if (const std::optional<std::string> section = sectionOfThumbKey(key)) {
    const std::optional<SaveSection> saveSection = fromRawValue<SaveSection>(*section);
    if (!saveSection) return;
    state_.documentPdfThumbVersionBySection[*saveSection] = version;
    state_.documentPdfThumbGeneratedSignatureBySection[*saveSection] = signature;
  } else {
    state_.artworkPdfThumbVersionByID[key] = version;
    state_.artworkPdfThumbGeneratedSignatureByID[key] = signature;
  }
  publish();
}

void AppStore::enqueueArtworkPdfThumb(const std::string& artworkId, std::string_view reason) {
  checkMainThread();
  if (thumbnails_) {
    thumbnails_->enqueue(artworkId, reason, state_.worksInspectorArtworkID == artworkId);
  }
}

void AppStore::enqueueDocumentPdfThumb(SaveSection section, std::string_view reason) {
  checkMainThread();
  if (thumbnails_) thumbnails_->enqueue(documentThumbKey(std::string(rawValue(section))), reason);
}

void AppStore::loadArtworkPdfThumb(const std::string& artworkId, ThumbLoaded done) {
  checkMainThread();
  if (!thumbnails_) {
    services_.main.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  thumbnails_->load(artworkId, std::move(done));
}

void AppStore::loadDocumentPdfThumb(SaveSection section, ThumbLoaded done) {
  checkMainThread();
  if (!thumbnails_) {
    services_.main.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  thumbnails_->load(documentThumbKey(std::string(rawValue(section))), std::move(done));
}

void AppStore::setWorksInspectorArtwork(const std::optional<std::string>& artworkId) {
  checkMainThread();
  state_.worksInspectorArtworkID = artworkId;
  publish();
}

}  // namespace quorvane

namespace quorvane {

Executor* AppStore::pictureWorker() const {
  return services_.pictureQueue != nullptr ? services_.pictureQueue : services_.thumbnailQueue;
}

void AppStore::loadBoardPicture(const std::string& artworkId, int longEdge, PictureLoaded done) {
  checkMainThread();
  // Any artwork of the library: a dashboard shows other projects' covers.
  const Artwork* shown = artwork(artworkId);
  if ((shown != nullptr && !shown->imagePath) || pictureWorker() == nullptr) {
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
      store.loadWebPicture(artworkId, longEdge, done);
      return;
    }
    const ImageOptimizer& images = store.services_.images;
    Executor& main = store.services_.main;
    store.pictureWorker()->post([weak, artworkId, longEdge, done, page = *page, &images, &main] {
      std::optional<BoardPicture> picture;
      try {
        picture = BoardPicture{images.decodeToFit(page, longEdge, longEdge), true};
      } catch (const std::exception&) {
      }
      main.post([weak, artworkId, longEdge, done, picture = std::move(picture)] {
        const auto self = weak.lock();
        if (!self) return;
        if (picture) return done(picture);
        (*self)->loadWebPicture(artworkId, longEdge, done);
      });
    });
  });
}

void AppStore::loadWebPicture(const std::string& artworkId, int longEdge, PictureLoaded done) {
  const std::weak_ptr<AppStore*> weak = self_;
  const FilesMediaStore& media = services_.media;
  const ImageOptimizer& images = services_.images;
  Executor& main = services_.main;
  pictureWorker()->post([weak, artworkId, longEdge, done, &media, &images, &main] {
    std::optional<BoardPicture> picture;
    try {
      if (const auto bytes = media.readFile(media.webDerivativePath(artworkId))) {
        picture = BoardPicture{images.decodeToFit(*bytes, longEdge, longEdge), false};
      }
    } catch (const std::exception&) {
      // A web image that can't be read shows as an empty cell; the page
      // thumbnail replaces it once drawn.
    }
    main.post([weak, done, picture = std::move(picture)] {
      if (weak.lock()) done(picture);
    });
  });
}

}  // namespace quorvane
