#include <gtest/gtest.h>
#include <strings.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>

#include <map>
#include <set>
#include <thread>
#include <typeinfo>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodeDefaultData.h"
#include "qnunicode/records/QNUnicodePointerData.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {
using namespace qnunicode::testing;
using Record = std::shared_ptr<const QNUnicodeData>;
using Lines = std::vector<std::string>;

struct SyntheticDatabase {
  explicit SyntheticDatabase(std::string_view unicodeData) {
    directory.write("UnicodeData.txt", unicodeData);
    database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{directory.path()},
                                                   std::vector<std::string>{});
  }
  ScratchDirectory directory;
  std::shared_ptr<QNUnicodeDatabase> database;
};

// F for a record of a file line, M for a range member, D for a default record.
char kindOf(const QNUnicodeData* record) {
  if (typeid(*record) == typeid(QNUnicodeConcreteData)) return 'F';
  if (typeid(*record) == typeid(QNUnicodePointerData)) return 'M';
  return typeid(*record) == typeid(QNUnicodeDefaultData) ? 'D' : '?';
}
std::string kindsOf(QNUnicodeDatabase& database, std::initializer_list<uint32_t> codepoints) {
  std::string kinds;
  for (const uint32_t c : codepoints) kinds += kindOf(database.unicodeDataForCodepoint(c).get());
  return kinds;
}

// Ranges with and without Last lines, duplicate lines and pairs, CR LF, a cut last line.
const char* const kSmallFile =
    "0041;FIRST A;Lu;0;L;;;;;N;;;;0061;\n0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;;;;;\n"
    "00C0;A WITH GRAVE;Lu;0;L;0041 0300;;;;N;;;;00E0;\n212B;ANGSTROM;Lu;0;L;00C5;;;;N;;;;00E5;\n"
    "1E00;SAME PAIR AGAIN;Lu;0;L;0041 0300;;;;N;;;;;\n00C2;NO CODEPOINT;Lu;0;L;zz;;;;N;;;;;\n"
    "00C1;THREE CODEPOINTS;Lu;0;L;0041 0301 0302;;;;N;;;;;\n"
    "00C3;COMPATIBILITY TRIPLE;Lu;0;L;<compat> 0041 0301 0302;;;;N;;;;;\n"
    "3400;<CJK Ideograph Extension A, First>;Lo;0;L;;;;;N;;;;;\n"
    "3405;<CJK Ideograph Extension A, Last>;Lo;0;L;;;;;N;;;;;\n"
    "4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n4E10;SOMETHING ELSE;Lo;0;L;;;;;N;;;;;\n"
    "4E20;<CJK Ideograph, Last>;Lo;0;L;;;;;N;;;;;\nA000;<A, First>;Lo;0;L;;;;;N;;;;;\n"
    "A010;<B, First>;Lo;0;L;;;;;N;;;;;\nA020;<B, Last>;Lo;0;L;;;;;N;;;;;\n"
    "B000;<C, Last>;Lo;0;L;;;;;N;;;;;\n0041;SECOND A;Cf;0;L;;;;;N;;;;0061;\r\n"
    "0043;LATIN CAPITAL LETTER C;Lu;0;L;;;;";

