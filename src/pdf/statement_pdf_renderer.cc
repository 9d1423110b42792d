#include "pdf/statement_pdf_renderer.h"

#include <algorithm>

#include "pdf/pdf_canvas.h"

namespace quorvane {
namespace {

constexpr Color kMuted{0.42, 0.42, 0.42};

// Where a text page puts things: the artist's name on the top margin, so a
// page that travels alone says whose it is; the title under it; the text
// in a column of reading width below.
struct TextPageGrid {
  TextStyle name, title, body;
  double nameTop = 0, titleTop = 0, firstLine = 0, bottom = 0, width = 0;
};

TextPageGrid textPageGrid(const PdfCanvas& canvas, const PDFStyle& style) {
  const PageSize page = canvas.size();
  TextPageGrid grid;
  grid.name = {style.bodySize - 1, FontWeight::medium, kMuted};
  grid.title = {style.sectionTitleSize, FontWeight::semibold, {}};
  grid.body = {style.textBodySize, FontWeight::regular, {}};
  grid.nameTop = style.margin;
  grid.titleTop = grid.nameTop + 2.4 * canvas.lineHeight(grid.name);
  grid.firstLine = grid.titleTop + 1.8 * canvas.lineHeight(grid.title);
  grid.bottom = (page.height > 0 ? page.height : 842) - style.margin;
  grid.width = textColumnWidth(style, page.width);
  return grid;
}

}  // namespace

TextPageFill measureTextPage(std::string_view text, PdfFormat format, const PDFStyle& style) {
  if (text.empty()) return {};
  // The same fonts and breaks as the page, on a canvas of a few pixels:
  // nothing is drawn, only measured.
  const auto canvas = PdfCanvas::raster(pageSize(format), 0.05, {});
  canvas->beginPage();
  const TextPageGrid grid = textPageGrid(*canvas, style);
  const TextFlowResult flow = canvas->flowText(text, style.margin, grid.firstLine, grid.width,
                                               grid.bottom, grid.body, style.textLineHeight, false);
  TextPageFill fill;
  fill.fits = flow.complete;
  const double room = grid.bottom - grid.firstLine;
  const double used = flow.lines == 0 ? 0 : flow.bottom - grid.firstLine;
  fill.fraction = !flow.complete ? 1.0 : room > 0 ? std::min(1.0, used / room) : 1.0;
  return fill;
}

PdfRenderResult StatementPdfRenderer::render(std::string_view text, std::string_view titleKey,
                                             std::string_view artistName,
                                             const ExportOptions& options,
                                             const DocumentProperties& properties) const {
  PdfCanvas canvas(pageSize(options.format));
  canvas.setProperties(properties);
  PdfRenderResult result;
  canvas.beginStructure("Document");
  if (!draw(canvas, text, titleKey, artistName)) {
    result.warnings.push_back(PdfWarning::statementTruncated);
  }
  canvas.endStructure();
  result.data = canvas.finish();
  return result;
}

bool StatementPdfRenderer::draw(PdfCanvas& canvas, std::string_view text, std::string_view titleKey,
                                std::string_view artistName) const {
  canvas.beginPage();
  const TextPageGrid grid = textPageGrid(canvas, style_);
  if (!artistName.empty()) {
    const StructureScope paragraph(canvas, "P");
    canvas.drawText(artistName, style_.margin, grid.nameTop, grid.name);
  }
  {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(labels_.label(titleKey), style_.margin, grid.titleTop, grid.title);
  }
  const StructureScope paragraph(canvas, "P");
  return canvas
      .flowText(text, style_.margin, grid.firstLine, grid.width, grid.bottom, grid.body,
                style_.textLineHeight)
      .complete;
}

}  // namespace quorvane
