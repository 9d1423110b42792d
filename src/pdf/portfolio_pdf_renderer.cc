#include "pdf/portfolio_pdf_renderer.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <future>
#include <map>
#include <thread>

#include "model/artist_name.h"
#include "model/text.h"
#include "pdf/cv_pdf_renderer.h"
#include "pdf/pdf_canvas.h"
#include "pdf/price_format.h"
#include "pdf/table_layout.h"
#include "pdf/wrap_cache.h"

#if defined(__SANITIZE_ADDRESS__)
#define QUORVANE_OWN_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUORVANE_OWN_ALLOCATOR 1
#endif
#endif

namespace quorvane {
namespace {

// Hands freed memory of the malloc arenas back to the system. Under a
// sanitizer the allocator is the sanitizer's own, and glibc's trim would
// walk arenas it never made.
void returnFreedMemory() {
#if !defined(QUORVANE_OWN_ALLOCATOR)
  ::malloc_trim(0);
#endif
}

constexpr Color kMuted{0.42, 0.42, 0.42};
constexpr Color kRule{0.8, 0.8, 0.8};
constexpr int kCvPageRoom = 4;

bool hasCVEntries(const CVData& cv) {
  for (const CVDataSection& section : kCVDataSections) {
    for (const CVEntry& entry : cv.*section.entries) {
      for (const auto& [field, value] : entry) {
        if (!isBlank(value)) return true;
      }
    }
  }
  return false;
}

std::string_view statusKey(ArtworkStatus status) {
  switch (status) {
    case ArtworkStatus::available:
      return "pdf.artwork.status.available";
    case ArtworkStatus::sold:
      return "pdf.artwork.status.sold";
    case ArtworkStatus::inProgress:
      return "pdf.artwork.status.in_progress";
  }
  return "pdf.artwork.status.available";
}

}  // namespace

struct PortfolioPdfRenderer::Part {
  std::string title;
  int bodyPage = 0;  // where the part begins, counting the cover as 1
  std::string destination;
  std::vector<OutlineEntry> entries;  // under it in the outline
};

struct PortfolioPdfRenderer::Layout {
  std::vector<Part> parts;
  std::vector<PdfWarning> warnings;
  int bodyPages = 0;
};

PortfolioPdfRenderer::PortfolioPdfRenderer(PDFStyle style, PdfStrings labels,
                                           ImageData imageDataForArtwork,
                                           const ImageOptimizer& optimizer,
                                           std::optional<ImagePreparationPolicy> policy,
                                           double metaTopGap)
    : style_(style),
      labels_(std::move(labels)),
      imageDataForArtwork_(std::move(imageDataForArtwork)),
      optimizer_(optimizer),
      policy_(policy),
      metaTopGap_(metaTopGap) {}

std::optional<PreparedPdfImage> PortfolioPdfRenderer::pageImage(const Artwork& artwork) const {
  if (pageImageForArtwork_) return pageImageForArtwork_(artwork);
  std::optional<std::vector<std::uint8_t>> bytes =
      imageDataForArtwork_ ? imageDataForArtwork_(artwork) : std::nullopt;
  if (!bytes) return std::nullopt;
  return preparePdfImage(optimizer_, std::move(*bytes), policy_);
}

std::string PortfolioPdfRenderer::outlineTitle(const Project& project, const Artwork& artwork,
                                               int number) const {
  std::string title = trimmedWhitespaceAndNewlines(artwork.title);
  if (title.empty()) title = labels_.label("pdf.artwork.untitled");
  if (project.kind == ProjectKind::catalogue && project.catalogueKind == CatalogueKind::raisonne) {
    return labels_.format("pdf.raisonne.number", {{"number", std::to_string(number)}}) + " — " +
           title;
  }
  return title;
}

std::vector<std::string> PortfolioPdfRenderer::captionLines(const Project& project,
                                                            const Artwork& artwork, UnitSystem unit,
                                                            int number) const {
  // What each document's caption carries is written down in
  // docs/document-design.md: a raisonné leads with the work's number and
  // never prints a price; only a price catalogue prints price and status.
  std::vector<std::string> lines;
  const bool raisonne =
      project.kind == ProjectKind::catalogue && project.catalogueKind == CatalogueKind::raisonne;
  const bool priceList =
      project.kind == ProjectKind::catalogue &&
      project.catalogueKind.value_or(CatalogueKind::price) == CatalogueKind::price;
  if (raisonne) {
    lines.push_back(labels_.format("pdf.raisonne.number", {{"number", std::to_string(number)}}));
  }
  const std::string title = trimmedWhitespaceAndNewlines(artwork.title);
  lines.push_back(
      joinedNonEmpty({isolatedText(title.empty() ? labels_.label("pdf.artwork.untitled") : title),
                      trimmedWhitespaceAndNewlines(artwork.year)},
                     ", "));
  if (!isBlank(artwork.medium)) lines.push_back(trimmedWhitespaceAndNewlines(artwork.medium));
  const std::string dimensions = dimensionsText(artwork, unit);
  if (!dimensions.empty()) lines.push_back(dimensions);
  if (priceList) {
    const std::string sale = saleText(project, artwork);
    if (!sale.empty()) lines.push_back(sale);
  }
  return lines;
}

std::string PortfolioPdfRenderer::dimensionsText(const Artwork& artwork, UnitSystem unit) const {
  const std::string dimensions =
      joinedNonEmpty({trimmedWhitespaceAndNewlines(artwork.artworkWidth),
                      trimmedWhitespaceAndNewlines(artwork.artworkHeight),
                      trimmedWhitespaceAndNewlines(artwork.artworkDepth)},
                     " × ");
  return dimensions.empty() ? dimensions : dimensions + "\u00a0" + std::string(rawValue(unit));
}

std::string PortfolioPdfRenderer::saleText(const Project& project, const Artwork& artwork) const {
  // A sold work is sold: its status, not the price it went for.
  if (artwork.status == ArtworkStatus::sold) return labels_.label(statusKey(*artwork.status));
  std::vector<std::string> sale;
  const std::optional<std::string> currency =
      artwork.priceCurrency ? artwork.priceCurrency : project.currency;
  if (artwork.priceCents) {
    sale.push_back(formatPrice(*artwork.priceCents, currency.value_or(""), labels_.locale()));
  }
  if (artwork.status) sale.push_back(labels_.label(statusKey(*artwork.status)));
  return joinedNonEmpty(sale, " · ");
}

// The artworks' images, made ready in page order a few ahead of the page
// being drawn: re-encoding (web quality) runs on every core while the pages
// are drawn, and no more than a few images are in memory at any time,
// however many artworks the document has.
class PortfolioPdfRenderer::ImageFeed {
 public:
  ImageFeed(const PortfolioPdfRenderer& renderer, const std::vector<Artwork>& artworks)
      : renderer_(renderer),
        artworks_(artworks),
        window_(renderer.policy_ ? std::max(1u, std::min(std::thread::hardware_concurrency(), 4u))
                                 : 1u) {
    if (window_ > 1) oneThreadEach_.emplace();
  }
  ~ImageFeed() {
    for (auto& [index, pending] : pending_) pending.wait();
  }

