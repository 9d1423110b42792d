// Documents: rendered, exported (at once or on the render queue),
// previewed, and named.
#include "app/app_store.h"
#include "app/export_job.h"
#include "app/store/background.h"
#include "app/store/documents_room.h"

#include <filesystem>

#include "app/failure_text.h"
#include "app/store/thumbnail_room.h"
#include "model/export_file_names.h"
#include "pdf/localization.h"
#include "platform/paths.h"

namespace quorvane {

void DocumentsRoom::exportWritten(const RenderRequest& request, const std::string& path) {
  if (request.kind == RenderKind::portfolio) {
    ++store_.state_.completePortfolioExportCount;
    store_.services_.preferences.setInteger(preference_key::kCompletePortfolioExportCount,
                                            store_.state_.completePortfolioExportCount);
  }
  store_.services_.logger.log("render done kind=" + std::string(rawValue(request.kind)) +
                              " path=" + path);
  store_.publish();
}

void DocumentsRoom::exportFailed(const std::exception& error, const std::string& path) {
  store_.services_.logger.log(failureDiagnostic(error));
  const auto* system = dynamic_cast<const std::system_error*>(&error);
  if (system != nullptr && system->code().value() == EEXIST) {
    store_.fail(store_.text("app.error.export_exists", {path}));
  } else {
    store_.fail(
        store_.text("app.error.export_failed", {path, failureText(error, store_.language())}));
  }
}

void DocumentsRoom::noteMissingOriginals(const RenderRequest& request, const ExportOptions& options,
                                         std::vector<PdfWarning>& warnings) const {
  const bool printsWorks = request.kind == RenderKind::portfolio ||
                           request.kind == RenderKind::artworksPages ||
                           request.kind == RenderKind::singleArtwork;
  if (!printsWorks || options.imageQuality != ExportImageQuality::printQuality) return;
  for (const MissingOriginal& work : store_.missingOriginals()) {
    if (request.artworkId && work.artworkId != *request.artworkId) continue;
    warnings.push_back(PdfWarning::originalMissing);
    store_.services_.logger.log("render original missing artworkId=" + work.artworkId);
    return;
  }
}

bool DocumentsRoom::canExportTo(const std::string& path) {
  if (store_.services_.libraryDirectory &&
      isInsideDirectory(path, *store_.services_.libraryDirectory)) {
    return store_.fail(
        store_.text("app.error.export_into_library", {path, *store_.services_.libraryDirectory}));
  }
  return true;
}

void DocumentsRoom::failRender(const std::exception_ptr& failure) {
  try {
    if (failure) std::rethrow_exception(failure);
    store_.failWithKey("app.error.render_failed", {""});
  } catch (const std::exception& error) {
    store_.services_.logger.log(failureDiagnostic(error));
    store_.failWithKey("app.error.render_failed", {failureText(error, store_.language())});
  } catch (...) {
    store_.failWithKey("app.error.render_failed", {""});
  }
}

// ---- The store's routes ------------------------------------------------------

std::optional<PdfRenderResult> AppStore::renderPDF(const RenderRequest& request,
                                                   const ExportOptions& options) {
  try {
    PdfRenderResult result =
        services_.renderer.render(request, state_.project, state_.snapshot, options);
    if (request.kind == RenderKind::portfolio) {
      ++state_.completePortfolioExportCount;
      services_.preferences.setInteger(preference_key::kCompletePortfolioExportCount,
                                       state_.completePortfolioExportCount);
    }
    services_.logger.log("render done kind=" + std::string(rawValue(request.kind)) +
                         " bytes=" + std::to_string(result.data.size()));
    publish();
    return result;
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    fail(text("app.error.render_failed", {failureText(error, language())}));
    return std::nullopt;
  }
}

std::optional<RgbPixels> AppStore::renderPageImage(const RenderRequest& request,
                                                   const ExportOptions& options, int longEdge) {
  try {
    return services_.renderer.renderPageImage(request, state_.project, state_.snapshot, options,
                                              longEdge);
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

std::shared_ptr<ExportJob> AppStore::exportPDFInBackground(const RenderRequest& request,
                                                           const ExportOptions& options,
                                                           const std::string& path,
                                                           Progress progress, Exported done,
                                                           bool replaceExisting) {
  if (!documents_->canExportTo(path)) {
    if (done) done(std::nullopt);
    return nullptr;
  }
  ExportWork work{request, state_.project, state_.snapshot, options, path, replaceExisting};
  const std::weak_ptr<AppStore*> weak = self_;
  return ExportJob::start(
      services_.renderer, services_.pdfRenderQueue, services_.main, std::move(work),
      std::move(progress), [weak, request, options, path, done](const ExportOutcome& outcome) {
        const auto self = weak.lock();
        if (!self) return;
        AppStore& store = **self;
        std::optional<std::vector<PdfWarning>> warnings;
        switch (outcome.kind) {
          case ExportOutcome::Kind::written:
            store.documents_->exportWritten(request, path);
            warnings = outcome.warnings;
            store.documents_->noteMissingOriginals(request, options, *warnings);
            break;
          case ExportOutcome::Kind::cancelled:
            store.services_.logger.log(
                "render cancelled kind=" + std::string(rawValue(request.kind)) + " path=" + path);
            break;
          case ExportOutcome::Kind::failed:
            try {
              std::rethrow_exception(outcome.error);
            } catch (const std::exception& error) {
              store.documents_->exportFailed(error, path);
            } catch (...) {
              store.fail(store.text("app.error.export_failed", {path, ""}));
            }
            break;
        }
        if (done) done(warnings);
      });
}

std::string AppStore::exportName(RenderKind kind, const std::string& exportLocale) const {
  ExportDocumentKind document = ExportDocumentKind::portfolio;
  switch (kind) {
    case RenderKind::portfolio:
    case RenderKind::artworksPages:
    case RenderKind::singleArtwork:
      document = state_.project.kind == ProjectKind::catalogue ? ExportDocumentKind::catalogue
                                                               : ExportDocumentKind::portfolio;
      break;
    case RenderKind::cv:
      document = ExportDocumentKind::cv;
      break;
    case RenderKind::bio:
      document = ExportDocumentKind::biography;
      break;
    case RenderKind::statement:
      document = ExportDocumentKind::artistStatement;
      break;
    case RenderKind::projectStatement:
      document = ExportDocumentKind::projectStatement;
      break;
  }
  return exportFileName(document, state_.snapshot.details,
                        exportLocale.empty() ? state_.project.locale : exportLocale,
                        services_.clock.now(), state_.project.projectTitle);
}

void AppStore::requestPreview(const RenderRequest& request) {
  const std::uint64_t id = ++*documents_->latestPreviewRequest;
  state_.isPdfRendering = true;
  // Page thumbnails made stale by the same option change would draw beside
  // the preview and slow it down; they wait until it is shown.
  if (PageThumbnails* drawer = thumbnails_->drawer()) drawer->holdNewDraws(true);
  publish();
  PdfRenderService* renderer = &services_.renderer;
  // A preview is looked at on a screen: its pictures are the stored web
  // derivatives as they are, so an option changed answers in the time the
  // pages take to lay out, not the time twenty images take to re-encode.
  runInBackground(
      self_, services_.pdfRenderQueue, services_.main,
      [renderer, request, id, latest = documents_->latestPreviewRequest, project = state_.project,
       snapshot = state_.snapshot, options = state_.exportOptions] {
        if (id != latest->load()) return std::optional<PdfRenderResult>();  // overtaken
        return std::optional<PdfRenderResult>(
            renderer->render(request, project, snapshot, options, RenderImages::forScreen));
      },
      [request, id](AppStore& store, const Outcome<std::optional<PdfRenderResult>>& outcome) {
        const std::string kind(rawValue(request.kind));
        if (id != store.documents_->latestPreviewRequest->load()) {
          store.services_.logger.log("render drop kind=" + kind + " request=" + std::to_string(id));
          return;
        }
        store.state_.isPdfRendering = false;
        if (PageThumbnails* drawer = store.thumbnails_->drawer()) drawer->holdNewDraws(false);
        if (outcome.value && *outcome.value) {
          store.state_.pdfPreviewData = (*outcome.value)->data;
          ++store.documents_->previewRevision;
          store.state_.pdfWarnings = (*outcome.value)->warnings;
          store.services_.logger.log("render done kind=" + kind + " request=" + std::to_string(id));
          store.publish();
          return;
        }
        // The preview shown no longer matches what was asked for: it goes,
        // and the user learns why.
        store.state_.pdfPreviewData.reset();
        ++store.documents_->previewRevision;
        store.state_.pdfWarnings.clear();
        store.services_.logger.log("render failed kind=" + kind + " request=" + std::to_string(id));
        store.documents_->failRender(outcome.failure);
      });
}

}  // namespace quorvane
