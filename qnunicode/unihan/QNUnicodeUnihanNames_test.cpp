// The Unihan stage of the name lookup.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"

namespace {

using Entries = std::vector<std::pair<UnicodeString, uint32_t>>;

UnicodeString key(const std::string& name, uint32_t codepoint) {
  return qnunicode::fromUTF8(QNFormat("%s [U+%04X]", name.c_str(), codepoint));
}

std::map<UnicodeString, uint32_t> contents(const QNUnicodeNameLookup& lookup) {
  std::map<UnicodeString, uint32_t> map;
  for (const auto& entry : lookup) map.emplace(entry.key(), entry.codepoint());
  return map;
}

Entries entries(const QNUnicodeNameKeyList& list) {
  Entries all;
  for (size_t i = 0; i < list.size(); ++i) all.emplace_back(list[i], list.entry(i).codepoint());
  return all;
}

// Every kDefinition line of the Unihan files, split the plain way.
std::map<uint32_t, std::string> definitions() {
  std::map<uint32_t, std::string> all;
  for (const auto& file :
       std::filesystem::directory_iterator(qnunicode::testing::ucdDirectory() + "/Unihan")) {
    std::ifstream in(file.path());
    for (std::string line; std::getline(in, line);) {
      const size_t tab = line.find('\t');
      if (line.rfind("U+", 0) != 0 || line.compare(tab, 13, "\tkDefinition\t") != 0) continue;
      all[static_cast<uint32_t>(std::stoul(line.substr(2, tab - 2), nullptr, 16))] =
          line.substr(tab + 13);
    }
  }
  return all;
}

bool containsLowercased(std::u16string_view key, std::u16string_view word) {
  UnicodeString lowered(key);
  for (char16_t& u : lowered) u = qnunicode::asciiLowercase(u);
  return lowered.find(word) != UnicodeString::npos;
}

}  // namespace

// The full lookup is the lookup without Unihan plus one key per definition; the map and the
// sorted list made without Unihan keep what they held.
TEST(UnihanNames, DefinitionsJoinTheFullLookupOnly) {
  QNUnicodeDatabase database({qnunicode::testing::ucdDirectory()}, {});
  const auto withoutUnihan = database.nameLookupWithoutUnihan();
  const auto sortedWithoutUnihan = database.sortedNameLookupWithoutUnihanKeys();
  ASSERT_TRUE(withoutUnihan && sortedWithoutUnihan);
  const std::map<UnicodeString, uint32_t> before = contents(*withoutUnihan);
  const size_t sortedBefore = sortedWithoutUnihan->size();

  const auto full = database.nameLookup();
  ASSERT_TRUE(full);
  EXPECT_TRUE(database.isUnihanRead());
  EXPECT_EQ(database.nameLookup(), full) << "made once";
  std::map<UnicodeString, uint32_t> expected = before;
  const std::map<uint32_t, std::string> defined = definitions();
  ASSERT_GT(defined.size(), 20000u);
  for (const auto& [codepoint, definition] : defined)
    expected[key(definition, codepoint)] = codepoint;
  EXPECT_EQ(contents(*full), expected);
  EXPECT_EQ(full->codepointForKey(u"hill; elder; empty; a name [U+4E18]"), 0x4E18u);

  EXPECT_EQ(database.nameLookupWithoutUnihan(), withoutUnihan);
  EXPECT_EQ(contents(*withoutUnihan), before);
  EXPECT_EQ(database.sortedNameLookupWithoutUnihanKeys(), sortedWithoutUnihan);
  EXPECT_EQ(sortedWithoutUnihan->size(), sortedBefore);
  EXPECT_EQ(database.sortedNameLookupKeys()->size(), expected.size());
}

