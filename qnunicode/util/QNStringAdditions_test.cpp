#include "qnunicode/util/QNStringAdditions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

using namespace QNAdditions;

namespace {

const std::string kMatrixMismatch =
    "NSString::levenshteinOneAlignmentWithString:levenstheinMatrix: matrix dimensions and string "
    "lengths do not agree";

UnicodeString randomString(std::mt19937& random, std::u16string_view alphabet, size_t maxLength) {
  const size_t length = std::uniform_int_distribution<size_t>(0, maxLength)(random);
  UnicodeString s;
  for (size_t i = 0; i < length; ++i) {
    s.push_back(alphabet[std::uniform_int_distribution<size_t>(0, alphabet.size() - 1)(random)]);
  }
  return s;
}

// Checks that an alignment is one: padding in front, then every unit of both strings in order,
// each position holding a unit of at least one string; answers its cost (gaps plus mismatches).
uint32_t alignmentCost(std::u16string_view s, std::u16string_view other,
                       const LevenshteinAlignment& alignment) {
  EXPECT_EQ(alignment.receiver.size(), s.size() + other.size());
  EXPECT_EQ(alignment.other.size(), s.size() + other.size());
  uint32_t cost = 0, nextReceiver = 0, nextOther = 0;
  bool padding = true;
  for (size_t p = 0; p < alignment.receiver.size(); ++p) {
    const uint32_t r = alignment.receiver[p], o = alignment.other[p];
    if (r == LevenshteinGap && o == LevenshteinGap) {
      EXPECT_TRUE(padding) << "a gap against a gap after the padding at " << p;
      continue;
    }
    padding = false;
    if (r != LevenshteinGap) {
      EXPECT_EQ(r, nextReceiver++);
    }
    if (o != LevenshteinGap) {
      EXPECT_EQ(o, nextOther++);
    }
    if (r == LevenshteinGap || o == LevenshteinGap) {
      ++cost;
    } else if (r < s.size() && o < other.size() && s[r] != other[o]) {
      ++cost;
    }
  }
  EXPECT_EQ(nextReceiver, s.size());
  EXPECT_EQ(nextOther, other.size());
  return cost;
}

}  // namespace

TEST(Levenshtein, DescribedDistances) {
  EXPECT_EQ(levenshteinDistanceToString(u"kitten", u"sitting"), 3u);
  EXPECT_EQ(levenshteinDistanceToString(u"", u"abc"), 3u);
  EXPECT_EQ(levenshteinDistanceToString(u"abc", u""), 3u);
  EXPECT_EQ(levenshteinDistanceToString(u"abc", u"abc"), 0u);
  EXPECT_EQ(levenshteinDistanceToString(u"", u""), 0u);
  // Units, not codepoints: a pair is two characters, and case counts.
  EXPECT_EQ(levenshteinDistanceToString(u"\U0001F600", u""), 2u);
  EXPECT_EQ(levenshteinDistanceToString(u"\U0001F600", u"\U0001F601"), 1u);
  EXPECT_EQ(levenshteinDistanceToString(u"A", u"a"), 1u);

  const auto matrix = levenshteinMatrixForString(u"ab", u"b");
  ASSERT_TRUE(matrix.has_value());
  // Rows are the receiver's prefixes: (m + 1) x (n + 1) cells.
  EXPECT_EQ(*matrix, (LevenshteinMatrix{0, 1, 1, 1, 2, 1}));
  EXPECT_EQ(levenshteinDistanceFromMatrix(*matrix), 1u);
  EXPECT_EQ(levenshteinDistanceFromMatrix(LevenshteinMatrix{}), 0xFFFFFFFFu);
}

