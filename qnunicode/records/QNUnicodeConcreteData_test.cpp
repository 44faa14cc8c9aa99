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

namespace {

using qnunicode::testing::LogCapture;

// Parses from an exactly sized copy, so that a read past the sentinel is a read past the buffer.
struct Parsed {
  std::optional<QNUnicodeConcreteData> record;
  size_t bytesRead = 0;
};

Parsed parse(std::string_view bytes) {
  std::vector<char> copy(bytes.begin(), bytes.end());
  Parsed parsed;
  parsed.bytesRead = 0xDEAD;
  parsed.record =
      QNUnicodeConcreteData::parseBytes(copy.data(), copy.data() + copy.size(), &parsed.bytesRead);
  return parsed;
}

QNUnicodeConcreteData parseLine(std::string_view line) {
  Parsed parsed = parse(line);
  if (!parsed.record) throw std::runtime_error("line did not parse: " + std::string(line));
  return std::move(*parsed.record);
}

std::vector<uint32_t> array(const QNUnicodeData& record) {
  const auto mapping = record.characterDecompositionMappingArray();
  if (!mapping) return {};
  return std::vector<uint32_t>(mapping->begin(), mapping->end());
}

std::string utf8(const UnicodeString& text) {
  return qnunicode::toUTF8(text);
}

float floatOf(const std::optional<QNUnicodeNumericValue>& value) {
  if (!value || !std::holds_alternative<float>(*value)) {
    throw std::runtime_error("numeric value is not a float");
  }
  return std::get<float>(*value);
}

// ---- The byte form on lines of the file ----------------------------------------------------

TEST(ConcreteDataBytes, FractionWithCompatibilityMapping) {
  const std::string line =
      "00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;N;FRACTION ONE "
      "HALF;;;;\n";
  Parsed parsed = parse(line);
  ASSERT_TRUE(parsed.record);
  const QNUnicodeConcreteData& record = *parsed.record;
  EXPECT_EQ(parsed.bytesRead, line.size());
  EXPECT_EQ(record.codepoint(), 0xBDu);
  EXPECT_EQ(record.codeValue(), 0xBDu);
  EXPECT_EQ(record.characterName(), u"VULGAR FRACTION ONE HALF");
  EXPECT_EQ(record.generalCategory(), u"No");
  EXPECT_EQ(record.bidirectionalCategory(), u"ON");
  EXPECT_EQ(record.characterDecompositionMapping(), u"<fraction> 0031 2044 0032");
  EXPECT_EQ(array(record), (std::vector<uint32_t>{0x31, 0x2044, 0x32}));
  EXPECT_TRUE(record.compatibilityMapping());
  EXPECT_FALSE(record.canonicalMapping());
  EXPECT_EQ(record.numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(record.numericValue()), 0.5f);
  EXPECT_EQ(record.numericValueString(), u"1/2");
  EXPECT_EQ(record.unicode1Name(), u"FRACTION ONE HALF");
  EXPECT_FALSE(record.mirrored());
  EXPECT_EQ(record.uppercaseMapping(), u"");
  EXPECT_EQ(record.titlecaseMapping(), u"");
}

TEST(ConcreteDataBytes, CanonicalPairAndCaseMappings) {
  const QNUnicodeConcreteData grave = parseLine(
      "00C0;LATIN CAPITAL LETTER A WITH GRAVE;Lu;0;L;0041 0300;;;;N;LATIN CAPITAL LETTER A "
      "GRAVE;;;00E0;\n");
  EXPECT_TRUE(grave.canonicalMapping());
  EXPECT_FALSE(grave.compatibilityMapping());
  EXPECT_EQ(array(grave), (std::vector<uint32_t>{0x41, 0x300}));
  EXPECT_EQ(grave.lowercaseMapping(), u"00E0");
  EXPECT_EQ(grave.numericType(), QNUnicodeNumericTypeNone);
  EXPECT_FALSE(grave.numericValue());

  const QNUnicodeConcreteData dz = parseLine(
      "01C5;LATIN CAPITAL LETTER D WITH SMALL LETTER Z WITH CARON;Lt;0;L;<compat> 0044 017E;;;;N;"
      "LATIN LETTER CAPITAL D SMALL Z HACEK;;01C4;01C6;01C5\n");
  EXPECT_EQ(dz.uppercaseMapping(), u"01C4");
  EXPECT_EQ(dz.lowercaseMapping(), u"01C6");
  EXPECT_EQ(dz.titlecaseMapping(), u"01C5");
  EXPECT_TRUE(dz.compatibilityMapping());

  const QNUnicodeConcreteData accent =
      parseLine("0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;NON-SPACING GRAVE;;;;\n");
  EXPECT_EQ(accent.canonicalCombiningClass(), 230u);
  // No decomposition at all: no array and neither flag.
  EXPECT_FALSE(accent.characterDecompositionMappingArray());
  EXPECT_FALSE(accent.canonicalMapping());
  EXPECT_FALSE(accent.compatibilityMapping());
  EXPECT_EQ(accent.characterDecompositionMapping(), u"");
}

TEST(ConcreteDataBytes, NumericTypesFollowTheFieldsThatAreFilled) {
  const QNUnicodeConcreteData decimal = parseLine("0037;DIGIT SEVEN;Nd;0;EN;;7;7;7;N;;;;;\n");
  EXPECT_EQ(decimal.numericType(), QNUnicodeNumericTypeDecimal);
  EXPECT_EQ(decimal.numericValue(), QNUnicodeNumericValue(int64_t{7}));

  const QNUnicodeConcreteData digit =
      parseLine("00B2;SUPERSCRIPT TWO;No;0;EN;<super> 0032;;2;2;N;SUPERSCRIPT DIGIT TWO;;;;\n");
  EXPECT_EQ(digit.numericType(), QNUnicodeNumericTypeDigit);
  EXPECT_EQ(digit.numericValue(), QNUnicodeNumericValue(int64_t{2}));

  // The decimal and digit fields decide the value, not the numeric field.
  const QNUnicodeConcreteData disagreeing = parseLine("0030;X;Nd;0;EN;;-12;5;99;N;;;;;\n");
  EXPECT_EQ(disagreeing.numericType(), QNUnicodeNumericTypeDecimal);
  EXPECT_EQ(disagreeing.numericValue(), QNUnicodeNumericValue(int64_t{-12}));
  EXPECT_EQ(disagreeing.numericValueString(), u"99");

  const QNUnicodeConcreteData huge = parseLine("0030;X;Nd;0;EN;; 12345678901234;1;1;N;;;;;\n");
  EXPECT_EQ(huge.numericValue(), QNUnicodeNumericValue(int64_t{12345678901234}));
  const QNUnicodeConcreteData noDigits = parseLine("0030;X;Nd;0;EN;;x;1;1;N;;;;;\n");
  EXPECT_EQ(noDigits.numericValue(), QNUnicodeNumericValue(int64_t{0}));

  const QNUnicodeConcreteData half =
      parseLine("0F33;TIBETAN DIGIT HALF ZERO;No;0;L;;;;-1/2;N;;;;;\n");
  EXPECT_EQ(half.numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(half.numericValue()), -0.5f);

  // Without a numeric field the other two are ignored.
  const QNUnicodeConcreteData none = parseLine("0030;X;Nd;0;EN;;7;7;;N;;;;;\n");
  EXPECT_EQ(none.numericType(), QNUnicodeNumericTypeNone);
  EXPECT_FALSE(none.numericValue());
  EXPECT_EQ(none.numericValueString(), u"");
}

TEST(ConcreteDataBytes, MirroredAndTitlecaseRepairsAreLogged) {
  LogCapture log;
  EXPECT_TRUE(
      parseLine("0028;LEFT PARENTHESIS;Ps;0;ON;;;;;Y;OPENING PARENTHESIS;;;;\n").mirrored());
  EXPECT_TRUE(log.lines().empty());

  for (const char* field : {"", "X", "y", "n"}) {
    log.clear();
    const QNUnicodeConcreteData record =
        parseLine(std::string("0028;P;Ps;0;ON;;;;;") + field + ";;;;;\n");
    EXPECT_FALSE(record.mirrored()) << field;
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"Unexpected mirrored value in UnicodeData.txt (ignoring)"})
        << field;
  }
  // Only the first byte counts.
  EXPECT_TRUE(parseLine("0028;P;Ps;0;ON;;;;;Yes;;;;;\n").mirrored());

  log.clear();
  const QNUnicodeConcreteData fallback = parseLine("01F1A;X;Ll;0;L;;;;;N;;;0041;;\n");
  EXPECT_EQ(fallback.titlecaseMapping(), u"0041");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Info: Simple_Titlecase_Mapping is empty but "
                                                  "Simple_Uppercase_Mapping is not for U+1f1a"});
}

