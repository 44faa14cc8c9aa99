#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNDigest.h"

namespace fs = std::filesystem;
using namespace qnunicode::testing;
using Versions = std::vector<UnicodeString>;
using Lines = std::vector<std::string>;
using Info = QNUnicodeDataFileInfo;
using List = QNInfoValue::List;
using Map = QNInfoValue::Map;
using DB = QNUnicodeDatabase;

namespace {

// clang-format off
const std::vector<std::u16string_view> checkedPrefixes = {
    u"ArabicShaping", u"Blocks", u"CaseFolding", u"CompositionExclusions", u"DerivedAge",
    u"DerivedCoreProperties", u"HangulSyllableType", u"Index", u"Jamo", u"LineBreak",
    u"PropertyValueAliases", u"PropList", u"Scripts", u"SpecialCasing", u"NamesList",
    u"UnicodeData"};
// clang-format on
const auto pair = [](QNInfoValue a, QNInfoValue b) { return QNInfoValue(List{a, b}); };
const std::string infoFile = sourceDirectory() + "/resources/QNUnicodeInfo.plist";
const std::string uv = "# Unicode version:";

TEST(QNUnicodeDataVersionsTest, VersionsFromNamesAndHeaders) {
  const std::string at = "@@@\tThe Unicode Standard ", B = "Blocks.txt", U = "Unihan_A.txt",
                    pad(2000, ';'), span(1024 - 25, ';');
  // clang-format off
  struct Case { std::string name, contents; Versions expected; bool isUnihan = false; };
  const Case cases[] = {
      // First line "# <name or path>", then the file's own name; each version once.
      {"Blocks-6.1.0.txt", "# Blocks-6.0.0.txt\n# Date\n", {u"6.0.0", u"6.1.0"}},
      {B, "# " + std::string(2000, 'x') + "/Blocks-4.1.0.txt\n", {u"4.1.0"}},
      {B, "# " + std::string(9000, 'x') + "/Blocks-4.1.0.txt\n" + pad, {u"4.1.0"}},
      {B, "#Blocks-6.0.0.txt\n", {}}, {B, "# Blocks-6.0.0.txt\r\n", {}},
      {B, "# \xE9/Blocks-6.0.0.txt\n", {}}, {"Blocks-.txt", "# Blocks-.txt\n", {}},
      {"Blocks-6.1.0.TXT", "", {}}, {"MyBlocks-6.1.0.txt", "", {}},
      // "@@@<tab>The Unicode Standard " lines, Latin-1 to the line feed, x.y made x.y.0; only those
      // that start before the 1024-byte span's end minus their length count.
      {B, "; charset=UTF-8\n" + at + "5.2\n@@@+\tnotes\n", {u"5.2.0"}}, {B, at + "6\n", {u"6"}},
      {B, at + "5.2.0\n", {u"5.2.0"}}, {B, at + "5.2-Beta\n", {u"5.2-Beta"}},
      {B, at + "5.2\r\n", {u"5.2\r"}}, {B, "\n" + at + "5.2 \xE9t\xE9", {u"5.2 \u00E9t\u00E9"}},
      {B, at + "5.2\n" + at + "6.0.0\n" + at + "5.2.0\n", {u"5.2.0", u"6.0.0"}}, {B, at, {}},
      {B, "@@@ The Unicode Standard 5.2\n@@@\tthe unicode standard 5.2\n", {}},
      {B, span.substr(1) + at + "4.0\n" + pad, {u"4.0.0"}}, {B, span + at + "4.0\n" + pad, {}},
      {B, at + std::string(9000, '7') + "\n" + pad, {UnicodeString(9000, u'7')}},
      {B, at + "4." + std::string(9000, '7'), {u"4." + UnicodeString(9000, u'7') + u".0"}},
      // Unihan version lines: blanks skipped, ended by a tab, space or line feed (not a return).
      {U, uv + " 15.0.0\n#\n", {u"15.0.0"}, true}, {U, uv + " 15.0.0\n#\n", {}, false},
      {U, uv + "\t \t5.2.0\tx\n", {u"5.2.0"}, true}, {U, uv + " 5.2.0\r x\n", {u"5.2.0\r"}, true},
      {U, span.substr(1) + "Unicode version: 9.0.0-and-more", {u"9.0.0-and"}, true},
      {U, std::string(1024 - 16, '#') + "Unicode version: 9.0.0", {}, true},
  };
  // clang-format on
  ScratchDirectory scratch;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name + ": " + c.contents.substr(0, 60));
    const std::string path = scratch.write(c.name, c.contents);
    EXPECT_EQ(DB::versionsOfUnicodeFile(path, c.isUnihan ? u"Unihan" : u"Blocks", c.isUnihan),
              c.expected);
    fs::remove(path);
  }
  // Missing and unreadable files (here a folder) give their name's version only.
  fs::create_directory(scratch.path() + "/Blocks-3.1.0.txt");
  for (const std::string& dir : {std::string("/no"), scratch.path()})
    EXPECT_EQ(DB::versionsOfUnicodeFile(dir + "/Blocks-3.1.0.txt", u"Blocks"), Versions{u"3.1.0"});
}

