#include "qnunicode/properties/QNUnicodeArabicShaping.h"

#include <gtest/gtest.h>

namespace {

TEST(ArabicShapingLine, DataLineGivesTrimmedFields) {
  const auto record = QNUnicodeArabicShaping::arabicShapingWithString(
      u"0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R; ALEF");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->codeValue(), 0x622u);
  EXPECT_EQ(record->schematicName(), u"ARABIC LETTER ALEF WITH MADDA ABOVE");
  EXPECT_EQ(record->joiningType(), u"R");
  EXPECT_EQ(record->joiningGroup(), u"ALEF");

  // A carriage return, tabs and blanks around the pieces are all trimmed away.
  const auto spaced = QNUnicodeArabicShaping::arabicShapingWithString(
      u"  0x1E900 ;\tADLAM CAPITAL ALIF\t; D ;No_Joining_Group \r");
  ASSERT_NE(spaced, nullptr);
  EXPECT_EQ(spaced->codeValue(), 0x1E900u);
  EXPECT_EQ(spaced->schematicName(), u"ADLAM CAPITAL ALIF");
  EXPECT_EQ(spaced->joiningType(), u"D");
  EXPECT_EQ(spaced->joiningGroup(), u"No_Joining_Group");
}

TEST(ArabicShapingLine, FirstPieceKeepsOnlyItsNumberAndCommentsStayInTheGroup) {
  const auto record =
      QNUnicodeArabicShaping::arabicShapingWithString(u"0628 extra; BEH; D; BEH # the comment");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->codeValue(), 0x628u);
  EXPECT_EQ(record->joiningGroup(), u"BEH # the comment");

  // Lower-case digits are hexadecimal too; empty pieces give empty texts.
  const auto derived = QNUnicodeArabicShaping::arabicShapingWithString(u"fe70; ; T;");
  ASSERT_NE(derived, nullptr);
  EXPECT_EQ(derived->codeValue(), 0xFE70u);
  EXPECT_EQ(derived->schematicName(), u"");
  EXPECT_EQ(derived->joiningType(), u"T");
  EXPECT_EQ(derived->joiningGroup(), u"");
}

TEST(ArabicShapingLine, NonDataLinesGiveNothing) {
  for (std::u16string_view line : {
           std::u16string_view(u""),
           std::u16string_view(u"# 0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R; ALEF"),
           std::u16string_view(u"0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R"),
           std::u16string_view(u"0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R; ALEF; # x;y"),
           std::u16string_view(u"0622; NAME; R; ALEF # a comment; with a semicolon"),
           std::u16string_view(u"XYZ; NAME; R; ALEF"),
           std::u16string_view(u"; NAME; R; ALEF"),
           std::u16string_view(u";;;;"),
       }) {
    EXPECT_EQ(QNUnicodeArabicShaping::arabicShapingWithString(line), nullptr)
        << qnunicode::toUTF8(line);
  }
  // Only a "#" in the very first column marks a comment line.
  EXPECT_NE(QNUnicodeArabicShaping::arabicShapingWithString(u" 0622; X; R; #"), nullptr);
}

}  // namespace
