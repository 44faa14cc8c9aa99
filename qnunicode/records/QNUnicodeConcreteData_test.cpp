#include "qnunicode/records/QNUnicodeConcreteData.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <cmath>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "qnunicode/records/QNUnicodeDefaultData.h"
#include "qnunicode/records/QNUnicodePointerData.h"
#include "qnunicode/testing/QNTestSupport.h"

// The lines of the real file are compared field by field with ICU in the loader's tests; these
// tests cover the rules and the malformed lines.
namespace {

using qnunicode::testing::LogCapture;
using Lines = std::vector<std::string>;

// Parses from an exactly sized copy, so that a read past the sentinel is a read past the buffer.
std::optional<QNUnicodeConcreteData> parse(std::string_view bytes, size_t* bytesRead = nullptr) {
  std::vector<char> copy(bytes.begin(), bytes.end());
  return QNUnicodeConcreteData::parseBytes(copy.data(), copy.data() + copy.size(), bytesRead);
}

QNUnicodeConcreteData parseLine(std::string_view line) {
  std::optional<QNUnicodeConcreteData> record = parse(line);
  if (!record) throw std::runtime_error("line did not parse: " + std::string(line));
  return std::move(*record);
}

std::vector<uint32_t> array(const QNUnicodeData& record) {
  const auto mapping = record.characterDecompositionMappingArray();
  return mapping ? std::vector<uint32_t>(mapping->begin(), mapping->end())
                 : std::vector<uint32_t>{};
}

float floatOf(const std::optional<QNUnicodeNumericValue>& value) {
  if (!value || !std::holds_alternative<float>(*value)) throw std::runtime_error("not a float");
  return std::get<float>(*value);
}

QNUnicodeNumericValue integer(int64_t value) {
  return QNUnicodeNumericValue(value);
}

TEST(ConcreteDataBytes, FlagsNumbersAndTheDescription) {
  const std::string line =
      "00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;HALF;c;U;L;T\n";
  size_t bytesRead = 0;
  const std::optional<QNUnicodeConcreteData> half = parse(line, &bytesRead);
  ASSERT_TRUE(half);
  EXPECT_EQ(bytesRead, line.size());
  EXPECT_EQ(array(*half), (std::vector<uint32_t>{0x31, 0x2044, 0x32}));
  EXPECT_TRUE(half->compatibilityMapping());
  EXPECT_FALSE(half->canonicalMapping());
  EXPECT_EQ(half->numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(half->numericValue()), 0.5f);
  // The description shows the numeric text, not the parsed number.
  EXPECT_EQ(half->description(),
            u"CodeValue: 189, CharacterName: VULGAR FRACTION ONE HALF, GeneralCategory: No, "
            u"CanonicalCombiningClass: 0, BidirectionalCategory: ON, "
            u"CharacterDecompositionMapping: <fraction> 0031 2044 0032, NumericValue: 1/2, "
            u"Mirrored: yes, Unicode1Name: HALF, CommentField: c, UppercaseMapping: U, "
            u"LowercaseMapping: L, TitlecaseMapping: T");

  const QNUnicodeConcreteData grave = parseLine("00C0;A GRAVE;Lu;0;L;0041 0300;;;;N;;;;00E0;\n");
  EXPECT_TRUE(grave.canonicalMapping());
  EXPECT_EQ(array(grave), (std::vector<uint32_t>{0x41, 0x300}));

  // Name, categories and Unicode 1.0 name are kept even when empty; the rest only when filled.
  const QNUnicodeConcreteData empty = parseLine("0041;;;0;;;;;;N;;;;;\n");
  EXPECT_FALSE(empty.characterDecompositionMappingArray());
  EXPECT_FALSE(empty.canonicalMapping() || empty.compatibilityMapping());
  EXPECT_EQ(empty.numericType(), QNUnicodeNumericTypeNone);
  EXPECT_FALSE(empty.numericValue());
  EXPECT_EQ(empty.description(),
            u"CodeValue: 65, CharacterName: , GeneralCategory: , CanonicalCombiningClass: 0, "
            u"BidirectionalCategory: , CharacterDecompositionMapping: (null), NumericValue: "
            u"(null), Mirrored: no, Unicode1Name: , CommentField: (null), UppercaseMapping: "
            u"(null), LowercaseMapping: (null), TitlecaseMapping: (null)");

  // Decimal before digit before numeric; the numeric field decides whether there is a value.
  EXPECT_EQ(parseLine("0037;X;Nd;0;EN;;7;7;7;N;;;;;\n").numericType(), QNUnicodeNumericTypeDecimal);
  EXPECT_EQ(parseLine("0030;X;Nd;0;EN;;-12;5;99;N;;;;;\n").numericValue(), integer(-12));
  EXPECT_EQ(parseLine("0030;X;Nd;0;EN;; 12345678901;1;1;N;;;;;\n").numericValue(),
            integer(12345678901));
  EXPECT_EQ(parseLine("0030;X;Nd;0;EN;;x;1;1;N;;;;;\n").numericValue(), integer(0));
  const QNUnicodeConcreteData digit = parseLine("00B2;X;No;0;EN;<super> 0032;;2;2;N;;;;;\n");
  EXPECT_EQ(digit.numericType(), QNUnicodeNumericTypeDigit);
  EXPECT_EQ(digit.numericValue(), integer(2));
  EXPECT_EQ(floatOf(parseLine("0F33;X;No;0;L;;;;-1/2;N;;;;;\n").numericValue()), -0.5f);
  EXPECT_EQ(parseLine("0030;X;Nd;0;EN;;7;7;;N;;;;;\n").numericType(), QNUnicodeNumericTypeNone);
}

TEST(ConcreteDataBytes, RepairedFieldsAreLogged) {
  LogCapture log;
  EXPECT_TRUE(parseLine("0028;P;Ps;0;ON;;;;;Y;;;;;\n").mirrored());
  EXPECT_TRUE(parseLine("0028;P;Ps;0;ON;;;;;Yes;;;;;\n").mirrored())
      << "only the first byte counts";
  EXPECT_TRUE(log.lines().empty());
  for (const char* field : {"", "X", "y", "n"}) {
    EXPECT_FALSE(parseLine(std::string("0028;P;Ps;0;ON;;;;;") + field + ";;;;;\n").mirrored());
  }
  EXPECT_EQ(log.lines(), Lines(4, "Unexpected mirrored value in UnicodeData.txt (ignoring)"));

  log.clear();
  EXPECT_EQ(parseLine("01F1A;X;Ll;0;L;;;;;N;;;0041;;\n").titlecaseMapping(), u"0041");
  EXPECT_EQ(log.lines(), Lines{"Info: Simple_Titlecase_Mapping is empty but "
                               "Simple_Uppercase_Mapping is not for U+1f1a"});
}

// ---- Malformed data ----------------------------------------------------------------------------

TEST(ConcreteDataBytes, DataEndingInsideTheFields) {
  LogCapture log;
  for (const char* data : {"0041;A;Lu;0;L;;;;;N;;;", "0041", ";;;;;;;;", "\n"}) {
    size_t bytesRead = 0xDEAD;
    EXPECT_FALSE(parse(data, &bytesRead)) << data;
    EXPECT_EQ(bytesRead, 0xDEADu) << "no byte count is reported";
  }
  EXPECT_EQ(log.lines(), Lines(4, "no data"));

  // The numeric rules and the mirrored test ran before the missing separator was noticed.
  log.clear();
  EXPECT_FALSE(parse("0041;A;Lu;0;L;;;;a;Q;;"));
  EXPECT_EQ(log.lines(),
            (Lines{"nominator of 'a' contained non-digit",
                   "Unexpected mirrored value in UnicodeData.txt (ignoring)", "no data"}));

  // A short line runs on into the next: the fields are what the separators delimit.
  const std::string data = "0041;A;Lu;0;L\n0042;B;Lu;0;L;;;;;N;;;;0062;\n";
  size_t bytesRead = 0;
  const std::optional<QNUnicodeConcreteData> runOn = parse(data, &bytesRead);
  ASSERT_TRUE(runOn);
  EXPECT_EQ(bytesRead, data.size());
  EXPECT_EQ(runOn->bidirectionalCategory(), u"L\n0042");
  EXPECT_EQ(array(*runOn), std::vector<uint32_t>{0xB});
  EXPECT_EQ(runOn->numericValue(), integer(0));
  EXPECT_EQ(runOn->titlecaseMapping(), u";;;0062;");
}

TEST(ConcreteDataBytes, OverlongNumberFieldsAreCutToSevenCharacters) {
  EXPECT_EQ(parseLine("00000410;X;Lu;0;L;;;;;N;;;;;\n").codepoint(), 0x41u);
  const QNUnicodeConcreteData huge =
      parseLine(std::string(100000, 'F') + ";X;Lu;123456789012;L;;;;;N;;;;;\n");
  EXPECT_EQ(huge.codepoint(), 0xFFFFFFFu);
  EXPECT_EQ(huge.canonicalCombiningClass(), 1234567u);
  const QNUnicodeConcreteData spaced = parseLine("  0x41;X;So;  7;ON;;;;;N;;;;;\n");
  EXPECT_EQ(spaced.codepoint(), 0x41u);
  EXPECT_EQ(spaced.canonicalCombiningClass(), 7u);
  const QNUnicodeConcreteData junk = parseLine("zz;X;So;q;ON;;;;;N;;;;;\n");
  EXPECT_EQ(junk.codepoint(), 0u);
  EXPECT_EQ(junk.canonicalCombiningClass(), 0u);
}

TEST(ConcreteDataBytes, LineEndsAndEncodings) {
  // Without a final line feed the last byte of the titlecase field is lost.
  EXPECT_EQ(parseLine("01C5;X;Lt;0;L;;;;;N;;;01C4;01C6;01C5").titlecaseMapping(), u"01C");
  EXPECT_EQ(parseLine("0041;A;Lu;0;L;;;;;N;;;;0061;").lowercaseMapping(), u"0061");
  // A carriage return stays in the field, which is then not empty.
  LogCapture log;
  EXPECT_EQ(parseLine("0061;A;Ll;0;L;;;;;N;;;0041;;\r\n").titlecaseMapping(), u"\r");
  EXPECT_TRUE(log.lines().empty());

  const QNUnicodeConcreteData utf8 =
      parseLine("0041;CAF\xC3\x89 \xF0\x9F\x98\x80;Lu;0;L;;;;;N;;;;;\n");
  EXPECT_EQ(utf8.characterName(), u"CAF\u00C9 \U0001F600");
  EXPECT_TRUE(utf8.characterNameHasSuffix(u"\U0001F600"));
  // Ill-formed fields are absent: empty through the accessors, "(null)" in the description.
  const QNUnicodeConcreteData broken =
      parseLine("0041;BAD \xC3;Lu;0;L;;;;;N;\xED\xA0\x80;;;\xFF\xFE;\n");
  EXPECT_EQ(broken.characterName(), u"");
  EXPECT_EQ(broken.generalCategory(), u"Lu");
  const std::string description = qnunicode::toUTF8(broken.description());
  for (const char* absent :
       {"CharacterName: (null), ", "Unicode1Name: (null), ", "LowercaseMapping: (null), "}) {
    EXPECT_NE(description.find(absent), std::string::npos) << description;
  }
  // An ill-formed numeric field still counts as filled, with no text to read.
  EXPECT_EQ(floatOf(parseLine("0041;A;No;0;L;;;;\xC0\xAF;N;;;;;\n").numericValue()), 0.0f);
  EXPECT_EQ(log.lines(), Lines{"no fractional components in '(null)'"});
}

// Lines of random fields, each field checked against ICU's reading of the same bytes.
TEST(ConcreteDataBytes, RandomFieldsReadBackExactly) {
  std::mt19937 random(20230913);
  const std::vector<std::string> pieces = {"A",
                                           "Y",
                                           "z",
                                           " ",
                                           "0",
                                           "9",
                                           "<",
                                           ">",
                                           "/",
                                           "-",
                                           "\r",
                                           "\t",
                                           "Lu",
                                           "0041",
                                           "\xC3\xA9",
                                           "\xE2\x82\xAC",
                                           "\xF0\x9F\x98\x80",
                                           "\xC3",
                                           "\xFF"};
  auto icuDecoded = [](const std::string& bytes) -> std::optional<UnicodeString> {
    UErrorCode status = U_ZERO_ERROR;
    std::u16string out(bytes.size() + 1, u'\0');
    int32_t length = 0;
    u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &length,
                  bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    out.resize(static_cast<size_t>(length));
    return out;
  };
  LogCapture log;  // the numeric and mirrored fields are random too
  for (int round = 0; round < 3000; ++round) {
    std::array<std::string, 15> fields;
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
      for (int count = static_cast<int>(random() % 6); count > 0; --count) {
        fields[i] += pieces[random() % pieces.size()];
      }
      if (i == 0) fields[0] = "1F" + std::to_string(round % 100);
      line += fields[i] + (i + 1 < fields.size() ? ";" : "\n");
    }
    const QNUnicodeConcreteData record = parseLine(line);
    // Kept even when empty unless ill-formed, or kept only when filled.
    auto always = [&](int i) { return icuDecoded(fields[i]).value_or(UnicodeString()); };
    auto filled = [&](int i) { return fields[i].empty() ? UnicodeString() : always(i); };
    SCOPED_TRACE(line);
    EXPECT_EQ(record.characterName(), always(1));
    EXPECT_EQ(record.generalCategory(), always(2));
    EXPECT_EQ(record.bidirectionalCategory(), always(4));
    EXPECT_EQ(record.characterDecompositionMapping(), filled(5));
    EXPECT_EQ(record.numericValueString(), filled(8));
    EXPECT_EQ(record.mirrored(), !fields[9].empty() && fields[9][0] == 'Y');
    EXPECT_EQ(record.unicode1Name(), always(10));
    EXPECT_EQ(record.commentField(), filled(11));
    EXPECT_EQ(record.uppercaseMapping(), filled(12));
    EXPECT_EQ(record.lowercaseMapping(), filled(13));
    EXPECT_EQ(record.titlecaseMapping(), fields[14].empty() ? filled(12) : filled(14));
    EXPECT_EQ(qnunicode::toUTF8(record.description()).find("CharacterName: (null), ") !=
                  std::string::npos,
              !icuDecoded(fields[1]));
  }
}

