// The works of the open project: their words, their order, their removal
// to the Vault and their return from it. Removing an artwork from a
// project keeps it in the library (the Vault) with its files.
#include "app/app_store.h"
#include "app/save_pipeline.h"
#include "app/store/background.h"

#include <algorithm>

#include "app/store/store_helpers.h"
#include "pdf/localization.h"

namespace quorvane {

bool AppStore::updateArtwork(const std::string& artworkId, const ArtworkMetadata& given) {
  const ArtworkMetadata metadata = cleaned(given);
  if (refuseUnknownCurrency(metadata.priceCurrency)) return false;
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

}  // namespace quorvane