TEST(UnicodeDataLoading, RecordsRangesAndTables) {
  LogCapture log;
  SyntheticDatabase synthetic(kSmallFile);
  QNUnicodeDatabase& database = *synthetic.database;
  EXPECT_EQ(database.unicodeDataLineCount(), 0u) << "the count does not read the file";
  const Record letter = database.unicodeDataForCodepoint(0x41);
  EXPECT_EQ(letter->characterName() + letter->titlecaseMapping(), u"SECOND A\r");
  EXPECT_EQ(database.unicodeDataLineCount(), 18u);
  EXPECT_EQ(kindsOf(database,
                    {0x33FF, 0x3401, 0x3404, 0x3406, 0x4E05, 0x4E15, 0xA005, 0xA015, 0xAFFF, 0x43}),
            "DMMDDDDDDD");
  const Record member = database.unicodeDataForCodepoint(0x3404);
  EXPECT_EQ(member->characterName(), u"<CJK Ideograph Extension A>");
  EXPECT_EQ(static_cast<const QNUnicodePointerData&>(*member).referenceData(),
            database.unicodeDataForCodepoint(0x3400));
  std::string order;
  for (const QNUnicodeData* record : database.allUnicodeData()) {
    order += QNFormat("%X%c ", record->codepoint(), kindOf(record));
  }
  EXPECT_EQ(order,
            "41F 300F C0F 212BF 1E00F C2F C1F C3F 3400F 3401M 3402M 3403M 3404M 3405F 4E00F 4E10F "
            "4E20F A000F A010F A020F B000F 41F ");
  // Only two-codepoint canonical decompositions compose, the first of a pair kept.
  EXPECT_EQ(database.mappingDictionary(), (QNUnicodeMappingDictionary{{0x41, {{0x300, 0xC0}}}}));
  EXPECT_EQ(log.lines(),
            (Lines{"mapping exists for 65 768", "illegal mapping count: 0 for codepoint: 194",
                   "illegal mapping count: 3 for codepoint: 193", "no data"}));
  EXPECT_EQ(database.generalCategoryValues(),
            (std::set<UnicodeString>{u"Lu", u"Mn", u"Lo", u"Cf"}));
  EXPECT_EQ(database.bidirectionalCategoryValues(), (std::set<UnicodeString>{u"L", u"NSM"}));
  EXPECT_EQ(kindsOf(*SyntheticDatabase("").database, {0x41}), "D");
  // A page works its categories out block by block from the shared database's blocks.
  synthetic.directory.write("Blocks.txt",
                            "3000..303F; CJK\n3040..307F; KHAROSHTHI\n3080..30BF; ARABIC\n");
  QNUnicodeDatabase::setSharedDatabase(synthetic.database);
  std::u16string categories;
  for (const uint32_t c : {0x3000u, 0x3050u, 0x3090u, 0x30D0u, 0x3040u, 0x30BFu}) {
    categories += database.unicodeDataForCodepoint(c)->bidirectionalCategory() + u" ";
  }
  realDatabase();  // shared again
  EXPECT_EQ(categories, u"L R AL L R AL ");
}

// A range is filled when first asked for, unless a record read before it lies inside; either way
// lookups, the record list and the file-order walk see the members that filling at load makes.
TEST(UnicodeDataLoading, RangeMembersMadeLaterEqualThoseMadeAtLoad) {
  SyntheticDatabase synthetic(
      "4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n4E05;<CJK Ideograph, "
      "Last>;Lo;0;L;;;;;N;;;;;\n"
      "4E02;INSIDE, READ LATER;Mn;230;NSM;;;;;N;;;;;\n0102;READ EARLIER;Lu;0;L;;;;;N;;;;;\n"
      "0100;<Out Of Order, First>;Lo;0;L;;;;;N;;;;;\n0104;<Out Of Order, "
      "Last>;Lo;0;L;;;;;N;;;;;\n");
  QNUnicodeDatabase& database = *synthetic.database;
  const Record early = database.unicodeDataForCodepoint(0x4E01);
  EXPECT_EQ(early.get(), database.unicodeDataForCodepoint(0x4E01).get());
  EXPECT_EQ(kindsOf(database, {0x4E01, 0x4E02, 0x4E04, 0x101, 0x102, 0x103}), "MFMMMM");
  std::string walked;
  database.visitUnicodeDataInFileOrder([&](uint32_t codepoint, const QNUnicodeData& record) {
    walked += QNFormat("%X:%u ", codepoint, record.canonicalCombiningClass());
  });
  std::string listed, classes;
  for (const QNUnicodeData* record : database.allUnicodeData()) {
    listed += QNFormat("%X%c ", record->codepoint(), kindOf(record));
    classes += QNFormat("%X:%u ", record->codepoint(), record->canonicalCombiningClass());
  }
  EXPECT_EQ(listed, "4E00F 4E01M 4E02M 4E03M 4E04M 4E05F 4E02F 102F 100F 101M 102M 103M 104F ");
  EXPECT_EQ(walked, classes);
  EXPECT_EQ(database.allUnicodeData()[1], early.get()) << "the member asked for first is listed";
  EXPECT_EQ(database.unicodeDataForCodepoint(0x4E02)->characterName(), u"INSIDE, READ LATER");
}

// A file large enough to be parsed in many stretches on two threads: lines of the form
// 1000;LETTER 1000;... with a few lines replaced.
constexpr size_t kLargeFileLines = 40000;
std::string largeFile(const std::map<size_t, std::string>& replaced) {
  std::string text;
  for (size_t line = 0; line < kLargeFileLines; ++line) {
    const auto found = replaced.find(line);
    text += found != replaced.end()
                ? found->second
                : QNFormat("%04zX;LETTER %04zX;Lu;0;L;;;;;N;;;;;\n", 0x1000 + line, 0x1000 + line);
  }
  return text;
}

