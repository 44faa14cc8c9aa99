#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNDigest.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using Versions = std::vector<UnicodeString>;
using Info = QNUnicodeDataFileInfo;

namespace {

const std::string sizeError = "Error in MD5 array: subarray not of size 2";
const std::string stringError = "Error in MD5 array: object 0 of subarray not of class NSString";
const std::string mapError = "Error in MD5 array: object 0 of subarray not of class NSDictionary";
const std::string versionsError =
    "Error in MD5 array: object 1 of subarray neiter of class NSString nor NSArray";
const std::string marker = "@@@\tThe Unicode Standard ";

// The prefixes of the integrity check, in its order.
// clang-format off
const std::vector<std::u16string_view> checkedPrefixes = {
    u"ArabicShaping", u"Blocks", u"CaseFolding", u"CompositionExclusions", u"DerivedAge",
    u"DerivedCoreProperties", u"HangulSyllableType", u"Index", u"Jamo", u"LineBreak",
    u"PropertyValueAliases", u"PropList", u"Scripts", u"SpecialCasing", u"NamesList",
    u"UnicodeData"};
// clang-format on

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

QNInfoValue pair(QNInfoValue first, QNInfoValue second) {
  return QNInfoValue::List{first, second};
}

// Versions from a file's name, first line, "@@@" lines and (Unihan files) "Unicode version:" lines.
TEST(QNUnicodeDataVersionsTest, VersionsFromNamesAndHeaders) {
  struct Case {
    std::string name, contents;
    Versions expected;
    bool isUnihan = false;
  };
  const std::string pad(2000, ';');
  const std::string uv = "# Unicode version:";
  // clang-format off
  const Case cases[] = {
      // First line "# <file name>", then the name itself; each version once.
      {"Blocks.txt", "# Blocks-6.0.0.txt\n# Date\n", {u"6.0.0"}},
      {"Blocks-6.1.0.txt", "# Blocks-6.0.0.txt\n", {u"6.0.0", u"6.1.0"}},
      {"Blocks-6.0.0.txt", "# Blocks-6.0.0.txt", {u"6.0.0"}},
      {"Blocks-5.2-Beta.txt", "", {u"5.2-Beta"}},
      {"Blocks.txt", "# " + std::string(2000, 'x') + "/Blocks-4.1.0.txt\n", {u"4.1.0"}},
      {"Blocks.txt", "#Blocks-6.0.0.txt\n", {}},
      {"Blocks.txt", "# Blocks-6.0.0.txt\r\n", {}},
      {"Blocks.txt", "# Scripts-6.0.0.txt\n", {}},
      {"Blocks.txt", "# \xE9/Blocks-6.0.0.txt\n", {}},
      {"Blocks-.txt", "# Blocks-.txt\n", {}},
      {"Blocks-6.1.0.TXT", "", {}},
      {"MyBlocks-6.1.0.txt", "", {}},
      // "@@@<tab>The Unicode Standard " lines: two-part numbers get ".0"; to the line feed.
      {"Blocks.txt", "; charset=UTF-8\n" + marker + "5.2\n@@@+\tnotes\n", {u"5.2.0"}},
      {"Blocks.txt", marker + "5.2.0\n", {u"5.2.0"}},
      {"Blocks.txt", marker + "5.2-Beta\n", {u"5.2-Beta"}},
      {"Blocks.txt", marker + "6\n", {u"6"}},
      {"Blocks.txt", marker + "5.2\r\n", {u"5.2\r"}},
      {"Blocks.txt", "\n" + marker + "5.2 \xE9t\xE9", {u"5.2 \u00E9t\u00E9"}},
      {"Blocks.txt",
       marker + "5.2\n" + marker + "6.0.0\n" + marker + "5.2.0\n",
       {u"5.2.0", u"6.0.0"}},
      {"Blocks.txt", "@@@ The Unicode Standard 5.2\n@@@\tthe unicode standard 5.2\n", {}},
      // Markers count only when they start before the 1024-byte span's end minus their length.
      {"Blocks.txt", std::string(1024 - 26, ';') + marker + "4.0\n" + pad, {u"4.0.0"}},
      {"Blocks.txt", std::string(1024 - 25, ';') + marker + "4.0\n" + pad, {}},
      {"Blocks.txt", marker + "4", {u"4"}},
      {"Blocks.txt", marker, {}},
      // Unihan version lines: blanks skipped, ended by a tab, space or line feed (not a return).
      {"Unihan_Readings.txt", "# Unihan_Readings.txt\n" + uv + " 15.0.0\n#\n", {u"15.0.0"}, true},
      {"Unihan_Readings.txt", "# Unihan_Readings.txt\n" + uv + " 15.0.0\n#\n", {}, false},
      {"Unihan_Readings.txt", uv + "\t \t5.2.0\tmore\n#\n", {u"5.2.0"}, true},
      {"Unihan_Readings.txt", uv + " 5.2.0 beta\n#\n", {u"5.2.0"}, true},
      {"Unihan_Readings.txt", uv + " 5.2.0\r\n#\n", {u"5.2.0\r"}, true},
      {"Unihan_Readings.txt",
       uv + " 5.2.0\n" + uv + " 6.0.0\n" + uv + " 5.2.0\n#\n",
       {u"5.2.0", u"6.0.0"},
       true},
      {"Unihan_Readings.txt",
       std::string(1024 - 26, '#') + "Unicode version: 9.0.0-and-more",
       {u"9.0.0-and"},
       true},
      {"Unihan_Readings.txt", std::string(1024 - 16, '#') + "Unicode version: 9.0.0", {}, true},
  };
  // clang-format on
  ScratchDirectory scratch;
  for (const Case& c : cases) {
    const std::string path = scratch.write(c.name, c.contents);
    EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(path, c.isUnihan ? u"Unihan" : u"Blocks",
                                                       c.isUnihan),
              c.expected)
        << c.name << ": " << c.contents.substr(0, 80);
    fs::remove(path);
  }
  // Missing and unreadable files give their name's version only.
  fs::create_directory(scratch.path() + "/Blocks-3.1.0.txt");
  for (const char* name : {"/no/Blocks-3.1.0.txt", "/Blocks-3.1.0.txt"}) {
    EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(scratch.path() + name, u"Blocks"),
              Versions{u"3.1.0"});
  }
  EXPECT_EQ(QNUnicodeDatabase::versionFromFilename("/a/Blocks-6.1.0.txt/", u"Blocks"), u"6.1.0");
}

