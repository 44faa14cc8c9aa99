#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <ranges>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

using ::testing::ElementsAre;

namespace {

UnicodeString key(const std::string& name, uint32_t codepoint) {
  return qnunicode::fromUTF8(QNFormat("%s [U+%04X]", name.c_str(), codepoint));
}

// A Unicode 1.0 name and two letters that are each other's case mappings.
const std::string kUnicodeData =
    "005C;REVERSE SOLIDUS;Po;0;ON;;;;;N;BACKSLASH;;;;\n"
    "00C9;LATIN CAPITAL LETTER E WITH ACUTE;Lu;0;L;0045 0301;;;;N;;;;00E9;\n"
    "00E9;LATIN SMALL LETTER E WITH ACUTE;Ll;0;L;0065 0301;;;;N;;;00C9;;00C9\n";
// Latin-1, read as lossy ASCII keeping each byte; lines not "name<tab>hex number" are skipped.
const std::string kIndex =
    "Latin alphabet\t0041\n\nno number\tzz\nno tab\nLatin alphabet\t0041\n spaced\t  0x0041\r\n"
    "backslash\t005C\n\311CU\t00E9\n\351cu\t00E9\n\351lan\t00E9\n\311T\311\t00E9\n_under\t005F\n"
    "zeta\t007A\nZeta\t007A\n";

// Each line of a data file split at the separator; the file must be there.
std::vector<std::vector<std::string>> fileFields(const std::string& name, char separator) {
  std::ifstream file(qnunicode::testing::ucdFile(name));
  std::vector<std::vector<std::string>> lines;
  for (std::string text; std::getline(file, text);) {
    auto& fields = lines.emplace_back(1);
    for (char c : text) c == separator ? (void)fields.emplace_back() : fields.back().push_back(c);
  }
  return lines;
}

}  // namespace

TEST(NameLookup, IndexKeysDependOnWhatWasReadFirstAndSortIgnoringCase) {
  qnunicode::testing::ScratchDirectory scratch;
  QNUnicodeDatabase indexFirst({scratch.path()}, {});
  qnunicode::testing::LogCapture log;
  EXPECT_FALSE(indexFirst.nameLookup() || indexFirst.sortedNameLookupKeys());  // no UnicodeData
  EXPECT_FALSE(indexFirst.indexNames() || indexFirst.indexNames());
  scratch.write("Index.txt", kIndex);
  ASSERT_TRUE(indexFirst.indexNames());  // letters beyond ASCII set off no UnicodeData read
  scratch.write("UnicodeData.txt", kUnicodeData);
  auto lookup = indexFirst.nameLookup();  // read first, the Index found no names to repeat
  ASSERT_TRUE(lookup && lookup->contains(key("backslash", 0x5C)) &&
              lookup->contains(key("\u00E9cu", 0xE9)));
  indexFirst.readIndex();
  EXPECT_THAT(indexFirst.indexNames()->at(0x5C), ElementsAre(u"backslash"));  // names made anew
  QNUnicodeDatabase database({scratch.path()}, {});
  lookup = database.nameLookup();
  auto sorted = database.sortedNameLookupKeys();
  ASSERT_TRUE(lookup && sorted && database.indexNames());
  const std::string missing = "QNUnicodeDatabase could not find file '",
                    lossy = "QNUnicode warning: file at path '" + scratch.path() +
                            "/Index.txt' is invalid UTF-8. using lossy ASCII encoding for reading";
  EXPECT_THAT(log.lines(),
              ElementsAre(missing + "UnicodeData'", missing + "UnicodeData'", missing + "Index'",
                          missing + "Index'", lossy, lossy,
                          "WARNING: _nameLookupContainsIndex == YES in -readIndex", lossy));
  // Ordered as if lower-cased (accents too), keys that differ only in case by their units.
  UnicodeString keys;
  for (const UnicodeString& k : *sorted) keys += k + u"\n";
  EXPECT_EQ(
      keys,
      u" spaced [U+0041]\n_under [U+005F]\nBACKSLASH [U+005C]\nLatin alphabet [U+0041]\n"
      u"LATIN CAPITAL LETTER E WITH ACUTE [U+00C9]\nLATIN SMALL LETTER E WITH ACUTE [U+00E9]\n"
      u"REVERSE SOLIDUS [U+005C]\nZeta [U+007A]\nzeta [U+007A]\n\u00C9CU [U+00E9]\n"
      u"\u00E9lan [U+00E9]\n\u00C9T\u00C9 [U+00E9]\n");
  EXPECT_THAT(database.indexNames()->at(0x41),
              ElementsAre(u"Latin alphabet", u"Latin alphabet", u" spaced"));
  EXPECT_EQ(database.nameLookupWithoutUnihan(), lookup);  // one map and one list without Unihan
  EXPECT_EQ(database.sortedNameLookupWithoutUnihanKeys(), sorted);
}