// Random bytes read the way the loader reads them: no crash, no read past the data, and only the
// parser's own log lines.
TEST(ConcreteDataBytes, RandomBytesAreReadSafely) {
  std::mt19937 random(7);
  const std::string alphabet = ";;;;;\n\n0123456789ABCDEFxY N-/<>\r\t\x80\xC3\xFF";
  const std::regex described(
      "no data|Unexpected mirrored value in UnicodeData.txt \\(ignoring\\)|Info: "
      "Simple_Titlecase_Mapping is empty but Simple_Uppercase_Mapping is not for U\\+[0-9a-f]{4,}|"
      "(nominator|denominator) of '[\\s\\S]*' contained non-digit|more than two fractional "
      "components in '[\\s\\S]*'|no fractional components in '\\(null\\)'");
  LogCapture log;
  size_t records = 0;
  for (int round = 0; round < 400; ++round) {
    std::vector<char> data(random() % 2000);
    for (char& byte : data) {
      byte = random() % 4 == 0 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
    }
    const char* cursor = data.data();
    const char* const sentinel = data.data() + data.size();
    while (cursor < sentinel) {
      size_t consumed = 0;
      std::optional<QNUnicodeConcreteData> record =
          QNUnicodeConcreteData::parseBytes(cursor, sentinel, &consumed);
      if (!record) break;
      ++records;
      ASSERT_GT(consumed, 0u);
      ASSERT_LE(consumed, static_cast<size_t>(sentinel - cursor));
      (void)record->description();
      cursor += consumed;
    }
  }
  EXPECT_GT(records, 100u) << "the random data should hold some complete lines";
  for (const std::string& line : log.lines()) {
    EXPECT_TRUE(std::regex_match(line, described)) << line;
  }
}

