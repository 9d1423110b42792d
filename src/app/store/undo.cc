// Undo and redo of what a person did through the store (see undo_room.h).
#include "app/app_store.h"
#include "app/pdf_render_service.h"
#include "app/save_pipeline.h"
#include "app/store/undo_room.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>

#include "app/store/thumbnail_room.h"
#include "pdf/localization.h"
#include "storage/files_media_store.h"

namespace quorvane {

namespace {

bool sameProjectRow(Project a, Project b) {
  a.createdAt = b.createdAt = {};
  a.updatedAt = b.updatedAt = {};
  return a == b;
}

// Where an image's bytes are read from is no part of the work: a save
// moves them from a file into the library and changes the path.
bool sameArtwork(const Artwork* a, const Artwork* b) {
  if (a == nullptr || b == nullptr) return a == b;
  if (a->imagePath == b->imagePath) return *a == *b;
  Artwork x = *a;
  x.imagePath = b->imagePath;
  return x == *b;
}

const Artwork* find(const ArtworksData& artworks, const std::string& id) {
  const auto it = std::find_if(artworks.images.begin(), artworks.images.end(),
                               [&](const Artwork& a) { return a.id == id; });
  return it == artworks.images.end() ? nullptr : &*it;
}

// The artworks by id: a project of thousands is looked through once, not
// once per work (this runs at every key typed).
class ArtworkIndex {
 public:
  explicit ArtworkIndex(const ArtworksData& artworks) {
    for (const Artwork& artwork : artworks.images) byId_.emplace(artwork.id, &artwork);
  }
  const Artwork* operator[](const std::string& id) const {
    const auto it = byId_.find(id);
    return it == byId_.end() ? nullptr : it->second;
  }

