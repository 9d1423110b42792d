// A page drawn as pixels must look like the page of the PDF: the same
// layout code draws both, so a thumbnail or a preview shows what will print.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "app/app_store.h"
#include "app/app_store_fixture.h"
#include "app/waiting_commands.h"
#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::AppStoreTest;

// The mean absolute difference of two pictures' channels, 0–255.
double meanDifference(const RgbPixels& ours, const testing::PagePixels& viewer) {
  EXPECT_EQ(ours.data.size(), viewer.rgb.size());
  if (ours.data.size() != viewer.rgb.size() || ours.data.empty()) return 255;
  double total = 0;
  for (std::size_t i = 0; i < ours.data.size(); ++i) {
    total += std::abs(int{ours.data[i]} - int{viewer.rgb[i]});
  }
  return total / static_cast<double>(ours.data.size());
}

double meanDarkness(const RgbPixels& pixels) {
  double total = 0;
  for (const std::uint8_t value : pixels.data) total += 255 - value;
  return total / static_cast<double>(pixels.data.size());
}

class PageImageTest : public AppStoreTest {
 protected:
  // The store's page as pixels beside poppler's drawing of the exported
  // page, at the same size.
  double differenceFromPdf(const RenderRequest& request) {
    const ExportOptions options = store->state().exportOptions;
    const std::optional<RgbPixels> ours = store->renderPageImage(request, options, 512);
    EXPECT_TRUE(ours);
    if (!ours) return 255;
    darkness = meanDarkness(*ours);
    const PdfRenderResult pdf =
        renderer->render(request, store->state().project, store->state().snapshot, options);
    return meanDifference(*ours, testing::rasterisePage(pdf.data, 0, ours->width, ours->height));
  }
  double darkness = 0;
};

// The threshold: text edges antialiased by two rasterisers, and an image
// scaled from the web copy rather than from the original, differ by a few
// levels on the pixels they touch and not at all elsewhere — measured,
// 0.11 on the artwork page. An image left out costs the page's whole
// darkness (11 for the test picture). 1.0 is ten times what the drawings
// differ by, a tenth of what a missing image costs.
constexpr double kLooksTheSame = 1.0;

TEST_F(PageImageTest, AnArtworkPageLooksLikeItsPageInThePdf) {
  AppStore& store = open();
  addImages(store, {writeImage("tide.jpg", 900, 600)});
  const std::string id = store.state().snapshot.artworks.images[0].id;
  ArtworkMetadata metadata = ArtworkMetadata::of(store.state().snapshot.artworks.images[0]);
  metadata.title = "Tide Pool, Morning";
  metadata.medium = "Oil on linen";
  metadata.year = "2026";
  ASSERT_TRUE(store.updateArtwork(id, metadata));
  settle();
  const double difference = differenceFromPdf({RenderKind::singleArtwork, id});
  EXPECT_LT(difference, kLooksTheSame);
  EXPECT_GT(darkness, 5 * kLooksTheSame) << "a page with a picture on it, not a blank one";
}

TEST_F(PageImageTest, ATextPageLooksLikeItsPdfPage) {
  AppStore& store = open();
  store.setText(SaveSection::bio,
                "Née à Lyon en 1984, elle peint la mer et ce qu’elle laisse sur le sable. " +
                    std::string(40, 'x'));
  settle();
  EXPECT_LT(differenceFromPdf({RenderKind::bio, std::nullopt}), kLooksTheSame);
  EXPECT_GT(darkness, 0.5);
}

TEST_F(PageImageTest, APortfolioOrAMissingArtworkHasNoOnePageToShow) {
  AppStore& store = open();
  EXPECT_FALSE(store.renderPageImage({RenderKind::portfolio, std::nullopt}, {}, 256));
  EXPECT_FALSE(store.renderPageImage({RenderKind::singleArtwork, "NO-SUCH-ID"}, {}, 256));
  EXPECT_TRUE(store.state().errorToast);
}

}  // namespace
}  // namespace quorvane
