#include "pdf/pdf_canvas.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "images/image_optimizer.h"
#include "pdf/document_metadata.h"
#include "pdf/pdf_xref_repair.h"

namespace quorvane {
namespace {

constexpr const char* kFamily = "Inter";

template <typename T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* handle) const { Free(handle); }
};
using Surface = std::unique_ptr<cairo_surface_t, Deleter<cairo_surface_t, cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Deleter<cairo_t, cairo_destroy>>;
using FontDescription = std::unique_ptr<PangoFontDescription,
                                        Deleter<PangoFontDescription, pango_font_description_free>>;

void unrefObject(void* object) { g_object_unref(object); }
template <typename T>
struct GObjectDeleter {
  void operator()(T* object) const { unrefObject(object); }
};
template <typename T>
using GObject = std::unique_ptr<T, GObjectDeleter<T>>;

PangoWeight pangoWeight(FontWeight weight) {
  switch (weight) {
    case FontWeight::regular:
      return PANGO_WEIGHT_NORMAL;
    case FontWeight::medium:
      return PANGO_WEIGHT_MEDIUM;
    case FontWeight::semibold:
      return PANGO_WEIGHT_SEMIBOLD;
    case FontWeight::bold:
      return PANGO_WEIGHT_BOLD;
  }
  return PANGO_WEIGHT_NORMAL;
}

FontDescription fontFor(const TextStyle& style) {
  FontDescription font(pango_font_description_new());
  pango_font_description_set_family(font.get(), kFamily);
  pango_font_description_set_weight(font.get(), pangoWeight(style.weight));
  pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
  return font;
}


// The fonts of the documents: every installed face but those whose glyphs
// are colour bitmaps. A colour emoji face would put each emoji in the PDF as
// a small picture, blurred in print and lost to the text layer; without it,
// fontconfig falls back to a face that draws the emoji as outlines
// (Symbola), printed sharp and kept as text.
FcConfig* documentFontConfig() {
  static FcConfig* const config = [] {
    FcConfig* made = FcInitLoadConfig();
    constexpr const char* kWithoutColourFaces =
        "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig>"
        "<selectfont><rejectfont><pattern><patelt name=\"color\"><bool>true</bool></patelt>"
        "</pattern></rejectfont></selectfont></fontconfig>";
    if (made != nullptr) {
      FcConfigParseAndLoadFromMemory(made, reinterpret_cast<const FcChar8*>(kWithoutColourFaces),
                                     FcTrue);
      FcConfigBuildFonts(made);
    }
    return made;
  }();
  return config;
}

PangoFontMap* documentFontMap() {
  PangoFontMap* map = pango_cairo_font_map_new();
  if (FcConfig* config = documentFontConfig(); config != nullptr && PANGO_IS_FC_FONT_MAP(map)) {
    pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(map), config);
  }
  return map;
}

