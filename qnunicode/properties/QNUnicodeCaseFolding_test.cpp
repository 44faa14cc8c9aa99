#include "qnunicode/properties/QNUnicodeCaseFolding.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "qnunicode/properties/QNUnicodeSpecialCasing.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using Statuses = std::vector<UnicodeString>;
const Statuses kFull = {u"C", u"F"}, kSimple = {u"C", u"S"}, kTurkic = {u"T", u"C", u"S"};

const auto cp = QNUnicode::stringWithCodepoint;

TEST(QNUnicodeCaseFoldingTableTest, FirstListedStatusWinsAndTheWalkDropsTheUnitAfterALoneHigh) {
  QNUnicodeCaseFoldingTable table;
  table.setFolding(u"C", 0x1E9E, u"\u00DF");
  table.setFolding(u"F", 0x1E9E, u"ss");
  table.setFolding(u"T", 0x49, u"\u0131");
  table.setFolding(u"C", 0x49, u"x");
  table.setFolding(u"C", 0x49, u"i");                      // a later entry replaces the earlier
  table.setFolding(u"C", 0xDC00, u"low");                  // only a hostile file folds a surrogate
  table.setFolding(u"C", 0x110000, u"beyond");             // kept in the maps only
  table.setFolding(u"F", 0x5A, UnicodeString(300, u'z'));  // too long for a flat entry
  table.prepareLookups();
  EXPECT_EQ(table.foldingForCodepoint(0x110000, u"C"), u"beyond");
  // A short text whose result outgrows the room kept on the stack.
  EXPECT_EQ(table.foldString(u"ZI", kFull), UnicodeString(300, u'z') + u"i");
  EXPECT_EQ(table.foldString(u"I\u1E9E", {u"F", u"C"}), u"iss");
  EXPECT_EQ(table.foldString(u"I\u1E9E", {u"Nope", u"T"}), u"\u0131\u1E9E");
  Statuses longList(9, u"F");  // more known statuses than the room kept on the stack
  longList.push_back(u"T");
  EXPECT_EQ(table.foldString(u"I\u1E9E", longList), u"\u0131ss");
  for (const Statuses& statuses : {kFull, Statuses{u"C", u"T"}}) {
    EXPECT_EQ(table.foldString(u"I\xD800II\xDC00I\xD800", statuses), u"i\xD800ilowi\xD800");
  }
}

TEST(QNUnicodeCaseFoldingTest, ReaderStoresGoodLinesLogsBadMappingsTwiceAndFoldsThroughTheShared) {
  ScratchDirectory scratch, nothing;
  scratch.write("CaseFolding-15.0.0.txt",
                "# 0042; C; 0062; comment lines are never data\n\nstray text\n0043 C 0063\n"
                "0044;; 0064;\n00DF; F; 0073 0073; # LATIN SMALL LETTER SHARP S\r\n"
                "0130; T; 0069;\n0130; F; 0069 0307;\n  0x0045 ;  C  ;  0065  ;\n"
                "0041; C; 0061\n0041; C; 0062 zz;\n0041; C; ;\n0041; C; 0065\r\n"
                "0041; C; 0078; 0079\n0042; C; 123456789;");
  const auto database = std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{scratch.path()}, std::vector<std::string>{});
  const auto previous = QNUnicodeDatabase::sharedDatabase();
  QNUnicodeDatabase::setSharedDatabase(database);
  LogCapture log;
  const auto table = database->caseFolding();
  const std::string parse = "could not parse CaseFolding line: ";
  const std::string empty = "parsed empty CaseFolding mapping from line: ";
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{parse + "0041; C; 0061", empty + "0041; C; 0061",
                                      parse + "0041; C; 0062 zz;", empty + "0041; C; 0062 zz;",
                                      empty + "0041; C; ;", parse + "0041; C; 0065\r",
                                      empty + "0041; C; 0065\r"}));
  EXPECT_EQ(table->mappings().size(), 4u);  // C, F, T and "C  " with its blanks
  EXPECT_EQ(table->foldingForCodepoint(0x45, u"C  "), u"e");
  EXPECT_EQ(table->foldingForCodepoint(0x42, u"C"), cp(0xFFFFFFFF));  // saturated, then masked
  // Any database folds with the shared one's table; without a shared one nothing is folded.
  QNUnicodeDatabase receiver({nothing.path()}, {});
  EXPECT_EQ(receiver.fullCaseFoldingForString(u"A\u00DF\u0130"), u"xss\u0069\u0307");
  EXPECT_EQ(receiver.caseFoldingForString(u"A\u00DF\u0130", kTurkic), u"x\u00DFi");
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_EQ(database->fullCaseFoldingForString(u"A\xD800\x41"), u"A\xD800\x41");
  QNUnicodeDatabase::setSharedDatabase(previous);
  EXPECT_EQ(log.lines().size(), 7u);
}

