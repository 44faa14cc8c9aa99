#include "qnunicode/unihan/QNUnicodeUnihanTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;

namespace {

const std::set<std::string> kNumericKeys = {
    "kAccountingNumeric", "kFrequency",      "kGradeLevel",  "kLau",
    "kOtherNumeric",      "kPrimaryNumeric", "kTotalStrokes"};

// The Unihan files read the plain way: every line split at its tabs, codepoint -> key -> value.
std::map<uint32_t, std::map<std::string, std::string>> plainSplit(const std::string& directory,
                                                                  size_t* fileCount) {
  std::map<uint32_t, std::map<std::string, std::string>> entries;
  *fileCount = 0;
  for (const auto& file : std::filesystem::directory_iterator(directory)) {
    if (file.path().extension() != ".txt") continue;
    ++*fileCount;
    std::ifstream in(file.path());
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("U+", 0) != 0) continue;
      const size_t tab = line.find('\t'), second = line.find('\t', tab + 1);
      entries[static_cast<uint32_t>(std::stoul(line.substr(2, tab - 2), nullptr, 16))]
             [line.substr(tab + 1, second - tab - 1)] = line.substr(second + 1);
    }
  }
  return entries;
}

std::string text(const QNUnicodeUnihanValue& value) {
  return qnunicode::toUTF8(std::get<UnicodeString>(value));
}

// The entry of a database over scratch files as codepoint -> key -> value, numbers written out.
std::map<uint32_t, std::map<std::string, std::string>> contents(QNUnicodeDatabase& database) {
  std::map<uint32_t, std::map<std::string, std::string>> all;
  const auto table = database.unihan();
  if (!table) {
    ADD_FAILURE() << "no Unihan table";
    return all;
  }
  for (size_t i = 0; i < table->size(); ++i) {
    const QNUnicodeUnihanEntry entry = table->entryAt(i);
    auto& keys = all[entry.codepoint()];
    for (size_t k = 0; k < entry.size(); ++k) {
      const QNUnicodeUnihanValue value = entry.valueAt(k);
      keys[qnunicode::toUTF8(entry.keyAt(k))] =
          entry.isNumberAt(k) ? "#" + std::to_string(std::get<int64_t>(value)) : text(value);
    }
  }
  return all;
}

using Contents = std::map<uint32_t, std::map<std::string, std::string>>;

// A database over a scratch directory holding the files: made after them, since construction
// looks whether there are Unihan files.
struct UnihanScratch {
  explicit UnihanScratch(std::initializer_list<std::pair<const char*, std::string>> files) {
    for (const auto& [name, content] : files) directory.write(name, content);
  }
  ScratchDirectory directory;
  QNUnicodeDatabase& database() {
    if (!_database)
      _database = std::make_unique<QNUnicodeDatabase>(std::vector{directory.path()},
                                                      std::vector<std::string>{});
    return *_database;
  }

 private:
  std::unique_ptr<QNUnicodeDatabase> _database;
};

}  // namespace

// Every codepoint, key and value of the published files, against a plain split of them.
TEST(UnihanTable, AgreesWithAPlainSplitOfTheFiles) {
  size_t fileCount = 0;
  const auto expected = plainSplit(qnunicode::testing::ucdDirectory() + "/Unihan", &fileCount);
  ASSERT_EQ(fileCount, 8u);
  ASSERT_EQ(expected.size(), 98060u);

  QNUnicodeDatabase database({qnunicode::testing::ucdDirectory()}, {});
  ASSERT_TRUE(database.isUnihanAvailable());
  const auto table = database.unihan();
  ASSERT_TRUE(table);
  ASSERT_EQ(table->size(), expected.size());
  std::set<std::string> expectedKeys;
  size_t mismatches = 0, values = 0;
  for (const auto& [codepoint, keys] : expected) {
    const std::optional<QNUnicodeUnihanEntry> entry = database.unihanDataForCodepoint(codepoint);
    ASSERT_TRUE(entry) << std::hex << codepoint;
    EXPECT_EQ(entry->size(), keys.size()) << std::hex << codepoint;
    for (const auto& [key, value] : keys) {
      expectedKeys.insert(key);
      ++values;
      const auto found = entry->valueForKey(qnunicode::fromUTF8(key));
      const bool same =
          found && (kNumericKeys.count(key)
                        ? std::get<int64_t>(*found) == std::strtoll(value.c_str(), nullptr, 10)
                        : text(*found) == value);
      if (!same && ++mismatches <= 10) {
        ADD_FAILURE() << std::hex << codepoint << " " << key << " expected " << value;
      }
    }
  }
  EXPECT_EQ(mismatches, 0u) << "of " << values << " values";
  std::set<std::string> keys;
  for (const UnicodeString& key : *database.unihanKeys()) keys.insert(qnunicode::toUTF8(key));
  EXPECT_EQ(keys, expectedKeys);
  std::set<std::string> numericKeys;
  for (const UnicodeString& key : *database.unihanNumericKeys()) {
    numericKeys.insert(qnunicode::toUTF8(key));
  }
  EXPECT_EQ(numericKeys, kNumericKeys);  // all seven occur in the published files

  // Keys come sorted; a text value is not a number.
  const QNUnicodeUnihanEntry hill = *database.unihanDataForCodepoint(0x4E18);
  for (size_t i = 1; i < hill.size(); ++i) EXPECT_LT(hill.keyAt(i - 1), hill.keyAt(i));
  EXPECT_EQ(hill.textForKey(QNUnicodeUnihanKey_kDefinition), u"hill; elder; empty; a name");
  EXPECT_EQ(hill.textForKey(QNUnicodeUnihanKey_kTotalStrokes), std::nullopt);
  EXPECT_EQ(hill.valueForKey(QNUnicodeUnihanKey_kTotalStrokes), QNUnicodeUnihanValue(int64_t{5}));
  EXPECT_FALSE(database.unihanDataForCodepoint(0xE9));
}