// A name as a quoted value of cairo's tag attributes.
std::string quotedName(std::string_view name) {
  std::string quoted = "'";
  for (const char c : name) {
    if (c == '\\' || c == '\'') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// Text that is no valid UTF-8 (a damaged library, a hostile file), each
// bad byte replaced: given the bytes as they are, pango draws boxes of hex
// digits and cairo stops drawing the rest of the document.
std::optional<std::string> repairedUtf8(std::string_view text) {
  if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) return std::nullopt;
  char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string copy(valid);
  g_free(valid);
  return copy;
}

// One line of valid UTF-8 (cairo gives up on anything else): invalid bytes
// replaced, line breaks and other controls made spaces, runs of spaces one.
std::string oneLine(std::string_view text) {
  char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string line;
  for (const char* c = valid; *c != '\0'; ++c) {
    const char ch = static_cast<unsigned char>(*c) < 0x20 || *c == 0x7f ? ' ' : *c;
    if (ch == ' ' && (line.empty() || line.back() == ' ')) continue;
    line += ch;
  }
  g_free(valid);
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

// A piece of a long paragraph laid out for one line never grows past this.
constexpr std::size_t kLargestPiece = 64 * 1024;

// At most `bytes` bytes of `text`, never ending inside a UTF-8 character.
std::string_view utf8Prefix(std::string_view text, std::size_t bytes) {
  if (bytes >= text.size()) return text;
  std::size_t cut = bytes;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  // Bytes that are no UTF-8 (a long run of continuation bytes): cut where
  // asked, so that every piece holds something and the text moves on.
  return text.substr(0, cut > 0 ? cut : bytes);
}

// Bytes of two lines of the narrowest glyphs (a fifth of an em) at `width`.
std::size_t pieceFor(double width, const TextStyle& style) {
  const double narrowest = std::max(style.size * 0.2, 0.5);
  return std::max<std::size_t>(128, static_cast<std::size_t>(2 * width / narrowest));
}

// The paragraphs of a text: its lines, a blank line being an empty one.
std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  while (start <= text.size()) {
    const auto end = text.find('\n', start);
    std::string_view line = text.substr(start, end == std::string_view::npos ? end : end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return lines;
}

}  // namespace

PageSize pageSize(PdfFormat format, DocumentOrientation orientation) {
  PageSize size = format == PdfFormat::letter ? PageSize{612, 792} : PageSize{595.28, 841.89};
  if (orientation == DocumentOrientation::landscape) std::swap(size.width, size.height);
  return size;
}

// What cairo's writes pass through on their way to the sink.
struct CanvasWriteTarget {
  PdfXrefRepair* repair = nullptr;
  PdfImageColours* colours = nullptr;
};

struct PdfCanvas::Impl {
  std::vector<std::uint8_t> bytes;  // without a sink of the caller's
  // Between cairo and the sink: mends the table cairo 1.16 writes.
  std::optional<PdfXrefRepair> repair;
  // Writes over what the sink took, when it can.
  std::function<bool(std::uint64_t, std::span<const std::uint8_t>)> overwrite;
  // The images whose colour cairo can't declare, found as they pass.
  PdfImageColours imageColours;
  std::uint64_t firstProfileObject = 0;
  CanvasWriteTarget writeTarget;
  // Destroyed in reverse order: the surface (which, unfinished, finishes
  // as it goes, writing its fonts) before the font map its fonts come from,
  // also when a rendering is abandoned half-way.
  GObject<PangoFontMap> fontMap;
  GObject<PangoContext> pango;
  Surface surface;
  Context cairo;
  // A raster canvas: images decoded at the size drawn, pages on pixels.
  RasterDecoder decode;
  double pixelsPerPoint = 0;  // 0: a PDF
  Surface firstPage;          // once a second page begins
  // What the finished file says about itself, beyond what cairo writes.
  DocumentProperties properties;
  std::string created;                          // ISO 8601, as the information dictionary says it
  std::vector<std::string> figureAlternatives;  // PDF strings, in order
  std::vector<std::string> openStructure;

  // A layout of one paragraph in `style`, `width` wide (unbounded when 0).
  GObject<PangoLayout> layout(std::string_view text, const TextStyle& style, double width) const {
    GObject<PangoLayout> layout(pango_layout_new(pango.get()));
    const FontDescription font = fontFor(style);
    pango_layout_set_font_description(layout.get(), font.get());
    // Every document language reads left to right: a paragraph that opens
    // with Arabic or Hebrew stays a left-to-right paragraph, its own words
    // in their order.
    pango_layout_set_auto_dir(layout.get(), FALSE);
    if (width > 0) {
      pango_layout_set_width(layout.get(), static_cast<int>(width * PANGO_SCALE));
      pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    }
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    return layout;
  }

  // The first line of `text` at `width`, laid out from a piece of the text
  // only, a few lines long: pango breaks a paragraph in time that grows
  // faster than its length (an unbreakable word of 40,000 letters takes
  // seconds), so a long paragraph is broken one line at a time, each from
  // a piece of bounded size. The piece grows when its first line took it
  // whole (very narrow glyphs) and more text follows.
  struct FirstLine {
    GObject<PangoLayout> layout;
    std::size_t length = 0;  // bytes of `text` the line holds
  };
  FirstLine firstLine(std::string_view text, const TextStyle& style, double width,
                      std::size_t piece) const {
    for (;;) {
      const std::string_view part = utf8Prefix(text, piece);
      FirstLine line{layout(part, style, width), 0};
      const PangoLayoutLine* first = pango_layout_get_line_readonly(line.layout.get(), 0);
      line.length = first != nullptr ? static_cast<std::size_t>(first->length) : part.size();
      const bool complete = pango_layout_get_line_count(line.layout.get()) > 1 ||
                            part.size() == text.size() || piece >= kLargestPiece;
      if (complete) {
        if (line.length == 0) line.length = part.size();  // always move on
        return line;
      }
      piece *= 2;
    }
  }

  void setColor(const Color& color) const {
    cairo_set_source_rgb(cairo.get(), color.red, color.green, color.blue);
  }
};

std::unique_ptr<PdfCanvas> PdfCanvas::raster(PageSize size, double pixelsPerPoint,
                                             RasterDecoder decode) {
  if (!(pixelsPerPoint > 0) || !(size.width > 0) || !(size.height > 0)) {
    throw std::invalid_argument("a raster page needs a size and a scale");
  }
  auto canvas = std::make_unique<PdfCanvas>(RasterKey{}, size);
  Impl& impl = *canvas->impl_;
  impl.decode = std::move(decode);
  impl.pixelsPerPoint = pixelsPerPoint;
  canvas->startText();
  const int width = std::max(1, static_cast<int>(std::lround(size.width * pixelsPerPoint)));
  const int height = std::max(1, static_cast<int>(std::lround(size.height * pixelsPerPoint)));
  impl.cairo.reset();
  impl.surface.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  if (cairo_surface_status(impl.surface.get()) != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error("cairo could not make a page of " + std::to_string(width) + " × " +
                             std::to_string(height) + " pixels");
  }
  canvas->drawOnSurface();
  canvas->clearPage();
  return canvas;
}

void PdfCanvas::drawOnSurface() {
  const PageSize size = size_;
  const double scale = impl_->pixelsPerPoint;
  impl_->cairo.reset(cairo_create(impl_->surface.get()));
  cairo_scale(impl_->cairo.get(), std::lround(size.width * scale) / size.width,
              std::lround(size.height * scale) / size.height);
}

void PdfCanvas::clearPage() {
  cairo_t* cr = impl_->cairo.get();
  cairo_save(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_restore(cr);
}

RgbPixels PdfCanvas::finishRaster() {
  if (impl_->pixelsPerPoint <= 0) throw std::logic_error("finishRaster on a PDF canvas");
  cairo_surface_t* surface = impl_->firstPage ? impl_->firstPage.get() : impl_->surface.get();
  cairo_surface_flush(surface);
  RgbPixels pixels;
  pixels.width = cairo_image_surface_get_width(surface);
  pixels.height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  pixels.data.resize(static_cast<std::size_t>(pixels.width) *
                     static_cast<std::size_t>(pixels.height) * 3);
  std::uint8_t* out = pixels.data.data();
  for (int y = 0; y < pixels.height; ++y) {
    const auto* row =
        reinterpret_cast<const std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y) * stride);
    for (int x = 0; x < pixels.width; ++x) {
      const std::uint32_t pixel = row[x];  // 0x00RRGGBB in native order
      *out++ = static_cast<std::uint8_t>(pixel >> 16);
      *out++ = static_cast<std::uint8_t>(pixel >> 8);
      *out++ = static_cast<std::uint8_t>(pixel);
    }
  }
  return pixels;
}

PdfCanvas::PdfCanvas(RasterKey, PageSize size) : impl_(std::make_unique<Impl>()), size_(size) {}

void PdfCanvas::startText() {
  if (impl_->pixelsPerPoint > 0) {
    // Pages drawn as pixels come many at a time (thumbnails); a font map
    // costs more than drawing the page, so each thread keeps one for them.
    // A PDF keeps its own: its fonts are embedded from it as it finishes.
    thread_local const GObject<PangoFontMap> shared(documentFontMap());
    impl_->fontMap.reset(PANGO_FONT_MAP(g_object_ref(shared.get())));
  } else {
    impl_->fontMap.reset(documentFontMap());
  }
  impl_->pango.reset(pango_font_map_create_context(impl_->fontMap.get()));
  // Measured as drawn: no hinting, no rounding to whole device pixels.
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  pango_cairo_context_set_font_options(impl_->pango.get(), options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(impl_->pango.get(), FALSE);
  pango_context_set_base_dir(impl_->pango.get(), PANGO_DIRECTION_LTR);
}

namespace {

cairo_status_t writeTo(void* closure, const unsigned char* data, unsigned int length) {
  auto* target = static_cast<CanvasWriteTarget*>(closure);
  const std::span<const std::uint8_t> bytes(data, length);
  target->colours->observe(bytes, target->repair->position());
  return target->repair->write(bytes) ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

PdfSink inMemory(std::vector<std::uint8_t>& bytes) {
  return PdfSink{[&bytes](std::span<const std::uint8_t> data) {
                   bytes.insert(bytes.end(), data.begin(), data.end());
                   return true;
                 },
                 [&bytes](std::uint64_t offset, std::span<const std::uint8_t> data) {
                   if (offset > bytes.size() || data.size() > bytes.size() - offset) return false;
                   std::copy(data.begin(), data.end(), bytes.begin() + offset);
                   return true;
                 }};
}

}  // namespace

PdfCanvas::PdfCanvas(PageSize size, PdfSink sink) : impl_(std::make_unique<Impl>()), size_(size) {
  if (!sink) sink = inMemory(impl_->bytes);
  impl_->overwrite = sink.overwrite;
  impl_->repair.emplace(std::move(sink));
  impl_->writeTarget = {&*impl_->repair, &impl_->imageColours};
  impl_->surface.reset(cairo_pdf_surface_create_for_stream(writeTo, &impl_->writeTarget, size.width,
                                                           size.height));
  if (cairo_surface_status(impl_->surface.get()) != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error("cairo could not create a PDF surface");
  }
  impl_->cairo.reset(cairo_create(impl_->surface.get()));
  startText();
  // The moment of making, set here so that the XMP packet can say the
  // same as the information dictionary.
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char created[32];
  std::strftime(created, sizeof created, "%Y-%m-%dT%H:%M:%SZ", &utc);
  impl_->created = created;
  cairo_pdf_surface_set_metadata(impl_->surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, created);
  cairo_pdf_surface_set_metadata(impl_->surface.get(), CAIRO_PDF_METADATA_MOD_DATE, created);
}

PdfCanvas::~PdfCanvas() = default;

void PdfCanvas::beginPage() {
  if (pages_ > 0) {
    if (impl_->pixelsPerPoint > 0) {
      // The first page is kept; the rest are drawn onto a pixel of nothing.
      if (!impl_->firstPage) {
        impl_->cairo.reset();
        impl_->firstPage = std::move(impl_->surface);
        impl_->surface.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1));
        drawOnSurface();
      }
    } else {
      cairo_show_page(impl_->cairo.get());
      impl_->imageColours.pageWritten();
    }
  }
  ++pages_;
}

double PdfCanvas::lineHeight(const TextStyle& style) const {
  const auto layout = impl_->layout("Hg", style, 0);
  PangoRectangle logical;
  pango_layout_get_extents(layout.get(), nullptr, &logical);
  return static_cast<double>(logical.height) / PANGO_SCALE;
}

double PdfCanvas::textWidth(std::string_view text, const TextStyle& style) const {
  if (const auto valid = repairedUtf8(text)) return textWidth(*valid, style);
  const auto layout = impl_->layout(text, style, 0);
  PangoRectangle logical;
  pango_layout_get_extents(layout.get(), nullptr, &logical);
  return static_cast<double>(logical.width) / PANGO_SCALE;
}

void PdfCanvas::drawText(std::string_view text, double x, double y, const TextStyle& style) {
  if (const auto valid = repairedUtf8(text)) return drawText(*valid, x, y, style);
  const auto layout = impl_->layout(text, style, 0);
  cairo_t* cr = impl_->cairo.get();
  impl_->setColor(style.color);
  cairo_move_to(cr, x, y);
  pango_cairo_show_layout(cr, layout.get());
}

TextFlowResult PdfCanvas::flowText(std::string_view text, double x, double y, double width,
                                   double maxY, const TextStyle& style, double lineHeight,
                                   bool draw) {
  if (const auto valid = repairedUtf8(text)) {
    return flowText(*valid, x, y, width, maxY, style, lineHeight, draw);
  }
  TextFlowResult result{y, true, 0};
  cairo_t* cr = impl_->cairo.get();
  // Each line sits in its slot of `lineHeight` as a line of its own font
  // sits in its own height.
  const double ownHeight = this->lineHeight(style);
  const std::size_t piece = pieceFor(width, style);
  double top = y;
  const auto roomForALine = [&] { return top + lineHeight <= maxY + 1e-6; };
  const auto show = [&](PangoLayout* layout, int index) {
    PangoLayoutLine* line = pango_layout_get_line_readonly(layout, index);
    const int baseline = pango_layout_get_baseline(layout);
    impl_->setColor(style.color);
    cairo_move_to(cr, x,
                  top + (lineHeight - ownHeight) / 2 + static_cast<double>(baseline) / PANGO_SCALE);
    pango_cairo_show_layout_line(cr, line);
  };
  const auto advance = [&] {
    top += lineHeight;
    result.bottom = top;
    ++result.lines;
  };
  for (const std::string_view paragraph : linesOf(text)) {
    if (paragraph.size() <= 2 * piece) {
      const auto layout = impl_->layout(paragraph.empty() ? " " : paragraph, style, width);
      const int count = pango_layout_get_line_count(layout.get());
      for (int i = 0; i < count; ++i) {
        if (!roomForALine()) {
          result.complete = false;
          return result;
        }
        if (draw && !paragraph.empty()) show(layout.get(), i);
        advance();
      }
      continue;
    }
    // Only what fits is laid out: the time taken follows the page, not the
    // length of the text.
    for (std::size_t position = 0; position < paragraph.size();) {
      if (!roomForALine()) {
        result.complete = false;
        return result;
      }
      const auto line = impl_->firstLine(paragraph.substr(position), style, width, piece);
      if (draw) show(line.layout.get(), 0);
      advance();
      position += line.length;
    }
  }
  return result;
}

std::vector<std::string> PdfCanvas::wrapParagraph(std::string_view paragraph, double width,
                                                  const TextStyle& style,
                                                  std::size_t maxLines) const {
  if (const auto valid = repairedUtf8(paragraph))
    return wrapParagraph(*valid, width, style, maxLines);
  std::vector<std::string> lines;
  const auto addLine = [&](const char* start, std::size_t length) {
    std::string line(start, length);
    while (!line.empty() && line.back() == ' ') line.pop_back();
    lines.push_back(std::move(line));
  };
  const std::size_t piece = pieceFor(width, style);
  if (paragraph.size() <= 2 * piece) {
    const auto layout = impl_->layout(paragraph, style, width);
    const char* text = pango_layout_get_text(layout.get());
    const int count = pango_layout_get_line_count(layout.get());
    for (int i = 0; i < count && lines.size() < maxLines; ++i) {
      const PangoLayoutLine* line = pango_layout_get_line_readonly(layout.get(), i);
      addLine(text + line->start_index, static_cast<std::size_t>(line->length));
    }
    return lines;
  }
  for (std::size_t position = 0; position < paragraph.size() && lines.size() < maxLines;) {
    const auto line = impl_->firstLine(paragraph.substr(position), style, width, piece);
    addLine(paragraph.data() + position, line.length);
    position += line.length;
  }
  return lines;
}

void PdfCanvas::fillRect(double x, double y, double width, double height, const Color& color) {
  cairo_t* cr = impl_->cairo.get();
  impl_->setColor(color);
  cairo_rectangle(cr, x, y, width, height);
  cairo_fill(cr);
}

void PdfCanvas::strokeLine(double x1, double y1, double x2, double y2, double lineWidth,
                           const Color& color) {
  cairo_t* cr = impl_->cairo.get();
  impl_->setColor(color);
  cairo_set_line_width(cr, lineWidth);
  cairo_move_to(cr, x1, y1);
  cairo_line_to(cr, x2, y2);
  cairo_stroke(cr);
}

void PdfCanvas::drawJpeg(std::span<const std::uint8_t> jpeg, std::int64_t pixelWidth,
                         std::int64_t pixelHeight, double x, double y, double width, double height,
                         const JpegColour& colour, std::string_view identity) {
  if (jpeg.empty() || pixelWidth <= 0 || pixelHeight <= 0) return;
  if (impl_->pixelsPerPoint > 0) {
    drawDecoded(jpeg, x, y, width, height);
    return;
  }
  // A 1 × 1 stand-in carrying the JPEG: the PDF gets the JPEG's own bytes
  // and size, and no full-size pixel buffer is ever made.
  Surface stand(cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1));
  auto* copy = static_cast<unsigned char*>(g_malloc(jpeg.size()));
  std::memcpy(copy, jpeg.data(), jpeg.size());
  cairo_surface_set_mime_data(stand.get(), CAIRO_MIME_TYPE_JPEG, copy, jpeg.size(), g_free, copy);
  if (impl_->overwrite) impl_->imageColours.expect(std::span(copy, jpeg.size()), colour);
  if (!identity.empty()) {
    auto* id = static_cast<unsigned char*>(g_malloc(identity.size()));
    std::memcpy(id, identity.data(), identity.size());
    cairo_surface_set_mime_data(stand.get(), CAIRO_MIME_TYPE_UNIQUE_ID, id, identity.size(),
                                g_free, id);
  }
  cairo_t* cr = impl_->cairo.get();
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, width, height);
  cairo_set_source_surface(cr, stand.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  cairo_paint(cr);
  cairo_restore(cr);
}

