#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <map>
#include <set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeBlockTable.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodePropertyMatching.h"
#include "qnunicode/properties/QNUnicodePropertyTable.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNUnicodePrefixTree.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using Lines = std::vector<std::string>;
using Names = std::vector<UnicodeString>;

constexpr uint32_t kLastCodepoint = 0x10FFFF;

// The number of a class in the fixed table (not through the conversion under test).
uint32_t lineBreakClass(std::u16string_view name) {
  const auto& table = QNUnicode_LineBreakClass_Strings;
  return static_cast<uint32_t>(std::find(table.begin(), table.end(), name) - table.begin());
}

// A database over a scratch directory that holds the files written so far.
class SyntheticData {
 public:
  void write(std::string_view name, std::string_view text) { _directory.write(name, text); }
  std::shared_ptr<QNUnicodeDatabase> database() const {
    return std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{_directory.path()},
                                               std::vector<std::string>{});
  }

 private:
  qnunicode::testing::ScratchDirectory _directory;
};

// ---- Blocks -----------------------------------------------------------------------------------

TEST(QNUnicodeBlocks, ReaderKeepsNamesAsWrittenAndRangesInMapOrder) {
  SyntheticData data;
  data.write("Blocks.txt",
             "# Blocks-15.0.0.txt\n\n"
             "0000..007F; Basic Latin\n"
             "0080..00FF;Latin-1 Supplement\n"
             "0100..017F;  Latin Extended-A\n"
             "0180..024F; Latin Extended-B\r\n"
             "00A0; Inner\n"  // no "..": the last codepoint of the line before (024F) stays
             "0250..02AF; IPA\n"
             "0250..02AF; IPA Extensions\n"  // the same range again replaces the name
             "   0300..036F; Combining\n"
             "not a data line; Nothing\n"
             "0370 .. 03FF ; Greek\n");
  const auto database = data.database();
  LogCapture log;
  const QNUnicodeBlockTable::Map expected{{{0x0000, 0x80}, u"Basic Latin"},
                                          {{0x0080, 0x80}, u"Latin-1 Supplement"},
                                          {{0x00A0, 0x1B0}, u"Inner"},
                                          {{0x0100, 0x80}, u" Latin Extended-A"},
                                          {{0x0180, 0xD0}, u"Latin Extended-B\r"},
                                          {{0x0250, 0x60}, u"IPA Extensions"},
                                          {{0x0300, 0x70}, u"Combining"},
                                          {{0x0370, 0x90}, u"Greek"}};
  EXPECT_EQ(database->blocks()->entries(), expected);
  EXPECT_EQ(database->blockForCodepoint(0xA0), u"Latin-1 Supplement");
  // The range from 00A0 comes before the one from 0100 in map order and holds 0100..024F.
  EXPECT_EQ(database->characterBlockForCodepoint(0x100), u"Inner");
  EXPECT_EQ(database->blockForCodepoint(0x3FF), u"Greek");
  EXPECT_EQ(database->blockForCodepoint(kLastCodepoint), u"No_Block");
  // Answered by reference into the table: the same object every time.
  EXPECT_EQ(&database->blockForCodepoint(0x41), &database->blockForCodepoint(0x7F));
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeBlocks, MissingOrUnreadableFileIsReportedOnceAndLeavesNoBlocks) {
  SyntheticData data;
  const auto database = data.database();
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  EXPECT_EQ(database->blockForCodepoint(0x41), u"No_Block");
  EXPECT_EQ(database->blockForCodepoint(0x42), u"No_Block");
  EXPECT_TRUE(database->blocks()->empty());
  EXPECT_EQ(delegate->prefixes, Names{u"Blocks"});
  // Without a delegate the database logs, again once; a file that is not UTF-8 counts as missing.
  data.write("Blocks.txt", "0000..007F; Basic Latin \xFF\xFE\n");
  const auto logging = data.database();
  LogCapture log;
  EXPECT_EQ(logging->blockForCodepoint(0x41), u"No_Block");
  logging->blocks();
  EXPECT_EQ(log.lines(), Lines{"QNUnicodeDatabase could not find file 'Blocks'"});
}