TEST(UnihanTable, LeadingIntegerOfNumericValues) {
  using qnunicode::detail::unihanLeadingInteger;
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  const std::pair<const char*, int64_t> cases[] = {
      {"12 13", 12},                   // reading stops at the blank
      {"  +5", 5},                     // leading white space and a sign
      {"\xE3\x80\x80-7x", -7},         // an ideographic space is white space too
      {"", 0},                         // no digits at all
      {"x1", 0},                       // nor before another character
      {"9223372036854775807", kMax},   // the largest that fits
      {"-9223372036854775808", kMin},  // and the smallest
      {"99999999999999999999", kMax},  // beyond: the limit
      {"-99999999999999999999", kMin},
  };
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(unihanLeadingInteger(value), expected) << value;
  }
}

// What the reader takes from lines of every kind, one file each.
TEST(UnihanTable, LineRules) {
  struct Case {
    const char* comment;
    const char* file;
    Contents expected;
  };
  const Case cases[] = {
      {"comments and blank lines pass; a CR stays in the value",
       "# header\n\nU+4E00\tkDefinition\tone\r\n",
       {{0x4E00, {{"kDefinition", "one\r"}}}}},
      {"a last line without its line feed is lost",
       "U+4E00\tkDefinition\tone\nU+4E01\tkDefinition\ttwo",
       {{0x4E00, {{"kDefinition", "one"}}}}},
      {"numeric keys keep their leading integer, other keys their text",
       "U+4E00\tkTotalStrokes\t12 13\nU+4E00\tkDefinition\t12\n",
       {{0x4E00, {{"kTotalStrokes", "#12"}, {"kDefinition", "12"}}}}},
      {"a line without its second tab is skipped, the next one read",
       "U+4E00\tkDefinition\nU+4E01\tkDefinition\ttwo\n",
       {{0x4E01, {{"kDefinition", "two"}}}}},
      {"a line without a codepoint or without tabs is skipped",
       "U+\tkDefinition\tnone\nU+4E02 kDefinition none\nUnrelated\n"
       "U+4e03\tkDefinition\tlower-case digits\n",
       {{0x4E03, {{"kDefinition", "lower-case digits"}}}}},
      {"ill-formed UTF-8 in a key or value drops the line",
       "U+4E00\tkDefinition\tbad \xC3(\nU+4E01\tk\xFF\tx\nU+4E02\tkDefinition\tgood \xC3\xA9\n",
       {{0x4E02, {{"kDefinition", "good \xC3\xA9"}}}}},
      {"an empty value is kept; a later value under the same key replaces the earlier",
       "U+4E00\tkCantonese\t\nU+4E00\tkDefinition\tfirst\nU+4E00\tkDefinition\tsecond\n",
       {{0x4E00, {{"kCantonese", ""}, {"kDefinition", "second"}}}}},
      {"unknown keys are kept too", "U+20000\tkNewKey\tv\n", {{0x20000, {{"kNewKey", "v"}}}}},
      {"an empty file", "", {}},
  };
  for (const Case& test : cases) {
    UnihanScratch scratch({{"Unihan/Unihan_Test.txt", test.file}});
    LogCapture log;
    EXPECT_EQ(contents(scratch.database()), test.expected) << test.comment;
    EXPECT_TRUE(log.lines().empty()) << test.comment;
  }
}

