// The biography, the artist statement and the project statement as PDFs of
// their own: one page, the artist's name at the top margin, the title under
// it, the text below in a column of reading width down to the bottom
// margin. What does not fit is left out and reported as
// `statementTruncated`, for all three documents.
#pragma once

#include <string_view>

#include "model/records.h"
#include "pdf/pdf_canvas.h"
#include "pdf/pdf_labels.h"
#include "pdf/pdf_style.h"

namespace quorvane {

// The title keys of the three documents.
inline constexpr std::string_view kStatementTitleKey = "pdf.statement.title";
inline constexpr std::string_view kBiographyTitleKey = "pdf.biography.title";
inline constexpr std::string_view kProjectStatementTitleKey = "pdf.project_statement.title";

// How much of its page a text takes, laid out as the documents lay it out:
// `fraction` of the room below the title (1 when full or over), and
// whether all of it is printed.
struct TextPageFill {
  double fraction = 0;
  bool fits = true;

  bool operator==(const TextPageFill&) const = default;
};
TextPageFill measureTextPage(std::string_view text, PdfFormat format, const PDFStyle& style = {});

class StatementPdfRenderer {
 public:
  StatementPdfRenderer(PDFStyle style, PdfStrings labels)
      : style_(style), labels_(std::move(labels)) {}

  // The page has the size of `options.format`, in portrait; the title is the
  // label of `titleKey` in the labels' language and scope, under the
  // artist's name (none when empty).
  PdfRenderResult render(std::string_view text, std::string_view titleKey,
                         std::string_view artistName, const ExportOptions& options,
                         const DocumentProperties& properties = {}) const;
  // The same page, begun and drawn on `canvas` (a raster canvas for a
  // thumbnail); false when the text did not fit and was cut.
  bool draw(PdfCanvas& canvas, std::string_view text, std::string_view titleKey,
            std::string_view artistName) const;

 private:
  PDFStyle style_;
  PdfStrings labels_;
};

}  // namespace quorvane