TEST(ConcreteDataBytes, EmptyAndOptionalFieldsInTheDescription) {
  // Name, categories, Unicode 1.0 name are kept even when empty; the others only when filled.
  const QNUnicodeConcreteData record = parseLine("0041;;;0;;;;;;N;;;;;\n");
  EXPECT_EQ(record.characterName(), u"");
  EXPECT_EQ(record.description(),
            u"CodeValue: 65, CharacterName: , GeneralCategory: , CanonicalCombiningClass: 0, "
            u"BidirectionalCategory: , CharacterDecompositionMapping: (null), NumericValue: "
            u"(null), Mirrored: no, Unicode1Name: , CommentField: (null), UppercaseMapping: "
            u"(null), LowercaseMapping: (null), TitlecaseMapping: (null)");

  const QNUnicodeConcreteData full = parseLine(
      "00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;HALF;c;"
      "U;L;T\n");
  EXPECT_EQ(full.description(),
            u"CodeValue: 189, CharacterName: VULGAR FRACTION ONE HALF, GeneralCategory: No, "
            u"CanonicalCombiningClass: 0, BidirectionalCategory: ON, "
            u"CharacterDecompositionMapping: <fraction> 0031 2044 0032, NumericValue: 1/2, "
            u"Mirrored: yes, Unicode1Name: HALF, CommentField: c, UppercaseMapping: U, "
            u"LowercaseMapping: L, TitlecaseMapping: T");
  EXPECT_EQ(full.commentField(), u"c");
}

