// Feeds arbitrary bytes, in writes of arbitrary sizes and held back from an
// arbitrary point, through the mending of a PDF's cross-reference table.
// Whatever it is given, what comes out is as long as what went in and
// differs only inside entries of a table: nothing moves, nothing is lost.
// The same bytes, taken as a document's last part, go through the adding
// of what cairo cannot write: it is done or, when the bytes are not what
// cairo writes, they are left exactly as they were.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "pdf/pdf_tail_amendment.h"
#include "pdf/pdf_xref_repair.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvane;
  if (size < 2) return 0;
  // The first byte sizes the writes, the second says where finishing begins.
  const std::size_t chunk = std::size_t{data[0]} % 64 + 1;
  const std::size_t holdFrom = (size - 2) * data[1] / 255;
  const std::uint8_t* pdf = data + 2;
  const std::size_t length = size - 2;

  std::vector<std::uint8_t> out;
  PdfXrefRepair repair(PdfSink{[&](std::span<const std::uint8_t> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
    return true;
  }});
  for (std::size_t at = 0; at < length; at += chunk) {
    if (at >= holdFrom) repair.holdBack();
    if (!repair.write({pdf + at, std::min(chunk, length - at)})) std::abort();
  }
  if (!repair.finish()) std::abort();
  if (out.size() != length) std::abort();
  for (std::size_t i = 0; i < length; ++i) {
    // A mended entry only ever says "f" where it said "n", and digits.
    if (out[i] == pdf[i]) continue;
    const bool digitOrType = (out[i] >= '0' && out[i] <= '9') || (out[i] == 'f' && pdf[i] == 'n');
    if (!digitOrType) std::abort();
  }

  std::vector<std::uint8_t> tail(pdf, pdf + length);
  const bool amended = amendPdfTail(tail, data[0], [](std::uint64_t first) {
    TailAdditions additions;
    additions.catalogueEntries = "/Lang (en) /Metadata " + std::to_string(first) + " 0 R";
    additions.objects.push_back("<< /Length 0 >>\nstream\n\nendstream");
    additions.figureAlternatives.push_back("(a figure)");
    return additions;
  });
  if (!amended && !std::equal(tail.begin(), tail.end(), pdf, pdf + length)) std::abort();
  return 0;
}
