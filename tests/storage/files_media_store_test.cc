#include "storage/files_media_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

using Names = std::vector<std::string>;

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

class FilesMediaStoreTest : public ::testing::Test {
 protected:
  // The names in a directory of the media folder, sorted.
  Names namesIn(const std::string& relative = "") {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path() / "media" / relative)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string contentOf(const std::string& name) {
    const std::optional<Bytes> bytes = store.readFile(store.pathOf(name));
    return bytes ? std::string(bytes->begin(), bytes->end()) : "<none>";
  }

  testing::TempDir dir;
  testing::FaultyFileSystem files;
  testing::RecordingLogger logger;
  FilesMediaStore store{dir.file("media"), files, logger};
};

TEST_F(FilesMediaStoreTest, FilesAreNamedByArtworkIdBesideEachOther) {
  EXPECT_EQ(namesIn(), Names{"derived_web"});
  EXPECT_EQ(namesIn("derived_web"), Names{"pdfthumb"});

  store.writeOriginal("a1", bytesOf("original"), "png");
  store.writeWebDerivative("a1", bytesOf("web"));
  store.writePrintVariant("a1", 2, bytesOf("print"));
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a1_print_v2.jpg", "a1_web_v1.jpg", "derived_web"}));
  EXPECT_EQ(contentOf("a1_orig.png"), "original");

  store.deletePrintVariant("a1", 2);
  store.deletePrintVariant("a1", 7);  // nothing there: no error
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a1_web_v1.jpg", "derived_web"}));
  EXPECT_EQ(store.readFile(store.pathOf("missing.jpg")), std::nullopt);
}

TEST_F(FilesMediaStoreTest, OriginalsAreFoundByTheIdFollowedByOrigOnly) {
  store.writeOriginal("a1", bytesOf("1"), "jpg");
  store.writeOriginal("a1", bytesOf("1"), "png");
  store.writeOriginal("a10", bytesOf("10"), "jpg");
  store.writeWebDerivative("a1", bytesOf("web"));
  EXPECT_EQ(store.originalFiles("a1"),
            (Names{store.pathOf("a1_orig.jpg"), store.pathOf("a1_orig.png")}));
  EXPECT_EQ(store.originalFiles("a10"), Names{store.pathOf("a10_orig.jpg")});
  EXPECT_TRUE(store.originalFiles("a").empty());
}

TEST_F(FilesMediaStoreTest, AFailedWriteLeavesTheOldFileWholeAndNoTemporaryFile) {
  store.writeOriginal("a1", bytesOf("old"), "jpg");
  files.failAt("write", 1);
  EXPECT_THROW(store.writeOriginal("a1", bytesOf("new"), "jpg"), std::system_error);
  EXPECT_EQ(contentOf("a1_orig.jpg"), "old");

  // The real rename fails: a directory stands where the file would go.
  std::filesystem::create_directory(dir.path() / "media" / "a2_orig.jpg");
  std::filesystem::create_directory(dir.path() / "media" / "a2_orig.jpg" / "occupied");
  EXPECT_THROW(store.writeOriginal("a2", bytesOf("new"), "jpg"), std::system_error);
  EXPECT_EQ(namesIn(), (Names{"a1_orig.jpg", "a2_orig.jpg", "derived_web"}))
      << "the temporary file is removed again";
}

TEST_F(FilesMediaStoreTest, NamesThatWouldLeaveTheFolderAreRefused) {
  EXPECT_THROW(store.writeOriginal("../escape", bytesOf("x"), "jpg"), std::invalid_argument);
  EXPECT_THROW(store.writeOriginal("a1", bytesOf("x"), "jpg/../../x"), std::invalid_argument);
  EXPECT_THROW(store.writePdfThumb("..", bytesOf("x"), "jpg"), std::invalid_argument);
  EXPECT_THROW(store.webDerivativePath(""), std::invalid_argument);
  EXPECT_EQ(namesIn(), Names{"derived_web"});
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "escape_orig.jpg"));
}

TEST_F(FilesMediaStoreTest, OneThumbnailPerKeyWhateverTheCaseOfItsExtension) {
  const std::string jpg = store.writePdfThumb("doc-cv", bytesOf("jpeg"), "jpg");
  EXPECT_EQ(store.pdfThumbPath("doc-cv"), jpg);
  const std::string webp = store.writePdfThumb("doc-cv", bytesOf("webp"), "WEBP");
  EXPECT_EQ(std::filesystem::path(webp).filename(), "doc-cv_pdfthumb_v1.webp");
  EXPECT_EQ(namesIn("derived_web/pdfthumb"), Names{"doc-cv_pdfthumb_v1.webp"});
  EXPECT_EQ(store.pdfThumbPath("doc-cv"), webp);

  store.removePdfThumbs("doc-cv");
  EXPECT_TRUE(namesIn("derived_web/pdfthumb").empty());
  EXPECT_EQ(std::filesystem::path(store.pdfThumbPath("doc-cv")).filename(),
            "doc-cv_pdfthumb_v1.jpg");
}