// Digest lists are walked from the last pair; malformed pairs and failed merges are logged.
TEST(QNUnicodeDataVersionsTest, MalformedDigestListsAndMismatchedMerges) {
  const std::string e = "Error in MD5 array: ", size2 = e + "subarray not of size 2",
                    object0 = e + "object 0 of subarray not of class NS",
                    object1 = e + "object 1 of subarray neiter of class NSString nor NSArray";
  const std::string data = "U+3400\tkMandarin\tqiū\n";
  const UnicodeString digest = QNAdditions::md5HexString(data);
  const QNInfoValue digests(List{
      pair(digest, u"1.0.0"), List{digest, u"2.0.0", u"3.0.0"}, QNInfoValue(digest),
      pair(int64_t{42}, u"4.0.0"), pair(Map{{u"x", digest}}, u"5.0.0"), pair(digest, int64_t{6}),
      pair(u"ffffffffffffffffffffffffffffffff", true),       // not matching: never looked at
      pair(digest, List{u"7.0.0", int64_t{7}, u"1.0.0"})});  // only text is a version
  LogCapture log;
  EXPECT_EQ(DB::versionsFromUnicodeFileData(data, &digests),
            (Versions{u"7.0.0", u"1.0.0", u"1.0.0"}));  // duplicates kept
  EXPECT_EQ(log.lines(), (Lines{object1, object0 + "String", object0 + "String", size2, size2}));
  // Unihan digests map file names to digests; only the file's own name (its last component) counts.
  ScratchDirectory scratch;
  const std::string file = scratch.write("U.txt", data);
  const UnicodeString name = u"U.txt";
  const QNInfoValue unihanDigests(
      List{pair(Map{{u"Other.txt", u"0"}, {name, digest}}, u"5.2.0"),
           pair(Map{{name, digest}}, List{u"6.0.0", u"6.1.0"}),
           pair(Map{{name, u"0123"}, {u"Unihan_B.txt", digest}}, u"9.9.9"), pair(digest, u"8.0.0"),
           pair(Map{{name, digest}}, 3.5)});
  log.clear();
  EXPECT_EQ(DB::versionsOfUnihanFile(file, &unihanDigests),
            (Versions{u"6.0.0", u"6.1.0", u"5.2.0"}));
  EXPECT_EQ(log.lines(), (Lines{object1, object0 + "Dictionary"}));
  // Infos of different prefixes, of an empty prefix, or one and none do not merge.
  const Info a{u"Unihan", {"/u/A.txt"}, {u"6.0.0"}}, unnamed{u"", {}, {}};
  log.clear();
  EXPECT_FALSE(DB::mergedVersionDictionaryFromDict(a, Info{u"Blocks", {}, {}}));
  EXPECT_FALSE(DB::mergedVersionDictionaryFromDict(unnamed, unnamed));
  EXPECT_FALSE(DB::mergedVersionDictionaryFromDict(a, std::nullopt));
  EXPECT_EQ(log.lines(), Lines(3, "mergedVersionDictionaryFromDict:andDict: failed"));
}

