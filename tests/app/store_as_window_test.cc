// The store driven as a window drives it: for hours, from one thread that
// must never wait, with work running beside it and views that update only
// what changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <thread>

#include "app/app_store.h"
#include "app/app_store_fixture.h"
#include "app/export_job.h"
#include "app/image_intake_job.h"
#include "app/waiting_commands.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;
using testing::mediaNames;
using Kind = ArtworkRowChange::Kind;

// Applies the steps of an update to the list as it was, as a list model
// would, and returns the ids as they then are.
std::vector<std::string> applied(std::vector<std::string> rows,
                                 const std::vector<ArtworkRowChange>& steps) {
  for (const ArtworkRowChange& step : steps) {
    switch (step.kind) {
      case Kind::removed:
        EXPECT_EQ(rows.at(step.from), step.artworkId);
        rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(step.from));
        break;
      case Kind::inserted:
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(step.to), step.artworkId);
        break;
      case Kind::moved:
        EXPECT_EQ(rows.at(step.from), step.artworkId);
        rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(step.from));
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(step.to), step.artworkId);
        break;
      case Kind::changed:
        EXPECT_EQ(rows.at(step.to), step.artworkId);
        break;
    }
  }
  return rows;
}

std::vector<Artwork> artworksWithIds(const std::vector<std::string>& ids) {
  std::vector<Artwork> artworks;
  for (const std::string& id : ids) {
    Artwork artwork;
    artwork.id = id;
    artworks.push_back(artwork);
  }
  return artworks;
}

TEST(ArtworkRowChangesTest, AppliedInOrderTheStepsTurnTheOldListIntoTheNew) {
  std::mt19937 random(20261123);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::string> before;
    std::vector<std::string> after;
    for (int i = 0; i < 12; ++i) {
      const std::string id = "a" + std::to_string(i);
      if (random() % 4 != 0) before.push_back(id);
      if (random() % 4 != 0) after.push_back(id);
    }
    std::shuffle(before.begin(), before.end(), random);
    std::shuffle(after.begin(), after.end(), random);
    const auto steps = artworkRowChanges(artworksWithIds(before), artworksWithIds(after));
    ASSERT_EQ(applied(before, steps), after) << "round " << round;
  }
  std::vector<Artwork> edited = artworksWithIds({"a", "b"});
  edited[1].title = "Tide";
  EXPECT_EQ(artworkRowChanges(artworksWithIds({"a", "b"}), edited),
            (std::vector<ArtworkRowChange>{{Kind::changed, "b", 0, 1}}));
  EXPECT_TRUE(artworkRowChanges(edited, edited).empty());
}

class StoreAsWindowTest : public AppStoreTest {
 protected:
  // The store goes first: its observers point into this fixture.
  ~StoreAsWindowTest() override {
    if (store) store->quit();
    store.reset();
  }
  std::vector<std::string> tenImages() {
    std::vector<std::string> paths;
    for (int i = 0; i < 10; ++i) paths.push_back(writeImage(std::to_string(i) + ".jpg", 64, 48));
    return paths;
  }
  std::vector<std::string> artworkIds() {
    std::vector<std::string> ids;
    for (const Artwork& artwork : store->state().snapshot.artworks.images)
      ids.push_back(artwork.id);
    return ids;
  }
  // Every step the observers were told, and the areas.
  void watch() {
    store->observeChanges([this](const StoreChanges& changes) {
      masks |= changes.mask;
      rows.insert(rows.end(), changes.artworkRows.begin(), changes.artworkRows.end());
    });
  }
  std::uint32_t masks = 0;
  std::vector<ArtworkRowChange> rows;
};

