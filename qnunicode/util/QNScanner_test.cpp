#include "qnunicode/util/QNScanner.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <climits>
#include <random>
#include <string>

#include "qnunicode/strings/QNUnicodeCodepoints.h"

using qnunicode::QNScanner;

TEST(Scanner, NumbersSaturateAndAFailedScanMovesNothing) {
  uint32_t hex = 0;
  int32_t decimal = 0;
  // All digits of a number too large are consumed; "0x" without a digit after it is the number 0
  // followed by the letter.
  QNScanner scanner(u"  0x1F600 0X1f ab12 123456789ABCDEF0123 FFFFFFFF 100000000 0xg");
  for (uint32_t expected : {0x1F600u, 0x1Fu, 0xAB12u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0u}) {
    EXPECT_TRUE(scanner.scanHexInt(&hex));
    EXPECT_EQ(hex, expected);
  }
  EXPECT_EQ(scanner.remainingText(), u"xg");
  QNScanner zero(u"0x");
  EXPECT_TRUE(zero.scanHexInt(nullptr));
  EXPECT_EQ(zero.remainingText(), u"x");
  scanner =
      QNScanner(u"+5 -17 2147483647 -2147483648 2147483648 -2147483649 18446744073709551615x");
  for (int32_t expected : {5, -17, INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX}) {
    EXPECT_TRUE(scanner.scanInt(&decimal));
    EXPECT_EQ(decimal, expected);
  }
  EXPECT_EQ(scanner.remainingText(), u"x");
  // Digits beyond ASCII are no digits; a failed scan sets nothing and moves nothing, not even
  // past white space.
  hex = 77;
  decimal = 77;
  for (std::u16string_view text : {u"-", u"+ 1", u"", u" ;", u"x1", u"\u0661", u"\uFF11"}) {
    QNScanner failing(text);
    EXPECT_FALSE(failing.scanInt(&decimal) || failing.scanHexInt(&hex)) << qnunicode::toUTF8(text);
    EXPECT_EQ(failing.scanLocation(), 0u);
  }
  EXPECT_FALSE(QNScanner(u" 1", QNScanner::Skip::Nothing).scanHexInt(&hex));
  EXPECT_EQ(hex, 77u);
  EXPECT_EQ(decimal, 77);
}

TEST(Scanner, LiteralsAndTextUpToALiteral) {
  QNScanner scanner(u"UnicodeData-15.0.0.txt; \u00C9t\u00E9 # comment");
  EXPECT_FALSE(scanner.scanString(u"unicodedata"));
  scanner.setCaseSensitive(false);
  EXPECT_TRUE(scanner.scanString(u"unicodedata-"));
  UnicodeString collected;
  EXPECT_TRUE(scanner.scanUpToString(u".TXT", &collected));
  EXPECT_EQ(collected, u"15.0.0");
  EXPECT_TRUE(scanner.scanString(u".txt;"));
  // Case blindness covers ASCII letters only.
  EXPECT_FALSE(scanner.scanString(u"\u00E9t\u00E9"));
  EXPECT_TRUE(scanner.scanUpToString(u"#", &collected));
  EXPECT_EQ(collected, u"\u00C9t\u00E9 ");
  // Nothing before the literal: a failure that leaves the text untouched.
  collected = u"kept";
  EXPECT_FALSE(scanner.scanUpToString(u"#", &collected));
  EXPECT_EQ(collected, u"kept");
  EXPECT_TRUE(scanner.skipCharacter());
  // Without the literal the rest of the text is collected.
  EXPECT_TRUE(scanner.scanUpToString(u";", &collected));
  EXPECT_EQ(collected, u"comment");
  EXPECT_FALSE(scanner.skipCharacter());
  EXPECT_FALSE(scanner.scanString(u""));
  // A literal longer than what is left never matches; the location stops at the end.
  EXPECT_FALSE(QNScanner(u"ab").scanString(u"abc"));
  scanner.setScanLocation(99);
  EXPECT_EQ(scanner.scanLocation(), scanner.text().size());
}

