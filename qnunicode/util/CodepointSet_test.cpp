#include "qnunicode/util/CodepointSet.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace {

// Sorted, disjoint, not touching: the form every membership search relies on.
void expectCanonical(const CodepointSet& set) {
  const auto& ranges = set.ranges();
  for (size_t i = 0; i < ranges.size(); ++i) {
    EXPECT_LE(ranges[i].first, ranges[i].last);
    if (i > 0) {
      EXPECT_GT(ranges[i].first, static_cast<uint64_t>(ranges[i - 1].last) + 1);
    }
  }
}

}  // namespace

TEST(CodepointSet, RandomEditsAgreeWithAPlainSet) {
  std::mt19937 random(17);
  for (int round = 0; round < 200; ++round) {
    CodepointSet set;
    std::set<uint32_t> model;
    for (int step = 0; step < 60; ++step) {
      const uint32_t a = random() % 200, b = random() % 200;
      switch (random() % 4) {
        case 0:
          set.add(a);
          model.insert(a);
          break;
        case 1:
        case 2:
          // Ranges in any order, reversed ones included (they add nothing).
          set.addRange(a, b);
          for (uint32_t v = a; v <= b; ++v) model.insert(v);
          break;
        case 3:
          set.remove(a);
          model.erase(a);
          break;
      }
      expectCanonical(set);
      ASSERT_EQ(set.count(), model.size());
      ASSERT_EQ(set.empty(), model.empty());
    }
    for (uint32_t v = 0; v < 202; ++v) ASSERT_EQ(set.contains(v), model.count(v) == 1) << v;
  }
}

TEST(CodepointSet, ExtremesOfTheNumberRange) {
  CodepointSet set;
  set.addRange(0, 0xFFFFFFFF);
  EXPECT_EQ(set.count(), 0x100000000ull);
  EXPECT_TRUE(set.contains(0) && set.contains(0xFFFFFFFF));
  set.remove(0xFFFFFFFF);
  set.remove(0);
  set.remove(0x10000);
  EXPECT_EQ(set.count(), 0x100000000ull - 3);
  EXPECT_EQ(set.ranges(), (std::vector<CodepointSet::Range>{{1, 0xFFFF}, {0x10001, 0xFFFFFFFE}}));
  set.add(0xFFFFFFFF);
  set.add(0x10000);
  set.add(0);
  EXPECT_EQ(set.ranges(), (std::vector<CodepointSet::Range>{{0, 0xFFFFFFFF}}));

  // Touching ranges merge; ranges added out of order find their place.
  CodepointSet pieces{0x41, 0x43};
  pieces.add(0x42);
  pieces.addRange(0x10, 0x20);
  pieces.addRange(0x21, 0x21);
  pieces.addRange(0x0, 0x0);
  EXPECT_EQ(pieces.ranges(),
            (std::vector<CodepointSet::Range>{{0, 0}, {0x10, 0x21}, {0x41, 0x43}}));
  pieces.addRange(0x1, 0x50);
  EXPECT_EQ(pieces.ranges(), (std::vector<CodepointSet::Range>{{0, 0x50}}));
  // Equal members, equal sets, however they were built.
  CodepointSet whole;
  whole.addRange(0x50, 0x50);
  whole.addRange(0, 0x4F);
  EXPECT_TRUE(pieces == whole);
  whole.remove(0x20);
  EXPECT_FALSE(pieces == whole);

  CodepointIndexSet empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_FALSE(empty.contains(0));
  empty.remove(5);
  EXPECT_EQ(empty.count(), 0u);
}