TEST_F(StoreAsWindowTest, ImagesArriveOneByOneWhileTheStoreTakesOtherCommandsAndACancelKeepsThem) {
  AppStore& store = open();
  store.renameProject("Atlas");
  settle();
  watch();
  std::vector<std::size_t> progress;
  std::optional<std::vector<ImageAddResult>> results;
  const auto job = store.addImagesInBackground(
      tenImages(), [&](std::size_t done, std::size_t) { progress.push_back(done); },
      [&](const std::vector<ImageAddResult>& r) { results = r; });
  ASSERT_TRUE(job);
  main.runUntilIdle();
  EXPECT_TRUE(store.state().snapshot.artworks.images.empty()) << "nothing was read on main";

  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(imageQueue.runOne());
    main.runUntilIdle();
    // The window goes on working between images.
    EXPECT_TRUE(store.setText(SaveSection::bio, "Draft " + std::to_string(i)));
  }
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 4u);
  ASSERT_TRUE(imageQueue.runOne());  // the fifth is prepared; the user cancels
  job->cancel();
  imageQueue.runUntilIdle();
  main.runUntilIdle();
  settle();

  ASSERT_TRUE(results);
  ASSERT_EQ(results->size(), 10u);
  const std::vector<std::string> kept = artworkIds();
  ASSERT_EQ(kept.size(), 4u);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ((*results)[i].artworkId.has_value(), i < 4) << i;
    if (i >= 4) {
      EXPECT_EQ((*results)[i].message, "Not added: adding the images was cancelled.");
    }
  }
  EXPECT_EQ(progress, (std::vector<std::size_t>{1, 2, 3, 4}));
  EXPECT_EQ(store.state().snapshot.biography, "Draft 3");
  EXPECT_EQ(sql("SELECT count(*) FROM project_artworks"), "4");
  std::vector<std::string> files;
  for (const std::string& id : kept) {
    files.push_back(id + "_orig.jpg");
    files.push_back(id + "_web_v1.jpg");
  }
  std::sort(files.begin(), files.end());
  EXPECT_EQ(mediaNames(media), files) << "no file of the cancelled images, staged or not";

  std::vector<ArtworkRowChange> inserted;
  for (std::size_t i = 0; i < kept.size(); ++i) inserted.push_back({Kind::inserted, kept[i], 0, i});
  EXPECT_EQ(rows, inserted) << "one row inserted per image, as it came";
  EXPECT_TRUE(masks & static_cast<std::uint32_t>(StoreArea::texts));
}

TEST_F(StoreAsWindowTest, ImagesStillComingWhenAnotherProjectIsOpenedAreNotAddedToIt) {
  AppStore& store = open();
  store.renameProject("First");
  const std::string first = store.state().project.id;
  std::optional<std::vector<ImageAddResult>> results;
  store.addImagesInBackground({writeImage("a.jpg", 40, 30), writeImage("b.jpg", 40, 30)}, {},
                              [&](const std::vector<ImageAddResult>& r) { results = r; });
  ASSERT_TRUE(imageQueue.runOne());
  main.runUntilIdle();
  store.createProject(testing::named("Second"));
  imageQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(results);
  EXPECT_TRUE((*results)[0].artworkId);
  EXPECT_FALSE((*results)[1].artworkId);
  EXPECT_TRUE(store.state().snapshot.artworks.images.empty());
  EXPECT_TRUE(openProject(store, first));
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 1u);
  EXPECT_EQ(mediaNames(media).size(), 2u) << "the second image left nothing";
}

