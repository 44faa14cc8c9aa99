#include "qnunicode/properties/QNUnicodeBlockTable.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>

namespace {

using Range = QNUnicodeBlockTable::Range;
constexpr uint32_t kTop = std::numeric_limits<uint32_t>::max();

// The plain walk: the first range in map order that holds the codepoint.
const UnicodeString* walkedBlock(const QNUnicodeBlockTable& table, uint32_t codepoint) {
  for (const auto& [range, name] : table.entries()) {
    if (range.first <= codepoint && codepoint - range.first < range.count) return &name;
  }
  return nullptr;
}

void expectTableAgreesWithWalk(const QNUnicodeBlockTable& table, std::set<uint32_t> points) {
  for (const auto& [range, name] : table.entries()) {
    const uint64_t end = uint64_t(range.first) + range.count;
    for (uint64_t p : {uint64_t(range.first) - 1, uint64_t(range.first), uint64_t(range.first) + 1,
                       end - 1, end, end + 1}) {
      if (p <= kTop) points.insert(static_cast<uint32_t>(p));
    }
  }
  for (uint32_t c : points) {
    ASSERT_EQ(table.blockForCodepoint(c), walkedBlock(table, c)) << "codepoint " << std::hex << c;
  }
}

TEST(QNUnicodeBlockTable, FirstRangeInMapOrderWinsWhereRangesOverlap) {
  QNUnicodeBlockTable::Map entries;
  entries[{0x100, 0x80}] = u"Outer";
  entries[{0x120, 0x10}] = u"Inner";        // inside Outer: never answered
  entries[{0x100, 0x10}] = u"Short start";  // same first, smaller count: comes first in order
  entries[{0x170, 0x40}] = u"Overhang";     // only its part past Outer is answered
  const QNUnicodeBlockTable table(std::move(entries));
  EXPECT_EQ(*table.blockForCodepoint(0x105), u"Short start");
  EXPECT_EQ(*table.blockForCodepoint(0x110), u"Outer");
  EXPECT_EQ(*table.blockForCodepoint(0x125), u"Outer");
  EXPECT_EQ(*table.blockForCodepoint(0x17F), u"Outer");
  EXPECT_EQ(*table.blockForCodepoint(0x180), u"Overhang");
  EXPECT_EQ(*table.blockForCodepoint(0x1AF), u"Overhang");
  EXPECT_EQ(table.blockForCodepoint(0x1B0), nullptr);
  EXPECT_EQ(table.blockForCodepoint(0xFF), nullptr);
  // Answers point at the table's own names.
  EXPECT_EQ(table.blockForCodepoint(0x180), &table.entries().at({0x170, 0x40}));
}

TEST(QNUnicodeBlockTable, EmptyAndWrappedCountsFollowUnsignedArithmetic) {
  QNUnicodeBlockTable::Map entries;
  // A reversed range one short (last = first - 1) has count 0 and holds nothing.
  entries[{0x500, 0}] = u"Nothing";
  // A reversed range further back wraps to a huge count: it reaches the top of the 32-bit space.
  entries[{0x600, 0x50u - 0x600u + 1u}] = u"Wrapped";
  entries[{0xFFFFFFF0u, 0x10}] = u"Top";
  entries[{0x00, 0x80}] = u"Basic";
  const QNUnicodeBlockTable table(std::move(entries));
  EXPECT_EQ(table.blockForCodepoint(0x500), nullptr);
  EXPECT_EQ(table.blockForCodepoint(0x5FF), nullptr);
  EXPECT_EQ(*table.blockForCodepoint(0x600), u"Wrapped");
  EXPECT_EQ(*table.blockForCodepoint(0x10FFFF), u"Wrapped");
  EXPECT_EQ(*table.blockForCodepoint(kTop), u"Wrapped");
  EXPECT_EQ(*table.blockForCodepoint(0x7F), u"Basic");
  expectTableAgreesWithWalk(table, {0, 0x80, 0x10FFFF, 0x110000, kTop});

  const QNUnicodeBlockTable empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.blockForCodepoint(0x41), nullptr);
  EXPECT_EQ(empty.blockForCodepoint(kTop), nullptr);
}

TEST(QNUnicodeBlockTable, RandomOverlappingRangesAgreeWithTheWalk) {
  std::mt19937 random(3);
  std::uniform_int_distribution<uint32_t> first(0, 0x12000), count(0, 0x3000), any(0, kTop);
  for (int round = 0; round < 5; ++round) {
    QNUnicodeBlockTable::Map entries;
    for (int i = 0; i < 60 + round * 80; ++i) {
      entries[{first(random), count(random)}] = u"B" + UnicodeString(1, char16_t(u'0' + i % 40));
    }
    entries[{any(random), any(random)}] = u"Far";
    const QNUnicodeBlockTable table(std::move(entries));
    std::set<uint32_t> points{0, 0x10FFFF, 0x110000, kTop};
    for (int i = 0; i < 2000; ++i) points.insert(first(random));
    expectTableAgreesWithWalk(table, points);
  }
}

}  // namespace