void PdfCanvas::drawDecoded(std::span<const std::uint8_t> image, double x, double y, double width,
                            double height) {
  if (!impl_->decode) return;
  const double scale = impl_->pixelsPerPoint;
  const int boxWidth = std::max(1, static_cast<int>(std::ceil(width * scale)));
  const int boxHeight = std::max(1, static_cast<int>(std::ceil(height * scale)));
  const std::optional<RgbPixels> pixels = impl_->decode(image, boxWidth, boxHeight);
  if (!pixels || pixels->width < 1 || pixels->height < 1) return;
  Surface decoded(cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels->width, pixels->height));
  if (cairo_surface_status(decoded.get()) != CAIRO_STATUS_SUCCESS) return;
  cairo_surface_flush(decoded.get());
  unsigned char* data = cairo_image_surface_get_data(decoded.get());
  const int stride = cairo_image_surface_get_stride(decoded.get());
  const std::uint8_t* in = pixels->data.data();
  for (int row = 0; row < pixels->height; ++row) {
    auto* out = reinterpret_cast<std::uint32_t*>(data + static_cast<std::ptrdiff_t>(row) * stride);
    for (int column = 0; column < pixels->width; ++column, in += 3) {
      out[column] = (std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2];
    }
  }
  cairo_surface_mark_dirty(decoded.get());
  cairo_t* cr = impl_->cairo.get();
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, width / pixels->width, height / pixels->height);
  cairo_set_source_surface(cr, decoded.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  cairo_paint(cr);
  cairo_restore(cr);
}

