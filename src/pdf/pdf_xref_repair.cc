#include "pdf/pdf_xref_repair.h"

#include "pdf/pdf_tail_amendment.h"
#include "pdf/pdf_xref_table.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace quorvane {
namespace {

void writeFreeEntry(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint64_t next,
                    unsigned generation) {
  char text[21];
  std::snprintf(text, sizeof text, "%010llu %05u f", static_cast<unsigned long long>(next),
                generation);
  std::memcpy(bytes.data() + at, text, 18);  // the line's end stays as it was
}

}  // namespace

PdfXrefRepair::PdfXrefRepair(PdfSink downstream) : downstream_(std::move(downstream)) {}

// A small machine, fed byte by byte only where a line begins: between lines
// it leaps from one line feed to the next.
enum class HeaderState : std::uint8_t {
  between,
  lineStart,
  number,
  generationStart,
  generation,
  o,
  b,
  j
};

namespace {

// A write larger than this is looked at only at its two ends (an image, a
// font, a compressed stream): cairo writes each object's header with a
// write of its own, small, and reserves numbers between writes, so every
// place an entry can point at is at the start of a write.
constexpr std::size_t kWholeWrite = 4096;
constexpr std::size_t kEdge = 64;

}  // namespace

std::size_t PdfXrefRepair::scan(std::span<const std::uint8_t> bytes, std::size_t from,
                                std::size_t to, bool untilBetween) {
  const std::uint8_t* data = bytes.data();
  auto state = static_cast<HeaderState>(state_);
  std::size_t i = from;
  while (i < to || (untilBetween && i < bytes.size() && state != HeaderState::between &&
                    state != HeaderState::lineStart)) {
    if (state == HeaderState::between) {
      const void* feed = std::memchr(data + i, '\n', to - i);
      if (feed == nullptr) {
        i = to;
        break;
      }
      i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(feed) - data) + 1;
      state = HeaderState::lineStart;
      continue;
    }
    const std::uint8_t c = data[i];
    HeaderState next = c == '\n' ? HeaderState::lineStart : HeaderState::between;
    switch (state) {
      case HeaderState::lineStart:
        if (isPdfDigit(c)) {
          headerStart_ = position_ + i;
          number_ = c - '0';
          digits_ = 1;
          next = HeaderState::number;
        }
        break;
      case HeaderState::number:
        if (isPdfDigit(c) && digits_ < 10) {
          number_ = number_ * 10 + (c - '0');
          ++digits_;
          next = HeaderState::number;
        } else if (c == ' ') {
          digits_ = 0;
          next = HeaderState::generationStart;
        }
        break;
      case HeaderState::generationStart:
      case HeaderState::generation:
        if (isPdfDigit(c) && digits_ < 5) {
          ++digits_;
          next = HeaderState::generation;
        } else if (c == ' ' && state == HeaderState::generation) {
          next = HeaderState::o;
        }
        break;
      case HeaderState::o:
        if (c == 'o') next = HeaderState::b;
        break;
      case HeaderState::b:
        if (c == 'b') next = HeaderState::j;
        break;
      case HeaderState::j:
        if (c == 'j') objectStarts_[headerStart_] = number_;
        break;
      case HeaderState::between:
        break;
    }
    state = next;
    ++i;
  }
  state_ = static_cast<std::uint8_t>(state);
  return i;
}

void PdfXrefRepair::noteObjectStarts(std::span<const std::uint8_t> bytes) {
  const std::size_t size = bytes.size();
  if (size <= kWholeWrite) {
    scan(bytes, 0, size, false);
  } else {
    // The head, and any header it leaves half-read; then the tail. What
    // lies between is not looked at: an entry pointing there is left as
    // it is, never judged.
    const std::size_t headEnd = scan(bytes, 0, kEdge, true);
    const std::size_t tailStart = size - kEdge;
    if (headEnd < tailStart) {
      unread_.push_back({position_ + headEnd, position_ + tailStart + 1});
      state_ = static_cast<std::uint8_t>(HeaderState::between);
    }
    scan(bytes, std::max(headEnd, tailStart), size, false);
  }
  position_ += size;
}

bool PdfXrefRepair::unread(std::uint64_t offset) const {
  const auto after = std::upper_bound(
      unread_.begin(), unread_.end(), offset,
      [](std::uint64_t value, const std::pair<std::uint64_t, std::uint64_t>& range) {
        return value < range.first;
      });
  return after != unread_.begin() && offset < std::prev(after)->second;
}

bool PdfXrefRepair::write(std::span<const std::uint8_t> bytes) {
  noteObjectStarts(bytes);
  if (holding_) {
    held_.insert(held_.end(), bytes.begin(), bytes.end());
    return true;
  }
  return downstream_.write(bytes);
}

void PdfXrefRepair::holdBack() {
  if (holding_) return;
  holding_ = true;
  heldFrom_ = position_;
}

void PdfXrefRepair::mendTable() {
  const std::optional<std::uint64_t> offset = xrefTableOffset(held_);
  if (!offset || *offset < heldFrom_ || *offset - heldFrom_ >= held_.size()) return;
  const std::optional<std::vector<XrefEntry>> table =
      readXrefTable(held_, static_cast<std::size_t>(*offset - heldFrom_));
  if (!table || table->empty() || table->front().object != 0) return;
  std::vector<const XrefEntry*> free;
  std::size_t missing = 0;
  for (const XrefEntry& entry : *table) {
    if (entry.object == 0) continue;
    bool isFree = !entry.inUse;
    if (entry.inUse) {
      const auto found = objectStarts_.find(entry.offset);
      const bool seen = found != objectStarts_.end() && found->second == entry.object;
      if (!seen && !unread(entry.offset)) {
        isFree = true;
        ++missing;
      }
    }
    if (isFree) free.push_back(&entry);
  }
  if (missing == 0) return;
  // The free entries are a list, each naming the next; the first entry
  // names the first and the last names object 0.
  writeFreeEntry(held_, table->front().at, free.front()->object, 65535);
  for (std::size_t i = 0; i < free.size(); ++i) {
    const XrefEntry& entry = *free[i];
    const std::uint64_t next = i + 1 < free.size() ? free[i + 1]->object : 0;
    // A number never used keeps generation 0; one already free keeps its own.
    unsigned generation = 0;
    if (!entry.inUse) {
      const std::uint8_t* text = held_.data() + entry.at + 11;
      for (int d = 0; d < 5; ++d) generation = generation * 10 + (text[d] - '0');
    }
    writeFreeEntry(held_, entry.at, next, generation);
  }
  freed_ = missing;
}

bool PdfXrefRepair::finish() {
  if (!holding_) return true;
  mendTable();
  if (amend_) amended_ = amendPdfTail(held_, heldFrom_, amend_);
  holding_ = false;
  std::vector<std::uint8_t> tail = std::move(held_);
  held_.clear();
  return tail.empty() || downstream_.write(tail);
}

}  // namespace quorvane
