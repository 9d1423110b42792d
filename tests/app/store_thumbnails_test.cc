// The store keeps page thumbnails true to the pages by itself: each change
// schedules the pages it alters, under its reason, and a window only shows
// the versions it publishes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "app/app_store.h"
#include "app/app_store_fixture.h"
#include "app/waiting_commands.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;

class StoreThumbnailsTest : public AppStoreTest {
 protected:
  StoreThumbnailsTest() { useThumbnailQueue = true; }
  // Lets debounces pass and the thumbnail worker draw.
  void drawAll() {
    for (int round = 0; round < 6; ++round) {
      main.advanceBy(1600ms);
      thumbnailQueue.runUntilIdle();
      saveQueue.runUntilIdle();
      main.runUntilIdle();
    }
  }
};

TEST_F(StoreThumbnailsTest, AnEditRedrawsItsPageOnlyAndTheNewVersionIsPublished) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 300, 200), writeImage("b.jpg", 200, 300)});
  drawAll();
  const std::string first = store.state().snapshot.artworks.images[0].id;
  const std::string second = store.state().snapshot.artworks.images[1].id;
  ASSERT_EQ(store.state().artworkPdfThumbVersionByID.at(first), 1);
  ASSERT_EQ(store.state().artworkPdfThumbVersionByID.at(second), 1);
  EXPECT_TRUE(std::filesystem::exists(media.pdfThumbPath(first)));

  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
  metadata.title = "Tide";
  ASSERT_TRUE(store.updateArtwork(first, metadata));
  drawAll();
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(first), 2);
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(second), 1) << "the other page is as it was";

  std::optional<std::vector<std::uint8_t>> picture;
  store.loadArtworkPdfThumb(first, [&](const auto& loaded) { picture = loaded; });
  main.runUntilIdle();
  ASSERT_TRUE(picture);
  EXPECT_EQ(optimizer.sniffMimeType(*picture), "image/webp");
  EXPECT_EQ(std::max(optimizer.pixelSize(*picture)->width, optimizer.pixelSize(*picture)->height),
            512);

  ASSERT_TRUE(store.removeArtwork(second));
  EXPECT_FALSE(store.state().artworkPdfThumbVersionByID.contains(second));
  EXPECT_FALSE(std::filesystem::exists(media.pdfThumbPath(second))) << "its thumbnail went too";
}

TEST_F(StoreThumbnailsTest, SettingsAndLabelsRedrawEveryPageTheyTouch) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 300, 200)});
  store.setText(SaveSection::bio, "Born in Lyon.");
  drawAll();
  const std::string id = store.state().snapshot.artworks.images[0].id;
  const auto& artworkVersions = store.state().artworkPdfThumbVersionByID;
  const auto& documentVersions = store.state().documentPdfThumbVersionBySection;
  const auto drawn = artworkVersions.at(id);
  EXPECT_EQ(documentVersions.at(SaveSection::bio), 1);

  ASSERT_TRUE(store.setLabelOverride({"portfolio", "en", "pdf.artwork.untitled", "No title"}));
  drawAll();
  EXPECT_EQ(artworkVersions.at(id), drawn + 1) << "the one artwork page";
  EXPECT_EQ(documentVersions.at(SaveSection::bio), 1) << "no document shows that label";

  ExportOptions options = store.state().exportOptions;
  options.exportLocale = "fr";
  store.setExportOptions(options);
  drawAll();
  EXPECT_EQ(artworkVersions.at(id), drawn + 2);
  EXPECT_EQ(documentVersions.at(SaveSection::bio), 2);
}

TEST_F(StoreThumbnailsTest, PagesMadeStaleByAnOptionWaitUntilThePreviewIsShown) {
  AppStore& store = open();
  addImages(store, {writeImage("a.jpg", 300, 200)});
  drawAll();
  const std::string id = store.state().snapshot.artworks.images[0].id;
  ASSERT_EQ(store.state().artworkPdfThumbVersionByID.at(id), 1);

  ExportOptions options = store.state().exportOptions;
  options.format = options.format == PdfFormat::a4 ? PdfFormat::letter : PdfFormat::a4;
  store.setExportOptions(options);
  store.requestPreview({RenderKind::portfolio, std::nullopt});
  main.advanceBy(1600ms);
  thumbnailQueue.runUntilIdle();
  main.runUntilIdle();
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(id), 1) << "the page waits its turn";

  pdfQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(store.state().pdfPreviewData);
  drawAll();
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(id), 2) << "and is drawn after";
}

