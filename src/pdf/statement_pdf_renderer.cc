#include "pdf/statement_pdf_renderer.h"

#include "pdf/pdf_canvas.h"

namespace quorvane {

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
