#include "qnunicode/records/QNUnicodePointerData.h"

#include <gtest/gtest.h>

#include <typeinfo>

#include "qnunicode/records/QNUnicodeConcreteData.h"

namespace {

std::shared_ptr<const QNUnicodeData> line(std::string_view text) {
  auto record =
      QNUnicodeConcreteData::unicodeDataWithBytes(text.data(), text.data() + text.size(), nullptr);
  if (!record) throw std::runtime_error("unparsable test line");
  return record;
}

TEST(RangeMemberRecord, TheRangeLabelAndTheFirstRecordsFields) {
  const auto first = line("4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n");
  const QNUnicodePointerData member(0x4E01, first);
  EXPECT_EQ(member.codepoint(), 0x4E01u);
  EXPECT_EQ(member.codeValue(), 0x4E01u);
  EXPECT_EQ(member.characterName(), u"<CJK Ideograph>");
  EXPECT_EQ(member.generalCategory(), u"Lo");
  EXPECT_EQ(member.bidirectionalCategory(), u"L");
  EXPECT_EQ(member.referenceData(), first);
  EXPECT_EQ(member.codepointType(), QNUnicodeCodepointTypeGraphic);
  EXPECT_EQ(member.plane(), 0u);

  // Only a name ending in ", First>" is shortened.
  EXPECT_EQ(QNUnicodePointerData(2, line("0001;<control>;Cc;0;BN;;;;;N;;;;;\n")).characterName(),
            u"<control>");
  EXPECT_EQ(QNUnicodePointerData(2, line("0001;A, First> B;Cc;0;BN;;;;;N;;;;;\n")).characterName(),
            u"A, First> B");
  EXPECT_EQ(QNUnicodePointerData(2, line("0001;, First>;Co;0;L;;;;;N;;;;;\n")).characterName(),
            u">");
}

TEST(RangeMemberRecord, EveryOtherAccessorForwards) {
  const auto first = line(
      "00BD;VULGAR FRACTION ONE HALF, First>;No;7;ON;<fraction> 0031 2044 0032;;;1/2;Y;HALF;c;"
      "0041;0061;0042\n");
  const QNUnicodePointerData member(0xBE, first);
  EXPECT_EQ(member.canonicalCombiningClass(), 7u);
  EXPECT_EQ(member.characterDecompositionMapping(), first->characterDecompositionMapping());
  ASSERT_TRUE(member.characterDecompositionMappingArray());
  EXPECT_EQ(member.characterDecompositionMappingArray()->data(),
            first->characterDecompositionMappingArray()->data())
      << "the member answers the First record's own array";
  EXPECT_EQ(member.numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(member.numericValue(), first->numericValue());
  EXPECT_EQ(member.numericValueString(), u"1/2");
  EXPECT_TRUE(member.mirrored());
  for (const auto& [forwarded, own] :
       std::vector<std::pair<UnicodeString, UnicodeString>>{{member.unicode1Name(), u"HALF"},
                                                            {member.commentField(), u"c"},
                                                            {member.uppercaseMapping(), u"0041"},
                                                            {member.lowercaseMapping(), u"0061"},
                                                            {member.titlecaseMapping(), u"0042"}}) {
    EXPECT_EQ(forwarded, own);
  }
  EXPECT_TRUE(member.compatibilityMapping());
  EXPECT_FALSE(member.canonicalMapping());

  const std::shared_ptr<QNUnicodeData> copied = member.copy();
  EXPECT_EQ(typeid(*copied), typeid(QNUnicodePointerData));
  EXPECT_EQ(copied->codepoint(), 0xBEu);
  EXPECT_EQ(static_cast<const QNUnicodePointerData&>(*copied).referenceData(), first);
}

TEST(RangeMemberRecord, WithoutAReference) {
  const QNUnicodePointerData orphan(0xE001, nullptr);
  EXPECT_EQ(orphan.codepoint(), 0xE001u);
  EXPECT_EQ(orphan.characterName(), u"");
  EXPECT_EQ(orphan.canonicalCombiningClass(), 0u);
  EXPECT_FALSE(orphan.characterDecompositionMappingArray());
  EXPECT_FALSE(orphan.numericValue());
  EXPECT_FALSE(orphan.mirrored() || orphan.canonicalMapping() || orphan.compatibilityMapping());
}

TEST(RangeMemberRecord, TypesOfPrivateUseAndSurrogateRanges) {
  const QNUnicodePointerData privateUse(0xE001,
                                        line("E000;<Private Use, First>;Co;0;L;;;;;N;;;;;\n"));
  EXPECT_EQ(privateUse.characterName(), u"<Private Use>");
  EXPECT_EQ(privateUse.codepointType(), QNUnicodeCodepointTypePrivateUse);
  EXPECT_TRUE(privateUse.isAssignedToAbstractCharacter());

  const QNUnicodePointerData surrogate(
      0xD801, line("D800;<Non Private Use High Surrogate, First>;Cs;0;L;;;;;N;;;;;\n"));
  EXPECT_EQ(surrogate.codepointType(), QNUnicodeCodepointTypeSurrogate);
  EXPECT_TRUE(surrogate.isAssignedCodePoint());
  EXPECT_FALSE(surrogate.isAssignedToAbstractCharacter());
}

}  // namespace
