// The store's package routes: a backup written and read back as a new
// project, and the images of an import finished, also after a stop.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "app/app_store.h"
#include "app/app_store_fixture.h"
#include "app/system_conditions_watch.h"
#include "app/waiting_commands.h"
#include "storage/sql_helpers.h"

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
    addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 30, 40),
                      writeImage("c.png", 50, 20)});
    store.setText(SaveSection::bio, "Née à Lyon.");
    settle();
    const std::string path = dir.file("Tides.quorvane");
    EXPECT_TRUE(exportProjectPackage(store, path));
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
  const std::optional<std::string> id = importProjectPackage(
      store, path, true, [&](const std::string& step) { steps.push_back(step); });
  ASSERT_TRUE(id);
  EXPECT_EQ(steps,
            (std::vector<std::string>{"Reading package...", "Importing artworks in progress...",
                                      "Importing CV/Bio in progress...", "Import complete."}));
  EXPECT_EQ(store.state().project.id, *id);
  EXPECT_EQ(store.state().errorToast->text, "Project imported.");
  EXPECT_EQ(pending().size(), 3u);
  EXPECT_FALSE(store.state().snapshot.artworks.images[0].imagePath) << "not finished yet";

  int told = 0;
  EXPECT_EQ(finishImportedImages(store, [&](std::size_t, std::size_t) { ++told; }), 3u);
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
  const std::string id = *importProjectPackage(*store, path, false);  // stays on "Tides"
  std::vector<std::string> left = pending();
  ASSERT_EQ(left.size(), 3u);
  left.push_back("AN-ARTWORK-SINCE-DELETED");
  preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, left);

  AppStore& next = open();  // the run that was stopped is gone; a new one starts
  EXPECT_EQ(finishImportedImages(next), 3u);
  EXPECT_TRUE(logged(logger, "finalization resume pendingIDs count=4"));
  EXPECT_TRUE(pending().empty());
  ASSERT_TRUE(openProject(next, id));
  for (const Artwork& artwork : next.state().snapshot.artworks.images) {
    EXPECT_EQ(artwork.imagePath, "sqlite-media://" + artwork.id)
        << "a project not open is finished too";
  }
}

// A command finishes leftover images in a slice after its own work: what
// the slice leaves waits for the next; an import during a window's run is
// finished by a run of its own, never forgotten.
TEST_F(PackageRoutesTest, ImagesLeftByARunCutShortOrImportedDuringARunAreAllFinished) {
  const std::string path = exportedPackage();
  ASSERT_TRUE(importProjectPackage(*store, path, false));
  EXPECT_EQ(finishImportedImages(*store, {}, Milliseconds(0)), 0u) << "no time: none made";
  EXPECT_EQ(store->importImagesAwaiting(), 3u);
  AppStore& store = open();
  store.startImportFinalization();
  imageQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(store.state().importFinalizationStatus->done, 1u);
  ASSERT_TRUE(importProjectPackage(store, path, false));  // three more, while the run goes on
  EXPECT_EQ(store.importImagesAwaiting(), 6u);
  for (int round = 0; round < 10; ++round) {
    imageQueue.runUntilIdle();
    main.runUntilIdle();
  }
  EXPECT_EQ(store.importImagesAwaiting(), 0u);
  EXPECT_FALSE(store.isImportFinalizationRunning());
  EXPECT_EQ(sql("SELECT COUNT(*) FROM artworks WHERE id NOT IN (SELECT artworkId FROM media)"),
            "0");
}

