#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iostream>
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

using qnunicode::testing::LogCapture;
using qnunicode::testing::realDatabase;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

// A database over a directory that holds one UnicodeData.txt with the given content.
struct SyntheticDatabase {
  explicit SyntheticDatabase(std::string_view unicodeData) {
    directory.write("UnicodeData.txt", unicodeData);
    database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{directory.path()},
                                                   std::vector<std::string>{});
  }
  ScratchDirectory directory;
  std::shared_ptr<QNUnicodeDatabase> database;
};

bool isKind(const std::shared_ptr<const QNUnicodeData>& record, const std::type_info& kind) {
  return record && typeid(*record) == kind;
}
bool isFileRecord(const std::shared_ptr<const QNUnicodeData>& record) {
  return isKind(record, typeid(QNUnicodeConcreteData));
}
bool isRangeMember(const std::shared_ptr<const QNUnicodeData>& record) {
  return isKind(record, typeid(QNUnicodePointerData));
}
bool isDefault(const std::shared_ptr<const QNUnicodeData>& record) {
  return isKind(record, typeid(QNUnicodeDefaultData));
}

const QNUnicodeData* referenceOf(const std::shared_ptr<const QNUnicodeData>& record) {
  return static_cast<const QNUnicodePointerData&>(*record).referenceData().get();
}

std::vector<uint32_t> codepointsOf(const std::vector<const QNUnicodeData*>& records) {
  std::vector<uint32_t> codepoints;
  for (const QNUnicodeData* record : records) codepoints.push_back(record->codepoint());
  return codepoints;
}

std::vector<std::string> linesContaining(const LogCapture& log, std::string_view part) {
  std::vector<std::string> found;
  for (const std::string& line : log.lines()) {
    if (line.find(part) != std::string::npos) found.push_back(line);
  }
  return found;
}

const char* const kSmallFile =
    "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n"
    "0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;NON-SPACING GRAVE;;;;\n"
    "00C0;LATIN CAPITAL LETTER A WITH GRAVE;Lu;0;L;0041 0300;;;;N;;;;00E0;\n"
    "212B;ANGSTROM SIGN;Lu;0;L;00C5;;;;N;ANGSTROM UNIT;;;00E5;\n"
    "3400;<CJK Ideograph Extension A, First>;Lo;0;L;;;;;N;;;;;\n"
    "3405;<CJK Ideograph Extension A, Last>;Lo;0;L;;;;;N;;;;;\n";

// ---- Small files -------------------------------------------------------------------------------

TEST(UnicodeDataLoading, RecordsRangesAndTables) {
  SyntheticDatabase synthetic(kSmallFile);
  QNUnicodeDatabase& database = *synthetic.database;
  EXPECT_EQ(database.unicodeDataLineCount(), 0u) << "the count does not read the file";

  const auto letter = database.unicodeDataForCodepoint(0x41);
  ASSERT_TRUE(isFileRecord(letter));
  EXPECT_EQ(letter->characterName(), u"LATIN CAPITAL LETTER A");
  EXPECT_EQ(database.unicodeDataLineCount(), 6u);
  EXPECT_EQ(database.unicodeDataForCodepoint(0x41).get(), letter.get());

  const auto first = database.unicodeDataForCodepoint(0x3400);
  const auto last = database.unicodeDataForCodepoint(0x3405);
  ASSERT_TRUE(isFileRecord(first));
  ASSERT_TRUE(isFileRecord(last));
  EXPECT_EQ(last->characterName(), u"<CJK Ideograph Extension A, Last>");
  for (uint32_t codepoint = 0x3401; codepoint < 0x3405; ++codepoint) {
    const auto member = database.unicodeDataForCodepoint(codepoint);
    ASSERT_TRUE(isRangeMember(member)) << std::hex << codepoint;
    EXPECT_EQ(member->codepoint(), codepoint);
    EXPECT_EQ(member->characterName(), u"<CJK Ideograph Extension A>");
    EXPECT_EQ(referenceOf(member), first.get());
  }
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x3406)));
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x33FF)));

  // File order, the members between their First and Last lines.
  EXPECT_EQ(codepointsOf(database.allUnicodeData()),
            (std::vector<uint32_t>{0x41, 0x300, 0xC0, 0x212B, 0x3400, 0x3401, 0x3402, 0x3403,
                                   0x3404, 0x3405}));
  EXPECT_EQ(database.allUnicodeData()[3], database.unicodeDataForCodepoint(0x212B).get());

  // Only the two-codepoint canonical decomposition composes; the singleton is left out.
  const QNUnicodeMappingDictionary expected = {{0x41, {{0x300, 0xC0}}}};
  EXPECT_EQ(database.mappingDictionary(), expected);
  EXPECT_EQ(database.generalCategoryValues(), (std::set<UnicodeString>{u"Lu", u"Mn", u"Lo"}));
  EXPECT_EQ(database.bidirectionalCategoryValues(), (std::set<UnicodeString>{u"L", u"NSM"}));
}

