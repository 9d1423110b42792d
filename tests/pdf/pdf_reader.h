// Reads a PDF the way a viewer would (poppler), and checks its structure
// the way a careful printer would (qpdf --check).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvane::testing {

struct ReadPage {
  double width = 0;
  double height = 0;
  std::string text;
};

// The pages of a PDF; throws when poppler can't open it.
std::vector<ReadPage> readPdf(const std::vector<std::uint8_t>& pdf);

// qpdf's verdict: empty when the file is sound, else what qpdf said.
std::string qpdfProblems(const std::vector<std::uint8_t>& pdf);

}  // namespace quorvane::testing
