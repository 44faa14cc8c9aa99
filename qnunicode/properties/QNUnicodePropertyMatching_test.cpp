#include "qnunicode/properties/QNUnicodePropertyMatching.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <clocale>
#include <locale>

using namespace QNUnicode;

TEST(PropertyMatching, SpellingsOfOneNameAreEqual) {
  for (std::u16string_view spelling : {u"Old_Italic", u"old italic", u"OLD-ITALIC", u"olditalic",
                                       u"O-l_d I t a l i c", u"__old--italic  "}) {
    EXPECT_TRUE(isEqualToUnicodePropertyString(spelling, u"Old_Italic"))
        << qnunicode::toUTF8(spelling);
    EXPECT_EQ(matchableUnicodePropertyString(spelling), u"olditalic");
  }
  // Only the blank, the hyphen-minus and the low line are removed.
  for (std::u16string_view other : {u"old\titalic", u"old\nitalic", u"old\u00A0italic",
                                    u"old\u2010italic", u"old\u2212italic", u"old.italic"}) {
    EXPECT_FALSE(isEqualToUnicodePropertyString(other, u"olditalic")) << qnunicode::toUTF8(other);
  }
  EXPECT_EQ(matchableUnicodePropertyString(u"Old\tItalic"), u"old\titalic");
  for (std::u16string_view nothing : {u"", u" ", u"-", u"_", u"- _"}) {
    EXPECT_TRUE(isEqualToUnicodePropertyString(nothing, u""));
    EXPECT_EQ(matchableUnicodePropertyString(nothing), u"");
  }
  EXPECT_FALSE(isEqualToUnicodePropertyString(u"Latin", u"Latin-1"));
}

TEST(PropertyMatching, LowerCasingIsIcusSimpleMappingWhateverTheLocale) {
  // The user's locale (the C locale here) has no say over letters beyond ASCII.
  std::setlocale(LC_ALL, "C");
  std::locale::global(std::locale::classic());
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    if (U_IS_SURROGATE(c) || c == u' ' || c == u'-' || c == u'_') continue;
    UnicodeString s, expected;
    for (auto [text, value] :
         {std::pair{&s, c},
          std::pair{&expected, static_cast<uint32_t>(u_tolower(static_cast<UChar32>(c)))}}) {
      if (value > 0xFFFF) {
        text->push_back(static_cast<char16_t>(U16_LEAD(value)));
        text->push_back(static_cast<char16_t>(U16_TRAIL(value)));
      } else {
        text->push_back(static_cast<char16_t>(value));
      }
    }
    ASSERT_EQ(matchableUnicodePropertyString(s), expected) << std::hex << c;
  }
  EXPECT_TRUE(isEqualToUnicodePropertyString(u"\u00C0_\u0391", u"\u00E0\u03B1"));
  // Lone surrogates pass unchanged; halves brought together by a removal are one letter.
  EXPECT_EQ(matchableUnicodePropertyString(u"A\xD801"), u"a\xD801");
  EXPECT_EQ(matchableUnicodePropertyString(u"\xD801-\xDC00"), u"\U00010428");
  EXPECT_EQ(matchableUnicodePropertyString(u"\xDC00\xD801"), u"\xDC00\xD801");
}

TEST(PropertyMatching, ListsOfNamesAndOfInformationValues) {
  const std::vector<QNInfoValue> mixed{
      QNInfoValue(int64_t{7}),     QNInfoValue(1.5),
      QNInfoValue(true),           QNInfoValue(QNInfoValue::List{QNInfoValue(u"Arabic")}),
      QNInfoValue(u"Old Persian"), QNInfoValue(u"Syriac")};
  EXPECT_TRUE(containsUnicodePropertyString(mixed, u"old_persian"));
  EXPECT_TRUE(containsUnicodePropertyString(mixed, u"SYRIAC"));
  // Strings nested in other values are not elements.
  EXPECT_FALSE(containsUnicodePropertyString(mixed, u"Arabic"));
  EXPECT_FALSE(containsUnicodePropertyString(std::vector<QNInfoValue>{}, u""));
  EXPECT_FALSE(containsUnicodePropertyString(
      std::vector<QNInfoValue>{QNInfoValue(int64_t{1}), QNInfoValue(2.0)}, u"1"));
  EXPECT_TRUE(containsUnicodePropertyString(std::vector<QNInfoValue>{QNInfoValue(u" - ")}, u""));

  const std::vector<UnicodeString> names{u"Arabic", u"Hebrew", u"Nko"};
  EXPECT_TRUE(containsUnicodePropertyString(names, u"N_Ko"));
  EXPECT_TRUE(containsUnicodePropertyString(names, u"hebrew"));
  EXPECT_FALSE(containsUnicodePropertyString(names, u"Hebrew Letters"));
  EXPECT_FALSE(containsUnicodePropertyString(std::vector<UnicodeString>{}, u"Arabic"));
}
