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
using qnunicode::testing::ScratchDirectory;
using Lines = std::vector<std::string>;

constexpr uint32_t kLastCodepoint = 0x10FFFF;

uint32_t lineBreakClass(std::u16string_view name) {
  for (uint32_t i = 0; i < QNUnicode_LineBreakClass_Strings.size(); ++i) {
    if (QNUnicode_LineBreakClass_Strings[i] == name) return i;
  }
  ADD_FAILURE() << "not a class of the table";
  return 0;
}

// A database over one scratch directory that holds the given files.
class SyntheticData {
 public:
  void write(std::string_view name, std::string_view text) { _directory.write(name, text); }
  std::shared_ptr<QNUnicodeDatabase> database() const {
    return std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{_directory.path()},
                                               std::vector<std::string>{});
  }

 private:
  ScratchDirectory _directory;
};

// ---- Blocks ---------------------------------------------------------------------------------

TEST(QNUnicodeBlocks, ReaderKeepsNamesAsWrittenAndRangesInMapOrder) {
  SyntheticData data;
  data.write("Blocks.txt",
             "# Blocks-15.0.0.txt\n"
             "\n"
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
  const auto blocks = database->blocks();
  ASSERT_NE(blocks, nullptr);
  const QNUnicodeBlockTable::Map expected{
      {{0x0000, 0x80}, u"Basic Latin"},
      {{0x0080, 0x80}, u"Latin-1 Supplement"},
      {{0x00A0, 0x1B0}, u"Inner"},
      {{0x0100, 0x80}, u" Latin Extended-A"},
      {{0x0180, 0xD0}, u"Latin Extended-B\r"},
      {{0x0250, 0x60}, u"IPA Extensions"},
      {{0x0300, 0x70}, u"Combining"},
      {{0x0370, 0x90}, u"Greek"},
  };
  EXPECT_EQ(blocks->entries(), expected);

  EXPECT_EQ(database->blockForCodepoint(0x41), u"Basic Latin");
  EXPECT_EQ(database->blockForCodepoint(0xA0), u"Latin-1 Supplement");
  // The range from 00A0 comes before the one from 0100 in map order and holds 0100..024F.
  EXPECT_EQ(database->blockForCodepoint(0x100), u"Inner");
  EXPECT_EQ(database->blockForCodepoint(0x24F), u"Inner");
  EXPECT_EQ(database->characterBlockForCodepoint(0x250), u"IPA Extensions");
  EXPECT_EQ(database->blockForCodepoint(0x3FF), u"Greek");
  EXPECT_EQ(database->blockForCodepoint(0x400), u"No_Block");
  EXPECT_EQ(database->blockForCodepoint(kLastCodepoint), u"No_Block");
  EXPECT_EQ(&database->blockForCodepoint(0x400), &QNUnicodeDatabase::missingBlock());
  // Answered by reference into the table: the same object every time.
  EXPECT_EQ(&database->blockForCodepoint(0x41), &database->blockForCodepoint(0x7F));
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeBlocks, MissingOrUnreadableFileIsReportedOnceAndLeavesNoBlocks) {
  SyntheticData data;
  {
    const auto database = data.database();
    auto delegate = std::make_shared<RecordingDelegate>();
    database->setDelegate(delegate);
    EXPECT_EQ(database->blockForCodepoint(0x41), u"No_Block");
    EXPECT_EQ(database->blockForCodepoint(0x42), u"No_Block");
    ASSERT_NE(database->blocks(), nullptr);
    EXPECT_TRUE(database->blocks()->empty());
    EXPECT_EQ(delegate->prefixes, std::vector<UnicodeString>{u"Blocks"});
  }
  {
    // Without a delegate the database logs, again only once.
    const auto database = data.database();
    LogCapture log;
    database->blockForCodepoint(0x41);
    database->blocks();
    database->blockForCodepoint(0x10FFFF);
    EXPECT_EQ(log.lines(), Lines{"QNUnicodeDatabase could not find file 'Blocks'"});
  }
  {
    // A file that is not UTF-8 cannot be read and counts as missing.
    data.write("Blocks.txt", "0000..007F; Basic Latin \xFF\xFE\n");
    const auto database = data.database();
    LogCapture log;
    EXPECT_EQ(database->blockForCodepoint(0x41), u"No_Block");
    EXPECT_EQ(log.lines(), Lines{"QNUnicodeDatabase could not find file 'Blocks'"});
  }
}

// ---- The shared reader of PropList, DerivedCoreProperties, Scripts, DerivedAge and
// HangulSyllableType ----------------------------------------------------------------------------

TEST(QNUnicodePropList, ReaderAcceptsCommentlessLinesAndLogsBadOnesWithTheLine) {
  SyntheticData data;
  data.write("PropList.txt",
             "# PropList-15.0.0.txt\n"
             "0041..005A    ; Upper # comment\n"
             "00AA ; Lower\n"
             "0041 ; # only a comment\n"
             "0042 Upper # no semicolon\n"
             "0043 ;\n"
             "0030..0039 ; Digit   # digits\n"
             "0061..007A ; Upper   # a name seen before adds to its set\n"
             "  0062 ; Lower # leading blanks are passed over\n"
             "00B5 ; Micro\r\n"
             "00C0.. ; Odd # '..' without a last codepoint\n"
             "00D0..00C8 ; Reversed # nothing\n");
  const auto database = data.database();
  LogCapture log;
  const auto table = database->extendedProperties();
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(log.lines(),
            (Lines{
                "UnicodeDatabase -readPropListOrScriptsFile:: failed: '#' not found in line:",
                "0041 ; # only a comment",
                "UnicodeDatabase -readPropListOrScriptsFile:: failed: ';' not scanned in line:",
                "0042 Upper # no semicolon",
                "UnicodeDatabase -readPropListOrScriptsFile:: failed: '#' not found in line:",
                "0043 ;",
            }));
  QNUnicodePropertyTable::Map expected;
  expected[u"Upper"].addRange(0x41, 0x5A);
  expected[u"Upper"].addRange(0x61, 0x7A);
  expected[u"Lower"].add(0xAA);
  expected[u"Lower"].add(0x62);
  expected[u"Digit"].addRange(0x30, 0x39);
  expected[u"Micro"].add(0xB5);
  expected[u"Odd"].add(0xC0);
  expected[u"Reversed"];
  EXPECT_EQ(table->sets(), expected);

  EXPECT_EQ(database->extendedPropertiesForCodepoint(0x62),
            (std::vector<UnicodeString>{u"Lower", u"Upper"}));
  EXPECT_EQ(database->extendedPropertiesForCodepoint(0xB5), std::vector<UnicodeString>{u"Micro"});
  EXPECT_TRUE(database->extendedPropertiesForCodepoint(0xC8).empty());
  EXPECT_TRUE(database->codepointHasExtendedProperty(0x62, u"Upper"));
  EXPECT_FALSE(database->codepointHasExtendedProperty(0x62, u"upper"));
  EXPECT_FALSE(database->codepointHasExtendedProperty(0x63, u"Lower"));
  EXPECT_EQ(QNUnicodeDatabase::propertyOfCodepoint(0x35, table.get()),
            std::vector<UnicodeString>{u"Digit"});
  EXPECT_TRUE(QNUnicodeDatabase::propertyOfCodepoint(0x35, nullptr).empty());
}

TEST(QNUnicodePropList, TwoScriptsOrSyllableTypesWarnAndAnswerTheFirstInMapOrder) {
  SyntheticData data;
  data.write("Scripts.txt",
             "0041..005A ; Latin # L&\n"
             "0045 ; Greek # a second script for E\n"
             "ABCD ; Greek\n"
             "ABCD ; Cherokee\n");
  data.write("HangulSyllableType.txt", "1100..115F ; L # jamo\n1100 ; LV\nAC00 ; LV\n");
  const auto database = data.database();
  LogCapture log;
  EXPECT_EQ(database->scriptForCodepoint(0x41), u"Latin");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(database->scriptForCodepoint(0x45), u"Greek");
  EXPECT_EQ(database->scriptForCodepoint(0xABCD), u"Cherokee");
  EXPECT_EQ(database->scriptForCodepoint(0x30), u"Unknown");
  EXPECT_EQ(log.lines(), (Lines{"WARNING: got 2 scripts for codepoint U+0045",
                                "WARNING: got 2 scripts for codepoint U+abcd"}));
  log.clear();
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0x1100), u"L");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0x1101), u"L");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0xAC00), u"LV");
  EXPECT_EQ(database->hangulSyllableTypeForCodepoint(0xAC01), u"NA");
  EXPECT_EQ(log.lines(), Lines{"WARNING: got 2 hangul syllable types for codepoint U+1100"});
  EXPECT_EQ(&database->scriptForCodepoint(0x41), &database->scriptForCodepoint(0x5A));
}