TEST(Levenshtein, RandomStringsKeepTheMetricAndTheirAlignmentsCostTheDistance) {
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    const UnicodeString a = randomString(random, u"abc\xD83D", 9);
    const UnicodeString b = randomString(random, u"abc\xD83D", 9);
    const UnicodeString c = randomString(random, u"abc\xD83D", 9);
    SCOPED_TRACE(qnunicode::toUTF8(a) + " / " + qnunicode::toUTF8(b));
    const uint32_t ab = levenshteinDistanceToString(a, b);
    EXPECT_EQ(levenshteinDistanceToString(b, a), ab);
    EXPECT_EQ(ab == 0, a == b);
    EXPECT_GE(ab, std::max(a.size(), b.size()) - std::min(a.size(), b.size()));
    EXPECT_LE(ab, std::max(a.size(), b.size()));
    EXPECT_LE(levenshteinDistanceToString(a, c), ab + levenshteinDistanceToString(b, c));

    const auto alignment = levenshteinOneAlignmentWithString(a, b);
    ASSERT_TRUE(alignment.has_value());
    EXPECT_EQ(alignmentCost(a, b, *alignment), ab);
    const auto matrix = levenshteinMatrixForString(a, b);
    ASSERT_TRUE(matrix.has_value());
    EXPECT_EQ(levenshteinOneAlignmentWithString(a, b, *matrix), alignment);

    // The arrays spell the alignment out unit by unit.
    const LevenshteinAlignmentArrays arrays = levenshteinOneAlignmentArraysWithString(a, b);
    ASSERT_EQ(arrays.receiver.size(), a.size() + b.size());
    ASSERT_EQ(arrays.other.size(), a.size() + b.size());
    UnicodeString receiverText, otherText;
    for (size_t p = 0; p < arrays.receiver.size(); ++p) {
      EXPECT_LE(arrays.receiver[p].size(), 1u);
      EXPECT_EQ(arrays.receiver[p].empty(), alignment->receiver[p] == LevenshteinGap);
      EXPECT_EQ(arrays.other[p].empty(), alignment->other[p] == LevenshteinGap);
      receiverText += arrays.receiver[p];
      otherText += arrays.other[p];
    }
    EXPECT_EQ(receiverText, a);
    EXPECT_EQ(otherText, b);
  }
}

TEST(Levenshtein, AlignmentTieBreakPrefersDiagonalThenUp) {
  // The trace reaches column 0 with "a" left over, which stands against a gap.
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"ab", u"b"),
            (LevenshteinAlignmentArrays{{u"", u"a", u"b"}, {u"", u"", u"b"}}));
  // Two substitutions win over a deletion and an insertion of the same cost.
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"ab", u"ba"),
            (LevenshteinAlignmentArrays{{u"", u"", u"a", u"b"}, {u"", u"", u"b", u"a"}}));
  // Where the diagonal does not fit, a receiver unit against a gap wins over the other way round.
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"aba", u"bab"),
            (LevenshteinAlignmentArrays{{u"", u"", u"", u"a", u"b", u"a"},
                                        {u"", u"", u"b", u"a", u"b", u""}}));
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"kitten", u"sitting"),
            (LevenshteinAlignmentArrays{
                {u"", u"", u"", u"", u"", u"", u"k", u"i", u"t", u"t", u"e", u"n", u""},
                {u"", u"", u"", u"", u"", u"", u"s", u"i", u"t", u"t", u"i", u"n", u"g"}}));
  EXPECT_EQ(
      levenshteinOneAlignmentArraysWithString(u"ac", u"abc"),
      (LevenshteinAlignmentArrays{{u"", u"", u"a", u"", u"c"}, {u"", u"", u"a", u"b", u"c"}}));

  const auto single = levenshteinOneAlignmentWithString(u"a", u"");
  ASSERT_TRUE(single.has_value());
  EXPECT_EQ(single->receiver, std::vector<uint32_t>{0});
  EXPECT_EQ(single->other, std::vector<uint32_t>{LevenshteinGap});
  const auto onlyOther = levenshteinOneAlignmentWithString(u"", u"xy");
  ASSERT_TRUE(onlyOther.has_value());
  EXPECT_EQ(onlyOther->receiver, (std::vector<uint32_t>{LevenshteinGap, LevenshteinGap}));
  EXPECT_EQ(onlyOther->other, (std::vector<uint32_t>{0, 1}));
  const auto empty = levenshteinOneAlignmentWithString(u"", u"");
  ASSERT_TRUE(empty.has_value());
  EXPECT_TRUE(empty->receiver.empty() && empty->other.empty());
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"", u""), LevenshteinAlignmentArrays{});
}

TEST(Levenshtein, ForeignMatricesAndAlignmentsAreRefusedOrReadSafely) {
  qnunicode::testing::LogCapture log;
  const auto matrix = levenshteinMatrixForString(u"abc", u"ab");
  ASSERT_TRUE(matrix.has_value());
  LevenshteinMatrix shorter(matrix->begin(), matrix->end() - 1);
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"abc", u"ab", shorter), std::nullopt);
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"abc", u"abc", *matrix), std::nullopt);
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"", u"", LevenshteinMatrix{}), std::nullopt);
  EXPECT_EQ(log.lines(), std::vector<std::string>(3, kMatrixMismatch));
  log.clear();

  // Only the size is checked: the transposed matrix of a 3 x 2 pair fits a 2 x 3 pair, and cells
  // of any value give some alignment of the right length.
  EXPECT_TRUE(levenshteinOneAlignmentWithString(u"ab", u"abc", *matrix).has_value());
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    LevenshteinMatrix noise(20);
    for (uint32_t& cell : noise) cell = random() % 4 == 0 ? 0xFFFFFFFF : random() % 6;
    const auto alignment = levenshteinOneAlignmentWithString(u"abcd", u"xyz", noise);
    ASSERT_TRUE(alignment.has_value());
    EXPECT_EQ(alignment->receiver.size(), 7u);
    EXPECT_EQ(alignment->other.size(), 7u);
  }
  EXPECT_TRUE(log.lines().empty());

  // An alignment from elsewhere: indexes outside the strings and short buffers read as gaps.
  const LevenshteinAlignment foreign{{0, 7, LevenshteinGap}, {1}};
  EXPECT_EQ(levenshteinOneAlignmentArraysWithString(u"ab", u"xy", foreign),
            (LevenshteinAlignmentArrays{{u"a", u"", u"", u""}, {u"y", u"", u"", u""}}));
}

