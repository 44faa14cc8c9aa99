#include "qnunicode/properties/QNUnicodePropertyTable.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>

#include "qnunicode/properties/QNUnicodeIntervalIndex.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"

namespace {

using qnunicode::detail::IntervalIndex;

constexpr uint32_t kTop = std::numeric_limits<uint32_t>::max();

// The answer of the plain walk over the map: every name whose set holds the codepoint, in map
// order.
std::vector<UnicodeString> walkedNames(const QNUnicodePropertyTable& table, uint32_t codepoint) {
  std::vector<UnicodeString> names;
  for (const auto& [name, set] : table.sets()) {
    if (set.contains(codepoint)) names.push_back(name);
  }
  return names;
}

// Positions where answers may change: every range end and its neighbours, page edges of the
// index, the edges of the codepoint space and of the 32-bit space.
std::set<uint32_t> probePoints(const QNUnicodePropertyTable::Map& sets) {
  std::set<uint32_t> points{0, 1, 127, 128, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, kTop - 1, kTop};
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

void expectTableAgreesWithWalk(const QNUnicodePropertyTable& table,
                               const std::set<uint32_t>& points) {
  for (uint32_t c : points) {
    const std::vector<UnicodeString> expected = walkedNames(table, c);
    ASSERT_EQ(table.namesForCodepoint(c), expected) << "codepoint " << std::hex << c;
    const QNUnicodePropertyTable::Matches matches = table.matchesForCodepoint(c);
    ASSERT_EQ(matches.count, expected.size()) << std::hex << c;
    if (expected.empty()) {
      EXPECT_EQ(matches.first, nullptr);
      EXPECT_EQ(matches.last, nullptr);
    } else {
      EXPECT_EQ(*matches.first, expected.front());
      EXPECT_EQ(*matches.last, expected.back());
      // Answered by reference into the table's own keys.
      EXPECT_EQ(matches.first, &table.sets().find(expected.front())->first);
    }
  }
}

QNUnicodePropertyTable::Map randomSets(std::mt19937& random, int names, int rangesPerName,
                                       uint32_t span) {
  QNUnicodePropertyTable::Map sets;
  std::uniform_int_distribution<uint32_t> position(0, span);
  std::uniform_int_distribution<uint32_t> length(0, 300);
  for (int n = 0; n < names; ++n) {
    CodepointSet& set = sets[u"P" + UnicodeString(1, char16_t(u'A' + n))];
    for (int r = 0; r < rangesPerName; ++r) {
      const uint32_t first = position(random);
      set.addRange(first, first + length(random));
    }
  }
  return sets;
}

TEST(QNUnicodeIntervalIndex, AnswersThePayloadOfTheIntervalHoldingEachValue) {
  std::mt19937 random(7);
  // Dense intervals near the start and around page edges, sparse ones far above the codepoints.
  std::set<uint32_t> startSet{0};
  std::uniform_int_distribution<uint32_t> low(0, 0x1200), any(0, kTop);
  for (int i = 0; i < 400; ++i) startSet.insert(low(random));
  for (int i = 0; i < 50; ++i) startSet.insert(any(random));
  startSet.insert({0x10FFFF, 0x110000, kTop});
  std::vector<uint32_t> starts(startSet.begin(), startSet.end()), payloads;
  for (size_t i = 0; i < starts.size(); ++i) payloads.push_back(static_cast<uint32_t>(i % 5));
  const IntervalIndex index(starts, payloads);

  const auto expected = [&](uint32_t value) {
    const size_t i = std::upper_bound(starts.begin(), starts.end(), value) - starts.begin() - 1;
    return payloads[i];
  };
  for (uint32_t value = 0; value <= 0x1400; ++value)
    ASSERT_EQ(index.payloadAt(value), expected(value)) << value;
  for (uint32_t start : starts) {
    for (uint64_t p : {uint64_t(start) - 1, uint64_t(start), uint64_t(start) + 1}) {
      if (p > kTop) continue;
      EXPECT_EQ(index.payloadAt(static_cast<uint32_t>(p)), expected(static_cast<uint32_t>(p))) << p;
    }
  }
  for (int i = 0; i < 20000; ++i) {
    const uint32_t value = any(random);
    ASSERT_EQ(index.payloadAt(value), expected(value)) << value;
  }
  // Neighbours with one payload are merged into one interval.
  const IntervalIndex merged({0, 10, 20, 30}, {1, 1, 2, 2});
  EXPECT_EQ(merged.intervalCount(), 2u);
  EXPECT_EQ(merged.intervalStartOf(25), 20u);
  EXPECT_EQ(merged.payloadAt(kTop), 2u);
}

TEST(QNUnicodeIntervalIndex, RejectsMalformedIntervalLists) {
  EXPECT_THROW(IntervalIndex({1, 5}, {0, 1}), QNInternalInconsistencyException);
  EXPECT_THROW(IntervalIndex({0, 5, 5}, {0, 1, 2}), QNInternalInconsistencyException);
  EXPECT_THROW(IntervalIndex({0, 5}, {0}), QNInternalInconsistencyException);
  EXPECT_THROW(IntervalIndex({}, {}), QNInternalInconsistencyException);
}

TEST(QNUnicodePropertyTable, IndexedAnswersEqualTheWalkOverOverlappingSets) {
  std::mt19937 random(11);
  for (int round = 0; round < 6; ++round) {
    QNUnicodePropertyTable::Map sets = randomSets(random, 2 + round * 3, 40, 0x3000);
    // Sets that run to the top of the 32-bit space and start at 0 as well.
    sets[u"Top"].addRange(0xFFFFFF00u, kTop);
    sets[u"Bottom"].addRange(0, 5);
    const std::set<uint32_t> points = probePoints(sets);
    const QNUnicodePropertyTable table(std::move(sets));
    ASSERT_TRUE(table.isIndexed());
    expectTableAgreesWithWalk(table, points);
  }
}

TEST(QNUnicodePropertyTable, NamesFollowTheSortedOrderOfTheMap) {
  QNUnicodePropertyTable::Map sets;
  sets[u"b"].addRange(0x10, 0x20);
  sets[u"B"].addRange(0x18, 0x18);
  sets[u"a"].addRange(0x00, 0x1F);
  const QNUnicodePropertyTable table(std::move(sets));
  EXPECT_EQ(table.namesForCodepoint(0x18), (std::vector<UnicodeString>{u"B", u"a", u"b"}));
  EXPECT_EQ(table.namesForCodepoint(0x20), (std::vector<UnicodeString>{u"b"}));
  EXPECT_TRUE(table.namesForCodepoint(0x21).empty());
  EXPECT_TRUE(table.codepointHasProperty(0x18, u"B"));
  EXPECT_FALSE(table.codepointHasProperty(0x19, u"B"));
  EXPECT_FALSE(table.codepointHasProperty(0x18, u"c"));
  // An empty set under a name is kept in the map but never matches.
  QNUnicodePropertyTable::Map withEmpty;
  withEmpty[u"Empty"];
  const QNUnicodePropertyTable emptySetTable(std::move(withEmpty));
  EXPECT_EQ(emptySetTable.size(), 1u);
  EXPECT_EQ(emptySetTable.matchesForCodepoint(0).count, 0u);
  const QNUnicodePropertyTable nothing;
  EXPECT_TRUE(nothing.empty());
  EXPECT_EQ(nothing.matchesForCodepoint(kTop).count, 0u);
}

TEST(QNUnicodePropertyTable, WalkingTablesAnswerLikeIndexedOnes) {
  // A budget of nothing forces the walk; both must answer alike for the real derived properties.
  const auto real = qnunicode::testing::realDatabase()->derivedCoreProperties();
  ASSERT_NE(real, nullptr);
  QNUnicodePropertyTable::Map sets = real->sets();
  ASSERT_GT(sets.size(), 10u);
  QNUnicodePropertyTable::Map copy = sets;
  const QNUnicodePropertyTable indexed(std::move(sets));
  const QNUnicodePropertyTable walking(std::move(copy), 0);
  ASSERT_TRUE(indexed.isIndexed());
  ASSERT_FALSE(walking.isIndexed());
  // Every place where an answer can change, and a sample of the stretches between.
  std::set<uint32_t> points = probePoints(indexed.sets());
  for (uint32_t c = 0; c <= 0x10FFFF; c += 61) points.insert(c);
  for (uint32_t c : points) {
    const auto a = indexed.matchesForCodepoint(c), b = walking.matchesForCodepoint(c);
    ASSERT_EQ(a.count, b.count) << std::hex << c;
    if (a.count == 0) continue;
    ASSERT_EQ(*a.first, *b.first) << std::hex << c;
    ASSERT_EQ(*a.last, *b.last) << std::hex << c;
  }
  for (uint32_t c : {0x41u, 0x300u, 0x1F600u, 0xE0001u}) {
    EXPECT_EQ(indexed.namesForCodepoint(c), walking.namesForCodepoint(c)) << std::hex << c;
  }
}

TEST(QNUnicodePropertyTable, StaggeredHostileSetsFallBackToTheWalk) {
  // Thousands of names whose sets all run to the top but start one apart: every interval holds a
  // different combination, far more than the index may spend.
  QNUnicodePropertyTable::Map sets;
  const int names = 1600;
  for (int n = 0; n < names; ++n) {
    sets[qnunicode::fromUTF8("N" + std::to_string(100000 + n))].addRange(static_cast<uint32_t>(n),
                                                                         0x10FFFF);
  }
  const QNUnicodePropertyTable table(std::move(sets));
  EXPECT_FALSE(table.isIndexed());
  EXPECT_EQ(table.matchesForCodepoint(0).count, 1u);
  const auto matches = table.matchesForCodepoint(names - 1);
  EXPECT_EQ(matches.count, static_cast<size_t>(names));
  EXPECT_EQ(*matches.first, u"N100000");
  EXPECT_EQ(*matches.last, u"N101599");
  EXPECT_EQ(table.namesForCodepoint(2).size(), 3u);
  EXPECT_EQ(table.matchesForCodepoint(0x110000).count, 0u);
  // Names that differ in one unit only are still told apart by name.
  for (const auto& [name, set] : table.sets()) ASSERT_EQ(table.setNamed(name), &set);
  EXPECT_EQ(table.setNamed(u"N099999"), nullptr);
  EXPECT_EQ(table.setNamed(u"N1000000"), nullptr);
  EXPECT_EQ(table.setNamed(u""), nullptr);
  EXPECT_TRUE(table.codepointHasProperty(7, u"N100007"));
  EXPECT_FALSE(table.codepointHasProperty(6, u"N100007"));
}

}  // namespace