// ---- The byte form on malformed data ---------------------------------------------------------

TEST(ConcreteDataBytes, DataEndingInsideTheFieldsMakesNoRecord) {
  LogCapture log;
  for (const std::string& data :
       {std::string("0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;"), std::string("0041"),
        std::string(";;;;;;;;"), std::string("\n")}) {
    log.clear();
    const Parsed parsed = parse(data);
    EXPECT_FALSE(parsed.record) << data;
    EXPECT_EQ(parsed.bytesRead, 0xDEADu) << "no byte count is reported";
    EXPECT_EQ(log.lines(), std::vector<std::string>{"no data"}) << data;
  }

  // The numeric rules and the mirrored test ran before the missing separator was noticed.
  log.clear();
  EXPECT_FALSE(parse("0041;A;Lu;0;L;;;;a;Q;;").record);
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{"nominator of 'a' contained non-digit",
                                      "Unexpected mirrored value in UnicodeData.txt (ignoring)",
                                      "no data"}));
}

TEST(ConcreteDataBytes, ShortLinesRunIntoTheNextLine) {
  LogCapture log;
  const std::string data = "0041;A;Lu;0;L\n0042;B;Lu;0;L;;;;;N;;;;0062;\n";
  const Parsed parsed = parse(data);
  ASSERT_TRUE(parsed.record);
  EXPECT_EQ(parsed.bytesRead, data.size());
  const QNUnicodeConcreteData& record = *parsed.record;
  // The fields are what the separators delimit, whichever line they come from.
  EXPECT_EQ(record.generalCategory(), u"Lu");
  EXPECT_EQ(record.bidirectionalCategory(), u"L\n0042");
  EXPECT_EQ(record.characterDecompositionMapping(), u"B");
  EXPECT_EQ(array(record), std::vector<uint32_t>{0xB});
  EXPECT_EQ(record.numericValueString(), u"L");
  EXPECT_EQ(record.numericType(), QNUnicodeNumericTypeDecimal);
  EXPECT_EQ(record.numericValue(), QNUnicodeNumericValue(int64_t{0}));
  EXPECT_EQ(record.lowercaseMapping(), u"N");
  EXPECT_EQ(record.titlecaseMapping(), u";;;0062;");
  EXPECT_EQ(log.lines(),
            std::vector<std::string>{"Unexpected mirrored value in UnicodeData.txt (ignoring)"});
}

