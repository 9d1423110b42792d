#include "app/app_store.h"

#include "model/export_file_names.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "app/failure_text.h"
#include "app/image_intake.h"
#include "model/text.h"
#include "model/text_assets.h"
#include "pdf/localization.h"
#include "platform/file_system.h"
#include "platform/paths.h"

namespace quorvane {
namespace {

std::string fileNameOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string megabytes(std::int64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / 1'048'576.0);
  return text;
}

std::string describe(const std::exception_ptr& error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
  }
  return "unknown error";
}

std::optional<std::string> nonEmpty(const std::optional<std::string>& value) {
  if (!value || value->empty()) return std::nullopt;
  return value;
}

// The language a new project's documents are written in: the interface
// language when it is one of the document languages, else English.
std::string documentLanguageFor(const std::string& interfaceLanguage) {
  const std::string code = interfaceLanguage.substr(0, 2);
  for (const std::string_view language : kInterfaceLanguages) {
    if (language == code) return code;
  }
  return std::string(kDefaultLocale);
}

void applyChanges(const ProjectChanges& changes, Project& project, ArtworksData& artworks) {
  if (changes.name) {
    const std::string name = trimmedWhitespaceAndNewlines(*changes.name);
    // A printed title the user never wrote is the name: it follows it, so a
    // renamed new project does not print "Untitled project" on its cover.
    if (!changes.title && project.projectTitle == project.projectName) project.projectTitle = name;
    project.projectName = name;
  }
  if (changes.title) project.projectTitle = *changes.title;
  if (changes.year) project.projectYear = *changes.year;
  if (changes.locale) project.locale = *changes.locale;
  if (changes.currency) project.currency = nonEmpty(changes.currency);
  if (changes.orientation) project.orientation = *changes.orientation;
  if (changes.unit) project.unit = artworks.unit = *changes.unit;
  if (changes.layout) artworks.layoutMode = *changes.layout;
  // A catalogue kind makes a catalogue; a catalogue always has a kind.
  if (changes.kind) project.kind = *changes.kind;
  if (changes.catalogueKind && !changes.kind) project.kind = ProjectKind::catalogue;
  if (project.kind == ProjectKind::catalogue) {
    project.catalogueKind =
        changes.catalogueKind.value_or(project.catalogueKind.value_or(CatalogueKind::price));
  } else {
    project.catalogueKind.reset();
  }
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
  if (services_.thumbnailQueue != nullptr && services_.renderer != nullptr) {
    thumbnails_ = std::make_unique<PageThumbnails>(
        services_.media, services_.main, *services_.thumbnailQueue, services_.logger,
        [this](const std::string& key) { return thumbnailSource(key); },
        [this](const std::string& key) { thumbnailReady(key); });
  }
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

// ---- State, observers, toasts -------------------------------------------

std::size_t AppStore::observe(Observer observer) {
  return observeChanges([observer = std::move(observer)](const StoreChanges&) { observer(); });
}

std::size_t AppStore::observeChanges(ChangeObserver observer) {
  observers_.emplace(nextObserver_, std::move(observer));
  return nextObserver_++;
}

void AppStore::stopObserving(std::size_t token) { observers_.erase(token); }

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
    const StoreChanges changes = published_.update(state_, previewRevision_);
    if (!changes.any()) continue;
    // What a page shows lives in these areas (labels are settings too).
    constexpr std::uint32_t kPageAreas = static_cast<std::uint32_t>(StoreArea::project) |
                                         static_cast<std::uint32_t>(StoreArea::artworks) |
                                         static_cast<std::uint32_t>(StoreArea::texts) |
                                         static_cast<std::uint32_t>(StoreArea::cv) |
                                         static_cast<std::uint32_t>(StoreArea::details) |
                                         static_cast<std::uint32_t>(StoreArea::settings);
    if ((changes.mask & kPageAreas) != 0 || !changes.artworkRows.empty()) refreshThumbnails();
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

// ---- What the user writes ---------------------------------------------------

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
  }
  return metadata;
}

// ---- Start and preferences ----------------------------------------------

void AppStore::loadPreferences() {
  const Preferences& preferences = services_.preferences;
  namespace key = preference_key;
  state_.uiLanguage = nonEmpty(preferences.string(key::kUiLanguage));
  state_.themeMode = fromRawValue<ThemeMode>(preferences.string(key::kThemeMode).value_or(""))
                         .value_or(ThemeMode::system);
  state_.isEditTitlesEnabled = preferences.boolean(key::kEditTitlesEnabled).value_or(false);

  ExportOptions options;
  options.includeCV = preferences.boolean(key::kExportIncludeCV).value_or(true);
  options.includeBiography = preferences.boolean(key::kExportIncludeBiography).value_or(true);
  options.includeStatement = preferences.boolean(key::kExportIncludeStatement).value_or(true);
  options.includeProjectStatement =
      preferences.boolean(key::kExportIncludeProjectStatement).value_or(true);
  options.includeTableOfContents =
      preferences.boolean(key::kExportIncludeTableOfContents).value_or(true);
  options.includeCoverImage = preferences.boolean(key::kExportIncludeCoverImage).value_or(true);
  options.showBiographyTitle = preferences.boolean(key::kExportShowBiographyTitle);
  options.showStatementTitle = preferences.boolean(key::kExportShowStatementTitle);
  options.showProjectStatementTitle = preferences.boolean(key::kExportShowProjectStatementTitle);
  // Until chosen: the paper of the region (letter in the US and Canada),
  // the project's own language (empty here), web quality.
  const std::string region = upperCaseRegion();
  const PdfFormat regional = region == "US" || region == "CA" ? PdfFormat::letter : PdfFormat::a4;
  options.format = fromRawValue<PdfFormat>(preferences.string(key::kExportFormat).value_or(""))
                       .value_or(regional);
  options.exportLocale = preferences.string(key::kExportLocale).value_or("");
  options.imageQuality =
      fromRawValue<ExportImageQuality>(preferences.string(key::kExportImageQuality).value_or(""))
          .value_or(ExportImageQuality::webOptimized);
  state_.exportOptions = options;

  state_.completePortfolioExportCount =
      preferences.integer(key::kCompletePortfolioExportCount).value_or(0);
  publishBackupReminderState();
}