TEST(UnihanTable, CodepointOutOfRangeIsLoggedAndSkipped) {
  UnihanScratch scratch(
      {{"Unihan/Unihan_Test.txt",
        "U+110000\tkDefinition\tbeyond\nU+10FFFF\tkDefinition\tlast\nU+123456789\tkX\ty\n"}});
  LogCapture log;
  EXPECT_EQ(contents(scratch.database()), (Contents{{0x10FFFF, {{"kDefinition", "last"}}}}));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"Codepoint out of range: 1114112",
                                                   "Codepoint out of range: 4294967295"}));
}

// Lines of one codepoint in several files make one entry; where two files give the same key,
// the file read later wins.
TEST(UnihanTable, MergesFilesAndUnreadableFilesAreLogged) {
  UnihanScratch scratch(
      {{"Unihan/Unihan_A.txt", "U+4E00\tkDefinition\tfrom A\nU+4E00\tkMandarin\tyi1\n"},
       {"Unihan/Unihan_B.txt", "U+4E00\tkDefinition\tfrom B\nU+4E00\tkTang\tx\n"},
       {"Unihan/Unihan_C.txt", ""}});
  // A directory is listed like a file but cannot be read as one.
  std::filesystem::create_directory(scratch.directory.path() + "/Unihan/Unihan_Broken.txt");
  const std::vector<std::string> files = scratch.database().filenamesWithPrefix(u"Unihan");
  ASSERT_EQ(files.size(), 4u);
  std::string broken, later;
  for (const std::string& file : files) {
    if (file.ends_with("Broken.txt")) broken = file;
    if (file.ends_with("_A.txt") || file.ends_with("_B.txt")) later = file;
  }
  LogCapture log;
  const Contents expected = {{0x4E00,
                              {{"kDefinition", later.ends_with("_A.txt") ? "from A" : "from B"},
                               {"kMandarin", "yi1"},
                               {"kTang", "x"}}}};
  EXPECT_EQ(contents(scratch.database()), expected);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"could not read file '" + broken + "'"});
}

// Random bytes and random cuts of a real file: no crash, no hang, and every entry read is one
// that a plain split of the same bytes finds.
TEST(UnihanTable, SurvivesRandomBytes) {
  std::mt19937 random(14);
  std::string bytes(1 << 16, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  // Some structure, so that the parser goes past its first checks.
  for (size_t i = 0; i < bytes.size(); i += 97) bytes.replace(i, 3, "\nU+");
  for (size_t i = 50; i < bytes.size(); i += 89) bytes[i] = '\t';
  UnihanScratch scratch({{"Unihan/Unihan_Random.txt", ""}});
  scratch.directory.write("Unihan/Unihan_Random.txt", bytes);
  LogCapture log;
  const auto table = scratch.database().unihan();
  ASSERT_TRUE(table);
  for (uint32_t codepoint : table->codepoints()) EXPECT_LE(codepoint, 0x10FFFFu);
  for (const std::string& line : log.lines())
    EXPECT_TRUE(line.starts_with("Codepoint out of range"));
}

TEST(UnihanTable, WithoutFilesEverythingIsNone) {
  UnihanScratch scratch({{"Blocks.txt", "0000..007F; Basic Latin\n"}});
  EXPECT_FALSE(scratch.database().isUnihanAvailable());
  EXPECT_FALSE(scratch.database().unihan());
  EXPECT_FALSE(scratch.database().unihanKeys());
  EXPECT_FALSE(scratch.database().unihanNumericKeys());
  EXPECT_FALSE(scratch.database().unihanDataForCodepoint(0x4E00));
  EXPECT_FALSE(scratch.database().isUnihanRead());
}

// A file with more distinct keys than the table takes: the first 2047 are kept, the lines of
// the others dropped.
TEST(UnihanTable, KeysBeyondTheLimitAreDropped) {
  std::string file;
  for (int key = 0; key < 2100; ++key) file += QNFormat("U+4E00\tk%04d\tv%d\n", key, key);
  UnihanScratch scratch({{"Unihan/Unihan_Keys.txt", file}});
  const auto entry = scratch.database().unihanDataForCodepoint(0x4E00);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->size(), 2047u);
  EXPECT_EQ(scratch.database().unihanKeys()->size(), 2047u);
  EXPECT_EQ(entry->textForKey(u"k2046"), u"v2046");
  EXPECT_FALSE(entry->valueForKey(u"k2047"));
}