void PdfCanvas::setProperties(const DocumentProperties& properties) {
  if (impl_->pixelsPerPoint > 0) return;
  const std::pair<cairo_pdf_metadata_t, const std::string*> fields[] = {
      {CAIRO_PDF_METADATA_TITLE, &properties.title},
      {CAIRO_PDF_METADATA_AUTHOR, &properties.author},
      {CAIRO_PDF_METADATA_SUBJECT, &properties.subject},
      {CAIRO_PDF_METADATA_KEYWORDS, &properties.keywords},
      {CAIRO_PDF_METADATA_CREATOR, &properties.creator},
  };
  for (const auto& [field, text] : fields) {
    const std::string line = oneLine(*text);
    if (!line.empty()) cairo_pdf_surface_set_metadata(impl_->surface.get(), field, line.c_str());
  }
  impl_->properties = {oneLine(properties.title),   oneLine(properties.author),
                       oneLine(properties.subject), oneLine(properties.keywords),
                       oneLine(properties.creator), oneLine(properties.language)};
}

void PdfCanvas::beginStructure(std::string_view tag) {
  if (impl_->pixelsPerPoint > 0) return;
  impl_->openStructure.emplace_back(tag);
  cairo_tag_begin(impl_->cairo.get(), impl_->openStructure.back().c_str(), "");
}

