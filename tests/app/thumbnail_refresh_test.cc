// Which thumbnails an edit makes stale, and under which reason.
#include "app/thumbnail_refresh.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

using Stale = ThumbnailRefresh::Stale;

class ThumbnailRefreshTest : public ::testing::Test {
 protected:
  ThumbnailRefreshTest() {
    for (const char* id : {"A1", "A2"}) {
      Artwork artwork;
      artwork.id = id;
      artwork.title = std::string("Work ") + id;
      snapshot.artworks.images.push_back(artwork);
    }
    EXPECT_TRUE(update().empty()) << "the first look only takes note";
  }
  std::vector<Stale> update() { return refresh.update(project, snapshot, options, labels); }

  ThumbnailRefresh refresh;
  Project project;
  StudioSnapshot snapshot;
  ExportOptions options;
  PageLabels labels;
};

TEST_F(ThumbnailRefreshTest, EachEditNamesItsPagesAndWhy) {
  snapshot.artworks.images[0].title = "Tide";
  EXPECT_EQ(update(), (std::vector<Stale>{{"A1", "update_artwork_metadata"}}));
  EXPECT_TRUE(update().empty()) << "told once";

  snapshot.artworks.images[1].imageByteSize = 4000;
  EXPECT_EQ(update(), (std::vector<Stale>{{"A2", "image_changed"}}));

  snapshot.artworks.unit = UnitSystem::in;
  EXPECT_EQ(update(),
            (std::vector<Stale>{{"A1", "artworks_unit_changed"}, {"A2", "artworks_unit_changed"}}));
  labels.portfolio["pdf.artwork.untitled"] = "Sans titre";
  EXPECT_EQ(update(),
            (std::vector<Stale>{{"A1", "pdf_labels_changed"}, {"A2", "pdf_labels_changed"}}));

  snapshot.biography = "Born in Lyon.";
  EXPECT_EQ(update(), (std::vector<Stale>{{"docpdfthumb|bio", "text_changed"}}));
  snapshot.details.firstName = "Zoë";
  EXPECT_EQ(update(), (std::vector<Stale>{{"docpdfthumb|cv", "cv_changed"}}));

  options.exportLocale = "fr";
  const std::vector<Stale> everything = update();
  EXPECT_EQ(everything.size(), 6u) << "two artworks and four documents";
  for (const Stale& stale : everything) EXPECT_EQ(stale.reason, "export_locale_changed");
}

TEST_F(ThumbnailRefreshTest, NewArtworksAreDrawnGoneOnesForgottenAndAReopenStartsAfresh) {
  Artwork added;
  added.id = "A3";
  snapshot.artworks.images.push_back(added);
  snapshot.artworks.images.erase(snapshot.artworks.images.begin());
  EXPECT_EQ(update(), (std::vector<Stale>{{"A3", "artwork_added"}}));
  EXPECT_EQ(refresh.gone(), (std::vector<std::string>{"A1"}));
  EXPECT_TRUE(refresh.signature("A3"));
  EXPECT_FALSE(refresh.signature("A1"));

  std::swap(snapshot.artworks.images[0], snapshot.artworks.images[1]);
  EXPECT_TRUE(update().empty()) << "reordering a portfolio changes no page";

  refresh.reset();
  snapshot.artworks.images[0].title = "Another project's work";
  EXPECT_TRUE(update().empty()) << "a project just opened: nothing to compare with";
}

}  // namespace
}  // namespace quorvane
