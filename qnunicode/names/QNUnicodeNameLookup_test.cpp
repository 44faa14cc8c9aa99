#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;
using ::testing::ElementsAre;

namespace {

UnicodeString key(std::string_view name, uint32_t codepoint) {
  char code[16];
  std::snprintf(code, sizeof code, " [U+%04X]", codepoint);
  return qnunicode::fromUTF8(std::string(name) + code);
}

std::set<UnicodeString> keysOf(const QNUnicodeNameLookup& lookup) {
  std::set<UnicodeString> keys;
  for (const auto& [k, codepoint] : lookup) keys.insert(k);
  return keys;
}

std::string line(const char* code, const char* name, const char* category,
                 const char* unicode1Name = "", const char* upper = "", const char* lower = "") {
  return std::string(code) + ";" + name + ";" + category + ";0;L;;;;;N;" + unicode1Name + ";;" +
         upper + ";" + lower + ";" + upper + "\n";
}

// A control with a Unicode 1.0 name, letters with case mappings and a First/Last range.
const std::string kUnicodeData =
    line("000A", "<control>", "Cc", "LINE FEED (LF)") +
    line("0041", "LATIN CAPITAL LETTER A", "Lu", "", "", "0061") +
    line("005C", "REVERSE SOLIDUS", "Po", "BACKSLASH") +
    line("00C9", "LATIN CAPITAL LETTER E WITH ACUTE", "Lu", "", "", "00E9") +
    line("00E9", "LATIN SMALL LETTER E WITH ACUTE", "Ll", "", "00C9") +
    line("4E00", "<CJK Ideograph, First>", "Lo") + line("4E05", "<CJK Ideograph, Last>", "Lo");

const std::set<UnicodeString> kUnicodeDataKeys = {key("<control>", 0xA),
                                                  key("LINE FEED (LF)", 0xA),
                                                  key("LATIN CAPITAL LETTER A", 0x41),
                                                  key("REVERSE SOLIDUS", 0x5C),
                                                  key("BACKSLASH", 0x5C),
                                                  key("LATIN CAPITAL LETTER E WITH ACUTE", 0xC9),
                                                  key("LATIN SMALL LETTER E WITH ACUTE", 0xE9),
                                                  key("<CJK Ideograph, First>", 0x4E00),
                                                  key("<CJK Ideograph, Last>", 0x4E05)};

// A database over a scratch directory holding this UnicodeData (unless null) and Index.
std::shared_ptr<QNUnicodeDatabase> databaseWith(const ScratchDirectory& scratch,
                                                std::optional<std::string> index,
                                                const char* unicodeData = kUnicodeData.c_str()) {
  if (unicodeData) scratch.write("UnicodeData.txt", unicodeData);
  if (index) scratch.write("Index.txt", *index);
  return std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                             std::vector<std::string>{});
}

}  // namespace

TEST(NameLookup, HoldsEveryNameAndIndexEntryExceptCaseRepeats) {
  ScratchDirectory scratch;
  auto database = databaseWith(scratch,
                               "Latin alphabet\t0041\n"
                               "backslash\t005C\n"  // BACKSLASH in other letter case
                               "\n"
                               "no number\tzz\n"
                               "a line without a tab\n"
                               "Latin alphabet\t0041\n"    // again: one key, two names
                               " spaced\t  0x0041\r\n"     // blanks, "0x" and a CR
                               "reverse solidus\t005C\n"   // the character's own name
                               "ideograph one\t4E01\n"     // range members do get Index keys
                               "wrong code\t0041BOOP\n");  // the number ends with the digits
  ASSERT_FALSE(database->isUnihanAvailable());
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  std::set<UnicodeString> expected = kUnicodeDataKeys;
  expected.insert({key("Latin alphabet", 0x41), key(" spaced", 0x41), key("ideograph one", 0x4E01),
                   key("wrong code", 0x41B)});
  EXPECT_EQ(keysOf(*lookup), expected);
  for (const auto& [k, codepoint] : *lookup) {
    EXPECT_TRUE(k.ends_with(key("", codepoint).substr(1))) << qnunicode::toUTF8(k);
  }

  auto indexNames = database->indexNames();
  ASSERT_TRUE(indexNames);
  EXPECT_EQ(indexNames->size(), 4u);
  EXPECT_THAT(indexNames->at(0x41), ElementsAre(u"Latin alphabet", u"Latin alphabet", u" spaced"));
  EXPECT_THAT(indexNames->at(0x5C), ElementsAre(u"backslash", u"reverse solidus"));
  EXPECT_THAT(indexNames->at(0x41B), ElementsAre(u"wrong code"));

  // Without Unihan files there is one map and one sorted list.
  EXPECT_EQ(database->nameLookupWithoutUnihan(), lookup);
  EXPECT_EQ(database->sortedNameLookupWithoutUnihanKeys(), database->sortedNameLookupKeys());
}

