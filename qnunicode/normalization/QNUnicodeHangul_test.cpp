#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <random>

#include "qnunicode/database/QNUnicodeDatabase.h"

namespace {

using Codepoints = std::vector<uint32_t>;

std::optional<UnicodeString> icuName(uint32_t codepoint) {
  char buffer[128];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = u_charName(static_cast<UChar32>(codepoint), U_UNICODE_CHAR_NAME, buffer,
                                    sizeof buffer, &status);
  if (U_FAILURE(status)) return std::nullopt;
  return qnunicode::fromUTF8(std::string_view(buffer, length));
}

Codepoints icuForm(const Codepoints& codepoints, bool compose) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer =
      compose ? icu::Normalizer2::getNFCInstance(status) : icu::Normalizer2::getNFDInstance(status);
  icu::UnicodeString text;
  for (uint32_t codepoint : codepoints) text.append(static_cast<UChar32>(codepoint));
  const icu::UnicodeString normalized = normalizer->normalize(text, status);
  EXPECT_TRUE(U_SUCCESS(status));
  Codepoints result;
  for (int32_t i = 0; i < normalized.length(); i = normalized.moveIndex32(i, 1)) {
    result.push_back(static_cast<uint32_t>(normalized.char32At(i)));
  }
  return result;
}

TEST(HangulNames, EverySyllableNameMatchesICUAndOtherCodepointsHaveNone) {
  EXPECT_EQ(QNUnicodeDatabase::getHangulName(0xAC00), u"HANGUL SYLLABLE GA");
  EXPECT_EQ(QNUnicodeDatabase::getHangulName(0xD7A3), u"HANGUL SYLLABLE HIH");
  // The silent leading consonant contributes nothing: U+C544 is A, U+C548 is AN.
  EXPECT_EQ(QNUnicodeDatabase::getHangulName(0xC544), u"HANGUL SYLLABLE A");
  for (int32_t codepoint = 0xAC00; codepoint <= 0xD7A3; ++codepoint) {
    ASSERT_EQ(QNUnicodeDatabase::getHangulName(codepoint), icuName(codepoint)) << codepoint;
  }
  for (int32_t codepoint : {0xABFF, 0xD7A4, 0x1100, 0, -1, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(QNUnicodeDatabase::getHangulName(codepoint), std::nullopt) << codepoint;
  }
}

TEST(HangulSyllableTest, BoundsAreInclusive) {
  EXPECT_FALSE(QNUnicodeDatabase::codepointIsHangul(0xABFF));
  EXPECT_TRUE(QNUnicodeDatabase::codepointIsHangul(0xAC00));
  EXPECT_TRUE(QNUnicodeDatabase::codepointIsHangul(0xD7A3));
  EXPECT_FALSE(QNUnicodeDatabase::codepointIsHangul(0xD7A4));
  EXPECT_FALSE(QNUnicodeDatabase::codepointIsHangul(0xFFFFFFFF));
}

TEST(HangulDecomposition, EverySyllableMatchesICUAndOthersStayAlone) {
  EXPECT_EQ(QNUnicodeDatabase::decomposeHangul(0xAC00), (Codepoints{0x1100, 0x1161}));
  EXPECT_EQ(QNUnicodeDatabase::decomposeHangul(0xAC01), (Codepoints{0x1100, 0x1161, 0x11A8}));
  for (uint32_t syllable = 0xAC00; syllable <= 0xD7A3; ++syllable) {
    const Codepoints jamo = QNUnicodeDatabase::decomposeHangul(syllable);
    ASSERT_EQ(jamo, icuForm({syllable}, false)) << std::hex << syllable;
    // Composing the jamo again gives the syllable back, one combination per jamo after the first.
    uint32_t count = 99;
    ASSERT_EQ(QNUnicodeDatabase::composeHangul(jamo, &count), Codepoints{syllable});
    ASSERT_EQ(count, jamo.size() - 1);
  }
  for (uint32_t other : {0x41u, 0xABFFu, 0xD7A4u, 0x1100u, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(QNUnicodeDatabase::decomposeHangul(other), Codepoints{other});
  }
}

struct ComposeCase {
  Codepoints input;
  Codepoints output;
  uint32_t count;
};

TEST(HangulComposition, NeighboursCombineAndTheCountFollows) {
  const ComposeCase cases[] = {
      {{}, {}, 0},
      {{0x1100}, {0x1100}, 0},
      {{0x1100, 0x1161, 0x11A8}, {0xAC01}, 2},
      {{0x1100, 0x1161}, {0xAC00}, 1},
      {{0xAC00, 0x11A8}, {0xAC01}, 1},
      // An LVT syllable takes no second trailing consonant; a trailing consonant or a vowel
      // alone stays; an L, V pair does not swallow a second vowel.
      {{0xAC01, 0x11A8}, {0xAC01, 0x11A8}, 0},
      {{0x11A8, 0x1161}, {0x11A8, 0x1161}, 0},
      {{0x1100, 0x1161, 0x1161}, {0xAC00, 0x1161}, 1},
      // Only neighbours combine: anything between keeps them apart.
      {{0x1100, 0x41, 0x1161}, {0x1100, 0x41, 0x1161}, 0},
      {{0x1100, 0x0301, 0x1161}, {0x1100, 0x0301, 0x1161}, 0},
      // Values just outside the ranges: below the leading base, past the last leading
      // consonant, past the last vowel.
      {{0x10FF, 0x1161}, {0x10FF, 0x1161}, 0},
      {{0x1113, 0x1161}, {0x1113, 0x1161}, 0},
      {{0x1112, 0x1175}, {0xD788}, 1},
      {{0x1112, 0x1176}, {0x1112, 0x1176}, 0},
      {{0xD7A3, 0x11A8}, {0xD7A3, 0x11A8}, 0},
      {{0xABFF, 0x11A8}, {0xABFF, 0x11A8}, 0},
      // The trailing test accepts 29 values: TBase itself is swallowed without changing the
      // syllable, and TBase + 28 moves on to the next LV syllable.
      {{0xAC00, 0x11A7}, {0xAC00}, 1},
      {{0xAC00, 0x11C3}, {0xAC1C}, 1},
      {{0xAC00, 0x11C4}, {0xAC00, 0x11C4}, 0},
      {{0x1100, 0x1161, 0x11C3, 0x11A8}, {0xAC1D}, 3},
      {{0x1100, 0x1161, 0x11A8, 0x1100, 0x1162, 0x1100}, {0xAC01, 0xAC1C, 0x1100}, 3},
  };
  for (const ComposeCase& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(QNUnicodeDatabase::composeHangul(c.input, &count), c.output);
    EXPECT_EQ(count, c.count);
    EXPECT_EQ(QNUnicodeDatabase::composeHangul(c.input), c.output);
  }
}

TEST(HangulComposition, RandomJamoSequencesComposeAsICUDoes) {
  // Away from the two extra trailing values the composition is the standard one, so random
  // mixes of jamo, syllables and other letters must come out as ICU's NFC of them.
  std::mt19937 random(7);
  const auto pick = [&](uint32_t first, uint32_t last) {
    return first + static_cast<uint32_t>(random() % (last - first + 1));
  };
  for (int round = 0; round < 3000; ++round) {
    Codepoints input;
    for (int n = static_cast<int>(random() % 12); n > 0; --n) {
      switch (random() % 6) {
        case 0:
          input.push_back(pick(0x1100, 0x1112));
          break;
        case 1:
          input.push_back(pick(0x1161, 0x1175));
          break;
        case 2:
          input.push_back(pick(0x11A8, 0x11C2));
          break;
        case 3:
          input.push_back(0xAC00 + 28 * pick(0, 398));
          break;  // LV
        case 4:
          input.push_back(pick(0xAC00, 0xD7A3));
          break;
        default:
          input.push_back(pick(0x41, 0x5A));
          break;
      }
    }
    uint32_t count = 0;
    const Codepoints composed = QNUnicodeDatabase::composeHangul(input, &count);
    ASSERT_EQ(composed, icuForm(input, true));
    ASSERT_EQ(count, input.size() - composed.size());
  }
}

}  // namespace