TEST_F(StoreAsWindowTest, ObserversAreToldWhichRowsWereInsertedMovedRemovedAndChanged) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 40, 30),
                    writeImage("c.jpg", 40, 30)});
  const std::vector<std::string> ids = artworkIds();
  watch();
  store.reorderArtworks({ids[2], ids[0], ids[1]});
  EXPECT_EQ(rows, (std::vector<ArtworkRowChange>{{Kind::moved, ids[2], 2, 0}}));
  EXPECT_FALSE(masks & static_cast<std::uint32_t>(StoreArea::texts));

  rows.clear();
  store.removeArtwork(ids[0]);
  EXPECT_EQ(rows, (std::vector<ArtworkRowChange>{{Kind::removed, ids[0], 1, 0}}));

  rows.clear();
  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[1]);
  metadata.title = "Tide";
  store.updateArtwork(ids[1], metadata);
  EXPECT_EQ(rows, (std::vector<ArtworkRowChange>{{Kind::changed, ids[1], 0, 1}}));

  rows.clear();
  masks = 0;
  store.setText(SaveSection::bio, "Born in Lyon.");
  EXPECT_TRUE(rows.empty());
  EXPECT_TRUE(masks & static_cast<std::uint32_t>(StoreArea::texts));
  EXPECT_FALSE(masks & static_cast<std::uint32_t>(StoreArea::artworks));
}

TEST_F(StoreAsWindowTest, AnExportCancelledHalfWayLeavesNothingAtItsDestination) {
  AppStore& store = open();
  std::vector<std::string> paths;
  for (int i = 0; i < 6; ++i) paths.push_back(writeImage(std::to_string(i) + ".jpg", 64, 48));
  addImages(store, paths);
  const std::string folder = dir.file("out");
  std::filesystem::create_directory(folder);
  const std::string path = folder + "/portfolio.pdf";

  // An export left alone is written, its progress told on the main executor.
  std::vector<std::size_t> pages;
  std::optional<std::vector<PdfWarning>> warnings;
  bool told = false;
  store.exportPDFInBackground(
      {RenderKind::portfolio, {}}, store.state().exportOptions, path,
      [&](std::size_t done, std::size_t) { pages.push_back(done); },
      [&](const auto& result) {
        told = true;
        warnings = result;
      });
  EXPECT_FALSE(std::filesystem::exists(path));
  pdfQueue.runUntilIdle();
  EXPECT_TRUE(pages.empty()) << "progress reaches the window on its own thread";
  main.runUntilIdle();
  EXPECT_TRUE(told && warnings);
  EXPECT_EQ(pages, (std::vector<std::size_t>{1, 2, 3, 4, 5, 6}));
  ASSERT_TRUE(std::filesystem::exists(path));
  std::filesystem::remove(path);

  // The user cancels while the third image is being read.
  std::shared_ptr<ExportJob> job;
  int originals = 0;
  mediaFiles.onRead = [&](const std::string& file) {
    if (file.find("_orig") != std::string::npos && ++originals == 3) job->cancel();
  };
  told = false;
  const auto errorsBefore = store.state().lastErrorMessage;
  job = store.exportPDFInBackground({RenderKind::portfolio, {}}, store.state().exportOptions, path,
                                    {}, [&](const auto& result) {
                                      told = true;
                                      warnings = result;
                                    });
  pdfQueue.runUntilIdle();
  main.runUntilIdle();
  mediaFiles.onRead = {};
  EXPECT_TRUE(told);
  EXPECT_FALSE(warnings);
  EXPECT_TRUE(std::filesystem::is_empty(folder)) << "no file, not even a temporary one";
  EXPECT_EQ(store.state().lastErrorMessage, errorsBefore) << "a cancel is no error";
}

TEST_F(StoreAsWindowTest, ThePlatformsNotificationsSaveNowAndFreeMemory) {
  AppStore& store = open();
  store.renameProject("Atlas");
  settle();
  store.setText(SaveSection::bio, "Written before the window lost the focus.");
  store.applicationBecameInactive();
  saveQueue.runUntilIdle();  // no time passes: the save was handed over at once
  EXPECT_EQ(sql("SELECT count(*) FROM text_assets WHERE content LIKE 'Written before%'"), "1");

  store.renderPDF({RenderKind::bio, {}}, store.state().exportOptions);
  store.renderPDF({RenderKind::bio, {}}, store.state().exportOptions);
  EXPECT_EQ(renderer->cacheHits(), 1u);
  store.memoryPressure();
  store.renderPDF({RenderKind::bio, {}}, store.state().exportOptions);
  EXPECT_EQ(renderer->cacheHits(), 1u) << "rendered again: the cache was let go";
}

