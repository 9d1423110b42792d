// The store's routes to the web CV import: a generator's export planned
// against the open project, and the chosen groups written into it while its
// own saves wait.
#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"
#include "app/store/undo_room.h"
#include "app/store/web_cv_room.h"
#include "cv/cv_sections.h"
#include "pdf/localization.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

std::set<SaveSection> replacedSections(const WebCVWrite& write) {
  std::set<SaveSection> sections;
  if (write.details) sections.insert(SaveSection::details);
  if (write.cv) sections.insert(SaveSection::cv);
  return sections;
}

std::string choices(const WebCVImportSelection& selection) {
  return "identity=" + std::string(rawValue(selection.identity)) +
         " cv=" + std::string(rawValue(selection.cv));
}

}  // namespace

bool WebCVRoom::refuse(WebCVImportErrorCode code, const std::string& detail,
                       const std::optional<WebCVImportExplanation>& explanation) {
  lastError = code;
  store_.services_.logger.log("app webCVImport failed error=" + std::string(rawValue(code)) +
                              (detail.empty() ? "" : " detail=" + detail));
  if (!explanation) return store_.failWithKey("cv.import.error." + std::string(rawValue(code)));
  // A section is named by its heading, as the user knows it.
  std::vector<std::string> arguments = explanation->arguments;
  for (std::string& argument : arguments) {
    if (const auto section = fromRawValue<CVSectionKey>(argument)) {
      argument = store_.text(cvSectionTitleKey(*section));
    }
  }
  return store_.fail(fillPlaceholders(store_.text(explanation->key), arguments));
}

void WebCVRoom::failPreparing(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const WebCVImportError& error) {
    refuse(error.code(), error.what(), error.explanation());
  } catch (const std::exception& error) {
    refuse(WebCVImportErrorCode::readOrSave, error.what());
  }
}

void WebCVRoom::logPrepared(const PreparedWebCVImport& prepared) {
  store_.services_.logger.log("app webCVImport prepared project=" + prepared.projectId +
                              " issues=" + std::to_string(prepared.plan.issues.size()) +
                              " identical=" + (prepared.plan.isIdentical() ? "true" : "false"));
}

std::optional<WebCVWrite> WebCVRoom::begin(const PreparedWebCVImport& prepared,
                                           const WebCVImportSelection& selection) {
  store_.checkMainThread();
  lastError.reset();
  if (store_.state_.webCVImportTargetID) {
    refuse(WebCVImportErrorCode::busy, "");
    return std::nullopt;
  }
  if (prepared.projectId != store_.state_.project.id) {
    refuse(WebCVImportErrorCode::context, "not the open project");
    return std::nullopt;
  }
  if (store_.state_.snapshot.details != prepared.basisDetails ||
      store_.state_.snapshot.cv != prepared.basisCV) {
    refuse(WebCVImportErrorCode::stale, "edited since the plan");
    return std::nullopt;
  }
  for (const WebCVImportGroup group : {WebCVImportGroup::identity, WebCVImportGroup::cv}) {
    const WebCVImportChoice choice =
        group == WebCVImportGroup::identity ? selection.identity : selection.cv;
    if (choice == WebCVImportChoice::replace && !prepared.plan.canReplace(group)) {
      lastError = WebCVImportErrorCode::invalid;
      store_.failWithKey("cv.import.blocked",
                         {store_.text(group == WebCVImportGroup::identity ? "cv.import.identity"
                                                                          : "cv.import.cv")});
      return std::nullopt;
    }
  }
  const std::string asset = std::string(kWebCVAssetPrefix) + store_.services_.makeUuid();
  WebCVWrite write = webCVWriteFor(prepared, selection, asset);
  // A project not in the library yet is written first (its saves must not
  // be held back with the others).
  if (write.details || write.cv) store_.ensurePersisted();
  store_.state_.webCVImportTargetID = store_.state_.project.id;
  store_.pipeline_->beginWebCVImport(store_.state_.project.id);
  store_.services_.logger.log("app webCVImport start project=" + store_.state_.project.id + " " +
                              choices(selection));
  return write;
}