TEST(ConcreteDataBytes, OverlongNumberFieldsAreCutToSevenCharacters) {
  // A field of eight or more characters would not fit the 8-byte field buffer.
  const QNUnicodeConcreteData codepoint = parseLine("00000410;X;Lu;0;L;;;;;N;;;;;\n");
  EXPECT_EQ(codepoint.codepoint(), 0x41u);
  const QNUnicodeConcreteData huge =
      parseLine(std::string(100000, 'F') + ";X;Lu;123456789012;L;;;;;N;;;;;\n");
  EXPECT_EQ(huge.codepoint(), 0xFFFFFFFu);
  EXPECT_EQ(huge.canonicalCombiningClass(), 1234567u);
  // Leading white space and a 0x prefix are allowed; junk reads as 0.
  EXPECT_EQ(parseLine("  0x41;X;So;  7;ON;;;;;N;;;;;\n").codepoint(), 0x41u);
  EXPECT_EQ(parseLine("  0x41;X;So;  7;ON;;;;;N;;;;;\n").canonicalCombiningClass(), 7u);
  EXPECT_EQ(parseLine("zz;X;So;q;ON;;;;;N;;;;;\n").codepoint(), 0u);
  EXPECT_EQ(parseLine("zz;X;So;q;ON;;;;;N;;;;;\n").canonicalCombiningClass(), 0u);
}

TEST(ConcreteDataBytes, LineEnds) {
  // Without a final line feed the last byte of the titlecase field is lost.
  const std::string last = "01C5;X;Lt;0;L;;;;;N;;;01C4;01C6;01C5";
  const Parsed parsed = parse(last);
  ASSERT_TRUE(parsed.record);
  EXPECT_EQ(parsed.record->titlecaseMapping(), u"01C");
  EXPECT_EQ(parsed.bytesRead, last.size());
  // An empty titlecase field at the very end of the data, with nothing left to lose.
  const Parsed empty = parse("0041;A;Lu;0;L;;;;;N;;;;0061;");
  ASSERT_TRUE(empty.record);
  EXPECT_EQ(empty.record->titlecaseMapping(), u"");
  EXPECT_EQ(empty.record->lowercaseMapping(), u"0061");

  // A carriage return before the line feed stays in the field, which is then not empty.
  LogCapture log;
  const QNUnicodeConcreteData crlf = parseLine("0061;A;Ll;0;L;;;;;N;;;0041;;\r\n");
  EXPECT_EQ(crlf.titlecaseMapping(), u"\r");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(parseLine("01C5;X;Lt;0;L;;;;;N;;;01C4;01C6;01C5\r\n").titlecaseMapping(), u"01C5\r");
}

