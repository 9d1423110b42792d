// The images of web-quality exports kept for the next: reused while the
// original and the preparation are the same, prepared again otherwise,
// dropped with their work, never left half-written.
#include "app/prepared_image_cache.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_store_fixture.h"
#include "app/library_tidy.h"
#include "app/waiting_commands.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

// The names in a folder, sorted; none when it is not there.
std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  if (!fs::exists(folder)) return names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool holds(const Bytes& document, const Bytes& part) {
  return std::search(document.begin(), document.end(), part.begin(), part.end()) != document.end();
}

class PreparedImagesTest : public testing::AppStoreTest {
 protected:
  PreparedImagesTest() { preparedImages = &kept; }

  // A file of the open project, its works' images prepared for the web.
  Bytes webExport() {
    ExportOptions options = store->state().exportOptions;
    options.imageQuality = ExportImageQuality::webOptimized;
    const auto result = store->renderPDF({RenderKind::portfolio, std::nullopt}, options);
    EXPECT_TRUE(result) << store->state().lastErrorMessage.value_or("");
    return result ? result->data : Bytes{};
  }
  std::vector<std::string> keptNames() const { return namesIn(kept.directory()); }
  void retitle(const std::string& artworkId, const std::string& title) {
    ArtworkMetadata metadata;
    metadata.title = title;
    ASSERT_TRUE(store->updateArtwork(artworkId, metadata));
  }
  Bytes keptImage(const std::string& name) {
    return *media.readFile(kept.directory() + "/" + name);
  }

  PreparedImageCache kept{mediaFiles, optimizer, dir.file("cache")};
};

TEST_F(PreparedImagesTest, ExportingAgainReusesEachImageUntilItsOriginalIsReplaced) {
  AppStore& store = open();
  addImages(store, {writeImage("sea.jpg", 2400, 1600), writeImage("sky.png", 1800, 1800)});
  settle();
  const std::string sea = store.state().snapshot.artworks.images.at(0).id;
  const std::string sky = store.state().snapshot.artworks.images.at(1).id;

  const Bytes first = webExport();
  EXPECT_EQ(kept.misses(), 2u);
  const std::vector<std::string> names = keptNames();
  ASSERT_EQ(names.size(), 2u);
  for (const std::string& name : names) {
    EXPECT_TRUE(holds(first, keptImage(name))) << "the page embeds what is kept: " << name;
  }

  // A title edited: the same images, none prepared again.
  retitle(sea, "Low tide");
  const Bytes second = webExport();
  EXPECT_NE(second, first);
  EXPECT_EQ(kept.hits(), 2u);
  EXPECT_EQ(kept.misses(), 2u);
  for (const std::string& name : names) EXPECT_TRUE(holds(second, keptImage(name)));

  // The sea's image replaced: only its page is prepared again, from the new
  // original; the old prepared image is gone at once.
  ASSERT_TRUE(store.replaceImage(sea, writeImage("storm.jpg", 1700, 2300)));
  EXPECT_EQ(keptNames().size(), 1u);
  const Bytes third = webExport();
  EXPECT_EQ(kept.hits(), 3u);
  EXPECT_EQ(kept.misses(), 3u);
  const std::vector<std::string> now = keptNames();
  ASSERT_EQ(now.size(), 2u);
  const auto of = [&](const std::string& id) {
    for (const std::string& name : now) {
      if (name.starts_with(id + ".")) return name;
    }
    return std::string();
  };
  EXPECT_EQ(std::count(names.begin(), names.end(), of(sky)), 1) << "the sky's is the same";
  EXPECT_EQ(std::count(names.begin(), names.end(), of(sea)), 0) << "the sea's is new";
  EXPECT_EQ(testing::decode(keptImage(of(sea))).height, 1600) << "made from the storm";

  // The sky's original written again where it lies (a backup restored over
  // it): the same name, another file.
  const std::string original = media.originalFiles(sky).at(0);
  const Bytes bytes = *media.readFile(original);
  realFileSystem().writeFileAtomically(original, bytes);
  retitle(sea, "High tide");
  webExport();
  EXPECT_EQ(kept.hits(), 4u);
  EXPECT_EQ(kept.misses(), 4u);
  EXPECT_EQ(keptNames().size(), 2u);

  // Print quality embeds the originals: nothing kept is read or made.
  ExportOptions print = store.state().exportOptions;
  print.imageQuality = ExportImageQuality::printQuality;
  ASSERT_TRUE(store.renderPDF({RenderKind::portfolio, std::nullopt}, print));
  EXPECT_EQ(kept.hits() + kept.misses(), 8u);
}

