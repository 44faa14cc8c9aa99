#include "qnunicode/util/QNStringAdditions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

using namespace QNAdditions;
using qnunicode::toUTF8;
using Spelled = std::pair<UnicodeString, UnicodeString>;

namespace {

UnicodeString randomString(std::mt19937& random) {
  UnicodeString s;
  for (size_t i = random() % 10; i > 0; --i) s += u"abc\xD83D"[random() % 4];
  return s;
}

// The arrays as two lines, a gap (or the padding) written as '.'.
Spelled spelled(const LevenshteinAlignmentArrays& arrays) {
  Spelled lines;
  for (const auto& unit : arrays.receiver) lines.first += unit.empty() ? u"." : unit;
  for (const auto& unit : arrays.other) lines.second += unit.empty() ? u"." : unit;
  return lines;
}

}  // namespace

TEST(Levenshtein, RandomStringsKeepTheMetricAndTheirAlignmentsCostTheDistance) {
  // Units, not codepoints, and case counts; the matrix has a row for each receiver prefix.
  EXPECT_EQ(levenshteinDistanceToString(u"\U0001F600A", u"a"), 3u);
  EXPECT_EQ(levenshteinMatrixForString(u"ab", u"b"), (LevenshteinMatrix{0, 1, 1, 1, 2, 1}));
  EXPECT_EQ(levenshteinDistanceFromMatrix(LevenshteinMatrix{}), 0xFFFFFFFFu);
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    const UnicodeString a = randomString(random), b = randomString(random),
                        c = randomString(random);
    SCOPED_TRACE(toUTF8(a) + " / " + toUTF8(b));
    const uint32_t ab = levenshteinDistanceToString(a, b);
    EXPECT_EQ(levenshteinDistanceToString(b, a), ab);
    EXPECT_EQ(ab == 0, a == b);
    EXPECT_GE(ab, std::max(a.size(), b.size()) - std::min(a.size(), b.size()));
    EXPECT_LE(ab, std::max(a.size(), b.size()));
    EXPECT_LE(levenshteinDistanceToString(a, c), ab + levenshteinDistanceToString(b, c));
    // Padding in front, then every unit of both strings in order and never a gap against a gap;
    // the gaps and mismatches cost the distance, and the matrix made or given makes no difference.
    const auto alignment = levenshteinOneAlignmentWithString(a, b);
    ASSERT_TRUE(alignment.has_value());
    EXPECT_EQ(levenshteinOneAlignmentWithString(a, b, *levenshteinMatrixForString(a, b)),
              alignment);
    auto [receiver, other] = spelled(levenshteinOneAlignmentArraysWithString(a, b, *alignment));
    ASSERT_EQ(receiver.size(), a.size() + b.size());
    ASSERT_EQ(other.size(), receiver.size());
    size_t p = 0;
    while (p < receiver.size() && receiver[p] == u'.' && other[p] == u'.') ++p;
    uint32_t cost = 0;
    for (; p < receiver.size(); ++p) {
      EXPECT_FALSE(receiver[p] == u'.' && other[p] == u'.') << "a gap against a gap at " << p;
      if (receiver[p] != other[p]) ++cost;
    }
    EXPECT_EQ(cost, ab);
    std::erase(receiver, u'.');
    std::erase(other, u'.');
    EXPECT_EQ(Spelled(receiver, other), Spelled(a, b));
  }
}

TEST(Levenshtein, AlignmentTieBreakPrefersDiagonalThenUpAndPadsInFront) {
  const struct {
    std::u16string_view a, b;
    Spelled arrays;
  } cases[] = {// The trace reaches column 0 with "a" left over, which stands against a gap.
               {u"ab", u"b", {u".ab", u"..b"}},
               // Two substitutions win over a deletion and an insertion of the same cost.
               {u"ab", u"ba", {u"..ab", u"..ba"}},
               // Where the diagonal does not fit, a receiver unit against a gap wins.
               {u"aba", u"bab", {u"...aba", u"..bab."}},
               {u"kitten", u"sitting", {u"......kitten.", u"......sitting"}},
               {u"", u"xy", {u"..", u"xy"}}};
  for (const auto& c : cases) {
    EXPECT_EQ(spelled(levenshteinOneAlignmentArraysWithString(c.a, c.b)), c.arrays)
        << toUTF8(c.a) << "/" << toUTF8(c.b);
  }
}

