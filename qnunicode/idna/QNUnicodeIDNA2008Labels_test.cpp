// IDNA2008 label conversions, the bidi tests and the contextual rules.
#include <gtest/gtest.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"

namespace {

using Result = std::optional<UnicodeString>;

struct Case {
  const char* what;
  UnicodeString input;
  Result result;
  UnicodeString error;  // left empty on success
};

void check(const Case& c, const Result& result, const UnicodeString& error) {
  EXPECT_EQ(result, c.result) << c.what;
  EXPECT_EQ(error, c.error) << c.what;
}

const UnicodeString kDisallowed = u"Invalid U-Label. 4.2.2. of RFC 5891: ";
const UnicodeString kContext = u"Invalid U-Label. 4.2.3.3. (Contextual Rules) of RFC 5891: ";
const UnicodeString kBidi = u"Invalid U-Label. 4.2.3.4. (Right to Left) of RFC 5891: ";

TEST(QNUnicodeIDNA2008LabelsTest, ToASCII) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<Case> cases = {
      {"a U-label", u"b\u00FCcher", u"xn--bcher-kva", u""},
      {"no case mapping: the capital is refused", u"B\u00FCcher", std::nullopt,
       kDisallowed + u"U+0042 is DISALLOWED"},
      {"an LDH label passes unchanged, capitals and all", u"ABC", u"ABC", u""},
      {"so does a reserved one", u"xn--abc", u"xn--abc", u""},
      {"ASCII that is not LDH", u"a_b", std::nullopt,
       u"Label is ASCII only but not an LDH-Label (Letters, Digits, Hyphen)."},
      {"an ASCII label too long for LDH", UnicodeString(64, u'a'), std::nullopt,
       u"Label is ASCII only but not an LDH-Label (Letters, Digits, Hyphen)."},
      {"not NFC", u"bu\u0308cher", std::nullopt,
       u"Invalid U-Label. Must be in Normalization Form C"},
      {"unassigned", u"a\u0378", std::nullopt, kDisallowed + u"U+0378 is UNASSIGNED"},
      {"a supplementary codepoint in the message", u"\U0001F600", std::nullopt,
       kDisallowed + u"U+1F600 is DISALLOWED"},
      {"a hyphen at the end", u"\u00FC-", std::nullopt,
       u"Invalid U-Label. 4.2.3.1. of RFC 5891: Label must not start or end with a '-'"},
      {"a hyphen at the start", u"-\u00FC", std::nullopt,
       u"Invalid U-Label. 4.2.3.1. of RFC 5891: Label must not start or end with a '-'"},
      {"hyphens in 3rd and 4th place", u"\u00FCb--c", std::nullopt,
       u"Invalid U-Label. 4.2.3.1. of RFC 5891: Label must not contain '--' in 3rd and 4th "
       u"position"},
      {"a leading combining mark, after the property check", u"\u0301a", std::nullopt,
       u"Invalid U-Label. 4.2.3.2. (Leading Combining Marks) of RFC 5891"},
      {"a disallowed mark is reported before its position", u"\u0345a", std::nullopt,
       kDisallowed + u"U+0345 is DISALLOWED"},
      {"middle dot between other letters", u"a\u00B7b", std::nullopt,
       kContext + u"Failed A.3. context rule (MIDDLE DOT)"},
      {"middle dot between two l", u"l\u00B7l", u"xn--ll-0ea", u""},
      {"ZWJ after a virama", u"\u0915\u094D\u200D", u"xn--11b6iy14e", u""},
      {"ZWJ elsewhere", u"\u00E4\u200D", std::nullopt,
       kContext + u"Failed A.2. context rule (ZERO WIDTH JOINER)"},
      {"both kinds of Arabic-Indic digits", u"\u0628\u0660\u06F0", std::nullopt,
       kContext + u"Failed A.8. context rule (ARABIC-INDIC DIGITS)"},
      {"a Hebrew label ending in a European digit", u"\u05D0\u05D11", u"xn--1-zhcd", u""},
      {"an RTL label with a Latin letter", u"\u05D0a", std::nullopt,
       kBidi + u"Failed bidi test 2. for codepoint U+0061"},
      {"an LTR label with a Hebrew letter", u"\u00E4\u05D0", std::nullopt,
       kBidi + u"Failed bidi test 5. for codepoint U+05D0"},
      {"Arabic-Indic and European digits", u"\u0628\u06601", std::nullopt,
       kBidi + u"Failed bidi test 4. for codepoint U+0031"},
      {"the A-label is too long", UnicodeString(58, u'a') + u"\u00E9", std::nullopt,
       u"Invalid U-Label. 4.4. (Punycode Conversion) of RFC 5891: Invalid length: 66"},
      {"the longest A-label", UnicodeString(52, u'a') + u"\u00E9",
       UnicodeString(u"xn--") + UnicodeString(52, u'a') + u"-rue", u""},
  };
  for (const Case& c : cases) {
    UnicodeString error;
    check(c, db->IDNA2008SingleLabelToASCII(c.input, &error), error);
  }
}

