#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

UnicodeString key(std::string_view name, uint32_t codepoint) {
  char code[16];
  std::snprintf(code, sizeof code, " [U+%04X]", codepoint);
  return qnunicode::fromUTF8(std::string(name) + code);
}

std::vector<UnicodeString> keysOf(const QNUnicodeNameLookup& lookup) {
  std::vector<UnicodeString> keys;
  for (const auto& [k, codepoint] : lookup) keys.push_back(k);
  return keys;
}

// A line of UnicodeData with the given name, Unicode 1.0 name and simple case mappings.
std::string unicodeDataLine(const char* code, const char* name, const char* category,
                            const char* unicode1Name = "", const char* upper = "",
                            const char* lower = "") {
  return std::string(code) + ";" + name + ";" + category + ";0;L;;;;;N;" + unicode1Name + ";;" +
         upper + ";" + lower + ";" + upper + "\n";
}

// A small UCD: a control with a Unicode 1.0 name, letters with case mappings and a range.
std::string smallUnicodeData() {
  return unicodeDataLine("000A", "<control>", "Cc", "LINE FEED (LF)") +
         unicodeDataLine("0041", "LATIN CAPITAL LETTER A", "Lu", "", "", "0061") +
         unicodeDataLine("005C", "REVERSE SOLIDUS", "Po", "BACKSLASH") +
         unicodeDataLine("0061", "LATIN SMALL LETTER A", "Ll", "", "0041") +
         unicodeDataLine("00C9", "LATIN CAPITAL LETTER E WITH ACUTE", "Lu", "", "", "00E9") +
         unicodeDataLine("00E9", "LATIN SMALL LETTER E WITH ACUTE", "Ll", "", "00C9") +
         unicodeDataLine("4E00", "<CJK Ideograph, First>", "Lo") +
         unicodeDataLine("4E05", "<CJK Ideograph, Last>", "Lo");
}

std::shared_ptr<QNUnicodeDatabase> databaseOver(const ScratchDirectory& scratch) {
  return std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                             std::vector<std::string>{});
}

std::set<UnicodeString> smallDatabaseKeys() {
  return {key("<control>", 0xA),
          key("LINE FEED (LF)", 0xA),
          key("LATIN CAPITAL LETTER A", 0x41),
          key("REVERSE SOLIDUS", 0x5C),
          key("BACKSLASH", 0x5C),
          key("LATIN SMALL LETTER A", 0x61),
          key("LATIN CAPITAL LETTER E WITH ACUTE", 0xC9),
          key("LATIN SMALL LETTER E WITH ACUTE", 0xE9),
          key("<CJK Ideograph, First>", 0x4E00),
          key("<CJK Ideograph, Last>", 0x4E05)};
}

std::set<UnicodeString> asSet(const std::vector<UnicodeString>& keys) {
  return std::set<UnicodeString>(keys.begin(), keys.end());
}

}  // namespace

// ---- Small data ------------------------------------------------------------------------------

TEST(NameLookup, HoldsEveryNameAndIndexEntryExceptCaseRepeats) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt",
                "Latin alphabet\t0041\n"
                "backslash\t005C\n"  // BACKSLASH in other letter case
                "\n"
                "no number\tzz\n"
                "a line without a tab\n"
                "Latin alphabet\t0041\n"    // a second time: one key, two names
                " spaced\t  0x0041\r\n"     // blanks before the number, "0x", CR LF
                "reverse solidus\t005C\n"   // the character name in lower case
                "ideograph one\t4E01\n"     // a range member gets Index keys all the same
                "wrong code\t0041BOOP\n");  // the number ends where the digits do
  auto database = databaseOver(scratch);
  ASSERT_FALSE(database->isUnihanAvailable());
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);

  std::set<UnicodeString> expected = smallDatabaseKeys();
  expected.insert({key("Latin alphabet", 0x41), key(" spaced", 0x41), key("ideograph one", 0x4E01),
                   key("wrong code", 0x41B)});
  EXPECT_EQ(asSet(keysOf(*lookup)), expected);
  for (const auto& [k, codepoint] : *lookup) {
    EXPECT_EQ(k, key(qnunicode::toUTF8(k.substr(0, k.rfind(u" [U+"))), codepoint))
        << qnunicode::toUTF8(k);
  }

  auto indexNames = database->indexNames();
  ASSERT_TRUE(indexNames);
  EXPECT_EQ(indexNames->size(), 4u);
  EXPECT_THAT(indexNames->at(0x41), ElementsAre(u"Latin alphabet", u"Latin alphabet", u" spaced"));
  EXPECT_THAT(indexNames->at(0x5C), ElementsAre(u"backslash", u"reverse solidus"));
  EXPECT_THAT(indexNames->at(0x4E01), ElementsAre(u"ideograph one"));
  EXPECT_THAT(indexNames->at(0x41B), ElementsAre(u"wrong code"));

  // Without Unihan files there is one map and one sorted list.
  EXPECT_EQ(database->nameLookupWithoutUnihan(), lookup);
  EXPECT_EQ(database->sortedNameLookupWithoutUnihanKeys(), database->sortedNameLookupKeys());
}