// ---- The reader shared by PropList, DerivedCoreProperties, Scripts, DerivedAge and
// HangulSyllableType ------------------------------------------------------------------------------

TEST(QNUnicodePropList, ReaderAcceptsCommentlessLinesAndLogsBadOnesWithTheLine) {
  SyntheticData data;
  data.write("PropList.txt",
             "# PropList-15.0.0.txt\n"
             "0041..005A    ; Upper # comment\n"
             "00AA ; Lower\n"
             "0041 ; # only a comment\n"
             "0042 Upper # no semicolon\n"
             "0043 ;\n"
             "0061..007A ; Upper   # a name seen before adds to its set\n"
             "  0062 ; Lower # leading blanks are passed over\n"
             "00B5 ; Micro\r\n"
             "00C0.. ; Odd # '..' without a last codepoint\n"
             "00D0..00C8 ; Reversed # nothing\n");
  const auto database = data.database();
  LogCapture log;
  const auto table = database->extendedProperties();
  const std::string prefix = "UnicodeDatabase -readPropListOrScriptsFile:: failed: ";
  EXPECT_EQ(log.lines(), (Lines{prefix + "'#' not found in line:", "0041 ; # only a comment",
                                prefix + "';' not scanned in line:", "0042 Upper # no semicolon",
                                prefix + "'#' not found in line:", "0043 ;"}));
  QNUnicodePropertyTable::Map expected;
  expected[u"Upper"].addRange(0x41, 0x5A);
  expected[u"Upper"].addRange(0x61, 0x7A);
  expected[u"Lower"] = {0xAA, 0x62};
  expected[u"Micro"] = {0xB5};
  expected[u"Odd"] = {0xC0};
  expected[u"Reversed"];
  EXPECT_EQ(table->sets(), expected);
  EXPECT_EQ(database->extendedPropertiesForCodepoint(0x62), (Names{u"Lower", u"Upper"}));
  EXPECT_TRUE(database->extendedPropertiesForCodepoint(0xC8).empty());
  EXPECT_TRUE(database->codepointHasExtendedProperty(0x62, u"Upper"));
  EXPECT_FALSE(database->codepointHasExtendedProperty(0x62, u"upper"));
  EXPECT_EQ(QNUnicodeDatabase::propertyOfCodepoint(0xB5, table.get()), Names{u"Micro"});
  EXPECT_TRUE(QNUnicodeDatabase::propertyOfCodepoint(0xB5, nullptr).empty());
}

TEST(QNUnicodePropList, SeveralScriptsTypesOrVersionsWarnAndAnswerByMapOrder) {
  SyntheticData data;
  data.write("Scripts.txt",
             "0041..005A ; Latin # L&\n0045 ; Greek\nABCD ; Greek\nABCD ; Cherokee\n");
  data.write("HangulSyllableType.txt", "1100..115F ; L # jamo\n1100 ; LV\n");
  // "10.0" sorts before "2.0": the last name in map order is not the highest version.
  data.write("DerivedAge.txt", "0041 ; 2.0 # A\n0041..0042 ; 10.0\n");
  const auto database = data.database();
  LogCapture log;
  EXPECT_EQ(database->scriptForCodepoint(0x41), u"Latin");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0x1101), u"L");
  EXPECT_EQ(database->versionCodepointWasDesignated(0x42), u"10.0");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(database->scriptForCodepoint(0x45), u"Greek");
  EXPECT_EQ(database->scriptForCodepoint(0xABCD), u"Cherokee");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0x1100), u"L");
  EXPECT_EQ(database->versionCodepointWasDesignated(0x41), u"2.0");
  EXPECT_EQ(log.lines(),
            (Lines{"WARNING: got 2 scripts for codepoint U+0045",
                   "WARNING: got 2 scripts for codepoint U+abcd",
                   "WARNING: got 2 hangul syllable types for codepoint U+1100",
                   "Codepoint designated in more than one version - using last version"}));
  EXPECT_EQ(database->scriptForCodepoint(0x30), u"Unknown");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0xAC00), u"NA");
  EXPECT_EQ(database->versionCodepointWasDesignated(0x43), std::nullopt);
}

