// What a killed run leaves, and how the next run that writes puts it in
// order: the stories of a replacement cut short before and after the save.
#include "app/library_tidy.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using Names = std::vector<std::string>;

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

class LibraryTidyTest : public ::testing::Test {
 protected:
  LibraryTidyTest() {
    // The artwork as the library holds it: its web derivative is its row's
    // image, its original beside it.
    media.writeOriginal("a1", bytesOf("old original"), "png");
    saveArtworkShowing(media.writeWebDerivative("a1", bytesOf("old web")));
  }
  void saveArtworkShowing(const std::string& webPath) {
    Project project;
    project.id = "p";
    StudioSnapshot snapshot;
    Artwork artwork;
    artwork.id = "a1";
    artwork.imagePath = webPath;
    snapshot.artworks.images.push_back(artwork);
    repository.save(project, snapshot);
  }
  // What a replacement did before the process was killed: staged and
  // committed the new files.
  void replaceFilesAndDie() {
    auto transaction = OriginalMediaImportTransaction::begin(
        media, {{"a1", bytesOf("new original"), "jpg", bytesOf("new web")}});
    transaction->commit();
  }
  Names mediaNames() {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(media.directory())) {
      const std::string name = entry.path().filename().string();
      if (name != "derived_web") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string contentOf(const std::string& name) {
    const std::optional<Bytes> bytes = media.readFile(media.pathOf(name));
    return bytes ? std::string(bytes->begin(), bytes->end()) : "<none>";
  }
  TidyReport tidy(const std::vector<std::string>& folders = {}) {
    return tidyLibrary(media, repository, folders, clock, logger,
                       [this] { return "U" + std::to_string(++uuids); });
  }

  testing::TempDir dir;
  testing::ManualClock clock{millisecondsSince1970(systemClock().now())};
  testing::RecordingLogger logger;
  FilesMediaStore media{dir.file("media")};
  SQLiteSnapshotRepository repository{SQLiteDatabase(dir.file("library.sqlite")), clock};
  int uuids = 0;
};

// What a tidy did, in one line.
std::string counts(const TidyReport& report) {
  return std::to_string(report.temporaryFiles) + " temporary, " +
         std::to_string(report.transactionsUndone) + " undone, " +
         std::to_string(report.transactionsKept) + " kept, " +
         std::to_string(report.strayMediaFiles) + " stray";
}

TEST_F(LibraryTidyTest, AReplacementKilledBeforeTheSaveIsUndone) {
  replaceFilesAndDie();
  EXPECT_EQ(counts(tidy()), "0 temporary, 1 undone, 0 kept, 0 stray");
  EXPECT_EQ(mediaNames(), (Names{"a1_orig.png", "a1_web_v1.jpg"}));
  EXPECT_EQ(contentOf("a1_orig.png"), "old original");
  EXPECT_EQ(repository.imageBytes("a1"), bytesOf("old web"));
  EXPECT_EQ(contentOf("a1_web_v1.jpg"), "old web") << "the files are the row's image again";
  EXPECT_EQ(counts(tidy()), "0 temporary, 0 undone, 0 kept, 0 stray") << "done once";
}

TEST_F(LibraryTidyTest, AReplacementKilledAfterTheSaveKeepsTheNewImage) {
  replaceFilesAndDie();
  saveArtworkShowing(media.webDerivativePath("a1"));  // the save happened
  EXPECT_EQ(counts(tidy()), "0 temporary, 0 undone, 1 kept, 0 stray");
  EXPECT_EQ(mediaNames(), (Names{"a1_orig.jpg", "a1_web_v1.jpg"}));
  EXPECT_EQ(contentOf("a1_orig.jpg"), "new original");
}

TEST_F(LibraryTidyTest, AnAddKilledBeforeTheSaveLeavesNoFilesOfArtworksNeverSaved) {
  auto transaction = OriginalMediaImportTransaction::begin(
      media, {{"new", bytesOf("original"), "jpg", bytesOf("web")}});
  transaction->commit();
  EXPECT_EQ(counts(tidy()), "0 temporary, 1 undone, 0 kept, 0 stray");
  EXPECT_EQ(mediaNames(), (Names{"a1_orig.png", "a1_web_v1.jpg"}));
}

TEST_F(LibraryTidyTest, FilesOfArtworksTheLibraryDoesNotKnowAreSetAsideNeverDeleted) {
  // Say, the library was set aside as damaged, or replaced by an older copy:
  // these files are all that is left of its artworks.
  media.writeOriginal("ghost", bytesOf("the only original"), "jpg");
  media.writeWebDerivative("ghost", bytesOf("x"));
  media.writeOriginal("recent", bytesOf("x"), "jpg");
  const timeval twoHoursAgo[2] = {{::time(nullptr) - 7200, 0}, {::time(nullptr) - 7200, 0}};
  for (const char* name : {"ghost_orig.jpg", "ghost_web_v1.jpg", "a1_orig.png"}) {
    ::utimes(media.pathOf(name).c_str(), twoHoursAgo);
  }
  const TidyReport report = tidy();
  EXPECT_EQ(counts(report), "0 temporary, 0 undone, 0 kept, 2 stray");
  EXPECT_EQ(mediaNames(), (Names{"a1_orig.png", "a1_web_v1.jpg", "recent_orig.jpg"}))
      << "an hour-young file may belong to an import under way";
  ASSERT_TRUE(report.strayMediaFolder);
  EXPECT_EQ(std::filesystem::path(*report.strayMediaFolder).parent_path(), dir.path() / "Recovery");
  std::ifstream kept(*report.strayMediaFolder + "/ghost_orig.jpg");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "the only original");
}

