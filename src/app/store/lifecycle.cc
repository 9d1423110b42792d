// Starting and quitting, the preferences read at start, what the platform
// tells a window, and deleting everything.
#include "app/app_store.h"
#include "app/library_tidy.h"
#include "app/pdf_render_service.h"
#include "app/save_pipeline.h"
#include "app/store/undo_room.h"

#include <algorithm>

#include "app/failure_text.h"
#include "app/store/finalization_room.h"
#include "app/store/store_helpers.h"
#include "pdf/localization.h"
#include "platform/paths.h"

namespace quorvane {
namespace {

// The region of the user's locale, upper-cased; empty when unknown.
std::string upperCaseRegion(const AppStoreServices& services) {
  std::string region = services.regionCode ? services.regionCode().value_or("") : "";
  std::transform(region.begin(), region.end(), region.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return region;
}

}  // namespace

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
  const std::string region = upperCaseRegion(services_);
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

UnitSystem AppStore::initialUnit() {
  const auto remembered = services_.preferences.string(preference_key::kInitialUnit);
  if (remembered) {
    if (const auto unit = fromRawValue<UnitSystem>(*remembered)) return *unit;
  }
  const std::string region = upperCaseRegion(services_);
  const UnitSystem unit = region == "US" ? UnitSystem::in : UnitSystem::cm;
  services_.preferences.setString(preference_key::kInitialUnit, std::string(rawValue(unit)));
  return unit;
}

void AppStore::reloadSummaries() {
  state_.projects = services_.snapshots.projectSummaries();
  state_.deletedProjects = services_.snapshots.deletedProjectSummaries();
  refreshSharedTexts();
}

void AppStore::refreshSharedTexts() {
  state_.sharedTexts.clear();
  try {
    // A project not yet written has the details it was given (the latest
    // ones): those it took them from are its twins already.
    detailsTwins_ = services_.snapshots.projectsWithDetails(state_.project.id, detailsAsOpened_);
    if (isUnsaved_) return;
    for (const TextAssetType type : allCases<TextAssetType>()) {
      std::vector<ProjectRef> others =
          services_.snapshots.projectsSharingText(state_.project.id, type);
      if (!others.empty()) state_.sharedTexts[type] = std::move(others);
    }
  } catch (const std::exception& error) {
    // Only what is shown beside the texts is behind.
    services_.logger.log(std::string("app shared texts error=") + error.what());
  }
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
  detailsAsOpened_ = state_.snapshot.details;
  refreshSharedTexts();
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
  TidyReport report = tidyLibrary(services_.media, services_.snapshots, otherFolders,
                                  services_.clock, services_.logger, services_.makeUuid);
  // Images prepared for works the library no longer holds (taken out by an
  // undo in a run that was killed, or by another run) go too.
  if (PreparedImageCache* kept = services_.renderer.preparedImages()) {
    try {
      kept->keepOnly(services_.snapshots.artworkIds());
      kept->trim();
    } catch (const std::exception& error) {
      services_.logger.log(std::string("[Quorvane][Tidy] state=prepared_images_left error=") +
                           error.what());
    }
  }
  return report;
}

void AppStore::settleSaves() {
  pipeline_->flushPendingSaves();
  if (services_.drainSaveQueue) services_.drainSaveQueue();
}

void AppStore::applicationBecameActive() {
  services_.logger.log("app active");
  finalization_->conditions().appActive = true;
  finalization_->conditionsChanged();
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
  finalization_->conditions().appActive = false;
  finalization_->conditionsChanged();
  publish();
}

void AppStore::systemLocaleChanged() {
  services_.logger.log("app locale changed language=" + language());
  // Texts already shown (toasts, warnings) were written in the old
  // language; what comes next speaks the new one. Observers redraw.
  undo_->languageChanged();
  const auto observers = observers_;
  StoreChanges changes;
  changes.mask = static_cast<std::uint32_t>(StoreArea::settings);
  for (const auto& [token, observer] : observers) observer(changes);
}

void AppStore::memoryPressure() {
  services_.logger.log("app memory pressure");
  services_.renderer.clearCache();
}

bool AppStore::deleteAllUserData() {
  try {
    settleSaves();
    undo_->clear();  // nothing of what was deleted comes back
    services_.snapshots.deleteAllLibraryData();
    services_.media.removeOwnMedia();
    if (PreparedImageCache* kept = services_.renderer.preparedImages()) kept->clear();
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