  // The image of artwork `index`; asked for in increasing order.
  std::optional<PreparedPdfImage> take(std::size_t index) {
    if (first_ && index == 0) return std::exchange(first_, std::nullopt);
    while (next_ < artworks_.size() && next_ < index + window_) launch(next_++);
    const auto it = pending_.find(index);
    if (it == pending_.end()) return std::nullopt;
    std::optional<PreparedPdfImage> image = it->second.get();
    pending_.erase(it);
    return image;
  }

  // The first artwork's image, for the cover, kept until its own page
  // takes it: one preparation, the same bytes on both pages.
  const PreparedPdfImage* first() {
    if (!first_) first_ = take(0);
    return first_ ? &*first_ : nullptr;
  }

 private:
  void launch(std::size_t index) {
    pending_.emplace(index, std::async(std::launch::async, [this, index] {
                       std::optional<PreparedPdfImage> image =
                           renderer_.pageImage(artworks_[index]);
                       // Each worker thread allocates from a malloc arena of its own;
                       // hand the decoder's freed buffers back, or they pile up across
                       // the arenas of many threads.
                       if (renderer_.policy_) returnFreedMemory();
                       return image;
                     }));
  }

  const PortfolioPdfRenderer& renderer_;
  const std::vector<Artwork>& artworks_;
  const std::size_t window_;
  std::size_t next_ = 0;
  // Images are made side by side, each on one thread.
  std::optional<OneThreadPerDerivation> oneThreadEach_;
  std::map<std::size_t, std::future<std::optional<PreparedPdfImage>>> pending_;
  std::optional<PreparedPdfImage> first_;
};

void PortfolioPdfRenderer::drawCover(PdfCanvas& canvas, const Project& project,
                                     const StudioSnapshot& snapshot,
                                     const PreparedPdfImage* image) const {
  canvas.beginPage();
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const double left = style_.margin;
  const double width = page.width - 2 * style_.margin;
  std::string name = printedArtistName(snapshot.details);
  if (name.empty()) name = labels_.label("pdf.cover.artist_name_fallback");
  const TextStyle nameStyle{style_.coverNameSize, FontWeight::semibold, {}};
  const TextStyle titleStyle{style_.coverTitleSize, FontWeight::regular, {}};
  const TextStyle smallStyle{style_.bodySize, FontWeight::regular, kMuted};

  // The artist's name is the largest thing on the page, then the title,
  // then what the document is and its year, on one line: a block set on
  // the left margin, its top a little above the middle of the page — or,
  // under a work's image, below the image. Long names and titles wrap
  // inside the margins.
  const std::vector<std::string> nameLines = canvas.wrapParagraph(name, width, nameStyle, 3);
  const std::string title = trimmedWhitespaceAndNewlines(project.projectTitle);
  const std::vector<std::string> titleLines =
      title.empty() ? std::vector<std::string>{}
                    : canvas.wrapParagraph(title, width, titleStyle, 4);
  // "Spring Fair 2026" says its year already: once is enough.
  std::string year = trimmedWhitespaceAndNewlines(project.projectYear);
  if (title.ends_with(year) &&
      (title.size() == year.size() ||
       !std::isalnum(static_cast<unsigned char>(title[title.size() - year.size() - 1])))) {
    year.clear();
  }
  const std::string kind =
      project.kind == ProjectKind::portfolio ? labels_.label("pdf.cover.portfolio_title") : "";
  const std::string footer = joinedNonEmpty({kind, year}, " · ");

  const double nameAdvance = nameStyle.size * 1.15;
  const double titleAdvance = titleStyle.size * 1.35;
  const double blockHeight = static_cast<double>(nameLines.size()) * nameAdvance + nameStyle.size +
                             static_cast<double>(titleLines.size()) * titleAdvance +
                             (footer.empty() ? 0 : smallStyle.size * 2);
  double y = height * 0.38;

  // The image hangs from the top margin on the same left edge, as large as
  // the room above the block allows, at most a little over half the page.
  struct Placed {
    double width, height;
  };
  std::optional<Placed> placed;
  if (image != nullptr && image->preparedPixelWidth > 0 && image->preparedPixelHeight > 0) {
    const double gap = nameStyle.size * 1.3;
    const double room =
        std::min(height * 0.55, height - style_.margin - blockHeight - gap) - style_.margin;
    const double w = static_cast<double>(image->preparedPixelWidth);
    const double h = static_cast<double>(image->preparedPixelHeight);
    const double scale = std::min(width / w, room / h);
    if (scale > 0 && room >= height * 0.2) {
      placed = Placed{w * scale, h * scale};
      y = std::max(y, style_.margin + placed->height + gap);
    }
  }
  {
    const StructureScope heading(canvas, "H1");
    for (const std::string& line : nameLines) {
      canvas.drawText(line, left, y, nameStyle);
      y += nameAdvance;
    }
  }
  y += nameStyle.size * 0.45;
  canvas.strokeLine(left, y, left + 48, y, 0.8, kMuted);
  y += nameStyle.size * 0.55;
  if (!titleLines.empty()) {
    const StructureScope paragraph(canvas, "P");
    for (const std::string& line : titleLines) {
      canvas.drawText(line, left, y, titleStyle);
      y += titleAdvance;
    }
  }
  if (!footer.empty()) {
    const StructureScope paragraph(canvas, "P");
    canvas.drawText(footer, left, y + smallStyle.size * 0.6, smallStyle);
  }
  if (placed) {
    // Read after the names, as the work it is.
    const Artwork& work = snapshot.artworks.images.front();
    canvas.beginFigure(joinedNonEmpty(
        {trimmedWhitespaceAndNewlines(work.title), trimmedWhitespaceAndNewlines(work.year)}, ", "));
    canvas.drawJpeg(image->jpeg, image->preparedPixelWidth, image->preparedPixelHeight, left,
                    style_.margin, placed->width, placed->height, image->colour, work.id);
    canvas.endStructure();
  }
}

bool PortfolioPdfRenderer::drawTextSection(PdfCanvas& canvas, std::string_view titleKey,
                                           bool showTitle, const std::string& text) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const TextStyle title{style_.sectionTitleSize, FontWeight::semibold, {}};
  const TextStyle body{style_.textBodySize, FontWeight::regular, {}};
  double top = style_.margin;
  if (showTitle) {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(labels_.label(titleKey), style_.margin, top, title);
    top += 1.8 * canvas.lineHeight(title);
  }
  const StructureScope paragraph(canvas, "P");
  return canvas
      .flowText(text, style_.margin, top, textColumnWidth(style_, page.width),
                height - style_.margin, body, style_.textLineHeight)
      .complete;
}