TEST(QNUnicodeIDNA2008LabelsTest, ToUnicode) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<Case> cases = {
      {"an A-label", u"xn--bcher-kva", u"b\u00FCcher", u""},
      {"upper-case letters survive decoding and are refused on the way back", u"XN--BCHER-KVA",
       std::nullopt,
       u"Invalid A-Label. Converting putative U-Label \u201CB\u00FCCHER\u201D back to A-Label "
       u"failed: Invalid U-Label. 4.2.2. of RFC 5891: U+0042 is DISALLOWED"},
      {"the prefix alone", u"xn--", std::nullopt,
       u"Invalid A-Label. Must contain at least one character after the ACE prefix (xn--)."},
      {"a reserved label without the prefix", u"ab--cd", std::nullopt,
       u"Not an A-Label. Does not start with ACE prefix (xn--)."},
      {"a U-label is refused", u"b\u00FCcher", std::nullopt,
       u"Not an ASCII-Label. Contains non-ASCII codepoint U+00FC."},
      {"a non-reserved LDH label passes", u"Abc", u"Abc", u""},
      {"the empty label passes", u"", u"", u""},
      {"ASCII that is not LDH", u"xn--a_b", std::nullopt, u"Not an LDH-Label."},
      {"bad Punycode", u"xn--a-!", std::nullopt, u"Not an LDH-Label."},
      {"undecodable Punycode", u"xn---abc", std::nullopt,
       u"Fake A-Label: Punycode decoding failed."},
      {"a prefix in upper case round-trips ignoring case", u"XN--bcher-kva", u"b\u00FCcher", u""},
      {"a trailing hyphen is not LDH", u"xn--abc-", std::nullopt, u"Not an LDH-Label."},
      {"decodes to two labels, which come back as two", u"xn--a-eha7227a", std::nullopt,
       u"Invalid A-Label. Converting putative U-Label \u201Ca\u3002\u00FC\u201D back to "
       u"A-Label produced a different result: \u201Ca.xn--tda\u201D"},
      {"decodes to a disallowed codepoint", u"xn--ls8h", std::nullopt,
       u"Invalid A-Label. Converting putative U-Label \u201C\U0001F4A9\u201D back to A-Label "
       u"failed: Invalid U-Label. 4.2.2. of RFC 5891: U+1F4A9 is DISALLOWED"},
  };
  for (const Case& c : cases) {
    UnicodeString error;
    check(c, db->IDNA2008SingleLabelToUnicode(c.input, &error), error);
  }
}

struct TestCase {
  const char* what;
  UnicodeString input;
  bool passes;
  UnicodeString error;
};

TEST(QNUnicodeIDNA2008LabelsTest, BidiTestForLabel) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<TestCase> cases = {
      {"empty", u"", false, u"Failed bidi test: label is empty"},
      {"a European digit first", u"1abc", false, u"Failed bidi test 1. for codepoint U+0031"},
      {"Hebrew ending in a European digit", u"\u05D0\u05D11", true, u""},
      {"Hebrew ending in a mark after a letter", u"\u05D0\u05B0", true, u""},
      {"Hebrew ending in a hyphen", u"\u05D0-", false, u"Failed bidi test 3. for codepoint U+002D"},
      {"both kinds of number", u"\u0627\u0661\u0031", false,
       u"Failed bidi test 4. for codepoint U+0031"},
      {"Latin ending in a mark", u"a\u0301", true, u""},
      {"Latin ending in a hyphen", u"a-", false, u"Failed bidi test 6. for codepoint U+002D"},
      {"Latin with Arabic", u"a\u0627", false, u"Failed bidi test 5. for codepoint U+0627"},
  };
  for (const TestCase& c : cases) {
    UnicodeString error;
    EXPECT_EQ(db->IDNA2008BidiTestForLabel(c.input, &error), c.passes) << c.what;
    EXPECT_EQ(error, c.error) << c.what;
  }
}

TEST(QNUnicodeIDNA2008LabelsTest, BidiTestForDomainName) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<TestCase> cases = {
      {"no RTL label: passes although a label fails, whose message stays", u"1a.b", true,
       u"Failed bidi test 1. for codepoint U+0031"},
      {"RTL labels that all pass", u"\u05D0.\u05D1", true, u""},
      {"a digit LDH label failing after an LTR label", u"\u05D0.a.1b", true,
       u"Failed bidi test 1. for codepoint U+0031"},
      {"a failing label that ends in a hyphen is not LDH", u"\u05D0.a-", false,
       u"Failed bidi test 6. for codepoint U+002D"},
      {"a digit label after an RTL label", u"\u05D0.1a", false,
       u"Failed bidi test 1. for codepoint U+0031"},
      {"a digit label before it is fine", u"1a.\u05D0", true,
       u"Failed bidi test 1. for codepoint U+0031"},
      {"a failing non-LDH label", u"\u05D0.\u00E4\u05D0", false,
       u"Failed bidi test 5. for codepoint U+05D0"},
      {"no labels", u"", true, u""},
  };
  for (const TestCase& c : cases) {
    UnicodeString error;
    EXPECT_EQ(db->IDNA2008BidiTestForDomainName(c.input, &error), c.passes) << c.what;
    EXPECT_EQ(error, c.error) << c.what;
  }
}

