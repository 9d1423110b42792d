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

struct EmbeddedImage {
  int page = 0;
  int width = 0;
  int height = 0;
  std::string encoding;            // "jpeg", "image", …
  std::vector<std::uint8_t> data;  // a JPEG's bytes exactly as the PDF holds them
};

// The images a PDF holds (pdfimages), with the bytes of its JPEGs.
std::vector<EmbeddedImage> embeddedImages(const std::vector<std::uint8_t>& pdf);

// The page `index` of a PDF as a viewer draws it (poppler, through cairo):
// 8-bit RGB rows, `width` × `height` pixels, on white.
struct PagePixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;
};
PagePixels rasterisePage(const std::vector<std::uint8_t>& pdf, int index, int width, int height);

// qpdf's verdict: empty when the file is sound, else what qpdf said.
std::string qpdfProblems(const std::vector<std::uint8_t>& pdf);

}  // namespace quorvane::testing
