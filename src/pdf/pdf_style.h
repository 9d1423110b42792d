// The typographic constants of one rendering. Their choices, and why, are
// in docs/document-design.md.
#pragma once

#include <algorithm>

namespace quorvane {

struct PDFStyle {
  double margin = 60;
  double sectionTitleSize = 14;
  double bodySize = 10;
  double lineHeight = 14;
  double coverNameSize = 30;
  double coverTitleSize = 16;
  // Running text (biography, statements): a size and a line length made
  // for reading on paper, about 70 characters a line.
  double textBodySize = 10.5;
  double textLineHeight = 15;
  double textMeasure = 380;

  bool operator==(const PDFStyle&) const = default;
};

// The width of running text on a page `pageWidth` wide.
inline double textColumnWidth(const PDFStyle& style, double pageWidth) {
  return std::min(style.textMeasure, pageWidth - 2 * style.margin);
}

}  // namespace quorvane
