#include "qnunicode/properties/QNUnicodePropertyTable.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace {

constexpr uint32_t kTop = 0xFFFFFFFF;

// Sets of random overlapping ranges, one of them running to the top of the 32-bit space.
QNUnicodePropertyTable::Map randomSets(std::mt19937& random, int names) {
  QNUnicodePropertyTable::Map sets;
  std::uniform_int_distribution<uint32_t> position(0, 0x3000), length(0, 300);
  for (int n = 0; n < names; ++n) {
    CodepointSet& set = sets[u"P" + UnicodeString(1, char16_t(u'A' + n))];
    for (int r = 0; r < 40; ++r) {
      const uint32_t first = position(random);
      set.addRange(first, first + length(random));
    }
  }
  sets[u"Top"].addRange(0xFFFFFF00u, kTop);
  return sets;
}

// Every range end and its neighbours, the index's page edges and the edges of both spaces.
std::set<uint32_t> probePoints(const QNUnicodePropertyTable::Map& sets) {
  std::set<uint32_t> points{0, 127, 128, 0x10FFFF, 0x110000, kTop};
  for (const auto& [name, set] : sets) {
    for (const CodepointSet::Range& range : set.ranges()) {
      for (uint64_t p : {uint64_t(range.first) - 1, uint64_t(range.first), uint64_t(range.last),
                         uint64_t(range.last) + 1}) {
        if (p <= kTop) points.insert(static_cast<uint32_t>(p));
      }
    }
  }
  return points;
}

TEST(QNUnicodePropertyTable, IndexedAndWalkingTablesAnswerLikeTheWalkOverTheMap) {
  std::mt19937 random(11);
  for (int round = 0; round < 5; ++round) {
    const QNUnicodePropertyTable::Map sets = randomSets(random, 2 + round * 3);
    const QNUnicodePropertyTable indexed(sets), walking(sets, 0);  // no budget: walk the sets
    ASSERT_TRUE(indexed.isIndexed());
    ASSERT_FALSE(walking.isIndexed());
    for (uint32_t c : probePoints(sets)) {
      std::vector<UnicodeString> expected;
      for (const auto& [name, set] : sets) {
        if (set.contains(c)) expected.push_back(name);
      }
      for (const QNUnicodePropertyTable* table : {&indexed, &walking}) {
        ASSERT_EQ(table->namesForCodepoint(c), expected) << std::hex << c;
        const QNUnicodePropertyTable::Matches matches = table->matchesForCodepoint(c);
        ASSERT_EQ(matches.count, expected.size()) << std::hex << c;
        if (expected.empty()) continue;
        // Answered by reference into the table's own keys.
        EXPECT_EQ(matches.first, &table->sets().find(expected.front())->first);
        EXPECT_EQ(*matches.last, expected.back());
      }
    }
  }
}

TEST(QNUnicodePropertyTable, StaggeredHostileSetsFallBackToTheWalk) {
  // Many names whose sets all run to the top but start one apart: every interval holds another
  // combination, far more than the index may spend.
  QNUnicodePropertyTable::Map sets;
  const uint32_t names = 1600;
  for (uint32_t n = 0; n < names; ++n) {
    sets[qnunicode::fromUTF8("N" + std::to_string(100000 + n))].addRange(n, 0x10FFFF);
  }
  const QNUnicodePropertyTable table(std::move(sets));
  EXPECT_FALSE(table.isIndexed());
  const QNUnicodePropertyTable::Matches matches = table.matchesForCodepoint(names - 1);
  EXPECT_EQ(matches.count, names);
  EXPECT_EQ(*matches.first, u"N100000");
  EXPECT_EQ(*matches.last, u"N101599");
  EXPECT_EQ(table.namesForCodepoint(2).size(), 3u);
  // Names that differ in one unit only are still told apart by name.
  for (const auto& [name, set] : table.sets()) ASSERT_EQ(table.setNamed(name), &set);
  EXPECT_EQ(table.setNamed(u"N099999"), nullptr);
  EXPECT_EQ(table.setNamed(u"N1000000"), nullptr);
  EXPECT_EQ(table.setNamed(u""), nullptr);
  EXPECT_TRUE(table.codepointHasProperty(7, u"N100007"));
  EXPECT_FALSE(table.codepointHasProperty(6, u"N100007"));
}

}  // namespace