TEST(UnicodeDataLoading, OnlyTheLineAfterAFirstLineCanCloseTheRange) {
  SyntheticDatabase synthetic(
      "4E00;<CJK Ideograph, First>;Lo;0;L;;;;;N;;;;;\n"
      "4E10;SOMETHING ELSE;Lo;0;L;;;;;N;;;;;\n"
      "4E20;<CJK Ideograph, Last>;Lo;0;L;;;;;N;;;;;\n"
      // The line after a First line is never taken for a First line itself.
      "A000;<A, First>;Lo;0;L;;;;;N;;;;;\n"
      "A010;<B, First>;Lo;0;L;;;;;N;;;;;\n"
      "A020;<B, Last>;Lo;0;L;;;;;N;;;;;\n"
      // A Last line without a First line before it.
      "B000;<C, Last>;Lo;0;L;;;;;N;;;;;\n"
      "C000;<D, First>;Lo;0;L;;;;;N;;;;;\n"
      "C003;<D, Last>;Lo;0;L;;;;;N;;;;;\n");
  QNUnicodeDatabase& database = *synthetic.database;
  for (const uint32_t unlisted : {0x4E05u, 0x4E15u, 0xA005u, 0xA015u, 0xAFFFu}) {
    EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(unlisted))) << std::hex << unlisted;
  }
  EXPECT_TRUE(isRangeMember(database.unicodeDataForCodepoint(0xC001)));
  EXPECT_TRUE(isRangeMember(database.unicodeDataForCodepoint(0xC002)));
  EXPECT_EQ(database.unicodeDataLineCount(), 9u);
  EXPECT_EQ(database.allUnicodeData().size(), 11u);
}

TEST(UnicodeDataLoading, DuplicateLinesAndCanonicalPairs) {
  LogCapture log;
  SyntheticDatabase synthetic(
      "0041;FIRST A;Lu;0;L;;;;;N;;;;0061;\n"
      "00C0;A WITH GRAVE;Lu;0;L;0041 0300;;;;N;;;;00E0;\n"
      "1E00;SAME PAIR AGAIN;Lu;0;L;0041 0300;;;;N;;;;;\n"
      "00C1;THREE CODEPOINTS;Lu;0;L;0041 0301 0302;;;;N;;;;;\n"
      "00C2;NO CODEPOINT;Lu;0;L;zz;;;;N;;;;;\n"
      "00C3;COMPATIBILITY TRIPLE;Lu;0;L;<compat> 0041 0301 0302;;;;N;;;;;\n"
      "0041;SECOND A;Lu;0;L;;;;;N;;;;0061;\n");
  QNUnicodeDatabase& database = *synthetic.database;
  const auto letter = database.unicodeDataForCodepoint(0x41);
  ASSERT_TRUE(letter);
  EXPECT_EQ(letter->characterName(), u"SECOND A") << "a later line takes the slot";
  EXPECT_EQ(database.unicodeDataLineCount(), 7u);
  ASSERT_EQ(database.allUnicodeData().size(), 7u);
  EXPECT_EQ(database.allUnicodeData().front()->characterName(), u"FIRST A");

  EXPECT_EQ(database.mappingDictionary(), (QNUnicodeMappingDictionary{{0x41, {{0x300, 0xC0}}}}));
  EXPECT_EQ(linesContaining(log, "mapping"),
            (std::vector<std::string>{"mapping exists for 65 768",
                                      "illegal mapping count: 3 for codepoint: 193",
                                      "illegal mapping count: 0 for codepoint: 194"}));
}