TEST(RealNameLookup, KeysIndexNamesAndSortedKeysFollowTheFiles) {
  QNUnicodeDatabase database({qnunicode::testing::ucdDirectory()}, {});
  auto lookup = database.nameLookup();
  auto sorted = database.sortedNameLookupKeys();
  ASSERT_TRUE(lookup && sorted && database.indexNames() && database.isUnihanAvailable());
  // Keys: every UnicodeData name and Unicode 1.0 name, every Index entry but their case repeats.
  std::map<UnicodeString, uint32_t> expected;
  for (const auto& fields : fileFields("UnicodeData.txt", ';')) {
    const uint32_t codepoint = std::stoul(fields.at(0), nullptr, 16);
    for (const std::string& name : {fields.at(1), fields.at(10)}) {
      if (!name.empty()) expected[key(name, codepoint)] = codepoint;
    }
  }
  const std::map<UnicodeString, uint32_t> named = expected;
  std::map<uint32_t, std::vector<UnicodeString>> names;  // each codepoint's lines in file order
  size_t repeats = 0;
  for (const auto& fields : fileFields("Index.txt", '\t')) {
    const uint32_t codepoint = std::stoul(fields.at(1), nullptr, 16);  // "BOOP" reads as B
    names[codepoint].push_back(qnunicode::fromUTF8(fields[0]));
    std::string upper = fields[0];
    for (char& c : upper) c = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
    const UnicodeString written = key(fields[0], codepoint);
    const bool repeat = named.contains(key(upper, codepoint)) && !named.contains(written);
    repeats += repeat;
    if (!repeat) expected[written] = codepoint;
  }
  EXPECT_GT(repeats, 20u);
  EXPECT_EQ(decltype(expected)(lookup->begin(), lookup->end()), expected);
  EXPECT_EQ(decltype(names)(database.indexNames()->begin(), database.indexNames()->end()), names);
  // The sorted keys are exactly the map's keys, in the order of ICU's case-insensitive compare.
  std::vector<UnicodeString> inMapOrder = *sorted;
  std::sort(inMapOrder.begin(), inMapOrder.end());
  EXPECT_TRUE(std::ranges::equal(inMapOrder, expected | std::views::keys));
  for (size_t i = 1; i < sorted->size(); ++i) {
    const UnicodeString &a = (*sorted)[i - 1], &b = (*sorted)[i];
    UErrorCode status = U_ZERO_ERROR;
    EXPECT_LE(u_strCaseCompare(a.c_str(), -1, b.c_str(), -1, U_FOLD_CASE_DEFAULT, &status), 0)
        << qnunicode::toUTF8(a) << " before " << qnunicode::toUTF8(b);
  }
  // With Unihan files the map without Unihan is a separate one, equal until Unihan is read.
  EXPECT_NE(database.nameLookupWithoutUnihan(), lookup);
  EXPECT_EQ(*database.nameLookupWithoutUnihan(), *lookup);
}
