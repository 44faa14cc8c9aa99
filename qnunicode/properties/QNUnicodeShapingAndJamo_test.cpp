#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cctype>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

constexpr const char* kUnicodeData =
    "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n"
    "0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;NON-SPACING GRAVE;;;;\n"
    "0488;COMBINING CYRILLIC HUNDRED THOUSANDS SIGN;Me;0;NSM;;;;;N;;;;;\n"
    "0627;ARABIC LETTER ALEF;Lo;0;AL;;;;;N;;;;;\n"
    "200D;ZERO WIDTH JOINER;Cf;0;BN;;;;;N;;;;;\n";

// A database over one scratch directory, with a delegate that records missing files.
struct ScratchDatabase {
  ScratchDirectory directory;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<QNUnicodeDatabase> database;

  void open() {
    database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{directory.path()},
                                                   std::vector<std::string>{});
    database->setDelegate(delegate);
  }
  size_t missingCount(std::u16string_view prefix) const {
    return static_cast<size_t>(
        std::count(delegate->prefixes.begin(), delegate->prefixes.end(), UnicodeString(prefix)));
  }
};

TEST(JamoShortNames, ReaderSkipsCommentsAndEmptyNames) {
  ScratchDatabase scratch;
  scratch.directory.write("Jamo.txt",
                          "# Jamo.txt\n"
                          "# 1101; XX # a commented-out entry\n"
                          "1100; G   # HANGUL CHOSEONG KIYEOK\n"
                          "110B;     # HANGUL CHOSEONG IEUNG\n"
                          "1161;A\r\n"
                          "1162 AE # no semicolon\n"
                          "11A8; K # replaced below\n"
                          "11A8; G # HANGUL JONGSEONG KIYEOK\n"
                          "\n"
                          "zz; Q\n");
  scratch.open();
  const auto names = scratch.database->jamoShortNames();
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(*names, (QNUnicodeJamoShortNames{{0x1100, u"G"}, {0x1161, u"A"}, {0x11A8, u"G"}}));
  EXPECT_EQ(scratch.database->jamoShortNameForCodepoint(0x1100), u"G");
  EXPECT_EQ(scratch.database->jamoShortNameForCodepoint(0x110B), std::nullopt);
  EXPECT_EQ(scratch.database->jamoShortNameForCodepoint(0x1101), std::nullopt);
  EXPECT_EQ(scratch.database->jamoShortNameForCodepoint(0x1162), std::nullopt);
  // The table is read once and then answered as it stands.
  EXPECT_EQ(scratch.database->jamoShortNames(), names);
}

TEST(CompositionExclusions, ReaderKeepsFileOrderAndDuplicates) {
  ScratchDatabase scratch;
  scratch.directory.write("CompositionExclusions.txt",
                          "# CompositionExclusions.txt\n"
                          "# 0957 excluded in a comment only\n"
                          "0958    #  DEVANAGARI LETTER QA\n"
                          "  0959\n"
                          "\n"
                          "2ADC # FORKING\n"
                          "0958\n"
                          "1D15E\n");
  scratch.open();
  const auto exclusions = scratch.database->compositionExclusions();
  ASSERT_NE(exclusions, nullptr);
  EXPECT_EQ(*exclusions, (std::vector<uint32_t>{0x958, 0x959, 0x2ADC, 0x958, 0x1D15E}));
  EXPECT_EQ(scratch.database->compositionExclusions(), exclusions);
  EXPECT_TRUE(scratch.delegate->prefixes.empty());
}