// The lines are parsed in stretches on two threads: log lines still come in file order (each
// line's own, then those of what it adds), and broken lines that run across the points where
// stretches may start give the records of one pass from the start.
TEST(UnicodeDataLoading, FilesReadInStretchesAnswerAsOnePass) {
  const std::string pair = "2000;PAIR;Lu;0;L;0041 0300;;;;N;;;;;\n";
  const std::string odd = "2001;ODD MIRRORED;Lu;0;L;;;;;Q;;;;;\n";
  {
    LogCapture log;
    SyntheticDatabase synthetic(largeFile({{100, pair},
                                           {9000, pair},
                                           {18000, odd},
                                           {27000, odd},
                                           {31000, "2002;TRIPLE;Lu;0;L;0041 0301 0302;;;;N;;;;;\n"},
                                           {39999, odd}}));
    EXPECT_EQ(synthetic.database->unicodeDataForCodepoint(0x1F9F)->characterName(), u"LETTER 1F9F");
    const std::string mirrored = "Unexpected mirrored value in UnicodeData.txt (ignoring)";
    EXPECT_EQ(log.lines(), (Lines{"mapping exists for 65 768", mirrored, mirrored,
                                  "illegal mapping count: 3 for codepoint: 8194", mirrored}));
    EXPECT_EQ(synthetic.database->unicodeDataLineCount(), kLargeFileLines);
  }
  // The lines that hold the points where a file is cut into two to sixteen equal stretches lack
  // their separators (their length kept): their fields run on into the next line, which is
  // where a stretch would start.
  std::string text = largeFile({});
  for (size_t stretches = 2; stretches <= 16; ++stretches) {
    for (size_t i = 1; i < stretches; ++i) {
      const size_t broken = text.rfind('\n', text.size() / stretches * i) + 1;
      const size_t length = text.find('\n', broken) - broken;
      text.replace(broken, length, ("BROKEN;LINE" + std::string(length, 'X')).substr(0, length));
    }
  }
  std::vector<std::string> oracle;
  for (size_t at = 0; at < text.size();) {
    size_t consumed = 0;
    const auto record = QNUnicodeConcreteData::unicodeDataWithBytes(
        text.data() + at, text.data() + text.size(), &consumed);
    if (!record) break;
    oracle.push_back(qnunicode::toUTF8(record->characterName()));
    at += consumed;
  }
  SyntheticDatabase synthetic(text);
  std::vector<std::string> read;
  for (const QNUnicodeConcreteData* record : synthetic.database->unicodeDataFileRecords()) {
    read.push_back(qnunicode::toUTF8(record->characterName()));
  }
  EXPECT_LT(oracle.size(), kLargeFileLines - 50) << "each broken line takes the next one with it";
  EXPECT_EQ(read, oracle);
}

TEST(UnicodeDataLoading, MissingFileIsRetriedOnEveryUse) {
  ScratchDirectory directory;
  QNUnicodeDatabase database({directory.path()}, {});
  const auto delegate = std::make_shared<RecordingDelegate>();
  database.setDelegate(delegate);
  EXPECT_FALSE(database.unicodeDataForCodepoint(0x41) ||
               database.unicodeDataForCodepointNumber(0x100000041ull));
  EXPECT_TRUE(database.allUnicodeData().empty() && database.mappingDictionary().empty() &&
              database.generalCategoryValues().empty() &&
              database.bidirectionalCategoryValues().empty());
  EXPECT_EQ(delegate->prefixes, std::vector<UnicodeString>(6, u"UnicodeData"));
  database.setDelegate(nullptr);
  LogCapture log;
  EXPECT_FALSE(database.unicodeDataForCodepoint(0x41) || database.unicodeDataForCodepoint(0x42));
  EXPECT_EQ(log.lines(), Lines(2, "QNUnicodeDatabase could not find file 'UnicodeData'"));
  database.setDelegate(delegate);
  directory.write("UnicodeData.txt", kSmallFile);
  const Record grave = database.unicodeDataForCodepointNumber(0x100000300ull);  // modulo 2^32
  EXPECT_EQ(grave ? grave->characterName() : u"", u"COMBINING GRAVE ACCENT");
  EXPECT_EQ(delegate->prefixes.size(), 6u) << "no notification once the file is there";
}

