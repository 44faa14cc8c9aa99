#include "qnunicode/properties/QNUnicodeBlockTable.h"

#include <gtest/gtest.h>

#include <random>

namespace {

constexpr uint32_t kTop = 0xFFFFFFFF;

// The plain walk: the first range in map order that holds the codepoint.
const UnicodeString* walkedBlock(const QNUnicodeBlockTable& table, uint32_t codepoint) {
  for (const auto& [range, name] : table.entries()) {
    if (range.first <= codepoint && codepoint - range.first < range.count) return &name;
  }
  return nullptr;
}

TEST(QNUnicodeBlockTable, OverlappingEmptyAndWrappedRangesAnswerLikeTheWalk) {
  std::mt19937 random(3);
  std::uniform_int_distribution<uint32_t> first(0, 0x12000), count(0, 0x3000), any(0, kTop);
  for (int round = 0; round < 4; ++round) {
    QNUnicodeBlockTable::Map entries;
    for (int i = 0; i < 60 + round * 80; ++i) {
      entries[{first(random), count(random)}] = u"B" + UnicodeString(1, char16_t(u'0' + i % 40));
    }
    entries[{0x500, 0}] = u"Nothing";                          // last = first - 1
    entries[{any(random), 0x50u - 0x600u + 1u}] = u"Wrapped";  // reaches the top of the space
    const QNUnicodeBlockTable table(std::move(entries));
    std::vector<uint32_t> points{0, 0x10FFFF, 0x110000, kTop};
    for (const auto& [range, name] : table.entries()) {
      const uint64_t end = uint64_t(range.first) + range.count;
      for (uint64_t p : {uint64_t(range.first) - 1, uint64_t(range.first), end - 1, end}) {
        if (p <= kTop) points.push_back(static_cast<uint32_t>(p));
      }
    }
    for (int i = 0; i < 2000; ++i) points.push_back(first(random));
    for (uint32_t c : points) {
      ASSERT_EQ(table.blockForCodepoint(c), walkedBlock(table, c)) << std::hex << c;
    }
  }
  const QNUnicodeBlockTable empty;
  EXPECT_EQ(empty.blockForCodepoint(0x41), nullptr);
  EXPECT_EQ(empty.blockForCodepoint(kTop), nullptr);
}

}  // namespace
