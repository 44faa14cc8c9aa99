#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeBlockTable.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodePropertyMatching.h"
#include "qnunicode/properties/QNUnicodePropertyTable.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/NotFound.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"
#include "qnunicode/util/QNUnicodePrefixTree.h"

namespace {

using qnunicode::QNScanner;
using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using Lines = std::vector<std::string>;

std::string lineBreakName(QNUnicodeDatabase& database, uint32_t codepoint) {
  return qnunicode::logText(
      QNUnicode_StringForLineBreakClass(database.lineBreakForCodepoint(codepoint)));
}

TEST(QNUnicodeRangeProperties, ReadersKeepTheirQuirksAndLogBadLinesAndSeveralAnswers) {
  ScratchDirectory data;
  data.write("Blocks.txt",
             "# Blocks-15.0.0.txt\n\n0100..017F;  Ext-A\n0180..024F;B\r\n"
             "00A0; Inner\n"  // no "..": the last codepoint of the line before (024F) stays
             "0250..02AF; IPA\n0250..02AF; IPA 2\n"  // the same range replaces the name
             "   0300 .. 036F ; Marks\nnot a data line; Nothing\n0400..0380; Wrapped\n");
  data.write("PropList.txt",
             "# PropList-15.0.0.txt\n0041..005A    ; Upper # comment\n00AA ; Lower\n"
             "0041 ; # only a comment\n0042 Upper # no semicolon\n0043 ;\n"
             "0061..007A ; Upper   # a name seen before adds to its set\n"
             "  0062 ; Lower # leading blanks are passed over\n00B5 ; Micro\r\n"
             "00C0.. ; Odd # '..' without a last codepoint\n00D0..00C8 ; Reversed # nothing\n");
  data.write("Scripts.txt", "0041..005A ; Latin # L&\n0045 ; Greek\nABCD ; Greek\nABCD ; Cherokee");
  data.write("HangulSyllableType.txt", "1100..115F ; L # jamo\n1100 ; LV\n");
  // "10.0" sorts before "2.0": the last name in map order is not the highest version.
  data.write("DerivedAge.txt", "0041 ; 2.0 # A\n0041..0042 ; 10.0\n");
  QNUnicodeDatabase database({data.path()}, {});
  LogCapture log;
  const QNUnicodeBlockTable::Map blocks{
      {{0xA0, 0x1B0}, u"Inner"}, {{0x100, 0x80}, u" Ext-A"}, {{0x180, 0xD0}, u"B\r"},
      {{0x250, 0x60}, u"IPA 2"}, {{0x300, 0x70}, u"Marks"},  {{0x400, 0xFFFFFF81}, u"Wrapped"}};
  EXPECT_EQ(database.blocks()->entries(), blocks);
  // The range from 00A0 comes before the one from 0100 in map order.
  EXPECT_EQ(database.characterBlockForCodepoint(0x100), u"Inner");
  EXPECT_EQ(database.blockForCodepoint(0x3FF), u"No_Block");
  EXPECT_EQ(database.blockForCodepoint(0xFFFFFFFF), u"Wrapped");  // reversed: up to the top
  QNUnicodePropertyTable::Map sets{
      {u"Lower", {0xAA, 0x62}}, {u"Micro", {0xB5}}, {u"Odd", {0xC0}}, {u"Reversed", {}}};
  sets[u"Upper"].addRange(0x41, 0x5A);
  sets[u"Upper"].addRange(0x61, 0x7A);
  EXPECT_EQ(database.extendedProperties()->sets(), sets);
  EXPECT_EQ(database.scriptForCodepoint(0x45), u"Greek");
  EXPECT_EQ(database.scriptForCodepoint(0xABCD), u"Cherokee");
  EXPECT_EQ(database.hangulSyllableTypeForCodepoint(0x1100), u"L");
  EXPECT_EQ(database.versionCodepointWasDesignated(0x42), u"10.0");
  EXPECT_EQ(database.versionCodepointWasDesignated(0x41), u"2.0");
  const std::string failed = "UnicodeDatabase -readPropListOrScriptsFile:: failed: ";
  EXPECT_EQ(log.lines(),
            (Lines{failed + "'#' not found in line:", "0041 ; # only a comment",
                   failed + "';' not scanned in line:", "0042 Upper # no semicolon",
                   failed + "'#' not found in line:", "0043 ;",
                   "WARNING: got 2 scripts for codepoint U+0045",
                   "WARNING: got 2 scripts for codepoint U+abcd",
                   "WARNING: got 2 hangul syllable types for codepoint U+1100",
                   "Codepoint designated in more than one version - using last version"}));
}

TEST(QNUnicodeRangeProperties, MissingBlocksAndLineBreakAreReportedOnceTheOthersOnEveryAccess) {
  ScratchDirectory data;
  data.write("Blocks.txt", "0000..007F; Basic Latin \xFF\xFE\n");  // not UTF-8: as if missing
  QNUnicodeDatabase database({data.path()}, {});
  LogCapture log;
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(database.blockForCodepoint(0x41), u"No_Block");
    for (uint32_t c : {0x41u, 0xFFFFFFFFu}) EXPECT_EQ(database.lineBreakForCodepoint(c), 39u);
    EXPECT_EQ(database.scriptForCodepoint(0x41), u"Unknown");
    EXPECT_EQ(database.hangulSyllableTypeForCodepoint(0xAC00), u"NA");
    EXPECT_EQ(database.versionCodepointWasDesignated(0x41), std::nullopt);
    EXPECT_FALSE(database.codepointHasExtendedProperty(0x20, u"White_Space"));
    EXPECT_TRUE(database.derivedCorePropertiesForCodepoint(0x41).empty());
  }
  EXPECT_EQ(database.readPropListOrScriptsFile(u"some/folder/DerivedAge"), nullptr);
  Lines expected;
  for (const char* name : {"Blocks", "LineBreak", "Scripts", "HangulSyllableType", "DerivedAge",
                           "PropList", "DerivedCoreProperties", "Scripts", "HangulSyllableType",
                           "DerivedAge", "PropList", "DerivedCoreProperties", "DerivedAge"}) {
    expected.push_back(QNFormat("QNUnicodeDatabase could not find file '%s'", name));
  }
  EXPECT_EQ(log.lines(), expected);
  // A file that turns up later is read.
  data.write("DerivedAge.txt", "0041 ; 1.1\n");
  EXPECT_EQ(database.versionCodepointWasDesignated(0x41), u"1.1");
  EXPECT_EQ(log.lines().size(), expected.size());
}