void PortfolioPdfRenderer::drawArtwork(PdfCanvas& canvas, const Project& project,
                                       const StudioSnapshot& snapshot, const Artwork& artwork,
                                       int number, const PreparedPdfImage* image) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const double left = style_.margin;
  const double width = page.width - 2 * style_.margin;
  const double bottom = height - style_.margin;
  const TextStyle first{style_.bodySize, FontWeight::medium, {}};
  const TextStyle rest{style_.bodySize, FontWeight::regular, kMuted};
  const TextStyle body{style_.bodySize, FontWeight::regular, {}};

  // A raisonné records everything about a work, its text included.
  const bool raisonne =
      project.kind == ProjectKind::catalogue && project.catalogueKind == CatalogueKind::raisonne;
  // Each caption line wraps inside the column, a long title over several
  // lines; the caption never takes more than half the page from the image.
  struct CaptionLine {
    std::string text;
    bool title;
  };
  std::vector<CaptionLine> caption;
  const auto captionRoom =
      static_cast<std::size_t>((bottom - style_.margin) * 0.5 / style_.lineHeight);
  const std::vector<std::string> lines =
      captionLines(project, artwork, snapshot.artworks.unit, number);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool title = i == (raisonne ? 1u : 0u);
    for (std::string& part : canvas.wrapParagraph(lines[i], width, title ? first : rest)) {
      if (caption.size() < captionRoom) caption.push_back({std::move(part), title});
    }
  }
  const double captionHeight = static_cast<double>(caption.size()) * style_.lineHeight;
  const bool withText =
      (snapshot.artworks.layoutMode == ArtworkLayoutMode::artworkText || raisonne) &&
      !isBlank(artwork.artworkText);
  const double room = bottom - style_.margin - metaTopGap_ - captionHeight;
  const double boxHeight = withText ? room * 0.58 : room;

  // The image's place: as large as the box allows, centred across the
  // column, at the top of the box.
  double imageLeft = left, imageBottom = style_.margin;
  if (image != nullptr && image->preparedPixelWidth > 0 && image->preparedPixelHeight > 0) {
    const double w = static_cast<double>(image->preparedPixelWidth);
    const double h = static_cast<double>(image->preparedPixelHeight);
    const double scale = std::min(width / w, boxHeight / h);
    const double drawnWidth = w * scale, drawnHeight = h * scale;
    imageLeft = left + (width - drawnWidth) / 2;
    // A wide image alone on its page sits a little above the middle with
    // its caption (the optical centre), not stuck to the top; with a text
    // below, it keeps to the top.
    const double spare = withText ? 0 : room - drawnHeight;
    const double top = style_.margin + spare * 0.4;
    // Read aloud as "Figure: Tide I, 2026, Oil on linen, 120 × 80 cm".
    std::string alternative;
    for (const std::string& line : lines) {
      alternative += (alternative.empty() ? "" : ", ") + line;
    }
    for (const std::string_view mark : {"\u2068", "\u2069"}) {
      for (std::size_t at = alternative.find(mark); at != std::string::npos;
           at = alternative.find(mark)) {
        alternative.erase(at, mark.size());
      }
    }
    canvas.beginFigure(alternative);
    canvas.drawJpeg(image->jpeg, image->preparedPixelWidth, image->preparedPixelHeight, imageLeft,
                    top, drawnWidth, drawnHeight, image->colour, artwork.id);
    canvas.endStructure();
    imageBottom = top + drawnHeight;
  }

  // The caption starts under the image's left edge, or at the margin when
  // one of its lines would run past the right one from there.
  double captionLeft = imageLeft;
  for (const CaptionLine& line : caption) {
    if (imageLeft + canvas.textWidth(line.text, line.title ? first : rest) > left + width) {
      captionLeft = left;
    }
  }
  double y = imageBottom + metaTopGap_;
  canvas.beginStructure("P");
  for (const CaptionLine& line : caption) {
    // The title stands out; in a raisonné it follows the number.
    canvas.drawText(line.text, captionLeft, y, line.title ? first : rest);
    y += style_.lineHeight;
  }
  canvas.endStructure();
  if (withText) {
    const StructureScope paragraph(canvas, "P");
    y += style_.lineHeight * 0.6;
    // Under a narrow image the text keeps a readable measure, running on
    // towards the right margin.
    const double column =
        std::min(std::max(width - (imageLeft - left) * 2, width * 0.62), left + width - imageLeft);
    const auto room = static_cast<std::size_t>(std::max(0.0, (bottom - y) / style_.lineHeight));
    for (const WrappedArtworkLine& line : ArtworkDescriptionWrapCache::shared().lines(
             canvas, trimmedWhitespaceAndNewlines(artwork.artworkText), body, column, room + 1)) {
      if (y + style_.lineHeight > bottom) break;  // the page is full
      if (!line.isSpacer) {
        canvas.drawText(line.text, imageLeft, y + (style_.lineHeight - canvas.lineHeight(body)) / 2,
                        body);
      }
      y += style_.lineHeight;
    }
  }
}