TEST(ConcreteDataBytes, TextFieldsAreUTF8AndInvalidOnesAreAbsent) {
  const QNUnicodeConcreteData accented =
      parseLine("0041;CAF\xC3\x89 \xF0\x9F\x98\x80;Lu;0;L;;;;;N;;;;;\n");
  EXPECT_EQ(accented.characterName(), u"CAF\u00C9 \U0001F600");
  EXPECT_TRUE(accented.characterNameHasSuffix(u"\U0001F600"));
  EXPECT_EQ(accented.generalCategory(), u"Lu");

  // An ill-formed name is absent: empty through the accessor, "(null)" in the description.
  const QNUnicodeConcreteData broken =
      parseLine("0041;BAD \xC3;Lu;0;L;;;;;N;\xED\xA0\x80;;;\xFF\xFE;\n");
  EXPECT_EQ(broken.characterName(), u"");
  EXPECT_EQ(broken.unicode1Name(), u"");
  EXPECT_EQ(broken.generalCategory(), u"Lu");
  EXPECT_EQ(broken.lowercaseMapping(), u"");
  const std::string description = utf8(broken.description());
  EXPECT_NE(description.find("CharacterName: (null), "), std::string::npos) << description;
  EXPECT_NE(description.find("Unicode1Name: (null), "), std::string::npos) << description;
  EXPECT_NE(description.find("LowercaseMapping: (null), "), std::string::npos) << description;

  // An ill-formed numeric field still counts as filled, but has no text to read.
  LogCapture log;
  const QNUnicodeConcreteData numeric = parseLine("0041;A;No;0;L;;;;\xC0\xAF;N;;;;;\n");
  EXPECT_EQ(numeric.numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(numeric.numericValue()), 0.0f);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"no fractional components in '(null)'"});
}

// Lines of random fields, each checked field by field against ICU's reading of the same bytes.
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
  auto field = [&] {
    std::string text;
    const int count = static_cast<int>(random() % 6);
    for (int i = 0; i < count; ++i) text += pieces[random() % pieces.size()];
    return text;
  };
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
    for (std::string& f : fields) f = field();
    fields[0] = "1F" + std::to_string(round % 100);
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i)
      line += fields[i] + (i + 1 < fields.size() ? ";" : "\n");
    const QNUnicodeConcreteData record = parseLine(line);

    // Kept even when empty, unless ill-formed.
    auto always = [&](int i) { return icuDecoded(fields[i]).value_or(UnicodeString()); };
    // Kept only when filled.
    auto optional = [&](int i) { return fields[i].empty() ? UnicodeString() : always(i); };
    SCOPED_TRACE(line);
    EXPECT_EQ(record.characterName(), always(1));
    EXPECT_EQ(record.generalCategory(), always(2));
    EXPECT_EQ(record.bidirectionalCategory(), always(4));
    EXPECT_EQ(record.characterDecompositionMapping(), optional(5));
    EXPECT_EQ(record.numericValueString(), optional(8));
    EXPECT_EQ(record.mirrored(), !fields[9].empty() && fields[9][0] == 'Y');
    EXPECT_EQ(record.unicode1Name(), always(10));
    EXPECT_EQ(record.commentField(), optional(11));
    EXPECT_EQ(record.uppercaseMapping(), optional(12));
    EXPECT_EQ(record.lowercaseMapping(), optional(13));
    const bool fallback = fields[14].empty() && !optional(12).empty();
    EXPECT_EQ(record.titlecaseMapping(), fallback ? optional(12) : optional(14));
    const std::string description = utf8(record.description());
    const bool nameAbsent = !icuDecoded(fields[1]).has_value();
    EXPECT_EQ(description.find("CharacterName: (null), ") != std::string::npos, nameAbsent);
  }
}

// Random bytes, as a broken file would give them, read the way the loader reads: no crash, no
// read past the data, and only the parser's own log lines.
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
      (void)record->characterDecompositionMappingArray();
      cursor += consumed;
    }
  }
  EXPECT_GT(records, 100u) << "the random data should hold some complete lines";
  for (const std::string& line : log.lines()) {
    EXPECT_TRUE(std::regex_match(line, described)) << line;
  }
}

// ---- Numeric value text ----------------------------------------------------------------------

