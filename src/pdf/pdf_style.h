// The typographic constants of one rendering.
#pragma once

namespace quorvane {

struct PDFStyle {
  double margin = 60;
  double sectionTitleSize = 14;
  double bodySize = 10;
  double lineHeight = 14;
  double coverNameSize = 30;
  double coverTitleSize = 16;

  bool operator==(const PDFStyle&) const = default;
};

}  // namespace quorvane