 private:
  std::unordered_map<std::string_view, const Artwork*> byId_;
};

std::vector<std::string> idsOf(const ArtworksData& artworks) {
  std::vector<std::string> ids;
  for (const Artwork& artwork : artworks.images) ids.push_back(artwork.id);
  return ids;
}

// The artworks that differ between two sides of a step.
std::set<std::string> changedArtworks(const ArtworksData& a, const ArtworksData& b) {
  const ArtworkIndex inA(a);
  const ArtworkIndex inB(b);
  std::set<std::string> changed;
  for (const ArtworksData* side : {&a, &b}) {
    for (const Artwork& artwork : side->images) {
      if (!sameArtwork(inA[artwork.id], inB[artwork.id])) changed.insert(artwork.id);
    }
  }
  return changed;
}

// Calls `visit` with each field of a text section (not the artworks) in
// `a` and in `b`, pair by pair.
template <typename A, typename B, typename Visit>
void eachTextField(SaveSection section, A& a, B& b, Visit visit) {
  switch (section) {
    case SaveSection::bio:
      visit(a.biography, b.biography);
      visit(a.biographyTitle, b.biographyTitle);
      break;
    case SaveSection::statement:
      visit(a.statement, b.statement);
      visit(a.statementTitle, b.statementTitle);
      break;
    case SaveSection::projectStatement:
      visit(a.projectStatement, b.projectStatement);
      visit(a.projectStatementTitle, b.projectStatementTitle);
      break;
    case SaveSection::cv:
      visit(a.cv, b.cv);
      visit(a.cvTitle, b.cvTitle);
      break;
    case SaveSection::details:
      visit(a.details, b.details);
      break;
    case SaveSection::artworks:
      break;
  }
}

bool sameText(SaveSection section, const StudioSnapshot& a, const StudioSnapshot& b) {
  bool same = true;
  eachTextField(section, a, b, [&](const auto& x, const auto& y) { same = same && x == y; });
  return same;
}

void copyText(SaveSection section, const StudioSnapshot& from, StudioSnapshot& to) {
  eachTextField(section, to, from, [](auto& x, const auto& y) { x = y; });
}

// True when `current` still is as `expected` wherever a step's two sides
// (`expected` and `target`) differ: the step can be carried out.
bool stillAsExpected(const ProjectContent& current, const ProjectContent& expected,
                     const ProjectContent& target) {
  if (!sameProjectRow(expected.project, target.project) &&
      !sameProjectRow(current.project, expected.project)) {
    return false;
  }
  for (const SaveSection section : allCases<SaveSection>()) {
    if (section == SaveSection::artworks) continue;
    if (!sameText(section, expected.snapshot, target.snapshot) &&
        !sameText(section, current.snapshot, expected.snapshot)) {
      return false;
    }
  }
  const ArtworksData& now = current.snapshot.artworks;
  const ArtworksData& was = expected.snapshot.artworks;
  const ArtworksData& will = target.snapshot.artworks;
  if ((was.unit != will.unit && now.unit != was.unit) ||
      (was.layoutMode != will.layoutMode && now.layoutMode != was.layoutMode)) {
    return false;
  }
  if (idsOf(was) != idsOf(will) && idsOf(now) != idsOf(was)) return false;
  const ArtworkIndex inNow(now);
  const ArtworkIndex inWas(was);
  for (const std::string& id : changedArtworks(was, will)) {
    if (!sameArtwork(inNow[id], inWas[id])) return false;
  }
  return true;
}

// `current` with the step's change to `target` carried over: what differs
// between the step's sides comes from `target`, everything else stays.
// An artwork keeps the image path it has now (its bytes are in place)
// unless it is in `newImages`, whose bytes are to be stored again.
ProjectContent merged(const ProjectContent& current, const ProjectContent& expected,
                      const ProjectContent& target, const std::vector<std::string>& newImages) {
  ProjectContent result = current;
  if (!sameProjectRow(expected.project, target.project)) {
    result.project = target.project;
    result.project.id = current.project.id;
    result.project.createdAt = current.project.createdAt;
    result.project.updatedAt = current.project.updatedAt;
  }
  for (const SaveSection section : allCases<SaveSection>()) {
    if (section != SaveSection::artworks &&
        !sameText(section, expected.snapshot, target.snapshot)) {
      copyText(section, target.snapshot, result.snapshot);
    }
  }
  const ArtworksData& was = expected.snapshot.artworks;
  const ArtworksData& will = target.snapshot.artworks;
  ArtworksData& artworks = result.snapshot.artworks;
  if (was.unit != will.unit) artworks.unit = will.unit;
  if (was.layoutMode != will.layoutMode) artworks.layoutMode = will.layoutMode;
  const std::set<std::string> changed = changedArtworks(was, will);
  const std::vector<std::string> order =
      idsOf(was) != idsOf(will) ? idsOf(will) : idsOf(current.snapshot.artworks);
  const ArtworkIndex inCurrent(current.snapshot.artworks);
  const ArtworkIndex inTarget(will);
  std::vector<Artwork> images;
  for (const std::string& id : order) {
    const Artwork* now = inCurrent[id];
    if (!changed.contains(id) && now != nullptr) {
      images.push_back(*now);
      continue;
    }
    const Artwork* wanted = inTarget[id];
    if (wanted == nullptr) continue;
    images.push_back(*wanted);
    const bool stored = std::find(newImages.begin(), newImages.end(), id) != newImages.end();
    if (now != nullptr && !stored) images.back().imagePath = now->imagePath;
  }
  artworks.images = std::move(images);
  return result;
}

bool sameContent(const ProjectContent& a, const ProjectContent& b) {
  const ArtworksData& x = a.snapshot.artworks;
  const ArtworksData& y = b.snapshot.artworks;
  if (!sameProjectRow(a.project, b.project) || x.unit != y.unit || x.layoutMode != y.layoutMode ||
      x.images.size() != y.images.size()) {
    return false;
  }
  for (const SaveSection section : allCases<SaveSection>()) {
    if (!sameText(section, a.snapshot, b.snapshot)) return false;
  }
  for (std::size_t i = 0; i < x.images.size(); ++i) {
    if (!sameArtwork(&x.images[i], &y.images[i])) return false;
  }
  return true;
}

std::string fileNameOf(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

}  // namespace

UndoStep undoStep(std::string actionKey, std::string subject, std::optional<SaveSection> section,
                  std::optional<std::string> artworkId, std::optional<std::string> coalescingKey) {
  UndoStep step;
  step.actionKey = std::move(actionKey);
  step.subject = std::move(subject);
  step.section = section;
  step.artworkId = std::move(artworkId);
  step.coalescingKey = std::move(coalescingKey);
  return step;
}

// ---- Recording ---------------------------------------------------------------

UndoRoom::Recording::Recording(UndoRoom& room, UndoStep step)
    : room_(room), step_(std::move(step)) {
  active_ = room_.depth_ == 0 && !room_.carryingOut_;
  ++room_.depth_;
  if (!active_) return;
  step_.before = room_.content();
  step_.projectId = room_.store_.state_.project.id;
}

UndoRoom::Recording::~Recording() {
  --room_.depth_;
  if (!active_ || room_.store_.state_.project.id != step_.projectId) return;
  std::shared_ptr<const ProjectContent> after = room_.content();
  if (sameContent(*step_.before, *after)) return;
  step_.after = std::move(after);
  room_.record(std::move(step_));
}

// ---- The room ----------------------------------------------------------------

UndoRoom::UndoRoom(AppStore& store) : store_(store) {}

UndoRoom::~UndoRoom() { clear(); }

std::shared_ptr<const ProjectContent> UndoRoom::content() const {
  return std::make_shared<const ProjectContent>(
      ProjectContent{store_.state_.project, store_.state_.snapshot});
}

void UndoRoom::record(UndoStep step) {
  if (carryingOut_) return;
  step.doneAt = store_.services_.clock.now();
  if (step.projectId.empty()) step.projectId = store_.state_.project.id;
  history.record(std::move(step));
  refresh();
}

void UndoRoom::refresh() {
  UndoMenu& menu = store_.state_.undo;
  std::optional<std::string> undoName = nextName(true);
  std::optional<std::string> redoName = nextName(false);
  // Typing that goes on in one step changes nothing the menu shows.
  if (undoName == menu.undoName && redoName == menu.redoName) return;
  menu.undoName = std::move(undoName);
  menu.redoName = std::move(redoName);
  store_.publish();
}

std::string UndoRoom::stepName(const UndoStep& step) const {
  // A work without a title is named as the board names it.
  return store_.text(step.actionKey,
                     {step.subject.empty() ? store_.text("desktop.works.untitled") : step.subject});
}

std::optional<std::string> UndoRoom::nextName(bool undoing) const {
  const UndoStep* step = undoing ? history.nextUndo() : history.nextRedo();
  if (step == nullptr) return std::nullopt;
  return stepName(*step);
}

void UndoRoom::clear() {
  history.clear();
  store_.state_.undo.undoName.reset();
  store_.state_.undo.redoName.reset();
  if (!holdingRoot_.empty()) {
    try {
      store_.services_.media.files().removeAll(holdingRoot_);
    } catch (const std::exception&) {
      // The next start's tidying removes it.
    }
    holdingRoot_.clear();
  }
}

std::string UndoRoom::newHoldingFolder() {
  if (holdingRoot_.empty()) {
    holdingRoot_ = store_.services_.media.pathOf(std::string(kUndoHoldingPrefix) +
                                                 store_.services_.makeUuid());
  }
  const std::string folder = holdingRoot_ + "/" + store_.services_.makeUuid();
  store_.services_.media.files().createDirectories(folder);
  return folder;
}

void UndoRoom::imagePlaced(const std::string& artworkId, const std::string& fileName,
                           std::shared_ptr<const ProjectContent> before,
                           OriginalMediaImportTransaction* replacing) {
  if (carryingOut_) return;
  UndoStep step;
  step.kind = UndoKind::image;
  step.section = SaveSection::artworks;
  step.artworkId = artworkId;
  const Artwork* was = find(before->snapshot.artworks, artworkId);
  step.actionKey = was != nullptr ? "undo.action.replace_image" : "undo.action.add_image";
  const Artwork* is = find(store_.state_.snapshot.artworks, artworkId);
  step.subject = is != nullptr && !is->title.empty() ? is->title : fileName;
  step.before = std::move(before);
  step.after = content();
  if (was != nullptr && replacing != nullptr) {
    try {
      const std::string folder = newHoldingFolder();
      const std::int64_t bytes = replacing->keepReplaced(folder);
      step.keptBefore = std::make_shared<KeptFiles>(store_.services_.media.files(), folder, bytes);
    } catch (const std::exception& error) {
      // Without the old image there is no way back to it: no step.
      store_.services_.logger.log(std::string("app undo keep failed error=") + error.what());
      return;
    }
  }
  record(std::move(step));
}

bool UndoRoom::undo() {
  UndoStep* step = history.nextUndo();
  if (step == nullptr) return false;
  return carryOut(*step, true);
}

bool UndoRoom::redo() {
  UndoStep* step = history.nextRedo();
  if (step == nullptr) return false;
  return carryOut(*step, false);
}

bool UndoRoom::carryOut(UndoStep& step, bool undoing) {
  if (store_.state_.webCVImportTargetID || store_.state_.isImportingProjectPackage) {
    return store_.failWithKey("undo.error.busy");
  }
  carryingOut_ = true;
  bool done = false;
  try {
    switch (step.kind) {
      case UndoKind::content:
        done = restoreContent(step, undoing);
        break;
      case UndoKind::image: {
        const bool added = find(step.before->snapshot.artworks, *step.artworkId) == nullptr;
        done = !added    ? swapImage(step, undoing)
               : undoing ? takeBackImage(step)
                         : bringBackImage(step);
        break;
      }
      case UndoKind::projectDeleted:
      case UndoKind::projectCopied:
        done = switchProject(step, undoing);
        break;
      case UndoKind::textReused:
        done = relinkText(step, undoing);
        break;
      case UndoKind::label:
        done = changeLabel(step, undoing);
        break;
      case UndoKind::exportOptions: {
        const ExportOptions& expected = undoing ? step.optionsAfter : step.optionsBefore;
        done = store_.state_.exportOptions == expected
                   ? store_.setExportOptions(undoing ? step.optionsBefore : step.optionsAfter)
                   : stale(step);
        break;
      }
    }
  } catch (const std::exception& error) {
    store_.failWith(error);
    done = false;
  }
  carryingOut_ = false;
  if (done) {
    // Everything read from the step first: moving it to the other side
    // ends this reference.
    const std::string name = stepName(step);
    const std::string action = step.actionKey;
    UndoMenu& menu = store_.state_.undo;
    ++menu.carriedOut;
    menu.shownSection = step.section;
    menu.shownArtworkId = step.artworkId;
    if (undoing) {
      history.undone();
    } else {
      history.redone();
    }
    store_.services_.logger.log(std::string("app ") + (undoing ? "undo" : "redo") +
                                " action=" + action);
    store_.showToast(ToastStyle::info, store_.text(undoing ? "undo.done" : "redo.done", {name}));
  }
  refresh();
  store_.publish();  // what came back is shown even when the menu reads the same
  return done;
}

bool UndoRoom::stale(const UndoStep& step) {
  // Copied first: dropping the step ends it.
  const std::string name = stepName(step);
  const std::string action = step.actionKey;
  // Whatever stood behind it built on what changed: it goes too.
  if (history.nextUndo() == &step) {
    history.dropNextUndo();
  } else {
    history.dropNextRedo();
  }
  store_.services_.logger.log("app undo stale action=" + action);
  return store_.failWithKey("undo.error.changed", {name});
}

bool UndoRoom::openProject(const std::string& projectId) {
  if (store_.state_.project.id == projectId && !store_.isUnsaved_) return true;
  store_.settleSaves();
  store_.forgetIfUnsaved();
  store_.reloadSummaries();
  return store_.openLoaded(projectId, true);
}

bool UndoRoom::writeContent(const ProjectContent& target, const ProjectContent& expected,
                            const std::vector<std::string>& forgotten,
                            const std::vector<std::string>& newImages) {
  const std::shared_ptr<const ProjectContent> current = content();
  ProjectContent result = merged(*current, expected, target, newImages);
  AppState& state = store_.state_;
  state.project = result.project;
  state.snapshot = std::move(result.snapshot);
  for (const SaveSection section : allCases<SaveSection>()) store_.stampSection(section);
  // One change for the person, however many sections it writes.
  store_.silentWrites_[state.project.id] += allCases<SaveSection>().size() - 1;
  if (!store_.pipeline_->saveWholeNow(state.project, state.snapshot, forgotten)) {
    std::size_t& silent = store_.silentWrites_[state.project.id];
    silent = silent >= allCases<SaveSection>().size() - 1
                 ? silent - (allCases<SaveSection>().size() - 1)
                 : 0;
    state.project = current->project;
    state.snapshot = current->snapshot;
    store_.rememberStampedContent();
    return false;
  }
  if (PreparedImageCache* kept = store_.services_.renderer.preparedImages()) {
    for (const std::string& artworkId : forgotten) kept->forget(artworkId);
  }
  if (state.worksInspectorArtworkID &&
      find(state.snapshot.artworks, *state.worksInspectorArtworkID) == nullptr) {
    state.worksInspectorArtworkID.reset();
  }
  try {
    store_.reloadSummaries();
  } catch (const std::exception& error) {
    // The undo is written; only the list of projects is behind.
    store_.services_.logger.log(std::string("app undo summaries error=") + error.what());
  }
  return true;
}

bool UndoRoom::restoreContent(UndoStep& step, bool undoing) {
  const ProjectContent& target = undoing ? *step.before : *step.after;
  const ProjectContent& expected = undoing ? *step.after : *step.before;
  if (!openProject(step.projectId) || !stillAsExpected(*content(), expected, target)) {
    return stale(step);
  }
  return writeContent(target, expected);
}

bool UndoRoom::takeBackImage(UndoStep& step) {
  const std::string& id = *step.artworkId;
  if (!openProject(step.projectId) || !stillAsExpected(*content(), *step.after, *step.before)) {
    return stale(step);
  }
  if (!writeContent(*step.before, *step.after, {id})) return false;
  // Another project may show the work too (a copy made since, kept among
  // the deleted projects): then the library keeps it, and its files.
  FilesMediaStore& media = store_.services_.media;
  if (store_.services_.snapshots.artworkIds().contains(id)) return true;
  // Its files leave the media folder for the way back.
  try {
    const std::string folder = newHoldingFolder();
    std::int64_t bytes = 0;
    for (const std::string& path : media.mediaFiles(id)) {
      bytes += static_cast<std::int64_t>(media.files().fileSize(path));
      media.files().move(path, folder + "/" + fileNameOf(path));
    }
    step.keptAfter = std::make_shared<KeptFiles>(media.files(), folder, bytes);
  } catch (const std::exception& error) {
    // The work is out of the library; files left behind are tidied as
    // strays by a later start, and the redo can't be.
    store_.services_.logger.log(std::string("app undo keep failed error=") + error.what());
    step.keptAfter.reset();
  }
  return true;
}

bool UndoRoom::bringBackImage(UndoStep& step) {
  const std::string& id = *step.artworkId;
  if (!openProject(step.projectId) || !stillAsExpected(*content(), *step.before, *step.after)) {
    return stale(step);
  }
  // Still in the library (another project kept it): only the project
  // shows it again.
  if (store_.services_.snapshots.artworkIds().contains(id)) {
    return writeContent(*step.after, *step.before);
  }
  if (!step.keptAfter) return stale(step);
  FilesMediaStore& media = store_.services_.media;
  FileSystem& files = media.files();
  const std::string folder = step.keptAfter->folder();
  std::vector<std::string> moved;
  const auto putBack = [&] {
    for (const std::string& name : moved) files.move(media.pathOf(name), folder + "/" + name);
  };
  try {
    for (const std::string& name : files.listDirectory(folder)) {
      files.move(folder + "/" + name, media.pathOf(name));
      moved.push_back(name);
    }
  } catch (const std::exception& error) {
    putBack();
    return store_.failWith(error);
  }
  ProjectContent wanted = *step.after;
  for (Artwork& artwork : wanted.snapshot.artworks.images) {
    if (artwork.id == id) artwork.imagePath = media.webDerivativePath(id);
  }
  if (!writeContent(wanted, *step.before, {}, {id})) {
    putBack();
    return false;
  }
  step.keptAfter.reset();
  return true;
}

bool UndoRoom::swapImage(UndoStep& step, bool undoing) {
  const std::string& id = *step.artworkId;
  std::shared_ptr<KeptFiles>& from = undoing ? step.keptBefore : step.keptAfter;
  const ProjectContent& target = undoing ? *step.before : *step.after;
  const ProjectContent& expected = undoing ? *step.after : *step.before;
  if (!from || !openProject(step.projectId) || !stillAsExpected(*content(), expected, target)) {
    return stale(step);
  }
  FilesMediaStore& media = store_.services_.media;
  FileSystem& files = media.files();
  OriginalMediaImportItem item{id, {}, {}, {}};
  for (const std::string& name : files.listDirectory(from->folder())) {
    const std::string path = from->folder() + "/" + name;
    if (name.starts_with(id + "_orig.")) {
      item.data = files.readFile(path);
      item.fileExtension = name.substr(name.find_last_of('.') + 1);
    } else if (path == from->folder() + "/" + fileNameOf(media.webDerivativePath(id))) {
      item.webDerivative = files.readFile(path);
    }
  }
  if (item.fileExtension.empty()) return stale(step);
  // The kept files go in as a replacement does: staged, swapped in, and put
  // back should the library not take them.
  OriginalMediaImportTransaction transaction = OriginalMediaImportTransaction::open(media);
  try {
    transaction.stage(item);
    transaction.commit();
  } catch (const std::exception& error) {
    transaction.rollback();
    return store_.failWith(error);
  }
  ProjectContent wanted = target;
  for (Artwork& artwork : wanted.snapshot.artworks.images) {
    if (artwork.id == id && item.webDerivative) artwork.imagePath = media.webDerivativePath(id);
  }
  if (!writeContent(wanted, expected, {}, {id})) {
    transaction.rollback();
    return false;
  }
  std::shared_ptr<KeptFiles>& other = undoing ? step.keptAfter : step.keptBefore;
  try {
    const std::string folder = newHoldingFolder();
    const std::int64_t bytes = transaction.keepReplaced(folder);
    other = std::make_shared<KeptFiles>(files, folder, bytes);
  } catch (const std::exception& error) {
    store_.services_.logger.log(std::string("app undo keep failed error=") + error.what());
    other.reset();
  }
  transaction.discard();
  from.reset();
  store_.thumbnails_->refresh();
  return true;
}

bool UndoRoom::switchProject(UndoStep& step, bool undoing) {
  const auto isIn = [](const std::vector<ProjectSummary>& list, const std::string& id) {
    return std::any_of(list.begin(), list.end(),
                       [&](const ProjectSummary& p) { return p.id == id; });
  };
  store_.settleSaves();
  store_.reloadSummaries();
  const AppState& state = store_.state_;
  const bool copied = step.kind == UndoKind::projectCopied;
  // The project that goes away on undo (the deleted one comes back instead).
  const std::string& id = copied ? step.copyId : step.projectId;
  const bool restoring = copied ? !undoing : undoing;
  if (restoring ? !isIn(state.deletedProjects, id) : !isIn(state.projects, id)) {
    return stale(step);
  }
  if (restoring) return store_.restoreProject(id) && openProject(id);
  if (!openProject(id) || !store_.deleteProject()) return false;
  return !copied || openProject(step.projectId);
}

bool UndoRoom::relinkText(UndoStep& step, bool undoing) {
  if (!openProject(step.projectId)) return stale(step);
  store_.settleSaves();
  SnapshotRepository& snapshots = store_.services_.snapshots;
  const std::string& expected = undoing ? step.assetAfter : step.assetBefore;
  if (snapshots.linkedTextAsset(step.projectId, step.textType) != expected) return stale(step);
  if (!snapshots.attachTextAsset(step.projectId, step.textType,
                                 undoing ? step.assetBefore : step.assetAfter)) {
    return stale(step);
  }
  std::optional<LoadedProject> loaded = snapshots.load(step.projectId);
  if (!loaded) return stale(step);
  store_.adopt(std::move(*loaded));
  store_.countChanges(1);
  return true;
}

bool UndoRoom::changeLabel(UndoStep& step, bool undoing) {
  LabelOverrideRepository& labels = store_.services_.labels;
  if (labels.allLabelOverrides() != (undoing ? step.labelsAfter : step.labelsBefore)) {
    return stale(step);
  }
  labels.replaceAllLabelOverrides(undoing ? step.labelsBefore : step.labelsAfter);
  store_.services_.logger.log("app documents stale reason=pdf_labels_changed");
  store_.countChanges(1);
  store_.thumbnails_->forgetLabels();
  store_.thumbnails_->refresh();
  return true;
}

// ---- The store's routes ------------------------------------------------------

bool AppStore::undo() {
  checkMainThread();
  return undo_->undo();
}

bool AppStore::redo() {
  checkMainThread();
  return undo_->redo();
}

void AppStore::fieldLeft() { undo_->history.stopCoalescing(); }

}  // namespace quorvane
