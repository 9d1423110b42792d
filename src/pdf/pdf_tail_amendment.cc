#include "pdf/pdf_tail_amendment.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>

#include "pdf/pdf_xref_table.h"

namespace quorvane {
namespace {

struct Insertion {
  std::size_t at = 0;
  std::string text;
};

std::string_view view(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The number after `key` in the trailer ("/Size 26", "/Root 25 0 R").
std::optional<std::uint64_t> trailerNumber(std::string_view trailer, std::string_view key) {
  const std::size_t at = trailer.find(key);
  if (at == std::string_view::npos) return std::nullopt;
  std::size_t p = at + key.size();
  while (p < trailer.size() && trailer[p] == ' ') ++p;
  std::uint64_t value = 0;
  const std::size_t digits = p;
  while (p < trailer.size() && isPdfDigit(static_cast<std::uint8_t>(trailer[p])) && p - digits < 12)
    value = value * 10 + static_cast<std::uint64_t>(trailer[p++] - '0');
  if (p == digits) return std::nullopt;
  return value;
}

// Where each "/S /Figure" of the structure tree ends, in file order.
std::vector<std::size_t> figureTypes(std::string_view text) {
  constexpr std::string_view kFigure = "/S /Figure";
  std::vector<std::size_t> ends;
  for (std::size_t at = text.find(kFigure); at != std::string_view::npos;
       at = text.find(kFigure, at + 1)) {
    const std::size_t end = at + kFigure.size();
    if (end < text.size() && isPdfSpace(static_cast<std::uint8_t>(text[end]))) ends.push_back(end);
  }
  return ends;
}

}  // namespace

bool amendPdfTail(std::vector<std::uint8_t>& tail, std::uint64_t tailStart,
                  const TailAmender& amend) {
  const std::string_view text = view(tail);
  const std::optional<std::uint64_t> tableOffset = xrefTableOffset(tail);
  if (!tableOffset || *tableOffset < tailStart || *tableOffset - tailStart >= tail.size()) {
    return false;
  }
  const auto tableAt = static_cast<std::size_t>(*tableOffset - tailStart);
  const std::optional<std::vector<XrefEntry>> table = readXrefTable(tail, tableAt);
  if (!table || table->empty()) return false;
  for (std::size_t i = 0; i < table->size(); ++i) {
    if ((*table)[i].object != i) return false;  // one subsection, from 0
  }
  const std::size_t trailerAt = text.find("trailer", tableAt);
  const std::size_t startxrefAt = text.find("startxref", trailerAt);
  if (trailerAt == std::string_view::npos || startxrefAt == std::string_view::npos) return false;
  const std::string_view trailer = text.substr(trailerAt, startxrefAt - trailerAt);
  const std::optional<std::uint64_t> size = trailerNumber(trailer, "/Size");
  const std::optional<std::uint64_t> root = trailerNumber(trailer, "/Root");
  if (!size || !root || *size != table->size() || *root >= table->size()) return false;

  // The catalogue lies in the tail: cairo writes it last, before the table.
  const XrefEntry& catalogue = (*table)[*root];
  if (!catalogue.inUse || catalogue.offset < tailStart) return false;
  const auto catalogueAt = static_cast<std::size_t>(catalogue.offset - tailStart);
  constexpr std::string_view kCatalogue = "/Type /Catalog";
  const std::size_t catalogueType = text.find(kCatalogue, catalogueAt);
  const std::size_t catalogueEnd = text.find("endobj", catalogueAt);
  if (catalogueType == std::string_view::npos || catalogueType > catalogueEnd ||
      catalogueType + kCatalogue.size() > tableAt) {
    return false;
  }

  const TailAdditions additions = amend(*size);
  std::vector<Insertion> insertions;
  if (!additions.catalogueEntries.empty()) {
    insertions.push_back({catalogueType + kCatalogue.size(), "\n   " + additions.catalogueEntries});
  }
  const std::vector<std::size_t> figures = figureTypes(text.substr(0, tableAt));
  if (figures.size() == additions.figureAlternatives.size()) {
    for (std::size_t i = 0; i < figures.size(); ++i) {
      insertions.push_back({figures[i], "\n   /Alt " + additions.figureAlternatives[i]});
    }
  } else if (!additions.figureAlternatives.empty()) {
    return false;
  }
  std::sort(insertions.begin(), insertions.end(),
            [](const Insertion& a, const Insertion& b) { return a.at < b.at; });
  // How far what stood at `at` in the tail moves.
  const auto shiftAt = [&](std::size_t at) {
    std::uint64_t shift = 0;
    for (const Insertion& insertion : insertions) {
      if (insertion.at < at) shift += insertion.text.size();
    }
    return shift;
  };

  std::vector<std::uint8_t> amended;
  amended.reserve(tail.size() + 4096);
  std::size_t copied = 0;
  for (const Insertion& insertion : insertions) {
    amended.insert(amended.end(), tail.begin() + static_cast<std::ptrdiff_t>(copied),
                   tail.begin() + static_cast<std::ptrdiff_t>(insertion.at));
    amended.insert(amended.end(), insertion.text.begin(), insertion.text.end());
    copied = insertion.at;
  }
  amended.insert(amended.end(), tail.begin() + static_cast<std::ptrdiff_t>(copied),
                 tail.begin() + static_cast<std::ptrdiff_t>(tableAt));

  // The new objects, then the table again with every offset where its
  // object now stands.
  std::vector<std::uint64_t> newOffsets;
  for (std::size_t i = 0; i < additions.objects.size(); ++i) {
    newOffsets.push_back(tailStart + amended.size());
    const std::string object =
        std::to_string(*size + i) + " 0 obj\n" + additions.objects[i] + "\nendobj\n";
    amended.insert(amended.end(), object.begin(), object.end());
  }
  const std::uint64_t newTableOffset = tailStart + amended.size();
  const auto append = [&](std::string_view part) {
    amended.insert(amended.end(), part.begin(), part.end());
  };
  const std::uint64_t newSize = *size + additions.objects.size();
  append("xref\n0 " + std::to_string(newSize) + "\n");
  char entry[32];
  for (const XrefEntry& old : *table) {
    if (!old.inUse) {
      append(text.substr(old.at, 20));
      continue;
    }
    std::uint64_t offset = old.offset;
    if (offset >= tailStart) offset += shiftAt(static_cast<std::size_t>(offset - tailStart));
    std::snprintf(entry, sizeof entry, "%010llu %05u n \n", static_cast<unsigned long long>(offset),
                  0u);
    append(entry);
  }
  for (const std::uint64_t offset : newOffsets) {
    std::snprintf(entry, sizeof entry, "%010llu 00000 n \n",
                  static_cast<unsigned long long>(offset));
    append(entry);
  }
  std::string newTrailer(trailer);
  const std::size_t sizeAt = newTrailer.find("/Size");
  std::size_t sizeEnd = sizeAt + 5;
  while (sizeEnd < newTrailer.size() && newTrailer[sizeEnd] == ' ') ++sizeEnd;
  while (sizeEnd < newTrailer.size() && isPdfDigit(static_cast<std::uint8_t>(newTrailer[sizeEnd])))
    ++sizeEnd;
  newTrailer.replace(sizeAt, sizeEnd - sizeAt, "/Size " + std::to_string(newSize));
  append(newTrailer);
  append("startxref\n" + std::to_string(newTableOffset) + "\n%%EOF\n");
  tail = std::move(amended);
  return true;
}

}  // namespace quorvane