TEST_F(PreparedImagesTest, AKeptImageGoesWithItsWorkAndWithTheLibrary) {
  AppStore& store = open();
  addImages(store, {writeImage("sea.jpg", 2400, 1600)});
  settle();
  webExport();
  ASSERT_EQ(keptNames().size(), 1u);

  // Added and taken back at once: the work leaves the library, and so does
  // the image prepared for it.
  addImages(store, {writeImage("sky.jpg", 2400, 1600)});
  settle();
  retitle(store.state().snapshot.artworks.images.at(0).id, "Low tide");
  webExport();
  ASSERT_EQ(keptNames().size(), 2u);
  ASSERT_TRUE(store.undo());  // the title
  ASSERT_TRUE(store.undo());  // the added work
  EXPECT_EQ(keptNames().size(), 1u);

  // A run that was killed before it could drop them: the next start does.
  PreparedImageCache::Key stray{"gone-work", FileStamp{1, 2, 3, 4, 5}, {1600, 0.78}};
  kept.keep(stray, PreparedPdfImage{keptImage(keptNames()[0]), 1, 3, 1600, 1067, {}});
  ASSERT_EQ(keptNames().size(), 2u);
  store.tidyAfterInterruptedRuns({});
  EXPECT_EQ(keptNames().size(), 1u);

  ASSERT_TRUE(store.deleteAllUserData());
  EXPECT_TRUE(keptNames().empty());
}

// The cache on its own, with a real prepared image.
class PreparedImageCacheTest : public ::testing::Test {
 protected:
  PreparedImageCacheTest() {
    image = *preparePdfImage(optimizer, *testing::encodedImage(".jpg", 2400, 1600),
                             ImagePreparationPolicy{1600, 0.78});
  }
  std::vector<std::string> names() const { return namesIn(dir.file("cache")); }

  testing::TempDir dir;
  ImageOptimizer optimizer;
  PreparedPdfImage image;
  const PreparedImageCache::Key key{"work-1",
                                    FileStamp{64769, 1234, 5678, 1'000'000'001, 1'000'000'002},
                                    ImagePreparationPolicy{1600, 0.78}};
};

TEST_F(PreparedImageCacheTest, AnImageIsFoundOnlyForTheOriginalAndThePreparationItWasMadeFrom) {
  PreparedImageCache kept(realFileSystem(), optimizer, dir.file("cache"));
  EXPECT_FALSE(kept.find(key));
  kept.keep(key, image);
  const std::optional<PreparedPdfImage> found = kept.find(key);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->jpeg, image.jpeg);
  EXPECT_EQ(found->preparedPixelWidth, 1600);
  EXPECT_EQ(found->preparedPixelHeight, image.preparedPixelHeight);
  EXPECT_EQ(found->preparedByteSize, static_cast<std::int64_t>(image.jpeg.size()));
  EXPECT_EQ(found->sourceByteSize, 5678) << "the original's size, as when prepared";

  const auto differs = [&](auto change) {
    PreparedImageCache::Key other = key;
    change(other);
    return !kept.find(other);
  };
  EXPECT_TRUE(differs([](auto& k) { k.artworkId = "work-2"; }));
  EXPECT_TRUE(differs([](auto& k) { k.original.changedNanoseconds += 1; })) << "written again";
  EXPECT_TRUE(differs([](auto& k) { k.original.modifiedNanoseconds += 1; }));
  EXPECT_TRUE(differs([](auto& k) { k.original.inode += 1; })) << "another file in its place";
  EXPECT_TRUE(differs([](auto& k) { k.original.size += 1; }));
  EXPECT_TRUE(differs([](auto& k) { k.policy.jpegQuality = 0.9; }));
  EXPECT_TRUE(differs([](auto& k) { k.policy.maxLongEdge = 2000; }));
  EXPECT_TRUE(differs([](auto& k) { k.policy.maxLongEdge = 1600.5; }));

  // One entry per work and preparation: the newer takes the older's place.
  PreparedImageCache::Key replaced = key;
  replaced.original.inode += 1;
  kept.keep(replaced, image);
  EXPECT_EQ(names().size(), 1u);
  EXPECT_FALSE(kept.find(key));
  PreparedImageCache::Key sharper = replaced;
  sharper.policy.jpegQuality = 0.9;
  kept.keep(sharper, image);
  EXPECT_EQ(names().size(), 2u);
}

