// Reads a PDF the way a viewer would (poppler), and checks its structure
// the way a careful printer would (qpdf --check).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvane::testing {

struct TextExtent {
  double left = 0, top = 0, right = 0, bottom = 0;
};

struct ReadPage {
  double width = 0;
  double height = 0;
  std::string text;
  // Where the page's characters are, in points from its top left; all 0
  // on a page without text.
  TextExtent ink;
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

// qpdf's verdict: empty when the file is sound — `qpdf --check` exits 0
// without a warning, and its JSON does not call the file damaged — else
// what qpdf said.
std::string qpdfProblems(const std::vector<std::uint8_t>& pdf);

// What a viewer shows in a document's properties.
struct ReadProperties {
  std::string title;
  std::string author;
  std::string subject;
  std::string keywords;
  std::string creator;
  long long created = 0;  // seconds since 1970; 0 when there is no date
};
ReadProperties readProperties(const std::vector<std::uint8_t>& pdf);

// The outline (bookmarks) as a viewer's pane shows it: each entry's title
// and the page it opens, from 1 (0 when poppler can't resolve it).
struct ReadOutlineEntry {
  std::string title;
  int page = 0;
  std::vector<ReadOutlineEntry> children;
};
std::vector<ReadOutlineEntry> readOutline(const std::vector<std::uint8_t>& pdf);

// The links of page `index` (from 0) as poppler maps them: the area in
// points from the page's top left, and the page each opens, from 1.
struct ReadLink {
  double left = 0, top = 0, right = 0, bottom = 0;
  int page = 0;
};
std::vector<ReadLink> readLinks(const std::vector<std::uint8_t>& pdf, int index);

// What a screen reader and a preflight tool find: pdfinfo's summary
// ("Tagged: yes"), the structure tree with its text (pdfinfo -struct-text),
// and the whole file as qpdf writes it out uncompressed, to look for its
// dictionaries' entries.
struct ReadStructure {
  std::string info;
  std::string tree;
  std::string uncompressed;
};
ReadStructure readStructure(const std::vector<std::uint8_t>& pdf);

}  // namespace quorvane::testing