UnicodeString icuFullFolding(const UnicodeString& text) {
  std::vector<UChar> buffer(text.size() * 3 + 8);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length =
      u_strFoldCase(buffer.data(), static_cast<int32_t>(buffer.size()), text.data(),
                    static_cast<int32_t>(text.size()), U_FOLD_CASE_DEFAULT, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return UnicodeString(buffer.data(), static_cast<size_t>(length));
}

TEST(QNUnicodeCaseFoldingRealDataTest, EveryCodepointFoldsAsICUDoes) {
  const auto database = qnunicode::testing::realDatabase();
  LogCapture log;
  std::vector<uint32_t> turkicDifferences;
  UnicodeString everything;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const UnicodeString text = cp(c);
    ASSERT_EQ(database->fullCaseFoldingForString(text), icuFullFolding(text)) << std::hex << c;
    const UnicodeString simple = database->caseFoldingForString(text, kSimple);
    ASSERT_EQ(simple, cp(u_foldCase(c, U_FOLD_CASE_DEFAULT))) << std::hex << c;
    const UnicodeString turkic = database->caseFoldingForString(text, kTurkic);
    ASSERT_EQ(turkic, cp(u_foldCase(c, U_FOLD_CASE_EXCLUDE_SPECIAL_I))) << std::hex << c;
    if (turkic != simple) turkicDifferences.push_back(c);
    if ((c & 0xFFFFF800) != 0xD800) everything += text;
  }
  EXPECT_EQ(turkicDifferences, (std::vector<uint32_t>{0x49, 0x130}));
  // One long text, whose result outgrows its first room many times.
  EXPECT_EQ(database->fullCaseFoldingForString(everything), icuFullFolding(everything));
  EXPECT_TRUE(log.lines().empty());
}

// A special casing as its description (decimal arrays and condition), then its mapping texts.
std::string summary(const std::shared_ptr<const QNUnicodeSpecialCasing>& record) {
  if (!record) return "none";
  return qnunicode::toUTF8(record->description() + u" | " + record->lowercaseMapping() + u" | " +
                           record->titlecaseMapping() + u" | " + record->uppercaseMapping());
}

TEST(QNUnicodeSpecialCasingTest, LinesBecomeRecordsWithArraysMappingTextsAndConditions) {
  const std::pair<std::u16string_view, std::string_view> cases[] = {
      // Six pieces: the fifth is the condition field, even when it holds a comment.
      {u"0041; 0061; 0041; 0041; # a; b", "65; 97; 65; 65; # a | 0061 | 0041 | 0041"},
      // Five pieces: a condition stands only before the comment's "#".
      {u"0041;0061;0041;0041;  Final_Sigma\t\r # note",
       "65; 97; 65; 65; Final_Sigma | 0061 | 0041 | 0041"},
      // Text outside the format ends a mapping's list at the first non-number.
      {u"0x41 junk; 00zz 0062; q; 0041 - 0042; ",
       "65; 0; ; 65 | 00zz 0062 | <remove> | 0041 - 0042"},
      {u"00DF; 00DF; 0053 0073; 0053 0053", "none"},
      {u"xyz; 0061; 0041; 0041; # no codepoint", "none"}};
  for (const auto& [line, expected] : cases) {
    EXPECT_EQ(summary(QNUnicodeSpecialCasing::specialCasingWithString(line)), expected)
        << qnunicode::toUTF8(line);
  }
}

TEST(QNUnicodeCasingTest, MissingOrIllFormedFilesAreReportedOnceAndLeaveEmptyTables) {
  for (const bool invalidUTF8 : {false, true}) {
    ScratchDirectory scratch;
    if (invalidUTF8) {
      scratch.write("CaseFolding.txt", "0041; C; 0061;\xC0\n");
      scratch.write("SpecialCasing.txt", "00DF; 00DF; 0053 0073; 0053 0053;\xFF\n");
    }
    QNUnicodeDatabase database({scratch.path()}, {});
    auto delegate = std::make_shared<qnunicode::testing::RecordingDelegate>();
    database.setDelegate(delegate);
    for (int access = 0; access < 2; ++access) {
      EXPECT_TRUE(database.caseFolding()->empty());
      EXPECT_FALSE(database.specialCasingsForCodepoint(0xDF));
    }
    EXPECT_EQ(delegate->prefixes, (Statuses{u"CaseFolding", u"SpecialCasing"}));
  }
}

// The hexadecimal numbers of a mapping field in decimal, joined by blanks.
std::string decimal(const std::string& field) {
  std::istringstream numbers(field);
  std::string result;
  for (uint32_t number; numbers >> std::hex >> number;) {
    result += (result.empty() ? "" : " ") + std::to_string(number);
  }
  return result;
}

TEST(QNUnicodeSpecialCasingRealDataTest, EveryLineBecomesARecord) {
  // An independent reading of each data line: code; lower; title; upper; (condition;)? # comment.
  const std::regex dataLine(
      R"(^([0-9A-F]+); ([0-9A-F ]*); ([0-9A-F ]*); ([0-9A-F ]*); (?:([^#;]+); )?#)");
  std::ifstream file(qnunicode::testing::ucdFile("SpecialCasing.txt"));
  std::map<uint32_t, std::vector<std::string>> expected;
  std::smatch fields;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    ASSERT_TRUE(std::regex_search(line, fields, dataLine)) << line;
    std::string description = decimal(fields[1]), texts;
    for (int k = 2; k <= 4; ++k) {
      description += "; " + decimal(fields[k]);
      texts += " | " + (fields[k].length() ? fields[k].str() : "<remove>");
    }
    if (fields[5].matched) description += "; " + fields[5].str();
    expected[std::stoul(fields[1], nullptr, 16)].push_back(description + texts);
  }
  ASSERT_GT(expected.size(), 100u);
  const auto database = qnunicode::testing::realDatabase();
  EXPECT_EQ(database->specialCasings()->size(), expected.size());
  for (const auto& [code, records] : expected) {
    std::vector<std::string> actual;
    for (const auto& record :
         database->specialCasingsForCodepoint(code).value_or(QNUnicodeSpecialCasingList{})) {
      actual.push_back(summary(record));
    }
    EXPECT_EQ(actual, records) << std::hex << code;
  }
}

}  // namespace