TEST(QNUnicodePropList, MissingFilesAreReportedOnEveryAccess) {
  SyntheticData data;
  const auto database = data.database();
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  EXPECT_EQ(database->scriptForCodepoint(0x41), u"Unknown");
  EXPECT_EQ(database->scriptForCodepoint(0x41), u"Unknown");
  EXPECT_EQ(database->scripts(), nullptr);
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0xAC00), u"NA");
  EXPECT_FALSE(database->codepointHasExtendedProperty(0x20, u"White_Space"));
  EXPECT_TRUE(database->extendedPropertiesForCodepoint(0x20).empty());
  EXPECT_TRUE(database->derivedCorePropertiesForCodepoint(0x41).empty());
  EXPECT_EQ(database->readPropListOrScriptsFile(u"some/folder/DerivedAge"), nullptr);
  EXPECT_EQ(delegate->prefixes,
            (Names{u"Scripts", u"Scripts", u"Scripts", u"HangulSyllableType", u"PropList",
                   u"PropList", u"DerivedCoreProperties", u"DerivedAge"}));

  // Without a delegate each access logs; a file that turns up later is then read.
  const auto logging = data.database();
  LogCapture log;
  EXPECT_EQ(logging->versionCodepointWasDesignated(0x41), std::nullopt);
  EXPECT_EQ(logging->versionDesignated(), nullptr);
  EXPECT_EQ(log.lines(), Lines(2, "QNUnicodeDatabase could not find file 'DerivedAge'"));
  data.write("DerivedAge.txt", "0041 ; 1.1\n");
  EXPECT_EQ(logging->versionCodepointWasDesignated(0x41), u"1.1");
  EXPECT_EQ(log.lines().size(), 2u);
}

// ---- LineBreak ----------------------------------------------------------------------------------

TEST(QNUnicodeLineBreaks, ReaderScansTheWholeTextWithoutSkipping) {
  SyntheticData data;
  data.write("LineBreak.txt",
             "# LineBreak-15.0.0.txt\n\n"
             "0041..0043;AL # letters\n"
             " 0044;AL # a leading blank makes this no data line\n"
             "0030 # no semicolon: the search runs on into the next line\n"
             "0031;NU # this line was taken by the one above\n"
             "0032;# nothing between\n"
             "0033;cm # lower case\n"
             "0034..0035;QU# quotes\n"
             "0036..;NU # '..' without a last codepoint\n"
             "0038;BA\n"
             "0039;NU # the class text of the line above runs up to here\n"
             "00C0;GL\n"
             "00C1 ; ID # taken by the line above too\n"
             "00D0 # last line without a semicolon");
  const auto database = data.database();
  LogCapture log;
  const uint32_t AL = lineBreakClass(u"AL"), NU = lineBreakClass(u"NU"), QU = lineBreakClass(u"QU");
  const std::map<uint32_t, uint32_t> expected{{0x41, AL}, {0x43, AL}, {0x44, 39}, {0x30, NU},
                                              {0x31, 39}, {0x32, 39}, {0x33, 39}, {0x34, QU},
                                              {0x35, QU}, {0x36, NU}, {0x37, 39}, {0x38, 39},
                                              {0x39, 39}, {0xC0, 39}, {0xC1, 39}, {0xD0, 39}};
  for (const auto& [codepoint, lineBreak] : expected) {
    EXPECT_EQ(database->lineBreakForCodepoint(codepoint), lineBreak) << std::hex << codepoint;
  }
  EXPECT_EQ(log.lines(),
            (Lines{"UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:",
                   "no line break class 'cm', returning XX",
                   "no line break class 'BA\n0039;NU', returning XX",
                   "no line break class 'GL\n00C1 ; ID', returning XX",
                   "UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:"}));
  // Keys above the last codepoint go to the tree, which reads their low 21 bits only.
  EXPECT_EQ(database->lineBreakForCodepoint(0x200041), AL);
  EXPECT_EQ(database->lineBreakForCodepoint(0x110000), 39u);

  // Without a comment the class text runs to the end of the text, and is trimmed.
  data.write("LineBreak.txt", "0041;AL # a\n00C1 ; ID \n");
  const auto second = data.database();
  EXPECT_EQ(second->lineBreakForCodepoint(0xC1), lineBreakClass(u"ID"));
  EXPECT_EQ(log.lines().size(), 5u);
}