TEST(QNUnicodeRangeProperties, LineBreakReaderScansTheWholeTextWithoutSkipping) {
  ScratchDirectory data;
  data.write("LineBreak.txt",
             "# LineBreak-15.0.0.txt\n\n0041..0043;AL # letters\n"
             " 0044;AL # a leading blank makes this no data line\n"
             "0030 # no semicolon: the search runs on into the next line\n"
             "0031;NU # this line was taken by the one above\n0032;# nothing between\n"
             "0033;cm # lower case\n0034..0035;QU# quotes\n0036..;NU # no last codepoint\n"
             "0038;BA\n0039;NU # the class text of the line above runs up to here\n"
             "00D0 # last line without a semicolon");
  QNUnicodeDatabase database({data.path()}, {});
  LogCapture log;
  // Keys above the last codepoint go to the tree, which reads their low 21 bits only.
  std::string classes;
  for (uint32_t c : {0x41, 0x43, 0x44, 0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39,
                     0xD0, 0x200041, 0x110000}) {
    classes += lineBreakName(database, c) + " ";
  }
  EXPECT_EQ(classes, "AL AL XX NU XX XX XX QU QU NU XX XX XX XX AL XX ");
  // Without a comment the class text runs to the end of the text, and is trimmed.
  data.write("LineBreak.txt", "0041;AL # a\n00C1 ; ID \n");
  QNUnicodeDatabase trimmed({data.path()}, {});
  EXPECT_EQ(lineBreakName(trimmed, 0xC1), "ID");
  // A range up to the largest key ends at once and collapses the whole tree; a later line below
  // the collapsed root does not expand it again, so the keys around it lose their class.
  data.write("LineBreak.txt", "0000..FFFFFFFF;BA # every key\n0041;AL # set afterwards\n");
  QNUnicodeDatabase later({data.path()}, {});
  EXPECT_EQ(lineBreakName(later, 0x41) + lineBreakName(later, 0x40), "ALXX");
  // Numbers outside the table log and answer XX.
  EXPECT_EQ(QNUnicode_StringForLineBreakClass(40), u"XX");
  EXPECT_EQ(QNUnicode_StringForLineBreakClass(0xFFFFFFFF), u"XX");
  EXPECT_EQ(log.lines(),
            (Lines{"UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:",
                   "no line break class 'cm', returning XX",
                   "no line break class 'BA\n0039;NU', returning XX",
                   "UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:",
                   "invalid line break class index '40', returning XX",
                   "invalid line break class index '4294967295', returning XX"}));
}