std::string AppStore::upperCaseRegion() const {
  std::string region = services_.regionCode ? services_.regionCode().value_or("") : "";
  std::transform(region.begin(), region.end(), region.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return region;
}

void AppStore::publishBackupReminderState() {
  state_.backupReminderState = reminders_.state();
  state_.activeBackupReminderLevel = reminders_.activeLevel();
  state_.showBackupReminderSheet = reminders_.isSheetShown();
  state_.lastProjectDataExportAt = reminders_.lastProjectDataExportAt();
  state_.lastProjectDataImportAt = reminders_.lastProjectDataImportAt();
  publish();
}

void AppStore::evaluateBackupReminder() {
  reminders_.evaluate(services_.clock.now());
  publishBackupReminderState();
}

void AppStore::dismissBackupReminder(BackupReminderLevel level, bool snooze) {
  reminders_.dismiss(level, snooze, services_.clock.now());
  publishBackupReminderState();
}

bool AppStore::setBackupRemindersEnabled(bool enabled) {
  const bool written = reminders_.setRemindersEnabled(enabled);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

bool AppStore::setBackupReminderFrequency(BackupReminderFrequency frequency) {
  const bool written = reminders_.setFrequency(frequency);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

bool AppStore::setRemindBeforeLargeEdits(bool enabled) {
  const bool written = reminders_.setRemindBeforeLargeEdits(enabled);
  publishBackupReminderState();
  return written || failSettingsWrite();
}

void AppStore::markProjectDataExported(Date at) {
  reminders_.markProjectDataExported(at);
  publishBackupReminderState();
}

void AppStore::markProjectDataImported(Date at) {
  reminders_.markProjectDataImported(at);
  publishBackupReminderState();
}

UnitSystem AppStore::initialUnit() {
  const auto remembered = services_.preferences.string(preference_key::kInitialUnit);
  if (remembered) {
    if (const auto unit = fromRawValue<UnitSystem>(*remembered)) return *unit;
  }
  const std::string region = upperCaseRegion();
  const UnitSystem unit = region == "US" ? UnitSystem::in : UnitSystem::cm;
  services_.preferences.setString(preference_key::kInitialUnit, std::string(rawValue(unit)));
  return unit;
}

void AppStore::reloadSummaries() {
  state_.projects = services_.snapshots.projectSummaries();
  state_.deletedProjects = services_.snapshots.deletedProjectSummaries();
}

bool AppStore::rememberCurrentProject() {
  return services_.preferences.setString(preference_key::kCurrentProjectId, state_.project.id);
}

void AppStore::adopt(LoadedProject loaded) {
  isUnsaved_ = false;
  state_.project = std::move(loaded.project);
  state_.snapshot = std::move(loaded.snapshot);
  rememberStampedContent();
  state_.worksInspectorArtworkID.reset();
  state_.imageSizeWarning.clear();
}

bool AppStore::openLoaded(const std::string& projectId, bool remember) {
  const bool live = std::any_of(state_.projects.begin(), state_.projects.end(),
                                [&](const ProjectSummary& p) { return p.id == projectId; });
  if (!live) return false;
  std::optional<LoadedProject> loaded = services_.snapshots.load(projectId);
  if (!loaded) return false;
  adopt(std::move(*loaded));
  if (remember) rememberCurrentProject();
  services_.logger.log("app open project id=" + projectId);
  publish();
  return true;
}

bool AppStore::start(const std::optional<std::string>& projectId) {
  try {
    loadPreferences();
    reloadSummaries();
    if (projectId) {
      return openLoaded(*projectId, false) ||
             failWithKey("app.error.no_such_project", {*projectId});
    }
    const auto remembered = services_.preferences.string(preference_key::kCurrentProjectId);
    if (remembered && openLoaded(*remembered, true)) return true;
    for (const ProjectSummary& summary : state_.projects) {
      if (openLoaded(summary.id, true)) return true;
    }
    // A remembered project that was never written keeps its id, so that
    // runs that only look at the library see one and the same project.
    const bool reusable =
        remembered && !remembered->empty() && !services_.snapshots.load(*remembered);
    return startNewProject({}, false, reusable ? remembered : std::nullopt).has_value();
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    return failWithKey("app.error.library_unreadable", {failureText(error, language())});
  }
}

void AppStore::quit() { settleSaves(); }

TidyReport AppStore::tidyAfterInterruptedRuns(const std::vector<std::string>& otherFolders) {
  return tidyLibrary(services_.media, services_.snapshots, otherFolders, services_.clock,
                     services_.logger, services_.makeUuid);
}

void AppStore::settleSaves() {
  pipeline_->flushPendingSaves();
  if (services_.drainSaveQueue) services_.drainSaveQueue();
}

// ---- Projects -------------------------------------------------------------

std::optional<std::string> AppStore::startNewProject(const ProjectChanges& changes, bool persist,
                                                     const std::optional<std::string>& id) {
  Project project;
  project.id = id ? *id : services_.makeUuid();
  project.createdAt = project.updatedAt = services_.clock.now();
  project.locale = documentLanguageFor(language());
  StudioSnapshot snapshot;
  project.unit = snapshot.artworks.unit = initialUnit();
  applyChanges(changes, project, snapshot.artworks);
  if (!changes.title) project.projectTitle = project.projectName;
  snapshot.details = services_.snapshots.latestDetails().value_or(ArtistDetails{});

  state_.project = project;
  state_.snapshot = std::move(snapshot);
  rememberStampedContent();
  state_.worksInspectorArtworkID.reset();
  state_.projects.insert(state_.projects.begin(), ProjectSummary::of(project));
  rememberCurrentProject();
  services_.logger.log("app create project id=" + project.id);
  isUnsaved_ = true;
  if (persist) ensurePersisted();
  publish();
  return project.id;
}

std::optional<std::string> AppStore::createProject(const ProjectChanges& given) {
  const ProjectChanges changes = cleaned(given);
  try {
    settleSaves();
    forgetIfUnsaved();
    return startNewProject(changes, true);
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

bool AppStore::openProject(const std::string& projectId) {
  if (projectId == state_.project.id && !isUnsaved_) {
    // It may have been open for this run only.
    return rememberCurrentProject() || failSettingsWrite();
  }
  try {
    settleSaves();
    reloadSummaries();
    if (openLoaded(projectId, true)) return true;
    if (isUnsaved_) {  // still on the project not yet written: keep showing it
      state_.projects.insert(state_.projects.begin(), ProjectSummary::of(state_.project));
    }
    return failWithKey("app.error.no_such_project", {projectId});
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

void AppStore::openProjectInBackground(const std::string& projectId,
                                       std::function<void(bool)> done) {
  if (projectId == state_.project.id && !isUnsaved_) {
    const bool opened = openProject(projectId);
    if (done) done(opened);
    return;
  }
  pipeline_->firePendingSaves();
  const std::weak_ptr<AppStore*> weak = self_;
  SnapshotRepository& snapshots = services_.snapshots;
  Executor& main = services_.main;
  // On the save queue, so that it reads what the saves before it wrote.
  services_.saveQueue.post([weak, &snapshots, &main, projectId, done] {
    std::vector<ProjectSummary> summaries;
    std::optional<LoadedProject> loaded;
    std::exception_ptr error;
    try {
      summaries = snapshots.projectSummaries();
      if (std::any_of(summaries.begin(), summaries.end(),
                      [&](const ProjectSummary& p) { return p.id == projectId; })) {
        loaded = snapshots.load(projectId);
      }
    } catch (...) {
      error = std::current_exception();
    }
    main.post([weak, projectId, done, summaries, loaded, error] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      bool opened = false;
      try {
        if (error) std::rethrow_exception(error);
        if (loaded) {
          store.state_.projects = summaries;
          store.adopt(*loaded);
          store.rememberCurrentProject();
          store.services_.logger.log("app open project id=" + projectId);
          store.publish();
          opened = true;
        } else {
          store.failWithKey("app.error.no_such_project", {projectId});
        }
      } catch (const std::exception& failure) {
        store.failWith(failure);
      }
      if (done) done(opened);
    });
  });
}

bool AppStore::updateProject(const ProjectChanges& given) {
  const ProjectChanges changes = cleaned(given);
  if (changes.name && isBlank(*changes.name)) return failWithKey("app.error.empty_name");
  const UnitSystem unitBefore = state_.snapshot.artworks.unit;
  applyChanges(changes, state_.project, state_.snapshot.artworks);
  for (ProjectSummary& summary : state_.projects) {
    if (summary.id != state_.project.id) continue;
    summary.projectName = state_.project.projectName;
    summary.projectTitle = state_.project.projectTitle;
    summary.kind = state_.project.kind;
    summary.catalogueKind = state_.project.catalogueKind;
  }
  if (state_.snapshot.artworks.unit != unitBefore) {
    services_.logger.log("app documents stale reason=artworks_unit_changed");
  }
  // The project row goes with every section's write; the details write is
  // the smallest, unless the unit or layout of the artworks changed, whose
  // section times must say so.
  const bool artworksChanged = sectionContentFingerprint(SaveSection::artworks, state_.snapshot) !=
                               stampedContent_[SaveSection::artworks];
  scheduleSave(artworksChanged ? SaveSection::artworks : SaveSection::details);
  return true;
}

bool AppStore::renameProject(const std::string& name) {
  ProjectChanges changes;
  changes.name = name;
  return updateProject(changes);
}

bool AppStore::setProjectKind(ProjectKind kind, std::optional<CatalogueKind> catalogueKind) {
  ProjectChanges changes;
  changes.kind = kind;
  changes.catalogueKind = catalogueKind;
  return updateProject(changes);
}

std::optional<std::string> AppStore::duplicateProject() {
  try {
    settleSaves();
    Project copy = state_.project;
    copy.id = services_.makeUuid();
    copy.createdAt = copy.updatedAt = services_.clock.now();
    copy.projectName = text("app.project.copy_name", {state_.project.projectName});
    StudioSnapshot snapshot = state_.snapshot;
    forgetIfUnsaved();
    // The copy's texts get assets of their own when first written.
    snapshot.documents.clear();
    snapshot.documentArtworkLinks.clear();
    state_.project = copy;
    state_.snapshot = std::move(snapshot);
    state_.projects.insert(state_.projects.begin(), ProjectSummary::of(copy));
    rememberCurrentProject();
    rememberStampedContent();
    // Six writes for one decision of the user's: they count as one change.
    silentWrites_[copy.id] = allCases<SaveSection>().size() - 1;
    for (const SaveSection section : allCases<SaveSection>()) {
      pipeline_->scheduleSave(section, state_.project, state_.snapshot);
    }
    showToast(ToastStyle::success, text("inspector.project.duplicate.done"));
    return copy.id;
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

bool AppStore::deleteProject() {
  try {
    settleSaves();
    const std::string deleted = state_.project.id;
    // The project opened in its place is remembered only when the deleted
    // one was the remembered one (not one opened for a single run).
    const bool wasRemembered =
        services_.preferences.string(preference_key::kCurrentProjectId) == deleted;
    if (isUnsaved_) {
      forgetIfUnsaved();  // never written: nothing to archive
    } else {
      services_.snapshots.archiveProject(deleted);
      services_.logger.log("app delete project id=" + deleted);
      countChanges(1);
    }
    reloadSummaries();
    bool opened = false;
    if (!wasRemembered) {
      const auto remembered = services_.preferences.string(preference_key::kCurrentProjectId);
      opened = remembered && openLoaded(*remembered, false);
    }
    for (const ProjectSummary& summary : state_.projects) {
      if (opened) break;
      opened = openLoaded(summary.id, wasRemembered);
    }
    if (!opened) startNewProject({}, false);
    showToast(ToastStyle::success, text("inspector.project.delete.done"));
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

bool AppStore::restoreProject(const std::string& projectId) {
  try {
    const auto deleted = std::find_if(state_.deletedProjects.begin(), state_.deletedProjects.end(),
                                      [&](const ProjectSummary& p) { return p.id == projectId; });
    const std::string name = deleted == state_.deletedProjects.end() ? "" : deleted->projectName;
    if (!services_.snapshots.restoreProject(projectId)) {
      reloadSummaries();
      return fail(text("app.error.project_not_deleted"));
    }
    services_.logger.log("app restore project id=" + projectId);
    countChanges(1);
    reloadSummaries();
    showToast(ToastStyle::success, text("desktop.deleted.restored", {name}));
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

// ---- Artworks -------------------------------------------------------------

Artwork* AppStore::artwork(const std::string& artworkId) {
  auto& images = state_.snapshot.artworks.images;
  const auto it = std::find_if(images.begin(), images.end(),
                               [&](const Artwork& a) { return a.id == artworkId; });
  return it == images.end() ? nullptr : &*it;
}

std::string AppStore::imageFailureText(const ImageIntakeError& error,
                                       const std::string& path) const {
  using Case = ImageIntakeError::Case;
  switch (error.errorCase()) {
    case Case::unreadable:
      return text("app.error.cannot_read_file", {path, error.what()});
    case Case::tooLarge:
      // Not "error.image_too_large", whose 15 MB is the near-limit warning's
      // figure: the refusal names the limit that refused.
      return text("app.error.image_over_limit", {fileNameOf(path), megabytes(error.byteSize()),
                                                 megabytes(kMaximumOriginalBytes)});
    case Case::notAnImage:
      return text("app.error.not_an_image", {path});
    case Case::optimizeFailed:
      return text("error.image_optimize_failed") + " (" + fileNameOf(path) + ": " + error.what() +
             ")";
    case Case::cannotStore:
      return text("app.error.cannot_store_image", {fileNameOf(path), error.what()});
  }
  return error.what();
}

std::vector<ImageAddResult> AppStore::addImages(const std::vector<std::string>& paths,
                                                const Progress& progress) {
  std::vector<ImageAddResult> results;
  std::vector<OversizedImageNotice> oversized;
  std::optional<std::string> lastFailure;
  std::vector<Artwork> added;
  std::int64_t nextIndex = 0;
  for (const Artwork& existing : state_.snapshot.artworks.images) {
    nextIndex = std::max(nextIndex, existing.sortIndex + 1);
  }

  // The files of every image wait in one media transaction; they take their
  // places, and the artworks theirs in the library, together or not at all.
  OriginalMediaImportTransaction transaction =
      OriginalMediaImportTransaction::open(services_.media);
  for (const std::string& path : paths) {
    ImageAddResult result{path, std::nullopt, {}};
    try {
      const PreparedImage image = prepareImage(services_.media.files(), services_.images, path);
      Artwork artwork;
      artwork.id = services_.makeUuid();
      artwork.sortIndex = nextIndex++;
      stageImage(transaction, artwork.id, image);
      applyImage(artwork, image, services_.media.webDerivativePath(artwork.id));
      if (artwork.nearLimit) {
        result.message = text(kNearLimitWarningKey, {megabytes(*artwork.originalByteSize)});
      }
      services_.logger.log("app add image id=" + artwork.id +
                           " bytes=" + std::to_string(*artwork.originalByteSize) +
                           " web_bytes=" + std::to_string(*artwork.imageByteSize));
      result.artworkId = artwork.id;
      added.push_back(std::move(artwork));
    } catch (const ImageIntakeError& error) {
      result.message = imageFailureText(error, path);
      lastFailure = result.message;
      if (error.errorCase() == ImageIntakeError::Case::tooLarge) {
        oversized.push_back(
            OversizedImageNotice{services_.makeUuid(), fileNameOf(path), error.byteSize(), {}});
      }
    }
    results.push_back(std::move(result));
    if (progress) progress(results.size(), paths.size());
  }

  if (!added.empty()) {
    if (const std::optional<std::string> failure = putImagesInPlace(transaction, added)) {
      // None of them is in the library: each says why.
      for (ImageAddResult& result : results) {
        if (!result.artworkId) continue;
        result.artworkId.reset();
        result.message = *failure;
      }
      return results;
    }
    for (const Artwork& artwork : added) {
      if (artwork.nearLimit) {
        state_.imageSizeWarning =
            text(kNearLimitWarningKey, {megabytes(*artwork.originalByteSize)});
      }
    }
    countChanges(static_cast<std::int64_t>(added.size()));
  }
  announceIntake(oversized, lastFailure, paths.size());
  return results;
}

void AppStore::announceIntake(const std::vector<OversizedImageNotice>& oversized,
                              const std::optional<std::string>& lastFailure,
                              std::size_t fileCount) {
  if (!oversized.empty()) {
    state_.oversizedImageNotices = oversized;
    if (fileCount > 1) {
      const std::string review =
          text("app.error.images_over_limit_review", {megabytes(kMaximumOriginalBytes)});
      state_.showOversizedImagesHelper = true;
      showToast(ToastStyle::error, review, ToastAction::showOversizedImages);
      return;
    }
  }
  if (lastFailure) fail(*lastFailure);
  publish();
}

std::int64_t AppStore::nextSortIndex() const {
  std::int64_t next = 0;
  for (const Artwork& existing : state_.snapshot.artworks.images) {
    next = std::max(next, existing.sortIndex + 1);
  }
  return next;
}

std::shared_ptr<ImageIntakeJob> AppStore::addImagesInBackground(
    const std::vector<std::string>& paths, Progress progress, ImagesAdded done) {
  if (services_.imageQueue == nullptr) {
    const std::vector<ImageAddResult> results = addImages(paths, progress);
    if (done) done(results);
    return nullptr;
  }
  struct Batch {
    std::string projectId;
    std::vector<ImageAddResult> results;
    std::vector<OversizedImageNotice> oversized;
    std::optional<std::string> lastFailure;
    std::size_t handled = 0;
  };
  auto batch = std::make_shared<Batch>();
  batch->projectId = state_.project.id;
  std::vector<IntakeFile> files;
  for (const std::string& path : paths) {
    files.push_back({path, services_.makeUuid()});
    batch->results.push_back({path, std::nullopt, {}});
  }
  const std::weak_ptr<AppStore*> weak = self_;
  const std::size_t total = paths.size();
  const auto take = [weak, batch, progress, total](PreparedIntake& intake) {
    const auto self = weak.lock();
    if (!self) {
      if (intake.transaction) intake.transaction->rollback();
      return;
    }
    AppStore& store = **self;
    ImageAddResult& result = batch->results[batch->handled++];
    if (intake.error) {
      result.message = store.imageFailureText(*intake.error, intake.file.path);
      batch->lastFailure = result.message;
      if (intake.error->errorCase() == ImageIntakeError::Case::tooLarge) {
        batch->oversized.push_back(OversizedImageNotice{store.services_.makeUuid(),
                                                        fileNameOf(intake.file.path),
                                                        intake.error->byteSize(),
                                                        {}});
      }
    } else if (store.state_.project.id != batch->projectId) {
      intake.transaction->rollback();
      result.message = store.text("app.intake.project_left");
    } else {
      Artwork artwork = *intake.artwork;
      artwork.sortIndex = store.nextSortIndex();
      if (const auto failure = store.putImagesInPlace(*intake.transaction, {artwork})) {
        result.message = *failure;
        batch->lastFailure = result.message;
      } else {
        result.artworkId = artwork.id;
        store.services_.logger.log("app add image id=" + artwork.id +
                                   " bytes=" + std::to_string(*artwork.originalByteSize));
        if (artwork.nearLimit) {
          result.message = store.text(kNearLimitWarningKey, {megabytes(*artwork.originalByteSize)});
          store.state_.imageSizeWarning = result.message;
        }
        store.countChanges(1);
        store.publish();
      }
    }
    if (progress) progress(batch->handled, total);
  };
  const auto finish = [weak, batch, done](bool cancelled) {
    const auto self = weak.lock();
    if (!self) return;
    AppStore& store = **self;
    for (ImageAddResult& result : batch->results) {
      if (!result.artworkId && result.message.empty()) {
        result.message = store.text("app.intake.cancelled");
      }
    }
    if (cancelled) store.services_.logger.log("app add images cancelled");
    store.announceIntake(batch->oversized, batch->lastFailure, batch->results.size());
    if (done) done(batch->results);
  };
  return ImageIntakeJob::start(services_.media, services_.images, *services_.imageQueue,
                               services_.main, std::move(files), take, finish);
}

std::string AppStore::keptFilesText(const OriginalMediaImportTransaction& transaction) const {
  if (!transaction.keptFolder()) return {};
  return " " + text("app.error.media_kept", {*transaction.keptFolder()});
}

std::optional<std::string> AppStore::putImagesInPlace(OriginalMediaImportTransaction& transaction,
                                                      const std::vector<Artwork>& artworks) {
  auto& images = state_.snapshot.artworks.images;
  try {
    transaction.commit();
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    const std::string message =
        text("app.error.cannot_store_images", {failureText(error, language())}) +
        keptFilesText(transaction);
    fail(message);
    return message;
  }
  // The artworks as they were, to put back should the save fail.
  std::vector<Artwork> before = images;
  const auto timesBefore =
      std::pair(state_.snapshot.artworksCreatedAt, state_.snapshot.artworksUpdatedAt);
  for (const Artwork& artwork : artworks) {
    const auto existing = std::find_if(images.begin(), images.end(),
                                       [&](const Artwork& a) { return a.id == artwork.id; });
    if (existing != images.end()) {
      *existing = artwork;
    } else {
      images.push_back(artwork);
    }
  }
  stampSection(SaveSection::artworks);
  ensurePersisted();
  if (!pipeline_->saveNow(SaveSection::artworks, state_.project, state_.snapshot)) {
    transaction.rollback();
    images = std::move(before);
    std::tie(state_.snapshot.artworksCreatedAt, state_.snapshot.artworksUpdatedAt) = timesBefore;
    stampedContent_[SaveSection::artworks] =
        sectionContentFingerprint(SaveSection::artworks, state_.snapshot);
    // Other changes of the artworks written with this save must still go.
    pipeline_->scheduleSave(SaveSection::artworks, state_.project, state_.snapshot);
    std::string message = state_.lastErrorMessage.value_or(text("app.error.save_failed", {""}));
    if (const std::string kept = keptFilesText(transaction); !kept.empty()) {
      message += kept;
      fail(message);
    }
    publish();
    return message;
  }
  transaction.discard();
  return std::nullopt;
}

bool AppStore::replaceImage(const std::string& artworkId, const std::string& path) {
  const Artwork* target = artwork(artworkId);
  if (target == nullptr) return failWithKey("app.error.no_such_artwork", {artworkId});
  Artwork replaced = *target;
  std::optional<PreparedImage> image;
  OriginalMediaImportTransaction transaction =
      OriginalMediaImportTransaction::open(services_.media);
  try {
    image = prepareImage(services_.media.files(), services_.images, path);
    stageImage(transaction, artworkId, *image);
  } catch (const ImageIntakeError& error) {
    transaction.rollback();
    if (error.errorCase() == ImageIntakeError::Case::tooLarge) {
      state_.oversizedImageNotices = {
          OversizedImageNotice{services_.makeUuid(), fileNameOf(path), error.byteSize(), {}}};
    }
    return fail(imageFailureText(error, path));
  }
  applyImage(replaced, *image, services_.media.webDerivativePath(artworkId));
  // The old original and its derivatives stay until the library holds the
  // new image; should that fail, they are put back.
  if (putImagesInPlace(transaction, {replaced})) return false;
  state_.imageSizeWarning =
      replaced.nearLimit ? text(kNearLimitWarningKey, {megabytes(*replaced.originalByteSize)})
                         : std::string();
  services_.logger.log("app replace image id=" + artworkId +
                       " bytes=" + std::to_string(*replaced.originalByteSize));
  countChanges(1);
  publish();
  return true;
}

bool AppStore::updateArtwork(const std::string& artworkId, const ArtworkMetadata& given) {
  const ArtworkMetadata metadata = cleaned(given);
  Artwork* target = artwork(artworkId);
  if (target == nullptr) return failWithKey("app.error.no_such_artwork", {artworkId});
  target->title = metadata.title;
  target->medium = metadata.medium;
  target->year = metadata.year;
  target->artworkWidth = metadata.width;
  target->artworkHeight = metadata.height;
  target->artworkDepth = metadata.depth;
  target->artworkText = metadata.text;
  target->status = metadata.status;
  target->priceCents = metadata.priceCents;
  target->priceCurrency = nonEmpty(metadata.priceCurrency);
  scheduleSave(SaveSection::artworks);
  return true;
}

bool AppStore::reorderArtworks(const std::vector<std::string>& artworkIds) {
  auto& images = state_.snapshot.artworks.images;
  std::vector<std::string> current;
  for (const Artwork& a : images) current.push_back(a.id);
  std::vector<std::string> wanted = artworkIds;
  std::sort(current.begin(), current.end());
  std::sort(wanted.begin(), wanted.end());
  if (current != wanted) return failWithKey("app.error.order_mismatch");
  std::vector<Artwork> ordered;
  for (const std::string& id : artworkIds) {
    ordered.push_back(*artwork(id));
    ordered.back().sortIndex = static_cast<std::int64_t>(ordered.size() - 1);
  }
  images = std::move(ordered);
  scheduleSave(SaveSection::artworks);
  return true;
}

bool AppStore::removeArtwork(const std::string& artworkId) {
  auto& images = state_.snapshot.artworks.images;
  const auto it = std::find_if(images.begin(), images.end(),
                               [&](const Artwork& a) { return a.id == artworkId; });
  if (it == images.end()) return failWithKey("app.error.no_such_artwork", {artworkId});
  images.erase(it);
  if (state_.worksInspectorArtworkID == artworkId) state_.worksInspectorArtworkID.reset();
  scheduleSave(SaveSection::artworks);
  return true;
}

std::vector<ReusableArtworkAsset> AppStore::vault() {
  try {
    // Pending artworks of this project must not show as still to be added.
    settleSaves();
    return services_.snapshots.reusableArtworks(state_.project.id);
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

template <typename Result>
void AppStore::readAfterSaves(std::function<Result(SnapshotRepository&)> read,
                              std::function<void(const Result&)> done) {
  pipeline_->firePendingSaves();
  const std::weak_ptr<AppStore*> weak = self_;
  SnapshotRepository& snapshots = services_.snapshots;
  Executor& main = services_.main;
  // On the save queue, so that it reads what the saves before it wrote.
  services_.saveQueue.post([weak, &snapshots, &main, read = std::move(read), done] {
    Result result{};
    std::exception_ptr error;
    try {
      result = read(snapshots);
    } catch (...) {
      error = std::current_exception();
    }
    main.post([weak, done, result = std::move(result), error] {
      const auto self = weak.lock();
      if (!self) return;
      if (error) {
        try {
          std::rethrow_exception(error);
        } catch (const std::exception& failure) {
          (*self)->failWith(failure);
        }
      }
      if (done) done(result);
    });
  });
}

void AppStore::vaultInBackground(std::function<void(std::vector<ReusableArtworkAsset>)> done) {
  readAfterSaves<std::vector<ReusableArtworkAsset>>(
      [projectId = state_.project.id](SnapshotRepository& snapshots) {
        return snapshots.reusableArtworks(projectId);
      },
      [done = std::move(done)](const std::vector<ReusableArtworkAsset>& artworks) {
        if (done) done(artworks);
      });
}

void AppStore::libraryCountsInBackground(std::function<void(const LibraryKPIOverview&)> done) {
  readAfterSaves<LibraryKPIOverview>(
      [](SnapshotRepository& snapshots) { return snapshots.libraryCounts(); }, std::move(done));
}

bool AppStore::addFromVault(const std::string& artworkId) {
  if (artwork(artworkId) != nullptr)
    return failWithKey("app.error.already_in_project", {artworkId});
  const std::vector<ReusableArtworkAsset> assets = vault();
  const auto it = std::find_if(assets.begin(), assets.end(), [&](const ReusableArtworkAsset& a) {
    return a.id == artworkId || a.artwork.id == artworkId;
  });
  if (it == assets.end()) return failWithKey("app.error.not_in_vault", {artworkId});
  Artwork added = it->artwork;
  std::int64_t nextIndex = 0;
  for (const Artwork& existing : state_.snapshot.artworks.images) {
    nextIndex = std::max(nextIndex, existing.sortIndex + 1);
  }
  added.sortIndex = nextIndex;
  state_.snapshot.artworks.images.push_back(std::move(added));
  scheduleSave(SaveSection::artworks);
  return true;
}

std::size_t AppStore::addFromVault(const std::vector<std::string>& artworkIds) {
  std::size_t added = 0;
  for (const std::string& id : artworkIds) {
    if (!addFromVault(id)) break;
    ++added;
  }
  if (added > 0) {
    showToast(ToastStyle::success,
              uiPlural("app.vault.added", language(), static_cast<std::int64_t>(added),
                       {std::to_string(added), state_.project.projectName}));
  }
  return added;
}

void AppStore::setUnit(UnitSystem unit) {
  ProjectChanges changes;
  changes.unit = unit;
  updateProject(changes);
}

void AppStore::setLayoutMode(ArtworkLayoutMode mode) {
  ProjectChanges changes;
  changes.layout = mode;
  updateProject(changes);
}

// ---- Texts, CV, details -----------------------------------------------------

bool AppStore::setText(SaveSection section, const std::string& givenContent,
                       const std::optional<std::string>& givenTitle) {
  const std::string content = cleaned(givenContent, TextShape::multiLine);
  std::optional<std::string> title;
  if (givenTitle) title = cleaned(*givenTitle, TextShape::singleLine);
  StudioSnapshot& s = state_.snapshot;
  switch (section) {
    case SaveSection::bio:
      s.biography = content;
      if (title) s.biographyTitle = normalizedTextTitle(*title, TextAssetType::bio);
      break;
    case SaveSection::statement:
      s.statement = content;
      if (title) s.statementTitle = normalizedTextTitle(*title, TextAssetType::statement);
      break;
    case SaveSection::projectStatement:
      s.projectStatement = content;
      if (title) {
        s.projectStatementTitle = normalizedTextTitle(*title, TextAssetType::projectStatement);
      }
      break;
    default:
      return failWithKey("app.error.not_a_text", {std::string(rawValue(section))});
  }
  scheduleSave(section);
  return true;
}

void AppStore::setCV(const CVData& given) {
  CVData cv = given;
  for (const CVDataSection& section : kCVDataSections) {
    for (CVEntry& entry : cv.*section.entries) {
      for (auto& [field, value] : entry) value = cleaned(value, TextShape::multiLine);
    }
  }
  state_.snapshot.cv = cv;
  scheduleSave(SaveSection::cv);
}

void AppStore::setCVTitle(const std::string& title) {
  state_.snapshot.cvTitle = cleaned(title, TextShape::singleLine);
  scheduleSave(SaveSection::cv);
}

TextPageFill AppStore::textPageFill(SaveSection section) const {
  const StudioSnapshot& s = state_.snapshot;
  const std::string& text = section == SaveSection::statement          ? s.statement
                            : section == SaveSection::projectStatement ? s.projectStatement
                                                                       : s.biography;
  return measureTextPage(text, state_.exportOptions.format);
}

std::vector<ReusableTextAsset> AppStore::reusableTexts(TextAssetType type) {
  try {
    settleSaves();
    return services_.snapshots.reusableTexts(type, state_.project.id);
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

std::vector<ReusableCVAsset> AppStore::reusableCVs() {
  try {
    settleSaves();
    return services_.snapshots.reusableCVs(state_.project.id);
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

bool AppStore::reuseText(TextAssetType type, const std::string& assetId) {
  try {
    // A pending write of the text being replaced would land in the asset
    // the project is about to share.
    // Only an asset of the same kind from another project: a statement
    // linked as a biography would have one text edited as the other.
    bool offered = false;
    if (type == TextAssetType::cv) {
      for (const ReusableCVAsset& asset : reusableCVs()) offered |= asset.id == assetId;
    } else {
      for (const ReusableTextAsset& asset : reusableTexts(type)) offered |= asset.id == assetId;
    }
    if (!offered) return failWithKey("app.error.no_such_text", {assetId});
    ensurePersisted();
    settleSaves();
    if (!services_.snapshots.attachTextAsset(state_.project.id, type, assetId)) {
      return failWithKey("app.error.no_such_text", {assetId});
    }
    std::optional<LoadedProject> loaded = services_.snapshots.load(state_.project.id);
    if (!loaded) return failWithKey("app.error.no_such_project", {state_.project.id});
    adopt(std::move(*loaded));
    countChanges(1);
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

void AppStore::setDetails(const ArtistDetails& given) {
  ArtistDetails details = given;
  for (std::string* field :
       {&details.firstName, &details.lastName, &details.artistName, &details.nameDisplayMode,
        &details.zipcode, &details.currentCity, &details.country, &details.website, &details.email,
        &details.phone, &details.birthYear, &details.birthPlace, &details.birthCountry}) {
    *field = cleaned(*field, TextShape::singleLine);
  }
  details.address = cleaned(details.address, TextShape::multiLine);
  state_.snapshot.details = details;
  scheduleSave(SaveSection::details);
}

// ---- Labels -----------------------------------------------------------------

bool AppStore::setLabelOverride(const LabelOverrideEntry& given) {
  LabelOverrideEntry entry = given;
  entry.value = cleaned(entry.value, TextShape::singleLine);
  try {
    services_.labels.upsertLabelOverride(entry);
    services_.logger.log("app documents stale reason=pdf_labels_changed scope=" + entry.scope);
    countChanges(1);
    pageLabels_.reset();
    refreshThumbnails();  // labels are not in the published state
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

bool AppStore::clearLabelOverride(const std::string& scope, const std::string& locale,
                                  const std::string& key) {
  return setLabelOverride(LabelOverrideEntry{scope, locale, key, ""});
}

std::vector<LabelOverrideEntry> AppStore::labelOverrides() {
  try {
    return services_.labels.allLabelOverrides();
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

// ---- Settings ----------------------------------------------------------------

bool AppStore::setExportOptions(const ExportOptions& options) {
  namespace key = preference_key;
  const ExportOptions before = state_.exportOptions;
  Preferences::Changes changes;
  const auto setOptional = [&](std::string_view name, const std::optional<bool>& value) {
    if (value) {
      changes.set(name, *value);
    } else {
      changes.remove(name);
    }
  };
  changes.set(key::kExportIncludeCV, options.includeCV)
      .set(key::kExportIncludeBiography, options.includeBiography)
      .set(key::kExportIncludeStatement, options.includeStatement)
      .set(key::kExportIncludeProjectStatement, options.includeProjectStatement)
      .set(key::kExportIncludeTableOfContents, options.includeTableOfContents)
      .set(key::kExportIncludeCoverImage, options.includeCoverImage);
  setOptional(key::kExportShowBiographyTitle, options.showBiographyTitle);
  setOptional(key::kExportShowStatementTitle, options.showStatementTitle);
  setOptional(key::kExportShowProjectStatementTitle, options.showProjectStatementTitle);
  changes.set(key::kExportFormat, std::string(rawValue(options.format)));
  if (options.exportLocale.empty()) {
    changes.remove(key::kExportLocale);  // the project's own language
  } else {
    changes.set(key::kExportLocale, options.exportLocale);
  }
  changes.set(key::kExportImageQuality, std::string(rawValue(options.imageQuality)));
  const bool written = services_.preferences.apply(changes);
  state_.exportOptions = options;
  if (options.exportLocale != before.exportLocale) {
    services_.logger.log("app documents stale reason=export_locale_changed");
  }
  if (options.format != before.format) {
    services_.logger.log("app documents stale reason=export_format_changed");
  }
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setUiLanguage(const std::optional<std::string>& language) {
  const bool written = language && !language->empty()
                           ? services_.preferences.setString(preference_key::kUiLanguage, *language)
                           : services_.preferences.remove(preference_key::kUiLanguage);
  state_.uiLanguage = nonEmpty(language);
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setThemeMode(ThemeMode mode) {
  const bool written =
      services_.preferences.setString(preference_key::kThemeMode, std::string(rawValue(mode)));
  state_.themeMode = mode;
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setEditTitlesEnabled(bool enabled) {
  const bool written =
      services_.preferences.setBoolean(preference_key::kEditTitlesEnabled, enabled);
  state_.isEditTitlesEnabled = enabled;
  publish();
  return written || failSettingsWrite();
}

bool AppStore::failSettingsWrite() {
  return failWithKey("app.error.settings_not_saved",
                     {services_.preferences.lastWriteFailure().value_or("")});
}

// ---- Documents ----------------------------------------------------------------

std::optional<PdfRenderResult> AppStore::renderPDF(const RenderRequest& request,
                                                   const ExportOptions& options) {
  if (services_.renderer == nullptr) {
    fail(text("app.error.render_failed", {"no renderer"}));
    return std::nullopt;
  }
  try {
    PdfRenderResult result =
        services_.renderer->render(request, state_.project, state_.snapshot, options);
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

bool AppStore::canExportTo(const std::string& path) {
  if (services_.renderer == nullptr) return fail(text("app.error.render_failed", {"no renderer"}));
  if (services_.libraryDirectory && isInsideDirectory(path, *services_.libraryDirectory)) {
    return fail(text("app.error.export_into_library", {path, *services_.libraryDirectory}));
  }
  return true;
}

void AppStore::exportWritten(const RenderRequest& request, const std::string& path) {
  if (request.kind == RenderKind::portfolio) {
    ++state_.completePortfolioExportCount;
    services_.preferences.setInteger(preference_key::kCompletePortfolioExportCount,
                                     state_.completePortfolioExportCount);
  }
  services_.logger.log("render done kind=" + std::string(rawValue(request.kind)) + " path=" + path);
  publish();
}

void AppStore::noteMissingOriginals(const RenderRequest& request, const ExportOptions& options,
                                    std::vector<PdfWarning>& warnings) const {
  const bool printsWorks = request.kind == RenderKind::portfolio ||
                           request.kind == RenderKind::artworksPages ||
                           request.kind == RenderKind::singleArtwork;
  if (!printsWorks || options.imageQuality != ExportImageQuality::printQuality) return;
  for (const MissingOriginal& work : missingOriginals()) {
    if (request.artworkId && work.artworkId != *request.artworkId) continue;
    warnings.push_back(PdfWarning::originalMissing);
    services_.logger.log("render original missing artworkId=" + work.artworkId);
    return;
  }
}

void AppStore::exportFailed(const std::exception& error, const std::string& path) {
  services_.logger.log(failureDiagnostic(error));
  const auto* system = dynamic_cast<const std::system_error*>(&error);
  if (system != nullptr && system->code().value() == EEXIST) {
    fail(text("app.error.export_exists", {path}));
  } else {
    fail(text("app.error.export_failed", {path, failureText(error, language())}));
  }
}

std::optional<RgbPixels> AppStore::renderPageImage(const RenderRequest& request,
                                                   const ExportOptions& options, int longEdge) {
  if (services_.renderer == nullptr) {
    fail("no renderer");
    return std::nullopt;
  }
  try {
    return services_.renderer->renderPageImage(request, state_.project, state_.snapshot, options,
                                               longEdge);
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

std::optional<std::vector<PdfWarning>> AppStore::exportPDF(const RenderRequest& request,
                                                           const ExportOptions& options,
                                                           const std::string& path,
                                                           const Progress& progress,
                                                           bool replaceExisting) {
  if (!canExportTo(path)) return std::nullopt;
  try {
    const ExportWork work{request, state_.project, state_.snapshot, options, path, replaceExisting};
    std::vector<PdfWarning> warnings = writeDocument(*services_.renderer, work, progress);
    exportWritten(request, path);
    noteMissingOriginals(request, options, warnings);
    return warnings;
  } catch (const std::exception& error) {
    exportFailed(error, path);
    return std::nullopt;
  }
}

std::shared_ptr<ExportJob> AppStore::exportPDFInBackground(const RenderRequest& request,
                                                           const ExportOptions& options,
                                                           const std::string& path,
                                                           Progress progress, Exported done,
                                                           bool replaceExisting) {
  if (services_.pdfRenderQueue == nullptr && services_.renderer != nullptr) {
    const auto warnings = exportPDF(request, options, path, progress, replaceExisting);
    if (done) done(warnings);
    return nullptr;
  }
  if (!canExportTo(path)) {
    if (done) done(std::nullopt);
    return nullptr;
  }
  ExportWork work{request, state_.project, state_.snapshot, options, path, replaceExisting};
  const std::weak_ptr<AppStore*> weak = self_;
  return ExportJob::start(
      *services_.renderer, *services_.pdfRenderQueue, services_.main, std::move(work),
      std::move(progress), [weak, request, options, path, done](const ExportOutcome& outcome) {
        const auto self = weak.lock();
        if (!self) return;
        AppStore& store = **self;
        std::optional<std::vector<PdfWarning>> warnings;
        switch (outcome.kind) {
          case ExportOutcome::Kind::written:
            store.exportWritten(request, path);
            warnings = outcome.warnings;
            store.noteMissingOriginals(request, options, *warnings);
            break;
          case ExportOutcome::Kind::cancelled:
            store.services_.logger.log(
                "render cancelled kind=" + std::string(rawValue(request.kind)) + " path=" + path);
            break;
          case ExportOutcome::Kind::failed:
            try {
              std::rethrow_exception(outcome.error);
            } catch (const std::exception& error) {
              store.exportFailed(error, path);
            } catch (...) {
              store.fail(store.text("app.error.export_failed", {path, ""}));
            }
            break;
        }
        if (done) done(warnings);
      });
}

// ---- The platform ------------------------------------------------------------

void AppStore::applicationBecameActive() {
  services_.logger.log("app active");
  finalizationConditions_.appActive = true;
  if (evaluateFinalizationPause()) advanceFinalization();
  publish();
}

void AppStore::saveNow() {
  services_.logger.log("app save now");
  pipeline_->firePendingSaves();
  publish();
}

void AppStore::applicationBecameInactive() {
  services_.logger.log("app inactive");
  pipeline_->firePendingSaves();
  finalizationConditions_.appActive = false;
  evaluateFinalizationPause();
  publish();
}

void AppStore::systemLocaleChanged() {
  services_.logger.log("app locale changed language=" + language());
  // Texts already shown (toasts, warnings) were written in the old
  // language; what comes next speaks the new one. Observers redraw.
  const auto observers = observers_;
  StoreChanges changes;
  changes.mask = static_cast<std::uint32_t>(StoreArea::settings);
  for (const auto& [token, observer] : observers) observer(changes);
}

void AppStore::memoryPressure() {
  services_.logger.log("app memory pressure");
  if (services_.renderer != nullptr) services_.renderer->clearCache();
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
  if (services_.renderer == nullptr || services_.pdfRenderQueue == nullptr) return;
  const std::uint64_t id = ++*latestPreviewRequestID_;
  state_.isPdfRendering = true;
  // Page thumbnails made stale by the same option change would draw beside
  // the preview and slow it down; they wait until it is shown.
  if (thumbnails_) thumbnails_->holdNewDraws(true);
  publish();
  const std::weak_ptr<AppStore*> weak = self_;
  PdfRenderService* renderer = services_.renderer;
  Executor& main = services_.main;
  // A preview is looked at on a screen: its pictures are the stored web
  // derivatives as they are, so an option changed answers in the time the
  // pages take to lay out, not the time twenty images take to re-encode.
  const ExportOptions options = state_.exportOptions;
  services_.pdfRenderQueue->post([weak, renderer, &main, request, id,
                                  latest = latestPreviewRequestID_, project = state_.project,
                                  snapshot = state_.snapshot, options] {
    std::optional<PdfRenderResult> result;
    std::exception_ptr failure;
    const bool overtaken = id != latest->load();
    if (!overtaken) {
      try {
        result = renderer->render(request, project, snapshot, options, RenderImages::forScreen);
      } catch (...) {
        failure = std::current_exception();
      }
    }
    main.post([weak, request, id, result = std::move(result), failure] {
      const auto self = weak.lock();
      if (!self) return;
      AppStore& store = **self;
      const std::string kind(rawValue(request.kind));
      if (id != store.latestPreviewRequestID_->load()) {
        store.services_.logger.log("render drop kind=" + kind + " request=" + std::to_string(id));
        return;
      }
      store.state_.isPdfRendering = false;
      if (store.thumbnails_) store.thumbnails_->holdNewDraws(false);
      if (result) {
        store.state_.pdfPreviewData = result->data;
        ++store.previewRevision_;
        store.state_.pdfWarnings = result->warnings;
        store.services_.logger.log("render done kind=" + kind + " request=" + std::to_string(id));
        store.publish();
        return;
      }
      // The preview shown no longer matches what was asked for: it goes,
      // and the user learns why.
      store.state_.pdfPreviewData.reset();
      ++store.previewRevision_;
      store.state_.pdfWarnings.clear();
      store.services_.logger.log("render failed kind=" + kind + " request=" + std::to_string(id));
      store.failRender(failure);
    });
  });
}

void AppStore::failRender(const std::exception_ptr& failure) {
  try {
    if (failure) std::rethrow_exception(failure);
    failWithKey("app.error.render_failed", {""});
  } catch (const std::exception& error) {
    services_.logger.log(failureDiagnostic(error));
    failWithKey("app.error.render_failed", {failureText(error, language())});
  } catch (...) {
    failWithKey("app.error.render_failed", {""});
  }
}

// ---- Reset -------------------------------------------------------------------

bool AppStore::deleteAllUserData() {
  try {
    settleSaves();
    services_.snapshots.deleteAllLibraryData();
    services_.media.removeOwnMedia();
    services_.preferences.remove(preference_key::kCurrentProjectId);
    services_.logger.log("app delete all data");
    state_.oversizedImageNotices.clear();
    state_.imageSizeWarning.clear();
    state_.projects.clear();
    state_.deletedProjects.clear();
    startNewProject({}, false);
    showToast(ToastStyle::success, text("settings.desktop.delete_done"));
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

std::size_t AppStore::libraryArtworkCount() {
  try {
    return services_.snapshots.artworkIds().size();
  } catch (const std::exception& error) {
    failWith(error);
    return 0;
  }
}

}  // namespace quorvane