void PortfolioPdfRenderer::drawContact(PdfCanvas& canvas, const ArtistDetails& details) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  std::string name = printedArtistName(details);
  if (name.empty()) name = labels_.label("pdf.cover.artist_name_fallback");
  const TextStyle nameStyle{style_.sectionTitleSize, FontWeight::bold, {}};
  const TextStyle lineStyle{style_.bodySize - 1, FontWeight::regular, kMuted};
  const auto trimmed = [](const std::string& text) { return trimmedWhitespaceAndNewlines(text); };
  // Each line of each field on a line of its own: an address of two lines
  // drawn as one text would take two lines' height and cover the next.
  std::vector<std::string> lines;
  for (const std::string& field :
       {details.address,
        joinedNonEmpty({trimmed(details.zipcode), trimmed(details.currentCity)}, " "),
        details.country, details.email, details.phone, details.website}) {
    std::size_t start = 0;
    while (start <= field.size()) {
      const std::size_t end = std::min(field.find('\n', start), field.size());
      const std::string line = trimmed(field.substr(start, end - start));
      if (!line.empty()) lines.push_back(line);
      start = end + 1;
    }
  }
  const double nameHeight = canvas.lineHeight(nameStyle);
  const double lineHeight = canvas.lineHeight(lineStyle) + 3;
  const double blockHeight = nameHeight + 8 + lineHeight * static_cast<double>(lines.size());
  double y = (height - blockHeight) / 2;
  {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(name, (page.width - canvas.textWidth(name, nameStyle)) / 2, y, nameStyle);
  }
  y += nameHeight + 8;
  const StructureScope paragraph(canvas, "P");
  for (const std::string& line : lines) {
    canvas.drawText(line, (page.width - canvas.textWidth(line, lineStyle)) / 2, y, lineStyle);
    y += lineHeight;
  }
}