void PdfCanvas::endStructure() {
  if (impl_->pixelsPerPoint > 0 || impl_->openStructure.empty()) return;
  cairo_tag_end(impl_->cairo.get(), impl_->openStructure.back().c_str());
  impl_->openStructure.pop_back();
}

void PdfCanvas::beginFigure(std::string_view alternative) {
  if (impl_->pixelsPerPoint > 0) return;
  impl_->figureAlternatives.push_back(pdfTextString(oneLine(alternative)));
  beginStructure("Figure");
}

namespace {

// What cairo cannot write, added to the end of the file: the language, the
// XMP packet, the sRGB output intent, the figures' alternative text.
TailAdditions documentAdditions(const DocumentProperties& properties, const std::string& created,
                                const std::vector<std::string>& figureAlternatives,
                                std::uint64_t first) {
  TailAdditions additions;
  const std::string producer =
      std::string("cairo ") + cairo_version_string() + " (https://cairographics.org)";
  const std::string xmp = xmpPacket(properties, created, producer);
  const std::vector<std::uint8_t> profile = ImageOptimizer::srgbProfile();
  if (!properties.language.empty()) {
    additions.catalogueEntries += "/Lang " + pdfTextString(properties.language) + "\n   ";
  }
  additions.catalogueEntries += "/Metadata " + std::to_string(first) + " 0 R";
  additions.objects.push_back("<< /Type /Metadata /Subtype /XML /Length " +
                              std::to_string(xmp.size()) + " >>\nstream\n" + xmp + "\nendstream");
  if (!profile.empty()) {
    additions.catalogueEntries += "\n   /OutputIntents [ " + std::to_string(first + 1) + " 0 R ]";
    additions.objects.push_back(
        "<< /Type /OutputIntent /S /GTS_PDFA1 /OutputConditionIdentifier (sRGB IEC61966-2.1)\n"
        "   /Info (sRGB IEC61966-2.1) /RegistryName (http://www.color.org)\n"
        "   /DestOutputProfile " +
        std::to_string(first + 2) + " 0 R >>");
    std::string stream = "<< /N 3 /Length " + std::to_string(profile.size()) + " >>\nstream\n";
    stream.append(profile.begin(), profile.end());
    additions.objects.push_back(stream + "\nendstream");
  }
  additions.figureAlternatives = figureAlternatives;
  return additions;
}

}  // namespace

