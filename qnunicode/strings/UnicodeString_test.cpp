#include "qnunicode/strings/UnicodeString.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <random>

namespace {

// ICU's strict reading: none when the bytes are not well-formed UTF-8.
std::optional<UnicodeString> icuStrict(std::string_view bytes) {
  UnicodeString out(bytes.size() + 1, u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &length,
                bytes.data(), static_cast<int32_t>(bytes.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  out.resize(static_cast<size_t>(length));
  return out;
}

// ICU's lossy reading: one U+FFFD for each maximal subpart of an ill-formed sequence.
UnicodeString icuLossy(std::string_view bytes) {
  UnicodeString out(bytes.size() + 1, u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                       &length, bytes.data(), static_cast<int32_t>(bytes.size()), 0xFFFD, nullptr,
                       &status);
  if (U_FAILURE(status)) return u"<ICU failed>";
  out.resize(static_cast<size_t>(length));
  return out;
}

std::string icuUTF8WithSubstitutes(std::u16string_view text) {
  std::string out(text.size() * 3 + 1, '\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length,
                     reinterpret_cast<const UChar*>(text.data()), static_cast<int32_t>(text.size()),
                     0xFFFD, nullptr, &status);
  if (U_FAILURE(status)) return "<ICU failed>";
  out.resize(static_cast<size_t>(length));
  return out;
}

std::string hexBytes(std::string_view bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (char c : bytes) {
    const auto b = static_cast<uint8_t>(c);
    text += {digits[b >> 4], digits[b & 15], ' '};
  }
  return text;
}

// Compares both decoders with ICU on one byte sequence; answers false (after one failure
// report) on a difference, so that the loops over many sequences report only their first.
bool agreesWithIcu(const std::string& sequence) {
  // Alone, and amid ASCII runs that the decoder may take several bytes at a time.
  for (const std::string& bytes : {sequence, "0123456" + sequence + "89abcdefgh"}) {
    const bool strict = qnunicode::decodeUTF8(bytes) == icuStrict(bytes);
    const bool lossy = qnunicode::fromUTF8(bytes) == icuLossy(bytes);
    EXPECT_TRUE(strict) << "strict decoding of " << hexBytes(bytes);
    EXPECT_TRUE(lossy) << "lossy decoding of " << hexBytes(bytes);
    if (!strict || !lossy) return false;
  }
  return true;
}

}  // namespace

TEST(UTF8Decoding, EveryOneAndTwoByteSequenceAgreesWithIcu) {
  for (unsigned first = 0; first < 256; ++first) {
    ASSERT_TRUE(agreesWithIcu(std::string(1, static_cast<char>(first))));
    for (unsigned second = 0; second < 256; ++second) {
      ASSERT_TRUE(agreesWithIcu({static_cast<char>(first), static_cast<char>(second)}));
    }
  }
}

TEST(UTF8Decoding, LongerSequencesAroundEveryBoundaryAgreeWithIcu) {
  // The bytes where a lead or a continuation changes meaning.
  const uint8_t boundaries[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                0xC0, 0xC2, 0xDF, 0xE0, 0xED, 0xF0, 0xF4, 0xF5, 0xFF};
  for (unsigned lead = 0; lead < 256; ++lead) {
    for (uint8_t second : boundaries) {
      for (uint8_t third : boundaries) {
        const std::string three{static_cast<char>(lead), static_cast<char>(second),
                                static_cast<char>(third)};
        ASSERT_TRUE(agreesWithIcu(three));
        if (lead < 0xF0 || lead > 0xF7) continue;
        for (uint8_t fourth : boundaries) {
          ASSERT_TRUE(agreesWithIcu(three + static_cast<char>(fourth)));
          ASSERT_TRUE(agreesWithIcu(three + static_cast<char>(fourth) + "z"));
        }
      }
    }
  }
}

TEST(UTF8Decoding, EachIllFormedClass) {
  const struct {
    const char* what;
    std::string bytes;
    std::u16string lossy;
  } cases[] = {
      {"lone continuation bytes",
       "a\x80\xBF"
       "b",
       u"a\uFFFD\uFFFDb"},
      {"overlong two-byte forms", "\xC0\xAF\xC1\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"overlong three-byte form", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
      {"overlong four-byte form", "\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"encoded surrogates", "\xED\xA0\x80\xED\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"above U+10FFFF", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"five- and six-byte leads", "\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"bytes never used", "\xFE\xFF", u"\uFFFD\uFFFD"},
      {"truncated in the middle",
       "\xE2\x82"
       "A\xF0\x9F\x98"
       "B",
       u"\uFFFDA\uFFFDB"},
      {"truncated at the end", "ok\xF0\x9F\x98", u"ok\uFFFD"},
      {"lead followed by a lead", "\xC3\xC3\xA9", u"\uFFFD\u00E9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(qnunicode::decodeUTF8(c.bytes), std::nullopt);
    EXPECT_EQ(qnunicode::fromUTF8(c.bytes), c.lossy);
  }
  // The largest forms of each length and the empty text are fine.
  EXPECT_EQ(qnunicode::decodeUTF8("\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF"),
            u"\x7F\u07FF\uFFFF\U0010FFFF");
  EXPECT_EQ(qnunicode::decodeUTF8(""), u"");
  // A NUL byte is a character like any other.
  EXPECT_EQ(qnunicode::decodeUTF8(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(UTF8Encoding, PairsJoinAndLoneSurrogatesBecomeReplacementCharacters) {
  std::mt19937 random(5);
  const char16_t units[] = {u'a',   0x7F,   0x80,   0x7FF,  0x800, 0xD800,
                            0xDBFF, 0xDC00, 0xDFFF, 0xFFFD, 0xFFFF};
  for (int round = 0; round < 20000; ++round) {
    UnicodeString text;
    const size_t length = random() % 7;
    for (size_t i = 0; i < length; ++i) text.push_back(units[random() % std::size(units)]);
    const std::string utf8 = qnunicode::toUTF8(text);
    ASSERT_EQ(utf8, icuUTF8WithSubstitutes(text));
    // Well-formed text comes back unchanged.
    const bool wellFormed = icuStrict(utf8) == text;
    ASSERT_EQ(qnunicode::decodeUTF8(utf8) == text, wellFormed);
  }
  EXPECT_EQ(qnunicode::toUTF8(u"\xDC00\xD800"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(qnunicode::toUTF8(u"\U0001F600"), "\xF0\x9F\x98\x80");
}

TEST(Latin1Decoding, EachByteIsItsOwnCodepoint) {
  std::string bytes;
  for (unsigned b = 0; b < 256; ++b) bytes.push_back(static_cast<char>(b));
  const UnicodeString text = qnunicode::decodeLatin1(bytes);
  ASSERT_EQ(text.size(), 256u);
  for (unsigned b = 0; b < 256; ++b) EXPECT_EQ(static_cast<unsigned>(text[b]), b);
  EXPECT_EQ(qnunicode::decodeASCIILossy("caf\xE9"), u"caf\u00E9");
}