TEST(NameLookup, RangeMembersAddNoKeys) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt", "");
  auto database = databaseOver(scratch);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_EQ(asSet(keysOf(*lookup)), smallDatabaseKeys());
  // The members themselves are records of the database all the same.
  ASSERT_TRUE(database->unicodeDataForCodepoint(0x4E01));
  EXPECT_EQ(database->allUnicodeData().size(), 12u);
  ASSERT_TRUE(database->indexNames());
  EXPECT_TRUE(database->indexNames()->empty());
}

TEST(NameLookup, UpperCasingAndSortingFoldLettersBeyondASCII) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt",
                "\xC3\x89"
                "CU\t00E9\n"  // "ÉCU": stored
                "\xC3\xA9"
                "cu\t00E9\n"  // "écu": only repeats ÉCU in other case
                "\xC3\xA9"
                "lan\t00E9\n"  // "élan"
                "\xC3\x89"
                "T\xC3\x89\t00E9\n"  // "ÉTÉ"
                "_under\t005F\n"
                "zeta\t007A\n"
                "Zeta\t005A\n"
                "apple\t0061\n");
  auto database = databaseOver(scratch);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_TRUE(
      lookup->contains(key("\xC3\x89"
                           "CU",
                           0xE9)));
  EXPECT_FALSE(
      lookup->contains(key("\xC3\xA9"
                           "cu",
                           0xE9)));

  // Ordered as if lower-cased: "_" (0x5F) before every letter, "É" as "é" after "z".
  auto sorted = database->sortedNameLookupKeys();
  ASSERT_TRUE(sorted);
  EXPECT_THAT(
      *sorted,
      ElementsAre(key("<CJK Ideograph, First>", 0x4E00), key("<CJK Ideograph, Last>", 0x4E05),
                  key("<control>", 0xA), key("_under", 0x5F), key("apple", 0x61),
                  key("BACKSLASH", 0x5C), key("LATIN CAPITAL LETTER A", 0x41),
                  key("LATIN CAPITAL LETTER E WITH ACUTE", 0xC9), key("LATIN SMALL LETTER A", 0x61),
                  key("LATIN SMALL LETTER E WITH ACUTE", 0xE9), key("LINE FEED (LF)", 0xA),
                  key("REVERSE SOLIDUS", 0x5C), key("Zeta", 0x5A), key("zeta", 0x7A),
                  key("\xC3\x89"
                      "CU",
                      0xE9),
                  key("\xC3\xA9"
                      "lan",
                      0xE9),
                  key("\xC3\x89"
                      "T\xC3\x89",
                      0xE9)));
}

TEST(NameLookup, IndexReadFirstSeesNoNamesToRepeat) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt", "backslash\t005C\n");
  auto database = databaseOver(scratch);
  // Reading the Index alone does not read UnicodeData, so nothing is there to be repeated yet.
  ASSERT_TRUE(database->indexNames());
  EXPECT_EQ(database->unicodeDataLineCount(), 0u);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_TRUE(lookup->contains(key("backslash", 0x5C)));
  EXPECT_TRUE(lookup->contains(key("BACKSLASH", 0x5C)));
}