TEST_F(FilesMediaStoreTest, ACacheFolderRemovedBehindOurBackIsRecreated) {
  store.writePdfThumb("k", bytesOf("x"), "jpg");
  std::filesystem::remove_all(dir.path() / "media" / "derived_web");
  store.writePdfThumb("k", bytesOf("y"), "jpg");
  EXPECT_EQ(namesIn("derived_web/pdfthumb"), Names{"k_pdfthumb_v1.jpg"});
}

TEST_F(FilesMediaStoreTest, RemovingAllMediaLeavesAnEmptyStoreReadyForUse) {
  store.writeOriginal("a1", bytesOf("1"), "jpg");
  store.writeWebDerivative("a1", bytesOf("w"));
  store.writePrintVariant("a1", 1, bytesOf("p"));
  store.writePdfThumb("k", bytesOf("x"), "jpg");
  std::filesystem::create_directories(dir.path() / "media" / ".import-staging-left" / "backup");
  std::ofstream(dir.file("media/.a2_orig.png.tmp-99999999-ABCDEF")) << "half";
  store.removeOwnMedia();
  EXPECT_EQ(namesIn(), Names{"derived_web"});
  EXPECT_TRUE(namesIn("derived_web/pdfthumb").empty());
}

// The media folder made a link to the user's pictures: what is not ours
// there stays, and no link is followed.
TEST_F(FilesMediaStoreTest, RemovingAllMediaTakesOnlyOurOwnFilesAndFollowsNoLink) {
  namespace fs = std::filesystem;
  const fs::path pictures = dir.path() / "Pictures";
  fs::create_directories(pictures / "Holidays");
  std::ofstream(pictures / "holiday.jpg") << "sea";
  std::ofstream(pictures / "notes.txt") << "list";
  std::ofstream(pictures / "Holidays" / "beach.jpg") << "sand";
  std::ofstream(dir.file("diary.txt")) << "private";
  fs::remove_all(dir.path() / "media");
  fs::create_directory_symlink(pictures, dir.path() / "media");
  FilesMediaStore linked{dir.file("media"), files, logger};
  EXPECT_EQ(linked.linkTarget(), pictures.string());
  linked.writeOriginal("a1", bytesOf("1"), "jpg");
  fs::create_symlink(dir.file("diary.txt"), pictures / "a2_orig.jpg");  // named as ours
  fs::create_symlink(pictures / "Holidays", pictures / ".import-staging-x");
  linked.removeOwnMedia();
  EXPECT_EQ(namesIn(), (Names{".import-staging-x", "Holidays", "a2_orig.jpg", "derived_web",
                              "holiday.jpg", "notes.txt"}));
  EXPECT_TRUE(fs::exists(pictures / "Holidays" / "beach.jpg"));
  EXPECT_EQ(contentOf("a2_orig.jpg"), "private") << "the link and what it leads to stay";
  EXPECT_EQ(store.linkTarget(), pictures.string());
}

// --- batch import of originals ----------------------------------------------------

class OriginalImportTest : public FilesMediaStoreTest {
 protected:
  void SetUp() override {
    for (const char* id : {"a1", "a2", "a3"}) {
      store.writeOriginal(id, bytesOf(std::string("old ") + id), "png");
    }
  }
  std::vector<OriginalMediaImportItem> batch() {
    return {{"a1", bytesOf("new a1"), "jpg", {}},
            {"a2", bytesOf("new a2"), "jpg", {}},
            {"a3", bytesOf("new a3"), "jpg", {}}};
  }
};

TEST_F(OriginalImportTest, AnEmptyBatchIsNoTransactionAndCreatesNothing) {
  EXPECT_EQ(OriginalMediaImportTransaction::begin(store, {}), std::nullopt);
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}));
}