// Keys that pass a test, asked for before any lookup exists, are the full sorted list's keys
// that pass it (and map to the same codepoints); without Unihan, none of the definitions.
TEST(UnihanNames, KeysPassingATestIncludeDefinitionsWhenAsked) {
  QNUnicodeDatabase whole({qnunicode::testing::ucdDirectory()}, {});
  const auto sorted = whole.sortedNameLookupKeys();
  const auto sortedWithoutUnihan = whole.sortedNameLookupWithoutUnihanKeys();
  ASSERT_TRUE(sorted && sortedWithoutUnihan);
  const std::function<bool(std::u16string_view)> tests[] = {
      [](std::u16string_view k) { return containsLowercased(k, u"lotion"); },
      [](std::u16string_view k) { return containsLowercased(k, u"water"); },
      [](std::u16string_view k) { return k.size() % 11 == 0; }};
  for (const auto& test : tests) {
    for (const bool includingUnihan : {true, false}) {
      Entries expected;
      std::ranges::copy_if(entries(includingUnihan ? *sorted : *sortedWithoutUnihan),
                           std::back_inserter(expected),
                           [&test](const auto& entry) { return test(entry.first); });
      QNUnicodeDatabase fresh({qnunicode::testing::ucdDirectory()}, {});
      const auto passing = fresh.sortedNameLookupKeysPassingTest(test, includingUnihan);
      ASSERT_TRUE(passing);
      EXPECT_EQ(entries(*passing), expected) << includingUnihan;
      EXPECT_EQ(fresh.isUnihanRead(), includingUnihan) << "Unihan is read only when asked";
    }
  }
  // The search of the host: "lotion" finds U+6C34 only with Unihan.
  const auto lotion = [](std::u16string_view k) { return containsLowercased(k, u"lotion"); };
  const auto hasWater = [](const Entries& found) {
    return std::ranges::any_of(found, [](const auto& entry) { return entry.second == 0x6C34; });
  };
  EXPECT_TRUE(hasWater(entries(*whole.sortedNameLookupKeysPassingTest(lotion, true))));
  EXPECT_FALSE(hasWater(entries(*whole.sortedNameLookupKeysPassingTest(lotion, false))));
}

// A definition that only repeats one of its codepoint's keys in other letter case adds no key,
// in the whole lookup and in the keys passing a test alike.
TEST(UnihanNames, DefinitionsRepeatingAKeyInOtherCaseAddNone) {
  qnunicode::testing::ScratchDirectory scratch;
  scratch.write("UnicodeData.txt",
                "4E00;CJK TEST NAME;Lo;0;L;;;;;N;OLD TEST NAME;;;;\n"
                "4E01;CJK OTHER;Lo;0;L;;;;;N;;;;;\n");
  scratch.write("Index.txt", "Index Name\t4E01\nINDEX SHOUT\t4E01\n");
  scratch.write("Unihan/Unihan_Readings.txt",
                "U+4E00\tkDefinition\tcjk test name\n"     // its name: none
                "U+4E01\tkDefinition\tindex shout\n"       // an Index key upper-cased: none
                "U+4E02\tkDefinition\tcjk other\n"         // another codepoint's name: a key
                "U+4E03\tkDefinition\tOld Test Name\n"     // another's 1.0 name: a key
                "U+4E03\tkMandarin\tnot a definition\n");  // other keys: none
  QNUnicodeDatabase whole({scratch.path()}, {});
  const auto full = whole.nameLookup();
  ASSERT_TRUE(full);
  const std::map<UnicodeString, uint32_t> fullContents = contents(*full);
  const std::map<UnicodeString, uint32_t> withoutUnihan =
      contents(*whole.nameLookupWithoutUnihan());
  std::map<UnicodeString, uint32_t> added;
  std::ranges::set_difference(fullContents, withoutUnihan, std::inserter(added, added.end()));
  EXPECT_EQ(added, (std::map<UnicodeString, uint32_t>{{key("cjk other", 0x4E02), 0x4E02},
                                                      {key("Old Test Name", 0x4E03), 0x4E03}}));
  const auto sorted = whole.sortedNameLookupKeys();
  for (const auto& test :
       {std::function<bool(std::u16string_view)>([](std::u16string_view) { return true; }),
        std::function<bool(std::u16string_view)>([](std::u16string_view k) {
          return containsLowercased(k, u"name") || containsLowercased(k, u"shout");
        })}) {
    Entries expected;
    std::ranges::copy_if(entries(*sorted), std::back_inserter(expected),
                         [&test](const auto& entry) { return test(entry.first); });
    QNUnicodeDatabase fresh({scratch.path()}, {});
    EXPECT_EQ(entries(*fresh.sortedNameLookupKeysPassingTest(test, true)), expected);
  }
}

TEST(UnihanNames, RecordsAnswerTheirUnihanEntryThroughTheSharedDatabase) {
  const auto database = qnunicode::testing::realDatabase();
  const auto hill = database->unicodeDataForCodepoint(0x4E18);
  ASSERT_TRUE(hill);
  const auto entry = hill->unihanData();
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0x4E18u);
  EXPECT_EQ(entry->textForKey(QNUnicodeUnihanKey_kDefinition), u"hill; elder; empty; a name");
  EXPECT_FALSE(database->unicodeDataForCodepoint(0xE9)->unihanData());
  const auto previous = QNUnicodeDatabase::sharedDatabase();
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_FALSE(hill->unihanData());
  QNUnicodeDatabase::setSharedDatabase(previous);
}