TEST(UnicodeDataLoading, MissingFileIsRetriedOnEveryUse) {
  ScratchDirectory directory;
  QNUnicodeDatabase database({directory.path()}, {});
  const auto delegate = std::make_shared<RecordingDelegate>();
  database.setDelegate(delegate);

  EXPECT_FALSE(database.unicodeDataForCodepoint(0x41));
  EXPECT_FALSE(database.unicodeDataForCodepointNumber(0x100000041ull));
  EXPECT_TRUE(database.allUnicodeData().empty());
  EXPECT_TRUE(database.mappingDictionary().empty());
  EXPECT_TRUE(database.generalCategoryValues().empty());
  EXPECT_TRUE(database.bidirectionalCategoryValues().empty());
  EXPECT_EQ(database.unicodeDataLineCount(), 0u);
  EXPECT_EQ(delegate->prefixes, std::vector<UnicodeString>(6, u"UnicodeData"));

  // Without a delegate the database says so in the log, again on every use.
  database.setDelegate(nullptr);
  {
    LogCapture log;
    EXPECT_FALSE(database.unicodeDataForCodepoint(0x41));
    EXPECT_FALSE(database.unicodeDataForCodepoint(0x42));
    EXPECT_EQ(linesContaining(log, "could not find"),
              std::vector<std::string>(2, "QNUnicodeDatabase could not find file 'UnicodeData'"));
  }

  database.setDelegate(delegate);
  directory.write("UnicodeData.txt", kSmallFile);
  // The number is taken modulo 2 to the 32.
  const auto letter = database.unicodeDataForCodepointNumber(0x100000041ull);
  ASSERT_TRUE(letter);
  EXPECT_EQ(letter->characterName(), u"LATIN CAPITAL LETTER A");
  EXPECT_EQ(database.unicodeDataLineCount(), 6u);
  EXPECT_EQ(delegate->prefixes.size(), 6u) << "no notification once the file is there";
}

TEST(UnicodeDataLoading, DataThatEndsInsideALine) {
  LogCapture log;
  SyntheticDatabase synthetic(
      "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\r\n"
      "0042;LATIN CAPITAL LETTER B;Lu;0;L;;;;;N;;;;0062;\r\n"
      "0043;LATIN CAPITAL LETTER C;Lu;0;L;;;;");
  EXPECT_EQ(synthetic.database->unicodeDataForCodepoint(0x42)->titlecaseMapping(), u"\r");
  EXPECT_TRUE(isDefault(synthetic.database->unicodeDataForCodepoint(0x43)));
  EXPECT_EQ(synthetic.database->unicodeDataLineCount(), 2u);
  EXPECT_EQ(linesContaining(log, "no data"), std::vector<std::string>{"no data"});

  SyntheticDatabase empty("");
  EXPECT_TRUE(isDefault(empty.database->unicodeDataForCodepoint(0x41)));
  EXPECT_EQ(empty.database->unicodeDataLineCount(), 0u);
}

// ---- Records made on demand -------------------------------------------------------------------

TEST(UnicodeDataOnDemand, AnUnlistedCodepointKeepsItsRecordWhileHeld) {
  const auto database = realDatabase();
  std::shared_ptr<const QNUnicodeData> held = database->unicodeDataForCodepoint(0x0378);
  ASSERT_TRUE(isDefault(held));
  EXPECT_EQ(held->codepoint(), 0x378u);
  EXPECT_EQ(held->characterName(), u"<reserved>");
  EXPECT_EQ(database->unicodeDataForCodepoint(0x0378).get(), held.get());
  auto neighbour = database->unicodeDataForCodepoint(0x0379);
  EXPECT_NE(neighbour.get(), held.get());
  EXPECT_EQ(neighbour->codepoint(), 0x379u);

  // Ask for codepoints all over the space in between: the held one stays the same.
  for (uint32_t codepoint = 0x50000; codepoint < 0x60000; codepoint += 0x100) {
    ASSERT_EQ(database->unicodeDataForCodepoint(codepoint)->codepoint(), codepoint);
  }
  EXPECT_EQ(database->unicodeDataForCodepoint(0x0378).get(), held.get());

  // Released by everybody, the record goes: the cache owns nothing.
  std::weak_ptr<const QNUnicodeData> watched = held;
  held.reset();
  EXPECT_FALSE(watched.expired()) << "its neighbour holds the page of 256 records";
  neighbour.reset();
  EXPECT_EQ(database->unicodeDataForCodepoint(0x50000)->codepoint(), 0x50000u);
  EXPECT_TRUE(watched.expired());
}

