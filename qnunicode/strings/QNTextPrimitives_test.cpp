#include "qnunicode/strings/QNTextPrimitives.h"

#include <gtest/gtest.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cctype>
#include <random>

namespace {

using qnunicode::codepointAt;
using qnunicode::codepointBefore;
using qnunicode::codepointWalkStep;

// Pairing forwards and backwards against ICU's macros, whose policy for unpaired surrogates
// (a codepoint of the unit's own value) is the library's, on random texts dense in surrogates.
TEST(QNTextPrimitives, PairingAgreesWithICUForwardsAndBackwards) {
  const char16_t pool[] = {u'a', 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xD83D, 0xDE00, 0xFFFF, 0xE000};
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    std::u16string text(1 + random() % 12, u'\0');
    for (char16_t& unit : text) unit = pool[random() % std::size(pool)];
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < length;) {
      const int32_t start = i;
      UChar32 expected;
      U16_NEXT(text.data(), i, length, expected);
      const qnunicode::UTF16Codepoint read = codepointAt(text, static_cast<size_t>(start));
      ASSERT_EQ(read.codepoint, static_cast<uint32_t>(expected));
      ASSERT_EQ(read.length, static_cast<uint32_t>(i - start));
    }
    for (int32_t end = length; end > 0;) {
      const int32_t last = end;
      UChar32 expected;
      U16_PREV(text.data(), 0, end, expected);
      const qnunicode::UTF16Codepoint read = codepointBefore(text, static_cast<size_t>(last));
      ASSERT_EQ(read.codepoint, static_cast<uint32_t>(expected));
      ASSERT_EQ(read.length, static_cast<uint32_t>(last - end));
    }
  }
}

// The walk differs from plain pairing only after an unpaired high surrogate with a unit after it.
TEST(QNTextPrimitives, TheWalkPassesOverTheUnitAfterAnUnpairedHighSurrogateOnly) {
  struct Case {
    std::u16string text;
    uint32_t codepoint, pairedLength, walkLength;
  } cases[] = {
      {u"a", 0x61, 1, 1},
      {u"\U0001F600", 0x1F600, 2, 2},    // a pair
      {{0xD800, u'a'}, 0xD800, 1, 2},    // unpaired high surrogate: the 'a' is passed over
      {{0xD800, 0xD800}, 0xD800, 1, 2},  // two high surrogates
      {{0xD800}, 0xD800, 1, 1},          // at the end: nothing to pass over
      {{0xDC00, u'a'}, 0xDC00, 1, 1},    // an unpaired low surrogate is one unit
  };
  for (const Case& c : cases) {
    const auto paired = codepointAt(c.text, 0);
    const auto walked = codepointWalkStep(c.text.data(), c.text.size(), 0);
    EXPECT_EQ(paired.codepoint, c.codepoint);
    EXPECT_EQ(walked.codepoint, c.codepoint);
    EXPECT_EQ(paired.length, c.pairedLength);
    EXPECT_EQ(walked.length, c.walkLength);
  }
}

// Every codepoint (and every lone surrogate value) encodes as ICU encodes it.
TEST(QNTextPrimitives, EncodersAgreeWithICUOnEveryCodepoint) {
  for (uint32_t c = 0; c <= qnunicode::kMaximumCodepoint; ++c) {
    char16_t units[2], expectedUnits[2];
    int32_t expectedLength = 0;
    UBool error = false;
    U16_APPEND(expectedUnits, expectedLength, 2, static_cast<UChar32>(c), error);
    ASSERT_FALSE(error) << c;
    const auto length = qnunicode::writeUTF16(units, c) - units;
    ASSERT_EQ(length, expectedLength) << c;
    ASSERT_EQ(length, static_cast<long>(qnunicode::UTF16Length(c)));
    ASSERT_TRUE(std::equal(units, units + length, expectedUnits)) << c;
    ASSERT_EQ(codepointAt(units, static_cast<size_t>(length), 0).codepoint, c);

    char bytes[4];
    uint8_t expectedBytes[4];
    int32_t expectedByteLength = 0;
    U8_APPEND_UNSAFE(expectedBytes, expectedByteLength, c);
    const auto byteLength = qnunicode::writeUTF8(bytes, c) - bytes;
    ASSERT_EQ(byteLength, expectedByteLength) << c;
    ASSERT_TRUE(std::equal(bytes, bytes + byteLength, reinterpret_cast<char*>(expectedBytes))) << c;
  }
}

// Case mapping and digit values against the C library for every byte.
TEST(QNTextPrimitives, ASCIICaseAndHexDigitsAgreeWithTheCLibraryAndLeaveTheRestAlone) {
  for (uint32_t c = 0; c < 0x80; ++c) {
    EXPECT_EQ(qnunicode::asciiLowercase(c),
              static_cast<uint32_t>(std::tolower(static_cast<int>(c))));
    EXPECT_EQ(qnunicode::asciiUppercase(c),
              static_cast<uint32_t>(std::toupper(static_cast<int>(c))));
    const int expected =
        std::isxdigit(static_cast<int>(c))
            ? static_cast<int>(std::stoi(std::string(1, static_cast<char>(c)), nullptr, 16))
            : -1;
    EXPECT_EQ(qnunicode::hexDigitValue(c), expected) << c;
  }
  // Beyond ASCII nothing changes and nothing is a digit, whatever the low bits say.
  for (uint32_t c : {0xC0u, 0x141u, 0x161u, 0xFF21u, 0xFF41u, 0x10041u, 0xFFFFFF41u}) {
    EXPECT_EQ(qnunicode::asciiLowercase(c), c);
    EXPECT_EQ(qnunicode::asciiUppercase(c), c);
    EXPECT_EQ(qnunicode::hexDigitValue(c), -1);
  }
  EXPECT_EQ(qnunicode::asciiLowercase(u'Q'), u'q');
  EXPECT_EQ(qnunicode::asciiLowercase('Q'), 'q');
}

}  // namespace
