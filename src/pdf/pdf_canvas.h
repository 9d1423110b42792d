// A PDF being drawn, page by page, into memory: cairo for the drawing,
// pango for the text. Coordinates are PDF points from the page's top left.
//
// Text is set in Inter (fontconfig falls back, glyph by glyph, to another
// installed face for characters Inter lacks); fonts are embedded as
// subsets, and the text stays extractable. Text is measured with hinting of
// metrics and rounding of glyph positions turned off, so a measurement made
// before drawing (to lay a page out) is exactly what the drawing gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "images/image_optimizer.h"
#include "model/enums.h"
#include "pdf/pdf_image_colour.h"

namespace quorvane {

struct PageSize {
  double width = 0;
  double height = 0;
  bool operator==(const PageSize&) const = default;
};

// a4 595.28 × 841.89, letter 612 × 792; landscape swaps the sides.
PageSize pageSize(PdfFormat format,
                  DocumentOrientation orientation = DocumentOrientation::portrait);

enum class FontWeight { regular, medium, semibold, bold };

struct Color {
  double red = 0.1;
  double green = 0.1;
  double blue = 0.1;
};

struct TextStyle {
  double size = 10;
  FontWeight weight = FontWeight::regular;
  Color color;
};

// Where a flow of text ended.
struct TextFlowResult {
  double bottom = 0;      // below the last line drawn
  bool complete = true;   // false when text was left over at `maxY`
  std::size_t lines = 0;  // lines drawn
};

// What a viewer shows of a document: its title bar, its properties. Empty
// fields are left out. The creation date is the moment the document is
// finished, as cairo writes it.
struct DocumentProperties {
  std::string title;
  std::string author;
  std::string subject;
  std::string keywords;
  std::string creator;
  std::string language;  // "fr": the language the document is written in
  bool operator==(const DocumentProperties&) const = default;
};

// An entry of a document's outline: its title, and the named place it
// points to.
struct OutlineEntry {
  std::string title;
  std::string destination;
  bool operator==(const OutlineEntry&) const = default;
};

// Where the bytes of a PDF go as they are made: `write` takes the next
// ones (false stops the writing); `overwrite`, where there is one, writes
// again over bytes already taken — as many as it is given, `offset` bytes
// into the file — so a finished file can be mended in place.
struct PdfSink {
  using Write = std::function<bool(std::span<const std::uint8_t>)>;
  using Overwrite = std::function<bool(std::uint64_t offset, std::span<const std::uint8_t>)>;

  PdfSink() = default;
  template <typename F>
    requires std::is_invocable_r_v<bool, F&, std::span<const std::uint8_t>>
  PdfSink(F write, Overwrite overwrite = {})  // NOLINT: a write alone is a sink
      : write(std::move(write)), overwrite(std::move(overwrite)) {}

  explicit operator bool() const { return static_cast<bool>(write); }

  Write write;
  Overwrite overwrite;
};

// Decodes an image to fit a box of pixels, for a page drawn as an image;
// nothing when it can't (the image is then left out).
using RasterDecoder = std::function<std::optional<RgbPixels>(std::span<const std::uint8_t> image,
                                                             int maxWidth, int maxHeight)>;

class PdfCanvas {
 public:
  // Without a sink the document is kept in memory and `finish` returns it;
  // with one, its bytes go there as cairo writes them (a document of many
  // images never has to fit in memory) and `finish` returns nothing.
  explicit PdfCanvas(PageSize size, PdfSink sink = {});
  ~PdfCanvas();
  PdfCanvas(const PdfCanvas&) = delete;
  PdfCanvas& operator=(const PdfCanvas&) = delete;

  // A canvas that draws on pixels instead of a PDF, with the same fonts,
  // measures and layout: `pixelsPerPoint` pixels to a point, a white page,
  // images through `decode` at the size they are drawn. Only the first page
  // is kept (later ones are laid out and let go); `finishRaster` returns
  // it. For page thumbnails and previews, without writing a PDF and
  // reading it back.
  static std::unique_ptr<PdfCanvas> raster(PageSize size, double pixelsPerPoint,
                                           RasterDecoder decode);
  // Only `raster` can name the key, so only it makes such a canvas.
  class RasterKey {
    friend class PdfCanvas;
    RasterKey() = default;
  };
  PdfCanvas(RasterKey, PageSize size);
  // The pixels of the first page (a raster canvas only).
  RgbPixels finishRaster();

  const PageSize& size() const { return size_; }
  // Ends the page being drawn (if any) and starts the next one.
  void beginPage();
  int pageCount() const { return pages_; }