TEST(NameLookup, ReadingTheIndexAgainWarnsAndAddsItOnceMore) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt", "Latin alphabet\t0041\n");
  auto database = databaseOver(scratch);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  const size_t keyCount = lookup->size();
  auto firstNames = database->indexNames();

  LogCapture log;
  database->readIndex();
  EXPECT_THAT(log.lines(), ElementsAre("WARNING: _nameLookupContainsIndex == YES in -readIndex"));
  EXPECT_EQ(database->nameLookup()->size(), keyCount);
  EXPECT_NE(database->indexNames(), firstNames);  // a new map of the same names
  EXPECT_THAT(database->indexNames()->at(0x41), ElementsAre(u"Latin alphabet"));
}

TEST(NameLookup, MissingIndexIsReportedOnEveryUse) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  auto database = databaseOver(scratch);
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_EQ(asSet(keysOf(*lookup)), smallDatabaseKeys());
  EXPECT_FALSE(database->indexNames());
  database->nameLookup();
  EXPECT_THAT(delegate->prefixes, ElementsAre(u"Index", u"Index", u"Index"));

  // Without a delegate the database logs it; once the file is there, it is read.
  database->setDelegate(nullptr);
  {
    LogCapture log;
    database->nameLookup();
    EXPECT_THAT(log.lines(), ElementsAre("QNUnicodeDatabase could not find file 'Index'"));
  }
  scratch.write("Index.txt", "Latin alphabet\t0041\n");
  EXPECT_TRUE(database->nameLookup()->contains(key("Latin alphabet", 0x41)));
  EXPECT_EQ(delegate->prefixes.size(), 3u);
}

TEST(NameLookup, UnreadableUnicodeDataLeavesNoLookup) {
  ScratchDirectory scratch;
  scratch.write("Index.txt", "Latin alphabet\t0041\n");
  auto database = databaseOver(scratch);
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  EXPECT_FALSE(database->nameLookup());
  EXPECT_FALSE(database->sortedNameLookupKeys());
  EXPECT_FALSE(database->sortedNameLookupWithoutUnihanKeys());
  EXPECT_GE(delegate->prefixes.size(), 3u);
  for (const UnicodeString& prefix : delegate->prefixes) EXPECT_EQ(prefix, u"UnicodeData");
  // The Index alone still reads.
  ASSERT_TRUE(database->indexNames());
  EXPECT_THAT(database->indexNames()->at(0x41), ElementsAre(u"Latin alphabet"));
}

TEST(NameLookup, IndexThatIsNotUTF8IsReadAsLossyASCII) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  const std::string path = scratch.write("Index.txt", "caf\xE9\t00E9\nLatin alphabet\t0041\n");
  auto database = databaseOver(scratch);
  LogCapture log;
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_TRUE(log.contains("QNUnicode warning: file at path '" + path +
                           "' is invalid UTF-8. using lossy ASCII encoding for reading"));
  EXPECT_TRUE(lookup->contains(key("caf\xC3\xA9", 0xE9)));  // the byte kept as its character
  EXPECT_TRUE(lookup->contains(key("Latin alphabet", 0x41)));
  EXPECT_THAT(database->indexNames()->at(0xE9), ElementsAre(u"caf\u00E9"));
}

TEST(NameLookup, WithUnihanFilesTheMapWithoutUnihanIsASeparateEqualMap) {
  ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", smallUnicodeData());
  scratch.write("Index.txt", "Latin alphabet\t0041\n");
  scratch.write("Unihan/Unihan_Readings.txt", "U+4E00\tkDefinition\tone\n");
  auto database = databaseOver(scratch);
  ASSERT_TRUE(database->isUnihanAvailable());

  auto withoutUnihan = database->nameLookupWithoutUnihan();
  ASSERT_TRUE(withoutUnihan);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_NE(withoutUnihan, lookup);
  EXPECT_EQ(*withoutUnihan, *lookup);
  EXPECT_TRUE(lookup->contains(key("Latin alphabet", 0x41)));

  auto sorted = database->sortedNameLookupKeys();
  auto sortedWithoutUnihan = database->sortedNameLookupWithoutUnihanKeys();
  ASSERT_TRUE(sorted && sortedWithoutUnihan);
  EXPECT_NE(sorted, sortedWithoutUnihan);
  EXPECT_EQ(*sorted, *sortedWithoutUnihan);
  // Made once and kept.
  EXPECT_EQ(database->sortedNameLookupKeys(), sorted);
  EXPECT_EQ(database->sortedNameLookupWithoutUnihanKeys(), sortedWithoutUnihan);
}

