#include "qnunicode/properties/QNUnicodeSpecialCasing.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <fstream>
#include <map>
#include <sstream>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

namespace {

using Codepoints = std::vector<uint32_t>;

std::string describe(std::u16string_view line) {
  const auto record = QNUnicodeSpecialCasing::specialCasingWithString(line);
  if (!record) return "none";
  return qnunicode::toUTF8(record->description() + u" | " + record->lowercaseMapping() + u" | " +
                           record->titlecaseMapping() + u" | " + record->uppercaseMapping());
}

TEST(QNUnicodeSpecialCasingTest, LinesBecomeRecordsWithArraysMappingTextsAndConditions) {
  const std::pair<std::u16string_view, std::string> cases[] = {
      {u"00DF; 00DF; 0053 0073; 0053 0053; # LATIN SMALL LETTER SHARP S",
       "223; 223; 83 115; 83 83 | 00DF | 0053 0073 | 0053 0053"},
      // Six pieces: the fifth is the condition field, even when it holds a comment.
      {u"03A3; 03C2; 03A3; 03A3; Final_Sigma; # GREEK CAPITAL LETTER SIGMA",
       "931; 962; 931; 931; Final_Sigma | 03C2 | 03A3 | 03A3"},
      {u"0307; ; 0307; 0307; tr After_Soft_Dotted; # COMBINING DOT ABOVE",
       "775; ; 775; 775; tr After_Soft_Dotted | <remove> | 0307 | 0307"},
      {u"0041; 0061; 0041; 0041; # a; b", "65; 97; 65; 65; # a | 0061 | 0041 | 0041"},
      {u"0041; 0061; 0041; 0041;  ; # x", "65; 97; 65; 65 | 0061 | 0041 | 0041"},
      // Five pieces: a condition stands only before the comment's "#".
      {u"0041;0061;0041;0041;  Final_Sigma  # note",
       "65; 97; 65; 65; Final_Sigma | 0061 | 0041 | 0041"},
      {u"0041; 0061; 0041; 0041; tr\t\r", "65; 97; 65; 65; tr | 0061 | 0041 | 0041"},
      {u"0041; 0061; 0041; 0041;   # Final_Sigma", "65; 97; 65; 65 | 0061 | 0041 | 0041"},
      // Text outside the format ends a mapping's list at the first non-number.
      {u"0x41 junk; 00zz 0062; q; 0041 - 0042; ",
       "65; 0; ; 65 | 00zz 0062 | <remove> | 0041 - 0042"},
      {u"", "none"},
      {u"# 00DF; 00DF; 0053 0073; 0053 0053; # comment", "none"},
      {u"00DF; 00DF; 0053 0073; 0053 0053", "none"},
      {u"xyz; 0061; 0041; 0041; # no codepoint", "none"},
  };
  for (const auto& [line, expected] : cases)
    EXPECT_EQ(describe(line), expected) << qnunicode::toUTF8(line);

  const auto dot = QNUnicodeSpecialCasing::specialCasingWithString(u"0307; ; 0307; 0307 0308; tr;");
  EXPECT_TRUE(dot->lowercaseMappingArray().empty());
  EXPECT_EQ(dot->uppercaseMappingArray(), (Codepoints{0x307, 0x308}));
  EXPECT_EQ(dot->conditionList(), u"tr");
}

TEST(QNUnicodeSpecialCasingTest, ReaderKeepsEveryRecordOfACodepointInFileOrder) {
  ScratchDirectory scratch;
  scratch.write("SpecialCasing.txt",
                "# SpecialCasing-15.0.0.txt\r\n\r\ngarbage\r\n"
                "0049; 0069 0307; 0049; 0049; lt More_Above; # LATIN CAPITAL LETTER I\r\n"
                "00DF; 00DF; 0053 0073; 0053 0053; # LATIN SMALL LETTER SHARP S\r\n"
                "0049; 0131; 0049; 0049; tr; # LATIN CAPITAL LETTER I\r\n"
                "0049; 0131; 0049; 0049; az; # LATIN CAPITAL LETTER I");
  QNUnicodeDatabase database({scratch.path()}, {});
  LogCapture log;
  const auto i = database.specialCasingsForCodepoint(0x49);
  ASSERT_TRUE(i);
  ASSERT_EQ(i->size(), 3u);
  EXPECT_EQ((*i)[0]->conditionList(), u"lt More_Above");
  EXPECT_EQ((*i)[1]->conditionList(), u"tr");
  EXPECT_EQ((*i)[2]->conditionList(), u"az");
  EXPECT_EQ(database.specialCasingsForCodepoint(0xDF)->front()->uppercaseMapping(), u"0053 0053");
  EXPECT_FALSE(database.specialCasingsForCodepoint(0x41));
  EXPECT_EQ(database.specialCasings()->size(), 2u);
  EXPECT_TRUE(log.lines().empty());

  // A missing or ill-formed file is reported once and leaves the table empty.
  for (const bool invalidUTF8 : {false, true}) {
    ScratchDirectory other;
    if (invalidUTF8) other.write("SpecialCasing.txt", "00DF; 00DF; 0053 0073; 0053 0053;\xFF\n");
    QNUnicodeDatabase broken({other.path()}, {});
    auto delegate = std::make_shared<RecordingDelegate>();
    broken.setDelegate(delegate);
    EXPECT_FALSE(broken.specialCasingsForCodepoint(0xDF));
    EXPECT_TRUE(broken.specialCasings()->empty());
    EXPECT_EQ(delegate->prefixes, (std::vector<UnicodeString>{u"SpecialCasing"}));
  }
}

// An independent reading of a data line: code; lower; title; upper; (condition;)? # comment.
struct Expected {
  Codepoints lower, title, upper;
  std::string condition;
};

Codepoints hexList(const std::string& field) {
  std::istringstream stream(field);
  Codepoints codepoints;
  for (uint32_t codepoint; stream >> std::hex >> codepoint;) codepoints.push_back(codepoint);
  return codepoints;
}

TEST(QNUnicodeSpecialCasingRealDataTest, EveryLineBecomesARecord) {
  std::ifstream file(qnunicode::testing::ucdFile("SpecialCasing.txt"));
  std::map<uint32_t, std::vector<Expected>> expected;
  for (std::string line; std::getline(file, line);) {
    std::istringstream data(line.substr(0, line.find('#')));
    std::vector<std::string> fields;
    for (std::string field; std::getline(data, field, ';');) fields.push_back(field);
    if (fields.size() < 4) continue;
    std::istringstream condition(fields.size() > 4 ? fields[4] : "");
    std::string word, words;
    while (condition >> word) words += (words.empty() ? "" : " ") + word;
    expected[hexList(fields[0]).at(0)].push_back(
        {hexList(fields[1]), hexList(fields[2]), hexList(fields[3]), words});
  }
  ASSERT_GT(expected.size(), 100u);

  auto database = qnunicode::testing::realDatabase();
  EXPECT_EQ(database->specialCasings()->size(), expected.size());
  for (const auto& [code, records] : expected) {
    const auto actual = database->specialCasingsForCodepoint(code);
    ASSERT_TRUE(actual && actual->size() == records.size()) << std::hex << code;
    for (size_t k = 0; k < records.size(); ++k) {
      const QNUnicodeSpecialCasing& record = *(*actual)[k];
      const Expected& want = records[k];
      SCOPED_TRACE(qnunicode::toUTF8(record.description()));
      EXPECT_EQ(record.codeValue(), code);
      EXPECT_EQ(record.lowercaseMappingArray(), want.lower);
      EXPECT_EQ(record.titlecaseMappingArray(), want.title);
      EXPECT_EQ(record.uppercaseMappingArray(), want.upper);
      EXPECT_EQ(qnunicode::toUTF8(record.conditionList().value_or(u"")), want.condition);
      EXPECT_EQ(record.conditionList().has_value(), !want.condition.empty());
      EXPECT_EQ(record.lowercaseMapping() == u"<remove>", want.lower.empty());
    }
  }
}

}  // namespace
