#include "qnunicode/properties/QNUnicodePropertyMatching.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <clocale>
#include <locale>

using namespace QNUnicode;
using Names = std::vector<UnicodeString>;

TEST(PropertyMatching, OnlyBlanksHyphensAndLowLinesGoAndFullLowerCaseFollowsIcuWhateverTheLocale) {
  EXPECT_EQ(matchableUnicodePropertyString(u"__O-l_d I t a l i c  "), u"olditalic");
  EXPECT_TRUE(isEqualToUnicodePropertyString(u"Old Italic", u"old_ITALIC"));
  EXPECT_FALSE(isEqualToUnicodePropertyString(u"Latin", u"Latin-1"));
  // The full mapping of the whole string: the capital I with dot above keeps its dot.
  EXPECT_EQ(matchableUnicodePropertyString(u"\u0130stanbul"), u"i\u0307stanbul");
  EXPECT_FALSE(isEqualToUnicodePropertyString(u"\u0130", u"i"));
  // Other separators stay; lone surrogates pass unchanged, and halves brought together by a
  // removal are lower-cased as one letter.
  EXPECT_EQ(matchableUnicodePropertyString(u"O\t\n\u00A0\u2010\u2212.I"),
            u"o\t\n\u00A0\u2010\u2212.i");
  EXPECT_EQ(matchableUnicodePropertyString(u"A\xD801-\xDC00\xDC00\xD801"),
            u"a\U00010428\xDC00\xD801");
  std::setlocale(LC_ALL, "C");  // the user's locale has no say beyond ASCII
  std::locale::global(std::locale::classic());
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    if (U_IS_SURROGATE(c) || c == u' ' || c == u'-' || c == u'_') continue;
    char16_t units[2], lower[8];
    int32_t length = 0;
    U16_APPEND_UNSAFE(units, length, c);
    UErrorCode status = U_ZERO_ERROR;
    const int32_t lowerLength = u_strToLower(lower, 8, units, length, "", &status);
    ASSERT_TRUE(U_SUCCESS(status));
    ASSERT_EQ(matchableUnicodePropertyString(std::u16string_view(units, length)),
              std::u16string_view(lower, lowerLength))
        << std::hex << c;
  }
}

TEST(PropertyMatching, ListsHoldOnlyTheirStringElements) {
  const std::vector<QNInfoValue> mixed{QNInfoValue(int64_t{1}), QNInfoValue(true),
                                       QNInfoValue(QNInfoValue::List{QNInfoValue(u"Arabic")}),
                                       QNInfoValue(u"Old Persian")};
  EXPECT_TRUE(containsUnicodePropertyString(mixed, u"old_persian"));
  // Strings nested in other values, and values that are not strings, are no elements.
  EXPECT_FALSE(containsUnicodePropertyString(mixed, u"Arabic"));
  EXPECT_FALSE(containsUnicodePropertyString(mixed, u"1") ||
               containsUnicodePropertyString(mixed, u"true"));
  EXPECT_TRUE(containsUnicodePropertyString(Names{u"Arabic", u"Nko"}, u"N_Ko"));
  EXPECT_FALSE(containsUnicodePropertyString(Names{u"Hebrew"}, u"Hebrew Letters"));
  EXPECT_FALSE(containsUnicodePropertyString(Names{}, u""));
}
