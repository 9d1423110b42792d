// The cross-reference table at the end of a PDF, as cairo writes it: read
// from the bytes that hold it, entry by entry, each where it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace quorvane {

inline bool isPdfDigit(std::uint8_t c) { return c >= '0' && c <= '9'; }
inline bool isPdfSpace(std::uint8_t c) { return c == ' ' || c == '\r' || c == '\n' || c == '\t'; }

// One entry of the table, as it stands in the bytes.
struct XrefEntry {
  std::uint64_t object = 0;
  std::size_t at = 0;  // where its 20 bytes begin
  std::uint64_t offset = 0;
  bool inUse = false;
};

// Reads a table ("xref", then subsections of "first count" and their
// entries, up to "trailer") from `at`; nothing when it is not one.
std::optional<std::vector<XrefEntry>> readXrefTable(const std::vector<std::uint8_t>& bytes,
                                                    std::size_t at);

// Where the table begins, from the "startxref" near the end.
std::optional<std::uint64_t> xrefTableOffset(const std::vector<std::uint8_t>& bytes);

}  // namespace quorvane
