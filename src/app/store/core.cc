// The heart of the store: its state and observers, the one toast path,
// the save protocol and the cleaning of what the user writes.
//
// - Significant changes, for the backup reminders: every section write that
//   reaches the library counts one (a burst of typing is one write), and
//   each image added or replaced counts one, its own write not again: twenty
//   images are twenty works to lose.
// - Whatever the user writes (texts, titles, details, CV entries, labels)
//   is kept without control characters: NUL and the like are no text, stop
//   a PDF short and upset a terminal. A currency is kept as its code.
#include "app/app_store.h"
#include "app/save_pipeline.h"
#include "app/store/documents_room.h"

#include <algorithm>
#include <exception>

#include "app/failure_text.h"
#include "app/store/documents_room.h"
#include "app/store/finalization_room.h"
#include "app/store/intake_room.h"
#include "app/store/packages_room.h"
#include "app/store/store_helpers.h"
#include "app/store/thumbnail_room.h"
#include "app/store/undo_room.h"
#include "app/store/web_cv_room.h"
#include "pdf/localization.h"

namespace quorvane {

namespace {

std::string describe(const std::exception_ptr& error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
  }
  return "unknown error";
}

}  // namespace

ArtworkMetadata ArtworkMetadata::of(const Artwork& artwork) {
  return ArtworkMetadata{artwork.title,        artwork.medium,        artwork.year,
                         artwork.artworkWidth, artwork.artworkHeight, artwork.artworkDepth,
                         artwork.artworkText,  artwork.status,        artwork.priceCents,
                         artwork.priceCurrency};
}

AppStore::AppStore(AppStoreServices services)
    : services_(std::move(services)),
      reminders_(services_.preferences, services_.logger,
                 [this](const std::string& key) { showToast(ToastStyle::success, text(key)); }) {
  SavePipeline::Listener listener;
  listener.saved = [this](SaveSection, const SavedProject& saved) {
    if (saved.project.id == state_.project.id) {
      adoptStoredImages(state_.snapshot, saved.storedImages);
    }
    for (ProjectSummary& summary : state_.projects) {
      if (summary.id == saved.project.id) summary.updatedAt = saved.project.updatedAt;
    }
    const auto silent = silentWrites_.find(saved.project.id);
    if (silent != silentWrites_.end() && silent->second > 0) {
      --silent->second;
    } else {
      countChanges(1);
    }
    publish();
  };
  listener.failed = [this](SaveSection section, std::exception_ptr error) {
    services_.logger.log("app save failed section=" + std::string(rawValue(section)) +
                         " error=" + describe(error));
    fail(text("app.error.save_failed", {failureText(error, language())}));
  };
  listener.stateChanged = [this] {
    state_.isSaving = pipeline_->isSaving();
    state_.isSaveWaiting = pipeline_->isSaveWaiting();
    for (const SaveSection section : allCases<SaveSection>()) {
      state_.savedFlags[section] = pipeline_->isSaved(section);
    }
    publish();
  };
  self_ = std::make_shared<AppStore*>(this);
  finalization_ = std::make_unique<FinalizationRoom>(*this);
  thumbnails_ = std::make_unique<ThumbnailRoom>(*this);
  webCVImport_ = std::make_unique<WebCVRoom>(*this);
  undo_ = std::make_unique<UndoRoom>(*this);
  packages_ = std::make_unique<PackagesRoom>(*this);
  documents_ = std::make_unique<DocumentsRoom>(*this);
  intake_ = std::make_unique<IntakeRoom>(*this);
  pipeline_ = std::make_unique<SavePipeline>(services_.main, services_.clock, services_.saveQueue,
                                             services_.sectionSaves, std::move(listener));
}

AppStore::~AppStore() {
  try {
    pipeline_->flushPendingSaves();
  } catch (const std::exception&) {
    // The failure was reported through the listener.
  }
}

std::size_t AppStore::observe(Observer observer) {
  return observeChanges([observer = std::move(observer)](const StoreChanges&) { observer(); });
}

