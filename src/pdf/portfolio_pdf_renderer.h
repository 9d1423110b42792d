// A project as one PDF: a portfolio, or a price, exhibition or raisonné
// catalogue.
//
// The document: the cover; then, when the body has more than one page and
// the contents page is wanted, the contents page; then the body — the
// project statement, the artist statement, the biography (each when
// included and not empty), the CV (when included and not empty), one page
// per artwork in project order, and the contact page.
//
// Decisions of layout:
// - The whole document is laid out first (drawn without its images, to
//   learn where each part begins), then drawn once; the two agree because
//   text is measured exactly as it is drawn.
// - Each part is a named place ("project_statement", "statement",
//   "biography", "cv", "works", "contact"), as is each artwork's page
//   ("work.1", in project order) and each CV section's title ("cv.press"):
//   the contents page's links and the outline point to them by name, which
//   a viewer resolves wherever the place is.
// - Page numbers are the pages' places in the document (the cover is 1, the
//   contents page 2 when there is one); they are printed from the second
//   body page on, never on the cover or the contents page.
// - A text section has one page of room; what does not fit is cut
//   (`statementTruncated`, or `biographyTruncated` for the biography). Its
//   title shows unless the export says otherwise.
// - The CV has up to four pages: more than two raise
//   `cvLongerThanTwoPages`, more than four are cut (`cvTruncated`).
// - An artwork page: the image as large as the page allows above its
//   caption, centred across the text column and, with its caption, a little
//   above the middle of the page; the caption aligned with the image's left
//   edge `metaTopGap` below it — title and year, medium,
//   dimensions as typed with the project's unit; in a price catalogue the
//   price in the export language's conventions and the availability; in a
//   raisonné a catalogue number (the work's place in the project) above
//   every recorded field, the work's text included. With the `artworkText` layout the image takes
//   the upper part of the page and the artwork's text follows the caption.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "images/image_optimizer.h"
#include "model/records.h"
#include "pdf/pdf_canvas.h"
#include "pdf/pdf_image.h"
#include "pdf/pdf_labels.h"
#include "pdf/pdf_style.h"
#include "pdf/table_layout.h"

namespace quorvane {

class PortfolioPdfRenderer {
 public:
  using ImageData = std::function<std::optional<std::vector<std::uint8_t>>(const Artwork&)>;

  // `labels` (of the "portfolio" scope) print every page, the CV pages
  // included: an override of the CV's own document does not change a
  // portfolio.
  PortfolioPdfRenderer(PDFStyle style, PdfStrings labels, ImageData imageDataForArtwork,
                       const ImageOptimizer& optimizer,
                       std::optional<ImagePreparationPolicy> imagePreparationPolicy,
                       double metaTopGap = 8);

  // Where the images of the artwork pages come from, in place of reading
  // each work's bytes and preparing them here: how the app store reuses
  // images prepared for an earlier export. Called from several threads at
  // once; nothing means the page goes without its image.
  using PageImage = std::function<std::optional<PreparedPdfImage>(const Artwork&)>;
  void takePageImagesFrom(PageImage source) { pageImageForArtwork_ = std::move(source); }

  // Without the outer pages only the artwork pages are drawn (no cover,
  // contents, texts, CV or contact page): a preview of those pages.
  // With a sink the PDF is written there as it is made (the result then
  // holds only the warnings).
  // `progress`, when given, is told after each artwork page: pages done,
  // pages in all.
  // The document has `properties`, and its outline one entry per part
  // (under the works one per artwork, under the CV one per section); each
  // line of the contents page is a link to its part.
  using Progress = std::function<void(std::size_t done, std::size_t total)>;
  PdfRenderResult render(const Project& project, const StudioSnapshot& snapshot,
                         const ExportOptions& options, bool includeOuterPages = true,
                         PdfSink sink = {}, const Progress& progress = {},
                         const DocumentProperties& properties = {}) const;

  // One artwork's page as the document shows it (without its page number),
  // on a page of its own begun on `canvas` — a raster canvas, for a
  // thumbnail. `number` is its place in the project, from 1; its image
  // comes through the image data as it is (the web derivative, for a
  // thumbnail), drawn at the size it takes on the page.
  void drawArtworkPage(PdfCanvas& canvas, const Project& project, const StudioSnapshot& snapshot,
                       const Artwork& artwork, int number) const;

  // An artwork's entry in the outline: its title, after its catalogue
  // number in a raisonné. `number` is its place in the project, from 1.
  std::string outlineTitle(const Project& project, const Artwork& artwork, int number) const;

  // The caption lines of an artwork page; `number` is its place in the
  // project, from 1.
  std::vector<std::string> captionLines(const Project& project, const Artwork& artwork,
                                        UnitSystem unit, int number) const;
  // "120 × 90 cm", or empty when no dimension is set.
  std::string dimensionsText(const Artwork& artwork, UnitSystem unit) const;
  // What a price catalogue says of a work's sale: its price and status, or
  // only "Sold" for a sold work; empty when nothing is known.
  std::string saleText(const Project& project, const Artwork& artwork) const;

 private:
  struct Part;
  struct Layout;
  // Draws the body; without `images` the artworks' images are left out (the
  // layout pass); without `outer` only the artwork pages.
  class ImageFeed;
  void drawBody(PdfCanvas& canvas, const Project& project, const StudioSnapshot& snapshot,
                const ExportOptions& options, ImageFeed* images, int pageOffset, bool outer,
                Layout& layout, const Progress& progress = {}) const;
  // The cover; with `image`, the first work's image above the names.
  void drawCover(PdfCanvas& canvas, const Project& project, const StudioSnapshot& snapshot,
                 const PreparedPdfImage* image = nullptr) const;
  void drawContents(PdfCanvas& canvas, const Layout& layout, int pageOffset) const;
  void drawContact(PdfCanvas& canvas, const ArtistDetails& details) const;
  // The lists a catalogue ends with: a price catalogue's price list, an
  // exhibition catalogue's list of works, a raisonné's index by year
  // (`workPages`: the page of each work, in project order).
  struct WorkList {
    std::string_view tocKey;
    std::string_view destination;
    std::vector<TableColumn> columns;
    std::vector<TableRow> rows;
  };
  std::vector<WorkList> workLists(const Project& project, const StudioSnapshot& snapshot,
                                  const std::vector<int>& workPages) const;
  void drawWorkList(PdfCanvas& canvas, const WorkList& list) const;
  bool drawTextSection(PdfCanvas& canvas, std::string_view titleKey, bool showTitle,
                       const std::string& text) const;
  void drawArtwork(PdfCanvas& canvas, const Project& project, const StudioSnapshot& snapshot,
                   const Artwork& artwork, int number, const PreparedPdfImage* image) const;

  PDFStyle style_;
  PdfStrings labels_;
  // The image of one artwork page: from `pageImageForArtwork_` when given,
  // else its bytes prepared by the policy.
  std::optional<PreparedPdfImage> pageImage(const Artwork& artwork) const;

  ImageData imageDataForArtwork_;
  PageImage pageImageForArtwork_;
  const ImageOptimizer& optimizer_;
  std::optional<ImagePreparationPolicy> policy_;
  double metaTopGap_;
};

}  // namespace quorvane