TEST(Scanner, SkipSetsAndSplitting) {
  const std::u16string_view text = u" \t\n\u3000x";
  EXPECT_TRUE(QNScanner(text).scanString(u"x"));
  QNScanner spaces(text, QNScanner::Skip::SpacesAndTabs);
  EXPECT_FALSE(spaces.scanString(u"x"));
  EXPECT_TRUE(spaces.scanString(u"\n"));
  spaces.setSkip(QNScanner::Skip::Nothing);
  EXPECT_FALSE(spaces.scanString(u"x"));
  EXPECT_TRUE(spaces.skipCharacter());
  EXPECT_TRUE(spaces.scanString(u"x"));
  EXPECT_TRUE(QNScanner(u" \r\n\u2029", QNScanner::Skip::WhitespaceAndNewlines).isAtEnd());
  // White space and line ends: the space separators, U+0009 to U+000D, U+0085, U+2028, U+2029.
  for (uint32_t c = 0; c <= 0xFFFF; ++c) {
    const bool white = u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR ||
                       (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
    ASSERT_EQ(qnunicode::isWhitespaceOrNewline(static_cast<char16_t>(c)), white) << std::hex << c;
  }
  using Pieces = std::vector<std::u16string_view>;
  EXPECT_EQ(qnunicode::splitAt(u"a;b;;", u';'), (Pieces{u"a", u"b", u"", u""}));
  EXPECT_EQ(qnunicode::splitAt(u"", u';'), Pieces{u""});
  EXPECT_EQ(qnunicode::splitAt(u"l1\r\nl2\n", u'\n'), (Pieces{u"l1\r", u"l2", u""}));
}

namespace {

// The UTF-8 form of one codepoint, and of a text, built by hand.
std::string utf8Of(uint32_t c) {
  std::string bytes;
  if (c < 0x80) {
    bytes += static_cast<char>(c);
  } else if (c < 0x800) {
    bytes += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
  } else if (c < 0x10000) {
    bytes += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
              static_cast<char>(0x80 | (c & 0x3F))};
  } else {
    bytes += {static_cast<char>(0xF0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 0x3F)),
              static_cast<char>(0x80 | (c >> 6 & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
  }
  return bytes;
}

}  // namespace

TEST(Scanner, WhiteSpaceInUTF8IsTheWhiteSpaceOfTheUTF16Scanner) {
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string bytes = utf8Of(c);
    const bool white = c <= 0xFFFF && qnunicode::isWhitespaceOrNewline(static_cast<char16_t>(c));
    ASSERT_EQ(qnunicode::whitespaceOrNewlineLengthInUTF8(bytes + "x", 0), white ? bytes.size() : 0)
        << std::hex << c;
    // A form cut short, or looked at from one of its continuation bytes, is no white space.
    for (size_t cut = 1; cut < bytes.size(); ++cut) {
      ASSERT_EQ(qnunicode::whitespaceOrNewlineLengthInUTF8(bytes.substr(0, cut), 0), 0u);
      ASSERT_EQ(qnunicode::whitespaceOrNewlineLengthInUTF8(bytes, cut), 0u);
    }
  }
  EXPECT_EQ(qnunicode::whitespaceOrNewlineLengthInUTF8("", 0), 0u);
  EXPECT_EQ(qnunicode::utf16FromUTF8("a\xC3\xA9\xF0\x9F\x98\x80"), u"a\u00E9\U0001F600");
  EXPECT_EQ(qnunicode::utf16FromUTF8("a\xFF"), u"a\uFFFD");
  EXPECT_TRUE(qnunicode::isASCII(std::string(100, '\x7F')));
  EXPECT_FALSE(qnunicode::isASCII(std::string(99, 'a') + "\x80"));
}

// Random texts of tokens the readers meet (numbers, separators, white space of every width,
// letters beyond ASCII), scanned the same way in UTF-16 and in UTF-8: every scan must succeed or
// fail alike and collect the same characters, and the positions must stand for the same place.
TEST(Scanner, UTF8ScannerAgreesWithTheUTF16ScannerOnRandomTexts) {
  const std::vector<std::u16string_view> tokens = {
      u"0",      u"0x",     u"0X",     u"1F",         u"ab",     u"..",     u";",      u"#",
      u" ",      u"\t",     u"\r",     u"\n",         u"\u00A0", u"\u3000", u"\u2028", u"\u0085",
      u"\u200B", u"\u2030", u"\u00E9", u"\U0001F600", u"+",      u"-",      u"12",     u"x",
      u"g",      u"\u1680", u"\u205F", u"ZZ",         u"\u0661"};
  const std::vector<std::u16string_view> literals = {u"..", u";", u"#", u"\n", u"ab", u"0x"};
  std::mt19937 random(7);
  for (int round = 0; round < 4000; ++round) {
    UnicodeString text16;
    for (int n = static_cast<int>(random() % 12); n > 0; --n)
      text16 += tokens[random() % tokens.size()];
    const std::string text8 = qnunicode::toUTF8(text16);
    ASSERT_EQ(qnunicode::utf16FromUTF8(qnunicode::trimmedUTF8(text8)),
              QNUnicode::trimmedString(text16));
    const auto skip = static_cast<QNScanner::Skip>(random() % 3);
    QNScanner scanner16(text16, skip);
    qnunicode::QNUTF8Scanner scanner8(text8, skip);
    for (int step = 0; step < 12; ++step) {
      const std::u16string_view literal16 = literals[random() % literals.size()];
      const std::string literal8 = qnunicode::toUTF8(literal16);
      const std::string context = qnunicode::toUTF8(text16) + " step " + std::to_string(step);
      switch (random() % 4) {
        case 0: {
          uint32_t value16 = 1, value8 = 2;
          const bool found = scanner16.scanHexInt(&value16);
          ASSERT_EQ(found, scanner8.scanHexInt(&value8)) << context;
          if (found) {
            ASSERT_EQ(value16, value8) << context;
          }
          break;
        }
        case 1: {
          int32_t value16 = 1, value8 = 2;
          const bool found = scanner16.scanInt(&value16);
          ASSERT_EQ(found, scanner8.scanInt(&value8)) << context;
          if (found) {
            ASSERT_EQ(value16, value8) << context;
          }
          break;
        }
        case 2:
          ASSERT_EQ(scanner16.scanString(literal16), scanner8.scanString(literal8)) << context;
          break;
        default: {
          UnicodeString collected16;
          std::string_view collected8;
          ASSERT_EQ(scanner16.scanUpToString(literal16, &collected16),
                    scanner8.scanUpToString(literal8, &collected8))
              << context;
          ASSERT_EQ(collected16, qnunicode::utf16FromUTF8(collected8)) << context;
        }
      }
      ASSERT_EQ(scanner16.isAtEnd(), scanner8.isAtEnd()) << context;
      ASSERT_EQ(scanner16.remainingText(), qnunicode::utf16FromUTF8(scanner8.remainingText()))
          << context;
    }
  }
}