std::size_t AppStore::observeChanges(ChangeObserver observer) {
  observers_.emplace(nextObserver_, std::move(observer));
  return nextObserver_++;
}

void AppStore::stopObserving(std::size_t token) { observers_.erase(token); }

void AppStore::runUntil(const std::function<bool()>& finished) {
  checkMainThread();
  if (!services_.runUntil) throw std::logic_error("this face can't wait for a command");
  services_.runUntil(finished);
}

void AppStore::checkMainThread() const {
  if (std::this_thread::get_id() != mainThread_) {
    throw std::logic_error("the store's published state was touched off its main thread");
  }
}

void AppStore::publish() {
  checkMainThread();
  // An observer that calls a command while it is being told (a view that
  // updates its selection as rows go) changes the state again: the others
  // hear of this change first, then of that one, never one inside the other.
  if (publishing_) {
    publishAgain_ = true;
    return;
  }
  struct Publishing {
    bool& flag;
    explicit Publishing(bool& f) : flag(f) { flag = true; }
    ~Publishing() { flag = false; }
  } publishing(publishing_);
  do {
    publishAgain_ = false;
    state_.detailsLeftBehind.clear();
    if (state_.snapshot.details != detailsAsOpened_) state_.detailsLeftBehind = detailsTwins_;
    const StoreChanges changes = published_.update(state_, documents_->previewRevision);
    if (!changes.any()) continue;
    // What a page shows lives in these areas (labels are settings too).
    constexpr std::uint32_t kPageAreas = static_cast<std::uint32_t>(StoreArea::project) |
                                         static_cast<std::uint32_t>(StoreArea::artworks) |
                                         static_cast<std::uint32_t>(StoreArea::texts) |
                                         static_cast<std::uint32_t>(StoreArea::cv) |
                                         static_cast<std::uint32_t>(StoreArea::details) |
                                         static_cast<std::uint32_t>(StoreArea::settings);
    if ((changes.mask & kPageAreas) != 0 || !changes.artworkRows.empty()) thumbnails_->refresh();
    // A copy: an observer may stop observing while being told.
    const auto observers = observers_;
    for (const auto& [token, observer] : observers) observer(changes);
  } while (publishAgain_);
}

std::string AppStore::language() const {
  if (services_.languageOverride && !services_.languageOverride->empty()) {
    return *services_.languageOverride;
  }
  return state_.uiLanguage && !state_.uiLanguage->empty() ? *state_.uiLanguage
                                                          : systemLanguageCode();
}

std::string AppStore::exportLanguage() const {
  return state_.exportOptions.exportLocale.empty() ? state_.project.locale
                                                   : state_.exportOptions.exportLocale;
}

std::string AppStore::text(std::string_view key,
                           std::initializer_list<std::string> arguments) const {
  return uiFormat(key, language(), arguments);
}

void AppStore::showToast(ToastStyle style, const std::string& message,
                         std::optional<ToastAction> action) {
  static constexpr std::string_view kTitles[] = {"toast.info_title", "toast.error_title",
                                                 "toast.success_title"};
  ToastMessage toast;
  toast.id = services_.makeUuid();
  toast.title = text(kTitles[static_cast<int>(style)]);
  toast.text = message;
  toast.style = style;
  toast.action = action;
  toast.placement = ToastPlacement::top;
  if (style == ToastStyle::error) state_.lastErrorMessage = message;
  state_.errorToast = std::move(toast);
  publish();
}

bool AppStore::fail(const std::string& message) {
  showToast(ToastStyle::error, message);
  return false;
}

bool AppStore::failWith(const std::exception& error) {
  services_.logger.log(failureDiagnostic(error));
  return fail(failureText(error, language()));
}

bool AppStore::failWithKey(std::string_view key, std::initializer_list<std::string> arguments) {
  return fail(text(key, arguments));
}

void AppStore::dismissToast() {
  state_.errorToast.reset();
  publish();
}

void AppStore::countChanges(std::int64_t count) {
  changeCount_ += static_cast<std::uint64_t>(count);
  reminders_.recordSignificantChanges(count);
  state_.backupReminderState = reminders_.state();
}