TEST(NameLookup, UpperCasingAndSortingFoldLettersBeyondASCII) {
  ScratchDirectory scratch;
  auto database = databaseWith(scratch,
                               "\xC3\x89"
                               "CU\t00E9\n"  // ÉCU
                               "\xC3\xA9"
                               "cu\t00E9\n"  // écu: repeats ÉCU
                               "\xC3\xA9"
                               "lan\t00E9\n"  // élan
                               "\xC3\x89"
                               "T\xC3\x89\t00E9\n"  // ÉTÉ
                               "_under\t005F\nzeta\t007A\nZeta\t005A\napple\t0061\n");
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

  // Ordered as if lower-cased: "_" (0x5F) before the letters, "É" as "é" after "z".
  auto sorted = database->sortedNameLookupKeys();
  ASSERT_TRUE(sorted);
  EXPECT_THAT(
      *sorted,
      ElementsAre(key("<CJK Ideograph, First>", 0x4E00), key("<CJK Ideograph, Last>", 0x4E05),
                  key("<control>", 0xA), key("_under", 0x5F), key("apple", 0x61),
                  key("BACKSLASH", 0x5C), key("LATIN CAPITAL LETTER A", 0x41),
                  key("LATIN CAPITAL LETTER E WITH ACUTE", 0xC9),
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

TEST(NameLookup, IndexReadAloneOrTwice) {
  ScratchDirectory scratch;
  auto database = databaseWith(scratch, "backslash\t005C\n");
  // Read first, the Index finds no UnicodeData names to repeat (and reads no UnicodeData).
  auto firstNames = database->indexNames();
  ASSERT_TRUE(firstNames);
  EXPECT_EQ(database->unicodeDataLineCount(), 0u);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_TRUE(lookup->contains(key("backslash", 0x5C)) && lookup->contains(key("BACKSLASH", 0x5C)));

  LogCapture log;
  const size_t keyCount = lookup->size();
  database->readIndex();
  EXPECT_THAT(log.lines(), ElementsAre("WARNING: _nameLookupContainsIndex == YES in -readIndex"));
  EXPECT_EQ(database->nameLookup()->size(), keyCount);
  EXPECT_NE(database->indexNames(), firstNames);
  EXPECT_THAT(database->indexNames()->at(0x5C), ElementsAre(u"backslash"));
}

TEST(NameLookup, MissingFilesAreReportedOnEveryUse) {
  ScratchDirectory scratch;
  auto database = databaseWith(scratch, std::nullopt);
  auto delegate = std::make_shared<RecordingDelegate>();
  database->setDelegate(delegate);
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_EQ(keysOf(*lookup), kUnicodeDataKeys);
  EXPECT_FALSE(database->indexNames());
  database->nameLookup();
  EXPECT_THAT(delegate->prefixes, ElementsAre(u"Index", u"Index", u"Index"));
  scratch.write("Index.txt", "Latin alphabet\t0041\n");
  EXPECT_TRUE(database->nameLookup()->contains(key("Latin alphabet", 0x41)));

  // Without UnicodeData there is no lookup, while the Index alone still reads.
  ScratchDirectory bare;
  auto indexOnly = databaseWith(bare, "Latin alphabet\t0041\n\xC3\x89t\xC3\xA9\t00E9\n", nullptr);
  indexOnly->setDelegate(delegate);
  delegate->prefixes.clear();
  EXPECT_FALSE(indexOnly->nameLookup());
  EXPECT_FALSE(indexOnly->sortedNameLookupKeys());
  ASSERT_TRUE(indexOnly->indexNames());  // letters beyond ASCII set off no read of UnicodeData
  EXPECT_THAT(delegate->prefixes, ElementsAre(u"UnicodeData", u"UnicodeData"));
  EXPECT_THAT(indexOnly->indexNames()->at(0x41), ElementsAre(u"Latin alphabet"));
}

TEST(NameLookup, IndexThatIsNotUTF8IsReadAsLossyASCII) {
  ScratchDirectory scratch;
  auto database = databaseWith(scratch, "caf\xE9\t00E9\nLatin alphabet\t0041\n");
  LogCapture log;
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);
  EXPECT_THAT(log.lines(), ElementsAre("QNUnicode warning: file at path '" + scratch.path() +
                                       "/Index.txt' is invalid UTF-8. using lossy ASCII encoding "
                                       "for reading"));
  EXPECT_TRUE(lookup->contains(key("caf\xC3\xA9", 0xE9)));  // the byte kept as its character
  EXPECT_TRUE(lookup->contains(key("Latin alphabet", 0x41)));
  EXPECT_THAT(database->indexNames()->at(0xE9), ElementsAre(u"caf\u00E9"));
}

TEST(NameLookup, WithUnihanFilesTheMapWithoutUnihanIsASeparateEqualMap) {
  ScratchDirectory scratch;
  scratch.write("Unihan/Unihan_Readings.txt", "U+4E00\tkDefinition\tone\n");
  auto database = databaseWith(scratch, "Latin alphabet\t0041\n");
  ASSERT_TRUE(database->isUnihanAvailable());
  auto withoutUnihan = database->nameLookupWithoutUnihan();
  auto lookup = database->nameLookup();
  ASSERT_TRUE(withoutUnihan && lookup);
  EXPECT_NE(withoutUnihan, lookup);
  EXPECT_EQ(*withoutUnihan, *lookup);
  EXPECT_TRUE(lookup->contains(key("Latin alphabet", 0x41)));

  auto sorted = database->sortedNameLookupWithoutUnihanKeys();
  ASSERT_TRUE(sorted);
  EXPECT_NE(database->sortedNameLookupKeys(), sorted);
  EXPECT_EQ(*database->sortedNameLookupKeys(), *sorted);
  EXPECT_EQ(database->sortedNameLookupWithoutUnihanKeys(), sorted);  // made once and kept
}

// ---- The real UnicodeData and Index ----------------------------------------------------------

namespace {

// Each line's fields split at the separator.
std::vector<std::vector<std::string>> fileFields(const std::string& name, char separator) {
  std::ifstream file(qnunicode::testing::ucdFile(name));
  std::vector<std::vector<std::string>> lines;
  for (std::string text; std::getline(file, text);) {
    std::vector<std::string>& fields = lines.emplace_back(1);
    for (char c : text) {
      if (c == separator) {
        fields.emplace_back();
      } else {
        fields.back().push_back(c);
      }
    }
  }
  EXPECT_GT(lines.size(), 5000u) << name;
  return lines;
}

// A database of its own over the real data, its lookup built before the Index is read alone.
std::shared_ptr<QNUnicodeDatabase> realLookupDatabase() {
  static auto database = std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{qnunicode::testing::ucdDirectory()}, std::vector<std::string>{});
  EXPECT_TRUE(database->nameLookup());
  return database;
}

}  // namespace

TEST(RealNameLookup, EveryKeyComesFromUnicodeDataOrTheIndex) {
  auto database = realLookupDatabase();
  auto lookup = database->nameLookup();
  ASSERT_TRUE(lookup);

  // Every name and Unicode 1.0 name of UnicodeData is a key of its codepoint.
  std::map<UnicodeString, uint32_t> expected;
  for (const auto& fields : fileFields("UnicodeData.txt", ';')) {
    ASSERT_EQ(fields.size(), 15u);
    const uint32_t codepoint = std::stoul(fields[0], nullptr, 16);
    expected[key(fields[1], codepoint)] = codepoint;
    if (!fields[10].empty()) expected[key(fields[10], codepoint)] = codepoint;
  }
  const std::map<UnicodeString, uint32_t> unicodeDataKeys = expected;

  // Every Index entry is a key as written unless it repeats one of those in other letter case;
  // the Index names of each codepoint are its lines in file order.
  std::map<uint32_t, std::vector<UnicodeString>> expectedNames;
  size_t repeats = 0;
  for (const auto& fields : fileFields("Index.txt", '\t')) {
    ASSERT_EQ(fields.size(), 2u);
    const uint32_t codepoint = std::stoul(fields[1], nullptr, 16);  // "BOOP" reads as B
    expectedNames[codepoint].push_back(qnunicode::fromUTF8(fields[0]));
    std::string upper = fields[0];
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const UnicodeString asWritten = key(fields[0], codepoint);
    if (unicodeDataKeys.contains(key(upper, codepoint)) && !unicodeDataKeys.contains(asWritten)) {
      ++repeats;
      EXPECT_FALSE(lookup->contains(asWritten)) << fields[0];
    } else {
      expected[asWritten] = codepoint;
    }
  }
  EXPECT_GT(repeats, 20u);
  EXPECT_EQ(decltype(expected)(lookup->begin(), lookup->end()), expected);
  EXPECT_TRUE(lookup->contains(key("BACKSLASH", 0x5C)) &&
              !lookup->contains(key("backslash", 0x5C)));

  auto indexNames = database->indexNames();
  ASSERT_TRUE(indexNames);
  EXPECT_EQ(decltype(expectedNames)(indexNames->begin(), indexNames->end()), expectedNames);
  EXPECT_THAT(indexNames->at(0x5C), ::testing::Contains(u"backslash"));
}

TEST(RealNameLookup, SortedKeysHoldTheMapsKeysInCaseInsensitiveOrder) {
  auto database = realLookupDatabase();
  ASSERT_TRUE(database->isUnihanAvailable());
  EXPECT_EQ(*database->nameLookup(), *database->nameLookupWithoutUnihan());
  for (const bool withoutUnihan : {false, true}) {
    auto lookup = withoutUnihan ? database->nameLookupWithoutUnihan() : database->nameLookup();
    auto sorted = withoutUnihan ? database->sortedNameLookupWithoutUnihanKeys()
                                : database->sortedNameLookupKeys();
    ASSERT_TRUE(lookup && sorted);
    ASSERT_EQ(sorted->size(), lookup->size());
    EXPECT_EQ(std::set<UnicodeString>(sorted->begin(), sorted->end()), keysOf(*lookup));
    for (size_t i = 1; i < sorted->size(); ++i) {
      const UnicodeString &a = (*sorted)[i - 1], &b = (*sorted)[i];
      UErrorCode status = U_ZERO_ERROR;
      EXPECT_LE(u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(),
                                 static_cast<int32_t>(b.size()), U_FOLD_CASE_DEFAULT, &status),
                0)
          << qnunicode::toUTF8(a) << " before " << qnunicode::toUTF8(b);
    }
  }
}