// ---- The real UnicodeData and Index ----------------------------------------------------------

namespace {

struct UnicodeDataLine {
  uint32_t codepoint;
  std::string name, unicode1Name;
};

std::vector<std::string> fileLines(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<UnicodeDataLine> realUnicodeDataLines() {
  std::vector<UnicodeDataLine> result;
  for (const std::string& line : fileLines(qnunicode::testing::ucdFile("UnicodeData.txt"))) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t semicolon; (semicolon = line.find(';', start)) != std::string::npos;) {
      fields.push_back(line.substr(start, semicolon - start));
      start = semicolon + 1;
    }
    fields.push_back(line.substr(start));
    EXPECT_EQ(fields.size(), 15u) << line;
    if (fields.size() != 15) continue;
    result.push_back(
        {static_cast<uint32_t>(std::stoul(fields[0], nullptr, 16)), fields[1], fields[10]});
  }
  EXPECT_GT(result.size(), 30000u);
  return result;
}

struct IndexLine {
  std::string name;
  uint32_t codepoint;
};

std::vector<IndexLine> realIndexLines() {
  std::vector<IndexLine> result;
  for (const std::string& line : fileLines(qnunicode::testing::ucdFile("Index.txt"))) {
    const size_t tab = line.find('\t');
    EXPECT_NE(tab, std::string::npos) << line;
    if (tab == std::string::npos) continue;
    // The number is the run of hexadecimal digits after the tab.
    result.push_back({line.substr(0, tab),
                      static_cast<uint32_t>(std::stoul(line.substr(tab + 1), nullptr, 16))});
  }
  EXPECT_GT(result.size(), 5000u);
  return result;
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// The lookup of a database of its own over the real data, built with the names first.
std::shared_ptr<QNUnicodeDatabase> realLookupDatabase() {
  static auto database = [] {
    auto made = std::make_shared<QNUnicodeDatabase>(
        std::vector<std::string>{qnunicode::testing::ucdDirectory()}, std::vector<std::string>{});
    EXPECT_TRUE(made->nameLookup());
    return made;
  }();
  return database;
}

}  // namespace

TEST(RealNameLookup, EveryKeyComesFromUnicodeDataOrTheIndex) {
  auto database = realLookupDatabase();
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);

  // Every name and Unicode 1.0 name of UnicodeData is a key of its codepoint.
  std::map<UnicodeString, uint32_t> databaseKeys;
  for (const UnicodeDataLine& line : realUnicodeDataLines()) {
    databaseKeys[key(line.name, line.codepoint)] = line.codepoint;
    if (!line.unicode1Name.empty()) {
      databaseKeys[key(line.unicode1Name, line.codepoint)] = line.codepoint;
    }
  }
  for (const auto& [k, codepoint] : databaseKeys) {
    const auto found = lookup->find(k);
    ASSERT_NE(found, lookup->end()) << qnunicode::toUTF8(k);
    EXPECT_EQ(found->second, codepoint) << qnunicode::toUTF8(k);
  }

  // Every Index entry is a key as written, unless it only repeats a name of UnicodeData in
  // other letter case; and the Index names of each codepoint are its lines in file order.
  std::map<UnicodeString, uint32_t> indexKeys;
  std::map<uint32_t, std::vector<UnicodeString>> expectedNames;
  size_t caseRepeats = 0;
  for (const IndexLine& line : realIndexLines()) {
    expectedNames[line.codepoint].push_back(qnunicode::fromUTF8(line.name));
    const UnicodeString asWritten = key(line.name, line.codepoint);
    const bool repeat = databaseKeys.contains(key(upper(line.name), line.codepoint)) &&
                        !databaseKeys.contains(asWritten);
    caseRepeats += repeat;
    EXPECT_EQ(lookup->contains(asWritten), !repeat) << line.name;
    if (!repeat) indexKeys[asWritten] = line.codepoint;
  }
  EXPECT_GT(caseRepeats, 20u);
  EXPECT_FALSE(lookup->contains(key("backslash", 0x5C)));
  EXPECT_TRUE(lookup->contains(key("BACKSLASH", 0x5C)));

  // Nothing else is in the map.
  for (const auto& [k, codepoint] : *lookup) {
    const auto fromDatabase = databaseKeys.find(k);
    const auto fromIndex = indexKeys.find(k);
    ASSERT_TRUE(fromDatabase != databaseKeys.end() || fromIndex != indexKeys.end())
        << qnunicode::toUTF8(k);
    EXPECT_EQ(codepoint,
              fromDatabase != databaseKeys.end() ? fromDatabase->second : fromIndex->second);
  }

  auto indexNames = database->indexNames();
  ASSERT_TRUE(indexNames);
  using OrderedNames = std::map<uint32_t, std::vector<UnicodeString>>;
  EXPECT_EQ(OrderedNames(indexNames->begin(), indexNames->end()), expectedNames);
  EXPECT_THAT(indexNames->at(0x5C), ::testing::Contains(u"backslash"));
}