void AppStore::stampSection(SaveSection section) {
  const std::uint64_t content = sectionContentFingerprint(section, state_.snapshot);
  const auto [stamped, first] = stampedContent_.try_emplace(section, content);
  if (!first && stamped->second == content) return;  // saved again, not changed
  stamped->second = content;
  const SectionTimes times = sectionTimes(state_.snapshot, section);
  const Date now = services_.clock.now();
  if (!times.createdAt) times.createdAt = now;
  times.updatedAt = now;
}

void AppStore::rememberStampedContent() {
  stampedContent_.clear();
  for (const SaveSection section : allCases<SaveSection>()) {
    stampedContent_[section] = sectionContentFingerprint(section, state_.snapshot);
  }
}

void AppStore::scheduleSave(SaveSection section) {
  stampSection(section);
  if (isUnsaved_) {
    ensurePersisted();
  } else {
    pipeline_->scheduleSave(section, state_.project, state_.snapshot);
  }
  publish();
}

void AppStore::forgetIfUnsaved() {
  if (!isUnsaved_) return;
  isUnsaved_ = false;
  const std::string id = state_.project.id;
  std::erase_if(state_.projects, [&](const ProjectSummary& p) { return p.id == id; });
}

void AppStore::ensurePersisted() {
  if (!isUnsaved_) return;
  isUnsaved_ = false;
  // Six writes for one decision of the user's: they count as one change.
  silentWrites_[state_.project.id] = allCases<SaveSection>().size() - 1;
  // Every section: the new project owns its own (empty) texts and CV from
  // the first write on.
  for (const SaveSection section : allCases<SaveSection>()) {
    pipeline_->scheduleSave(section, state_.project, state_.snapshot);
  }
}

std::string AppStore::cleaned(std::string_view text, TextShape shape) {
  CleanedText result = withoutControlCharacters(text, shape);
  if (result.removed > 0) {
    removedCharacters_ += result.removed;
    state_.inputNotice = uiPlural("app.notice.control_characters_removed", language(),
                                  static_cast<std::int64_t>(removedCharacters_),
                                  {std::to_string(removedCharacters_)});
    services_.logger.log("app input cleaned removed=" + std::to_string(result.removed));
  }
  return std::move(result.text);
}

ProjectChanges AppStore::cleaned(const ProjectChanges& given) {
  ProjectChanges changes = given;
  for (std::optional<std::string>* field :
       {&changes.name, &changes.title, &changes.year, &changes.locale, &changes.currency}) {
    if (*field) **field = cleaned(**field, TextShape::singleLine);
  }
  if (changes.currency) {
    changes.currency = normalisedCurrency(*changes.currency).value_or(*changes.currency);
  }
  return changes;
}

ArtworkMetadata AppStore::cleaned(const ArtworkMetadata& given) {
  ArtworkMetadata metadata = given;
  for (std::string* field : {&metadata.title, &metadata.medium, &metadata.year, &metadata.width,
                             &metadata.height, &metadata.depth}) {
    *field = cleaned(*field, TextShape::singleLine);
  }
  metadata.text = cleaned(metadata.text, TextShape::multiLine);
  if (metadata.priceCurrency) {
    metadata.priceCurrency = cleaned(*metadata.priceCurrency, TextShape::singleLine);
    metadata.priceCurrency =
        normalisedCurrency(*metadata.priceCurrency).value_or(*metadata.priceCurrency);
  }
  return metadata;
}

bool AppStore::refuseUnknownCurrency(const std::optional<std::string>& currency) {
  if (!currency || normalisedCurrency(*currency)) return false;
  failWithKey("app.error.bad_currency", {*currency});
  return true;
}

Artwork* AppStore::artwork(const std::string& artworkId) {
  auto& images = state_.snapshot.artworks.images;
  const auto it = std::find_if(images.begin(), images.end(),
                               [&](const Artwork& a) { return a.id == artworkId; });
  return it == images.end() ? nullptr : &*it;
}

}  // namespace quorvane