TEST(UnicodeDataOnDemand, BeyondTheLastCodepointNothingIsCached) {
  const auto database = realDatabase();
  for (const uint32_t value : {0x110000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    const auto first = database->unicodeDataForCodepoint(value);
    const auto second = database->unicodeDataForCodepoint(value);
    ASSERT_TRUE(isDefault(first));
    EXPECT_EQ(first->codepoint(), value);
    EXPECT_EQ(first->generalCategory(), u"Cn");
    EXPECT_NE(first.get(), second.get());
  }
}

TEST(UnicodeDataOnDemand, ThreadsShareTheRecordsTheyHold) {
  const auto database = realDatabase();
  constexpr uint32_t kFirst = 0x60000, kCount = 0x8000;
  std::vector<std::vector<std::shared_ptr<const QNUnicodeData>>> held(4);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < held.size(); ++t) {
    threads.emplace_back([&, t] {
      for (uint32_t i = 0; i < kCount; ++i) {
        // Each thread walks in its own order.
        const uint32_t codepoint = kFirst + (t % 2 ? kCount - 1 - i : i);
        held[t].push_back(database->unicodeDataForCodepoint(codepoint));
      }
      if (t % 2) std::reverse(held[t].begin(), held[t].end());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (uint32_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(held[0][i]->codepoint(), kFirst + i);
    for (size_t t = 1; t < held.size(); ++t) ASSERT_EQ(held[t][i].get(), held[0][i].get());
  }
}

TEST(UnicodeDataOnDemand, RecordsOutliveTheirDatabase) {
  std::shared_ptr<const QNUnicodeData> unlisted;
  {
    SyntheticDatabase synthetic(kSmallFile);
    unlisted = synthetic.database->unicodeDataForCodepoint(0x05FE);
  }
  ASSERT_TRUE(isDefault(unlisted));
  EXPECT_EQ(unlisted->codepoint(), 0x5FEu);
  EXPECT_EQ(unlisted->characterName(), u"<reserved>");
  EXPECT_EQ(unlisted->bidirectionalCategory(), u"R");

  // A copy of a record of a page stands on its own once the page is gone.
  const QNUnicodeDefaultData copied(static_cast<const QNUnicodeDefaultData&>(*unlisted));
  unlisted.reset();
  realDatabase()->unicodeDataForCodepoint(0x50000);  // the thread lets go of the page
  EXPECT_EQ(copied.codepoint(), 0x5FEu);
  EXPECT_EQ(copied.bidirectionalCategory(), u"R");
}

// A First/Last pair whose slots stay empty (a Last line below its First line, a Last line above
// 0x10FFFF) gets range members on demand; a range starting at 0 is never used for them.
TEST(UnicodeDataOnDemand, RangeMembersForSlotsThatStayedEmpty) {
  SyntheticDatabase synthetic(
      "0000;<Zero, First>;Cc;0;BN;;;;;N;;;;;\n"
      "200000;<Zero, Last>;Cc;0;BN;;;;;N;;;;;\n"
      "6000;<Wrapped, First>;Lo;0;L;;;;;N;;;;;\n"
      "5000;<Wrapped, Last>;Lo;0;L;;;;;N;;;;;\n"
      "10FFF0;<Plane 16, First>;Co;0;L;;;;;N;;;;;\n"
      "110005;<Plane 16, Last>;Co;0;L;;;;;N;;;;;\n");
  QNUnicodeDatabase& database = *synthetic.database;
  ASSERT_TRUE(database.unicodeDataForCodepoint(0));
  // Every slot below 0x110000 holds a member of the first range or a line of its own.
  const auto member = database.unicodeDataForCodepoint(0x7000);
  ASSERT_TRUE(isRangeMember(member));
  EXPECT_EQ(member->characterName(), u"<Zero>");
  EXPECT_TRUE(isFileRecord(database.unicodeDataForCodepoint(0x5000)));
  EXPECT_EQ(database.unicodeDataForCodepoint(0x10FFF5)->characterName(), u"<Plane 16>");
  EXPECT_EQ(database.unicodeDataForCodepoint(0x10FFFF)->generalCategory(), u"Co");

  // Above 0x10FFFF: inside the range from 0, which is never used, so a default record ...
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x110002)));
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x1FFFFF)));
  // ... and past it, inside the wrapped range (0x6000 to 0x6000 + 0xFFFFF000).
  const auto wrapped = database.unicodeDataForCodepoint(0x250000);
  ASSERT_TRUE(isRangeMember(wrapped));
  EXPECT_EQ(wrapped->codepoint(), 0x250000u);
  EXPECT_EQ(wrapped->characterName(), u"<Wrapped>");
  EXPECT_EQ(referenceOf(wrapped), database.unicodeDataForCodepoint(0x6000).get());
  EXPECT_NE(database.unicodeDataForCodepoint(0x250000).get(), wrapped.get())
      << "no slot above 0x10FFFF, so nothing is cached";
}