TEST(QNUnicodePropList, AgeInSeveralVersionsAnswersTheLastInMapOrder) {
  SyntheticData data;
  // "10.0" sorts before "2.0": the answer is the last name in map order, not the highest version.
  data.write("DerivedAge.txt", "0041 ; 2.0 # A\n0041..0042 ; 10.0\n0043 ; 1.1 # C\n");
  const auto database = data.database();
  LogCapture log;
  EXPECT_EQ(database->versionCodepointWasDesignated(0x43), u"1.1");
  EXPECT_EQ(database->versionCodepointWasDesignated(0x42), u"10.0");
  EXPECT_EQ(database->versionCodepointWasDesignated(0x44), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(database->versionCodepointWasDesignated(0x41), u"2.0");
  EXPECT_EQ(log.lines(),
            Lines{"Codepoint designated in more than one version - using last version"});
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
  EXPECT_EQ(database->versionCodepointWasDesignated(0x41), std::nullopt);
  EXPECT_TRUE(database->extendedPropertiesForCodepoint(0x20).empty());
  EXPECT_FALSE(database->codepointHasExtendedProperty(0x20, u"White_Space"));
  EXPECT_TRUE(database->derivedCorePropertiesForCodepoint(0x41).empty());
  EXPECT_EQ(database->derivedCoreProperties(), nullptr);
  EXPECT_EQ(database->readPropListOrScriptsFile(u"some/folder/DerivedAge"), nullptr);
  EXPECT_EQ(
      delegate->prefixes,
      (std::vector<UnicodeString>{u"Scripts", u"Scripts", u"Scripts", u"HangulSyllableType",
                                  u"DerivedAge", u"PropList", u"PropList", u"DerivedCoreProperties",
                                  u"DerivedCoreProperties", u"DerivedAge"}));

  // Without a delegate each access logs; a file that turns up later is then read.
  const auto logging = data.database();
  LogCapture log;
  logging->versionCodepointWasDesignated(0x41);
  logging->versionDesignated();
  EXPECT_EQ(log.lines(), (Lines{"QNUnicodeDatabase could not find file 'DerivedAge'",
                                "QNUnicodeDatabase could not find file 'DerivedAge'"}));
  data.write("DerivedAge.txt", "0041 ; 1.1\n");
  EXPECT_EQ(logging->versionCodepointWasDesignated(0x41), u"1.1");
  EXPECT_EQ(log.lines().size(), 2u);
}

// ---- LineBreak ------------------------------------------------------------------------------

TEST(QNUnicodeLineBreaks, ReaderScansTheWholeTextWithoutSkipping) {
  SyntheticData data;
  data.write("LineBreak.txt",
             "# LineBreak-15.0.0.txt\n"
             "\n"
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
             "00C1 ; ID # blanks around the class are trimmed\n"
             "00D0 # last line without a semicolon");
  const auto database = data.database();
  LogCapture log;
  const std::map<uint32_t, uint32_t> expected{
      {0x41, lineBreakClass(u"AL")},
      {0x43, lineBreakClass(u"AL")},
      {0x44, 39},
      {0x30, lineBreakClass(u"NU")},
      {0x31, 39},
      {0x32, 39},
      {0x33, 39},
      {0x34, lineBreakClass(u"QU")},
      {0x35, lineBreakClass(u"QU")},
      {0x36, lineBreakClass(u"NU")},
      {0x37, 39},
      {0x38, 39},
      {0x39, 39},
      {0xC0, 39},  // its class text ran on to the "#" of the next line
      {0xC1, 39},
      {0xD0, 39},
  };
  for (const auto& [codepoint, lineBreak] : expected) {
    EXPECT_EQ(database->lineBreakForCodepoint(codepoint), lineBreak) << std::hex << codepoint;
  }
  EXPECT_EQ(log.lines(), (Lines{
                             "UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:",
                             "no line break class 'cm', returning XX",
                             "no line break class 'BA\n0039;NU', returning XX",
                             "no line break class 'GL\n00C1 ; ID', returning XX",
                             "UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:",
                         }));
  // Keys above the last codepoint go to the tree, which reads their low 21 bits only.
  EXPECT_EQ(database->lineBreakForCodepoint(0x200041), lineBreakClass(u"AL"));
  EXPECT_EQ(database->lineBreakForCodepoint(0x110000), 39u);
}

TEST(QNUnicodeLineBreaks, AClassTextWithoutCommentRunsToTheEndOfTheText) {
  SyntheticData data;
  data.write("LineBreak.txt", "0041;AL # a\n00C1 ; ID \n");
  const auto database = data.database();
  LogCapture log;
  EXPECT_EQ(database->lineBreakForCodepoint(0x41), lineBreakClass(u"AL"));
  EXPECT_EQ(database->lineBreakForCodepoint(0xC1), lineBreakClass(u"ID"));
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeLineBreaks, MissingFileIsReportedOnceAndEveryClassIsXX) {
  SyntheticData data;
  const auto database = data.database();
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  for (uint32_t c : {0x0u, 0x41u, 0xAC00u, kLastCodepoint, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(database->lineBreakForCodepoint(c), QNUnicodeDatabase::missingLineBreak);
  }
  ASSERT_NE(database->lineBreaks(), nullptr);
  EXPECT_EQ(database->lineBreaks()->nodeCount(), 1u);
  EXPECT_EQ(delegate->prefixes, std::vector<UnicodeString>{u"LineBreak"});

  const auto logging = data.database();
  LogCapture log;
  logging->lineBreakForCodepoint(0x41);
  logging->lineBreakForCodepoint(0x42);
  EXPECT_EQ(log.lines(), Lines{"QNUnicodeDatabase could not find file 'LineBreak'"});
}

TEST(QNUnicodeLineBreaks, RangesPastTheKeySpaceEndAsTheFullWalkWouldLeaveTheTree) {
  // Lines that go round the tree's 2^21 keys more than once: the reader sets fewer keys than the
  // range holds, and the tree must still end as if every key had been set in order.
  const std::vector<std::tuple<uint32_t, uint32_t, std::u16string_view>> lines{
      {0x0000, 0x0FFF, u"AL"},
      {0x0800, 0x0800, u"CM"},      // re-sets a key inside a collapsed stretch
      {0x1FFF00, 0x6000FF, u"BA"},  // two whole blocks; the tail goes round to the first keys
      {0x0100, 0x0100, u"NU"},
  };
  std::string text;
  QNUnicodePrefixTree walked(3, kLastCodepoint);
  for (const auto& [first, last, name] : lines) {
    text += QNFormat("%04X..%04X;%s # line\n", first, last, qnunicode::logText(name).c_str());
    for (uint64_t key = first; key <= last; ++key) walked.setValue(lineBreakClass(name), key);
  }
  SyntheticData data;
  data.write("LineBreak.txt", text);
  const auto database = data.database();
  const auto tree = database->lineBreaks();
  EXPECT_EQ(tree->description(), walked.description());
  for (uint32_t c = 0; c <= kLastCodepoint; c += 0x101) {
    const int64_t value = walked.valueForUnsignedIntegerKey(c);
    ASSERT_EQ(database->lineBreakForCodepoint(c), value == NotFound ? 39 : value) << std::hex << c;
  }
}

TEST(QNUnicodeLineBreaks, ARangeUpToTheLargestKeyFinishesPromptly) {
  SyntheticData data;
  data.write("LineBreak.txt", "0000..FFFFFFFF;BA # every key\n");
  const auto database = data.database();
  for (uint32_t c : {0x0u, 0x41u, kLastCodepoint, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(database->lineBreakForCodepoint(c), lineBreakClass(u"BA")) << std::hex << c;
  }
  // Every key holds one class, so the whole tree has collapsed into its root.
  EXPECT_EQ(database->lineBreaks()->nodeCount(), 1u);

  // A later line below the collapsed root does not expand it again: the keys around it lose
  // their class.
  data.write("LineBreak.txt", "0000..FFFFFFFF;BA # every key\n0041;AL # set afterwards\n");
  const auto later = data.database();
  EXPECT_EQ(later->lineBreakForCodepoint(0x41), lineBreakClass(u"AL"));
  EXPECT_EQ(later->lineBreakForCodepoint(0x40), 39u);
  EXPECT_EQ(later->lineBreakForCodepoint(kLastCodepoint), 39u);
}

// ---- The real UCD 15.0.0 against ICU 72 ---------------------------------------------------------

std::u16string_view asText(const char* ascii, UnicodeString& storage) {
  storage.assign(ascii, ascii + std::char_traits<char>::length(ascii));
  return storage;
}

TEST(QNUnicodeRangePropertiesReal, BlocksScriptsAgesAndSyllableTypesAgreeWithICU) {
  const auto database = qnunicode::testing::realDatabase();
  LogCapture log;
  UnicodeString icuText;
  std::vector<uint32_t> blockDifferences, scriptDifferences, ageDifferences, typeDifferences;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const char* block =
        u_getPropertyValueName(UCHAR_BLOCK, ublock_getCode(c), U_LONG_PROPERTY_NAME);
    if (!block || !QNUnicode::isEqualToUnicodePropertyString(database->blockForCodepoint(c),
                                                             asText(block, icuText))) {
      blockDifferences.push_back(c);
    }
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(c, &status);
    if (U_FAILURE(status) ||
        database->scriptForCodepoint(c) != asText(uscript_getName(script), icuText)) {
      scriptDifferences.push_back(c);
    }
    UVersionInfo version;
    u_charAge(c, version);
    const std::optional<UnicodeString> age = database->versionCodepointWasDesignated(c);
    if (version[0] == 0 && version[1] == 0) {
      if (age) ageDifferences.push_back(c);
    } else if (!age || *age != qnunicode::fromUTF8(QNFormat("%d.%d", version[0], version[1]))) {
      ageDifferences.push_back(c);
    }
    const char* type = u_getPropertyValueName(UCHAR_HANGUL_SYLLABLE_TYPE,
                                              u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE),
                                              U_SHORT_PROPERTY_NAME);
    if (database->hangulSyllableTypeForCodepoint(c) != asText(type, icuText)) {
      typeDifferences.push_back(c);
    }
  }
  EXPECT_TRUE(blockDifferences.empty())
      << blockDifferences.size() << " codepoints, first U+" << std::hex << blockDifferences.front();
  EXPECT_TRUE(scriptDifferences.empty()) << scriptDifferences.size() << " codepoints";
  EXPECT_TRUE(ageDifferences.empty()) << ageDifferences.size() << " codepoints";
  EXPECT_TRUE(typeDifferences.empty()) << typeDifferences.size() << " codepoints";
  // No codepoint of the real files lies in two scripts, syllable types or versions.
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
  // The blocks of the file, counted through the lookups' own table.
  EXPECT_EQ(database->blocks()->size(), 327u);
}

TEST(QNUnicodeRangePropertiesReal, BinaryPropertiesAgreeWithICU) {
  const auto database = qnunicode::testing::realDatabase();
  struct Property {
    std::u16string_view name;
    UProperty icu;
    bool derived;
    size_t differences = 0, members = 0;
  };
  std::vector<Property> properties{
      {u"White_Space", UCHAR_WHITE_SPACE, false},
      {u"Noncharacter_Code_Point", UCHAR_NONCHARACTER_CODE_POINT, false},
      {u"Join_Control", UCHAR_JOIN_CONTROL, false},
      {u"Default_Ignorable_Code_Point", UCHAR_DEFAULT_IGNORABLE_CODE_POINT, true},
      {u"Alphabetic", UCHAR_ALPHABETIC, true}};
  size_t fastPathDifferences = 0;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const std::vector<UnicodeString> extended = database->extendedPropertiesForCodepoint(c);
    const std::vector<UnicodeString> derived = database->derivedCorePropertiesForCodepoint(c);
    for (Property& property : properties) {
      const auto& names = property.derived ? derived : extended;
      const bool ours = std::find(names.begin(), names.end(), property.name) != names.end();
      property.members += ours;
      if (ours != static_cast<bool>(u_hasBinaryProperty(c, property.icu))) ++property.differences;
      if (!property.derived && database->codepointHasExtendedProperty(c, property.name) != ours) {
        ++fastPathDifferences;
      }
    }
  }
  for (const Property& property : properties) {
    EXPECT_EQ(property.differences, 0u) << qnunicode::logText(property.name);
    EXPECT_GT(property.members, 0u) << qnunicode::logText(property.name);
  }
  EXPECT_EQ(fastPathDifferences, 0u);
}

