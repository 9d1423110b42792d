// The store's routes to the web CV import: a generator's export planned
// against the open project, and the chosen groups written into it while its
// own saves wait.
#include "app/app_store.h"
#include "app/failure_text.h"
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

bool AppStore::failWebCVImport(WebCVImportErrorCode code, const std::string& detail,
                               const std::optional<WebCVImportExplanation>& explanation) {
  lastWebCVImportError_ = code;
  services_.logger.log("app webCVImport failed error=" + std::string(rawValue(code)) +
                       (detail.empty() ? "" : " detail=" + detail));
  if (!explanation) return failWithKey("cv.import.error." + std::string(rawValue(code)));
  // A section is named by its heading, as the user knows it.
  std::vector<std::string> arguments = explanation->arguments;
  for (std::string& argument : arguments) {
    if (const auto section = fromRawValue<CVSectionKey>(argument)) {
      argument = text(cvSectionTitleKey(*section));
    }
  }
  return fail(fillPlaceholders(text(explanation->key), arguments));
}

void AppStore::failPreparingWebCVImport(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const WebCVImportError& error) {
    failWebCVImport(error.code(), error.what(), error.explanation());
  } catch (const std::exception& error) {
    failWebCVImport(WebCVImportErrorCode::readOrSave, error.what());
  }
}

void AppStore::logPreparedWebCVImport(const PreparedWebCVImport& prepared) {
  services_.logger.log("app webCVImport prepared project=" + prepared.projectId +
                       " issues=" + std::to_string(prepared.plan.issues.size()) +
                       " identical=" + (prepared.plan.isIdentical() ? "true" : "false"));
}

std::optional<PreparedWebCVImport> AppStore::prepareWebCVImport(const std::string& path) {
  checkMainThread();
  lastWebCVImportError_.reset();
  if (!services_.webCV) {
    failWebCVImport(WebCVImportErrorCode::context, "no library");
    return std::nullopt;
  }
  try {
    // The plan compares the file with what the user sees; the library must
    // hold the same, or applying would find it changed. A project not in the
    // library yet stays out of it: looking at a plan writes nothing.
    if (!isUnsaved_) settleSaves();
    FileSystem& files = services_.files ? *services_.files : realFileSystem();
    PreparedWebCVImport prepared = quorvane::prepareWebCVImport(
        files, isUnsaved_ ? nullptr : services_.webCV, path, state_.project.id,
        state_.snapshot.details, state_.snapshot.cv, language());
    logPreparedWebCVImport(prepared);
    return prepared;
  } catch (...) {
    failPreparingWebCVImport(std::current_exception());
  }
  return std::nullopt;
}

bool AppStore::prepareWebCVImportInBackground(
    const std::string& path, std::function<void(std::optional<PreparedWebCVImport>)> done) {
  checkMainThread();
  lastWebCVImportError_.reset();
  if (!services_.webCV) {
    failWebCVImport(WebCVImportErrorCode::context, "no library");
    return false;
  }
  // What waits in its debounce goes first on the same queue: the plan then
  // reads from the library what the user sees.
  if (!isUnsaved_) pipeline_->firePendingSaves();
  FileSystem& files = services_.files ? *services_.files : realFileSystem();
  WebCVRepository* repository = isUnsaved_ ? nullptr : services_.webCV;
  const std::weak_ptr<AppStore*> weak = self_;
  services_.saveQueue.post([weak, &files, repository, path, projectId = state_.project.id,
                            details = state_.snapshot.details, cv = state_.snapshot.cv,
                            language = language(), &main = services_.main, done] {
    std::optional<PreparedWebCVImport> prepared;
    std::exception_ptr failure;
    try {
      prepared =
          quorvane::prepareWebCVImport(files, repository, path, projectId, details, cv, language);
    } catch (...) {
      failure = std::current_exception();
    }
    main.post([weak, prepared = std::move(prepared), failure, done] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      if (prepared) {
        store.logPreparedWebCVImport(*prepared);
      } else {
        store.failPreparingWebCVImport(failure);
      }
      if (done) done(prepared);
    });
  });
  return true;
}

std::optional<WebCVWrite> AppStore::beginWebCVImport(const PreparedWebCVImport& prepared,
                                                     const WebCVImportSelection& selection) {
  checkMainThread();
  lastWebCVImportError_.reset();
  if (state_.webCVImportTargetID) {
    failWebCVImport(WebCVImportErrorCode::busy, "");
    return std::nullopt;
  }
  if (!services_.webCV || prepared.projectId != state_.project.id) {
    failWebCVImport(WebCVImportErrorCode::context, "not the open project");
    return std::nullopt;
  }
  if (state_.snapshot.details != prepared.basisDetails || state_.snapshot.cv != prepared.basisCV) {
    failWebCVImport(WebCVImportErrorCode::stale, "edited since the plan");
    return std::nullopt;
  }
  for (const WebCVImportGroup group : {WebCVImportGroup::identity, WebCVImportGroup::cv}) {
    const WebCVImportChoice choice =
        group == WebCVImportGroup::identity ? selection.identity : selection.cv;
    if (choice == WebCVImportChoice::replace && !prepared.plan.canReplace(group)) {
      lastWebCVImportError_ = WebCVImportErrorCode::invalid;
      failWithKey(
          "cv.import.blocked",
          {text(group == WebCVImportGroup::identity ? "cv.import.identity" : "cv.import.cv")});
      return std::nullopt;
    }
  }
  const std::string asset = std::string(kWebCVAssetPrefix) + services_.makeUuid();
  WebCVWrite write = webCVWriteFor(prepared, selection, asset);
  // A project not in the library yet is written first (its saves must not
  // be held back with the others).
  if (write.details || write.cv) ensurePersisted();
  state_.webCVImportTargetID = state_.project.id;
  pipeline_->beginWebCVImport(state_.project.id);
  services_.logger.log("app webCVImport start project=" + state_.project.id + " " +
                       choices(selection));
  return write;
}

