// Mends the cross-reference table cairo 1.16 writes once a document has
// links, named destinations or bookmarks.
//
// For those, cairo reserves numbers for objects it may never write (the
// parts of a structure tree it leaves out), yet lists each of them in the
// table as in use, at the offset where the file stood when the number was
// reserved — where another object, or none, begins. Viewers rebuild such a
// table silently; qpdf and print shops' preflight tools call the file
// damaged.
//
// A `PdfXrefRepair` stands between cairo and where the bytes go. It notes
// where each object begins as the bytes pass, holds back what is written
// once the document is being finished (the table comes last, after the
// fonts and the outline), and before handing that on turns every entry
// that points at no object of its number into a free entry. An entry is 20
// bytes whatever it says, so the table is mended in place: no byte moves,
// no offset changes, and the pages and images already handed on are never
// needed again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "pdf/pdf_canvas.h"
#include "pdf/pdf_tail_amendment.h"

namespace quorvane {

class PdfXrefRepair {
 public:
  explicit PdfXrefRepair(PdfSink downstream);

  // Hands `bytes` on, or keeps them once `holdBack` was called; false when
  // the sink refused them.
  bool write(std::span<const std::uint8_t> bytes);

  // What comes from now on is kept until `finish`: call it before the
  // document's last objects and its table are written.
  void holdBack();

  // Mends the table in what was held back and hands it all on; false when
  // the sink refused it. A tail without a table it understands goes on as
  // it is: a file is never lost for want of a repair.
  bool finish();

  // Once the table is mended, `finish` also adds what `amend` returns to
  // what was held back (see pdf_tail_amendment.h).
  void amendTail(TailAmender amend) { amend_ = std::move(amend); }

  // Whether `finish` added what the amender returned.
  bool amended() const { return amended_; }
  // Bytes seen so far: where the next write begins in the file.
  std::uint64_t position() const { return position_; }

  // Entries turned into free ones by `finish`.
  std::size_t freedEntries() const { return freed_; }

 private:
  void noteObjectStarts(std::span<const std::uint8_t> bytes);
  // Looks for headers in bytes[from, to) — and past `to` while one is
  // half-read, when `untilBetween` — and returns where it stopped.
  std::size_t scan(std::span<const std::uint8_t> bytes, std::size_t from, std::size_t to,
                   bool untilBetween);
  // Whether `offset` lies in bytes that were not looked at.
  bool unread(std::uint64_t offset) const;
  void mendTable();

  PdfSink downstream_;
  std::uint64_t position_ = 0;  // bytes seen so far
  // Where an object header ("12 0 obj") begins, and its number.
  std::unordered_map<std::uint64_t, std::uint64_t> objectStarts_;
  // The stretches not looked at, [from, to), in file order.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> unread_;
  // How far into a header the last write ended: a header may be split
  // between two writes.
  std::uint8_t state_ = 1;  // at the start of a line
  std::uint64_t headerStart_ = 0;
  std::uint64_t number_ = 0;
  int digits_ = 0;
  bool holding_ = false;
  std::uint64_t heldFrom_ = 0;
  std::vector<std::uint8_t> held_;
  std::size_t freed_ = 0;
  TailAmender amend_;
  bool amended_ = false;
};

}  // namespace quorvane