TEST(QNUnicodeDataVersionsTest, IntegrityCheckOverADirectory) {
  ScratchDirectory scratch;
  const std::string d = fs::canonical(scratch.path()).string();
  const std::string unicodeData = "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n";
  std::vector<Info> entries;  // one per file, in the check's order
  for (std::u16string_view prefix : checkedPrefixes) {
    const std::string name = qnunicode::toUTF8(prefix) + "-6.1.0.txt";
    scratch.write(name, prefix == u"UnicodeData" ? unicodeData : "#\n");
    entries.push_back({UnicodeString(prefix), {d + "/" + name}, {u"6.1.0"}});
  }
  DB named({d}, {});  // without an information dictionary
  EXPECT_TRUE(named.isConsistent());
  EXPECT_EQ(named.unicodeDataVersion(), u"6.1.0");
  EXPECT_EQ(named.unicodeDataFileInfos(), entries);
  // Digest versions: UnicodeData's (the last that every file shares is chosen) and Unihan_B's.
  fs::rename(d + "/UnicodeData-6.1.0.txt", d + "/UnicodeData.txt");
  scratch.write("Unihan/Unihan_A.txt", uv + " 5.2.0\n" + uv + " 6.0.0\n" + uv + " 6.1.0\n#\n");
  scratch.write("Unihan/Unihan_B.txt", "#\n");
  QNInfoDictionary info{
      {u"UnicodeDataMD5",
       List{pair(QNAdditions::md5HexString(unicodeData), List{u"6.0.0", u"6.1.0", u"7.0.0"})}},
      {u"UnihanDataMD5", List{pair(Map{{u"Unihan_B.txt", QNAdditions::md5HexString("#\n")}},
                                   List{u"6.1.0", u"7.0.0", u"6.0.0"})}}};
  DB digests({d}, {}, info);
  EXPECT_EQ(digests.unicodeDataVersion(), u"6.1.0");  // not the fallback, 7.0.0
  EXPECT_EQ(digests.unicodeDataFileInfos().size(), checkedPrefixes.size() + 2);
  const Info unihan = digests.unicodeDataFileInfoForFilePrefix(u"Unihan").value();
  EXPECT_EQ(unihan.paths,
            (std::set<std::string>{d + "/Unihan/Unihan_A.txt", d + "/Unihan/Unihan_B.txt"}));
  EXPECT_THAT(unihan.versions, ::testing::UnorderedElementsAre(u"6.0.0", u"6.1.0"));
  // A missing file ends consistency; without a matching digest UnicodeData has no version.
  fs::remove(d + "/Blocks-6.1.0.txt");
  EXPECT_EQ(DB({d}, {}, info).unicodeDataVersion(), u"7.0.0");
  info[u"UnicodeDataMD5"] = List{pair(u"0123", u"6.1.0")};
  EXPECT_FALSE(DB({d}, {}, info).unicodeDataVersion().has_value());
}

// The real files are consistent at 15.0.0; with perl's Blocks.txt of 14.0.0 they are not.
TEST(QNUnicodeDataVersionsTest, RealDataAndAnOlderBlocksFile) {
  DB real({ucdDirectory()}, {}, infoFile);
  EXPECT_TRUE(real.isConsistent());
  EXPECT_EQ(real.unicodeDataVersion(), u"15.0.0");
  EXPECT_EQ(real.unicodeDataFileInfos().size(), checkedPrefixes.size() + 8);  // 8 Unihan files
  ScratchDirectory scratch;
  for (const auto& entry : fs::directory_iterator(ucdDirectory()))
    if (entry.path().filename() != "Blocks.txt")
      fs::create_symlink(fs::canonical(entry.path()), scratch.path() / entry.path().filename());
  const std::string blocks = scratch.copy(perlUnicoreDirectory() + "/Blocks.txt", "Blocks.txt");
  DB older({scratch.path()}, {}, infoFile);
  EXPECT_FALSE(older.isConsistent());
  EXPECT_EQ(older.unicodeDataVersion(), u"15.0.0");
  EXPECT_EQ(older.unicodeDataFileInfoForFilePrefix(u"Blocks"),
            (Info{u"Blocks", {fs::canonical(blocks)}, {u"14.0.0"}}));
}

}  // namespace
