// The store keeps page thumbnails true to the pages by itself: each change
// schedules the pages it alters, under its reason, and a window only shows
// the versions it publishes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "app/app_store.h"
#include "app/app_store_fixture.h"

namespace quorvane {
namespace {

using namespace std::chrono_literals;
using testing::AppStoreTest;

class StoreThumbnailsTest : public AppStoreTest {
 protected:
  StoreThumbnailsTest() { useThumbnailQueue = true; }
  std::size_t enqueued(const std::string& words) const {
    return static_cast<std::size_t>(
        std::count_if(logger.lines.begin(), logger.lines.end(), [&](const std::string& line) {
          return line.find("enqueue id=") != std::string::npos &&
                 line.find(words) != std::string::npos;
        }));
  }
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
  store.addImages({writeImage("a.jpg", 300, 200), writeImage("b.jpg", 200, 300)});
  drawAll();
  const std::string first = store.state().snapshot.artworks.images[0].id;
  const std::string second = store.state().snapshot.artworks.images[1].id;
  ASSERT_EQ(store.state().artworkPdfThumbVersionByID.at(first), 1);
  ASSERT_EQ(store.state().artworkPdfThumbVersionByID.at(second), 1);
  EXPECT_TRUE(std::filesystem::exists(media.pdfThumbPath(first)));

  logger.lines.clear();
  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
  metadata.title = "Tide";
  ASSERT_TRUE(store.updateArtwork(first, metadata));
  EXPECT_EQ(enqueued("id=" + first + " reason=update_artwork_metadata debounceMs=1500"), 1u);
  EXPECT_EQ(enqueued("id=" + second), 0u) << "the other page is as it was";
  drawAll();
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(first), 2);
  EXPECT_EQ(store.state().artworkPdfThumbVersionByID.at(second), 1);

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
  store.addImages({writeImage("a.jpg", 300, 200)});
  store.setText(SaveSection::bio, "Born in Lyon.");
  drawAll();
  EXPECT_EQ(store.state().documentPdfThumbVersionBySection.at(SaveSection::bio), 1);

  logger.lines.clear();
  ASSERT_TRUE(store.setLabelOverride({"portfolio", "en", "pdf.artwork.untitled", "No title"}));
  EXPECT_EQ(enqueued("reason=pdf_labels_changed"), 1u) << "the one artwork page, no document";

  logger.lines.clear();
  ExportOptions options = store.state().exportOptions;
  options.exportLocale = "fr";
  store.setExportOptions(options);
  EXPECT_EQ(enqueued("reason=export_locale_changed"), 5u) << "the artwork and four documents";
  drawAll();
  EXPECT_EQ(store.state().documentPdfThumbVersionBySection.at(SaveSection::bio), 2);
}

}  // namespace
}  // namespace quorvane