TEST(QNUnicodeRangePropertiesReal, LineBreakClassesAgreeWithICUAndUnknownClassesAreXX) {
  // A database of its own, so that this test sees the file being read.
  const auto database = std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{qnunicode::testing::ucdDirectory()}, std::vector<std::string>{});
  LogCapture log;
  database->lineBreaks();
  std::set<std::string> logged;
  for (const std::string& line : log.lines()) {
    const std::string prefix = "no line break class '", suffix = "', returning XX";
    ASSERT_TRUE(line.starts_with(prefix) && line.ends_with(suffix)) << line;
    logged.insert(line.substr(prefix.size(), line.size() - prefix.size() - suffix.size()));
  }

  std::set<std::string> outsideTheTable;
  std::map<std::string, size_t> differences;
  for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
    const char* name = u_getPropertyValueName(
        UCHAR_LINE_BREAK, u_getIntPropertyValue(c, UCHAR_LINE_BREAK), U_SHORT_PROPERTY_NAME);
    ASSERT_NE(name, nullptr);
    const UnicodeString text = qnunicode::fromUTF8(name);
    const auto inTable = std::find(QNUnicode_LineBreakClass_Strings.begin(),
                                   QNUnicode_LineBreakClass_Strings.end(), text);
    uint32_t expected = 39;
    if (inTable == QNUnicode_LineBreakClass_Strings.end()) {
      outsideTheTable.insert(name);
    } else {
      expected = static_cast<uint32_t>(inTable - QNUnicode_LineBreakClass_Strings.begin());
    }
    if (database->lineBreakForCodepoint(c) != expected) ++differences[name];
  }
  EXPECT_TRUE(differences.empty()) << differences.begin()->first;
  EXPECT_EQ(outsideTheTable, (std::set<std::string>{"EB", "EM", "ZWJ"}));
  EXPECT_EQ(logged, outsideTheTable);
}

}  // namespace