  // The height one line of `style` takes, and the width of `text`.
  double lineHeight(const TextStyle& style) const;
  double textWidth(std::string_view text, const TextStyle& style) const;
  // One line of text whose top is at `y`; no wrapping.
  void drawText(std::string_view text, double x, double y, const TextStyle& style);

  // Flows `text` into the column from `x` to `x + width`, its first line's
  // top at `y`, one line every `lineHeight`, as long as a whole line fits
  // above `maxY`. Lines break between words (inside a word only when the
  // word alone is wider than the column); a line break starts a new line, an
  // empty line leaves an empty line. Draws nothing when `draw` is false, to
  // measure. Only the lines that fit are laid out, so the time it takes
  // follows the room, however long the text.
  TextFlowResult flowText(std::string_view text, double x, double y, double width, double maxY,
                          const TextStyle& style, double lineHeight, bool draw = true);

  // The first `maxLines` lines one paragraph (no line breaks in it) breaks
  // into at `width`, as `flowText` would break it.
  std::vector<std::string> wrapParagraph(std::string_view paragraph, double width,
                                         const TextStyle& style,
                                         std::size_t maxLines = SIZE_MAX) const;

  void fillRect(double x, double y, double width, double height, const Color& color);
  void strokeLine(double x1, double y1, double x2, double y2, double lineWidth, const Color& color);

  // Places a JPEG in the rectangle, its bytes embedded as they are (no
  // decoding, no re-encoding): `pixelWidth` × `pixelHeight` must be the
  // JPEG's own size. The PDF reads its values as `colour` says (its own
  // profile, inverted CMYK) when the sink can be overwritten; else as
  // device grey, RGB or CMYK. JPEGs drawn with the same non-empty
  // `identity` must be the same bytes: the file holds them once.
  void drawJpeg(std::span<const std::uint8_t> jpeg, std::int64_t pixelWidth,
                std::int64_t pixelHeight, double x, double y, double width, double height,
                const JpegColour& colour = {}, std::string_view identity = {});

  // Navigation and structure. A raster canvas has none of it and ignores
  // these calls.
  //
  // Sets what a viewer shows of the document; its language is the one a
  // screen reader reads it in. The document also carries them as XMP
  // metadata, with an sRGB output intent.
  void setProperties(const DocumentProperties& properties);
  // What is drawn from `beginStructure` to its `endStructure` is one
  // element of the document's structure tree, the reading order of the
  // tagged PDF: "Document", "H1", "H2", "P", "L", "LI", "Table", "TR",
  // "TH", "TD", "TOC", "TOCI", "Figure". Elements nest; one still open when
  // the document is finished is closed then.
  void beginStructure(std::string_view tag);
  void endStructure();
  // A figure, read aloud as `alternative` (an artwork's caption).
  void beginFigure(std::string_view alternative);
  // Names a place on the current page, `y` points below its top, for links
  // and outline entries to point to, from anywhere in the document. A name
  // is given once per document.
  void markDestination(std::string_view name, double y = 0);
  // Makes a rectangle of the current page a link to the named place, which
  // may come later in the document. Something must already be drawn on the
  // page: cairo 1.16 drops the links of a page with nothing on it.
  void linkToDestination(std::string_view name, double x, double y, double width, double height);
  // Adds an entry to the outline (the bookmarks) under the entry `parent`
  // (0: the top level), after those already there, pointing at the named
  // place; returns the entry, for entries under it. The title is one line.
  int addOutlineEntry(int parent, std::string_view title, std::string_view destination);

  // Ends the document and returns its bytes. The canvas can't be drawn on
  // afterwards.
  std::vector<std::uint8_t> finish();

 private:
  void startText();
  void clearPage();
  // A raster canvas's drawing goes to its current surface, points scaled
  // to its page's pixels.
  void drawOnSurface();
  void drawDecoded(std::span<const std::uint8_t> image, double x, double y, double width,
                   double height);

  struct Impl;
  std::unique_ptr<Impl> impl_;
  PageSize size_;
  int pages_ = 0;
};

// An element of the structure tree for as long as it lives: begun when
// made, ended when it goes, also when the drawing leaves early.
class StructureScope {
 public:
  StructureScope(PdfCanvas& canvas, std::string_view tag) : canvas_(canvas) {
    canvas_.beginStructure(tag);
  }
  ~StructureScope() { canvas_.endStructure(); }
  StructureScope(const StructureScope&) = delete;
  StructureScope& operator=(const StructureScope&) = delete;

 private:
  PdfCanvas& canvas_;
};

}  // namespace quorvane
