#include "qnunicode/util/QNUnicodePrefixTree.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

constexpr uint64_t kCodepointCount = 0x110000;

// The figures a tree must have after its keys were set in ascending order, worked out from the
// plain table of values: a node exists when some key below it is set, and it is a leaf when it
// stands for one key or every key below it is set to one value.
struct Figures {
  size_t nodes = 0;
  size_t leaves = 0;
};

Figures expectedFigures(const std::vector<int64_t>& values, uint64_t first, uint64_t span,
                        unsigned childCount) {
  bool any = false, uniform = true;
  for (uint64_t key = first; key < first + span; ++key) {
    const int64_t value = key < values.size() ? values[key] : NotFound;
    any = any || value != NotFound;
    uniform = uniform && value != NotFound && value == values[first];
  }
  if (!any) return {};
  if (span == 1 || uniform) return {1, 1};
  Figures figures{1, 0};
  for (unsigned i = 0; i < childCount; ++i) {
    const Figures child =
        expectedFigures(values, first + i * (span / childCount), span / childCount, childCount);
    figures.nodes += child.nodes;
    figures.leaves += child.leaves;
  }
  return figures;
}

// Sets every key with a value, in ascending order, and checks every key of the root's span, the
// counts and the memory figure.
void fillAndCheck(QNUnicodePrefixTree& tree, const std::vector<int64_t>& values, unsigned countLog2,
                  uint64_t rootSpan) {
  for (uint64_t key = 0; key < values.size(); ++key) {
    if (values[key] != NotFound) tree.setValue(values[key], key);
  }
  for (uint64_t key = 0; key < rootSpan; ++key) {
    const int64_t expected = key < values.size() ? values[key] : NotFound;
    ASSERT_EQ(tree.valueForUnsignedIntegerKey(key), expected) << "key " << key;
  }
  const unsigned childCount = 1u << countLog2;
  Figures figures = expectedFigures(values, 0, rootSpan, childCount);
  if (figures.nodes == 0) figures = {1, 1};  // the root stays, a leaf without value
  EXPECT_EQ(tree.nodeCount(), figures.nodes);
  EXPECT_EQ(tree.leafCount(), figures.leaves);
  EXPECT_EQ(tree.memorySize(),
            figures.nodes * 24 + (figures.nodes - figures.leaves) * childCount * 8);
}

// LineBreak.txt read with a few lines of code: each class name gets a number of its own.
std::vector<int64_t> lineBreakClasses() {
  std::ifstream file(qnunicode::testing::ucdFile("LineBreak.txt"));
  EXPECT_TRUE(file.good());
  std::vector<int64_t> values(kCodepointCount, NotFound);
  std::map<std::string, int64_t> numbers;
  std::string line;
  size_t assigned = 0;
  while (std::getline(file, line)) {
    unsigned first, last;
    char name[16];
    if (std::sscanf(line.c_str(), "%x..%x ; %15[A-Za-z0-9]", &first, &last, name) != 3) {
      if (std::sscanf(line.c_str(), "%x ; %15[A-Za-z0-9]", &first, name) != 2) continue;
      last = first;
    }
    const int64_t number = numbers.emplace(name, numbers.size()).first->second;
    for (unsigned c = first; c <= last && c < kCodepointCount; ++c, ++assigned) values[c] = number;
  }
  EXPECT_GT(assigned, 200000u) << "LineBreak.txt was not read";
  EXPECT_GE(numbers.size(), 40u);
  return values;
}

}  // namespace

TEST(PrefixTree, NewTreeAnswersNotFound) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  for (uint64_t key : {0ull, 1ull, 0x10FFFFull, 0x110000ull, ~0ull}) {
    EXPECT_EQ(tree.valueForUnsignedIntegerKey(key), NotFound);
  }
  EXPECT_EQ(tree.leafCount(), 1u);
  EXPECT_EQ(tree.nodeCount(), 1u);
  EXPECT_EQ(tree.memorySize(), 24u);
  EXPECT_EQ(tree.description(), "9223372036854775807\n");
}

TEST(PrefixTreeDeathTest, ChildCountOutsideOneToFiveBitsAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The report names the assertion, the method and the line.
  EXPECT_DEATH(QNUnicodePrefixTree(0, 0x10FFFF), "QNUnicodePrefixTree.*[0-9]+.*countLog2>0");
  EXPECT_DEATH(QNUnicodePrefixTree(6, 0x10FFFF), "QNUnicodePrefixTree.*[0-9]+.*countLog2<6");
  EXPECT_DEATH(QNUnicodePrefixTree(64, 0x10FFFF), "countLog2<6");
}

TEST(PrefixTree, EightEqualKeysCollapseIntoTheirParent) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  for (uint64_t key = 0; key < 7; ++key) tree.setValue(5, key);
  // The root and the six nodes down to the parent of keys 0 to 7, plus seven leaves.
  EXPECT_EQ(tree.nodeCount(), 14u);
  EXPECT_EQ(tree.leafCount(), 7u);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(7), NotFound);
  tree.setValue(5, 7);
  EXPECT_EQ(tree.nodeCount(), 7u);
  EXPECT_EQ(tree.leafCount(), 1u);
  for (uint64_t key = 0; key < 8; ++key) EXPECT_EQ(tree.valueForUnsignedIntegerKey(key), 5);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(8), NotFound);

  // 64 equal keys collapse two levels.
  for (uint64_t key = 8; key < 64; ++key) tree.setValue(5, key);
  EXPECT_EQ(tree.nodeCount(), 6u);
  EXPECT_EQ(tree.leafCount(), 1u);
  EXPECT_EQ(tree.memorySize(), 6u * 24 + 5u * 8 * 8);

  // Differing values keep the children.
  QNUnicodePrefixTree mixed(3, 0x10FFFF);
  for (uint64_t key = 0; key < 8; ++key) mixed.setValue(key == 4 ? 6 : 5, key);
  EXPECT_EQ(mixed.nodeCount(), 15u);
  EXPECT_EQ(mixed.valueForUnsignedIntegerKey(4), 6);
  EXPECT_EQ(mixed.valueForUnsignedIntegerKey(5), 5);
}