TEST(ArabicShapingTable, LaterLinesReplaceEarlierOnes) {
  ScratchDatabase scratch;
  scratch.directory.write("ArabicShaping.txt",
                          "# ArabicShaping.txt\n"
                          "0620; DOTLESS YEH WITH SEPARATE RING BELOW; D; YEH\n"
                          "0622; ARABIC LETTER ALEF WITH MADDA ABOVE; R; ALEF\n"
                          "0622; SECOND LINE; L; ALEF\n"
                          "0623; TOO; FEW\n"
                          "\n");
  scratch.open();
  const auto shapings = scratch.database->arabicShapings();
  ASSERT_EQ(shapings->size(), 2u);
  const auto alef = shapings->at(0x622);
  EXPECT_EQ(alef->schematicName(), u"SECOND LINE");
  EXPECT_EQ(alef->joiningType(), u"L");
  EXPECT_EQ(shapings->count(0x623), 0u);
  // A listed codepoint answers the table's own record on every call.
  EXPECT_EQ(scratch.database->arabicShapingForCodepoint(0x622), alef);
  EXPECT_EQ(scratch.database->arabicShapingForCodepoint(0x622), alef);
}

TEST(ArabicShapingTable, UnlistedCodepointsAreDerivedFromTheirCategory) {
  ScratchDatabase scratch;
  scratch.directory.write("UnicodeData.txt", kUnicodeData);
  scratch.directory.write("ArabicShaping.txt", "0627; ALEF; R; ALEF\n");
  scratch.open();
  struct Case {
    uint32_t codepoint;
    std::u16string_view joiningType;
  };
  // Marks (Mn, Me) and format characters (Cf) are transparent, everything else non-joining,
  // including codepoints that the small UnicodeData does not list at all.
  for (const Case& c : {Case{0x300, u"T"}, Case{0x488, u"T"}, Case{0x200D, u"T"}, Case{0x41, u"U"},
                        Case{0x378, u"U"}, Case{0x1F600, u"U"}}) {
    const auto record = scratch.database->arabicShapingForCodepoint(c.codepoint);
    ASSERT_NE(record, nullptr) << std::hex << c.codepoint;
    EXPECT_EQ(record->codeValue(), c.codepoint);
    EXPECT_EQ(record->joiningType(), c.joiningType) << std::hex << c.codepoint;
    EXPECT_EQ(record->schematicName(), u"");
    EXPECT_EQ(record->joiningGroup(), u"");
  }
  // Derived records are made afresh and never enter the table.
  const auto first = scratch.database->arabicShapingForCodepoint(0x300);
  const auto second = scratch.database->arabicShapingForCodepoint(0x300);
  EXPECT_NE(first, second);
  EXPECT_EQ(*first, *second);
  EXPECT_EQ(scratch.database->arabicShapings()->size(), 1u);
  EXPECT_EQ(scratch.database->arabicShapingForCodepoint(0x627)->joiningType(), u"R");
}

TEST(ShapingAndJamoReaders, MissingFilesAreReportedOnceAndLeaveEmptyTables) {
  ScratchDatabase scratch;
  scratch.open();
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(scratch.database->jamoShortNames()->empty());
    EXPECT_TRUE(scratch.database->compositionExclusions()->empty());
    EXPECT_TRUE(scratch.database->arabicShapings()->empty());
    EXPECT_EQ(scratch.database->jamoShortNameForCodepoint(0x1100), std::nullopt);
  }
  EXPECT_EQ(scratch.missingCount(QNUnicodeFilePrefixJamo), 1u);
  EXPECT_EQ(scratch.missingCount(QNUnicodeFilePrefixCompositionExclusions), 1u);
  EXPECT_EQ(scratch.missingCount(QNUnicodeFilePrefixArabicShaping), 1u);
  // Without UnicodeData an unlisted codepoint has no record to derive one from.
  EXPECT_EQ(scratch.database->arabicShapingForCodepoint(0x300), nullptr);
}

TEST(ShapingAndJamoReaders, FileThatIsNotUTF8CountsAsMissing) {
  ScratchDatabase scratch;
  scratch.directory.write("Jamo.txt", "1100; G\n1101; \xFF\xFE\n");
  scratch.open();
  EXPECT_TRUE(scratch.database->jamoShortNames()->empty());
  EXPECT_EQ(scratch.missingCount(QNUnicodeFilePrefixJamo), 1u);
}

// ---- The real data against ICU ---------------------------------------------------------------

