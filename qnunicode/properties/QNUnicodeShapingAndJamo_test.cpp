#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using Shaping = QNUnicodeArabicShaping;

using qnunicode::testing::ScratchDatabase;

TEST(ArabicShapingLine, FourTrimmedPiecesOnlyTheFirstPiecesNumberAndCommentsInTheGroup) {
  // Only a "#" in the first column makes a comment line.
  const std::pair<std::u16string_view, Shaping> lines[] = {
      {u"0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R; ALEF",
       Shaping(0x622, u"ARABIC LETTER ALEF WITH MADDA ABOVE", u"R", u"ALEF")},
      {u"  0x1E900 ;\tADLAM CAPITAL ALIF\t; D ;No_Joining_Group \r",
       Shaping(0x1E900, u"ADLAM CAPITAL ALIF", u"D", u"No_Joining_Group")},
      {u"0628 extra; BEH; D; BEH # the comment",
       Shaping(0x628, u"BEH", u"D", u"BEH # the comment")},
      {u"fe70; ; T;", Shaping(0xFE70, u"", u"T", u"")},
      {u" 0622; X; R; #", Shaping(0x622, u"X", u"R", u"#")}};
  for (const auto& [line, expected] : lines) {
    const auto record = Shaping::arabicShapingWithString(line);
    EXPECT_TRUE(record && *record == expected) << qnunicode::toUTF8(line);
  }
  for (std::u16string_view line :
       {u"", u"# 0622; ALEF; R; ALEF", u"0622; ALEF; R", u";;;;", u"0622; ALEF; R; ALEF; # x;y",
        u"0622; N; R; ALEF # a; b", u"XYZ; NAME; R; ALEF", u"; NAME; R; ALEF"}) {
    EXPECT_EQ(Shaping::arabicShapingWithString(line), nullptr) << qnunicode::toUTF8(line);
  }
}

TEST(ShapingAndJamoReaders, EachFileByItsOwnRulesOnceAndMissingFilesReportedOnce) {
  ScratchDatabase scratch{
      {"Jamo.txt",
       "# Jamo.txt\n# 1101; XX # commented out\n1100; G   # KIYEOK\n110B;     # IEUNG\n"
       "1161;A\r\n1162 AE # no semicolon\n11A8; K # replaced below\n11A8; G # KIYEOK\n\nzz; Q\n"},
      {"CompositionExclusions.txt",
       "# CompositionExclusions.txt\n# 0957 in a comment only\n"
       "0958    #  DEVANAGARI LETTER QA\n  0959\n\n2ADC # FORKING\n0958\n1D15E\n"},
      {"ArabicShaping.txt",
       "# ArabicShaping.txt\n0622; ALEF WITH MADDA ABOVE; R; ALEF\n"
       "0622; SECOND LINE; L; ALEF\n0623; TOO; FEW\n0627; ALEF; R; ALEF\n"},
      {"UnicodeData.txt",
       "0041;A;Lu;0;L;;;;;N;;;;0061;\n0300;GRAVE;Mn;230;NSM;;;;;N;;;;;\n"
       "0488;HUNDRED THOUSANDS SIGN;Me;0;NSM;;;;;N;;;;;\n"
       "0627;ALEF;Lo;0;AL;;;;;N;;;;;\n200D;ZWJ;Cf;0;BN;;;;;N;;;;;\n"}};
  QNUnicodeDatabase& database = scratch.database;
  EXPECT_EQ(*database.jamoShortNames(),
            (QNUnicodeJamoShortNames{{0x1100, u"G"}, {0x1161, u"A"}, {0x11A8, u"G"}}));
  EXPECT_EQ(*database.compositionExclusions(),
            (std::vector<uint32_t>{0x958, 0x959, 0x2ADC, 0x958, 0x1D15E}));
  // A later Arabic line wins; unlisted marks and format characters are transparent, all else
  // non-joining (also without a listed record), in records made afresh, never stored.
  const auto shapings = database.arabicShapings();
  EXPECT_EQ(*shapings->at(0x622), Shaping(0x622, u"SECOND LINE", u"L", u"ALEF"));
  EXPECT_EQ(database.arabicShapingForCodepoint(0x627), shapings->at(0x627));
  const std::pair<uint32_t, char16_t> derived[] = {{0x300, u'T'}, {0x488, u'T'}, {0x200D, u'T'},
                                                   {0x41, u'U'},  {0x378, u'U'}, {0x1F600, u'U'}};
  for (const auto& [codepoint, type] : derived) {
    const auto record = database.arabicShapingForCodepoint(codepoint);
    EXPECT_TRUE(record && *record == Shaping(codepoint, u"", UnicodeString(1, type), u""));
    EXPECT_NE(database.arabicShapingForCodepoint(codepoint), record);
  }
  EXPECT_EQ(database.arabicShapings(), shapings);  // read once
  EXPECT_EQ(shapings->size(), 2u);
  EXPECT_TRUE(scratch.delegate->prefixes.empty());
  // Missing files and files that are not UTF-8 are reported once and leave empty tables.
  ScratchDatabase missing{{"Jamo.txt", "1100; G\n1101; \xFF\xFE\n"}};
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(missing.database.jamoShortNames()->empty());
    EXPECT_TRUE(missing.database.compositionExclusions()->empty());
    EXPECT_TRUE(missing.database.arabicShapings()->empty());
  }
  EXPECT_EQ(missing.delegate->prefixes,
            (std::vector<UnicodeString>{UnicodeString(QNUnicodeFilePrefixJamo),
                                        UnicodeString(QNUnicodeFilePrefixCompositionExclusions),
                                        UnicodeString(QNUnicodeFilePrefixArabicShaping)}));
  // Without UnicodeData an unlisted codepoint has no record to derive one from.
  EXPECT_EQ(missing.database.arabicShapingForCodepoint(0x300), nullptr);
}