TEST(NumericValueString, FractionsAndTheirFaults) {
  LogCapture log;
  EXPECT_EQ(numberFromNumericValueString(u"-3/4"), -0.75f);
  EXPECT_EQ(numberFromNumericValueString(u"1000000000000"), 1e12f);
  EXPECT_EQ(numberFromNumericValueString(u"1/3"), static_cast<float>(1.0 / 3.0));
  EXPECT_EQ(numberFromNumericValueString(u""), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(u"1/0"), INFINITY);
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(numberFromNumericValueString(u"1/2/3"), 0.5f);
  EXPECT_EQ(numberFromNumericValueString(u"x/4"), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(u"3/-4"), 3.0f);
  EXPECT_EQ(numberFromNumericValueString(u" 3"), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(std::nullopt), 0.0f);
  EXPECT_EQ(
      log.lines(),
      (Lines{"more than two fractional components in '1/2/3'",
             "nominator of 'x/4' contained non-digit", "denominator of '3/-4' contained non-digit",
             "nominator of ' 3' contained non-digit", "no fractional components in '(null)'"}));
}

// ---- The text and scanner forms ----------------------------------------------------------------

TEST(ConcreteDataScanner, EmptyFieldsTakeThePrecedingText) {
  LogCapture log;
  const auto record = QNUnicodeConcreteData::unicodeDataWithString(
      u"0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->codepoint(), 0x41u);
  EXPECT_EQ(record->bidirectionalCategory(), u"L");
  // The bidirectional category runs on into the decomposition, which holds no codepoint ...
  EXPECT_EQ(record->characterDecompositionMapping(), u"L");
  EXPECT_TRUE(record->canonicalMapping());
  EXPECT_EQ(array(*record), std::vector<uint32_t>{});
  // ... and into the numeric field, which is then read as a (broken) number.
  EXPECT_EQ(record->numericValueString(), u"L");
  EXPECT_EQ(floatOf(record->numericValue()), 0.0f);
  for (const UnicodeString& text :
       {record->unicode1Name(), record->commentField(), record->uppercaseMapping()}) {
    EXPECT_EQ(text, u"L");
  }
  EXPECT_EQ(record->lowercaseMapping(), u"0061");
  EXPECT_EQ(record->titlecaseMapping(), u"0061");
  EXPECT_EQ(log.lines(), Lines{"nominator of 'L' contained non-digit"});

  log.clear();
  const auto odd =
      QNUnicodeConcreteData::unicodeDataWithString(u"1F1A;X;Ll;0;L;0041;1;2;3;Yes;U;C;0041;;");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->numericValue(), integer(1));
  EXPECT_FALSE(odd->mirrored());
  EXPECT_EQ(odd->titlecaseMapping(), u"0041");
  ASSERT_TRUE(QNUnicodeConcreteData::unicodeDataWithString(u"0041;A;Lu;0;L;0041;1;2;3;;U"));
  EXPECT_EQ(log.lines(),
            (Lines{"Unexpected mirrored value in UnicodeData.txt (ignoring): Yes",
                   "Unexpected mirrored value in UnicodeData.txt (ignoring): (null)"}));
  EXPECT_FALSE(QNUnicodeConcreteData::unicodeDataWithString(u""));
}