TEST(UnicodeDataOnDemand, RangeMembersMadeOnDemandAreCachedWhileHeld) {
  SyntheticDatabase synthetic(
      "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n"
      "6080;<Wrapped, First>;Lo;0;L;;;;;N;;;;;\n"
      "5000;<Wrapped, Last>;Lo;0;L;;;;;N;;;;;\n");
  QNUnicodeDatabase& database = *synthetic.database;
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x4FFF)));
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x5FFF)));
  std::shared_ptr<const QNUnicodeData> member = database.unicodeDataForCodepoint(0x6081);
  ASSERT_TRUE(isRangeMember(member));
  EXPECT_EQ(member->characterName(), u"<Wrapped>");
  EXPECT_EQ(database.unicodeDataForCodepoint(0x6081).get(), member.get());
  EXPECT_TRUE(isRangeMember(database.unicodeDataForCodepoint(0x10FFFF)));
  // In the page of the First line, the codepoints before it are not in the range.
  EXPECT_TRUE(isDefault(database.unicodeDataForCodepoint(0x6010)));

  std::weak_ptr<const QNUnicodeData> watched = member;
  member.reset();
  EXPECT_TRUE(watched.expired());
  // Many members made and dropped: the cache forgets them as it goes.
  for (uint32_t codepoint = 0x7000; codepoint < 0x9000; ++codepoint) {
    ASSERT_EQ(database.unicodeDataForCodepoint(codepoint)->codepoint(), codepoint);
  }
}

// A page works its categories out from the blocks of the shared database, block by block.
TEST(UnicodeDataOnDemand, PageCategoriesFollowTheSharedDatabasesBlocks) {
  SyntheticDatabase synthetic(kSmallFile);
  synthetic.directory.write("Blocks.txt",
                            "3000..303F; CJK Symbols and Punctuation\n"
                            "3040..307F; KHAROSHTHI\n"
                            "3080..30BF; Arabic Presentation Forms-A\n"
                            "30C0..30FF; Katakana\n");
  const std::shared_ptr<QNUnicodeDatabase> previous = QNUnicodeDatabase::sharedDatabase();
  QNUnicodeDatabase::setSharedDatabase(synthetic.database);
  std::vector<UnicodeString> categories;
  for (const uint32_t c : {0x3000u, 0x3050u, 0x3090u, 0x30D0u, 0x3040u, 0x30BFu}) {
    categories.push_back(synthetic.database->unicodeDataForCodepoint(c)->bidirectionalCategory());
  }
  QNUnicodeDatabase::setSharedDatabase(previous);
  EXPECT_EQ(categories, (std::vector<UnicodeString>{u"L", u"R", u"AL", u"L", u"R", u"AL"}));
}