TEST(ShapingAndJamoRealData, SyllableNamesFromTheJamoNamesExclusionsAndJoiningDataMatchICU) {
  auto database = qnunicode::testing::realDatabase();
  // 19 leading, 21 vowel and 27 trailing jamo, less the silent IEUNG, which has no name.
  EXPECT_EQ(database->jamoShortNames()->size(), 66u);
  for (UChar32 s = 0xAC00; s <= 0xD7A3; ++s) {
    UnicodeString name = u"HANGUL SYLLABLE ";
    for (uint32_t jamo : QNUnicodeDatabase::decomposeHangul(s)) {
      name += database->jamoShortNameForCodepoint(jamo).value_or(u"");
    }
    char icuName[128];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_charName(s, U_UNICODE_CHAR_NAME, icuName, sizeof icuName, &status);
    ASSERT_EQ(name, qnunicode::fromUTF8(std::string_view(icuName, length))) << s;
  }
  EXPECT_EQ(database->compositionExclusions()->size(), 81u);
  for (uint32_t codepoint : *database->compositionExclusions()) {
    EXPECT_TRUE(u_hasBinaryProperty(codepoint, UCHAR_FULL_COMPOSITION_EXCLUSION)) << codepoint;
  }
  // ICU matches a joining group's name loosely, so the file's spaces stand for its underscores.
  size_t listed = 0;
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    const auto record = database->arabicShapingForCodepoint(c);
    ASSERT_NE(record, nullptr) << c;
    ASSERT_EQ(record->joiningType(),
              UnicodeString(1, u"UCDLRT"[u_getIntPropertyValue(c, UCHAR_JOINING_TYPE)]))
        << c;
    if (record->joiningGroup().empty()) continue;
    ++listed;
    EXPECT_EQ(u_getPropertyValueEnum(UCHAR_JOINING_GROUP,
                                     qnunicode::toUTF8(record->joiningGroup()).c_str()),
              u_getIntPropertyValue(c, UCHAR_JOINING_GROUP))
        << c;
  }
  EXPECT_EQ(listed, database->arabicShapings()->size());
}

}  // namespace