TEST_F(OriginalImportTest, ACommittedBatchReplacesEveryExtensionAndDiscardTidiesUp) {
  std::optional<OriginalMediaImportTransaction> transaction =
      OriginalMediaImportTransaction::begin(store, batch());
  ASSERT_TRUE(transaction);
  const std::string staging = std::filesystem::path(transaction->rootPath()).filename();
  EXPECT_TRUE(staging.starts_with(".import-staging-"));
  EXPECT_EQ(namesIn(staging + "/staged"), (Names{"a1_orig.jpg", "a2_orig.jpg", "a3_orig.jpg"}));

  transaction->commit();
  EXPECT_EQ(store.originalFiles("a2"), Names{store.pathOf("a2_orig.jpg")});
  EXPECT_EQ(contentOf("a2_orig.jpg"), "new a2");
  EXPECT_EQ(namesIn(staging + "/backup"), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png"}));

  transaction->discard();
  EXPECT_EQ(namesIn(), (Names{"a1_orig.jpg", "a2_orig.jpg", "a3_orig.jpg", "derived_web"}));
}

TEST_F(OriginalImportTest, AFailedMoveMidBatchPutsEverythingBack) {
  // Moves: a1 aside, a1 in, a2 aside (3: setting an original aside fails),
  // a2 in (4: putting a new one in place fails).
  for (const int failingMove : {3, 4}) {
    SCOPED_TRACE(failingMove);
    std::optional<OriginalMediaImportTransaction> transaction =
        OriginalMediaImportTransaction::begin(store, batch());
    ASSERT_TRUE(transaction);
    files.failAt("move", failingMove);
    EXPECT_THROW(transaction->commit(), std::system_error);

    EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}))
        << "the first new original is gone, the old ones are back, the staging area too";
    EXPECT_EQ(contentOf("a1_orig.png"), "old a1");
    EXPECT_EQ(contentOf("a2_orig.png"), "old a2");
    EXPECT_EQ(contentOf("a3_orig.png"), "old a3");
  }
}

TEST_F(OriginalImportTest, ARollbackAfterCommitRestoresTheOldOriginals) {
  std::optional<OriginalMediaImportTransaction> transaction =
      OriginalMediaImportTransaction::begin(store, batch());
  transaction->commit();
  transaction->rollback();  // saving the imported project failed
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}));
  EXPECT_EQ(contentOf("a3_orig.png"), "old a3");
}

TEST_F(OriginalImportTest, ReplacingOriginalsOfTheSameNameSurvivesARepeatedRollback) {
  std::optional<OriginalMediaImportTransaction> transaction = OriginalMediaImportTransaction::begin(
      store, {{"a1", bytesOf("new a1"), "png", {}}, {"a2", bytesOf("new a2"), "png", {}}});
  transaction->commit();
  EXPECT_EQ(contentOf("a1_orig.png"), "new a1");
  transaction->rollback();
  transaction->rollback();  // say, once more by a caller that saw the failure
  transaction->discard();
  EXPECT_EQ(contentOf("a1_orig.png"), "old a1");
  EXPECT_EQ(contentOf("a2_orig.png"), "old a2");
  EXPECT_THROW(transaction->commit(), std::logic_error);
}

TEST_F(OriginalImportTest, AFolderThatCannotBeListedStopsTheCommitBeforeAnythingMoves) {
  // Same names as the old originals: taken for "no files", the listing's
  // failure would let each new original replace its old one unbacked.
  std::optional<OriginalMediaImportTransaction> transaction = OriginalMediaImportTransaction::begin(
      store, {{"a1", bytesOf("new a1"), "png", {}}, {"a2", bytesOf("new a2"), "png", {}}});
  files.failAt("list", 1);  // the commit's one listing of the folder
  EXPECT_THROW(transaction->commit(), std::system_error);
  EXPECT_EQ(contentOf("a1_orig.png"), "old a1");
  EXPECT_EQ(contentOf("a2_orig.png"), "old a2");
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}));
}

TEST_F(OriginalImportTest, ARollbackThatCannotPutAFileBackKeepsItAndSaysWhere) {
  std::optional<OriginalMediaImportTransaction> transaction =
      OriginalMediaImportTransaction::begin(store, batch());
  transaction->commit();
  files.failAt("move", 1);  // the first file on its way back
  transaction->rollback();
  ASSERT_TRUE(transaction->keptFolder());
  EXPECT_EQ(*transaction->keptFolder(), transaction->rootPath());
  const std::string kept = std::filesystem::path(transaction->rootPath()).filename();
  EXPECT_EQ(contentOf(kept + "/backup/a3_orig.png"), "old a3") << "the old original is kept";
  EXPECT_EQ(contentOf("a1_orig.png"), "old a1") << "the others are back";
}

TEST_F(OriginalImportTest, ABatchWithTwoOriginalsForOneArtworkIsRefusedUntouched) {
  EXPECT_THROW(OriginalMediaImportTransaction::begin(
                   store, {{"a1", bytesOf("x"), "jpg", {}}, {"a1", bytesOf("y"), "png", {}}}),
               std::invalid_argument);
  EXPECT_THROW(OriginalMediaImportTransaction::begin(store, {{"../a1", bytesOf("x"), "jpg", {}}}),
               std::invalid_argument);
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}));
}