TEST(NumericValueString, FractionsAndTheirFaults) {
  LogCapture log;
  EXPECT_EQ(numberFromNumericValueString(u"1/2"), 0.5f);
  EXPECT_EQ(numberFromNumericValueString(u"-3/4"), -0.75f);
  EXPECT_EQ(numberFromNumericValueString(u"1000000000000"), 1e12f);
  EXPECT_EQ(numberFromNumericValueString(u"1/3"), static_cast<float>(1.0 / 3.0));
  EXPECT_EQ(numberFromNumericValueString(u""), 0.0f);
  const float infinite = numberFromNumericValueString(u"1/0");
  EXPECT_TRUE(std::isinf(infinite) && infinite > 0);
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(numberFromNumericValueString(u"1/2/3"), 0.5f);
  EXPECT_EQ(numberFromNumericValueString(u"x/4"), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(u"3/-4"), 3.0f);
  EXPECT_EQ(numberFromNumericValueString(u"+3"), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(u" 3"), 0.0f);
  EXPECT_EQ(numberFromNumericValueString(std::nullopt), 0.0f);
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "more than two fractional components in '1/2/3'",
                             "nominator of 'x/4' contained non-digit",
                             "denominator of '3/-4' contained non-digit",
                             "nominator of '+3' contained non-digit",
                             "nominator of ' 3' contained non-digit",
                             "no fractional components in '(null)'",
                         }));
}

// ---- The text and scanner forms --------------------------------------------------------------

TEST(ConcreteDataScanner, EmptyFieldsTakeThePrecedingText) {
  LogCapture log;
  const auto record = QNUnicodeConcreteData::unicodeDataWithString(
      u"0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->codepoint(), 0x41u);
  EXPECT_EQ(record->characterName(), u"LATIN CAPITAL LETTER A");
  EXPECT_EQ(record->generalCategory(), u"Lu");
  EXPECT_EQ(record->bidirectionalCategory(), u"L");
  // The bidirectional category runs on into the decomposition, which holds no codepoint.
  EXPECT_EQ(record->characterDecompositionMapping(), u"L");
  EXPECT_TRUE(record->canonicalMapping());
  ASSERT_TRUE(record->characterDecompositionMappingArray());
  EXPECT_TRUE(record->characterDecompositionMappingArray()->empty());
  // ... and into the numeric field, which is then read as a (broken) number.
  EXPECT_EQ(record->numericValueString(), u"L");
  EXPECT_EQ(record->numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(record->numericValue()), 0.0f);
  EXPECT_FALSE(record->mirrored());
  EXPECT_EQ(record->unicode1Name(), u"L");
  EXPECT_EQ(record->commentField(), u"L");
  EXPECT_EQ(record->uppercaseMapping(), u"L");
  EXPECT_EQ(record->lowercaseMapping(), u"0061");
  EXPECT_EQ(record->titlecaseMapping(), u"0061");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"nominator of 'L' contained non-digit"});
}

TEST(ConcreteDataScanner, FilledLinesAndTheirLogLines) {
  LogCapture log;
  const auto full = QNUnicodeConcreteData::unicodeDataWithString(
      u"00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;N;FRACTION ONE "
      u"HALF;x;0041;0061;0042\n0042;NEXT");
  ASSERT_TRUE(full);
  EXPECT_EQ(full->numericType(), QNUnicodeNumericTypeNumeric);
  EXPECT_EQ(floatOf(full->numericValue()), 0.5f);
  EXPECT_EQ(array(*full), (std::vector<uint32_t>{0x31, 0x2044, 0x32}));
  EXPECT_TRUE(full->compatibilityMapping());
  EXPECT_EQ(full->titlecaseMapping(), u"0042");
  EXPECT_TRUE(log.lines().empty());

  const auto decimal = QNUnicodeConcreteData::unicodeDataWithString(
      u"0037;DIGIT SEVEN;Nd;9;EN;0037;7;7;7;Y;U;C;A;B;C");
  ASSERT_TRUE(decimal);
  EXPECT_EQ(decimal->numericType(), QNUnicodeNumericTypeDecimal);
  EXPECT_EQ(decimal->numericValue(), QNUnicodeNumericValue(int64_t{7}));
  EXPECT_EQ(decimal->canonicalCombiningClass(), 9u);
  EXPECT_TRUE(decimal->mirrored());

  const auto digit = QNUnicodeConcreteData::unicodeDataWithString(
      u"00B2;TWO;No;0;EN;<super> 0032;;2;2;N;A;B;C;D;E");
  ASSERT_TRUE(digit);
  EXPECT_EQ(digit->numericType(), QNUnicodeNumericTypeDigit);
  EXPECT_EQ(digit->numericValue(), QNUnicodeNumericValue(int64_t{2}));

  log.clear();
  const auto odd =
      QNUnicodeConcreteData::unicodeDataWithString(u"1F1A;X;Ll;0;L;0041;1;2;3;Yes;U;C;0041;;");
  ASSERT_TRUE(odd);
  EXPECT_FALSE(odd->mirrored());
  // The empty lowercase field took the uppercase text, and so did the titlecase field.
  EXPECT_EQ(odd->lowercaseMapping(), u"0041");
  EXPECT_EQ(odd->titlecaseMapping(), u"0041");
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "Unexpected mirrored value in UnicodeData.txt (ignoring): Yes"});

  log.clear();
  const auto noMirrored =
      QNUnicodeConcreteData::unicodeDataWithString(u"0041;A;Lu;0;L;0041;1;2;3;;U");
  ASSERT_TRUE(noMirrored);
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "Unexpected mirrored value in UnicodeData.txt (ignoring): (null)"});

  EXPECT_FALSE(QNUnicodeConcreteData::unicodeDataWithString(u""));
}