TEST(QNUnicodeLineBreaks, MissingFileIsReportedOnceAndEveryClassIsXX) {
  SyntheticData data;
  const auto database = data.database();
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  for (uint32_t c : {0x0u, 0x41u, kLastCodepoint, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(database->lineBreakForCodepoint(c), QNUnicodeDatabase::missingLineBreak);
  }
  EXPECT_EQ(database->lineBreaks()->nodeCount(), 1u);
  EXPECT_EQ(delegate->prefixes, Names{u"LineBreak"});
  const auto logging = data.database();
  LogCapture log;
  logging->lineBreakForCodepoint(0x41);
  logging->lineBreakForCodepoint(0x42);
  EXPECT_EQ(log.lines(), Lines{"QNUnicodeDatabase could not find file 'LineBreak'"});
}

TEST(QNUnicodeLineBreaks, RangesPastTheKeySpaceEndAsTheFullWalkWouldLeaveTheTree) {
  // A range that goes round the tree's 2^21 keys more than once: the reader sets fewer keys than
  // it holds, and the tree must still end as if every key had been set in order.
  const std::vector<std::tuple<uint32_t, uint32_t, std::u16string_view>> lines{
      {0x0000, 0x0FFF, u"AL"},
      {0x0800, 0x0800, u"CM"},      // re-sets a key inside a collapsed stretch
      {0x1FFF00, 0x6000FF, u"BA"},  // two whole blocks; the tail goes round to the first keys
      {0x0100, 0x0100, u"NU"}};
  std::string text;
  QNUnicodePrefixTree walked(3, kLastCodepoint);
  for (const auto& [first, last, name] : lines) {
    text += QNFormat("%04X..%04X;%s # line\n", first, last, qnunicode::logText(name).c_str());
    for (uint64_t key = first; key <= last; ++key) walked.setValue(lineBreakClass(name), key);
  }
  SyntheticData data;
  data.write("LineBreak.txt", text);
  const auto database = data.database();
  EXPECT_EQ(database->lineBreaks()->description(), walked.description());
  for (uint32_t c = 0; c <= kLastCodepoint; c += 0x101) {
    const int64_t value = walked.valueForUnsignedIntegerKey(c);
    ASSERT_EQ(database->lineBreakForCodepoint(c), value == NotFound ? 39 : value) << std::hex << c;
  }

  // A range up to the largest key finishes at once and collapses the whole tree; a later line
  // below the collapsed root does not expand it again, so the keys around it lose their class.
  data.write("LineBreak.txt", "0000..FFFFFFFF;BA # every key\n");
  EXPECT_EQ(data.database()->lineBreaks()->nodeCount(), 1u);
  data.write("LineBreak.txt", "0000..FFFFFFFF;BA # every key\n0041;AL # set afterwards\n");
  const auto later = data.database();
  EXPECT_EQ(later->lineBreakForCodepoint(0x41), lineBreakClass(u"AL"));
  EXPECT_EQ(later->lineBreakForCodepoint(0x40), 39u);
}

// ---- The real UCD 15.0.0 against ICU 72
// -----------------------------------------------------------

TEST(QNUnicodeRangePropertiesReal, BlocksScriptsAgesAndSyllableTypesAgreeWithICU) {
  const auto database = qnunicode::testing::realDatabase();
  LogCapture log;
  std::map<std::string, std::vector<uint32_t>> differences;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const char* block =
        u_getPropertyValueName(UCHAR_BLOCK, ublock_getCode(c), U_LONG_PROPERTY_NAME);
    if (!QNUnicode::isEqualToUnicodePropertyString(database->blockForCodepoint(c),
                                                   qnunicode::fromUTF8(block))) {
      differences["block"].push_back(c);
    }
    UErrorCode status = U_ZERO_ERROR;
    const char* script = uscript_getName(uscript_getScript(c, &status));
    if (database->scriptForCodepoint(c) != qnunicode::fromUTF8(script)) {
      differences["script"].push_back(c);
    }
    UVersionInfo version;
    u_charAge(c, version);
    const std::optional<UnicodeString> age = database->versionCodepointWasDesignated(c);
    if (version[0] == 0 ? age.has_value()
                        : age != qnunicode::fromUTF8(QNFormat("%d.%d", version[0], version[1]))) {
      differences["age"].push_back(c);
    }
    const char* type = u_getPropertyValueName(UCHAR_HANGUL_SYLLABLE_TYPE,
                                              u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE),
                                              U_SHORT_PROPERTY_NAME);
    if (database->hangulSyllableTypeForCodepoint(c) != qnunicode::fromUTF8(type)) {
      differences["syllable type"].push_back(c);
    }
  }
  for (const auto& [what, codepoints] : differences) {
    ADD_FAILURE() << what << " differs for " << codepoints.size() << " codepoints, first U+"
                  << std::hex << codepoints.front();
  }
  // No codepoint of the real files lies in two scripts, syllable types or versions.
  EXPECT_EQ(log.lines(), Lines{});
  EXPECT_EQ(database->blocks()->size(), 327u);
}