struct RuleCase {
  const char* what;
  UnicodeString label;
  int32_t position;
  bool isLookup;
  bool passes;
  UnicodeString error;
};

TEST(QNUnicodeIDNA2008LabelsTest, ContextRules) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<RuleCase> cases = {
      {"no rule for a letter", u"a", 0, false, false,
       u"No context rule defined for codepoint: U+0061"},
      {"no rule for a letter, lookup or not", u"a", 0, true, false,
       u"No context rule defined for codepoint: U+0061"},
      {"ZWNJ after a virama", u"\u0915\u094D\u200C", 2, false, true, u""},
      {"ZWNJ between dual-joining letters over a transparent mark", u"\u0628\u064B\u200C\u0628", 2,
       false, true, u""},
      {"ZWNJ with nothing joining on the right", u"\u0628\u200Ca", 1, false, false,
       u"Failed A.1. context rule (ZERO WIDTH NON-JOINER)"},
      {"ZWNJ at the start", u"\u200C\u0628", 0, false, false,
       u"Failed A.1. context rule (ZERO WIDTH NON-JOINER)"},
      {"ZWJ is tested in a lookup too", u"a\u200D", 1, true, false,
       u"Failed A.2. context rule (ZERO WIDTH JOINER)"},
      {"middle dot at the end", u"l\u00B7", 1, false, false,
       u"Failed A.3. context rule (MIDDLE DOT)"},
      {"the CONTEXTO rules pass in a lookup", u"l\u00B7", 1, true, true, u""},
      {"keraia before a Greek letter", u"\u0375\u03B1", 0, false, true, u""},
      {"keraia before a Latin letter", u"\u0375a", 0, false, false,
       u"Failed A.4. context rule (GREEK LOWER NUMERAL SIGN (KERAIA))"},
      {"geresh after Hebrew", u"\u05D0\u05F3", 1, false, true, u""},
      {"geresh first", u"\u05F3", 0, false, false,
       u"Failed A.5. context rule (HEBREW PUNCTUATION GERESH)"},
      {"gershayim after Latin", u"a\u05F4", 1, false, false,
       u"Failed A.6. context rule (HEBREW PUNCTUATION GERSHAYIM)"},
      {"katakana middle dot with kana anywhere", u"\u30FBx\u30A2", 0, false, true, u""},
      {"katakana middle dot alone", u"\u30FB", 0, false, false,
       u"Failed A.7. context rule (KATAKANA MIDDLE DOT)"},
      {"extended digits with Arabic-Indic ones", u"\u06F1\u0661", 0, false, false,
       u"Failed A.9. context rule (EXTENDED ARABIC-INDIC DIGITS)"},
      {"extended digits alone", u"\u06F1\u06F2", 1, false, true, u""},
  };
  for (const RuleCase& c : cases) {
    UnicodeString error;
    EXPECT_EQ(
        db->IDNA2008ContextRuleTestForCodepointAtPosition(c.position, c.label, c.isLookup, &error),
        c.passes)
        << c.what;
    EXPECT_EQ(error, c.error) << c.what;
  }
  EXPECT_THROW(db->IDNA2008ContextRuleTestForCodepointAtPosition(1, u"a", false, nullptr),
               QNRangeException);
}

// Hostile labels end in time linear in their length, with the described message.
TEST(QNUnicodeIDNA2008LabelsTest, HostileLabels) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<Case> cases = {
      {"a megabyte label", UnicodeString(1 << 19, u'\u00E9'), std::nullopt,
       u"Invalid U-Label. 4.4. (Punycode Conversion) of RFC 5891: Invalid length: 524294"},
      {"100 000 combining marks", UnicodeString(100000, u'\u0301'), std::nullopt,
       u"Invalid U-Label. 4.2.3.2. (Leading Combining Marks) of RFC 5891"},
      {"a letter and 100 000 marks", u"a" + UnicodeString(100000, u'\u0301'), std::nullopt,
       u"Invalid U-Label. Must be in Normalization Form C"},
      {"a lone high surrogate", u"a\xD800", std::nullopt, kDisallowed + u"U+D800 is DISALLOWED"},
      {"a lone low surrogate", u"\xDC00", std::nullopt, kDisallowed + u"U+DC00 is DISALLOWED"},
      {"only separators make no label", u"\u3002\u3002", u"..", u""},
      {"only joiners", UnicodeString(100000, u'\u200D'), std::nullopt,
       kContext + u"Failed A.2. context rule (ZERO WIDTH JOINER)"},
      {"a long run of transparent joiners between letters",
       u"\u0628" + UnicodeString(100000, u'\u200C') + u"a", std::nullopt,
       kContext + u"Failed A.1. context rule (ZERO WIDTH NON-JOINER)"},
  };
  for (const Case& c : cases) {
    UnicodeString error;
    check(c, db->IDNAToASCII(1, c.input, &error), error);
  }
}

}  // namespace