TEST(ConcreteDataScanner, OneLineOfAScannedText) {
  const UnicodeString name = u"NAME \U0001F600 \xD800 END";
  const auto unpaired =
      QNUnicodeConcreteData::unicodeDataWithString(u"1F600;" + name + u";So;0;ON;0041;;;;N;;;;;");
  ASSERT_TRUE(unpaired);
  EXPECT_EQ(unpaired->characterName(), name) << "an unpaired surrogate is kept";
  EXPECT_TRUE(unpaired->characterNameHasSuffix(u"\xD800 END"));

  qnunicode::QNScanner scanner(u"  0042;B;Lu;0;L;;;;;N;;;;0062;0042\n0043;C");
  const auto scanned = QNUnicodeConcreteData::unicodeDataWithScanner(scanner);
  ASSERT_TRUE(scanned);
  EXPECT_EQ(scanned->codepoint(), 0x42u);
  EXPECT_EQ(scanner.remainingText(), u"0043;C") << "the scanner stops after the line feed";
  // Line ends are skipped before each item, so an empty last field takes the next line.
  qnunicode::QNScanner runOn(u"0042;B;Lu;0;L;;;;;N;;;;0062;\n0043;C");
  EXPECT_EQ(QNUnicodeConcreteData::unicodeDataWithScanner(runOn)->titlecaseMapping(), u"0043;C");
}