void PdfCanvas::markDestination(std::string_view name, double y) {
  if (impl_->pixelsPerPoint > 0) return;
  const std::string attributes = "name=" + quotedName(name) + " x=0 y=" + std::to_string(y);
  cairo_tag_begin(impl_->cairo.get(), CAIRO_TAG_DEST, attributes.c_str());
  cairo_tag_end(impl_->cairo.get(), CAIRO_TAG_DEST);
}

void PdfCanvas::linkToDestination(std::string_view name, double x, double y, double width,
                                  double height) {
  if (impl_->pixelsPerPoint > 0) return;
  const std::string attributes = "dest=" + quotedName(name) + " rect=[" + std::to_string(x) + " " +
                                 std::to_string(y) + " " + std::to_string(width) + " " +
                                 std::to_string(height) + "]";
  cairo_tag_begin(impl_->cairo.get(), CAIRO_TAG_LINK, attributes.c_str());
  cairo_tag_end(impl_->cairo.get(), CAIRO_TAG_LINK);
}

int PdfCanvas::addOutlineEntry(int parent, std::string_view title, std::string_view destination) {
  if (impl_->pixelsPerPoint > 0) return 0;
  const std::string line = oneLine(title);
  const std::string link = "dest=" + quotedName(destination);
  return cairo_pdf_surface_add_outline(impl_->surface.get(), parent,
                                       line.empty() ? " " : line.c_str(), link.c_str(),
                                       static_cast<cairo_pdf_outline_flags_t>(0));
}

