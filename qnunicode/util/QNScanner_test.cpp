#include "qnunicode/util/QNScanner.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <climits>

using qnunicode::QNScanner;

TEST(Scanner, HexadecimalNumbers) {
  uint32_t value = 0;
  QNScanner scanner(u"  0x1F600 0X1f ab12;  fF");
  EXPECT_TRUE(scanner.scanHexInt(&value));
  EXPECT_EQ(value, 0x1F600u);
  EXPECT_TRUE(scanner.scanHexInt(&value));
  EXPECT_EQ(value, 0x1Fu);
  EXPECT_TRUE(scanner.scanHexInt(&value));
  EXPECT_EQ(value, 0xAB12u);
  EXPECT_EQ(scanner.remainingText(), u";  fF");
  // A failed scan moves nothing, not even past the white space.
  value = 77;
  EXPECT_FALSE(scanner.scanHexInt(&value));
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(scanner.scanLocation(), 19u);
  EXPECT_TRUE(scanner.scanString(u";"));
  EXPECT_TRUE(scanner.scanHexInt(nullptr));
  EXPECT_TRUE(scanner.isAtEnd());

  // "0x" without a digit after it is the number 0 followed by the letter.
  for (std::u16string_view text : {u"0xg", u"0x", u"0X;"}) {
    QNScanner zero(text);
    EXPECT_TRUE(zero.scanHexInt(&value));
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(zero.remainingText(), text.substr(1));
  }
  // Too large: all digits consumed, the value saturates.
  QNScanner large(u"123456789ABCDEF0123;");
  EXPECT_TRUE(large.scanHexInt(&value));
  EXPECT_EQ(value, 0xFFFFFFFFu);
  EXPECT_EQ(large.remainingText(), u";");
  QNScanner exact(u"FFFFFFFF 100000000");
  EXPECT_TRUE(exact.scanHexInt(&value));
  EXPECT_EQ(value, 0xFFFFFFFFu);
  EXPECT_TRUE(exact.scanHexInt(&value));
  EXPECT_EQ(value, 0xFFFFFFFFu);
  // Digits beyond ASCII are no digits.
  EXPECT_FALSE(QNScanner(u"\uFF11").scanHexInt(&value));
  EXPECT_FALSE(QNScanner(u"").scanHexInt(&value));
  EXPECT_FALSE(QNScanner(u" 1", QNScanner::Skip::Nothing).scanHexInt(&value));
}

TEST(Scanner, DecimalNumbers) {
  int32_t value = 0;
  QNScanner scanner(u"+5 -17 2147483647 -2147483648 2147483648 -2147483649 99999999999999999999x");
  const int32_t expected[] = {5, -17, INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX};
  for (int32_t e : expected) {
    EXPECT_TRUE(scanner.scanInt(&value));
    EXPECT_EQ(value, e);
  }
  EXPECT_EQ(scanner.remainingText(), u"x");
  for (std::u16string_view text : {u"-", u"+ 1", u"", u"x1", u"\u0661"}) {
    QNScanner failing(text);
    EXPECT_FALSE(failing.scanInt(&value)) << qnunicode::toUTF8(text);
    EXPECT_EQ(failing.scanLocation(), 0u);
  }
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
  EXPECT_TRUE(scanner.isAtEnd());
  EXPECT_FALSE(scanner.skipCharacter());
  EXPECT_FALSE(scanner.scanString(u""));
  EXPECT_FALSE(scanner.scanUpToString(u"x"));

  // A literal longer than what is left never matches.
  EXPECT_FALSE(QNScanner(u"ab").scanString(u"abc"));
  QNScanner moved(u"abc");
  moved.setScanLocation(99);
  EXPECT_EQ(moved.scanLocation(), 3u);
  EXPECT_TRUE(moved.isAtEnd());
}

TEST(Scanner, SkipSets) {
  const std::u16string_view text = u" \t\n\u3000x";
  QNScanner all(text);
  EXPECT_TRUE(all.scanString(u"x"));
  QNScanner spaces(text, QNScanner::Skip::SpacesAndTabs);
  EXPECT_FALSE(spaces.scanString(u"x"));
  EXPECT_TRUE(spaces.scanString(u"\n"));
  spaces.setSkip(QNScanner::Skip::Nothing);
  EXPECT_FALSE(spaces.scanString(u"x"));
  EXPECT_FALSE(spaces.isAtEnd());
  EXPECT_TRUE(spaces.skipCharacter());
  EXPECT_TRUE(spaces.scanString(u"x"));
  EXPECT_TRUE(QNScanner(u" \r\n\u2029", QNScanner::Skip::WhitespaceAndNewlines).isAtEnd());
  EXPECT_FALSE(QNScanner(u" \r\n", QNScanner::Skip::SpacesAndTabs).isAtEnd());

  // White space and line ends: the space separators, U+0009 to U+000D, U+0085, U+2028, U+2029.
  for (uint32_t c = 0; c <= 0xFFFF; ++c) {
    const bool white = u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR ||
                       (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
    ASSERT_EQ(qnunicode::isWhitespaceOrNewline(static_cast<char16_t>(c)), white) << std::hex << c;
  }
}

TEST(Scanner, SplittingKeepsEmptyPieces) {
  using Pieces = std::vector<std::u16string_view>;
  EXPECT_EQ(qnunicode::splitAt(u"a;b;;", u';'), (Pieces{u"a", u"b", u"", u""}));
  EXPECT_EQ(qnunicode::splitAt(u"", u';'), Pieces{u""});
  EXPECT_EQ(qnunicode::splitAt(u"abc", u';'), Pieces{u"abc"});
  EXPECT_EQ(qnunicode::splitAt(u"\n", u'\n'), (Pieces{u"", u""}));
  EXPECT_EQ(qnunicode::splitAt(u"l1\r\nl2\n", u'\n'), (Pieces{u"l1\r", u"l2", u""}));
}
