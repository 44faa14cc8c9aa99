#include "qnunicode/util/CodepointSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using Ranges = std::vector<CodepointSet::Range>;

TEST(CodepointSet, RandomEditsAgreeWithAPlainSetAndKeepRangesSortedAndApart) {
  std::mt19937 random(17);
  for (int round = 0; round < 200; ++round) {
    CodepointSet set;
    std::vector<bool> model(202);
    for (int step = 0; step < 60; ++step) {
      // Single members, ranges in any order (reversed ones add nothing) and removals.
      const uint32_t a = random() % 200, b = random() % 200, what = random() % 3;
      what == 0 ? set.remove(a) : what == 1 ? set.add(a) : set.addRange(a, b);
      for (uint32_t v = a; v <= (what == 2 ? b : a); ++v) model[v] = what != 0;
      for (size_t i = 1; i < set.ranges().size(); ++i) {
        ASSERT_GT(set.ranges()[i].first, uint64_t{set.ranges()[i - 1].last} + 1);
      }
      ASSERT_EQ(set.count(), static_cast<uint64_t>(std::count(model.begin(), model.end(), true)));
    }
    CodepointSet rebuilt;
    for (uint32_t v = 0; v < 202; ++v) {
      ASSERT_EQ(set.contains(v), model[v]) << v;
      if (model[v]) rebuilt.add(v);
    }
    ASSERT_TRUE(rebuilt == set);
  }
}

TEST(CodepointSet, ExtremesOfTheNumberRange) {
  CodepointSet set;
  set.addRange(0, 0xFFFFFFFF);
  EXPECT_EQ(set.count(), 0x100000000ull);
  for (uint32_t v : {0xFFFFFFFFu, 0u, 0x10000u}) set.remove(v);
  EXPECT_EQ(set.ranges(), (Ranges{{1, 0xFFFF}, {0x10001, 0xFFFFFFFE}}));
  for (uint32_t v : {0xFFFFFFFFu, 0x10000u, 0u}) set.add(v);
  EXPECT_EQ(set.ranges(), (Ranges{{0, 0xFFFFFFFF}}));
}
