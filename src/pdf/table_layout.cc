#include "pdf/table_layout.h"

#include <algorithm>
#include <numeric>

namespace quorvane {
namespace {

constexpr Color kHeading{0.42, 0.42, 0.42};
constexpr Color kRule{0.82, 0.82, 0.82};
constexpr double kGutter = 10;

struct Placed {
  std::vector<double> lefts, widths;
};

Placed placeColumns(const std::vector<TableColumn>& columns, double left, double width) {
  const double shares =
      std::accumulate(columns.begin(), columns.end(), 0.0,
                      [](double sum, const TableColumn& c) { return sum + c.share; });
  Placed placed;
  double x = left;
  for (const TableColumn& column : columns) {
    const double w = width * column.share / shares;
    placed.lefts.push_back(x);
    placed.widths.push_back(std::max(1.0, w - kGutter));
    x += w;
  }
  return placed;
}

// The lines of each cell of a row, wrapped inside its column.
std::vector<std::vector<std::string>> wrappedCells(PdfCanvas& canvas, const Placed& placed,
                                                   const std::vector<std::string>& cells,
                                                   const TextStyle& style) {
  std::vector<std::vector<std::string>> lines;
  for (std::size_t i = 0; i < placed.widths.size(); ++i) {
    const std::string& cell = i < cells.size() ? cells[i] : std::string();
    lines.push_back(cell.empty() ? std::vector<std::string>{}
                                 : canvas.wrapParagraph(cell, placed.widths[i], style, 6));
  }
  return lines;
}

double drawRow(PdfCanvas& canvas, const std::vector<TableColumn>& columns, const Placed& placed,
               const std::vector<std::vector<std::string>>& lines, double y, double lineHeight,
               const TextStyle& style, std::string_view cellTag) {
  const StructureScope row(canvas, "TR");
  std::size_t tallest = 1;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const StructureScope cell(canvas, cellTag);
    tallest = std::max(tallest, lines[i].size());
    double lineY = y;
    for (const std::string& line : lines[i]) {
      const double x = columns[i].alignRight
                           ? placed.lefts[i] + placed.widths[i] - canvas.textWidth(line, style)
                           : placed.lefts[i];
      canvas.drawText(line, x, lineY + (lineHeight - canvas.lineHeight(style)) / 2, style);
      lineY += lineHeight;
    }
  }
  return y + static_cast<double>(tallest) * lineHeight;
}

}  // namespace

double drawTable(PdfCanvas& canvas, const PDFStyle& style, const std::vector<TableColumn>& columns,
                 const std::vector<TableRow>& rows, const TableFrame& frame) {
  const TextStyle body{style.bodySize - 1, FontWeight::regular, {}};
  const TextStyle heading{style.bodySize - 2, FontWeight::medium, kHeading};
  const double lineHeight = style.lineHeight - 1;
  const double rowGap = lineHeight * 0.45;
  const Placed placed = placeColumns(columns, frame.left, frame.width);
  std::vector<std::string> headings;
  for (const TableColumn& column : columns) headings.push_back(column.heading);
  const auto headingLines = wrappedCells(canvas, placed, headings, heading);

  const auto drawHeading = [&](double y) {
    y = drawRow(canvas, columns, placed, headingLines, y, lineHeight, heading, "TH");
    canvas.strokeLine(frame.left, y + 2, frame.left + frame.width, y + 2, 0.6, kHeading);
    return y + rowGap + 2;
  };
  const StructureScope table(canvas, "Table");
  double y = drawHeading(frame.top);
  for (const TableRow& row : rows) {
    const auto lines = wrappedCells(canvas, placed, row.cells, body);
    std::size_t tallest = 1;
    for (const auto& cell : lines) tallest = std::max(tallest, cell.size());
    const double rowHeight = static_cast<double>(tallest) * lineHeight;
    if (y + rowHeight > frame.bottom && frame.nextPage) y = drawHeading(frame.nextPage());
    y = drawRow(canvas, columns, placed, lines, y, lineHeight, body, "TD");
    canvas.strokeLine(frame.left, y + rowGap / 2, frame.left + frame.width, y + rowGap / 2, 0.3,
                      kRule);
    y += rowGap;
  }
  return y;
}

}  // namespace quorvane