// ---- The real UnicodeData against ICU --------------------------------------------------------

std::string icuName(UProperty property, int32_t value) {
  const char* name = u_getPropertyValueName(property, value, U_SHORT_PROPERTY_NAME);
  return name ? name : "?";
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

uint32_t mappedOrSelf(const UnicodeString& hex, uint32_t codepoint) {
  if (hex.empty()) return codepoint;
  return static_cast<uint32_t>(std::stoul(qnunicode::toUTF8(hex), nullptr, 16));
}

std::string rangesText(const std::vector<uint32_t>& codepoints) {
  std::string text;
  for (size_t i = 0; i < codepoints.size();) {
    size_t j = i;
    while (j + 1 < codepoints.size() && codepoints[j + 1] == codepoints[j] + 1) ++j;
    text += QNFormat(i == j ? "%04X " : "%04X..%04X ", codepoints[i], codepoints[j]);
    i = j + 1;
  }
  return text;
}

size_t lineCountOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return static_cast<size_t>(
      std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
}

TEST(UnicodeDataAgainstICU, EveryCodepoint) {
  const auto database = realDatabase();
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfkc = icu::Normalizer2::getNFKCInstance(status);
  ASSERT_TRUE(U_SUCCESS(status));

  size_t fileRecords = 0, members = 0, names = 0, decompositions = 0;
  std::vector<uint32_t> bidiDifferences, unihanNumerics;
  std::set<UnicodeString> categories, bidiCategories;
  QNUnicodeMappingDictionary pairs;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const auto record = database->unicodeDataForCodepoint(c);
    ASSERT_TRUE(record);
    ASSERT_EQ(record->codepoint(), c);
    const bool listed = !isDefault(record);
    const bool member = isRangeMember(record);
    fileRecords += isFileRecord(record);
    members += member;

    const std::string category =
        icuName(UCHAR_GENERAL_CATEGORY, u_getIntPropertyValue(c, UCHAR_GENERAL_CATEGORY));
    ASSERT_EQ(qnunicode::toUTF8(record->generalCategory()), category) << std::hex << c;
    ASSERT_EQ(record->canonicalCombiningClass(), u_getCombiningClass(c)) << std::hex << c;
    ASSERT_EQ(record->mirrored(), static_cast<bool>(u_isMirrored(c))) << std::hex << c;
    const std::string bidi = icuName(UCHAR_BIDI_CLASS, u_charDirection(c));
    if (listed) {
      ASSERT_EQ(qnunicode::toUTF8(record->bidirectionalCategory()), bidi) << std::hex << c;
      categories.insert(record->generalCategory());
      bidiCategories.insert(record->bidirectionalCategory());
    } else {
      // A record of a page answers as a record on its own would.
      const UnicodeString category = record->bidirectionalCategory();
      ASSERT_EQ(category, QNUnicodeDefaultData(c).bidirectionalCategory()) << std::hex << c;
      if (qnunicode::toUTF8(category) != bidi) bidiDifferences.push_back(c);
    }

    // Decomposition: type from the tag, codepoints from the field. Hangul syllables decompose
    // by algorithm, not by their (range) records.
    const auto mapping = record->characterDecompositionMappingArray();
    const int32_t type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
    if (c >= 0xAC00 && c <= 0xD7A3) {
      ASSERT_FALSE(mapping);
    } else {
      icu::UnicodeString raw;
      ASSERT_EQ(mapping.has_value(), static_cast<bool>(nfkc->getRawDecomposition(c, raw)))
          << std::hex << c;
      ASSERT_EQ(record->canonicalMapping(), type == U_DT_CANONICAL) << std::hex << c;
      ASSERT_EQ(record->compatibilityMapping(), type != U_DT_CANONICAL && type != U_DT_NONE)
          << std::hex << c;
      if (mapping) {
        ++decompositions;
        std::vector<uint32_t> expected;
        for (int32_t i = 0; i < raw.length(); i = raw.moveIndex32(i, 1)) {
          expected.push_back(static_cast<uint32_t>(raw.char32At(i)));
        }
        ASSERT_EQ(std::vector<uint32_t>(mapping->begin(), mapping->end()), expected)
            << std::hex << c;
        if (record->compatibilityMapping()) {
          const std::string tag = lower(qnunicode::toUTF8(record->characterDecompositionMapping()));
          const std::string name =
              lower(u_getPropertyValueName(UCHAR_DECOMPOSITION_TYPE, type, U_LONG_PROPERTY_NAME));
          ASSERT_EQ(tag.substr(0, name.size() + 2), "<" + name + ">") << std::hex << c;
        }
        if (record->canonicalMapping() && expected.size() == 2) {
          pairs[expected[0]][expected[1]] = c;
        }
      }
    }

    // Numeric type and value; ICU adds the numeric values of Unihan for ideographs.
    const int32_t numericType = u_getIntPropertyValue(c, UCHAR_NUMERIC_TYPE);
    if (record->numericType() == QNUnicodeNumericTypeNone && numericType != U_NT_NONE &&
        u_hasBinaryProperty(c, UCHAR_IDEOGRAPHIC)) {
      unihanNumerics.push_back(c);
    } else {
      ASSERT_EQ(static_cast<int32_t>(record->numericType()), numericType) << std::hex << c;
      const auto value = record->numericValue();
      if (numericType == U_NT_NONE) {
        ASSERT_FALSE(value) << std::hex << c;
      } else if (numericType == U_NT_NUMERIC) {
        ASSERT_EQ(std::get<float>(*value), static_cast<float>(u_getNumericValue(c)))
            << std::hex << c;
      } else {
        ASSERT_EQ(std::get<int64_t>(*value), static_cast<int64_t>(u_getNumericValue(c)))
            << std::hex << c;
      }
    }

    ASSERT_EQ(mappedOrSelf(record->uppercaseMapping(), c), static_cast<uint32_t>(u_toupper(c)))
        << std::hex << c;
    ASSERT_EQ(mappedOrSelf(record->lowercaseMapping(), c), static_cast<uint32_t>(u_tolower(c)))
        << std::hex << c;
    ASSERT_EQ(mappedOrSelf(record->titlecaseMapping(), c), static_cast<uint32_t>(u_totitle(c)))
        << std::hex << c;

    const UnicodeString name = record->characterName();
    if (isFileRecord(record) && !name.starts_with(u"<")) {
      char buffer[256];
      UErrorCode nameStatus = U_ZERO_ERROR;
      const int32_t length = u_charName(c, U_UNICODE_CHAR_NAME, buffer, sizeof buffer, &nameStatus);
      ASSERT_TRUE(U_SUCCESS(nameStatus));
      ASSERT_EQ(qnunicode::toUTF8(name), std::string(buffer, static_cast<size_t>(length)))
          << std::hex << c;
      ++names;
    }
  }

  const size_t lines = lineCountOfFile(qnunicode::testing::ucdFile("UnicodeData.txt"));
  EXPECT_EQ(database->unicodeDataLineCount(), lines);
  EXPECT_EQ(fileRecords, lines) << "UnicodeData lists every codepoint once";
  EXPECT_EQ(database->allUnicodeData().size(), lines + members);
  EXPECT_GT(names, 30000u);
  EXPECT_GT(decompositions, 5000u);
  EXPECT_EQ(database->generalCategoryValues(), categories);
  EXPECT_EQ(database->bidirectionalCategoryValues(), bidiCategories);
  EXPECT_EQ(database->mappingDictionary(), pairs);
  EXPECT_EQ(database->mappingDictionary().at(0x41).at(0x300), 0xC0u);
  EXPECT_EQ(referenceOf(database->unicodeDataForCodepoint(0x4E01)),
            database->unicodeDataForCodepoint(0x4E00).get());
  EXPECT_EQ(database->unicodeDataForCodepoint(0xAC01)->characterName(), u"<Hangul Syllable>");

  // File order, each range's members (in order, referring to the First line) before its Last.
  const std::vector<const QNUnicodeData*>& all = database->allUnicodeData();
  size_t ranges = 0;
  for (size_t i = 0; i + 1 < all.size(); ++i) {
    if (typeid(*all[i + 1]) != typeid(QNUnicodePointerData)) continue;
    ++ranges;
    const QNUnicodeData* first = all[i];
    ASSERT_TRUE(first->characterName().ends_with(u", First>"));
    size_t j = i + 1;
    for (; typeid(*all[j]) == typeid(QNUnicodePointerData); ++j) {
      ASSERT_EQ(all[j]->codepoint(), first->codepoint() + (j - i));
      ASSERT_EQ(static_cast<const QNUnicodePointerData*>(all[j])->referenceData().get(), first);
    }
    ASSERT_TRUE(all[j]->characterName().ends_with(u", Last>"));
    ASSERT_EQ(all[j]->codepoint(), first->codepoint() + (j - i));
    i = j;
  }
  EXPECT_EQ(ranges, 18u);

  // Where UnicodeData is silent, ICU follows the defaults of the derived bidirectional classes;
  // the records follow their fixed ranges and blocks, and noncharacters are L, not BN.
  // Among them: the Syriac Supplement and Arabic Extended-B gaps (R here, AL there), the
  // currency symbols block (ET there), noncharacters and default ignorables (BN there), and the
  // right-to-left and Arabic ranges of the supplementary planes past 0x10FFF.
  std::cout << "Default bidirectional categories that differ from ICU's (" << bidiDifferences.size()
            << "): " << rangesText(bidiDifferences) << "\n";
  EXPECT_EQ(bidiDifferences.size(), 5434u) << rangesText(bidiDifferences);
  for (const uint32_t c : {0x086Bu, 0x20C1u, 0xFDD0u, 0xFFFFu, 0x1EC70u, 0x10FFFFu}) {
    EXPECT_TRUE(std::binary_search(bidiDifferences.begin(), bidiDifferences.end(), c))
        << std::hex << c;
  }
  for (const uint32_t c : {0x05FFu, 0x07FBu, 0xFDC8u, 0x0378u, 0x10806u}) {
    EXPECT_FALSE(std::binary_search(bidiDifferences.begin(), bidiDifferences.end(), c))
        << std::hex << c;
  }
  std::cout << "Ideographs with numeric values from Unihan only (" << unihanNumerics.size()
            << "): " << rangesText(unihanNumerics) << "\n";
  EXPECT_EQ(unihanNumerics.size(), 73u);
}