std::vector<std::uint8_t> PdfCanvas::finish() {
  if (impl_->pixelsPerPoint > 0) throw std::logic_error("finish on a raster canvas");
  if (pages_ == 0) beginPage();
  // The last page goes out first, images and all; only what follows it —
  // fonts, outline, the table — is held back to be mended.
  while (!impl_->openStructure.empty()) endStructure();
  cairo_show_page(impl_->cairo.get());
  impl_->imageColours.pageWritten();
  // A drawing that failed leaves the context in error, drawing nothing
  // more: a document short of pages must fail, not be written.
  const cairo_status_t drawing = cairo_status(impl_->cairo.get());
  impl_->cairo.reset();
  if (drawing != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error(std::string("cairo could not draw the PDF: ") +
                             cairo_status_to_string(drawing));
  }
  const std::uint64_t pagesEnd = impl_->repair->position();
  impl_->repair->holdBack();
  impl_->repair->amendTail([impl = impl_.get()](std::uint64_t first) {
    TailAdditions additions =
        documentAdditions(impl->properties, impl->created, impl->figureAlternatives, first);
    impl->firstProfileObject = first + additions.objects.size();
    for (std::string& profile : impl->imageColours.profileObjects()) {
      additions.objects.push_back(std::move(profile));
    }
    return additions;
  });
  cairo_surface_finish(impl_->surface.get());
  cairo_status_t status = cairo_surface_status(impl_->surface.get());
  impl_->surface.reset();
  if (status == CAIRO_STATUS_SUCCESS && !impl_->repair->finish()) {
    status = CAIRO_STATUS_WRITE_ERROR;
  }
  // The images' own colours, once their profiles are in the file.
  if (status == CAIRO_STATUS_SUCCESS && impl_->repair->amended()) {
    for (const auto& edit : impl_->imageColours.edits(impl_->firstProfileObject, pagesEnd)) {
      const auto* data = reinterpret_cast<const std::uint8_t*>(edit.bytes.data());
      if (!impl_->overwrite(edit.offset, std::span(data, edit.bytes.size()))) {
        status = CAIRO_STATUS_WRITE_ERROR;
        break;
      }
    }
  }
  if (status != CAIRO_STATUS_SUCCESS) {
    throw std::runtime_error(std::string("cairo could not write the PDF: ") +
                             cairo_status_to_string(status));
  }
  return std::move(impl_->bytes);
}

}  // namespace quorvane