TEST_F(PackageRoutesTest, BehindAWindowTheImagesWaitWhileTheAppIsAwayOrTheMachineIsHot) {
  const std::string path = exportedPackage();
  const std::string id = *importProjectPackage(*store, path, true);
  AppStore& store = *this->store;

  store.applicationBecameInactive();
  store.startImportFinalization();
  ASSERT_TRUE(store.state().importFinalizationStatus);
  EXPECT_TRUE(store.state().importFinalizationStatus->isPaused);
  EXPECT_EQ(store.state().importFinalizationStatus->message,
            "Image processing is paused while Quorvane is in the background.");
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
  EXPECT_EQ(repository->artworksAwaitingImages(pending()).size(), 2u) << "one is in the library";
  EXPECT_EQ(store.state().importFinalizationStatus->done, 1u);
  EXPECT_EQ(store.state().importFinalizationStatus->message,
            "Image processing is paused while your device cools down.");

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

// Nothing tells a Linux program that the machine heats up or cools down:
// the window looks every half-minute, and the images wait or go on by
// themselves, whatever the machine was like at start.
TEST_F(PackageRoutesTest, TheMachinesHeatIsWatchedWhileTheWindowIsOpen) {
  const std::string path = exportedPackage();
  ASSERT_TRUE(importProjectPackage(*store, path, true));
  AppStore& store = *this->store;
  ThermalState heat = ThermalState::critical;  // hot at launch
  int looks = 0;
  SystemConditionsWatch watch(store, main,
                              {[&] {
                                 ++looks;
                                 return heat;
                               },
                               [] { return false; }});
  store.startImportFinalization();
  const auto settleImages = [&] {
    for (int round = 0; round < 4; ++round) {
      imageQueue.runUntilIdle();
      main.runUntilIdle();
    }
  };
  settleImages();
  EXPECT_TRUE(store.state().importFinalizationStatus->isPaused);
  EXPECT_EQ(pending().size(), 3u);

  heat = ThermalState::nominal;  // cooled down: goes on by itself at the next look
  main.advanceBy(SystemConditionsWatch::kDefaultInterval);
  imageQueue.runUntilIdle();     // one image made, the next sent off…
  heat = ThermalState::serious;  // …then the machine heats up again
  main.advanceBy(SystemConditionsWatch::kDefaultInterval);
  settleImages();
  EXPECT_TRUE(store.state().importFinalizationStatus->isPaused);
  EXPECT_EQ(store.state().importFinalizationStatus->done, 2u) << "the one on its way is kept";
  EXPECT_EQ(pending().size(), 3u) << "the list is written when the run ends";
  EXPECT_EQ(std::count_if(logger.lines.begin(), logger.lines.end(),
                          [](const std::string& line) {
                            return line.starts_with("finalization paused reason=");
                          }),
            2)
      << "the store is told of changes only, not of every look";

  heat = ThermalState::fair;
  main.advanceBy(SystemConditionsWatch::kDefaultInterval);
  settleImages();
  EXPECT_TRUE(pending().empty());
  EXPECT_FALSE(store.state().importFinalizationStatus);
  EXPECT_EQ(looks, 4);
}

TEST_F(PackageRoutesTest, AnArtworkEditedOrDeletedWhileItsImageIsMadeKeepsTheEdit) {
  const std::string path = exportedPackage();
  ASSERT_TRUE(importProjectPackage(*store, path, true));
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

TEST_F(PackageRoutesTest, OneImportAtATime) {
  const std::string path = exportedPackage();
  const auto projects = store->state().projects.size();
  std::optional<std::string> second = "not tried";
  std::optional<std::string> said;
  const std::optional<std::string> first =
      importProjectPackage(*store, path, false, [&](const std::string&) {
        if (second != "not tried") return;
        second = importProjectPackage(*store, path, false);
        said = store->state().lastErrorMessage;
      });
  ASSERT_TRUE(first);
  EXPECT_FALSE(second) << "refused while the first was under way";
  EXPECT_EQ(said, "An import is already in progress.");
  EXPECT_EQ(store->state().projects.size(), projects + 1);
}

TEST_F(PackageRoutesTest, BehindAWindowAPackageIsWrittenAndReadOffTheMainThreadStepByStep) {
  AppStore& store = open();
  store.renameProject("Tides");
  addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 30, 40)});
  store.setText(SaveSection::bio, "Née à Lyon.");  // still in its debounce
  std::vector<std::string> toasts;
  const std::size_t token = store.observe([&] {
    const auto& toast = store.state().errorToast;
    if (toast && (toasts.empty() || toasts.back() != toast->text)) toasts.push_back(toast->text);
  });

  const std::string path = dir.file("Tides.quorvane");
  std::optional<std::uint64_t> written;
  std::vector<TransferProgress> progress;
  store.exportProjectPackageInBackground(
      path, {}, [&](const TransferProgress& at) { progress.push_back(at); },
      [&](const std::optional<WrittenPackage>& package) {
        if (package) written = package->bytes;
      });
  EXPECT_FALSE(written) << "the originals are copied on the save queue";
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(written);
  EXPECT_EQ(*written, fs::file_size(path));
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ(progress.back().artworks, 2u);

  const std::string first = store.state().project.id;
  store.setText(SaveSection::statement, "Written just before.");  // pending when the import starts
  std::optional<std::string> imported = "not yet";
  ASSERT_TRUE(store.importProjectPackageInBackground(
      {.path = path, .done = [&](const std::optional<std::string>& id) { imported = id; }}));
  EXPECT_TRUE(store.state().isImportingProjectPackage);
  EXPECT_EQ(toasts.back(), "Reading package...");
  EXPECT_EQ(imported, "not yet");
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(imported && *imported != "not yet");
  EXPECT_FALSE(store.state().isImportingProjectPackage);
  EXPECT_EQ(store.state().project.id, *imported);
  EXPECT_EQ(store.state().snapshot.biography, "Née à Lyon.");
  EXPECT_EQ(store.state().snapshot.artworks.images.size(), 2u);
  // Its images are being finished, in the background, without being asked.
  EXPECT_EQ(pending().size(), 2u);
  EXPECT_TRUE(store.isImportFinalizationRunning());
  // The edit pending in the project left behind was written first.
  EXPECT_EQ(sql("SELECT COUNT(*) FROM text_assets WHERE content = 'Written just before.'"), "1");
  EXPECT_NE(first, *imported);
  store.stopObserving(token);
}

