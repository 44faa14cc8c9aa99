#include "qnunicode/names/QNUnicodeNameLookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <ranges>
#include <unordered_map>

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

std::map<UnicodeString, uint32_t> contents(const QNUnicodeNameLookup& lookup) {
  std::map<UnicodeString, uint32_t> map;
  for (const auto& entry : lookup) map.emplace(entry.key(), entry.codepoint());
  return map;
}

std::vector<UnicodeString> names(const QNUnicodeIndexNames& index, uint32_t codepoint) {
  const QNUnicodeIndexNames::Names found = index.namesForCodepoint(codepoint);
  return {found.begin(), found.end()};
}

}  // namespace

// The map against the standard one under random keys: new keys, replaced codepoints, lookups of
// absent keys, runs of keys stored at once (in the order of storing them one by one), growth
// far beyond the first room and keys longer than a block of key text; every key handed out
// earlier still reads the same.
TEST(NameLookupMap, AgreesWithAStandardMapAndKeepsItsKeysInPlace) {
  std::mt19937 random(7);
  QNUnicodeNameLookup lookup(4), oneByOne;
  std::unordered_map<UnicodeString, uint32_t> reference;
  std::vector<std::pair<std::u16string_view, UnicodeString>> handedOut;
  const auto randomKey = [&random] {
    const size_t length = random() % 50 == 0 ? 40000 + random() % 3 : random() % 12;
    UnicodeString key(length, u'A');
    for (char16_t& u : key)
      u = static_cast<char16_t>(random() % 3 ? u'A' + random() % 4 : random());
    return key;
  };
  for (int step = 0; step < 30000; ++step) {
    const UnicodeString key = randomKey();
    const uint32_t codepoint = random() % 0x110000;
    ASSERT_EQ(lookup.codepointForKey(key),
              reference.contains(key) ? std::optional(reference.at(key)) : std::nullopt);
    if (step % 500 == 0) {
      // A run of keys, some of them repeated, stored at once as if one after the other.
      std::vector<UnicodeString> keys;
      for (size_t n = random() % 200; n > 0; --n) keys.push_back(random() % 4 ? randomKey() : key);
      std::vector<QNUnicodeNameLookup::KeyAndCodepoint> run;
      for (const UnicodeString& k : keys) run.push_back({k, static_cast<uint32_t>(random())});
      lookup.setCodepointsForKeys(run);
      for (const auto& [k, c] : run) {
        oneByOne.setCodepointForKey(c, k);
        reference[UnicodeString(k)] = c;
      }
    } else if (random() % 3) {
      lookup.setCodepointForKey(codepoint, key);
      oneByOne.setCodepointForKey(codepoint, key);
      reference[key] = codepoint;
    }
    if (step % 1000 == 0 && lookup.contains(key)) {
      const auto entry = std::find_if(lookup.begin(), lookup.end(),
                                      [&key](const auto& e) { return e.key() == key; });
      handedOut.emplace_back(entry->key(), key);
    }
  }
  EXPECT_EQ(contents(lookup),
            (std::map<UnicodeString, uint32_t>(reference.begin(), reference.end())));
  EXPECT_GT(lookup.size(), 1000u);
  EXPECT_TRUE(std::ranges::equal(lookup, oneByOne, [](auto& a, auto& b) {
    return a.key() == b.key() && a.codepoint() == b.codepoint();
  }));
  for (const auto& [view, key] : handedOut) EXPECT_EQ(view, key);
  QNUnicodeNameLookup copy(lookup);
  EXPECT_TRUE(copy == lookup && std::ranges::equal(copy, lookup, [](auto& a, auto& b) {
                return a.key() == b.key() && a.codepoint() == b.codepoint() &&
                       a.key().data() != b.key().data();
              }));
  copy.setCodepointForKey(copy[0].codepoint() + 1, copy[0].key());
  EXPECT_FALSE(copy == lookup);
  copy.setCodepointForKey(1, u"a key of the copy only");
  EXPECT_EQ(copy.size(), lookup.size() + 1);
  EXPECT_FALSE(lookup.contains(u"a key of the copy only"));
}

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
  EXPECT_THAT(names(*indexFirst.indexNames(), 0x5C), ElementsAre(u"backslash"));  // made anew
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
  // Ordered as if lower-cased (accents too) and decomposed, so that "é" sorts as "e" and a
  // combining acute; keys that differ only in case by their units.
  UnicodeString keys;
  for (std::u16string_view k : *sorted) keys += UnicodeString(k) + u"\n";
  EXPECT_EQ(
      keys,
      u" spaced [U+0041]\n_under [U+005F]\nBACKSLASH [U+005C]\n\u00C9CU [U+00E9]\n"
      u"\u00E9lan [U+00E9]\n\u00C9T\u00C9 [U+00E9]\nLatin alphabet [U+0041]\n"
      u"LATIN CAPITAL LETTER E WITH ACUTE [U+00C9]\nLATIN SMALL LETTER E WITH ACUTE [U+00E9]\n"
      u"REVERSE SOLIDUS [U+005C]\nZeta [U+007A]\nzeta [U+007A]\n");
  EXPECT_THAT(names(*database.indexNames(), 0x41),
              ElementsAre(u"Latin alphabet", u"Latin alphabet", u" spaced"));
  EXPECT_THAT(database.indexNames()->codepoints(), ElementsAre(0x41, 0x5C, 0x5F, 0x7A, 0xE9));
  EXPECT_EQ(database.nameLookupWithoutUnihan(), lookup);  // one map and one list without Unihan
  EXPECT_EQ(database.sortedNameLookupWithoutUnihanKeys(), sorted);
}