TEST(QNUnicodeDataVersionsTest, DigestListsOfOrdinaryFiles) {
  const std::string data = "data";
  const UnicodeString digest = QNAdditions::md5HexString(data);
  std::u16string upper = digest;
  for (char16_t& c : upper) c = (c >= u'a' && c <= u'f') ? c - 32 : c;
  const QNInfoValue digests(QNInfoValue::List{
      pair(digest, u"1.0.0"), pair(upper, u"1.5.0"),     // digests are compared as written
      QNInfoValue::List{digest, u"2.0.0", u"3.0.0"},     // three elements
      QNInfoValue(digest),                               // not a pair at all
      pair(int64_t{42}, u"4.0.0"),                       // digest not a string
      pair(QNInfoValue::Map{{u"x", digest}}, u"5.0.0"),  // a map instead
      pair(digest, int64_t{6}),                          // matching, versions neither kind
      pair(u"ffffffffffffffffffffffffffffffff", true),   // not matching: never looked at
      pair(digest, QNInfoValue::List{u"7.0.0", int64_t{7}, u"1.0.0"}),  // only text is a version
  });
  LogCapture log;
  // Later pairs first, duplicates kept; one line per malformed pair in walking order.
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, &digests),
            (Versions{u"7.0.0", u"1.0.0", u"1.0.0"}));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{versionsError, stringError, stringError,
                                                   sizeError, sizeError}));
  // The file form reads the same bytes.
  ScratchDirectory scratch;
  log.clear();
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("Index.txt", data), &digests),
            (Versions{u"7.0.0", u"1.0.0", u"1.0.0"}));
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data + "\n", &digests), Versions{});
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, nullptr), Versions{});
}

