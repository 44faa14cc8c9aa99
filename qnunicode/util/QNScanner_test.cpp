#include "qnunicode/util/QNScanner.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <climits>

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