// Keys and codepoints, in list order.
std::vector<std::pair<UnicodeString, uint32_t>> entries(const QNUnicodeNameKeyList& list) {
  std::vector<std::pair<UnicodeString, uint32_t>> all;
  for (size_t i = 0; i < list.size(); ++i) all.emplace_back(list[i], list.entry(i).codepoint());
  return all;
}

// Before the lookup is made, the keys that pass a test go into a lookup of their own. They must
// be the whole lookup's keys that pass, with its codepoints and order, whatever the test: here
// tests that split the Index's case repeats from the keys they repeat, and chains of entries for
// one codepoint where an entry repeats an earlier entry that itself took a key. UnicodeData out
// of order takes the whole lookup's way. The Index is read once either way.
TEST(NameLookup, KeysPassingATestBeforeTheLookupAreTheWholeLookupsKeys) {
  const std::string chains =
      "Zeta\t007A\nZETA\t007A\nzEta\t007A\nreverse solidus\t005C\nREVERSE solidus\t005C\n"
      "\351T\351\t00E9\nlatin small letter e with acute\t00E9\n";
  const std::string unordered =
      kUnicodeData + "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n";
  const std::function<bool(std::u16string_view)> tests[] = {
      [](std::u16string_view k) { return k.find(u"Z") != k.npos; },
      [](std::u16string_view k) { return k.find(u"REVERSE") == k.npos; },
      [](std::u16string_view k) { return std::hash<std::u16string_view>()(k) % 3 != 0; },
      [](std::u16string_view k) { return k.size() % 2 == 0; },
      [](std::u16string_view) { return true; }};
  for (const bool indexFirst : {false, true}) {
    for (const std::string& unicodeData : {kUnicodeData, unordered}) {
      qnunicode::testing::ScratchDirectory scratch;
      scratch.write("UnicodeData.txt", unicodeData);
      scratch.write("Index.txt", kIndex + chains);
      QNUnicodeDatabase whole({scratch.path()}, {});
      if (indexFirst) whole.indexNames();
      const auto sorted = whole.sortedNameLookupKeys();
      ASSERT_TRUE(sorted);
      for (const auto& test : tests) {
        std::vector<std::pair<UnicodeString, uint32_t>> expected;
        std::ranges::copy_if(entries(*sorted), std::back_inserter(expected),
                             [&test](const auto& entry) { return test(entry.first); });
        qnunicode::testing::LogCapture log;
        QNUnicodeDatabase fresh({scratch.path()}, {});
        if (indexFirst) fresh.indexNames();
        const auto passing = fresh.sortedNameLookupKeysPassingTest(test, false);
        ASSERT_TRUE(passing);
        EXPECT_EQ(entries(*passing), expected);
        EXPECT_EQ(entries(*fresh.sortedNameLookupKeysPassingTest(test, false)), expected);
        EXPECT_EQ(*fresh.nameLookup(), *whole.nameLookup());
        EXPECT_EQ(std::ranges::count_if(log.lines(),
                                        [](const std::string& line) {
                                          return line.find("lossy ASCII") != std::string::npos;
                                        }),
                  1);
      }
    }
  }
}

