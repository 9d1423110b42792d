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