TEST(FileSizeString, UnitsAndRounding) {
  const double kilo = 1024, mega = kilo * kilo, giga = mega * kilo;
  EXPECT_EQ(fileSizeStringForByteCount(0), u"0 Byte");
  EXPECT_EQ(fileSizeStringForByteCount(1023), u"1023 Byte");
  EXPECT_EQ(fileSizeStringForByteCount(1023.6), u"1024 Byte");
  EXPECT_EQ(fileSizeStringForByteCount(1024), u"1 KB");
  EXPECT_EQ(fileSizeStringForByteCount(1536), u"2 KB");
  EXPECT_EQ(fileSizeStringForByteCount(1023.7 * kilo), u"1024 KB");
  EXPECT_EQ(fileSizeStringForByteCount(mega - 1), u"1024 KB");
  EXPECT_EQ(fileSizeStringForByteCount(mega), u"1 MB");
  EXPECT_EQ(fileSizeStringForByteCount(1572864), u"1.5 MB");
  EXPECT_EQ(fileSizeStringForByteCount(1.05 * mega), u"1 MB");
  EXPECT_EQ(fileSizeStringForByteCount(1.96 * mega), u"2.0 MB");
  EXPECT_EQ(fileSizeStringForByteCount(1023.99 * mega), u"1024.0 MB");
  EXPECT_EQ(fileSizeStringForByteCount(giga), u"1 GB");
  EXPECT_EQ(fileSizeStringForByteCount(2.25 * giga), u"2.2 GB");
  EXPECT_EQ(fileSizeStringForByteCount(3 * giga * kilo), u"3072 GB");
}

TEST(NaturalCompare, CaseAndDigitRuns) {
  const auto less = std::weak_ordering::less, same = std::weak_ordering::equivalent,
             greater = std::weak_ordering::greater;
  const struct {
    std::u16string_view a, b;
    std::weak_ordering expected;
  } cases[] = {
      {u"file9", u"file10", less},
      {u"File9", u"file10", less},
      {u"FILE10", u"file10", same},
      {u"file010", u"file10", same},
      {u"a0", u"a000", same},
      {u"file10a", u"file10B", less},
      {u"x2y", u"x10", less},
      {u"a", u"B", less},
      {u"b", u"A", greater},
      {u"abc", u"abcd", less},
      {u"", u"a", less},
      {u"", u"", same},
      {u"9", u"a", less},
      {u"\u0391\u0392\u0393", u"\u03B1\u03B2\u03B3", same},
      {u"\U00010400", u"\U00010428", same},
      // Runs longer than any machine number still compare by value.
      {u"n99999999999999999999999", u"n100000000000000000000000", less},
      {u"n123456789012345678901234567891", u"n123456789012345678901234567890", greater},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(caseInsensitiveNumericCompare(c.a, c.b), c.expected)
        << qnunicode::toUTF8(c.a) << " vs " << qnunicode::toUTF8(c.b);
  }

  // A consistent order: antisymmetric, and a sorted list is ordered pair by pair.
  std::mt19937 random(11);
  std::vector<UnicodeString> names;
  for (int i = 0; i < 300; ++i) names.push_back(randomString(random, u"aAbB0019", 7));
  for (const auto& a : names) {
    for (const auto& b : names) {
      EXPECT_EQ(caseInsensitiveNumericCompare(a, b), 0 <=> caseInsensitiveNumericCompare(b, a));
    }
  }
  std::sort(names.begin(), names.end(), [](const UnicodeString& a, const UnicodeString& b) {
    return caseInsensitiveNumericCompare(a, b) < 0;
  });
  for (size_t i = 0; i < names.size(); ++i) {
    for (size_t j = i + 1; j < names.size(); ++j) {
      ASSERT_NE(caseInsensitiveNumericCompare(names[i], names[j]), greater)
          << qnunicode::toUTF8(names[i]) << " sorted before " << qnunicode::toUTF8(names[j]);
    }
  }
}