// Keys made to be hard to sort: long shared prefixes, names that are prefixes of others, letters
// beyond ASCII that the records lower-case, and many keys equal but for case. The sorted list
// is the plain sort of the same keys: lower-cased units first, then the units themselves.
TEST(NameLookup, SortedKeysAreThePlainCaseBlindSortOfTheKeys) {
  qnunicode::testing::ScratchDirectory scratch;
  scratch.write("UnicodeData.txt", kUnicodeData);
  std::mt19937 random(11);
  // É and é beside e and a combining acute: keys of both forms that are canonically equivalent.
  const std::string letters[] = {"a",        "A", "b", "B", " ", "\xC3\x89",
                                 "\xC3\xA9", "z", "-", "e", "E", "\xCC\x81"};
  std::string index;
  for (int line = 0; line < 3000; ++line) {
    std::string name = line % 3 ? std::string(random() % 40, 'a') : "";
    for (size_t n = random() % 12; n > 0; --n) name += letters[random() % std::size(letters)];
    index += name + QNFormat("\t%04X\n", static_cast<unsigned>(random() % 3 + 0x41));
  }
  for (unsigned variant = 0; variant < 31; ++variant) {  // all but the capitals of "mixedcase"
    std::string name = "mixedcase";
    for (unsigned bit = 0; bit < 5; ++bit) {
      if (variant & (1u << bit)) name[bit] = static_cast<char>(name[bit] - 32);
    }
    index += name + "\t0041\n";
  }
  index +=
      "\xC3\xA9"
      "a\t0041\ne\xCC\x81"
      "b\t0041\n\xC3\xA9"
      "c\t0041\n";
  scratch.write("Index.txt", index);
  QNUnicodeDatabase database({scratch.path()}, {});
  const auto sorted = database.sortedNameLookupKeys();
  const auto lookup = database.nameLookup();
  ASSERT_TRUE(sorted && lookup && lookup->size() > 2000);
  // Lower-cased, then decomposed as UnicodeData above decomposes é.
  const auto lowered = [](std::u16string_view key) {
    UnicodeString text;
    for (char16_t u : key) {
      u = (u >= u'A' && u <= u'Z') || u == u'\u00C9' ? u + 32 : u;
      text += u == u'\u00E9' ? UnicodeString(u"e\u0301") : UnicodeString(1, u);
    }
    return text;
  };
  std::vector<UnicodeString> expected;
  for (const auto& entry : *lookup) expected.emplace_back(entry.key());
  std::sort(expected.begin(), expected.end(), [&](const UnicodeString& a, const UnicodeString& b) {
    const UnicodeString lowerA = lowered(a), lowerB = lowered(b);
    return lowerA != lowerB ? lowerA < lowerB : a < b;
  });
  EXPECT_TRUE(std::ranges::equal(*sorted, expected));
  // Composed and decomposed forms sort together, told apart by their units only when all else is
  // equal.
  const auto at = [&](const UnicodeString& name) {
    return std::find(sorted->begin(), sorted->end(), name + u" [U+0041]") - sorted->begin();
  };
  ASSERT_LT(at(u"\u00E9a"), at(u"e\u0301b"));
  ASSERT_LT(at(u"e\u0301b"), at(u"\u00E9c"));
}

TEST(RealNameLookup, KeysIndexNamesAndSortedKeysFollowTheFiles) {
  QNUnicodeDatabase database({qnunicode::testing::ucdDirectory()}, {});
  // The lookup without Unihan names (the Unihan stage has tests of its own).
  auto lookup = database.nameLookupWithoutUnihan();
  auto sorted = database.sortedNameLookupWithoutUnihanKeys();
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
  EXPECT_EQ(contents(*lookup), expected);
  std::map<uint32_t, std::vector<UnicodeString>> ours;
  for (uint32_t codepoint : database.indexNames()->codepoints()) {
    ours[codepoint] = ::names(*database.indexNames(), codepoint);
  }
  EXPECT_EQ(ours, names);
  // The sorted keys are exactly the map's keys, in the order of ICU's case-insensitive compare,
  // keys equal to it in the order of their units.
  std::vector<UnicodeString> inMapOrder(sorted->begin(), sorted->end());
  std::sort(inMapOrder.begin(), inMapOrder.end());
  EXPECT_TRUE(std::ranges::equal(inMapOrder, expected | std::views::keys));
  for (size_t i = 1; i < sorted->size(); ++i) {
    const UnicodeString a((*sorted)[i - 1]), b((*sorted)[i]);
    UErrorCode status = U_ZERO_ERROR;
    const int order = u_strCaseCompare(a.c_str(), -1, b.c_str(), -1, U_FOLD_CASE_DEFAULT, &status);
    EXPECT_TRUE(order < 0 || (order == 0 && a < b))
        << qnunicode::toUTF8(a) << " before " << qnunicode::toUTF8(b);
  }
  // Sorting only the keys that pass a test gives the sorted list's keys that pass it.
  const std::function<bool(std::u16string_view)> tests[] = {
      [](std::u16string_view k) { return k.find(u"WITH") != k.npos; },
      [](std::u16string_view k) { return k.size() % 7 == 0; },
      [](std::u16string_view) { return true; }};
  for (const auto& test : tests) {
    QNUnicodeDatabase fresh({qnunicode::testing::ucdDirectory()}, {});
    const auto passing = fresh.sortedNameLookupKeysPassingTest(test, false);
    std::vector<std::u16string_view> filtered;
    std::ranges::copy_if(*sorted, std::back_inserter(filtered), test);
    ASSERT_TRUE(passing && std::ranges::equal(*passing, filtered));
    for (size_t i = 0; i < passing->size(); ++i) {
      ASSERT_EQ(passing->entry(i).codepoint(), lookup->codepointForKey((*passing)[i]));
    }
    EXPECT_TRUE(
        std::ranges::equal(*database.sortedNameLookupKeysPassingTest(test, false), filtered));
  }
  // The full lookup holds the same keys and the Unihan definitions besides.
  const auto full = database.nameLookup();
  EXPECT_GT(full->size(), lookup->size());
  EXPECT_TRUE(std::ranges::all_of(*lookup, [&full](const QNUnicodeNameLookup::Entry& entry) {
    return full->codepointForKey(entry.key()) == entry.codepoint();
  }));
}