std::vector<PortfolioPdfRenderer::WorkList> PortfolioPdfRenderer::workLists(
    const Project& project, const StudioSnapshot& snapshot,
    const std::vector<int>& workPages) const {
  if (project.kind != ProjectKind::catalogue) return {};
  const auto& artworks = snapshot.artworks.images;
  const UnitSystem unit = snapshot.artworks.unit;
  const auto column = [&](std::string_view key, double share, bool right = false) {
    return TableColumn{labels_.label(key), share, right};
  };
  const auto titleOf = [&](const Artwork& artwork) {
    const std::string title = trimmedWhitespaceAndNewlines(artwork.title);
    return isolatedText(title.empty() ? labels_.label("pdf.artwork.untitled") : title);
  };
  const auto trimmed = [](const std::string& text) { return trimmedWhitespaceAndNewlines(text); };
  WorkList list;
  switch (project.catalogueKind.value_or(CatalogueKind::price)) {
    case CatalogueKind::price:
    case CatalogueKind::exhibition: {
      const bool prices =
          project.catalogueKind.value_or(CatalogueKind::price) == CatalogueKind::price;
      list = prices ? WorkList{"pdf.toc.price_list", "price-list", {}, {}}
                    : WorkList{"pdf.toc.checklist", "checklist", {}, {}};
      list.columns = {column("pdf.list.number", 0.5), column("pdf.list.title", 2.2),
                      column("pdf.list.year", 0.7), column("pdf.list.medium", 1.8),
                      column("pdf.list.dimensions", 1.4)};
      if (prices) {
        list.columns.push_back(column("pdf.list.price", 1.2, true));
        list.columns.push_back(column("pdf.list.status", 1.1));
      }
      for (std::size_t i = 0; i < artworks.size(); ++i) {
        const Artwork& artwork = artworks[i];
        TableRow row{{std::to_string(i + 1), titleOf(artwork), trimmed(artwork.year),
                      trimmed(artwork.medium), dimensionsText(artwork, unit)}};
        if (prices) {
          // A sold work says so, without the price it went for.
          const bool sold = artwork.status == ArtworkStatus::sold;
          const std::optional<std::string> currency =
              artwork.priceCurrency ? artwork.priceCurrency : project.currency;
          row.cells.push_back(
              sold || !artwork.priceCents
                  ? std::string()
                  : formatPrice(*artwork.priceCents, currency.value_or(""), labels_.locale()));
          row.cells.push_back(artwork.status ? labels_.label(statusKey(*artwork.status)) : "");
        }
        list.rows.push_back(std::move(row));
      }
      break;
    }
    case CatalogueKind::raisonne: {
      // Every work under its year, the years in order, works without a
      // year last; each with its number and the page it is on.
      list = WorkList{"pdf.toc.index", "index", {}, {}};
      list.columns = {column("pdf.list.year", 0.8), column("pdf.list.number", 0.6),
                      column("pdf.list.title", 4.2), column("pdf.list.page", 0.7, true)};
      std::vector<std::size_t> order(artworks.size());
      for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
      const auto yearOf = [&](std::size_t i) { return trimmed(artworks[i].year); };
      std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const std::string ya = yearOf(a), yb = yearOf(b);
        if (ya.empty() != yb.empty()) return yb.empty();
        return ya < yb;
      });
      std::string previous = "\n";
      for (const std::size_t i : order) {
        const std::string year = yearOf(i);
        list.rows.push_back(TableRow{{year == previous ? "" : (year.empty() ? "—" : year),
                                      std::to_string(i + 1), titleOf(artworks[i]),
                                      i < workPages.size() ? std::to_string(workPages[i]) : ""}});
        previous = year;
      }
      break;
    }
  }
  return {std::move(list)};
}