TEST(QNUnicodeDataVersionsTest, DigestListsOfUnihanFiles) {
  ScratchDirectory scratch;
  const std::string file = scratch.write("Unihan/Unihan_Readings.txt", "U+3400\tkMandarin\tqiū\n");
  const UnicodeString digest = QNAdditions::md5HexString(readFile(file));
  const UnicodeString name = u"Unihan_Readings.txt";
  const QNInfoValue digests(QNInfoValue::List{
      pair(QNInfoValue::Map{{u"Other.txt", u"0"}, {name, digest}}, u"5.2.0"),
      pair(QNInfoValue::Map{{name, digest}}, QNInfoValue::List{u"6.0.0", u"6.1.0"}),
      pair(QNInfoValue::Map{{name, u"0123"}}, u"9.9.9"),  // another digest
      pair(digest, u"8.0.0"),                             // not a map
      pair(QNInfoValue::Map{{name, digest}}, 3.5),        // versions neither kind
  });
  LogCapture log;
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnihanFile(file, &digests),
            (Versions{u"6.0.0", u"6.1.0", u"5.2.0"}));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{versionsError, mapError}));
  // Matched by the last path component: the same bytes under another name match nothing.
  EXPECT_EQ(
      QNUnicodeDatabase::versionsOfUnihanFile(scratch.copy(file, "Unihan_Other.txt"), &digests),
      Versions{});
}

TEST(QNUnicodeDataVersionsTest, InfoDictionariesAndMerging) {
  EXPECT_EQ(QNUnicodeDatabase::versionDictionaryForFilename("/u/Blocks.txt", u"Blocks", Versions{}),
            (Info{u"Blocks", {"/u/Blocks.txt"}, {}}));
  EXPECT_FALSE(
      QNUnicodeDatabase::versionDictionaryForFilename(std::nullopt, u"Blocks", Versions{}));
  EXPECT_FALSE(
      QNUnicodeDatabase::versionDictionaryForFilename("/u/Blocks.txt", u"Blocks", std::nullopt));

  const Info a{u"Unihan", {"/u/A.txt"}, {u"5.2.0", u"6.0.0", u"6.1.0"}};
  const Info b{u"Unihan", {"/u/B.txt"}, {u"6.1.0", u"7.0.0", u"6.0.0", u"6.0.0"}};
  LogCapture log;
  const std::optional<Info> merged = QNUnicodeDatabase::mergedVersionDictionaryFromDict(a, b);
  ASSERT_TRUE(merged.has_value());
  EXPECT_EQ(merged->paths, (std::set<std::string>{"/u/A.txt", "/u/B.txt"}));
  EXPECT_EQ(std::set<UnicodeString>(merged->versions.begin(), merged->versions.end()),
            (std::set<UnicodeString>{u"6.0.0", u"6.1.0"}));
  EXPECT_EQ(merged->versions.size(), 2u);
  EXPECT_EQ(QNUnicodeDatabase::mergedVersionDictionaryFromDict(std::nullopt, b), b);
  EXPECT_TRUE(log.lines().empty());
  // Different prefixes, an empty prefix, nothing to merge with: logged, none.
  const Info unnamed{u"", {"/u/x.txt"}, {}};
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(
      a, Info{u"Blocks", {"/u/Blocks.txt"}, {}}));
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(unnamed, unnamed));
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(a, std::nullopt));
  EXPECT_EQ(log.lines(),
            std::vector<std::string>(3, "mergedVersionDictionaryFromDict:andDict: failed"));
}

// ---- Whole directories ------------------------------------------------------------------------

// One small file for every prefix of the check, named prefix-<version>.txt; UnicodeData gets the
// first lines of the real file.
void writeVersionedFiles(const ScratchDirectory& scratch, const std::string& version) {
  std::ifstream real(qnunicode::testing::ucdFile("UnicodeData.txt"), std::ios::binary);
  std::string excerpt, line;
  for (int i = 0; i < 100 && std::getline(real, line); ++i) excerpt += line + "\n";
  for (std::u16string_view prefix : checkedPrefixes) {
    scratch.write(qnunicode::toUTF8(prefix) + "-" + version + ".txt",
                  prefix == u"UnicodeData" ? excerpt : "#\n");
  }
}

