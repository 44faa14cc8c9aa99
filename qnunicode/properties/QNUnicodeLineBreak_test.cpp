#include "qnunicode/properties/QNUnicodeLineBreak.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <set>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using Lines = std::vector<std::string>;

TEST(QNUnicodeLineBreak, TheFixedTableNamesDistinctKnownClassesBothWays) {
  LogCapture log;
  std::set<std::u16string_view> seen;
  for (uint32_t i = 0; i < QNUnicode_LineBreakClass_Strings.size(); ++i) {
    const std::u16string_view name = QNUnicode_LineBreakClass_Strings[i];
    EXPECT_TRUE(seen.insert(name).second) << "duplicate class " << i;
    const std::string ascii(name.begin(), name.end());
    EXPECT_GE(u_getPropertyValueEnum(UCHAR_LINE_BREAK, ascii.c_str()), 0) << ascii;
    EXPECT_EQ(QNUnicode_StringForLineBreakClass(i), name);
    EXPECT_EQ(QNUnicode_LineBreakClassForString(name), i);
  }
  EXPECT_TRUE(log.lines().empty());
  // The numbers are part of the interface.
  EXPECT_EQ(QNUnicode_LineBreakClassForString(u"SP"), 9u);
  EXPECT_EQ(QNUnicode_LineBreakClassForString(u"AL"), 28u);
}

TEST(QNUnicodeLineBreak, UnknownNumbersAndNamesLogAndAnswerXX) {
  LogCapture log;
  EXPECT_EQ(QNUnicode_StringForLineBreakClass(40), u"XX");
  EXPECT_EQ(QNUnicode_StringForLineBreakClass(0xFFFFFFFF), u"XX");
  // Names match exactly: no case folding, no trimming, no prefixes.
  for (std::u16string_view name : {u"cm", u" CM", u"CMX", u"", u"ZWJ"}) {
    EXPECT_EQ(QNUnicode_LineBreakClassForString(name), 39u);
  }
  EXPECT_EQ(
      log.lines(),
      (Lines{"invalid line break class index '40', returning XX",
             "invalid line break class index '4294967295', returning XX",
             "no line break class 'cm', returning XX", "no line break class ' CM', returning XX",
             "no line break class 'CMX', returning XX", "no line break class '', returning XX",
             "no line break class 'ZWJ', returning XX"}));
}

}  // namespace
