#include "qnunicode/util/QNUnicodePrefixTree.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

using Figures = std::pair<size_t, size_t>;  // nodes, leaves

// The figures a tree must have after its keys were set in ascending order, worked out from the
// plain table of values: a node exists when some key below it is set, and it is a leaf when it
// stands for one key or every key below it is set to one value.
Figures expectedFigures(const std::vector<int64_t>& values, uint64_t first, uint64_t span,
                        unsigned childCount) {
  bool any = false, uniform = true;
  for (uint64_t key = first; key < first + span; ++key) {
    const int64_t value = key < values.size() ? values[key] : NotFound;
    any = any || value != NotFound;
    uniform = uniform && value != NotFound && value == values[first];
  }
  if (!any || span == 1 || uniform) return {any, any};
  Figures figures{1, 0};
  for (uint64_t child = first; child < first + span; child += span / childCount) {
    const auto [nodes, leaves] = expectedFigures(values, child, span / childCount, childCount);
    figures = {figures.first + nodes, figures.second + leaves};
  }
  return figures;
}

// A tree for keys up to values.size() - 1, with every key that has a value set in ascending
// order; checks every key of the root's span, the counts and the memory figure.
std::unique_ptr<QNUnicodePrefixTree> filledAndChecked(const std::vector<int64_t>& values,
                                                      unsigned countLog2) {
  auto tree = std::make_unique<QNUnicodePrefixTree>(countLog2, values.size() - 1);
  for (uint64_t key = 0; key < values.size(); ++key) {
    if (values[key] != NotFound) tree->setValue(values[key], key);
  }
  // The root stands for the most significant non-zero digit of the largest key.
  unsigned rootBits = countLog2;
  while ((values.size() - 1) >> rootBits) rootBits += countLog2;
  for (uint64_t key = 0; key < (1ull << rootBits); ++key) {
    EXPECT_EQ(tree->valueForUnsignedIntegerKey(key), key < values.size() ? values[key] : NotFound)
        << "key " << key;
    if (::testing::Test::HasFailure()) break;
  }
  const auto [nodes, leaves] = expectedFigures(values, 0, 1ull << rootBits, 1u << countLog2);
  EXPECT_EQ(Figures(tree->nodeCount(), tree->leafCount()), Figures(nodes, leaves));
  EXPECT_EQ(tree->memorySize(), nodes * 24 + (nodes - leaves) * (8u << countLog2));
  return tree;
}

}  // namespace

TEST(PrefixTreeDeathTest, ChildCountOutsideOneToFiveBitsAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The report names the assertion, the method and the line.
  EXPECT_DEATH(QNUnicodePrefixTree(0, 0x10FFFF), "QNUnicodePrefixTree.*[0-9]+.*countLog2>0");
  EXPECT_DEATH(QNUnicodePrefixTree(6, 0x10FFFF), "QNUnicodePrefixTree.*[0-9]+.*countLog2<6");
  EXPECT_DEATH(QNUnicodePrefixTree(64, 0x10FFFF), "countLog2<6");
}

TEST(PrefixTree, WholeCodepointSpaceOfOneValue) {
  const auto tree = filledAndChecked(std::vector<int64_t>(0x110000, 39), 3);
  // Slots 0 to 3 of the root are leaves; slot 4 holds two leaves and slots 5 to 7 stay empty, so
  // the root itself never collapses.
  EXPECT_EQ(Figures(tree->nodeCount(), tree->leafCount()), Figures(8, 6));
  EXPECT_EQ(tree->memorySize(), 320u);
  // Key bits above the root's digit are not looked at.
  EXPECT_EQ(tree->valueForUnsignedIntegerKey(0xFFFFFFFF00000041ull), 39);
}

TEST(PrefixTree, RealLineBreakClassesOfEveryCodepoint) {
  // Each class name of LineBreak.txt gets a number of its own.
  std::ifstream file(qnunicode::testing::ucdFile("LineBreak.txt"));
  std::vector<int64_t> values(0x110000, NotFound);
  std::map<std::string, int64_t> numbers;
  size_t assigned = 0;
  for (std::string line; std::getline(file, line);) {
    unsigned first, last;
    char name[16];
    if (std::sscanf(line.c_str(), "%x..%x ; %15[A-Za-z0-9]", &first, &last, name) != 3) {
      if (std::sscanf(line.c_str(), "%x ; %15[A-Za-z0-9]", &first, name) != 2) continue;
      last = first;
    }
    const int64_t number = numbers.emplace(name, numbers.size()).first->second;
    for (unsigned c = first; c <= last && c < values.size(); ++c, ++assigned) values[c] = number;
  }
  ASSERT_GT(assigned, 200000u) << "LineBreak.txt was not read";
  ASSERT_GE(numbers.size(), 40u);
  filledAndChecked(values, 3);
}

TEST(PrefixTree, RunsOfValuesForEveryChildCount) {
  std::mt19937 random(20240611);
  for (unsigned countLog2 = 1; countLog2 <= 5; ++countLog2) {
    SCOPED_TRACE(countLog2);
    std::vector<int64_t> values;
    while (values.size() < 5000) {
      const int64_t value = static_cast<int64_t>(random() % 5) - 1;
      values.insert(values.end(), 1 + random() % 300, value == -1 ? NotFound : value);
    }
    filledAndChecked(values, countLog2);
  }
}

TEST(PrefixTree, CollapsedNodeIsNotExpandedAgain) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  for (uint64_t key = 0; key < 8; ++key) tree.setValue(5, key);
  tree.setValue(9, 3);
  tree.setValue(-7, 3);  // the last value of a key wins
  std::vector<int64_t> values, expected(9, NotFound);
  for (uint64_t key = 0; key < 9; ++key) values.push_back(tree.valueForUnsignedIntegerKey(key));
  expected[3] = -7;
  EXPECT_EQ(values, expected);
  EXPECT_EQ(Figures(tree.nodeCount(), tree.leafCount()), Figures(8, 1));
}

TEST(PrefixTree, MaximumWithoutANonZeroDigitLeavesOnlyTheRoot) {
  // A maximum without a non-zero digit leaves a tree of no levels: its root, new a leaf without
  // value, holds one value for every key.
  QNUnicodePrefixTree none(3, 0);
  EXPECT_EQ(none.memorySize(), 24u);
  EXPECT_EQ(none.description(), "9223372036854775807\n");
  none.setValue(4, 123);
  EXPECT_EQ(none.valueForUnsignedIntegerKey(999), 4);
  EXPECT_EQ(none.description(), "4\n");
}

TEST(PrefixTree, DescriptionIndentsByAbsoluteLevel) {
  // Two levels of two bits: the root stands for level 30 of 32.
  QNUnicodePrefixTree tree(2, 15);
  tree.setValue(7, 5);
  tree.setValue(-1, 4);
  const std::string notFound = "9223372036854775807\n";
  EXPECT_EQ(tree.description(), notFound + std::string(90, ' ') + " 1: " + notFound +
                                    std::string(93, ' ') + " 0: 18446744073709551615\n" +
                                    std::string(93, ' ') + " 1: 7\n");
}