const Info* infoWithPrefix(const std::vector<Info>& infos, std::u16string_view prefix) {
  for (const Info& info : infos) {
    if (info.prefix == prefix) return &info;
  }
  return nullptr;
}

TEST(QNUnicodeDataVersionsTest, VersionedFileNamesAloneMakeAConsistentDatabase) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.1.0");
  QNUnicodeDatabase database({scratch.path()}, {});
  LogCapture log;
  EXPECT_TRUE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"6.1.0");
  EXPECT_TRUE(log.lines().empty());
  // One entry per file, in the check's fixed order.
  const std::vector<Info>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size());
  const std::string d = fs::canonical(scratch.path()).string();
  for (size_t i = 0; i < infos.size(); ++i) {
    const std::string path = d + "/" + qnunicode::toUTF8(checkedPrefixes[i]) + "-6.1.0.txt";
    EXPECT_EQ(infos[i], (Info{UnicodeString(checkedPrefixes[i]), {path}, {u"6.1.0"}}));
  }
  EXPECT_EQ(database.unicodeDataFileInfoForFilePrefix(u"Scripts"), infos[12]);
  EXPECT_FALSE(database.unicodeDataFileInfoForFilePrefix(u"Unihan").has_value());

  // One file of another version, or a file missing, and there is no common version; the
  // reported version falls back to the UnicodeData file's last one.
  fs::remove(scratch.path() + "/Blocks-6.1.0.txt");
  scratch.write("Blocks.txt", "# Blocks-6.0.0.txt\n");
  QNUnicodeDatabase older({scratch.path()}, {});
  EXPECT_FALSE(older.isConsistent());
  EXPECT_EQ(older.unicodeDataVersion(), u"6.1.0");
  EXPECT_EQ(infoWithPrefix(older.unicodeDataFileInfos(), u"Blocks")->versions, Versions{u"6.0.0"});
  fs::remove(scratch.path() + "/Blocks.txt");
  QNUnicodeDatabase missing({scratch.path()}, {});
  EXPECT_FALSE(missing.isConsistent());
  EXPECT_EQ(missing.unicodeDataFileInfos().size(), checkedPrefixes.size() - 1);
}

TEST(QNUnicodeDataVersionsTest, UnversionedUnicodeDataNeedsItsDigest) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.1.0");
  fs::rename(scratch.path() + "/UnicodeData-6.1.0.txt", scratch.path() + "/UnicodeData.txt");
  const UnicodeString digest =
      QNAdditions::md5HexString(readFile(scratch.path() + "/UnicodeData.txt"));
  QNUnicodeDatabase unmatched(
      {scratch.path()}, {},
      QNInfoDictionary{{u"UnicodeDataMD5", QNInfoValue::List{pair(u"0123", u"6.1.0")}}});
  EXPECT_FALSE(unmatched.isConsistent());
  EXPECT_FALSE(unmatched.unicodeDataVersion().has_value());
  // The common version is the last of the UnicodeData versions that every file shares.
  QNInfoDictionary info{
      {u"UnicodeDataMD5",
       QNInfoValue::List{pair(digest, QNInfoValue::List{u"6.0.0", u"6.1.0", u"7.0.0"})}}};
  QNUnicodeDatabase matched({scratch.path()}, {}, info);
  EXPECT_EQ(matched.unicodeDataVersions(), (Versions{u"6.0.0", u"6.1.0", u"7.0.0"}));
  EXPECT_TRUE(matched.isConsistent());
  EXPECT_EQ(matched.unicodeDataVersion(), u"6.1.0");
}