void AppStore::finishWebCVImport(const PreparedWebCVImport& prepared, const WebCVWrite& write,
                                 const std::optional<WebCVWritten>& written,
                                 std::exception_ptr failure) {
  const std::string& projectId = prepared.projectId;
  state_.webCVImportTargetID.reset();
  const std::set<SaveSection> replaced =
      written ? replacedSections(write) : std::set<SaveSection>{};
  std::optional<std::pair<Project, StudioSnapshot>> imported;
  if (state_.project.id == projectId) {
    imported = {state_.project, state_.snapshot};
    if (!replaced.empty()) takeImportedContent(prepared, write, written->atMs, *imported);
  }
  pipeline_->endWebCVImport(projectId, replaced, imported);
  if (!written) {
    try {
      std::rethrow_exception(failure);
    } catch (const WebCVImportError& error) {
      failWebCVImport(error.code(), error.what());
    } catch (const std::exception& error) {
      failWebCVImport(WebCVImportErrorCode::readOrSave, error.what());
    }
    publish();
    return;
  }
  countChanges(static_cast<std::int64_t>(replaced.size()));
  services_.logger.log("app webCVImport done project=" + projectId +
                       " sections=" + std::to_string(replaced.size()) +
                       " copiedCV=" + written->newCVAssetId.value_or("none"));
  try {
    reloadSummaries();
  } catch (const std::exception& error) {
    failWith(error);  // the import is written; only the list of projects is behind
  }
  publish();
}

void AppStore::takeImportedContent(const PreparedWebCVImport& prepared, const WebCVWrite& write,
                                   std::int64_t atMs, std::pair<Project, StudioSnapshot>& library) {
  const Date at = dateFromMilliseconds(atMs);
  StudioSnapshot& content = library.second;
  library.first.updatedAt = state_.project.updatedAt = at;
  // The screen takes what the import wrote, unless the group was edited
  // during the import: that edit is newer, and is written after it.
  const auto take = [&](SaveSection section, const auto& written, auto StudioSnapshot::*field,
                        std::optional<Date> StudioSnapshot::*createdAt,
                        std::optional<Date> StudioSnapshot::*updatedAt, const auto& basis) {
    if (!written) return;
    content.*field = *written;
    content.*createdAt = content.*updatedAt = at;
    if (state_.snapshot.*field != basis) return;
    state_.snapshot.*field = *written;
    state_.snapshot.*createdAt = state_.snapshot.*updatedAt = at;
    stampedContent_[section] = sectionContentFingerprint(section, state_.snapshot);
  };
  take(SaveSection::details, write.details, &StudioSnapshot::details,
       &StudioSnapshot::detailsCreatedAt, &StudioSnapshot::detailsUpdatedAt, prepared.basisDetails);
  take(SaveSection::cv, write.cv, &StudioSnapshot::cv, &StudioSnapshot::cvCreatedAt,
       &StudioSnapshot::cvUpdatedAt, prepared.basisCV);
}

bool AppStore::applyWebCVImport(const PreparedWebCVImport& prepared,
                                const WebCVImportSelection& selection) {
  const std::optional<WebCVWrite> write = beginWebCVImport(prepared, selection);
  if (!write) return false;
  std::optional<WebCVWritten> written;
  std::exception_ptr failure;
  try {
    // Whatever waits to be written goes first: an edit made after preparing
    // then makes the import stop as stale rather than being overwritten.
    pipeline_->flushPendingSaves();
    if (services_.drainSaveQueue) services_.drainSaveQueue();
    written = writeWebCVImport(*services_.webCV, prepared, *write,
                               millisecondsSince1970(services_.clock.now()));
  } catch (...) {
    failure = std::current_exception();
  }
  finishWebCVImport(prepared, *write, written, failure);
  return written.has_value();
}

bool AppStore::applyWebCVImportInBackground(const PreparedWebCVImport& prepared,
                                            const WebCVImportSelection& selection,
                                            std::function<void(bool)> done) {
  const std::optional<WebCVWrite> write = beginWebCVImport(prepared, selection);
  if (!write) return false;
  publish();
  // Handed to the save queue after every write fired before: they run first.
  pipeline_->firePendingSaves();
  WebCVRepository& repository = *services_.webCV;
  const std::int64_t now = millisecondsSince1970(services_.clock.now());
  const std::weak_ptr<AppStore*> weak = self_;
  services_.saveQueue.post(
      [weak, &repository, prepared, write = *write, now, done, &main = services_.main] {
        std::optional<WebCVWritten> written;
        std::exception_ptr failure;
        try {
          written = writeWebCVImport(repository, prepared, write, now);
        } catch (...) {
          failure = std::current_exception();
        }
        main.post([weak, prepared, write, written, failure, done] {
          const auto self = weak.lock();
          if (!self) return;
          (*self)->finishWebCVImport(prepared, write, written, failure);
          if (done) done(written.has_value());
        });
      });
  return true;
}

}  // namespace quorvane