// A record made on demand belongs to the database: the same on every thread and after its
// holders let go.
TEST(UnicodeDataOnDemand, RecordsAreSharedWhileHeld) {
  const auto database = realDatabase();
  Record held = database->unicodeDataForCodepoint(0x0378);
  EXPECT_EQ(database->unicodeDataForCodepoint(0x50000)->codepoint(), 0x50000u);  // another page
  EXPECT_EQ(database->unicodeDataForCodepoint(0x0378).get(), held.get());
  const QNUnicodeData* const address = held.get();
  held.reset();
  EXPECT_EQ(database->unicodeDataForCodepoint(0x0378).get(), address) << "kept by the database";
  EXPECT_EQ(database->unicodeDataForCodepoint(0x0378).use_count(), 0) << "no reference counting";
  const Record beyond = database->unicodeDataForCodepoint(0xFFFFFFFF);  // no slot, no cache
  EXPECT_EQ(kindOf(beyond.get()) + std::to_string(beyond->codepoint()), "D4294967295");
  EXPECT_NE(database->unicodeDataForCodepoint(0xFFFFFFFF), beyond);
  constexpr uint32_t kFirst = 0x60000, kCount = 0x8000;
  std::vector<std::vector<Record>> records(4, std::vector<Record>(kCount));
  std::vector<std::thread> threads;
  for (size_t t = 0; t < records.size(); ++t) {
    threads.emplace_back([&, t] {
      for (uint32_t n = 0; n < kCount; ++n) {  // each thread in its own order
        const uint32_t i = t % 2 ? kCount - 1 - n : n;
        records[t][i] = database->unicodeDataForCodepoint(kFirst + i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (uint32_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(records[0][i]->codepoint(), kFirst + i);
    for (size_t t = 1; t < records.size(); ++t) ASSERT_EQ(records[t][i], records[0][i]);
  }
}

// A range from 0 is never used above 0x10FFFF; a Last line below its First line wraps round.
TEST(UnicodeDataOnDemand, RangeMembersForSlotsThatStayedEmpty) {
  const std::string ranges =
      "6080;<W, First>;Lo;0;L;;;;;N;;;;;\n5000;<W, Last>;Lo;0;L;;;;;N;;;;;\n"
      "10FFF0;<P, First>;Co;0;L;;;;;N;;;;;\n110005;<P, Last>;Co;0;L;;;;;N;;;;;\n";
  const SyntheticDatabase fromZero(
      "0000;<Z, First>;Cc;0;BN;;;;;N;;;;;\n200000;<Z, Last>;Cc;0;BN;;;;;N;;;;;\n" + ranges);
  QNUnicodeDatabase& database = *fromZero.database;
  EXPECT_EQ(kindsOf(database, {0x5000, 0x6010, 0x110002, 0x250000}), "FMDM");
  EXPECT_NE(database.unicodeDataForCodepoint(0x250000), database.unicodeDataForCodepoint(0x250000));
  std::optional<SyntheticDatabase> alone(ranges);
  EXPECT_EQ(kindsOf(*alone->database, {0x5FFF, 0x6010, 0x6081, 0x10FFF5}), "DDMM");
  Record member = alone->database->unicodeDataForCodepoint(0x7000);
  EXPECT_EQ(alone->database->unicodeDataForCodepoint(0x7000).get(), member.get());
  EXPECT_EQ(member->characterName(), u"<W>");
  const QNUnicodeData* const address = member.get();
  member.reset();
  EXPECT_EQ(alone->database->unicodeDataForCodepoint(0x7000).get(), address) << "kept";
  const Record unlisted = alone->database->unicodeDataForCodepoint(0x05FE);
  const QNUnicodeDefaultData copied(static_cast<const QNUnicodeDefaultData&>(*unlisted));
  alone.reset();
  EXPECT_EQ(copied.bidirectionalCategory(), u"R") << "a copy outlives the database";
}

std::string icuName(UProperty property, int32_t value,
                    UPropertyNameChoice choice = U_SHORT_PROPERTY_NAME) {
  const char* name = u_getPropertyValueName(property, value, choice);
  return name ? name : "?";
}

uint32_t mappedOrSelf(const UnicodeString& hex, uint32_t c) {
  return hex.empty() ? c : static_cast<uint32_t>(std::stoul(qnunicode::toUTF8(hex), nullptr, 16));
}

TEST(UnicodeDataAgainstICU, EveryCodepoint) {
  const auto database = realDatabase();
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfkc = icu::Normalizer2::getNFKCInstance(status);
  ASSERT_TRUE(U_SUCCESS(status));
  size_t bidiDifferences = 0, unihanNumerics = 0;
  QNUnicodeMappingDictionary pairs;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    SCOPED_TRACE(QNFormat("U+%04X", c));
    const Record record = database->unicodeDataForCodepoint(c);
    ASSERT_EQ(record ? record->codepoint() : ~c, c);
    const char kind = kindOf(record.get());
    ASSERT_EQ(qnunicode::toUTF8(record->generalCategory()),
              icuName(UCHAR_GENERAL_CATEGORY, u_charType(c)));
    ASSERT_EQ(record->canonicalCombiningClass(), u_getCombiningClass(c));
    ASSERT_EQ(record->mirrored(), static_cast<bool>(u_isMirrored(c)));
    const std::string icuBidi = icuName(UCHAR_BIDI_CLASS, u_charDirection(c));
    const UnicodeString bidi = record->bidirectionalCategory();
    ASSERT_EQ(bidi, kind == 'D' ? QNUnicodeDefaultData(c).bidirectionalCategory()
                                : qnunicode::fromUTF8(icuBidi));
    bidiDifferences += kind == 'D' && qnunicode::toUTF8(bidi) != icuBidi;
    // Hangul syllables decompose by algorithm, not by their (range) records.
    const bool hangul = c >= 0xAC00 && c <= 0xD7A3;
    const int32_t type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
    icu::UnicodeString raw;
    const auto mapping = record->characterDecompositionMappingArray();
    ASSERT_EQ(mapping.has_value(), !hangul && nfkc->getRawDecomposition(c, raw));
    ASSERT_EQ(record->canonicalMapping(), !hangul && type == U_DT_CANONICAL);
    ASSERT_EQ(record->compatibilityMapping(), type != U_DT_CANONICAL && type != U_DT_NONE);
    std::vector<uint32_t> expected;
    for (int32_t i = 0; i < raw.length(); i = raw.moveIndex32(i, 1)) {
      expected.push_back(static_cast<uint32_t>(raw.char32At(i)));
    }
    const auto array = mapping.value_or(std::span<const uint32_t>());
    ASSERT_EQ(std::vector<uint32_t>(array.begin(), array.end()), expected);
    if (record->canonicalMapping() && expected.size() == 2) pairs[expected[0]][expected[1]] = c;
    const std::string tag = "<" + icuName(UCHAR_DECOMPOSITION_TYPE, type, U_LONG_PROPERTY_NAME);
    const std::string written = qnunicode::toUTF8(record->characterDecompositionMapping());
    ASSERT_TRUE(!record->compatibilityMapping() ||
                !strncasecmp(written.c_str(), (tag + ">").c_str(), tag.size() + 1))
        << written;
    const int32_t numericType = u_getIntPropertyValue(c, UCHAR_NUMERIC_TYPE);
    std::optional<QNUnicodeNumericValue> value;
    if (numericType == U_NT_NUMERIC) value = static_cast<float>(u_getNumericValue(c));
    if (numericType == U_NT_DECIMAL || numericType == U_NT_DIGIT) {
      value = static_cast<int64_t>(u_getNumericValue(c));
    }
    // ICU adds the numeric values of Unihan for ideographs.
    if (!record->numericValue() && value && u_hasBinaryProperty(c, UCHAR_IDEOGRAPHIC)) {
      ++unihanNumerics;
    } else {
      ASSERT_EQ(static_cast<int32_t>(record->numericType()), numericType);
      ASSERT_EQ(record->numericValue(), value);
    }
    ASSERT_EQ(mappedOrSelf(record->uppercaseMapping(), c), static_cast<uint32_t>(u_toupper(c)));
    ASSERT_EQ(mappedOrSelf(record->lowercaseMapping(), c), static_cast<uint32_t>(u_tolower(c)));
    ASSERT_EQ(mappedOrSelf(record->titlecaseMapping(), c), static_cast<uint32_t>(u_totitle(c)));
    if (kind == 'F' && !record->characterName().starts_with(u"<")) {
      char name[256];
      const int32_t length = u_charName(c, U_UNICODE_CHAR_NAME, name, sizeof name, &status);
      ASSERT_EQ(qnunicode::toUTF8(record->characterName()), std::string(name, size_t(length)));
    }
  }
  EXPECT_EQ(database->mappingDictionary(), pairs);
  // Unlisted codepoints: ICU follows DerivedBidiClass, the records their ranges and blocks.
  EXPECT_EQ(bidiDifferences, 5434u);
  EXPECT_EQ(unihanNumerics, 73u);
}
}  // namespace