void PortfolioPdfRenderer::drawWorkList(PdfCanvas& canvas, const WorkList& list) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const TextStyle title{style_.sectionTitleSize, FontWeight::semibold, {}};
  {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(labels_.label(list.tocKey), style_.margin, style_.margin, title);
  }
  TableFrame frame;
  frame.left = style_.margin;
  frame.width = page.width - 2 * style_.margin;
  frame.top = style_.margin + 1.8 * canvas.lineHeight(title);
  frame.bottom = height - style_.margin;
  frame.nextPage = [&] {
    canvas.beginPage();
    drawPageNumber(canvas, style_, canvas.pageCount());
    return style_.margin;
  };
  drawTable(canvas, style_, list.columns, list.rows, frame);
}

void PortfolioPdfRenderer::drawContents(PdfCanvas& canvas, const Layout& layout,
                                        int pageOffset) const {
  canvas.beginPage();
  const PageSize page = canvas.size();
  const TextStyle title{style_.sectionTitleSize, FontWeight::semibold, {}};
  const TextStyle entry{style_.bodySize, FontWeight::regular, {}};
  const TextStyle dots{style_.bodySize, FontWeight::regular, kRule};
  {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(labels_.label("pdf.toc.title"), style_.margin, style_.margin, title);
  }
  double y = style_.margin + 1.8 * canvas.lineHeight(title) + style_.lineHeight;
  const double right = page.width - style_.margin;
  const double dotWidth = canvas.textWidth(".", dots);
  // A line is a link from the left margin to the page number, as tall as
  // the space between lines less a point above and below: a viewer rounds
  // a link's area out to whole points, and two lines' areas never meet.
  const double linkHeight = style_.lineHeight * 1.6 - 2;
  const double linkTop = (canvas.lineHeight(entry) - linkHeight) / 2;
  const StructureScope contents(canvas, "TOC");
  for (const Part& part : layout.parts) {
    const StructureScope item(canvas, "TOCI");
    canvas.beginStructure("Reference");
    const std::string number = std::to_string(part.bodyPage + pageOffset);
    const double numberWidth = canvas.textWidth(number, entry);
    const double titleWidth = canvas.textWidth(part.title, entry);
    canvas.drawText(part.title, style_.margin, y, entry);
    canvas.drawText(number, right - numberWidth, y, entry);
    canvas.endStructure();  // the leaders are not read
    // Leaders from the title to the number.
    const double from = style_.margin + titleWidth + 6;
    const double to = right - numberWidth - 6;
    if (to > from && dotWidth > 0) {
      const auto count = static_cast<std::size_t>((to - from) / (dotWidth * 2.2));
      std::string leader;
      for (std::size_t i = 0; i < count; ++i) leader += i == 0 ? "." : " .";
      canvas.drawText(leader, to - canvas.textWidth(leader, dots), y, dots);
    }
    canvas.linkToDestination(part.destination, style_.margin, y + linkTop, right - style_.margin,
                             linkHeight);
    y += style_.lineHeight * 1.6;
  }
}