void WebCVRoom::finish(const PreparedWebCVImport& prepared, const WebCVWrite& write,
                       const std::optional<WebCVWritten>& written, std::exception_ptr failure) {
  const std::string& projectId = prepared.projectId;
  store_.state_.webCVImportTargetID.reset();
  const std::set<SaveSection> replaced =
      written ? replacedSections(write) : std::set<SaveSection>{};
  std::optional<std::pair<Project, StudioSnapshot>> imported;
  if (store_.state_.project.id == projectId) {
    imported = {store_.state_.project, store_.state_.snapshot};
    if (!replaced.empty()) takeImportedContent(prepared, write, written->atMs, *imported);
  }
  store_.pipeline_->endWebCVImport(projectId, replaced, imported);
  if (!written) {
    try {
      std::rethrow_exception(failure);
    } catch (const WebCVImportError& error) {
      refuse(error.code(), error.what());
    } catch (const std::exception& error) {
      refuse(WebCVImportErrorCode::readOrSave, error.what());
    }
    store_.publish();
    return;
  }
  if (store_.state_.project.id == projectId) {
    // One step takes the whole import back.
    auto before = std::make_shared<ProjectContent>(*store_.undo_->content());
    before->snapshot.details = prepared.basisDetails;
    before->snapshot.cv = prepared.basisCV;
    UndoStep step = undoStep("undo.action.web_cv_import", {}, SaveSection::cv);
    step.before = std::move(before);
    step.after = store_.undo_->content();
    store_.undo_->record(std::move(step));
  }
  store_.countChanges(static_cast<std::int64_t>(replaced.size()));
  store_.services_.logger.log("app webCVImport done project=" + projectId +
                              " sections=" + std::to_string(replaced.size()) +
                              " copiedCV=" + written->newCVAssetId.value_or("none"));
  try {
    store_.reloadSummaries();
  } catch (const std::exception& error) {
    store_.failWith(error);  // the import is written; only the list of projects is behind
  }
  store_.publish();
}

void WebCVRoom::takeImportedContent(const PreparedWebCVImport& prepared, const WebCVWrite& write,
                                    std::int64_t atMs,
                                    std::pair<Project, StudioSnapshot>& library) {
  const Date at = dateFromMilliseconds(atMs);
  StudioSnapshot& content = library.second;
  library.first.updatedAt = store_.state_.project.updatedAt = at;
  // The screen takes what the import wrote, unless the group was edited
  // during the import: that edit is newer, and is written after it.
  const auto take = [&](SaveSection section, const auto& written, auto StudioSnapshot::*field,
                        std::optional<Date> StudioSnapshot::*createdAt,
                        std::optional<Date> StudioSnapshot::*updatedAt, const auto& basis) {
    if (!written) return;
    content.*field = *written;
    content.*createdAt = content.*updatedAt = at;
    if (store_.state_.snapshot.*field != basis) return;
    store_.state_.snapshot.*field = *written;
    store_.state_.snapshot.*createdAt = store_.state_.snapshot.*updatedAt = at;
    store_.stampedContent_[section] = sectionContentFingerprint(section, store_.state_.snapshot);
  };
  take(SaveSection::details, write.details, &StudioSnapshot::details,
       &StudioSnapshot::detailsCreatedAt, &StudioSnapshot::detailsUpdatedAt, prepared.basisDetails);
  take(SaveSection::cv, write.cv, &StudioSnapshot::cv, &StudioSnapshot::cvCreatedAt,
       &StudioSnapshot::cvUpdatedAt, prepared.basisCV);
}

// ---- The store's routes ------------------------------------------------------

const std::optional<WebCVImportErrorCode>& AppStore::lastWebCVImportError() const {
  return webCVImport_->lastError;
}

bool AppStore::prepareWebCVImportInBackground(
    const std::string& path, std::function<void(std::optional<PreparedWebCVImport>)> done) {
  checkMainThread();
  webCVImport_->lastError.reset();
  // What waits in its debounce goes first on the same queue: the plan then
  // reads from the library what the user sees.
  if (!isUnsaved_) pipeline_->firePendingSaves();
  FileSystem& files = *services_.files;
  WebCVRepository* repository = isUnsaved_ ? nullptr : &services_.webCV;
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [&files, repository, path, projectId = state_.project.id, details = state_.snapshot.details,
       cv = state_.snapshot.cv, language = language()] {
        return quorvane::prepareWebCVImport(files, repository, path, projectId, details, cv,
                                            language);
      },
      [done](AppStore& store, const Outcome<PreparedWebCVImport>& outcome) {
        if (outcome.value) {
          store.webCVImport_->logPrepared(*outcome.value);
        } else {
          store.webCVImport_->failPreparing(outcome.failure);
        }
        if (done) done(outcome.value);
      });
  return true;
}

bool AppStore::applyWebCVImportInBackground(const PreparedWebCVImport& prepared,
                                            const WebCVImportSelection& selection,
                                            std::function<void(bool)> done) {
  const std::optional<WebCVWrite> write = webCVImport_->begin(prepared, selection);
  if (!write) return false;
  publish();
  // Handed to the save queue after every write fired before: they run first.
  pipeline_->firePendingSaves();
  WebCVRepository& repository = services_.webCV;
  const std::int64_t now = millisecondsSince1970(services_.clock.now());
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [&repository, prepared, write = *write, now] {
        return writeWebCVImport(repository, prepared, write, now);
      },
      [prepared, write = *write, done](AppStore& store, const Outcome<WebCVWritten>& outcome) {
        store.webCVImport_->finish(prepared, write, outcome.value, outcome.failure);
        if (done) done(outcome.value.has_value());
      });
  return true;
}

}  // namespace quorvane
