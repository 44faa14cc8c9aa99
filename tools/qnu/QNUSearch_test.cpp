#include "QNUSearch.h"

#include <gtest/gtest.h>

#include "qnunicode/testing/QNTestSupport.h"

namespace qnu {
namespace {

// Matchers fold non-ASCII text with the library's full case folding of the real data.
CaseBlindWordMatcher matcherFor(const std::vector<UnicodeString>& words) {
  auto database = qnunicode::testing::realDatabase();
  return CaseBlindWordMatcher(words, [database](const UnicodeString& text) {
    return database->fullCaseFoldingForString(text);
  });
}

TEST(CaseBlindWordMatcher, EveryWordMustOccurInAnyOrderAndCase) {
  const std::u16string_view key = u"LATIN SMALL LETTER E WITH ACUTE [U+00E9]";
  EXPECT_TRUE(matcherFor({u"latin small letter e with"}).matches(key));
  EXPECT_TRUE(matcherFor({u"acute", u"LATIN", u"sMaLl"}).matches(key));
  EXPECT_TRUE(matcherFor({u"u+00e9"}).matches(key));  // the bracketed code is part of the key
  EXPECT_FALSE(matcherFor({u"latin", u"capital"}).matches(key));
  EXPECT_FALSE(matcherFor({u"letter e with grave"}).matches(key));
}

TEST(CaseBlindWordMatcher, OneMatcherServesManyKeysWithoutCarryingOverState) {
  CaseBlindWordMatcher matcher = matcherFor({u"sign"});
  EXPECT_TRUE(matcher.matches(u"EURO SIGN [U+20AC]"));
  EXPECT_FALSE(matcher.matches(u"GRINNING FACE [U+1F600]"));
  EXPECT_TRUE(matcher.matches(u"Sign, Euro [U+20AC]"));
  EXPECT_FALSE(matcher.matches(u""));
}

TEST(CaseBlindWordMatcher, NonASCIITextIsComparedByFullCaseFolding) {
  // U+00DF folds to "ss", U+212A KELVIN SIGN to "k", U+01C4 and U+01C5 both to U+01C6.
  EXPECT_TRUE(matcherFor({u"\u00DF"}).matches(u"STRASSE"));
  EXPECT_TRUE(matcherFor({u"\u212Aelvin"}).matches(u"KELVIN SIGN [U+212A]"));
  EXPECT_TRUE(matcherFor({u"\u01C5"}).matches(u"title \u01C4 key"));
  EXPECT_TRUE(matcherFor({u"stra\u00DFe"}).matches(u"Strasse"));
  EXPECT_FALSE(matcherFor({u"\u00E9"}).matches(u"LATIN SMALL LETTER E WITH ACUTE"));
}

}  // namespace
}  // namespace qnu