TEST(ConcreteDataScanner, NonASCIIAndUnpairedSurrogatesAreKept) {
  const UnicodeString name = u"NAME \U0001F600 \xD800 END";
  const auto record =
      QNUnicodeConcreteData::unicodeDataWithString(u"1F600;" + name + u";So;0;ON;0041;;;;N;;;;;");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->characterName(), name);
  EXPECT_TRUE(record->characterNameHasSuffix(u"\xD800 END"));
  EXPECT_FALSE(record->characterNameHasSuffix(u"\xD801 END"));

  qnunicode::QNScanner scanner(u"  0042;B;Lu;0;L;;;;;N;;;;0062;0042\n0043;C");
  const auto scanned = QNUnicodeConcreteData::unicodeDataWithScanner(scanner);
  ASSERT_TRUE(scanned);
  EXPECT_EQ(scanned->codepoint(), 0x42u);
  EXPECT_EQ(scanned->lowercaseMapping(), u"0062");
  EXPECT_EQ(scanner.remainingText(), u"0043;C") << "the scanner stops after the line feed";

  // Line ends are skipped before each item, so an empty last field takes the next line.
  qnunicode::QNScanner runOn(u"0042;B;Lu;0;L;;;;;N;;;;0062;\n0043;C");
  const auto ranOn = QNUnicodeConcreteData::unicodeDataWithScanner(runOn);
  ASSERT_TRUE(ranOn);
  EXPECT_EQ(ranOn->titlecaseMapping(), u"0043;C");
  EXPECT_TRUE(runOn.isAtEnd());
}

// ---- Decomposition field ---------------------------------------------------------------------

TEST(ConcreteDataDecomposition, FlagsAndCodepointsFromTheField) {
  QNUnicodeConcreteData record = parseLine("00C0;NAME;Lu;0;L;0041 0300;;;;N;;;;00E0;\n");

  record.characterDecompositionMappingWithString(u"<compat> 0020 0x301");
  EXPECT_EQ(array(record), (std::vector<uint32_t>{0x20, 0x301}));
  EXPECT_TRUE(record.compatibilityMapping());
  EXPECT_FALSE(record.canonicalMapping());
  // The decomposition text member is not touched, nor is any other field.
  EXPECT_EQ(record.characterDecompositionMapping(), u"0041 0300");
  EXPECT_EQ(record.characterName(), u"NAME");
  EXPECT_EQ(record.lowercaseMapping(), u"00E0");

  record.characterDecompositionMappingWithString(u"0041 zz 0300");
  EXPECT_EQ(array(record), std::vector<uint32_t>{0x41}) << "the codepoints stop at a non-hex token";
  EXPECT_TRUE(record.canonicalMapping());

  record.characterDecompositionMappingWithString(u"<noBreak>");
  ASSERT_TRUE(record.characterDecompositionMappingArray());
  EXPECT_TRUE(record.characterDecompositionMappingArray()->empty());
  EXPECT_TRUE(record.compatibilityMapping());

  record.characterDecompositionMappingWithString(u"< unterminated 0041");
  EXPECT_TRUE(record.characterDecompositionMappingArray()->empty());

  std::u16string many;
  for (int i = 0; i < 100; ++i) many += u"1F600 ";
  record.characterDecompositionMappingWithString(many);
  EXPECT_EQ(array(record), std::vector<uint32_t>(100, 0x1F600));

  for (const std::optional<std::u16string_view> text :
       {std::optional<std::u16string_view>(), std::optional<std::u16string_view>(u"")}) {
    record.characterDecompositionMappingWithString(text);
    EXPECT_FALSE(record.characterDecompositionMappingArray());
    EXPECT_FALSE(record.canonicalMapping());
    EXPECT_FALSE(record.compatibilityMapping());
  }
  EXPECT_EQ(record.characterName(), u"NAME");
}

