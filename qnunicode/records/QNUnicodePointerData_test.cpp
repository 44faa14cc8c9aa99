#include "qnunicode/records/QNUnicodePointerData.h"

#include <gtest/gtest.h>

#include "qnunicode/records/QNUnicodeConcreteData.h"

namespace {
// All but the codepoint and the name (", First>" shortened) answer as the First line or none.
TEST(RangeMemberRecord, AnswersFromTheFirstLine) {
  const auto first = QNUnicodeConcreteData::unicodeDataWithString(
      u"00BD;HALF, First>;No;7;ON;<fraction> 0031 2044 0032;;;1/2;Y;ONE HALF;c;0041;0061;0042");
  const auto empty = QNUnicodeConcreteData::unicodeDataWithString(u"E001;;;0;;;;;;N;;;;;");
  const QNUnicodePointerData member(0xBE, first), orphan(0xE001, nullptr);
  for (const char* key : {"generalCategory", "canonicalCombiningClass", "bidirectionalCategory",
                          "characterDecompositionMapping", "characterDecompositionMappingArray",
                          "numericType", "numericValue", "numericValueString", "mirrored",
                          "unicode1Name", "commentField", "uppercaseMapping", "lowercaseMapping",
                          "titlecaseMapping", "canonicalMapping", "compatibilityMapping"}) {
    EXPECT_EQ(member.valueForKey(key), first->valueForKey(key)) << key;
    EXPECT_EQ(orphan.valueForKey(key), empty->valueForKey(key)) << key;
  }
  EXPECT_EQ(member.characterName() + orphan.characterName(), u"HALF>");
  const auto inner = QNUnicodeConcreteData::unicodeDataWithString(u"1;B, First> C;Lo;0;L;;;;;N");
  EXPECT_EQ(QNUnicodePointerData(2, inner).characterName(), u"B, First> C");
}
}  // namespace