TEST(PrefixTree, CollapsedNodeIsNotExpandedAgain) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  for (uint64_t key = 0; key < 8; ++key) tree.setValue(5, key);
  tree.setValue(9, 3);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(3), 9);
  for (uint64_t key : {0, 1, 2, 4, 5, 6, 7}) {
    EXPECT_EQ(tree.valueForUnsignedIntegerKey(key), NotFound) << key;
  }
  EXPECT_EQ(tree.nodeCount(), 8u);
  EXPECT_EQ(tree.leafCount(), 1u);
}

TEST(PrefixTree, LastValueOfAKeyWins) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  tree.setValue(1, 0x41);
  tree.setValue(2, 0x41);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x41), 2);
  tree.setValue(-7, 0x10FFFF);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x10FFFF), -7);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x10FFFE), NotFound);
}

TEST(PrefixTree, WholeCodepointSpaceOfOneValue) {
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  for (uint64_t key = 0; key < kCodepointCount; ++key) tree.setValue(39, key);
  // Slots 0 to 3 of the root are leaves; slot 4 holds two leaves and slots 5 to 7 stay empty,
  // so the root itself never collapses.
  EXPECT_EQ(tree.nodeCount(), 8u);
  EXPECT_EQ(tree.leafCount(), 6u);
  EXPECT_EQ(tree.memorySize(), 320u);
  for (uint64_t key = 0; key < kCodepointCount; ++key) {
    ASSERT_EQ(tree.valueForUnsignedIntegerKey(key), 39) << key;
  }
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x110000), NotFound);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x1FFFFF), NotFound);
  // Key bits above the root's digit are not looked at.
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0x200000), 39);
  EXPECT_EQ(tree.valueForUnsignedIntegerKey(0xFFFFFFFF00000041ull), 39);
}

TEST(PrefixTree, RealLineBreakClassesOfEveryCodepoint) {
  const std::vector<int64_t> classes = lineBreakClasses();
  QNUnicodePrefixTree tree(3, 0x10FFFF);
  fillAndCheck(tree, classes, 3, 1u << 21);
  // The long uniform stretches cost one node each.
  EXPECT_LT(tree.memorySize(), 2u * 1024 * 1024);
  EXPECT_LT(tree.nodeCount(), kCodepointCount / 10);
}

TEST(PrefixTree, RunsOfValuesForEveryChildCount) {
  std::mt19937 random(20240611);
  for (unsigned countLog2 = 1; countLog2 <= 5; ++countLog2) {
    SCOPED_TRACE(countLog2);
    // Runs of a few values with gaps between some of them, as a range file assigns them.
    std::vector<int64_t> values;
    while (values.size() < 5000) {
      const size_t run = std::uniform_int_distribution<size_t>(1, 300)(random);
      const int64_t value = std::uniform_int_distribution<int64_t>(-1, 3)(random);
      values.insert(values.end(), run, value == -1 ? NotFound : value);
    }
    const uint64_t maxKey = values.size() - 1;
    // The root stands for the most significant non-zero digit of maxKey.
    unsigned rootBits = countLog2;
    while (rootBits < 64 && (maxKey >> rootBits) != 0) rootBits += countLog2;
    QNUnicodePrefixTree tree(countLog2, maxKey);
    fillAndCheck(tree, values, countLog2, 1ull << rootBits);
  }
}

TEST(PrefixTree, LargeKeysAndDegenerateMaximum) {
  // Five bits a level: 12 levels cover the low 60 bits of a key.
  QNUnicodePrefixTree wide(5, ~0ull);
  wide.setValue(1, 0x0FFFFFFFFFFFFFFFull);
  wide.setValue(2, 0x0123456789ABCDEFull);
  EXPECT_EQ(wide.valueForUnsignedIntegerKey(0x0FFFFFFFFFFFFFFFull), 1);
  EXPECT_EQ(wide.valueForUnsignedIntegerKey(0xFFFFFFFFFFFFFFFFull), 1);
  EXPECT_EQ(wide.valueForUnsignedIntegerKey(0x0123456789ABCDEFull), 2);
  EXPECT_EQ(wide.valueForUnsignedIntegerKey(0x0123456789ABCDEEull), NotFound);
  // The two keys differ in their first digit: the root and twelve nodes on each key's path.
  EXPECT_EQ(wide.nodeCount(), 25u);
  EXPECT_EQ(wide.leafCount(), 2u);

  // A maximum without a non-zero digit leaves a tree of no levels whose root holds one value
  // for every key.
  QNUnicodePrefixTree none(3, 0);
  none.setValue(4, 123);
  EXPECT_EQ(none.valueForUnsignedIntegerKey(0), 4);
  EXPECT_EQ(none.valueForUnsignedIntegerKey(999), 4);
  EXPECT_EQ(none.nodeCount(), 1u);
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

  // Slot numbers take two columns; the root's children stand 42 blanks in, as in a tree for
  // codepoints.
  QNUnicodePrefixTree sixteen(4, 255);
  sixteen.setValue(1, 0xF3);
  EXPECT_EQ(sixteen.description(),
            notFound + std::string(42, ' ') + "15: " + notFound + std::string(45, ' ') + " 3: 1\n");
}
