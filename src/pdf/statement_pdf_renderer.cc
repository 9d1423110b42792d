#include "pdf/statement_pdf_renderer.h"

#include <algorithm>

#include "pdf/pdf_canvas.h"

namespace quorvane {

TextPageFill measureTextPage(std::string_view text, PdfFormat format, const PDFStyle& style) {
  if (text.empty()) return {};
  // The same fonts and breaks as the page, on a canvas of a few pixels:
  // nothing is drawn, only measured.
  const auto canvas = PdfCanvas::raster(pageSize(format), 0.05, {});
  const PageSize page = canvas->size();
  const TextStyle title{style.sectionTitleSize, FontWeight::semibold, {}};
  const TextStyle body{style.bodySize, FontWeight::regular, {}};
  canvas->beginPage();
  const double firstLine = style.margin + 1.8 * canvas->lineHeight(title);
  const double bottom = page.height - style.margin;
  const TextFlowResult flow =
      canvas->flowText(text, style.margin, firstLine, page.width - 2 * style.margin, bottom, body,
                       style.lineHeight, false);
  TextPageFill fill;
  fill.fits = flow.complete;
  const double room = bottom - firstLine;
  const double used = flow.lines == 0 ? 0 : flow.bottom - firstLine;
  fill.fraction = !flow.complete ? 1.0 : room > 0 ? std::min(1.0, used / room) : 1.0;
  return fill;
}

PdfRenderResult StatementPdfRenderer::render(std::string_view text, std::string_view titleKey,
                                             const ExportOptions& options,
                                             const DocumentProperties& properties) const {
  PdfCanvas canvas(pageSize(options.format));
  canvas.setProperties(properties);
  PdfRenderResult result;
  if (!draw(canvas, text, titleKey)) result.warnings.push_back(PdfWarning::statementTruncated);
  result.data = canvas.finish();
  return result;
}

bool StatementPdfRenderer::draw(PdfCanvas& canvas, std::string_view text,
                                std::string_view titleKey) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  canvas.beginPage();
  const TextStyle title{style_.sectionTitleSize, FontWeight::semibold, {}};
  const TextStyle body{style_.bodySize, FontWeight::regular, {}};
  const double top = style_.margin;
  canvas.drawText(labels_.label(titleKey), style_.margin, top, title);
  const double firstLine = top + 1.8 * canvas.lineHeight(title);
  return canvas
      .flowText(text, style_.margin, firstLine, page.width - 2 * style_.margin,
                height - style_.margin, body, style_.lineHeight)
      .complete;
}

}  // namespace quorvane