class BoardPictureTest : public testing::AppStoreTest {
 protected:
  BoardPictureTest() { useThumbnailQueue = true; }
  std::optional<AppStore::BoardPicture> picture(const std::string& id, int edge = 160) {
    std::optional<AppStore::BoardPicture> result;
    bool told = false;
    store->loadBoardPicture(id, edge, [&](const auto& loaded) {
      result = loaded;
      told = true;
    });
    for (int round = 0; round < 6 && !told; ++round) {
      main.runUntilIdle();
      thumbnailQueue.runUntilIdle();
      main.runUntilIdle();
    }
    EXPECT_TRUE(told) << "a board is always told, picture or not";
    return result;
  }
};

TEST_F(BoardPictureTest, TheBareImageStandsInUntilThePageIsDrawnThenThePageIsShown) {
  open();
  addImages(*store, {writeImage("wide.jpg", 600, 300)});
  const std::string id = store->state().snapshot.artworks.images[0].id;
  logger.lines.clear();

  const auto before = picture(id);
  ASSERT_TRUE(before);
  EXPECT_FALSE(before->isPage);
  // The web image, fitted: its longer side is the edge asked for.
  EXPECT_EQ(before->pixels.width, 160);
  EXPECT_EQ(before->pixels.height, 80);
  EXPECT_EQ(before->pixels.data.size(), 160u * 80u * 3u);

  for (int round = 0; round < 6; ++round) {
    main.advanceBy(1600ms);
    thumbnailQueue.runUntilIdle();
    main.runUntilIdle();
  }
  const auto after = picture(id);
  ASSERT_TRUE(after);
  EXPECT_TRUE(after->isPage);
  EXPECT_EQ(std::max(after->pixels.width, after->pixels.height), 160);
  EXPECT_GT(after->pixels.height, after->pixels.width) << "a portrait page around a wide work";
}

TEST_F(BoardPictureTest, CoversOfOtherProjectsLoadAndAWorkWithoutFilesGivesNothing) {
  open();
  addImages(*store, {writeImage("cover.jpg", 300, 300)});
  const std::string cover = store->state().snapshot.artworks.images[0].id;
  store->createProject(testing::named("Second"));
  ASSERT_TRUE(store->state().snapshot.artworks.images.empty());
  const auto foreign = picture(cover);
  ASSERT_TRUE(foreign);
  EXPECT_EQ(foreign->pixels.width, 160);

  std::filesystem::remove(media.webDerivativePath(cover));
  std::filesystem::remove(media.pdfThumbPath(cover));
  EXPECT_FALSE(picture(cover)) << "an empty cell, never a failure";
  EXPECT_FALSE(picture("no-such-artwork"));
}

TEST_F(BoardPictureTest, WithoutAWorkerNothingIsDecodedOnTheMainThread) {
  useThumbnailQueue = false;
  open();
  addImages(*store, {writeImage("a.jpg", 300, 300)});
  EXPECT_FALSE(picture(store->state().snapshot.artworks.images[0].id));
}

TEST_F(BoardPictureTest, ProjectSummariesCarryKindCoverAndCountFromTheLibrary) {
  open();
  addImages(*store, {writeImage("a.jpg", 200, 200), writeImage("b.jpg", 200, 200)});
  const std::string firstCover = store->state().snapshot.artworks.images[0].id;
  store->setProjectKind(ProjectKind::catalogue, CatalogueKind::exhibition);
  settle();
  // What a window lists, before and after a restart, is the same.
  const auto summaryOf = [&](const std::string& id) {
    for (const ProjectSummary& summary : store->state().projects) {
      if (summary.id == id) return summary;
    }
    return ProjectSummary{};
  };
  const std::string projectId = store->state().project.id;
  EXPECT_EQ(summaryOf(projectId).catalogueKind, CatalogueKind::exhibition);
  open();
  const ProjectSummary reread = summaryOf(projectId);
  EXPECT_EQ(reread.kind, ProjectKind::catalogue);
  EXPECT_EQ(reread.catalogueKind, CatalogueKind::exhibition);
  EXPECT_EQ(reread.coverArtworkId, firstCover);
  EXPECT_EQ(reread.artworkCount, 2);
}

TEST_F(BoardPictureTest, LibraryCountsAreReadAfterThePendingSaves) {
  open();
  addImages(*store, {writeImage("a.jpg", 200, 200)});
  store->setText(SaveSection::bio, "Born by the sea.");  // not written yet
  std::optional<LibraryKPIOverview> counts;
  store->libraryCountsInBackground([&](const LibraryKPIOverview& read) { counts = read; });
  EXPECT_FALSE(counts) << "told on the main executor, later";
  saveQueue.runUntilIdle();
  main.runUntilIdle();
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->artworksCount, 1);
  EXPECT_EQ(counts->bioCount, 1) << "the pending biography was written first";
}

}  // namespace
}  // namespace quorvane
