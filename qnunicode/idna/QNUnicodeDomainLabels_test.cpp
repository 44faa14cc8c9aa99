#include "qnunicode/idna/QNUnicodeDomainLabels.h"

#include <gtest/gtest.h>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

using namespace QNUnicode_IDNA;
using Labels = std::vector<UnicodeString>;

TEST(QNUnicodeDomainLabelsTest, LDHLabels) {
  struct Case {
    UnicodeString label;
    bool ldh;
    bool nonReserved;
  };
  const std::vector<Case> cases = {
      {u"", true, true},                      // the empty string is one
      {u"a-b", true, true},                   //
      {u"ab-", false, false},                 // a hyphen at the end
      {u"-a", false, false},                  // or at the start
      {u"xn--abc", true, false},              // "--" at the third and fourth place is reserved
      {u"ab--", false, false},                // reserved, but not LDH anyway
      {u"a--b", true, true},                  // "--" at the second and third place is not
      {u"Z09", true, true},                   // upper case and digits
      {u"a_b", false, false},                 // outside the LDH characters
      {u"b\u00FCcher", false, false},         // non-ASCII
      {UnicodeString(63, u'a'), true, true},  // the longest
      {UnicodeString(64, u'a'), false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(qnunicode::toUTF8(c.label));
    EXPECT_EQ(isLDHLabel(c.label), c.ldh);
    EXPECT_EQ(isNonReservedLDHLabel(c.label), c.nonReserved);
  }
}

TEST(QNUnicodeDomainLabelsTest, LabelsBetweenSeparators) {
  const std::vector<std::pair<UnicodeString, Labels>> cases = {
      {u"a.b", {u"a", u"b"}},
      {u"a..b", {u"a", u"", u"b"}},
      {u"a.", {u"a", u""}},
      {u"a...", {u"a", u"", u"", u""}},  // a run at the end: n - 1 between, one after
      {u".a", {u"", u"a"}},
      {u"..a", {u"", u"", u"a"}},
      {u".", {u""}},
      {u"..", {u"", u""}},
      {u"", {}},
      {u"a\u3002b\uFF0Ec\uFF61d", {u"a", u"b", u"c", u"d"}},  // every separator
      {u"a\u3002\uFF61b", {u"a", u"", u"b"}},                 // a mixed run
      {u" a . b ", {u" a ", u" b "}},                         // blanks belong to the labels
      {u"\xD800.\xDC00", {u"\xD800", u"\xDC00"}},             // lone surrogates are characters
  };
  for (const auto& [domain, labels] : cases) {
    EXPECT_EQ(domainNameLabels(domain), labels) << qnunicode::toUTF8(domain);
  }
  // A megabyte of separators is one run.
  EXPECT_EQ(domainNameLabels(UnicodeString(1 << 20, u'\u3002')).size(), size_t{1} << 20);
}

TEST(QNUnicodeDomainLabelsTest, RightToLeftCharactersComeFromTheSharedDatabase) {
  qnunicode::testing::realDatabase();
  EXPECT_FALSE(containsRTLCharacter(u""));
  EXPECT_FALSE(containsRTLCharacter(u"abc123"));
  EXPECT_TRUE(containsRTLCharacter(u"a\u05D0"));     // R
  EXPECT_TRUE(containsRTLCharacter(u"\u0627"));      // AL
  EXPECT_TRUE(containsRTLCharacter(u"1\u0660"));     // AN
  EXPECT_FALSE(containsRTLCharacter(u"\u06F0"));     // EN does not count
  EXPECT_TRUE(containsRTLCharacter(u"\U00010800"));  // R above the BMP
  EXPECT_TRUE(containsRTLCharacter(u"\u05FF"));      // an unlisted codepoint's default
  const auto shared = QNUnicodeDatabase::sharedDatabase();
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_FALSE(containsRTLCharacter(u"\u05D0"));  // no database, nothing known
  QNUnicodeDatabase::setSharedDatabase(shared);
}

}  // namespace