TEST(Levenshtein, ForeignMatricesAndAlignmentsAreRefusedOrReadSafely) {
  qnunicode::testing::LogCapture log;
  const LevenshteinMatrix matrix = *levenshteinMatrixForString(u"abc", u"ab");
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"abc", u"ab", {matrix.begin(), matrix.end() - 1}),
            std::nullopt);
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"ab", u"ab", matrix), std::nullopt);
  EXPECT_EQ(levenshteinOneAlignmentWithString(u"", u"", LevenshteinMatrix{}), std::nullopt);
  EXPECT_EQ(log.lines(), std::vector<std::string>(
                             3,
                             "NSString::levenshteinOneAlignmentWithString:levenstheinMatrix: "
                             "matrix dimensions and string lengths do not agree"));
  log.clear();
  // Only the size is checked: the transposed shape fits, and cells of any value give some
  // alignment of the right length.
  EXPECT_TRUE(levenshteinOneAlignmentWithString(u"ab", u"abc", matrix).has_value());
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    LevenshteinMatrix noise(20);
    for (uint32_t& cell : noise) cell = random() % 4 == 0 ? 0xFFFFFFFF : random() % 6;
    const auto alignment = levenshteinOneAlignmentWithString(u"abcd", u"xyz", noise);
    ASSERT_TRUE(alignment.has_value());
    EXPECT_EQ(std::pair(alignment->receiver.size(), alignment->other.size()), std::pair(7ul, 7ul));
  }
  EXPECT_TRUE(log.lines().empty());
  // An alignment from elsewhere: indexes outside the strings and short buffers read as gaps.
  const LevenshteinAlignment foreign{{0, 7, LevenshteinGap}, {1}};
  EXPECT_EQ(spelled(levenshteinOneAlignmentArraysWithString(u"ab", u"xy", foreign)),
            Spelled(u"a...", u"y..."));
}

TEST(FileSizeString, UnitsAndRounding) {
  // One decimal in MB and GB only when its first digit is not zero, even where rounding makes it
  // one ("2.0 MB").
  const double kilo = 1024, mega = kilo * kilo, giga = mega * kilo;
  std::vector<UnicodeString> texts;
  for (double bytes : {1023.6, kilo, 1536.0, mega - 1, 1.5 * mega, 1.05 * mega, 1.96 * mega, giga,
                       2.25 * giga, 3 * giga * kilo}) {
    texts.push_back(fileSizeStringForByteCount(bytes));
  }
  EXPECT_EQ(texts,
            (std::vector<UnicodeString>{u"1024 Byte", u"1 KB", u"2 KB", u"1024 KB", u"1.5 MB",
                                        u"1 MB", u"2.0 MB", u"1 GB", u"2.2 GB", u"3072 GB"}));
}

TEST(NaturalCompare, CaseBlindWithDigitRunsByValueInBothDirections) {
  // Names in ascending order, '|' between groups of equivalent ones (the first the empty name);
  // digit runs longer than any machine number still compare by value.
  const std::u16string_view ascending =
      u"|9|a A|a0 a000|abc|abcd|B|file9 File9|file10 FILE10 file010|file10a|file10B|"
      u"n99999999999999999999999|n100000000000000000000000|n123456789012345678901234567890|"
      u"n123456789012345678901234567891|x2y|x10|\u0391\u0392\u0393 \u03B1\u03B2\u03B3|"
      u"\U00010400 \U00010428";
  std::vector<std::pair<size_t, UnicodeString>> names(1);
  for (char16_t unit : ascending) {
    if (unit == u'|' || unit == u' ') {
      names.emplace_back(names.back().first + (unit == u'|' ? 1 : 0), u"");
    } else {
      names.back().second += unit;
    }
  }
  for (const auto& [i, a] : names) {
    for (const auto& [j, b] : names) {
      EXPECT_EQ(caseInsensitiveNumericCompare(a, b), i <=> j) << toUTF8(a) << "/" << toUTF8(b);
    }
  }
}