// Whatever is found at an entry's name that is not a whole JPEG — cut short
// by a crash of the machine, written over, a link put there — is not used,
// and goes.
TEST_F(PreparedImageCacheTest, ADamagedEntryIsPreparedAgainNeverEmbedded) {
  PreparedImageCache kept(realFileSystem(), optimizer, dir.file("cache"));
  kept.keep(key, image);
  ASSERT_EQ(names().size(), 1u);
  const std::string path = dir.file("cache") + "/" + names()[0];
  for (const std::size_t length : {std::size_t{0}, image.jpeg.size() / 2, image.jpeg.size() - 1}) {
    SCOPED_TRACE(length);
    realFileSystem().writeFileAtomically(path,
                                         Bytes(image.jpeg.begin(), image.jpeg.begin() + length));
    EXPECT_FALSE(kept.find(key));
    EXPECT_FALSE(fs::exists(path));
  }
  const std::string elsewhere = dir.file("elsewhere.jpg");
  realFileSystem().writeFileAtomically(elsewhere, image.jpeg);
  fs::create_symlink(elsewhere, path);
  EXPECT_FALSE(kept.find(key)) << "a link is not followed";
  EXPECT_TRUE(fs::exists(elsewhere)) << "nor what it points at removed";
}

// Every write that fails on the way (the disk full, the process killed
// before the file was put in place) leaves nothing at all: no entry, no
// piece of one, and the export goes on. Nor is the last of a disk taken.
TEST_F(PreparedImageCacheTest, AWriteThatFailsOnTheWayLeavesNothing) {
  testing::FaultyFileSystem files;
  PreparedImageCache kept(files, optimizer, dir.file("cache"));
  for (const char* operation : {"createDirectories", "space", "create", "writePiece", "publish"}) {
    SCOPED_TRACE(operation);
    files.failAt(operation, 1);
    kept.keep(key, image);
    EXPECT_TRUE(names().empty());
    EXPECT_FALSE(kept.find(key));
  }
  testing::ReadHookedFileSystem nearlyFull;
  nearlyFull.available = std::uint64_t{100} << 20;
  PreparedImageCache(nearlyFull, optimizer, dir.file("cache")).keep(key, image);
  EXPECT_TRUE(names().empty()) << "a disk nearly full is left to what needs the room";

  files.failAt("", 0);
  kept.keep(key, image);
  EXPECT_TRUE(kept.find(key));
}

TEST_F(PreparedImageCacheTest, PastItsCapacityTheOldestEntriesGo) {
  const std::uint64_t size = image.jpeg.size();
  PreparedImageCache kept(realFileSystem(), optimizer, dir.file("cache"), size * 2 + size / 2);
  std::vector<PreparedImageCache::Key> keys;
  for (int i = 0; i < 4; ++i) {
    PreparedImageCache::Key work = key;
    work.artworkId = "work-" + std::to_string(i);
    keys.push_back(work);
    kept.keep(work, image);
    // Oldest first, whatever the file system's clock resolution.
    fs::last_write_time(dir.file("cache") + "/" + namesIn(dir.file("cache")).back(),
                        fs::file_time_type::clock::now() - std::chrono::hours(10 - i));
  }
  kept.trim();
  EXPECT_FALSE(kept.find(keys[0]));
  EXPECT_FALSE(kept.find(keys[1]));
  EXPECT_TRUE(kept.find(keys[2]));
  EXPECT_TRUE(kept.find(keys[3]));
}

}  // namespace
}  // namespace quorvane
