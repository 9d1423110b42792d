// The store's package routes: a backup written and read back as a new
// project, and the images of an import finished, also after a stop.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_store.h"
#include "app/app_store_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::AppStoreTest;
using testing::logged;

class PackageRoutesTest : public AppStoreTest {
 protected:
  // A project of three artworks exported to a package; the path.
  std::string exportedPackage() {
    AppStore& store = open();
    store.renameProject("Tides");
    store.addImages(
        {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 30, 40), writeImage("c.png", 50, 20)});
    store.setText(SaveSection::bio, "Née à Lyon.");
    settle();
    const std::string path = dir.file("Tides.quorvane");
    EXPECT_TRUE(store.exportProjectPackage(path));
    return path;
  }
  std::vector<std::string> pending() {
    return preferences.strings(preference_key::kPendingFinalizationArtworkIds)
        .value_or(std::vector<std::string>{});
  }
};

TEST_F(PackageRoutesTest, AnExportIsRecordedAndAnImportIsANewProjectWhoseImagesAreFinished) {
  const std::string path = exportedPackage();
  AppStore& store = *this->store;
  EXPECT_EQ(store.state().backupReminderState.changesSinceLastExport, 0);
  EXPECT_TRUE(store.state().lastProjectDataExportAt);
  EXPECT_EQ(store.state().errorToast->text, "Backup exported successfully.");

  std::vector<std::string> steps;
  const std::optional<std::string> id = store.importProjectPackage(
      path, true, [&](const std::string& step) { steps.push_back(step); });
  ASSERT_TRUE(id);
  EXPECT_EQ(steps,
            (std::vector<std::string>{"Reading package...", "Importing artworks in progress...",
                                      "Importing CV/Bio in progress...", "Import complete."}));
  EXPECT_EQ(store.state().project.id, *id);
  EXPECT_EQ(store.state().errorToast->text, "Project imported.");
  EXPECT_EQ(pending().size(), 3u);
  EXPECT_FALSE(store.state().snapshot.artworks.images[0].imagePath) << "not finished yet";

  int told = 0;
  EXPECT_EQ(store.finishImportedImages([&](std::size_t, std::size_t) { ++told; }), 3u);
  EXPECT_EQ(told, 3);
  EXPECT_TRUE(pending().empty());
  for (const Artwork& artwork : store.state().snapshot.artworks.images) {
    EXPECT_EQ(artwork.imagePath, "sqlite-media://" + artwork.id) << "stored as its media row";
    EXPECT_TRUE(fs::exists(media.webDerivativePath(artwork.id)));
    EXPECT_GT(artwork.width.value_or(0), 0);
  }
  EXPECT_EQ(store.state().snapshot.artworks.images[1].height, 40) << "its upright size";
  EXPECT_FALSE(store.state().importFinalizationStatus);
}

TEST_F(PackageRoutesTest, AStopBeforeTheImagesWereFinishedIsMadeGoodByTheNextRun) {
  const std::string path = exportedPackage();
  const std::string id = *store->importProjectPackage(path, false);  // stays on "Tides"
  std::vector<std::string> left = pending();
  ASSERT_EQ(left.size(), 3u);
  left.push_back("AN-ARTWORK-SINCE-DELETED");
  preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, left);

  AppStore& next = open();  // the run that was stopped is gone; a new one starts
  EXPECT_EQ(next.finishImportedImages(), 3u);
  EXPECT_TRUE(logged(logger, "finalization resume pendingIDs count=4"));
  EXPECT_TRUE(logged(logger, "finalization resume dropped stale IDs count=1"));
  EXPECT_TRUE(pending().empty());
  ASSERT_TRUE(next.openProject(id));
  for (const Artwork& artwork : next.state().snapshot.artworks.images) {
    EXPECT_EQ(artwork.imagePath, "sqlite-media://" + artwork.id)
        << "a project not open is finished too";
  }
}