TEST_F(PackageRoutesTest, APackageThatFailsChangesNothingAndSaysWhy) {
  open();
  const std::string path = dir.file("holiday.quorvane");
  std::ofstream(path) << "not a package";
  const auto projects = store->state().projects;
  EXPECT_FALSE(importProjectPackage(*store, path, true));
  EXPECT_EQ(store->lastImportFailure(), "invalidPackage");
  EXPECT_EQ(store->state().errorToast->text,
            "This file could not be imported. Please make sure it is a valid .quorvane file "
            "exported from Quorvane.");
  EXPECT_EQ(store->state().projects, projects);
  EXPECT_FALSE(store->state().isImportingProjectPackage);
}

// Every work with an image has its original in the backup, or the backup
// says which has not: an original deleted, changed, or replaced by a link
// to a file that is not the library's.
TEST_F(PackageRoutesTest, ABackupNeverLeavesAnOriginalOutWithoutSayingSo) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 40, 30), writeImage("b.jpg", 30, 40),
                    writeImage("c.png", 50, 20), writeImage("d.jpg", 20, 20)});
  const std::vector<Artwork> works = store.state().snapshot.artworks.images;
  const std::vector<std::string> titles{"Deleted", "Linked", "Resized", "Sound"};
  for (std::size_t i = 0; i < works.size(); ++i) {
    ArtworkMetadata metadata = ArtworkMetadata::of(works[i]);
    metadata.title = titles[i];
    store.updateArtwork(works[i].id, metadata);
  }
  settle();
  fs::remove(media.originalFiles(works[0].id).front());
  const std::string linked = media.originalFiles(works[1].id).front();
  std::ofstream(dir.file("diary.txt")) << "my private diary";
  fs::remove(linked);
  fs::create_symlink(dir.file("diary.txt"), linked);
  std::ofstream(media.originalFiles(works[2].id).front(), std::ios::app) << "more";

  const std::string path = dir.file("out/Tides.quorvane");
  fs::create_directories(dir.file("out"));
  EXPECT_FALSE(exportProjectPackage(store, path));
  EXPECT_EQ(
      store.lastBackupMissingOriginals(),
      (std::vector<MissingOriginal>{{works[0].id, "Deleted", OriginalFault::missing, 1},
                                    {works[1].id, "Linked", OriginalFault::notAFile, 2},
                                    {works[2].id, "Resized", OriginalFault::sizeDiffers, 3}}));
  EXPECT_EQ(*store.state().lastErrorMessage,
            "The backup " + path +
                " was not written: the original images of these works can’t be used: “Deleted” "
                "(its file is missing), “Linked” (a link or another kind of file stands in its "
                "place), “Resized” (its file has changed since it was added).");
  EXPECT_TRUE(fs::is_empty(dir.file("out"))) << "nothing written, nothing left";
  EXPECT_FALSE(store.state().lastProjectDataExportAt) << "no backup recorded";

  const auto written = exportProjectPackage(store, path, {false, true, {}});
  ASSERT_TRUE(written) << "asked for: written without those images";
  EXPECT_EQ(written->withoutImages.size(), 3u);
  EXPECT_TRUE(store.lastBackupMissingOriginals().empty());
  const OpenedPackage opened = transfer.openPackage(path);
  EXPECT_EQ(opened.content.snapshot.artworks.images.size(), 4u);
  EXPECT_EQ(opened.content.mediaPathByArtworkId.size(), 1u);
  EXPECT_TRUE(opened.content.mediaPathByArtworkId.contains(works[3].id));
  std::ifstream in(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(in), {});
  EXPECT_EQ(bytes.find("my private diary"), std::string::npos) << "the link was never followed";

  // A print that can't use an original says so, and which.
  ExportOptions options = store.state().exportOptions;
  options.imageQuality = ExportImageQuality::printQuality;
  const auto warnings = exportPDF(store, {RenderKind::portfolio, {}}, options, dir.file("p.pdf"));
  ASSERT_TRUE(warnings);
  EXPECT_EQ(std::count(warnings->begin(), warnings->end(), PdfWarning::originalMissing), 1);
  EXPECT_EQ(store.missingOriginals().size(), 3u);
  options.imageQuality = ExportImageQuality::webOptimized;
  EXPECT_EQ(exportPDF(store, {RenderKind::portfolio, {}}, options, dir.file("w.pdf")),
            std::vector<PdfWarning>{})
      << "screen copies are what a web document prints";
}