TEST_F(OriginalImportTest, AFailedStagingWriteLeavesNoStagingArea) {
  files.failAt("write", 2);
  EXPECT_THROW(OriginalMediaImportTransaction::begin(store, batch()), std::system_error);
  EXPECT_EQ(namesIn(), (Names{"a1_orig.png", "a2_orig.png", "a3_orig.png", "derived_web"}));
}

// --- a replaced image, and what a crash leaves ------------------------------------

class ReplacedImageTest : public FilesMediaStoreTest {
 protected:
  void SetUp() override {
    FilesMediaStore real(dir.file("media"));
    real.writeOriginal("a1", bytesOf("old original"), "png");
    real.writeWebDerivative("a1", bytesOf("old web"));
    real.writePrintVariant("a1", 1, bytesOf("old print"));
    real.writeOriginal("a2", bytesOf("other work"), "jpg");
  }
  OriginalMediaImportItem replacement() {
    return {"a1", bytesOf("new original"), "jpg", bytesOf("new web")};
  }
  const Names before{"a1_orig.png", "a1_print_v1.jpg", "a1_web_v1.jpg", "a2_orig.jpg",
                     "derived_web"};
};

TEST_F(ReplacedImageTest, TheWholeMediaSetOfTheArtworkIsReplacedAndCanBePutBack) {
  auto transaction = OriginalMediaImportTransaction::begin(store, {replacement()});
  transaction->commit();
  const std::string staging = std::filesystem::path(transaction->rootPath()).filename();
  EXPECT_EQ(namesIn(),
            (Names{staging, "a1_orig.jpg", "a1_web_v1.jpg", "a2_orig.jpg", "derived_web"}))
      << "the print derivative of the old image goes too";
  EXPECT_EQ(contentOf("a1_web_v1.jpg"), "new web");
  transaction->rollback();
  EXPECT_EQ(namesIn(), before);
  EXPECT_EQ(contentOf("a1_orig.png"), "old original");
  EXPECT_EQ(contentOf("a1_print_v1.jpg"), "old print");
}

TEST_F(ReplacedImageTest, AKillAtAnyMomentIsUndoneFromWhatItLeft) {
  // Moves, after the list is written: three files aside, two in.
  for (int killedAt = 1; killedAt <= 5; ++killedAt) {
    SCOPED_TRACE(killedAt);
    testing::KilledAtMove killed(killedAt);
    FilesMediaStore dying(dir.file("media"), killed);
    auto transaction = OriginalMediaImportTransaction::begin(dying, {replacement()});
    EXPECT_ANY_THROW(transaction->commit());  // its own rollback dies with it

    const auto left = OriginalMediaImportTransaction::leftTransactions(store);
    ASSERT_EQ(left.size(), 1u);
    ASSERT_EQ(left[0].items.size(), 1u);
    OriginalMediaImportTransaction::rollBackLeft(store, left[0]);
    EXPECT_EQ(namesIn(), before);
    EXPECT_EQ(contentOf("a1_orig.png"), "old original");
    EXPECT_EQ(contentOf("a1_web_v1.jpg"), "old web");
  }
}

TEST_F(ReplacedImageTest, AKillAfterTheSaveKeepsTheNewImage) {
  auto transaction = OriginalMediaImportTransaction::begin(store, {replacement()});
  transaction->commit();  // … the database is saved, and the process dies
  const auto left = OriginalMediaImportTransaction::leftTransactions(store);
  ASSERT_EQ(left.size(), 1u);
  OriginalMediaImportTransaction::finishLeft(store, left[0]);
  EXPECT_EQ(namesIn(), (Names{"a1_orig.jpg", "a1_web_v1.jpg", "a2_orig.jpg", "derived_web"}));
}

TEST_F(ReplacedImageTest, AStagingAreaWithoutItsListNeverMovedAnything) {
  auto transaction = OriginalMediaImportTransaction::open(store);
  transaction.stage(replacement());  // killed before the commit
  const auto left = OriginalMediaImportTransaction::leftTransactions(store);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_TRUE(left[0].items.empty());
  OriginalMediaImportTransaction::rollBackLeft(store, left[0]);
  EXPECT_EQ(namesIn(), before);
}

TEST(MediaFileNameTest, TellsWhoseFileItIs) {
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("A1-B2_orig.heic"), "A1-B2");
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("a1_web_v1.jpg"), "a1");
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("a1_print_v12.jpg"), "a1");
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("a1_print_vx.jpg"), std::nullopt);
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("a1_orig."), std::nullopt);
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile("derived_web"), std::nullopt);
  EXPECT_EQ(FilesMediaStore::artworkOfMediaFile(".import-staging-X"), std::nullopt);
}

}  // namespace
}  // namespace quorvane
