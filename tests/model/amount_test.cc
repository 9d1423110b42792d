#include "model/amount.h"

#include <gtest/gtest.h>

#include <limits>

#include "pdf/price_format.h"

namespace quorvane {
namespace {

TEST(AmountTest, AmountsAreReadAsArtistsWriteThem) {
  EXPECT_EQ(parseAmountToCents("1200"), 120000);
  EXPECT_EQ(parseAmountToCents("1200.5"), 120050);
  EXPECT_EQ(parseAmountToCents("1200,50"), 120050);
  EXPECT_EQ(parseAmountToCents("1,200.50"), 120050);
  EXPECT_EQ(parseAmountToCents("1.200,50"), 120050);
  EXPECT_EQ(parseAmountToCents("1 200"), 120000);
  EXPECT_EQ(parseAmountToCents("1\u00A0200,50"), 120050) << "a no-break space groups too";
  EXPECT_EQ(parseAmountToCents("1'234'567.80"), 123456780);
  EXPECT_EQ(parseAmountToCents("1,200"), 120000) << "three digits after one mark group";
  EXPECT_EQ(parseAmountToCents("4.800"), 480000);
  EXPECT_EQ(parseAmountToCents(" 0.05 "), 5);
  EXPECT_EQ(parseAmountToCents("999999999999999"), 99999999999999900);
  EXPECT_EQ(formatCents(120005), "1200.05");
  EXPECT_EQ(parseAmountToCents("999999999999999.99"), kMaximumPriceCents) << "the largest";
}

// A library or a package may hold what no one typed; shown, it is still
// one number, and a document prints no such price at all.
TEST(AmountTest, EveryStoredValueFormatsAsOneNumber) {
  EXPECT_EQ(formatCents(-150), "-1.50");
  EXPECT_EQ(formatCents(-5), "-0.05");
  EXPECT_EQ(formatCents(std::numeric_limits<std::int64_t>::min()), "-92233720368547758.08");
  EXPECT_EQ(formatPrice(kMaximumPriceCents, "EUR", "en"), "€999,999,999,999,999.99")
      << "exact, never rounded through a double";
  EXPECT_EQ(formatPrice(-150, "EUR", "en"), "");
  EXPECT_EQ(formatPrice(std::numeric_limits<std::int64_t>::max(), "EUR", "en"), "");
  EXPECT_EQ(formatPrice(-5, "XYZ1", "en"), "");
}

TEST(AmountTest, WholePricesPrintWithoutCentsOthersWithTheirCents) {
  EXPECT_EQ(formatPrice(1250000, "EUR", "en"), "€12,500");
  EXPECT_EQ(formatPrice(1250050, "EUR", "en"), "€12,500.50");
  EXPECT_EQ(formatPrice(1250005, "EUR", "en"), "€12,500.05");
  EXPECT_EQ(formatPrice(1250000, "EUR", "fr"), "12\u202f500\u00a0€");
  EXPECT_EQ(formatPrice(1250000, "JPY", "en"), "¥12,500");
}

TEST(AmountTest, WhatCouldBeReadTwoWaysIsRefused) {
  for (const char* bad : {"1.5.5",        "1,2,3",
                          "1.200.50",     "1,200,5",
                          "12,34.567",    "1 20",
                          "1,2345.00",    "1.,5",
                          "1..5",         ",5",
                          "5,",           "",
                          "-5",           "+5",
                          "12a",          ".",
                          "1.",           "1e3",
                          "1.234,5.6",    "1,200 000",
                          "12345,678.90", "99999999999999999",
                          "1 200.5.0"}) {
    EXPECT_EQ(parseAmountToCents(bad), std::nullopt) << bad;
  }
}

}  // namespace
}  // namespace quorvane