// ---- The readers as described, over the decoded text with the UTF-16 scanner -----------------
// The database reads the files' bytes directly and keeps its own structures; these plain readers
// say what it must answer.

void logWithLine(const char* message, std::u16string_view line) {
  QNLog(message);
  QNLog(qnunicode::toUTF8(line));
}

std::optional<QNUnicodePropertyTable::Map> describedPropList(const std::string& path) {
  const std::optional<UnicodeString> text = QNUnicode::stringWithContentsOfUTF8File(path);
  if (!text) return std::nullopt;
  QNUnicodePropertyTable::Map sets;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    QNScanner scanner(line);
    uint32_t first, last;
    if (!scanner.scanHexInt(&first)) continue;
    if (!scanner.scanString(u"..") || !scanner.scanHexInt(&last)) last = first;
    scanner.scanUpToString(u";");
    if (!scanner.scanString(u";")) {
      logWithLine("UnicodeDatabase -readPropListOrScriptsFile:: failed: ';' not scanned in line:",
                  line);
      continue;
    }
    UnicodeString name;
    if (!scanner.scanUpToString(u"#", &name)) {
      logWithLine("UnicodeDatabase -readPropListOrScriptsFile:: failed: '#' not found in line:",
                  line);
      continue;
    }
    sets[QNUnicode::trimmedString(name)].addRange(first, last);
  }
  return sets;
}

// Sets every key of every range one by one, in file order.
std::unique_ptr<QNUnicodePrefixTree> describedLineBreaks(const std::string& path) {
  auto tree = std::make_unique<QNUnicodePrefixTree>(3, 0x10FFFF);
  const std::optional<UnicodeString> text = QNUnicode::stringWithContentsOfUTF8File(path);
  if (!text) return tree;
  QNScanner scanner(*text, QNScanner::Skip::Nothing);
  while (!scanner.isAtEnd()) {
    uint32_t first, last;
    UnicodeString name;
    if (scanner.scanHexInt(&first)) {
      if (!scanner.scanString(u"..") || !scanner.scanHexInt(&last)) last = first;
      scanner.scanUpToString(u";");
      if (!scanner.scanString(u";")) {
        QNLog("UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:");
      } else if (!scanner.scanUpToString(u"#", &name)) {
        QNLog("UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:");
      } else {
        const uint32_t lineBreakClass =
            QNUnicode_LineBreakClassForString(QNUnicode::trimmedString(name));
        for (uint64_t key = first; key <= last; ++key) tree->setValue(lineBreakClass, key);
      }
    }
    scanner.scanUpToString(u"\n");
    scanner.scanString(u"\n");
  }
  return tree;
}

uint32_t describedLineBreak(const QNUnicodePrefixTree& tree, uint32_t key) {
  const int64_t value = tree.valueForUnsignedIntegerKey(key);
  return value == NotFound ? 39 : static_cast<uint32_t>(value);
}

