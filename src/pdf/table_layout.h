// A table set across as many pages as it needs: its heading row repeated
// at the top of each page, each cell wrapped inside its column, a row never
// split between two pages. For the lists of works at the end of catalogues.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "pdf/pdf_canvas.h"
#include "pdf/pdf_style.h"

namespace quorvane {

struct TableColumn {
  std::string heading;
  double share = 1;  // of the table's width, relative to the other columns
  bool alignRight = false;
};

struct TableRow {
  std::vector<std::string> cells;  // one per column
  bool operator==(const TableRow&) const = default;
};

// Where a table is set: from `left`, `width` wide, its first row at `top`
// of the current page and no row below `bottom`. `nextPage` begins a new
// page and returns where the table goes on at its top.
struct TableFrame {
  double left = 0;
  double width = 0;
  double top = 0;
  double bottom = 0;
  std::function<double()> nextPage;
};

// Draws `rows` under a heading row in `frame`; returns where the table
// ends on its last page.
double drawTable(PdfCanvas& canvas, const PDFStyle& style, const std::vector<TableColumn>& columns,
                 const std::vector<TableRow>& rows, const TableFrame& frame);

}  // namespace quorvane