TEST(QNUnicodeRangePropertiesReal, BinaryPropertiesAgreeWithICU) {
  const auto database = qnunicode::testing::realDatabase();
  const std::vector<std::tuple<std::u16string_view, UProperty, bool>> properties{
      {u"White_Space", UCHAR_WHITE_SPACE, false},
      {u"Noncharacter_Code_Point", UCHAR_NONCHARACTER_CODE_POINT, false},
      {u"Join_Control", UCHAR_JOIN_CONTROL, false},
      {u"Default_Ignorable_Code_Point", UCHAR_DEFAULT_IGNORABLE_CODE_POINT, true},
      {u"Alphabetic", UCHAR_ALPHABETIC, true}};
  std::map<std::string, size_t> differences;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const Names extended = database->extendedPropertiesForCodepoint(c);
    const Names derived = database->derivedCorePropertiesForCodepoint(c);
    for (const auto& [name, icuProperty, isDerived] : properties) {
      const Names& names = isDerived ? derived : extended;
      const bool listed = std::find(names.begin(), names.end(), name) != names.end();
      if (listed != static_cast<bool>(u_hasBinaryProperty(c, icuProperty))) {
        ++differences[qnunicode::logText(name)];
      }
      if (!isDerived && database->codepointHasExtendedProperty(c, name) != listed) {
        ++differences["membership test of " + qnunicode::logText(name)];
      }
    }
  }
  EXPECT_EQ(differences, (std::map<std::string, size_t>{}));
}

TEST(QNUnicodeRangePropertiesReal, LineBreakClassesAgreeWithICUAndUnknownClassesAreXX) {
  // A database of its own, so that this test sees the file being read.
  const auto database = std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{qnunicode::testing::ucdDirectory()}, std::vector<std::string>{});
  LogCapture log;
  database->lineBreaks();
  std::set<std::string> logged, outsideTheTable;
  const std::string prefix = "no line break class '", suffix = "', returning XX";
  for (const std::string& line : log.lines()) {
    ASSERT_TRUE(line.starts_with(prefix) && line.ends_with(suffix)) << line;
    logged.insert(line.substr(prefix.size(), line.size() - prefix.size() - suffix.size()));
  }
  std::map<std::string, size_t> differences;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const char* name = u_getPropertyValueName(
        UCHAR_LINE_BREAK, u_getIntPropertyValue(c, UCHAR_LINE_BREAK), U_SHORT_PROPERTY_NAME);
    uint32_t expected = lineBreakClass(qnunicode::fromUTF8(name));
    if (expected == QNUnicode_LineBreakClass_Strings.size()) {
      outsideTheTable.insert(name);
      expected = 39;
    }
    if (database->lineBreakForCodepoint(c) != expected) ++differences[name];
  }
  EXPECT_EQ(differences, (std::map<std::string, size_t>{}));
  EXPECT_EQ(outsideTheTable, (std::set<std::string>{"EB", "EM", "ZWJ"}));
  EXPECT_EQ(logged, outsideTheTable);
}

}  // namespace