void PortfolioPdfRenderer::drawBody(PdfCanvas& canvas, const Project& project,
                                    const StudioSnapshot& snapshot, const ExportOptions& options,
                                    ImageFeed* images, int pageOffset, bool outer, Layout& layout,
                                    const Progress& progress) const {
  const auto bodyPage = [&] { return canvas.pageCount() - pageOffset; };
  const auto beginPart = [&](std::string_view tocKey, std::string_view destination) {
    canvas.beginPage();
    drawPageNumber(canvas, style_, canvas.pageCount());
    canvas.markDestination(destination);
    layout.parts.push_back(Part{labels_.label(tocKey), bodyPage(), std::string(destination), {}});
  };
  struct TextPart {
    bool included;
    const std::string& text;
    std::string_view tocKey, destination, titleKey;
    std::optional<bool> showTitle;
    PdfWarning warning;
  };
  const TextPart texts[] = {
      {options.includeProjectStatement, snapshot.projectStatement, "pdf.toc.project_statement",
       "project_statement", "pdf.portfolio.section.project_statement_title",
       options.showProjectStatementTitle, PdfWarning::statementTruncated},
      {options.includeStatement, snapshot.statement, "pdf.toc.statement", "statement",
       "pdf.portfolio.section.statement_title", options.showStatementTitle,
       PdfWarning::statementTruncated},
      {options.includeBiography, snapshot.biography, "pdf.toc.biography", "biography",
       "pdf.portfolio.section.biography_title", options.showBiographyTitle,
       PdfWarning::biographyTruncated},
  };
  for (const TextPart& part : texts) {
    if (!outer || !part.included || isBlank(part.text)) continue;
    beginPart(part.tocKey, part.destination);
    if (!drawTextSection(canvas, part.titleKey, part.showTitle.value_or(true), part.text)) {
      layout.warnings.push_back(part.warning);
    }
  }
  if (outer && options.includeCV && hasCVEntries(snapshot.cv)) {
    const int firstPage = canvas.pageCount() + 1 - pageOffset;
    const CvDrawResult cv =
        CvPdfRenderer(style_, labels_)
            .draw(canvas, snapshot.details, snapshot.cv, kCvPageRoom, canvas.pageCount() + 1);
    layout.parts.push_back(
        Part{labels_.label("pdf.toc.cv"), firstPage, std::string(kCvDestination), cv.sections});
    if (cv.pages > 2) layout.warnings.push_back(PdfWarning::cvLongerThanTwoPages);
    if (cv.truncated) layout.warnings.push_back(PdfWarning::cvTruncated);
  }
  const auto& artworks = snapshot.artworks.images;
  std::vector<int> workPages;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    if (i == 0) {
      beginPart("pdf.toc.artworks", "works");
    } else {
      canvas.beginPage();
      drawPageNumber(canvas, style_, canvas.pageCount());
    }
    const int number = static_cast<int>(i + 1);
    const std::string destination = "work." + std::to_string(number);
    canvas.markDestination(destination);
    workPages.push_back(canvas.pageCount());
    layout.parts.back().entries.push_back(
        OutlineEntry{outlineTitle(project, artworks[i], number), destination});
    const std::optional<PreparedPdfImage> prepared =
        images != nullptr ? images->take(i) : std::nullopt;
    const PreparedPdfImage* image = prepared ? &*prepared : nullptr;
    drawArtwork(canvas, project, snapshot, artworks[i], number, image);
    if (progress) progress(i + 1, artworks.size());
  }
  if (outer && !artworks.empty()) {
    for (const WorkList& list : workLists(project, snapshot, workPages)) {
      beginPart(list.tocKey, list.destination);
      drawWorkList(canvas, list);
    }
  }
  if (outer) {
    beginPart("pdf.toc.contact", "contact");
    drawContact(canvas, snapshot.details);
  }
  layout.bodyPages = bodyPage();
}

