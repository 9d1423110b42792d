// The CV as a document: the artist's name and the lines that introduce them
// (born …, lives and works in …), then the twelve sections in the order of
// the CV section catalogue, each titled with its `pdf.cv.section.*` label and
// left out when it has no entries.
//
// Layout: an entry is one row, its date (year, period or years employed) in
// a narrow column at the left margin and the rest of its fields, composed
// into one sentence, wrapped in the column beside it. A section title never
// ends a page (it moves on with its first entry), an entry is never split
// across pages unless it alone is taller than a page, and pages from the
// second on are numbered. The same drawing serves the standalone CV and the
// CV pages inside a portfolio.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cv/cv_sections.h"
#include "model/records.h"
#include "pdf/pdf_canvas.h"
#include "pdf/pdf_labels.h"
#include "pdf/pdf_style.h"

namespace quorvane {

// How the CV went onto the pages given to it.
struct CvDrawResult {
  int pages = 0;           // pages begun
  bool truncated = false;  // entries were left out for want of pages
  // The sections printed, in order: their titles and the named places of
  // their titles ("cv.press").
  std::vector<OutlineEntry> sections;
};

// The named place of the CV's first page.
inline constexpr std::string_view kCvDestination = "cv";

class CvPdfRenderer {
 public:
  CvPdfRenderer(PDFStyle style, PdfStrings labels) : style_(style), labels_(std::move(labels)) {}

  // The standalone CV: a document of its own, as many pages as it needs,
  // with `properties`, its sections as the outline.
  PdfRenderResult render(const ArtistDetails& details, const CVData& cv,
                         const ExportOptions& options,
                         const DocumentProperties& properties = {}) const;

  // Draws the CV onto `canvas`, beginning a page for each of its pages, at
  // most `pageLimit` of them; `firstPageNumber` is the number its first
  // page carries in the document (every number but 1 is printed). Names
  // the place of its first page and of each section's title.
  CvDrawResult draw(PdfCanvas& canvas, const ArtistDetails& details, const CVData& cv,
                    std::optional<int> pageLimit = std::nullopt, int firstPageNumber = 1) const;

  // The lines under the name: birth, then where the artist lives and works.
  std::vector<std::string> introLines(const ArtistDetails& details) const;
  // The text of an entry beside its date, and its date.
  std::string entryText(CVSectionKey section, const CVEntry& entry) const;
  static std::string entryDate(const CVEntry& entry);

 private:
  PDFStyle style_;
  PdfStrings labels_;
};

// Draws a page number at the bottom right, inside the margin.
void drawPageNumber(PdfCanvas& canvas, const PDFStyle& style, int number);

}  // namespace quorvane