TEST_F(StoreAsWindowTest, ThePublishedStateIsTouchedOnlyOnTheMainThread) {
  AppStore& store = open();
  bool refused = false;
  std::thread other([&] {
    try {
      store.dismissToast();
    } catch (const std::logic_error&) {
      refused = true;
    }
  });
  other.join();
  EXPECT_TRUE(refused);
}

TEST_F(StoreAsWindowTest, SwitchingProjectsAndOpeningTheVaultNeverWaitOnTheMainThread) {
  AppStore& store = open();
  store.renameProject("First");
  addImages(store, {writeImage("a.jpg", 40, 30)});
  settle();
  const std::string first = store.state().project.id;
  const std::string artwork = artworkIds()[0];
  const std::string second = *store.createProject(testing::named("Second"));
  settle();
  ASSERT_TRUE(openProject(store, first));

  store.removeArtwork(artwork);  // its save is pending
  std::optional<std::vector<ReusableArtworkAsset>> vault;
  store.vaultInBackground([&](std::vector<ReusableArtworkAsset> found) { vault = found; });
  main.runUntilIdle();
  EXPECT_FALSE(vault) << "read on the save queue, after the save";
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(vault);
  ASSERT_EQ(vault->size(), 1u);
  EXPECT_EQ((*vault)[0].artwork.id, artwork);

  store.setText(SaveSection::bio, "Written in the first project.");
  std::optional<bool> opened;
  store.openProjectInBackground(second, [&](bool ok) { opened = ok; });
  main.runUntilIdle();
  EXPECT_EQ(store.state().project.id, first) << "still the first, and free to take commands";
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(opened, true);
  EXPECT_EQ(store.state().project.id, second);
  EXPECT_EQ(preferences.string(preference_key::kCurrentProjectId), second);
  EXPECT_EQ(sql("SELECT count(*) FROM text_assets WHERE content = 'Written in the first project.'"),
            "1");

  store.openProjectInBackground("no-such-project", [&](bool ok) { opened = ok; });
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(opened, false);
  EXPECT_EQ(store.state().project.id, second);
  EXPECT_EQ(store.state().lastErrorMessage, "There is no project with the id no-such-project.");
}

// A view that calls a command while it is told of a change (as a selection
// model does when its rows go) must not make the other views hear of the
// second change before the first.
TEST_F(StoreAsWindowTest, ACommandFromAnObserverIsToldAfterTheChangeInProgress) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200)});
  main.runUntilIdle();
  const std::string removed = store.state().snapshot.artworks.images[0].id;
  bool inspected = false;
  const std::size_t inspector = store.observeChanges([&](const StoreChanges& changes) {
    if (changes.has(StoreArea::artworks) && !inspected) {
      inspected = true;
      store.setWorksInspectorArtwork(store.state().snapshot.artworks.images[0].id);
    }
  });
  std::vector<StoreChanges> told;
  const std::size_t view =
      store.observeChanges([&](const StoreChanges& changes) { told.push_back(changes); });
  ASSERT_TRUE(store.removeArtwork(removed));
  ASSERT_GE(told.size(), 2u);
  EXPECT_TRUE(told[0].has(StoreArea::artworks));
  ASSERT_EQ(told[0].artworkRows.size(), 1u);
  EXPECT_EQ(told[0].artworkRows[0].artworkId, removed);
  EXPECT_FALSE(told[0].has(StoreArea::background)) << "the inspector's change comes next";
  EXPECT_TRUE(told[1].has(StoreArea::background));
  EXPECT_TRUE(told[1].artworkRows.empty());
  store.stopObserving(inspector);  // they watch this test's locals
  store.stopObserving(view);
}

}  // namespace
}  // namespace quorvane