// Every kind of image the library takes goes into a backup and comes back:
// a TIFF's directory may sit after its strips, far past the first bytes.
TEST_F(PackageRoutesTest, EveryKindOfImageTheLibraryTakesIsBackedUpAndComesBack) {
  AppStore& store = open();
  std::vector<std::string> paths;
  for (const std::string name : {"a.jpg", "b.png", "c.tif", "d.gif", "e.webp", "f.heic"}) {
    if (testing::encodedImage(name.substr(1), 8, 8)) paths.push_back(writeImage(name, 320, 240));
  }
  addImages(store, paths);
  settle();
  ASSERT_EQ(store.state().snapshot.artworks.images.size(), paths.size());
  ASSERT_GT(fs::file_size(paths[2]), 4096u) << "a TIFF larger than any header";

  const std::string path = dir.file("kinds.quorvane");
  const auto written = exportProjectPackage(store, path);
  ASSERT_TRUE(written) << store.state().lastErrorMessage.value_or("");
  EXPECT_TRUE(written->withoutImages.empty());
  ASSERT_TRUE(importProjectPackage(store, path, true));
  EXPECT_EQ(finishImportedImages(store), paths.size());
  for (const Artwork& artwork : store.state().snapshot.artworks.images) {
    EXPECT_TRUE(artwork.imagePath) << "every image came back";
  }
}

// Every file under `root` but the library's database files and the
// packages the test made: what an import could have left behind.
std::vector<std::string> filesUnder(const fs::path& root) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string name = fs::relative(entry.path(), root);
    if (name.starts_with("lib.sqlite") || name.starts_with("hostile")) continue;
    names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// A JPEG whose header declares another size than its pixels have.
std::string withDeclaredSize(std::string jpeg, int width, int height) {
  const std::size_t frame = jpeg.find("\xFF\xC0");
  jpeg[frame + 5] = static_cast<char>(height >> 8);
  jpeg[frame + 6] = static_cast<char>(height & 0xFF);
  jpeg[frame + 7] = static_cast<char>(width >> 8);
  jpeg[frame + 8] = static_cast<char>(width & 0xFF);
  return jpeg;
}

