#include "qnunicode/strings/UnicodeString.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <random>

#include "qnunicode/util/QNLog.h"

namespace {

// ICU's decoding: none for ill-formed bytes without a substitute (U_SENTINEL), else one
// substitute for each maximal subpart of an ill-formed sequence.
std::optional<UnicodeString> icuDecoded(std::string_view bytes, UChar32 substitute) {
  UnicodeString out(bytes.size() + 1, u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, bytes.data(),
                       static_cast<int32_t>(bytes.size()), substitute, nullptr, &status);
  if (U_FAILURE(status)) return std::nullopt;
  out.resize(static_cast<size_t>(length));
  return out;
}

// Both decoders against ICU, on the bytes alone and amid ASCII runs; false after one report.
bool agreesWithIcu(const std::string& sequence) {
  for (const std::string& bytes : {sequence, "0123456" + sequence + "89abcdefgh"}) {
    if (qnunicode::decodeUTF8(bytes) != icuDecoded(bytes, U_SENTINEL) ||
        qnunicode::fromUTF8(bytes) != icuDecoded(bytes, 0xFFFD)) {
      std::string hex;
      for (char c : bytes) hex += QNFormat("%02X ", static_cast<uint8_t>(c));
      ADD_FAILURE() << "decoding differs from ICU's for " << hex;
      return false;
    }
  }
  return true;
}

}  // namespace

TEST(UTF8Decoding, EveryShortSequenceAndLongerIllFormedRunsAgreeWithIcu) {
  // Every sequence of one or two bytes; longer ones over the bytes where a lead or a
  // continuation changes meaning.
  const uint8_t boundaries[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                0xC0, 0xC2, 0xDF, 0xE0, 0xED, 0xF0, 0xF4, 0xF5, 0xFF};
  for (unsigned lead = 0; lead < 256; ++lead) {
    const std::string one(1, static_cast<char>(lead));
    ASSERT_TRUE(agreesWithIcu(one));
    for (unsigned second = 0; second < 256; ++second) {
      ASSERT_TRUE(agreesWithIcu(one + static_cast<char>(second)));
    }
    for (uint8_t second : boundaries) {
      for (uint8_t third : boundaries) {
        const std::string three = one + static_cast<char>(second) + static_cast<char>(third);
        ASSERT_TRUE(agreesWithIcu(three));
        if (lead < 0xF0 || lead > 0xF7) continue;
        for (uint8_t fourth : boundaries) {
          ASSERT_TRUE(agreesWithIcu(three + static_cast<char>(fourth)));
          ASSERT_TRUE(agreesWithIcu(three + static_cast<char>(fourth) + "z"));
        }
      }
    }
  }
  // Longer ill-formed runs: five-byte leads, sequences cut in the middle, a lead before a lead.
  for (const std::string bytes : {"\xF8\x88\x80\x80\x80", "\xE2\x82\x41\xF0\x9F\x98\x42",
                                  "\xC3\xC3\xA9", "\xED\xA0\x80\xED\xBF\xBF"}) {
    EXPECT_TRUE(agreesWithIcu(bytes));
  }
  // One replacement character for each maximal subpart of an ill-formed sequence.
  EXPECT_EQ(qnunicode::fromUTF8("\xE2\x82\x41\xED\xA0\x80"), u"\uFFFDA\uFFFD\uFFFD\uFFFD");
}

TEST(UTF8Encoding, PairsJoinAndLoneSurrogatesBecomeReplacementCharacters) {
  std::mt19937 random(5);
  const char16_t units[] = {u'a', 0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFF};
  for (int round = 0; round < 20000; ++round) {
    UnicodeString text;
    for (size_t i = random() % 7; i > 0; --i) text.push_back(units[random() % std::size(units)]);
    std::string expected(text.size() * 3 + 1, '\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(expected.data(), static_cast<int32_t>(expected.size()), &length, text.data(),
                       static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    expected.resize(static_cast<size_t>(length));
    ASSERT_EQ(qnunicode::toUTF8(text), expected);
    // Well-formed text comes back unchanged.
    ASSERT_EQ(qnunicode::decodeUTF8(expected) == text, icuDecoded(expected, U_SENTINEL) == text);
  }
}

TEST(Latin1Decoding, EachByteIsItsOwnCodepoint) {
  std::string bytes;
  UnicodeString expected;
  for (char16_t b = 0; b < 256; ++b) {
    bytes.push_back(static_cast<char>(b));
    expected.push_back(b);
  }
  EXPECT_EQ(qnunicode::decodeLatin1(bytes), expected);
}

// Against ICU's lower-casing of ASCII text, on random texts of every length up to 40 drawn from
// the units around the letters' edges, with and without one unit beyond ASCII at any place.
TEST(ASCIILowercase, AgreesWithIcuAndRefusesAnyUnitBeyondASCII) {
  const char16_t units[] = {u'@', u'A', u'M', u'Z', u'[', u'`', u'a', u'z', u'{', u' ', u'\x7F'};
  const char16_t beyond[] = {u'\x80', u'\xC0', u'\u0100', u'\uFF21', u'\xD800'};
  std::mt19937 random(5);
  for (size_t length = 0; length <= 40; ++length) {
    for (int round = 0; round < 20; ++round) {
      UnicodeString text;
      for (size_t i = 0; i < length; ++i) text.push_back(units[random() % std::size(units)]);
      UnicodeString lowered(text.size(), u'\0');
      UErrorCode status = U_ZERO_ERROR;
      u_strToLower(lowered.data(), static_cast<int32_t>(lowered.size()), text.data(),
                   static_cast<int32_t>(text.size()), "", &status);
      std::string out(length, '\0');
      ASSERT_TRUE(qnunicode::writeASCIILowercase(text, out.data()));
      ASSERT_EQ(UnicodeString(out.begin(), out.end()), lowered);
      if (length == 0) continue;
      text[random() % length] = beyond[random() % std::size(beyond)];
      EXPECT_FALSE(qnunicode::writeASCIILowercase(text, out.data()));
    }
  }
}
