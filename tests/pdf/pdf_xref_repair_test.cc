#include "pdf/pdf_xref_repair.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::qpdfProblems;

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// A small PDF as cairo 1.16 writes one with links: object 3 was reserved and
// never written, yet its entry says it is in use where object 1 begins.
// `tailFrom` is where the document's last objects begin.
struct BrokenPdf {
  std::string text;
  std::size_t tailFrom = 0;
  std::size_t table = 0;
};
// `padding` bytes of an image's data go into object 6, and object 7 after it.
BrokenPdf brokenPdf(std::size_t padding = 0) {
  BrokenPdf pdf;
  std::string& out = pdf.text;
  out = "%PDF-1.5\n%\xb5\xed\xae\xfb\n";
  std::size_t offsets[8] = {};
  const auto object = [&](int number, const std::string& body) {
    offsets[number] = out.size();
    out += std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
  };
  object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 10 10] /StructParents 0 >>");
  // A stream whose bytes hold what looks like a header, on a line of its own.
  object(6, "<< /Length " + std::to_string(12 + padding) + " >>\nstream\nx\n3 0 obj\nyz" +
                std::string(padding, 'q') + "\nendstream");
  object(7, "(seven)");
  pdf.tailFrom = out.size();
  offsets[3] = out.size();  // reserved here, never written
  object(1, "<< /Type /Catalog /Pages 2 0 R >>");
  object(2, "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
  object(5, "[ 3 0 R ]");
  pdf.table = out.size();
  out += "xref\n0 8\n0000000000 65535 f \n";
  char entry[21];
  for (int number = 1; number <= 7; ++number) {
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", offsets[number]);
    out += entry;
  }
  out +=
      "trailer\n<< /Size 8 /Root 1 0 R >>\nstartxref\n" + std::to_string(pdf.table) + "\n%%EOF\n";
  return pdf;
}

// The bytes that reach the sink when `pdf` passes through a repair in
// writes of `chunk` bytes, held back from `holdFrom` on.
std::vector<std::uint8_t> passThrough(const std::string& pdf, std::size_t chunk,
                                      std::size_t holdFrom, std::size_t* freed = nullptr) {
  std::vector<std::uint8_t> out;
  PdfXrefRepair repair(PdfSink{[&](std::span<const std::uint8_t> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
    return true;
  }});
  const auto feed = [&](std::size_t from, std::size_t to) {
    for (std::size_t at = from; at < to; at += chunk) {
      const std::size_t size = std::min(chunk, to - at);
      EXPECT_TRUE(repair.write({reinterpret_cast<const std::uint8_t*>(pdf.data()) + at, size}));
    }
  };
  feed(0, holdFrom);
  EXPECT_EQ(out.size(), holdFrom) << "what comes before finishing goes straight on";
  repair.holdBack();
  feed(holdFrom, pdf.size());
  EXPECT_EQ(out.size(), holdFrom) << "the rest waits for the table";
  EXPECT_TRUE(repair.finish());
  if (freed != nullptr) *freed = repair.freedEntries();
  return out;
}

TEST(PdfXrefRepairTest, AnEntryForAnObjectNeverWrittenBecomesFreeHoweverTheBytesArrive) {
  const BrokenPdf broken = brokenPdf();
  EXPECT_NE(qpdfProblems(bytesOf(broken.text)), "") << "the table as cairo writes it";

  std::string expected = broken.text;
  const std::size_t entries = expected.find("0000000000 65535 f", broken.table);
  expected.replace(entries, 18, "0000000003 65535 f");
  expected.replace(entries + 3 * 20, 18, "0000000000 00000 f");
  for (const std::size_t chunk :
       {std::size_t{1}, std::size_t{7}, std::size_t{64}, broken.text.size()}) {
    std::size_t freed = 0;
    const auto mended = passThrough(broken.text, chunk, broken.tailFrom, &freed);
    EXPECT_EQ(std::string(mended.begin(), mended.end()), expected) << "writes of " << chunk;
    EXPECT_EQ(freed, 1u);
  }
  EXPECT_EQ(qpdfProblems(bytesOf(expected)), "");
}

TEST(PdfXrefRepairTest, WhatALargeWriteHoldsInItsMiddleIsNeverJudged) {
  // The body in one write of 9 KB: an image's data and, after it, a whole
  // object — cairo never writes so, but if it did, that object's entry is
  // left as it is, while the entry pointing at the start of a write is
  // mended.
  const BrokenPdf broken = brokenPdf(9000);
  std::vector<std::uint8_t> out;
  PdfXrefRepair repair([&](std::span<const std::uint8_t> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
    return true;
  });
  const auto* data = reinterpret_cast<const std::uint8_t*>(broken.text.data());
  ASSERT_TRUE(repair.write({data, broken.tailFrom}));
  repair.holdBack();
  for (std::size_t at = broken.tailFrom; at < broken.text.size(); at += 16) {
    ASSERT_TRUE(repair.write({data + at, std::min<std::size_t>(16, broken.text.size() - at)}));
  }
  ASSERT_TRUE(repair.finish());
  EXPECT_EQ(repair.freedEntries(), 1u);
  EXPECT_EQ(qpdfProblems(out), "");
  const std::string table(out.begin() + static_cast<std::ptrdiff_t>(broken.table), out.end());
  EXPECT_NE(table.find("0000000003 65535 f"), std::string::npos) << table;
  std::size_t free = 0;
  for (auto at = table.find(" f "); at != std::string::npos; at = table.find(" f ", at + 1)) ++free;
  EXPECT_EQ(free, 2u) << "object 0's entry and object 3's; object 7 stays in use";
}

TEST(PdfXrefRepairTest, ASoundTableOrATailWithoutOneGoesOnUntouched) {
  const BrokenPdf broken = brokenPdf();
  const auto once = passThrough(broken.text, 64, broken.tailFrom);
  const std::string sound(once.begin(), once.end());
  std::size_t freed = 1;
  const auto twice = passThrough(sound, 5, broken.tailFrom, &freed);
  EXPECT_EQ(std::string(twice.begin(), twice.end()), sound);
  EXPECT_EQ(freed, 0u);

  // Cut short, or a table it can't read: a file is never lost for want of
  // a repair.
  for (const std::string& odd :
       {broken.text.substr(0, broken.table), broken.text.substr(0, broken.table + 30),
        broken.text.substr(0, broken.table) + "xref\n0 9\n0000000000 65535 f \ntrailer\n" +
            broken.text.substr(broken.text.find("startxref"))}) {
    const auto out = passThrough(odd, 16, broken.tailFrom);
    EXPECT_EQ(std::string(out.begin(), out.end()), odd);
  }
}

TEST(PdfXrefRepairTest, ASinkThatRefusesIsToldToCairoBeforeAndAfterHoldingBack) {
  bool accept = false;
  std::size_t received = 0;
  PdfXrefRepair repair([&](std::span<const std::uint8_t> bytes) {
    received += accept ? bytes.size() : 0;
    return accept;
  });
  const std::uint8_t bytes[] = {'%', 'P', 'D', 'F'};
  EXPECT_FALSE(repair.write(bytes));
  repair.holdBack();
  EXPECT_TRUE(repair.write(bytes)) << "held, not yet sent";
  EXPECT_FALSE(repair.finish());
  accept = true;
  EXPECT_TRUE(repair.finish()) << "nothing left to send";
  EXPECT_EQ(received, 0u);
}

}  // namespace
}  // namespace quorvane
