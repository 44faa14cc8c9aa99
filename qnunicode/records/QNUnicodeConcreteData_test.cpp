#include "qnunicode/records/QNUnicodeConcreteData.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

#include "qnunicode/testing/QNTestSupport.h"

namespace {
using qnunicode::testing::LogCapture;
using Lines = std::vector<std::string>;
const std::string kUnexpectedMirrored = "Unexpected mirrored value in UnicodeData.txt (ignoring)";

// Parses from an exactly sized copy, so that a read past the sentinel is a read past the buffer.
std::optional<QNUnicodeConcreteData> parse(std::string_view bytes, size_t* bytesRead = nullptr) {
  std::vector<char> copy(bytes.begin(), bytes.end());
  return QNUnicodeConcreteData::parseBytes(copy.data(), copy.data() + copy.size(), bytesRead);
}
QNUnicodeConcreteData parseLine(std::string_view line) {
  return parse(line).value();  // throws when the line does not parse
}
// "Numeric -0.500000" (a float), "Decimal 7" (an integer), "None none".
std::string numeric(const QNUnicodeData& record) {
  const auto value = record.numericValue();
  const std::string type = qnunicode::toUTF8(QNUnicode_StringForNumericType(record.numericType()));
  if (!value) return type + " none";
  if (const float* real = std::get_if<float>(&*value)) return type + QNFormat(" %f", *real);
  return type + QNFormat(" %lld", static_cast<long long>(std::get<int64_t>(*value)));
}
// "canonical: 41 300", "compatibility:" (no codepoint), "none" (no array).
std::string decomposition(const QNUnicodeData& record) {
  std::string text = record.canonicalMapping()       ? "canonical"
                     : record.compatibilityMapping() ? "compatibility"
                                                     : "none";
  const auto mapping = record.characterDecompositionMappingArray();
  if (mapping) text += ":";
  for (const uint32_t c : mapping.value_or(std::span<const uint32_t>())) text += QNFormat(" %X", c);
  return text;
}

// Raw fields in the description; a copy has no absent field, and is canonical only with codepoints.
TEST(ConcreteDataBytes, TheDescriptionAndCopies) {
  EXPECT_EQ(
      parseLine("00BD;ONE HALF;No;0;ON;<f> 0031 2044 0032;;;1/2;Y;HALF;c;U;L;T\n").description(),
      u"CodeValue: 189, CharacterName: ONE HALF, GeneralCategory: No, CanonicalCombiningClass: 0, "
      u"BidirectionalCategory: ON, CharacterDecompositionMapping: <f> 0031 2044 0032, "
      u"NumericValue: 1/2, Mirrored: yes, Unicode1Name: HALF, CommentField: c, UppercaseMapping: "
      u"U, LowercaseMapping: L, TitlecaseMapping: T");
  // Name, categories and Unicode 1.0 name are kept when empty, the rest only when filled.
  EXPECT_EQ(parseLine("0041;;;0;;;;;;N;;;;;\n").description(),
            u"CodeValue: 65, CharacterName: , GeneralCategory: , CanonicalCombiningClass: 0, "
            u"BidirectionalCategory: , CharacterDecompositionMapping: (null), NumericValue: "
            u"(null), Mirrored: no, Unicode1Name: , CommentField: (null), UppercaseMapping: "
            u"(null), LowercaseMapping: (null), TitlecaseMapping: (null)");
  const auto copied = parseLine("00BD;;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;;;;;\n").copy();
  EXPECT_EQ(decomposition(*copied) + " " + numeric(*copied),
            "compatibility: 31 2044 32 Numeric 0.500000");
  EXPECT_EQ(qnunicode::toUTF8(copied->description()).find("(null)"), std::string::npos);
  const auto scanned = QNUnicodeConcreteData::unicodeDataWithString(u"0041;A;Lu;0;L;;;;;N;;;;;");
  EXPECT_EQ(decomposition(*scanned) + " / " + decomposition(QNUnicodeConcreteData(*scanned)),
            "canonical: / none:");
}

// Numeric types and values, fractions, the mirrored field's first byte, the titlecase fallback.
TEST(ConcreteDataBytes, FieldRulesAndTheirLogLines) {
  LogCapture log;
  std::string answers;
  for (const char* fields : {"-12;5;99", " 12345678901;1;1", "x;1;1", ";2;2", "1;;-1/2", "7;7;"}) {
    answers += numeric(parseLine(std::string("00B2;X;No;0;EN;;") + fields + ";N;;;;;\n")) + ", ";
  }
  for (const char16_t* text :
       {u"-3/4", u"1000000000000", u"", u"1/0", u"1/2/3", u"x/4", u"3/-4", u" 3"}) {
    answers += QNFormat("%.12g ", numberFromNumericValueString(text));
  }
  EXPECT_EQ(numberFromNumericValueString(std::nullopt), 0.0f);
  for (const char* field : {"Y", "Yes", "N", "", "X", "y"}) {
    const std::string line = std::string("0028;P;Ps;0;ON;;;;;") + field + ";;;;;\n";
    answers += parseLine(line).mirrored() ? "Y" : "N";
  }
  answers += qnunicode::toUTF8(parseLine("01F1A;X;Ll;0;L;;;;;N;;;0041;;\n").titlecaseMapping());
  EXPECT_EQ(answers,
            "Decimal -12, Decimal 12345678901, Decimal 0, Digit 2, Numeric -0.500000, None none, "
            "-0.75 999999995904 0 inf 0.5 0 3 0 YYNNNN0041");
  EXPECT_EQ(
      log.lines(),
      (Lines{"more than two fractional components in '1/2/3'",
             "nominator of 'x/4' contained non-digit", "denominator of '3/-4' contained non-digit",
             "nominator of ' 3' contained non-digit", "no fractional components in '(null)'",
             kUnexpectedMirrored, kUnexpectedMirrored, kUnexpectedMirrored,
             "Info: Simple_Titlecase_Mapping is empty but Simple_Uppercase_Mapping is not "
             "for U+1f1a"}));
}

TEST(ConcreteDataBytes, MalformedLines) {
  LogCapture log;
  for (const char* data : {"0041;A;Lu;0;L;;;;;N;;;", "0041", ";;;;;;;;", "\n"}) {
    size_t bytesRead = 0xDEAD;
    EXPECT_FALSE(parse(data, &bytesRead)) << data;
    EXPECT_EQ(bytesRead, 0xDEADu) << "no byte count is reported";
  }
  EXPECT_FALSE(parse("0041;A;Lu;0;L;;;;a;Q;;"));
  EXPECT_EQ(log.lines(),
            (Lines{"no data", "no data", "no data", "no data",
                   "nominator of 'a' contained non-digit", kUnexpectedMirrored, "no data"}));
  // A short line runs on into the next: the fields are what the separators delimit.
  const QNUnicodeConcreteData runOn = parseLine("0041;A;Lu;0;L\n0042;B;Lu;0;L;;;;;N;;;;0062;\n");
  EXPECT_EQ(runOn.bidirectionalCategory() + u"|" + runOn.titlecaseMapping(), u"L\n0042|;;;0062;");
  EXPECT_EQ(decomposition(runOn) + " " + numeric(runOn), "canonical: B Decimal 0");
  // Fields 0 and 3 are read from their first seven characters at most.
  std::string numbers;
  for (const std::string& fields :
       {std::string("00000410;X;Lu;12345678"), std::string(100000, 'F') + ";X;Lu;123456789012",
        std::string("  0x41;X;So;  7"), std::string("zz;X;So;q")}) {
    const QNUnicodeConcreteData record = parseLine(fields + ";ON;;;;;N;;;;;\n");
    numbers += QNFormat("%X %u, ", record.codepoint(), record.canonicalCombiningClass());
  }
  EXPECT_EQ(numbers, "41 1234567, FFFFFFF 1234567, 41 7, 0 0, ");
}

TEST(ConcreteDataBytes, LineEndsAndEncodings) {
  LogCapture log;
  // Without a final line feed the last byte is lost; a carriage return stays in the field.
  EXPECT_EQ(parseLine("01C5;X;Lt;0;L;;;;;N;;;01C4;01C6;01C5").titlecaseMapping(), u"01C");
  EXPECT_EQ(parseLine("0061;A;Ll;0;L;;;;;N;;;0041;;\r\n").titlecaseMapping(), u"\r");
  const QNUnicodeConcreteData utf8 =
      parseLine("0041;CAF\xC3\x89 \xF0\x9F\x98\x80;Lu;0;L;;;;;N;\xC3\xA9;;;0061;\n");
  EXPECT_EQ(utf8.characterName() + utf8.unicode1Name() + utf8.lowercaseMapping(),
            u"CAF\u00C9 \U0001F600\u00E90061");
  EXPECT_TRUE(utf8.characterNameHasSuffix(u"\U0001F600"));
  // Ill-formed fields (a cut sequence, an encoded surrogate, bytes never in UTF-8) are absent.
  const std::string broken = qnunicode::toUTF8(
      parseLine("0041;BAD \xC3;Lu;0;L;;;;;N;\xED\xA0\x80;;;\xFF\xFE;\n").description());
  for (const char* absent : {"Name: (null)", "Unicode1Name: (null)", "LowercaseMapping: (null)"}) {
    EXPECT_NE(broken.find(absent), std::string::npos) << broken;
  }
  // An ill-formed numeric field still counts as filled, with no text to read.
  EXPECT_EQ(numeric(parseLine("0041;A;No;0;L;;;;\xC0\xAF;N;;;;;\n")), "Numeric 0.000000");
  EXPECT_EQ(log.lines(), Lines{"no fractional components in '(null)'"});
}

// Random bytes read as the loader reads them: no crash, no overread, only the parser's log lines.
TEST(ConcreteDataBytes, RandomBytesAreReadSafely) {
  std::mt19937 random(7);
  const std::string bytes = ";;;;;\n\n0123456789ABCDEFxY N-/<>\r\t\x80\xC3\xFF";
  const std::regex described(
      "no data|Unexpected mirrored value in UnicodeData.txt \\(ignoring\\)|Info: "
      "Simple_Titlecase_Mapping is empty but Simple_Uppercase_Mapping is not for U\\+[0-9a-f]{4,}|"
      "(nominator|denominator) of '[\\s\\S]*' contained non-digit|more than two fractional "
      "components in '[\\s\\S]*'|no fractional components in '\\(null\\)'");
  LogCapture log;
  size_t records = 0;
  for (int round = 0; round < 400; ++round) {
    std::vector<char> data(random() % 2000);
    for (char& byte : data) byte = random() % 4 ? bytes[random() % bytes.size()] : char(random());
    const char* const sentinel = data.data() + data.size();
    size_t consumed = 0;
    for (const char* cursor = data.data(); cursor < sentinel; cursor += consumed, ++records) {
      const auto record = QNUnicodeConcreteData::parseBytes(cursor, sentinel, &consumed);
      if (!record) break;
      ASSERT_TRUE(consumed > 0 && consumed <= static_cast<size_t>(sentinel - cursor)) << consumed;
      (void)record->description();
    }
  }
  EXPECT_GT(records, 100u) << "the random data should hold some complete lines";
  for (const std::string& line : log.lines())
    EXPECT_TRUE(std::regex_match(line, described)) << line;
}

// Text fields run on into empty ones, digit fields do not; only "Y" and "N" are mirrored values.
TEST(ConcreteDataScanner, EmptyFieldsTakeThePrecedingText) {
  LogCapture log;
  const auto record = QNUnicodeConcreteData::unicodeDataWithString(
      u"0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;Yes;;;;0061;");
  EXPECT_EQ(record->characterDecompositionMapping() + record->numericValueString() +
                record->unicode1Name() + record->commentField() + record->uppercaseMapping() +
                record->lowercaseMapping() + u" " + record->titlecaseMapping(),
            u"LLLLL0061 0061");
  EXPECT_EQ(decomposition(*record) + " " + numeric(*record), "canonical: Numeric 0.000000");
  EXPECT_FALSE(QNUnicodeConcreteData::unicodeDataWithString(u""));
  qnunicode::QNScanner scanner(u"0042;B;Lu;0;L;;;2;3;;;;;0062;\n0043;C\n0");
  const auto next = QNUnicodeConcreteData::unicodeDataWithScanner(scanner);
  EXPECT_EQ(numeric(*next) + " " + qnunicode::toUTF8(next->titlecaseMapping()), "Digit 2 0043;C")
      << "an empty last field takes the next line";
  EXPECT_EQ(scanner.remainingText(), u"0");
  EXPECT_EQ(log.lines(), (Lines{"nominator of 'L' contained non-digit",
                                kUnexpectedMirrored + ": Yes", kUnexpectedMirrored + ": (null)"}));
}

TEST(ConcreteDataDecomposition, FlagsAndCodepointsFromTheField) {
  QNUnicodeConcreteData record = parseLine("00C0;NAME;Lu;0;L;0041 0300;;;;N;;;;00E0;\n");
  std::u16string many;
  for (int i = 0; i < 30; ++i) many += u"1F600 ";
  std::string answers;
  for (const char16_t* text : {u"<compat> 0020 0x301", u"0041 zz 0300", u"< unterminated 0041", u"",
                               static_cast<const char16_t*>(nullptr), many.c_str()}) {
    record.characterDecompositionMappingWithString(text ? std::optional<std::u16string_view>(text)
                                                        : std::nullopt);
    answers += decomposition(record).substr(0, 28) + ", ";  // the long one cut short
  }
  EXPECT_EQ(answers,
            "compatibility: 20 301, canonical: 41, compatibility:, none, none, canonical: "
            "1F600 1F600 1F600, ");
  EXPECT_EQ(record.characterDecompositionMappingArray()->size(), 30u);
  EXPECT_EQ(record.characterDecompositionMapping(), u"0041 0300") << "the text is not touched";
}
}  // namespace