// ---- Decomposition field and copies ------------------------------------------------------------

TEST(ConcreteDataDecomposition, FlagsAndCodepointsFromTheField) {
  QNUnicodeConcreteData record = parseLine("00C0;NAME;Lu;0;L;0041 0300;;;;N;;;;00E0;\n");
  record.characterDecompositionMappingWithString(u"<compat> 0020 0x301");
  EXPECT_EQ(array(record), (std::vector<uint32_t>{0x20, 0x301}));
  EXPECT_TRUE(record.compatibilityMapping());
  EXPECT_FALSE(record.canonicalMapping());
  // The text fields are not touched.
  EXPECT_EQ(record.characterDecompositionMapping(), u"0041 0300");
  EXPECT_EQ(record.lowercaseMapping(), u"00E0");

  record.characterDecompositionMappingWithString(u"0041 zz 0300");
  EXPECT_EQ(array(record), std::vector<uint32_t>{0x41}) << "the codepoints stop at a non-hex token";
  EXPECT_TRUE(record.canonicalMapping());
  record.characterDecompositionMappingWithString(u"< unterminated 0041");
  EXPECT_TRUE(record.compatibilityMapping());
  EXPECT_TRUE(record.characterDecompositionMappingArray()->empty());
  std::u16string many;
  for (int i = 0; i < 100; ++i) many += u"1F600 ";
  record.characterDecompositionMappingWithString(many);
  EXPECT_EQ(array(record), std::vector<uint32_t>(100, 0x1F600));
  for (const auto text :
       {std::optional<std::u16string_view>(), std::optional(std::u16string_view())}) {
    record.characterDecompositionMappingWithString(text);
    EXPECT_FALSE(record.characterDecompositionMappingArray());
    EXPECT_FALSE(record.canonicalMapping() || record.compatibilityMapping());
  }
  EXPECT_EQ(record.characterName(), u"NAME");
}