UnicodeString icuCharacterName(uint32_t codepoint) {
  char buffer[128];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = u_charName(static_cast<UChar32>(codepoint), U_UNICODE_CHAR_NAME, buffer,
                                    sizeof buffer, &status);
  return U_SUCCESS(status) ? qnunicode::fromUTF8(std::string_view(buffer, length)) : u"";
}

TEST(JamoShortNamesRealData, SyllableNamesFromTheShortNamesMatchICU) {
  auto database = qnunicode::testing::realDatabase();
  // 19 leading, 21 vowel and 27 trailing jamo, less the silent IEUNG, which has no name.
  EXPECT_EQ(database->jamoShortNames()->size(), 66u);
  for (uint32_t s = 0; s < 11172; ++s) {
    const uint32_t l = 0x1100 + s / 588, v = 0x1161 + (s % 588) / 28, t = 0x11A7 + s % 28;
    UnicodeString name = u"HANGUL SYLLABLE ";
    name += database->jamoShortNameForCodepoint(l).value_or(u"");
    name += database->jamoShortNameForCodepoint(v).value_or(u"");
    if (t != 0x11A7) name += database->jamoShortNameForCodepoint(t).value_or(u"");
    ASSERT_EQ(name, icuCharacterName(0xAC00 + s)) << std::hex << 0xAC00 + s;
  }
}

TEST(CompositionExclusionsRealData, EveryListedCodepointIsFullyExcludedInICU) {
  auto database = qnunicode::testing::realDatabase();
  const auto exclusions = database->compositionExclusions();
  EXPECT_EQ(exclusions->size(), 81u);
  EXPECT_EQ(exclusions->front(), 0x958u);
  for (uint32_t codepoint : *exclusions) {
    EXPECT_TRUE(
        u_hasBinaryProperty(static_cast<UChar32>(codepoint), UCHAR_FULL_COMPOSITION_EXCLUSION))
        << std::hex << codepoint;
  }
}

UnicodeString looseName(std::u16string_view name) {
  UnicodeString loose;
  for (char16_t unit : name) {
    loose.push_back(unit == u'_' ? u' ' : unit < 0x80 ? std::toupper(unit) : unit);
  }
  return loose;
}

TEST(ArabicShapingRealData, JoiningTypeOfEveryCodepointMatchesICU) {
  auto database = qnunicode::testing::realDatabase();
  static constexpr char16_t kTypes[] = {u'U', u'C', u'D', u'L', u'R', u'T'};
  size_t listed = 0;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    const auto record = database->arabicShapingForCodepoint(codepoint);
    ASSERT_NE(record, nullptr) << std::hex << codepoint;
    const int32_t type = u_getIntPropertyValue(static_cast<UChar32>(codepoint), UCHAR_JOINING_TYPE);
    ASSERT_EQ(record->joiningType(), UnicodeString(1, kTypes[type])) << std::hex << codepoint;
    if (record->joiningGroup().empty()) continue;
    ++listed;
    // ICU's long name can be the other of a group's two names (Teh_Marbuta_Goal is also
    // Hamza_On_Heh_Goal), so any of its names may match.
    const int32_t group =
        u_getIntPropertyValue(static_cast<UChar32>(codepoint), UCHAR_JOINING_GROUP);
    bool matched = false;
    for (int choice = U_SHORT_PROPERTY_NAME; choice <= U_LONG_PROPERTY_NAME + 1; ++choice) {
      const char* name = u_getPropertyValueName(UCHAR_JOINING_GROUP, group,
                                                static_cast<UPropertyNameChoice>(choice));
      if (name && looseName(record->joiningGroup()) == looseName(qnunicode::fromUTF8(name))) {
        matched = true;
      }
    }
    EXPECT_TRUE(matched) << qnunicode::toUTF8(record->joiningGroup()) << " for U+" << std::hex
                         << codepoint;
  }
  EXPECT_EQ(listed, database->arabicShapings()->size());
}

}  // namespace