// Reads LineBreak.txt of the directory through the database and through the described reader:
// the same log lines, the same class for every key the tree tells apart (the low 21 bits), and
// the same tree when the database is asked for it.
void expectLineBreaksAsDescribed(const std::string& directory) {
  LogCapture log;
  QNUnicodeDatabase database({directory}, {});
  database.lineBreakForCodepoint(0);
  const std::vector<std::string> logged = log.lines();
  log.clear();
  const auto described = describedLineBreaks(directory + "/LineBreak.txt");
  EXPECT_EQ(logged, log.lines());
  for (uint32_t key = 0; key < (1u << 21); ++key) {
    ASSERT_EQ(database.lineBreakForCodepoint(key), describedLineBreak(*described, key))
        << std::hex << key;
  }
  for (uint32_t key : {0x200041u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(database.lineBreakForCodepoint(key), describedLineBreak(*described, key));
  }
  const auto tree = database.lineBreaks();
  EXPECT_EQ(tree->description(), described->description());
  EXPECT_EQ(tree->nodeCount(), described->nodeCount());
  EXPECT_EQ(database.lineBreaks(), tree);  // made once
}

// The names a walk over the sets finds, against the table's index, at every place where some
// set begins or ends and on either side of it.
void expectIndexAnswersAsTheSets(const QNUnicodePropertyTable& table) {
  std::set<uint32_t> places{0, 0xFFFFFFFF};
  for (const auto& [name, set] : table) {
    for (const CodepointSet::Range& range : set.ranges()) {
      for (uint32_t place : {range.first - 1, range.first, range.last, range.last + 1}) {
        places.insert(place);
      }
    }
  }
  for (uint32_t c : places) {
    std::vector<UnicodeString> walked;
    for (const auto& [name, set] : table) {
      if (set.contains(c)) walked.push_back(name);
    }
    ASSERT_EQ(table.namesForCodepoint(c), walked) << std::hex << c;
    const QNUnicodePropertyTable::Matches matches = table.matchesForCodepoint(c);
    ASSERT_EQ(matches.count, walked.size());
    if (!walked.empty()) {
      ASSERT_EQ(*matches.first, walked.front());
      ASSERT_EQ(*matches.last, walked.back());
    }
  }
}

TEST(QNUnicodeRangeProperties, BytesBeyondASCIIAreReadAsTheirCharactersAre) {
  // White space of every width around numbers and names, names and class texts beyond ASCII,
  // CR LF line ends, bad lines.
  ScratchDirectory data;
  data.write("PropList.txt",
             "# PropList \xC2\xA9\n\xC2\xA0"
             "0041..0043\xE3\x80\x80;\xC2\x85Upper\xE2\x80\xA8# x\r\n"
             "0044 ; \xC3\x9C"
             "ber \xE2\x80\x8B# a name ending in a zero width space\n"
             "\xE1\x9A\x80"
             "0045;\tUpper\r\n\xE2\x80\x8B"
             "0046 ; Upper # not a data line\n"
             "0047 \xE2\x81\x9F;\xE2\x81\x9F# \xC3\xA9 nothing but white space\n"
             "0048 \xC3\xA9 no semicolon\n0049..004A;\xC3\x9C"
             "ber");
  data.write(
      "LineBreak.txt",
      "# LineBreak \xC2\xA9\n0041..0043;\xE3\x80\x80"
      "AL\xC2\xA0# letters\n"
      "0044;\xC3\x84L # beyond ASCII\n0045;  BA #\r\n0046..0048;\xE2\x80\xA8NU\xE2\x80\xA9#\n"
      "0050 \xC3\xA9 no semicolon\n0060;ID # taken by the line above\n"
      "00C0..00C3;#\n110000..11000F;ID # beyond the last codepoint\n1FFFF0..1FFFFF;AL\n");
  LogCapture log;
  QNUnicodeDatabase database({data.path()}, {});
  const auto table = database.extendedProperties();
  const std::vector<std::string> logged = log.lines();
  log.clear();
  EXPECT_EQ(table->sets(), describedPropList(data.path() + "/PropList.txt"));
  EXPECT_EQ(logged, log.lines());
  EXPECT_EQ(table->sets().size(), 3u);
  expectIndexAnswersAsTheSets(*table);
  expectLineBreaksAsDescribed(data.path());
  EXPECT_EQ(lineBreakName(database, 0x41) + lineBreakName(database, 0x47), "ALNU");
  // Keys above the tree's 21 bits stand for their low bits; keys set again or out of order meet
  // the tree's collapsing.
  for (const char* text :
       {"0000..0007;AL#\n0003;BA#\n", "0010..001F;AL#\n0008..000F;AL#\n0000..0007;BA#\n",
        "0041;AL#\n0041;AL#\n", "1FFFFE..200001;BA#\n0001;AL#\n",
        "200000..200007;AL#\n0000..0007;BA#\n0008;CM#\n", "0100..0200;AL#\n0180;BA#\n",
        "0041;AL#\n200050..200051;BA#\nFFFFFFF0..FFFFFFFF;CM#\n"}) {
    data.write("LineBreak.txt", text);
    expectLineBreaksAsDescribed(data.path());
  }
}

TEST(QNUnicodeRangePropertiesReal, TablesHoldWhatTheDescribedReadersRead) {
  const std::string directory = qnunicode::testing::ucdDirectory();
  QNUnicodeDatabase database({directory}, {});
  for (const char* name :
       {"PropList", "DerivedCoreProperties", "Scripts", "DerivedAge", "HangulSyllableType"}) {
    const auto table = database.readPropListOrScriptsFile(qnunicode::fromUTF8(name));
    ASSERT_TRUE(table) << name;
    const auto described =
        describedPropList(qnunicode::testing::ucdFile(std::string(name) + ".txt"));
    ASSERT_TRUE(described) << name;
    EXPECT_GT(described->size(), 1u) << name;
    EXPECT_EQ(table->sets(), *described) << name;
    expectIndexAnswersAsTheSets(*table);
  }
  expectLineBreaksAsDescribed(directory);
}

UnicodeString icuName(UProperty property, uint32_t c, UPropertyNameChoice choice) {
  return qnunicode::fromUTF8(
      u_getPropertyValueName(property, u_getIntPropertyValue(c, property), choice));
}

TEST(QNUnicodeRangePropertiesReal, EveryCodepointAgreesWithICU) {
  // A database of its own, so that the log shows everything its readers and lookups report.
  QNUnicodeDatabase database({qnunicode::testing::ucdDirectory()}, {});
  LogCapture log;
  const std::tuple<std::u16string_view, UProperty, bool> binary[] = {
      {u"White_Space", UCHAR_WHITE_SPACE, false},
      {u"Noncharacter_Code_Point", UCHAR_NONCHARACTER_CODE_POINT, false},
      {u"Join_Control", UCHAR_JOIN_CONTROL, false},
      {u"Default_Ignorable_Code_Point", UCHAR_DEFAULT_IGNORABLE_CODE_POINT, true},
      {u"Alphabetic", UCHAR_ALPHABETIC, true}};
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    ASSERT_TRUE(QNUnicode::isEqualToUnicodePropertyString(
        database.blockForCodepoint(c), icuName(UCHAR_BLOCK, c, U_LONG_PROPERTY_NAME)))
        << std::hex << c;
    ASSERT_EQ(database.scriptForCodepoint(c), icuName(UCHAR_SCRIPT, c, U_LONG_PROPERTY_NAME))
        << std::hex << c;
    ASSERT_EQ(database.hangulSyllableTypeForCodepoint(c),
              icuName(UCHAR_HANGUL_SYLLABLE_TYPE, c, U_SHORT_PROPERTY_NAME))
        << std::hex << c;
    UVersionInfo age;
    u_charAge(c, age);
    ASSERT_EQ(database.versionCodepointWasDesignated(c),
              age[0] ? std::optional(qnunicode::fromUTF8(QNFormat("%d.%d", age[0], age[1])))
                     : std::nullopt)
        << std::hex << c;
    // EB, EM and ZWJ, ICU's last classes, are outside the table and answer 39, XX.
    const int32_t lineBreak = u_getIntPropertyValue(c, UCHAR_LINE_BREAK);
    ASSERT_EQ(lineBreakName(database, c),
              lineBreak >= U_LB_E_BASE
                  ? "XX"
                  : u_getPropertyValueName(UCHAR_LINE_BREAK, lineBreak, U_SHORT_PROPERTY_NAME))
        << std::hex << c;
    const auto extended = database.extendedPropertiesForCodepoint(c);
    const auto derived = database.derivedCorePropertiesForCodepoint(c);
    for (const auto& [name, icuProperty, isDerived] : binary) {
      const auto& names = isDerived ? derived : extended;
      const bool listed = std::find(names.begin(), names.end(), name) != names.end();
      ASSERT_EQ(listed, static_cast<bool>(u_hasBinaryProperty(c, icuProperty)))
          << qnunicode::logText(name) << std::hex << c;
      ASSERT_TRUE(isDerived || database.codepointHasExtendedProperty(c, name) == listed);
    }
  }
  // The classes outside the table are logged as the file is read, and nothing else is: no
  // codepoint of the real files lies in two scripts, syllable types or versions.
  EXPECT_EQ(std::set<std::string>(log.lines().begin(), log.lines().end()),
            (std::set<std::string>{"no line break class 'EB', returning XX",
                                   "no line break class 'EM', returning XX",
                                   "no line break class 'ZWJ', returning XX"}));
}

}  // namespace