// Rewrites the size an entry declares, in its local and central headers,
// as a hostile hand would.
void declareSize(const std::string& path, const std::string& name, std::uint32_t size) {
  std::string bytes = bytesOf(path);
  const auto put32 = [&](std::size_t at) {
    for (int i = 0; i < 4; ++i)
      bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(size >> (8 * i));
  };
  for (std::size_t at = bytes.find(name); at != std::string::npos; at = bytes.find(name, at + 1)) {
    if (at >= 30 && bytes.compare(at - 30, 4, "PK\x03\x04") == 0) put32(at - 30 + 22);
    if (at >= 46 && bytes.compare(at - 46, 4, "PK\x01\x02") == 0) put32(at - 46 + 24);
  }
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A real package changed with libzip, as a hostile hand would.
class PackageEditor {
 public:
  PackageEditor(const std::string& from, const std::string& to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
    int error = 0;
    archive_ = zip_open(to.c_str(), 0, &error);
  }
  zip_int64_t put(const std::string& name, const std::string& content,
                  zip_int32_t method = ZIP_CM_DEFLATE) {
    contents_.push_back(std::make_unique<std::string>(content));
    zip_source_t* source =
        zip_source_buffer(archive_, contents_.back()->data(), contents_.back()->size(), 0);
    const zip_int64_t index =
        zip_file_add(archive_, name.c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
    EXPECT_GE(index, 0) << name;
    zip_set_file_compression(archive_, static_cast<zip_uint64_t>(index), method, 0);
    return index;
  }
  ::zip* get() { return archive_; }
  void close() { EXPECT_EQ(zip_close(archive_), 0); }

 private:
  ::zip* archive_ = nullptr;
  std::vector<std::unique_ptr<std::string>> contents_;
};

TEST_F(PackageRoutesTest, HostilePackagesAreRefusedWithTheirCaseAndTouchNothing) {
  const std::string good = exportedPackage();
  const std::string original =
      "media/original/" + store->state().snapshot.artworks.images[0].id + ".jpg";
  settle();
  const auto dump = [this] {
    return repository->withDatabase([](SQLiteDatabase& db) { return testing::dumpDatabase(db); });
  };
  const std::string databaseBefore = dump();
  const std::vector<std::string> filesBefore = filesUnder(dir.path());
  const auto image = testing::encodedImage(".jpg", 64, 48);
  const std::string jpeg(image->begin(), image->end());

  struct Hostile {
    std::string story;
    std::string expected;
    std::function<void(PackageEditor&)> edit;
  };
  const std::vector<Hostile> hostile{
      {"a name that climbs", "invalidPackage", [](PackageEditor& p) { p.put("../escape", "x"); }},
      {"an absolute name", "invalidPackage", [](PackageEditor& p) { p.put("/tmp/owned", "x"); }},
      {"a backslash", "invalidPackage",
       [](PackageEditor& p) { p.put("media\\original\\x.jpg", "x"); }},
      {"a symbolic link for an original", "invalidPackage",
       [&](PackageEditor& p) {
         const zip_int64_t index = p.put(original, "/etc/passwd", ZIP_CM_STORE);
         zip_file_set_external_attributes(p.get(), static_cast<zip_uint64_t>(index), 0,
                                          ZIP_OPSYS_UNIX, (S_IFLNK | 0777) << 16);
       }},
      {"an encrypted manifest", "invalidPackage",
       [](PackageEditor& p) {
         zip_file_set_encryption(
             p.get(), static_cast<zip_uint64_t>(zip_name_locate(p.get(), "manifest.json", 0)),
             ZIP_EM_TRAD_PKWARE, "secret");
       }},
      {"bzip2 data", "invalidPackage",
       [](PackageEditor& p) {
         zip_set_file_compression(
             p.get(), static_cast<zip_uint64_t>(zip_name_locate(p.get(), "data/project.json", 0)),
             ZIP_CM_BZIP2, 0);
       }},
      {"an original that inflates past 100 MiB", "invalidMedia",
       [&](PackageEditor& p) { p.put(original, std::string(104857601, '\0')); }},
      {"artworks that inflate past 32 MiB", "dataTooLarge",
       [](PackageEditor& p) { p.put("data/artworks.json", std::string(33554433, ' ')); }},
      {"a stray file among the originals", "unexpectedMedia",
       [](PackageEditor& p) { p.put("media/original/notes.txt", "hello"); }},
      // Originals pass the checks of an image added by hand.
      {"a text file named .jpg", "invalidMedia",
       [&](PackageEditor& p) { p.put(original, "hello, I am no image"); }},
      {"a JPEG cut short", "invalidMedia",
       [&](PackageEditor& p) { p.put(original, jpeg.substr(0, jpeg.size() * 2 / 3)); }},
      {"a JPEG declaring 60000 × 60000 pixels", "invalidMedia",
       [&](PackageEditor& p) { p.put(original, withDeclaredSize(jpeg, 60000, 60000)); }},
  };
  const auto refused = [&](const std::string& path, const std::string& expected,
                           const std::string& story) {
    EXPECT_FALSE(importProjectPackage(*store, path, true)) << story;
    EXPECT_EQ(store->lastImportFailure(), expected) << story;
    EXPECT_FALSE(store->state().isImportingProjectPackage) << story;
    EXPECT_EQ(dump(), databaseBefore) << story;
    EXPECT_EQ(filesUnder(dir.path()), filesBefore) << story;
  };
  for (const Hostile& h : hostile) {
    const std::string path = dir.file("hostile.quorvane");
    PackageEditor editor(good, path);
    h.edit(editor);
    editor.close();
    refused(path, h.expected, h.story);
  }

  // Names libzip will not write, made as a hand editing the bytes would:
  // the last letter of an added entry's name changed in both headers.
  for (const char last : {'n', '\x1b'}) {
    const std::string path = dir.file("hostile.quorvane");
    PackageEditor editor(good, path);
    editor.put("data/project.jsoX", "{}");
    editor.close();
    std::string bytes = bytesOf(path);
    for (std::size_t at = bytes.find("data/project.jsoX"); at != std::string::npos;
         at = bytes.find("data/project.jsoX", at)) {
      bytes[at + 16] = last;
    }
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    refused(path, "invalidPackage", last == 'n' ? "two entries of one name" : "an escape");
  }

  // The package cut short at twenty places.
  const std::string whole = bytesOf(good);
  for (int i = 1; i <= 20; ++i) {
    const std::size_t length = whole.size() * static_cast<std::size_t>(i) / 21;
    const std::string path = dir.file("hostile-cut.quorvane");
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(whole.data(), static_cast<std::streamsize>(length));
    refused(path, "invalidPackage", "cut at " + std::to_string(length));
  }
  // An original that inflates past the size its headers declare: the free
  // space was weighed by that size.
  {
    const std::string path = dir.file("hostile-declared.quorvane");
    PackageEditor editor(good, path);
    editor.put(original, std::string(1 << 20, '\0'));
    editor.close();
    declareSize(path, original, 1000);
    refused(path, "invalidMedia", "an original larger than declared");
  }
  EXPECT_TRUE(importProjectPackage(*store, good, false)) << "the package itself is fine";
}

TEST_F(PackageRoutesTest, ABackupOrAnImportTheDiskCannotHoldSaysSoAndWritesNothing) {
  const std::string good = exportedPackage();
  settle();
  mediaFiles.available = 1000;  // the folder a backup goes to, full before it starts
  fs::create_directories(dir.file("full"));
  EXPECT_FALSE(exportProjectPackage(*store, dir.file("full/Tides.quorvane")));
  const std::string told = store->state().lastErrorMessage.value_or("");
  EXPECT_TRUE(told.ends_with(" MB and 0.0 MB are free.")) << told;
  EXPECT_TRUE(fs::is_empty(dir.file("full")));
  mediaFiles.available.reset();
  const std::string databaseBefore =
      repository->withDatabase([](SQLiteDatabase& db) { return testing::dumpDatabase(db); });
  const std::vector<std::string> filesBefore = filesUnder(dir.path());

  mediaFiles.available = 10 << 20;  // less than the margin an import keeps
  EXPECT_FALSE(importProjectPackage(*store, good, false));
  const std::string said = store->state().lastErrorMessage.value_or("");
  EXPECT_TRUE(said.starts_with(
      "This backup could not be imported: there is not enough free space: this needs "))
      << said;
  EXPECT_TRUE(said.ends_with(" MB and 10.0 MB are free. Nothing was changed.")) << said;
  mediaFiles.available.reset();

  mediaFiles.writeError = ENOSPC;  // the disk fills as the originals are written
  EXPECT_FALSE(importProjectPackage(*store, good, false));
  EXPECT_EQ(store->state().lastErrorMessage,
            "This backup could not be imported: the disk is full. Nothing was changed.");
  mediaFiles.writeError = 0;
  EXPECT_EQ(repository->withDatabase([](SQLiteDatabase& db) { return testing::dumpDatabase(db); }),
            databaseBefore);
  EXPECT_EQ(filesUnder(dir.path()), filesBefore);
}

}  // namespace
}  // namespace quorvane