TEST_F(PackageRoutesTest, BehindAWindowTheImagesWaitWhileTheAppIsAwayOrTheMachineIsHot) {
  useImageQueue = true;
  const std::string path = exportedPackage();
  const std::string id = *store->importProjectPackage(path, true);
  AppStore& store = *this->store;

  store.applicationBecameInactive();
  store.startImportFinalization();
  ASSERT_TRUE(store.state().importFinalizationStatus);
  EXPECT_TRUE(store.state().importFinalizationStatus->isPaused);
  EXPECT_EQ(store.state().importFinalizationStatus->message,
            "Image processing is paused while Quorvane is in the background.");
  EXPECT_TRUE(logged(logger,
                     "finalization run_state pending=3 lowPower=false thermal=nominal "
                     "appActive=false override=false pauseReason="
                     "works.finalization_paused_inactive"));
  EXPECT_TRUE(logged(logger,
                     "finalization paused reason=works.finalization_paused_inactive "
                     "pending=3"));
  imageQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(pending().size(), 3u) << "nothing was made while away";

  // Back in front: one image is made, then the machine heats up. The image
  // already on its way is saved; the next waits.
  store.applicationBecameActive();
  EXPECT_FALSE(store.state().importFinalizationStatus->isPaused);
  EXPECT_FALSE(store.state().importFinalizationStatus->message);
  store.lowPowerModeChanged(true);
  EXPECT_FALSE(store.state().importFinalizationStatus->isPaused) << "low power does not pause";
  imageQueue.runUntilIdle();
  store.thermalStateChanged(ThermalState::serious);
  main.runUntilIdle();
  imageQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(pending().size(), 2u);
  EXPECT_EQ(store.state().importFinalizationStatus->done, 1u);
  EXPECT_EQ(store.state().importFinalizationStatus->message,
            "Image processing is paused while your device cools down.");
  EXPECT_TRUE(logged(logger,
                     "finalization paused reason=works.finalization_paused_thermal "
                     "pending=2"));

  store.thermalStateChanged(ThermalState::fair);
  for (int round = 0; round < 4; ++round) {
    imageQueue.runUntilIdle();
    main.runUntilIdle();
  }
  EXPECT_TRUE(pending().empty());
  EXPECT_FALSE(store.state().importFinalizationStatus) << "done, the status goes";
  EXPECT_FALSE(store.isImportFinalizationRunning());
  ASSERT_EQ(store.state().project.id, id);
  for (const Artwork& artwork : store.state().snapshot.artworks.images) {
    EXPECT_EQ(artwork.imagePath, "sqlite-media://" + artwork.id);
  }
}

TEST_F(PackageRoutesTest, AnArtworkEditedOrDeletedWhileItsImageIsMadeKeepsTheEdit) {
  useImageQueue = true;
  const std::string path = exportedPackage();
  ASSERT_TRUE(store->importProjectPackage(path, true));
  AppStore& store = *this->store;
  const std::string first = store.state().snapshot.artworks.images[0].id;
  store.startImportFinalization();  // the first image goes to the worker
  ArtworkMetadata title = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
  title.title = "Renamed meanwhile";
  ASSERT_TRUE(store.updateArtwork(first, title));
  ASSERT_TRUE(store.removeArtwork(store.state().snapshot.artworks.images[1].id));
  for (int round = 0; round < 4; ++round) {
    imageQueue.runUntilIdle();
    main.runUntilIdle();
  }
  settle();
  EXPECT_TRUE(pending().empty());
  ASSERT_EQ(store.state().snapshot.artworks.images.size(), 2u);
  const Artwork& edited = store.state().snapshot.artworks.images[0];
  EXPECT_EQ(edited.title, "Renamed meanwhile");
  EXPECT_EQ(edited.imagePath, "sqlite-media://" + first);
}

TEST_F(PackageRoutesTest, APackageThatFailsChangesNothingAndSaysWhy) {
  open();
  const std::string path = dir.file("holiday.quorvane");
  std::ofstream(path) << "not a package";
  const auto projects = store->state().projects;
  EXPECT_FALSE(store->importProjectPackage(path, true));
  EXPECT_EQ(store->lastImportFailure(), "invalidPackage");
  EXPECT_EQ(store->state().errorToast->text,
            "This file could not be imported. Please make sure it is a valid .quorvane file "
            "exported from Quorvane.");
  EXPECT_EQ(store->state().projects, projects);
  EXPECT_FALSE(store->state().isImportingProjectPackage);
  EXPECT_TRUE(logged(logger,
                     "app importProjectPackage(async) failed error=invalidPackage: "
                     "Not a zip archive"));
}

}  // namespace
}  // namespace quorvane
