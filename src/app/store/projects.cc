// Projects: created, opened, changed, duplicated, deleted and restored.
//
// - A new project takes the unit of "quorvane.initialUnit" (decided once
//   from the region: US → inches, else centimetres), the interface language
//   as its document language, and the artist details of the most recently
//   changed project, since they describe the same person.
// - Duplicating a project copies its texts, CV and details into assets of
//   its own and shares its artworks: an artwork is one work of the library,
//   whichever projects show it. Deleting a project archives it.
// - Switching, creating, duplicating or deleting a project first writes
//   every pending save, so no edit of the project being left is lost or
//   written into the wrong place.
#include "app/app_store.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"
#include "app/store/undo_room.h"

#include <algorithm>

#include "app/failure_text.h"
#include "app/store/store_helpers.h"
#include "model/document_kind_words.h"
#include "model/text.h"
#include "model/text_assets.h"
#include "pdf/localization.h"

namespace quorvane {

namespace {

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
  detailsAsOpened_ = state_.snapshot.details;
  refreshSharedTexts();  // none: its texts are its own
  publish();
  return project.id;
}

std::optional<std::string> AppStore::createProject(const ProjectChanges& given) {
  const ProjectChanges changes = cleaned(given);
  if (refuseUnknownCurrency(changes.currency)) return std::nullopt;
  try {
    settleSaves();
    forgetIfUnsaved();
    std::optional<std::string> id = startNewProject(changes, true);
    if (id && changes.shareLatestTexts) shareLatestTexts();
    return id;
  } catch (const std::exception& error) {
    failWith(error);
    return std::nullopt;
  }
}

void AppStore::shareLatestTexts() {
  std::vector<std::string> from;
  std::string kinds;  // what was shared, as the Texts and CV tabs name it
  for (const TextAssetType type :
       {TextAssetType::bio, TextAssetType::statement, TextAssetType::cv}) {
    std::optional<std::pair<std::string, std::string>> latest;  // asset, project name
    if (type == TextAssetType::cv) {
      for (const ReusableCVAsset& asset : reusableCVs()) {
        if (asset.cv == CVData{}) continue;
        latest = {asset.id, asset.sourceProjectName};
        break;
      }
    } else if (const auto texts = reusableTexts(type); !texts.empty()) {
      latest = {texts.front().id, texts.front().sourceProjectName};
    }
    if (!latest || !services_.snapshots.attachTextAsset(state_.project.id, type, latest->first)) {
      continue;
    }
    if (std::find(from.begin(), from.end(), latest->second) == from.end()) {
      from.push_back(latest->second);
    }
    kinds += (kinds.empty() ? "" : ", ") + text(textKindKey(type));
  }
  if (from.empty()) return;
  if (std::optional<LoadedProject> loaded = services_.snapshots.load(state_.project.id)) {
    adopt(std::move(*loaded));
  }
  std::string names;
  for (const std::string& name : from) names += (names.empty() ? "" : ", ") + name;
  services_.logger.log("app new project shares latest texts from=" + names);
  showToast(ToastStyle::info, text("app.project.shares_texts", {names, kinds}),
            ToastAction::copySharedTexts);
  publish();
}

void AppStore::openProjectInBackground(const std::string& projectId,
                                       std::function<void(bool)> done) {
  if (projectId == state_.project.id && !isUnsaved_) {
    // It may have been open for this run only.
    const bool opened = rememberCurrentProject() || failSettingsWrite();
    if (done) done(opened);
    return;
  }
  pipeline_->firePendingSaves();
  SnapshotRepository& snapshots = services_.snapshots;
  struct Read {
    std::vector<ProjectSummary> summaries;
    std::optional<LoadedProject> loaded;
  };
  // On the save queue, so that it reads what the saves before it wrote.
  runInBackground(
      self_, services_.saveQueue, services_.main,
      [&snapshots, projectId] {
        Read read{snapshots.projectSummaries(), std::nullopt};
        if (std::any_of(read.summaries.begin(), read.summaries.end(),
                        [&](const ProjectSummary& p) { return p.id == projectId; })) {
          read.loaded = snapshots.load(projectId);
        }
        return read;
      },
      [projectId, done](AppStore& store, const Outcome<Read>& outcome) {
        bool opened = false;
        try {
          const Read& read = outcome.get();
          if (read.loaded) {
            store.state_.projects = read.summaries;
            store.adopt(*read.loaded);
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
}

bool AppStore::updateProject(const ProjectChanges& given) {
  const ProjectChanges changes = cleaned(given);
  if (changes.name && isBlank(*changes.name)) return failWithKey("app.error.empty_name");
  if (refuseUnknownCurrency(changes.currency)) return false;
  std::string fields;
  for (const auto& [set, name] : {std::pair{changes.name.has_value(), "name"},
                                  {changes.title.has_value(), "title"},
                                  {changes.year.has_value(), "year"},
                                  {changes.locale.has_value(), "locale"},
                                  {changes.currency.has_value(), "currency"},
                                  {changes.orientation.has_value(), "orientation"},
                                  {changes.unit.has_value(), "unit"},
                                  {changes.layout.has_value(), "layout"},
                                  {changes.kind || changes.catalogueKind, "kind"}}) {
    if (set) fields.append(":").append(name);
  }
  UndoRoom::Recording recording(
      *undo_,
      undoStep("undo.action.edit_project", state_.project.projectName, {}, {}, "project" + fields));
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
    const Project original = state_.project;
    Project copy = state_.project;
    copy.id = services_.makeUuid();
    copy.createdAt = copy.updatedAt = services_.clock.now();
    copy.projectName = text("app.project.copy_name", {state_.project.projectName});
    StudioSnapshot snapshot = state_.snapshot;
    const bool sharedTexts = !state_.sharedTexts.empty();
    forgetIfUnsaved();
    // The copy's texts get assets of their own when first written.
    snapshot.documents.clear();
    snapshot.documentArtworkLinks.clear();
    state_.project = copy;
    state_.snapshot = std::move(snapshot);
    state_.sharedTexts.clear();
    state_.projects.insert(state_.projects.begin(), ProjectSummary::of(copy));
    rememberCurrentProject();
    rememberStampedContent();
    // Six writes for one decision of the user's: they count as one change.
    silentWrites_[copy.id] = allCases<SaveSection>().size() - 1;
    for (const SaveSection section : allCases<SaveSection>()) {
      pipeline_->scheduleSave(section, state_.project, state_.snapshot);
    }
    UndoStep step = undoStep("undo.action.duplicate_project", original.projectName);
    step.kind = UndoKind::projectCopied;
    step.projectId = original.id;
    step.copyId = copy.id;
    undo_->record(std::move(step));
    // Texts the original shares are the copy's own from now on: said, since
    // an edit in the copy no longer reaches the projects sharing them.
    showToast(ToastStyle::success, sharedTexts ? text("app.project.duplicate.own_texts")
                                               : text("inspector.project.duplicate.done"));
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
      UndoStep step = undoStep("undo.action.delete_project", state_.project.projectName);
      step.kind = UndoKind::projectDeleted;
      step.projectId = deleted;
      undo_->record(std::move(step));
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

}  // namespace quorvane