TEST(RealNameLookup, AgreesWithICUOnEveryCharacterNameOfTheFile) {
  auto lookup = realLookupDatabase()->nameLookup();
  ASSERT_TRUE(lookup);
  // The codepoints with a line of their own, less the First and Last lines of ranges.
  std::set<uint32_t> named;
  for (const UnicodeDataLine& line : realUnicodeDataLines()) {
    if (!line.name.ends_with(", First>") && !line.name.ends_with(", Last>")) {
      named.insert(line.codepoint);
    }
  }

  size_t found = 0, computed = 0;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    char name[256];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_charName(static_cast<UChar32>(codepoint), U_UNICODE_CHAR_NAME, name,
                                      sizeof name, &status);
    if (U_FAILURE(status) || length == 0) continue;  // controls and unassigned codepoints
    const auto entry = lookup->find(key(name, codepoint));
    if (named.contains(codepoint)) {
      ASSERT_NE(entry, lookup->end()) << name;
      EXPECT_EQ(entry->second, codepoint) << name;
      ++found;
    } else {
      // ICU computes the names of ranges (ideographs, Hangul syllables); those are no keys.
      EXPECT_EQ(entry, lookup->end()) << name;
      ++computed;
    }
  }
  EXPECT_GT(found, 30000u);
  EXPECT_GT(computed, 90000u);
}

TEST(RealNameLookup, MapsWithAndWithoutUnihanAgreeUntilUnihanNamesArrive) {
  auto database = realLookupDatabase();
  ASSERT_TRUE(database->isUnihanAvailable());
  auto lookup = database->nameLookup();
  auto withoutUnihan = database->nameLookupWithoutUnihan();
  ASSERT_TRUE(lookup && withoutUnihan);
  EXPECT_NE(lookup, withoutUnihan);
  EXPECT_EQ(*lookup, *withoutUnihan);
  EXPECT_TRUE(lookup->contains(key("LINE FEED (LF)", 0xA)));
  EXPECT_TRUE(lookup->contains(key("<control>", 0xA)));
  EXPECT_TRUE(lookup->contains(key("<CJK Ideograph, First>", 0x4E00)));
  EXPECT_TRUE(lookup->contains(key("Betty", 0xB)));  // "BOOP" reads as the hexadecimal digit B
}

TEST(RealNameLookup, SortedKeysHoldTheMapsKeysInCaseInsensitiveOrder) {
  auto database = realLookupDatabase();
  for (const bool withoutUnihan : {false, true}) {
    SCOPED_TRACE(withoutUnihan);
    auto lookup = withoutUnihan ? database->nameLookupWithoutUnihan() : database->nameLookup();
    auto sorted = withoutUnihan ? database->sortedNameLookupWithoutUnihanKeys()
                                : database->sortedNameLookupKeys();
    ASSERT_TRUE(lookup && sorted);
    ASSERT_EQ(sorted->size(), lookup->size());
    EXPECT_EQ(asSet(*sorted), asSet(keysOf(*lookup)));
    for (size_t i = 1; i < sorted->size(); ++i) {
      const UnicodeString &a = (*sorted)[i - 1], &b = (*sorted)[i];
      UErrorCode status = U_ZERO_ERROR;
      EXPECT_LE(u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(),
                                 static_cast<int32_t>(b.size()), U_FOLD_CASE_DEFAULT, &status),
                0)
          << qnunicode::toUTF8(a) << " before " << qnunicode::toUTF8(b);
    }
    EXPECT_EQ(withoutUnihan ? database->sortedNameLookupWithoutUnihanKeys()
                            : database->sortedNameLookupKeys(),
              sorted);
  }
}
