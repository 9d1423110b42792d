// The works of the open project: their words, their order, their removal
// to the Vault and their return from it. Removing an artwork from a
// project keeps it in the library (the Vault) with its files.
#include "app/app_store.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"
#include "app/store/undo_room.h"

#include <algorithm>

#include "app/store/store_helpers.h"
#include "pdf/localization.h"

namespace quorvane {

namespace {

// The one field an edit changed, by name, for telling typing in a field
// from the next field's.
std::string changedField(const ArtworkMetadata& was, const ArtworkMetadata& is) {
  if (was.title != is.title) return "title";
  if (was.medium != is.medium) return "medium";
  if (was.year != is.year) return "year";
  if (was.width != is.width || was.height != is.height || was.depth != is.depth) return "size";
  if (was.text != is.text) return "text";
  if (was.status != is.status) return "status";
  if (was.priceCents != is.priceCents || was.priceCurrency != is.priceCurrency) return "price";
  return "none";
}

// The work a reordering moved, when it moved one: taking it out of both
// orders leaves them the same.
std::optional<std::string> movedArtwork(const std::vector<Artwork>& before,
                                        const std::vector<std::string>& after) {
  std::vector<std::string> was;
  for (const Artwork& artwork : before) was.push_back(artwork.id);
  const auto first = std::mismatch(was.begin(), was.end(), after.begin(), after.end());
  if (first.first == was.end()) return std::nullopt;
  for (const std::string& candidate : {*first.second, *first.first}) {
    std::vector<std::string> a = was;
    std::vector<std::string> b = after;
    std::erase(a, candidate);
    std::erase(b, candidate);
    if (a == b) return candidate;
  }
  return std::nullopt;
}

}  // namespace

bool AppStore::updateArtwork(const std::string& artworkId, const ArtworkMetadata& given) {
  const ArtworkMetadata metadata = cleaned(given);
  if (refuseUnknownCurrency(metadata.priceCurrency)) return false;
  Artwork* target = artwork(artworkId);
  if (target == nullptr) return failWithKey("app.error.no_such_artwork", {artworkId});
  // Keystrokes in one field are one step; another field starts the next.
  const std::string field = changedField(ArtworkMetadata::of(*target), metadata);
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.edit", target->title.empty() ? metadata.title : target->title,
                       SaveSection::artworks, artworkId, "artwork:" + artworkId + ":" + field));
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
  const std::optional<std::string> moved = movedArtwork(images, artworkIds);
  const Artwork* named = moved ? artwork(*moved) : nullptr;
  UndoRoom::Recording recording(
      *undo_, undoStep(named ? "undo.action.move" : "undo.action.reorder",
                       named ? named->title : std::string(), SaveSection::artworks, moved));
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
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.remove", it->title, SaveSection::artworks, artworkId));
  images.erase(it);
  if (state_.worksInspectorArtworkID == artworkId) state_.worksInspectorArtworkID.reset();
  scheduleSave(SaveSection::artworks);
  return true;
}

std::size_t AppStore::removeArtworks(const std::vector<std::string>& artworkIds) {
  const Artwork* first = artworkIds.empty() ? nullptr : artwork(artworkIds.front());
  UndoRoom::Recording recording(
      *undo_,
      artworkIds.size() == 1
          ? undoStep("undo.action.remove", first ? first->title : std::string(),
                     SaveSection::artworks, artworkIds.front())
          : undoStep("undo.action.remove_several", std::to_string(artworkIds.size()),
                     SaveSection::artworks, first ? std::optional(first->id) : std::nullopt));
  std::size_t removed = 0;
  for (const std::string& id : artworkIds) {
    if (!removeArtwork(id)) break;
    ++removed;
  }
  return removed;
}

namespace {

// `read` on the save queue, so that it reads what the saves before it
// wrote, and `done` told its result on the main executor (a failure shown,
// `done` told the empty result).
template <typename Result, typename Read, typename Done, typename Fail>
void readAfterSaves(const std::weak_ptr<AppStore*>& alive, const AppStoreServices& services,
                    Read read, Done done, Fail fail) {
  SnapshotRepository& snapshots = services.snapshots;
  runInBackground(
      alive, services.saveQueue, services.main, [&snapshots, read] { return read(snapshots); },
      [done, fail](AppStore& store, const Outcome<Result>& outcome) {
        try {
          outcome.get();
        } catch (const std::exception& failure) {
          fail(store, failure);
        }
        if (done) done(outcome.value.value_or(Result{}));
      });
}

}  // namespace

void AppStore::vaultInBackground(std::function<void(std::vector<ReusableArtworkAsset>)> done) {
  pipeline_->firePendingSaves();
  readAfterSaves<std::vector<ReusableArtworkAsset>>(
      self_, services_,
      [projectId = state_.project.id](SnapshotRepository& snapshots) {
        return snapshots.reusableArtworks(projectId);
      },
      std::move(done), [](AppStore& store, const std::exception& error) { store.failWith(error); });
}

void AppStore::libraryCountsInBackground(std::function<void(const LibraryKPIOverview&)> done) {
  pipeline_->firePendingSaves();
  readAfterSaves<LibraryKPIOverview>(
      self_, services_, [](SnapshotRepository& snapshots) { return snapshots.libraryCounts(); },
      std::move(done), [](AppStore& store, const std::exception& error) { store.failWith(error); });
}

bool AppStore::addFromVault(const std::string& artworkId) {
  if (artwork(artworkId) != nullptr)
    return failWithKey("app.error.already_in_project", {artworkId});
  std::vector<ReusableArtworkAsset> assets;
  try {
    // Pending artworks of this project must not show as still to be added.
    settleSaves();
    assets = services_.snapshots.reusableArtworks(state_.project.id);
  } catch (const std::exception& error) {
    return failWith(error);
  }
  const auto it = std::find_if(assets.begin(), assets.end(), [&](const ReusableArtworkAsset& a) {
    return a.id == artworkId || a.artwork.id == artworkId;
  });
  if (it == assets.end()) return failWithKey("app.error.not_in_vault", {artworkId});
  Artwork added = it->artwork;
  UndoRoom::Recording recording(
      *undo_, undoStep("undo.action.add_from_vault", added.title, SaveSection::artworks, added.id));
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
  // Several works added at once come back out at once.
  UndoRoom::Recording recording(
      *undo_, artworkIds.size() == 1
                  ? undoStep("undo.action.add_from_vault", {}, SaveSection::artworks, artworkIds[0])
                  : undoStep("undo.action.add_several_from_vault",
                             std::to_string(artworkIds.size()), SaveSection::artworks));
  std::size_t added = 0;
  for (const std::string& id : artworkIds) {
    if (!addFromVault(id)) break;
    ++added;
  }
  if (artworkIds.size() == 1 && added == 1) {
    recording.step().subject = artwork(artworkIds[0])->title;
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

}  // namespace quorvane
