// Adds to a finished PDF what cairo 1.16 has no way to write — the
// document's language, its XMP metadata and output intent, the alternative
// text of its figures — by editing the last part of the file, the one that
// holds the catalogue, the structure tree and the cross-reference table,
// while it is still in memory. The pages and images before it, already
// written out, are never touched: every edit lies after them, so their
// offsets hold, and the table is written again for what moved.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorvane {

struct TailAdditions {
  // Entries added to the catalogue's dictionary ("/Lang (en)").
  std::string catalogueEntries;
  // The alternative text of each figure of the structure tree, in the
  // order the figures were made, each a PDF string ("(…)" or "<FEFF…>").
  std::vector<std::string> figureAlternatives;
  // New objects, each its whole body ("<< … >>", with its stream if any):
  // they are numbered in order from the first number the file leaves free,
  // which `TailAmender` is told so entries can refer to them.
  std::vector<std::string> objects;
};
using TailAmender = std::function<TailAdditions(std::uint64_t firstFreeObject)>;

// Applies what `amend` returns to `tail`, the last bytes of a PDF, which
// begin `tailStart` bytes into the file and hold its catalogue, its table
// and its trailer. Returns false, leaving `tail` as it was, when the tail
// is not what cairo writes (no table there, the catalogue before the tail,
// figures that do not match the alternatives given).
bool amendPdfTail(std::vector<std::uint8_t>& tail, std::uint64_t tailStart,
                  const TailAmender& amend);

}  // namespace quorvane