TEST_F(LibraryTidyTest, ARollbackKilledAtAnyMomentIsFinishedAndNeverLosesTheOldImage) {
  // The moves of a replacement: two old files aside, two new ones in; then,
  // its save having failed, the rollback's: two old files back. A kill at any
  // of the rollback's moves (the web derivative comes back first), and one
  // in the next run's own rollback, must both end with the old image.
  for (int killedAt = 5; killedAt <= 7; ++killedAt) {
    for (const bool tidyDiesToo : {false, true}) {
      SCOPED_TRACE(std::to_string(killedAt) + (tidyDiesToo ? ", tidy killed too" : ""));
      {
        testing::KilledAtMove dying(killedAt);
        FilesMediaStore dyingMedia(dir.file("media"), dying);
        auto transaction = OriginalMediaImportTransaction::begin(
            dyingMedia, {{"a1", bytesOf("new original"), "jpg", bytesOf("new web")}});
        transaction->commit();
        transaction->rollback();  // the save failed; the process dies in here
      }
      if (tidyDiesToo) {
        testing::KilledAtMove dying(1);
        FilesMediaStore dyingMedia(dir.file("media"), dying);
        for (const auto& left : OriginalMediaImportTransaction::leftTransactions(media)) {
          OriginalMediaImportTransaction::rollBackLeft(dyingMedia, left);
        }
      }
      tidy();
      tidy();  // and again: nothing more happens
      EXPECT_EQ(mediaNames(), (Names{"a1_orig.png", "a1_web_v1.jpg"}));
      EXPECT_EQ(contentOf("a1_orig.png"), "old original");
      EXPECT_EQ(contentOf("a1_web_v1.jpg"), "old web");
    }
  }
}

TEST_F(LibraryTidyTest, TemporaryFilesOfEndedProcessesGoFromEveryFolderGiven) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  const std::string leftover = ".a1_orig.png.tmp-" + std::to_string(child) + "-Ab12Cd";
  std::ofstream(media.pathOf(leftover)) << "half an image";
  std::filesystem::create_directories(dir.file("config"));
  std::ofstream(dir.file("config/.preferences.json.tmp-" + std::to_string(child) + "-Xy98Zw"))
      << "{";
  EXPECT_EQ(tidy({dir.file("config")}).temporaryFiles, 2);
  EXPECT_FALSE(std::filesystem::exists(media.pathOf(leftover)));
}

}  // namespace
}  // namespace quorvane