// ---- Memory ----------------------------------------------------------------------------------

long statusKilobytes(const char* key) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(key, 0) == 0) return std::stol(line.substr(std::strlen(key)));
  }
  return -1;
}

// The read of the real file in a child process, whose peak resident size is reset first: what
// the records, the index and the tables cost at their peak.
TEST(UnicodeDataMemory, PeakOfTheReadStaysInBudget) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the address sanitizer's shadow memory and red zones make sizes meaningless";
#endif
  ScratchDirectory directory;
  directory.copy(qnunicode::testing::ucdFile("UnicodeData.txt"), "UnicodeData.txt");
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(pipeEnds[0]);
    long result = -1;
    // Free heap pages the parent left behind would hide the growth: hand them back first.
    malloc_trim(0);
    const int clear = open("/proc/self/clear_refs", O_WRONLY);
    if (clear >= 0 && write(clear, "5", 1) == 1) {
      const long before = statusKilobytes("VmRSS:");
      QNUnicodeDatabase database({directory.path()}, {});
      if (database.unicodeDataForCodepoint(0x41)) result = statusKilobytes("VmHWM:") - before;
    }
    if (write(pipeEnds[1], &result, sizeof result) != sizeof result) _exit(2);
    _exit(0);
  }
  close(pipeEnds[1]);
  long peak = -1;
  ASSERT_EQ(read(pipeEnds[0], &peak, sizeof peak), static_cast<ssize_t>(sizeof peak));
  close(pipeEnds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_GT(peak, 0) << "the child could not measure its peak";
  std::cout << "Peak growth of the UnicodeData read: " << peak << " KiB\n";
  // With a host process of a few MiB this keeps the whole under 32 MiB.
  EXPECT_LT(peak, 24 * 1024);
}

}  // namespace