void PortfolioPdfRenderer::drawArtworkPage(PdfCanvas& canvas, const Project& project,
                                           const StudioSnapshot& snapshot, const Artwork& artwork,
                                           int number) const {
  canvas.beginPage();
  std::optional<PreparedPdfImage> image;
  if (std::optional<std::vector<std::uint8_t>> bytes = imageDataForArtwork_(artwork)) {
    if (const std::optional<PixelSize> size = optimizer_.pixelSize(*bytes)) {
      image = PreparedPdfImage{std::move(*bytes), std::nullopt, 0,
                               size->width,       size->height, JpegColour{}};
    }
  }
  drawArtwork(canvas, project, snapshot, artwork, number, image ? &*image : nullptr);
}

PdfRenderResult PortfolioPdfRenderer::render(const Project& project, const StudioSnapshot& snapshot,
                                             const ExportOptions& options, bool includeOuterPages,
                                             PdfSink sink, const Progress& progress,
                                             const DocumentProperties& properties) const {
  const PageSize size = pageSize(options.format, project.orientation);
  ImageFeed images(*this, snapshot.artworks.images);
  Layout drawn;
  PdfCanvas canvas(size, sink);
  canvas.setProperties(properties);
  if (!includeOuterPages) {
    canvas.beginStructure("Document");
    drawBody(canvas, project, snapshot, options, &images, 0, false, drawn, progress);
  } else {
    // Where every part begins, learnt by laying the body out without images.
    Layout planned;
    {
      PdfCanvas scratch(size);
      drawCover(scratch, project, snapshot);
      drawBody(scratch, project, snapshot, options, nullptr, 0, true, planned);
    }
    const bool withContents = options.includeTableOfContents && planned.bodyPages > 1;
    const int pageOffset = withContents ? 1 : 0;
    canvas.beginStructure("Document");
    const bool coverImage = options.includeCoverImage && !snapshot.artworks.images.empty();
    drawCover(canvas, project, snapshot, coverImage ? images.first() : nullptr);
    if (withContents) drawContents(canvas, planned, pageOffset);
    drawBody(canvas, project, snapshot, options, &images, pageOffset, true, drawn, progress);
  }

  for (const Part& part : drawn.parts) {
    const int entry = canvas.addOutlineEntry(0, part.title, part.destination);
    for (const OutlineEntry& under : part.entries) {
      canvas.addOutlineEntry(entry, under.title, under.destination);
    }
  }

  PdfRenderResult result;
  result.warnings = drawn.warnings;
  result.data = canvas.finish();
  return result;
}

}  // namespace quorvane
