// Page thumbnails: the source of each page as the
// store holds it, the pages each change makes stale, and the versions
// published for the screens.
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/store/thumbnail_room.h"

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

ThumbnailRoom::ThumbnailRoom(AppStore& store) : store_(store) {
  const AppStoreServices& services = store.services_;
  if (services.thumbnailQueue == nullptr) return;
  drawer_ = std::make_unique<PageThumbnails>(
      services.media, services.main, *services.thumbnailQueue, services.logger,
      [this](const std::string& key) { return source(key); },
      [this](const std::string& key) { ready(key); });
}

PageLabels ThumbnailRoom::currentLabels() {
  const std::string locale = store_.exportLanguage();
  if (labels_ && labelsLocale_ == locale) return *labels_;
  PageLabels labels;
  labels.portfolio = store_.services_.labels.labelOverrides("portfolio", locale);
  for (const std::string& section : documentSections()) {
    labels.documents[section] = store_.services_.labels.labelOverrides(
        std::string(labelScopeOf(kindOfSection(section))), locale);
  }
  labels_ = labels;
  labelsLocale_ = locale;
  return labels;
}

std::optional<ThumbnailSource> ThumbnailRoom::source(const std::string& key) {
  const std::optional<std::string> section = sectionOfThumbKey(key);
  RenderRequest request{section ? kindOfSection(*section) : RenderKind::singleArtwork,
                        section ? std::nullopt : std::optional(key)};
  if (!section && store_.artwork(key) == nullptr) return std::nullopt;  // removed meanwhile
  ExportOptions options = store_.state_.exportOptions;
  options.exportLocale = store_.exportLanguage();
  const std::optional<std::string> signature = currentSignature(key);
  if (!signature) return std::nullopt;
  // Drawn on the worker from a copy of the project as it is now.
  PdfRenderService& renderer = store_.services_.renderer;
  const ImageOptimizer& images = store_.services_.images;
  return ThumbnailSource{*signature, [&renderer, &images, request, project = store_.state_.project,
                                      snapshot = store_.state_.snapshot, options] {
                           const RgbPixels pixels = renderer.renderPageImage(
                               request, project, snapshot, options, kThumbnailLongEdge);
                           return images.encodeWebp(pixels, kThumbnailQuality);
                         }};
}

std::optional<std::string> ThumbnailRoom::currentSignature(const std::string& key) {
  if (const std::optional<std::string> known = refresh_.signature(key)) return known;
  if (projectId_ != store_.state_.project.id || !drawer_) {
    // Not looked at yet (the command line has no background thumbnails).
    ExportOptions options = store_.state_.exportOptions;
    options.exportLocale = store_.exportLanguage();
    refresh_.reset();
    projectId_ = store_.state_.project.id;
    refresh_.update(store_.state_.project, store_.state_.snapshot, options, currentLabels());
  }
  return refresh_.signature(key);
}

void ThumbnailRoom::refresh() {
  if (!drawer_) return;
  if (projectId_ != store_.state_.project.id) {
    refresh_.reset();
    projectId_ = store_.state_.project.id;
  }
  ExportOptions options = store_.state_.exportOptions;
  options.exportLocale = store_.exportLanguage();
  PageLabels labels;
  try {
    labels = currentLabels();
  } catch (const std::exception& error) {
    store_.services_.logger.log("[Quorvane][PdfThumb] labels unreadable " +
                                failureDiagnostic(error));
    return;
  }
  const std::vector<ThumbnailRefresh::Stale> stale =
      refresh_.update(store_.state_.project, store_.state_.snapshot, options, labels);
  for (const std::string& id : refresh_.gone()) {
    drawer_->forget(id);
    store_.state_.artworkPdfThumbVersionByID.erase(id);
    store_.state_.artworkPdfThumbGeneratedSignatureByID.erase(id);
  }
  for (const ThumbnailRefresh::Stale& page : stale) {
    drawer_->enqueue(page.key, page.reason, page.key == store_.state_.worksInspectorArtworkID);
  }
}

void ThumbnailRoom::ready(const std::string& key) {
  const std::int64_t version = drawer_->versions().at(key);
  const std::string& signature = drawer_->generatedSignatures().at(key);
  if (const std::optional<std::string> section = sectionOfThumbKey(key)) {
    const std::optional<SaveSection> saveSection = fromRawValue<SaveSection>(*section);
    if (!saveSection) return;
    store_.state_.documentPdfThumbVersionBySection[*saveSection] = version;
    store_.state_.documentPdfThumbGeneratedSignatureBySection[*saveSection] = signature;
  } else {
    store_.state_.artworkPdfThumbVersionByID[key] = version;
    store_.state_.artworkPdfThumbGeneratedSignatureByID[key] = signature;
  }
  store_.publish();
}

// ---- The store's routes ------------------------------------------------------

AppStore::ThumbnailReport AppStore::buildThumbnails(const Progress& progress) {
  ThumbnailReport report;
  std::vector<std::string> keys;
  for (const Artwork& artwork : state_.snapshot.artworks.images) keys.push_back(artwork.id);
  for (const std::string& section : documentSections()) keys.push_back(documentThumbKey(section));
  std::size_t done = 0;
  for (const std::string& key : keys) {
    try {
      const std::optional<ThumbnailSource> source = thumbnails_->source(key);
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

void AppStore::enqueueArtworkPdfThumb(const std::string& artworkId, std::string_view reason) {
  checkMainThread();
  if (PageThumbnails* drawer = thumbnails_->drawer()) {
    drawer->enqueue(artworkId, reason, state_.worksInspectorArtworkID == artworkId);
  }
}

void AppStore::enqueueDocumentPdfThumb(SaveSection section, std::string_view reason) {
  checkMainThread();
  if (thumbnails_->drawer())
    thumbnails_->drawer()->enqueue(documentThumbKey(std::string(rawValue(section))), reason);
}

void AppStore::loadArtworkPdfThumb(const std::string& artworkId, ThumbLoaded done) {
  checkMainThread();
  if (!thumbnails_->drawer()) {
    services_.main.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  thumbnails_->drawer()->load(artworkId, std::move(done));
}

void AppStore::loadDocumentPdfThumb(SaveSection section, ThumbLoaded done) {
  checkMainThread();
  if (!thumbnails_->drawer()) {
    services_.main.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  thumbnails_->drawer()->load(documentThumbKey(std::string(rawValue(section))), std::move(done));
}

void AppStore::setWorksInspectorArtwork(const std::optional<std::string>& artworkId) {
  checkMainThread();
  state_.worksInspectorArtworkID = artworkId;
  publish();
}

}  // namespace quorvane