TEST(ConcreteDataCopy, CopiesThroughTheAccessors) {
  const QNUnicodeConcreteData original =
      parseLine("00BD;HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;;;;;\n");
  const std::shared_ptr<QNUnicodeData> copied = original.copy();
  EXPECT_EQ(typeid(*copied), typeid(QNUnicodeConcreteData));
  EXPECT_EQ(array(*copied), array(original));
  EXPECT_EQ(copied->numericValue(), original.numericValue());
  EXPECT_TRUE(copied->compatibilityMapping());
  // Absent fields come back as empty ones.
  EXPECT_EQ(qnunicode::toUTF8(copied->description()),
            "CodeValue: 189, CharacterName: HALF, GeneralCategory: No, CanonicalCombiningClass: 0, "
            "BidirectionalCategory: ON, CharacterDecompositionMapping: <fraction> 0031 2044 0032, "
            "NumericValue: 1/2, Mirrored: yes, Unicode1Name: , CommentField: , UppercaseMapping: , "
            "LowercaseMapping: , TitlecaseMapping: ");

  // The canonical flag of a copy says whether the copied array has codepoints.
  const auto scanned = QNUnicodeConcreteData::unicodeDataWithString(u"0041;A;Lu;0;L;;;;;N;;;;;");
  ASSERT_TRUE(scanned->canonicalMapping());
  EXPECT_FALSE(QNUnicodeConcreteData(*scanned).canonicalMapping());

  // Copies of the other kinds.
  const QNUnicodeConcreteData fromDefault{QNUnicodeDefaultData(0x0378)};
  EXPECT_EQ(fromDefault.characterName(), u"<reserved>");
  EXPECT_FALSE(fromDefault.characterDecompositionMappingArray());
  const QNUnicodeConcreteData fromMember{QNUnicodePointerData(
      0x4E01, std::make_shared<QNUnicodeConcreteData>(
                  parseLine("4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n")))};
  EXPECT_EQ(fromMember.codepoint(), 0x4E01u);
  EXPECT_EQ(fromMember.characterName(), u"<CJK Ideograph>");
}

}  // namespace
