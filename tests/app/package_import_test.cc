#include "app/package_import.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "images/test_images.h"
#include "storage/sql_helpers.h"
#include "storage/sqlite_snapshot_repository.h"
#include "support/fakes.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

// The media folder's names, sorted, without its cache folder.
std::vector<std::string> listing(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = fs::relative(entry.path(), folder);
    if (!name.starts_with("derived_web")) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class PackageImportTest : public ::testing::Test {
 protected:
  PackageImportTest() {
    // A package of a project with two artworks, one with its original.
    fs::create_directories(dir.file("elsewhere"));
    const auto jpeg = testing::encodedImage(".jpg", 40, 30);
    std::ofstream(dir.file("elsewhere/A1_orig.jpg"), std::ios::binary)
        .write(reinterpret_cast<const char*>(jpeg->data()),
               static_cast<std::streamsize>(jpeg->size()));
    PackageExport input;
    input.project.id = "P1";
    input.project.projectName = "  Tides\nand\t shores  ";
    input.snapshot.biography = "Née à Lyon.";
    for (const char* id : {"A1", "A2"}) {
      Artwork artwork;
      artwork.id = id;
      artwork.title = std::string("Work ") + id;
      input.snapshot.artworks.images.push_back(artwork);
    }
    Document document;
    document.id = "D1";
    document.projectId = "P1";
    input.snapshot.documents = {document};
    input.snapshot.documentArtworkLinks = {{"L1", "D1", "A2", 0}};
    input.labelOverrides = {{"portfolio", "fr", "pdf.toc.artworks", "Œuvres choisies"},
                            {"cv", "fr", "pdf.cv.section.education", "Formation"},
                            {"cv", "de", "pdf.cv.section.education", "Studium"}};
    input.originals = {{"A1", {dir.file("elsewhere/A1_orig.jpg"), jpeg->size()}}};
    QuorvaneTransferService().exportPackage(input, packagePath, dateFromSeconds(1'740'821'400),
                                            false);

    // The library: one override of the user's own, one cleared.
    repository.upsertLabelOverride({"portfolio", "fr", "pdf.toc.artworks", "Mes œuvres"});
    repository.upsertLabelOverride({"cv", "fr", "pdf.cv.section.education", ""});
  }

  MergedPackage import() {
    OpenedPackage opened = QuorvaneTransferService().openPackage(packagePath);
    return mergeIntoLibrary(opened, services, {}, "Imported project");
  }
  std::string dump() {
    return repository.withDatabase([](SQLiteDatabase& db) { return testing::dumpDatabase(db); });
  }

  testing::TempDir dir;
  const std::string packagePath = dir.file("Tides.quorvane");
  testing::ManualClock clock;
  testing::FaultyFileSystem files;
  SQLiteSnapshotRepository repository{SQLiteDatabase(dir.file("lib.sqlite")), clock};
  FilesMediaStore media{dir.file("media"), files};
  ImageOptimizer optimizer;
  int uuids = 0;
  PackageMergeServices services{repository,   repository,
                                media,        optimizer,
                                nullLogger(), [this] { return "NEW-" + std::to_string(++uuids); }};
};

TEST_F(PackageImportTest, APackageBecomesANewProjectWithFreshIdsEveryTime) {
  const MergedPackage first = import();
  const MergedPackage second = import();
  EXPECT_NE(first.project.id, second.project.id);
  EXPECT_EQ(first.project.projectName, "Tides and shores") << "one line, single spaces";
  EXPECT_EQ(repository.projectSummaries().size(), 2u);

  const LoadedProject loaded = *repository.load(first.project.id);
  ASSERT_EQ(loaded.snapshot.artworks.images.size(), 2u);
  const std::string a1 = loaded.snapshot.artworks.images[0].id;
  const std::string a2 = loaded.snapshot.artworks.images[1].id;
  EXPECT_EQ(loaded.snapshot.artworks.images[0].title, "Work A1");
  EXPECT_NE(a1, "A1");
  EXPECT_EQ(loaded.snapshot.biography, "Née à Lyon.");
  ASSERT_EQ(loaded.snapshot.documentArtworkLinks.size(), 1u);
  EXPECT_EQ(loaded.snapshot.documentArtworkLinks[0].artworkId, a2) << "references rewritten";
  EXPECT_EQ(loaded.snapshot.documents[0].projectId, first.project.id);
  EXPECT_EQ(first.pendingArtworkIds, std::vector<std::string>{a1});
  EXPECT_TRUE(fs::exists(dir.file("media/" + a1 + "_orig.jpg")));

  const LoadedProject other = *repository.load(second.project.id);
  EXPECT_EQ(other.snapshot.biography, loaded.snapshot.biography);
  EXPECT_NE(other.snapshot.artworks.images[0].id, a1);

  // The user's own text stays; a cleared one and a new one come in.
  EXPECT_EQ(repository.labelOverride("portfolio", "fr", "pdf.toc.artworks"), "Mes œuvres");
  EXPECT_EQ(repository.labelOverride("cv", "fr", "pdf.cv.section.education"), "Formation");
  EXPECT_EQ(repository.labelOverride("cv", "de", "pdf.cv.section.education"), "Studium");
}

TEST_F(PackageImportTest, AnImportTellsItsProgressOriginalByOriginal) {
  OpenedPackage opened = QuorvaneTransferService().openPackage(packagePath);
  std::vector<TransferProgress> told;
  mergeIntoLibrary(opened, services, {}, "Imported project",
                   [&](const TransferProgress& progress) { told.push_back(progress); });
  ASSERT_EQ(told.size(), 1u) << "one original in the package";
  const std::uint64_t size = fs::file_size(dir.file("elsewhere/A1_orig.jpg"));
  EXPECT_EQ(told[0], (TransferProgress{size, size, 1, 1}));
}

TEST_F(PackageImportTest, NamesAreOneLineOfAtMost80Characters) {
  EXPECT_EQ(normalizedImportedName("a\n\nb\t c ", "x"), "a b c");
  EXPECT_EQ(normalizedImportedName(" \n\t ", "Imported project"), "Imported project");
  std::string long_;
  for (int i = 0; i < 100; ++i) long_ += "é";
  EXPECT_EQ(normalizedImportedName(long_, "x").size(), 160u) << "80 characters of two bytes";
}

// The file system failing at every moment of an import in turn: each time
// the library and the media folder are exactly as before.
TEST_F(PackageImportTest, AFailureAtAnyStepLeavesTheLibraryAndTheMediaFolderAsTheyWere) {
  import();  // something already there
  int failures = 0;
  for (const char* operation :
       {"write", "move", "createDirectories", "createDirectory", "list", "exists", "remove"}) {
    std::string databaseBefore = dump();
    std::vector<std::string> mediaBefore = listing(dir.file("media"));
    for (int n = 1; n < 60; ++n) {
      files.failAt(operation, n);
      try {
        import();
      } catch (const std::exception& error) {
        ++failures;
        EXPECT_EQ(dump(), databaseBefore) << operation << " #" << n << ": " << error.what();
        EXPECT_EQ(listing(dir.file("media")), mediaBefore) << operation << " #" << n;
        continue;
      }
      break;  // one import makes fewer such calls: it went through
    }
  }
  files.failAt("", 0);
  EXPECT_GT(failures, 5);
}

TEST_F(PackageImportTest, ALibraryThatCannotTakeTheProjectGetsNoneOfItsFiles) {
  struct FullDisk final : AtomicProjectImportRepository {
    SavedProject saveImportedProject(const Project&, const StudioSnapshot&,
                                     const std::vector<LabelOverrideEntry>&) override {
      throw std::system_error(ENOSPC, std::generic_category(), "disk full");
    }
  } full;
  const std::vector<std::string> mediaBefore = listing(dir.file("media"));
  const std::string databaseBefore = dump();
  OpenedPackage opened = QuorvaneTransferService().openPackage(packagePath);
  EXPECT_THROW(mergeIntoLibrary(opened,
                                PackageMergeServices{full, repository, media, optimizer,
                                                     nullLogger(), services.makeUuid},
                                {}, "x"),
               std::system_error);
  EXPECT_EQ(listing(dir.file("media")), mediaBefore) << "the originals went again";
  EXPECT_EQ(dump(), databaseBefore);
}

}  // namespace
}  // namespace quorvane