TEST(QNUnicodeDataVersionsTest, UnihanFilesEachHaveTheirOwnEntry) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.0.0");
  const std::string padding = std::string(40, '#') + "\n";
  scratch.write("Unihan/Unihan_A.txt",
                "# Unicode version: 5.2.0\n# Unicode version: 6.0.0\n" + padding);
  const std::string b = scratch.write("Unihan/Unihan_B.txt", "# Unihan_B.txt\n" + padding);
  // B's version comes from its digest alone.
  const QNInfoValue bDigests(QNInfoValue::List{
      pair(QNInfoValue::Map{{u"Unihan_B.txt", QNAdditions::md5HexString(readFile(b))}}, u"6.0.0")});
  QNUnicodeDatabase database({scratch.path()}, {}, QNInfoDictionary{{u"UnihanDataMD5", bDigests}});
  EXPECT_TRUE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"6.0.0");
  const std::vector<Info>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size() + 2);
  std::vector<Info> unihan(infos.begin() + checkedPrefixes.size(), infos.end());
  std::sort(unihan.begin(), unihan.end(),
            [](const Info& x, const Info& y) { return x.paths < y.paths; });
  const std::string d = fs::canonical(scratch.path()).string();
  EXPECT_EQ(unihan[0], (Info{u"Unihan", {d + "/Unihan/Unihan_A.txt"}, {u"5.2.0", u"6.0.0"}}));
  EXPECT_EQ(unihan[1], (Info{u"Unihan", {d + "/Unihan/Unihan_B.txt"}, {u"6.0.0"}}));
  EXPECT_EQ(
      database.unicodeDataFileInfoForFilePrefix(u"Unihan"),
      (Info{u"Unihan", {d + "/Unihan/Unihan_A.txt", d + "/Unihan/Unihan_B.txt"}, {u"6.0.0"}}));
}

TEST(QNUnicodeDataVersionsTest, MissingUnicodeDataIsNoticedOnEveryUse) {
  QNUnicodeDatabase database({}, {});
  LogCapture log;
  EXPECT_FALSE(database.isConsistent());
  EXPECT_FALSE(database.unicodeDataVersion().has_value());
  EXPECT_TRUE(database.unicodeDataFileInfos().empty());
  EXPECT_EQ(log.lines(),
            std::vector<std::string>(3, "QNUnicodeDatabase could not find file 'UnicodeData'"));
}

// ---- The real data ----------------------------------------------------------------------------

const std::string infoFile =
    qnunicode::testing::sourceDirectory() + "/resources/QNUnicodeInfo.plist";

TEST(QNUnicodeDataVersionsTest, RealDataWithTheInformationFileIsConsistentAt15) {
  const std::string ucd = fs::canonical(qnunicode::testing::ucdDirectory()).string();
  QNUnicodeDatabase database({ucd}, {}, infoFile);
  EXPECT_TRUE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"15.0.0");
  // Every file, each of the eight Unihan files too, belongs to 15.0.0 and nothing else.
  const std::vector<Info>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size() + 8);
  for (size_t i = 0; i < infos.size(); ++i) {
    EXPECT_EQ(infos[i].prefix, i < checkedPrefixes.size() ? checkedPrefixes[i] : u"Unihan");
    EXPECT_EQ(infos[i].versions, Versions{u"15.0.0"}) << qnunicode::toUTF8(infos[i].prefix);
  }
  EXPECT_EQ(database.unicodeDataFileInfoForFilePrefix(u"Unihan").value().paths.size(), 8u);
}

TEST(QNUnicodeDataVersionsTest, RealDataWithAnOlderBlocksFileIsInconsistent) {
  ScratchDirectory scratch;
  // Links to the real files, except for a Blocks.txt of Unicode 14.0.0.
  for (const auto& entry : fs::directory_iterator(qnunicode::testing::ucdDirectory())) {
    const std::string name = entry.path().filename().string();
    if (name != "Blocks.txt")
      fs::create_symlink(fs::canonical(entry.path()), fs::path(scratch.path()) / name);
  }
  scratch.copy(qnunicode::testing::perlUnicoreDirectory() + "/Blocks.txt", "Blocks.txt");
  QNUnicodeDatabase database({scratch.path()}, {}, infoFile);
  EXPECT_FALSE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"15.0.0");
  EXPECT_EQ(infoWithPrefix(database.unicodeDataFileInfos(), u"Blocks")->versions,
            Versions{u"14.0.0"});
  EXPECT_EQ(
      infoWithPrefix(database.unicodeDataFileInfos(), u"Scripts")->paths,
      std::set<std::string>{fs::canonical(qnunicode::testing::ucdFile("Scripts.txt")).string()});
}

}  // namespace