// ---- Copies ----------------------------------------------------------------------------------

TEST(ConcreteDataCopy, CopiesThroughTheAccessors) {
  const QNUnicodeConcreteData original = parseLine(
      "00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;FRACTION ONE "
      "HALF;;;;\n");
  const std::shared_ptr<QNUnicodeData> copied = original.copy();
  ASSERT_TRUE(copied);
  EXPECT_EQ(typeid(*copied), typeid(QNUnicodeConcreteData));
  EXPECT_NE(copied.get(), &original);
  EXPECT_EQ(copied->characterName(), original.characterName());
  EXPECT_EQ(array(*copied), array(original));
  EXPECT_EQ(copied->numericValue(), original.numericValue());
  EXPECT_EQ(copied->numericType(), original.numericType());
  EXPECT_TRUE(copied->compatibilityMapping());
  EXPECT_FALSE(copied->canonicalMapping());
  EXPECT_TRUE(copied->mirrored());
  // Absent fields come back as empty ones.
  EXPECT_EQ(utf8(copied->description()),
            "CodeValue: 189, CharacterName: VULGAR FRACTION ONE HALF, GeneralCategory: No, "
            "CanonicalCombiningClass: 0, BidirectionalCategory: ON, CharacterDecompositionMapping: "
            "<fraction> 0031 2044 0032, NumericValue: 1/2, Mirrored: yes, Unicode1Name: FRACTION "
            "ONE HALF, CommentField: , UppercaseMapping: , LowercaseMapping: , TitlecaseMapping: ");

  // The canonical flag of a copy says whether the copied array has codepoints.
  const auto scanned = QNUnicodeConcreteData::unicodeDataWithString(
      u"0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;");
  ASSERT_TRUE(scanned->canonicalMapping());
  const QNUnicodeConcreteData scannedCopy(*scanned);
  EXPECT_FALSE(scannedCopy.canonicalMapping());
  ASSERT_TRUE(scannedCopy.characterDecompositionMappingArray());
  EXPECT_TRUE(scannedCopy.characterDecompositionMappingArray()->empty());
}

TEST(ConcreteDataCopy, ConcreteCopiesOfTheOtherKinds) {
  const QNUnicodeDefaultData unlisted(0x0378);
  const QNUnicodeConcreteData fromDefault(unlisted);
  EXPECT_EQ(fromDefault.codepoint(), 0x378u);
  EXPECT_EQ(fromDefault.characterName(), u"<reserved>");
  EXPECT_EQ(fromDefault.generalCategory(), u"Cn");
  EXPECT_FALSE(fromDefault.characterDecompositionMappingArray());
  EXPECT_FALSE(fromDefault.canonicalMapping());
  EXPECT_FALSE(fromDefault.numericValue());

  const auto first = std::make_shared<QNUnicodeConcreteData>(
      parseLine("4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n"));
  const QNUnicodePointerData member(0x4E01, first);
  const QNUnicodeConcreteData fromMember(member);
  EXPECT_EQ(fromMember.codepoint(), 0x4E01u);
  EXPECT_EQ(fromMember.characterName(), u"<CJK Ideograph>");
  EXPECT_EQ(fromMember.generalCategory(), u"Lo");
}

}  // namespace
