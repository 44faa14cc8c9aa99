#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNDigest.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;
using Versions = std::vector<UnicodeString>;

namespace {

constexpr const char* subarrayNotOfSize2 = "Error in MD5 array: subarray not of size 2";
constexpr const char* object0NotString =
    "Error in MD5 array: object 0 of subarray not of class NSString";
constexpr const char* object0NotDictionary =
    "Error in MD5 array: object 0 of subarray not of class NSDictionary";
constexpr const char* object1Neither =
    "Error in MD5 array: object 1 of subarray neiter of class NSString nor NSArray";

// The prefixes of the integrity check, in its order.
const std::vector<std::u16string_view> checkedPrefixes = {u"ArabicShaping",
                                                          u"Blocks",
                                                          u"CaseFolding",
                                                          u"CompositionExclusions",
                                                          u"DerivedAge",
                                                          u"DerivedCoreProperties",
                                                          u"HangulSyllableType",
                                                          u"Index",
                                                          u"Jamo",
                                                          u"LineBreak",
                                                          u"PropertyValueAliases",
                                                          u"PropList",
                                                          u"Scripts",
                                                          u"SpecialCasing",
                                                          u"NamesList",
                                                          u"UnicodeData"};

std::string real(const ScratchDirectory& scratch) {
  return fs::canonical(scratch.path()).string();
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

QNInfoValue pair(QNInfoValue first, QNInfoValue second) {
  return QNInfoValue(QNInfoValue::List{std::move(first), std::move(second)});
}

// ---- Versions from names and headers ----------------------------------------------------------

TEST(QNUnicodeDataVersionsTest, VersionFromFilename) {
  const std::pair<std::string, std::optional<UnicodeString>> cases[] = {
      {"Blocks-6.1.0.txt", u"6.1.0"},
      {"/data/ucd/Blocks-6.1.0.txt", u"6.1.0"},
      {"/data/Blocks-6.1.0.txt/ignored/Blocks.txt", std::nullopt},
      {"Blocks-5.2-Beta.txt", u"5.2-Beta"},
      {"Blocks-x.txt", u"x"},
      {"Blocks.txt", std::nullopt},
      {"Blocks-.txt", std::nullopt},
      {"Blocks-6.1.0.TXT", std::nullopt},
      {"Blocks_6.1.0.txt", std::nullopt},
      {"blocks-6.1.0.txt", std::nullopt},
      {"OldBlocks-6.1.0.txt", std::nullopt},
      {"/Blocks-6.1.0.txt/", u"6.1.0"},
      {"", std::nullopt},
  };
  for (const auto& [path, version] : cases) {
    EXPECT_EQ(QNUnicodeDatabase::versionFromFilename(path, u"Blocks"), version) << path;
  }
  EXPECT_EQ(QNUnicodeDatabase::versionFromFilename("/a/Unihan-5.2.0.txt", u"Unihan"), u"5.2.0");
}

TEST(QNUnicodeDataVersionsTest, VersionsFromFirstLineAndName) {
  ScratchDirectory scratch;
  const std::string plain =
      scratch.write("Blocks.txt", "# Blocks-6.0.0.txt\n# Date\n0000..007F; Basic Latin\n");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(plain, u"Blocks"), Versions{u"6.0.0"});
  // The header's version comes first, the name's after; one version is listed once.
  const std::string named = scratch.write("Blocks-6.1.0.txt", "# Blocks-6.0.0.txt\n");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(named, u"Blocks"),
            (Versions{u"6.0.0", u"6.1.0"}));
  const std::string same = scratch.write("sub/Blocks-6.0.0.txt", "# Blocks-6.0.0.txt");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(same, u"Blocks"), Versions{u"6.0.0"});
  // The first line must start with "#" and a blank, name this prefix and end at a bare line feed.
  for (const char* header :
       {"#Blocks-6.0.0.txt\n", "# Blocks-6.0.0.txt\r\n", "## Blocks-6.0.0.txt\n",
        "# Scripts-6.0.0.txt\n", "\n# Blocks-6.0.0.txt\n", "# Blocks.txt\n"}) {
    const std::string path = scratch.write("Blocks.txt", header);
    EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(path, u"Blocks"), Versions{}) << header;
  }
  // A first line longer than the header span is still read to its end.
  const std::string longLine =
      scratch.write("Blocks.txt", "# " + std::string(2000, 'x') + "/Blocks-4.1.0.txt\nrest");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(longLine, u"Blocks"), Versions{u"4.1.0"});
  // Header bytes that are not UTF-8 give no version.
  const std::string latin1 = scratch.write("Blocks.txt", "# \xE9/Blocks-6.0.0.txt\n");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(latin1, u"Blocks"), Versions{});

  // Missing and unreadable files contribute their name's version only.
  EXPECT_EQ(
      QNUnicodeDatabase::versionsOfUnicodeFile(scratch.path() + "/no/Blocks-3.0.0.txt", u"Blocks"),
      Versions{u"3.0.0"});
  fs::create_directory(scratch.path() + "/Blocks-3.1.0.txt");
  EXPECT_EQ(
      QNUnicodeDatabase::versionsOfUnicodeFile(scratch.path() + "/Blocks-3.1.0.txt", u"Blocks"),
      Versions{u"3.1.0"});
  const std::string empty = scratch.write("Blocks-3.2.0.txt", "");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(empty, u"Blocks"), Versions{u"3.2.0"});
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile("", u"Blocks"), Versions{});
}

TEST(QNUnicodeDataVersionsTest, NamesListVersionLines) {
  ScratchDirectory scratch;
  auto versionsOf = [&](const std::string& contents) {
    return QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("NamesList.txt", contents),
                                                    u"NamesList");
  };
  const std::string marker = "@@@\tThe Unicode Standard ";
  EXPECT_EQ(versionsOf("; charset=UTF-8\n" + marker + "5.2\n@@@+\tnotes\n"), Versions{u"5.2.0"});
  EXPECT_EQ(versionsOf(marker + "5.2.0\n"), Versions{u"5.2.0"});
  EXPECT_EQ(versionsOf(marker + "5.2-Beta\n"), Versions{u"5.2-Beta"});
  EXPECT_EQ(versionsOf(marker + "6\n"), Versions{u"6"});
  EXPECT_EQ(versionsOf(marker + "6.1.0.1\n"), Versions{u"6.1.0.1"});
  // The version runs to the line feed: a carriage return stays, and no ".0" is added then.
  EXPECT_EQ(versionsOf(marker + "5.2\r\n"), Versions{u"5.2\r"});
  // The rest of the file serves when no line feed follows; the text is read as Latin-1.
  EXPECT_EQ(versionsOf("\n" + marker + "5.2 \xE9t\xE9"), Versions{u"5.2 \u00E9t\u00E9"});
  // Every marker counts, each version once, in order.
  EXPECT_EQ(versionsOf(marker + "5.2\n" + marker + "6.0.0\n" + marker + "5.2.0\n"),
            (Versions{u"5.2.0", u"6.0.0"}));
  // A tab is needed after the at signs, and the marker is matched byte for byte.
  EXPECT_EQ(versionsOf("@@@ The Unicode Standard 5.2\n@@@\tthe unicode standard 5.2\n"),
            Versions{});
  // NamesList files carry no "#" first line, but the file-name rule still applies.
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(
                scratch.write("NamesList-7.0.0.txt", marker + "7.0\n"), u"NamesList"),
            Versions{u"7.0.0"});
}

TEST(QNUnicodeDataVersionsTest, VersionLinesAreLookedForInTheFirst1024BytesOnly) {
  ScratchDirectory scratch;
  const std::string marker = "@@@\tThe Unicode Standard ";
  auto markerAt = [&](size_t position) {
    std::string contents(position, ';');
    contents += marker + "4.0\n";
    contents += std::string(2000, ';');
    return QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("NamesList.txt", contents),
                                                    u"NamesList");
  };
  // Positions before the span's end minus the marker's length are searched, no further.
  EXPECT_EQ(markerAt(0), Versions{u"4.0.0"});
  EXPECT_EQ(markerAt(1024 - 25 - 1), Versions{u"4.0.0"});
  EXPECT_EQ(markerAt(1024 - 25), Versions{});
  EXPECT_EQ(markerAt(1100), Versions{});

  // A file shorter than the span is its own span, with the same end margin.
  const std::string exact = marker + "4.0";
  EXPECT_EQ(
      QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("NamesList.txt", exact), u"NamesList"),
      Versions{u"4.0.0"});
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("NamesList.txt", marker),
                                                     u"NamesList"),
            Versions{});
}

TEST(QNUnicodeDataVersionsTest, UnihanVersionLines) {
  ScratchDirectory scratch;
  auto versionsOf = [&](const std::string& contents, bool isUnihan = true) {
    return QNUnicodeDatabase::versionsOfUnicodeFile(
        scratch.write("Unihan/Unihan_Readings.txt", contents), u"Unihan", isUnihan);
  };
  const std::string header =
      "# Unihan_Readings.txt\n# Date: 2022-08-03\n# Unicode version: 15.0.0\n#\n";
  EXPECT_EQ(versionsOf(header), Versions{u"15.0.0"});
  // Only Unihan files are searched for these lines.
  EXPECT_EQ(versionsOf(header, false), Versions{});
  // Tabs and spaces before the version are skipped; a tab, space or line feed ends it, a carriage
  // return does not.
  EXPECT_EQ(versionsOf("# Unicode version:\t \t5.2.0\tmore\n#\n"), Versions{u"5.2.0"});
  EXPECT_EQ(versionsOf("# Unicode version: 5.2.0 beta\n#\n"), Versions{u"5.2.0"});
  EXPECT_EQ(versionsOf("# Unicode version: 5.2.0\r\n#\n"), Versions{u"5.2.0\r"});
  // Several lines: every version once, in order.
  EXPECT_EQ(
      versionsOf(
          "# Unicode version: 5.2.0\n# Unicode version: 6.0.0\n# Unicode version: 5.2.0\n#\n"),
      (Versions{u"5.2.0", u"6.0.0"}));
  // The version may run up to the end of the header span.
  std::string longHeader(1024 - 16 - 10, '#');
  longHeader += "Unicode version: 9.0.0-and-more-text";
  EXPECT_EQ(versionsOf(longHeader), Versions{u"9.0.0-and"});
  // The marker must start before the span's end minus its own length.
  std::string atEnd(1024 - 16, '#');
  atEnd += "Unicode version: 9.0.0";
  EXPECT_EQ(versionsOf(atEnd), Versions{});
  EXPECT_EQ(versionsOf("Unicode version: 1"), Versions{u"1"});
  EXPECT_EQ(versionsOf("Unicode version:"), Versions{});
}

// ---- Versions from digests --------------------------------------------------------------------

TEST(QNUnicodeDataVersionsTest, DigestListsOfOrdinaryFiles) {
  const std::string data = "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n";
  const UnicodeString digest = QNAdditions::md5HexString(data);
  const UnicodeString other = u"00000000000000000000000000000000";
  const QNInfoValue digests(QNInfoValue::List{
      pair(digest, u"4.0.0"),
      pair(other, u"9.9.9"),
      pair(digest, QNInfoValue::List{u"4.1.0", u"5.0.0"}),
      pair(digest, u"4.0.0"),
  });
  LogCapture log;
  // Later pairs first; duplicates kept.
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, &digests),
            (Versions{u"4.0.0", u"4.1.0", u"5.0.0", u"4.0.0"}));
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data + "\n", &digests), Versions{});
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, nullptr), Versions{});
  // Digests are compared as written: an upper-case digest never matches.
  std::u16string upper = digest;
  for (char16_t& c : upper) c = (c >= u'a' && c <= u'f') ? c - 32 : c;
  const QNInfoValue upperDigests(QNInfoValue::List{pair(upper, u"4.0.0")});
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, &upperDigests), Versions{});
  EXPECT_TRUE(log.lines().empty());

  // Reading the file gives the same answer as its bytes.
  ScratchDirectory scratch;
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(scratch.write("Index.txt", data), &digests),
            (Versions{u"4.0.0", u"4.1.0", u"5.0.0", u"4.0.0"}));
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(scratch.path() + "/none.txt", &digests),
            Versions{});
}

TEST(QNUnicodeDataVersionsTest, MalformedDigestPairsAreLoggedAndSkipped) {
  const std::string data = "data";
  const UnicodeString digest = QNAdditions::md5HexString(data);
  const UnicodeString other = u"ffffffffffffffffffffffffffffffff";
  const QNInfoValue digests(QNInfoValue::List{
      pair(digest, u"1.0.0"),                                      // counts
      QNInfoValue(QNInfoValue::List{digest, u"2.0.0", u"3.0.0"}),  // three elements
      QNInfoValue(QNInfoValue::List{digest}),                      // one element
      QNInfoValue(digest),                                         // not a list at all
      pair(int64_t{42}, u"4.0.0"),                                 // digest not a string
      pair(QNInfoValue::Map{{u"x", digest}}, u"5.0.0"),            // a map instead
      pair(digest, int64_t{6}),                                    // matching, bad versions
      pair(other, true),                                           // not matching: not looked at
      pair(digest,
           QNInfoValue::List{u"7.0.0", int64_t{7}, u"7.1.0"}),  // non-text element passed over
  });
  LogCapture log;
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, &digests),
            (Versions{u"7.0.0", u"7.1.0", u"1.0.0"}));
  // One line per malformed pair, in walking order (last pair first).
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{object1Neither, object0NotString, object0NotString,
                                      subarrayNotOfSize2, subarrayNotOfSize2, subarrayNotOfSize2}));
  // A digest list that is not a list has no pairs.
  log.clear();
  const QNInfoValue notAList(u"cf389823b6ff1d0e42b8138e3661d516");
  EXPECT_EQ(QNUnicodeDatabase::versionsFromUnicodeFileData(data, &notAList), Versions{});
}

TEST(QNUnicodeDataVersionsTest, DigestListsOfUnihanFiles) {
  ScratchDirectory scratch;
  const std::string readings =
      scratch.write("Unihan/Unihan_Readings.txt", "U+3400\tkMandarin\tqiū\n");
  const std::string variants =
      scratch.write("Unihan/Unihan_Variants.txt", "U+3400\tkZVariant\tU+4E18\n");
  const UnicodeString readingsDigest = QNAdditions::md5HexString(readFile(readings));
  const UnicodeString variantsDigest = QNAdditions::md5HexString(readFile(variants));
  const QNInfoValue digests(QNInfoValue::List{
      pair(QNInfoValue::Map{{u"Unihan_Readings.txt", readingsDigest},
                            {u"Unihan_Variants.txt", variantsDigest}},
           u"5.2.0"),
      pair(QNInfoValue::Map{{u"Unihan_Readings.txt", readingsDigest}},
           QNInfoValue::List{u"6.0.0", u"6.1.0"}),
      pair(QNInfoValue::Map{{u"Unihan_Readings.txt", variantsDigest}}, u"9.9.9"),  // wrong digest
      pair(readingsDigest, u"8.0.0"),                                              // not a map
      pair(QNInfoValue::Map{{u"Unihan_Readings.txt", readingsDigest}}, 3.5),       // bad versions
      QNInfoValue(QNInfoValue::List{}),                                            // empty pair
  });
  LogCapture log;
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnihanFile(readings, &digests),
            (Versions{u"6.0.0", u"6.1.0", u"5.2.0"}));
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{subarrayNotOfSize2, object1Neither, object0NotDictionary}));
  log.clear();
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnihanFile(variants, &digests), Versions{u"5.2.0"});
  EXPECT_EQ(log.lines(), (std::vector<std::string>{subarrayNotOfSize2, object0NotDictionary}));
  // Matching is by the last path component: the same bytes under another name match nothing.
  const std::string renamed = scratch.copy(readings, "Other/Unihan_Renamed.txt");
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnihanFile(renamed, &digests), Versions{});
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnihanFile(readings, nullptr), Versions{});
}

// ---- Info dictionaries and merging ------------------------------------------------------------

TEST(QNUnicodeDataVersionsTest, InfoDictionariesAndMerging) {
  using Info = QNUnicodeDataFileInfo;
  EXPECT_EQ(QNUnicodeDatabase::versionDictionaryForFilename("/u/Blocks.txt", u"Blocks",
                                                            Versions{u"6.0.0"}),
            (Info{u"Blocks", {"/u/Blocks.txt"}, {u"6.0.0"}}));
  // A file without versions still has its entry; a missing file or version list has none.
  EXPECT_EQ(QNUnicodeDatabase::versionDictionaryForFilename("/u/Blocks.txt", u"Blocks", Versions{}),
            (Info{u"Blocks", {"/u/Blocks.txt"}, {}}));
  EXPECT_FALSE(
      QNUnicodeDatabase::versionDictionaryForFilename(std::nullopt, u"Blocks", Versions{}));
  EXPECT_FALSE(
      QNUnicodeDatabase::versionDictionaryForFilename("/u/Blocks.txt", u"Blocks", std::nullopt));

  const Info a{u"Unihan", {"/u/Unihan_A.txt"}, {u"5.2.0", u"6.0.0", u"6.1.0"}};
  const Info b{u"Unihan", {"/u/Unihan_B.txt"}, {u"6.1.0", u"7.0.0", u"6.0.0", u"6.0.0"}};
  LogCapture log;
  const std::optional<Info> merged = QNUnicodeDatabase::mergedVersionDictionaryFromDict(a, b);
  ASSERT_TRUE(merged.has_value());
  EXPECT_EQ(merged->prefix, u"Unihan");
  EXPECT_EQ(merged->paths, (std::set<std::string>{"/u/Unihan_A.txt", "/u/Unihan_B.txt"}));
  std::set<UnicodeString> versions(merged->versions.begin(), merged->versions.end());
  EXPECT_EQ(versions, (std::set<UnicodeString>{u"6.0.0", u"6.1.0"}));
  EXPECT_EQ(merged->versions.size(), 2u) << "a set intersection lists each version once";
  // Starting from none gives the other one unchanged.
  EXPECT_EQ(QNUnicodeDatabase::mergedVersionDictionaryFromDict(std::nullopt, b), b);
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(std::nullopt, std::nullopt));
  EXPECT_TRUE(log.lines().empty());

  // Different prefixes, an empty prefix or nothing to merge with: logged, none.
  const Info blocks{u"Blocks", {"/u/Blocks.txt"}, {u"6.0.0"}};
  const Info unnamed{u"", {"/u/x.txt"}, {u"6.0.0"}};
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(a, blocks));
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(unnamed, unnamed));
  EXPECT_FALSE(QNUnicodeDatabase::mergedVersionDictionaryFromDict(a, std::nullopt));
  EXPECT_EQ(log.lines(),
            std::vector<std::string>(3, "mergedVersionDictionaryFromDict:andDict: failed"));
}

// ---- The integrity check over whole directories -----------------------------------------------

// The first lines of the real UnicodeData file: a small file the loader reads like the whole.
std::string unicodeDataExcerpt() {
  std::ifstream file(qnunicode::testing::ucdFile("UnicodeData.txt"), std::ios::binary);
  std::string excerpt, line;
  for (int i = 0; i < 200 && std::getline(file, line); ++i) excerpt += line + "\n";
  return excerpt;
}

// A directory with one small file for every prefix of the check, each named prefix-<version>.txt.
void writeVersionedFiles(const ScratchDirectory& scratch, const std::string& version) {
  for (std::u16string_view prefix : checkedPrefixes) {
    const std::string name = qnunicode::toUTF8(prefix) + "-" + version + ".txt";
    scratch.write(name, prefix == u"UnicodeData" ? unicodeDataExcerpt() : "# A data file\n");
  }
}

const QNUnicodeDataFileInfo* infoWithPrefix(const std::vector<QNUnicodeDataFileInfo>& infos,
                                            std::u16string_view prefix) {
  for (const QNUnicodeDataFileInfo& info : infos) {
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
  EXPECT_EQ(database.unicodeDataVersions(), Versions{u"6.1.0"});
  EXPECT_TRUE(log.lines().empty());

  // One entry per file, in the check's fixed order.
  const std::vector<QNUnicodeDataFileInfo>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size());
  const std::string d = real(scratch);
  for (size_t i = 0; i < infos.size(); ++i) {
    const std::string name = qnunicode::toUTF8(checkedPrefixes[i]) + "-6.1.0.txt";
    EXPECT_EQ(infos[i], (QNUnicodeDataFileInfo{
                            UnicodeString(checkedPrefixes[i]), {d + "/" + name}, {u"6.1.0"}}));
  }
  EXPECT_EQ(&database.dataFilenamesAndVersions(), &infos);
  EXPECT_EQ(database.unicodeDataFileInfoForFilePrefix(u"Scripts"), infos[12]);
  EXPECT_FALSE(database.unicodeDataFileInfoForFilePrefix(u"Unihan").has_value());
}

TEST(QNUnicodeDataVersionsTest, OneFileOfAnotherVersionBreaksConsistency) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.1.0");
  fs::remove(scratch.path() + "/Blocks-6.1.0.txt");
  scratch.write("Blocks.txt", "# Blocks-6.0.0.txt\n# Date: 2010\n");
  QNUnicodeDatabase database({scratch.path()}, {});
  EXPECT_FALSE(database.isConsistent());
  // The reported version falls back to the UnicodeData file's last one.
  EXPECT_EQ(database.unicodeDataVersion(), u"6.1.0");
  const QNUnicodeDataFileInfo* blocks = infoWithPrefix(database.unicodeDataFileInfos(), u"Blocks");
  ASSERT_NE(blocks, nullptr);
  EXPECT_EQ(blocks->versions, Versions{u"6.0.0"});
}

TEST(QNUnicodeDataVersionsTest, AMissingFileBreaksConsistency) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.1.0");
  fs::remove(scratch.path() + "/Jamo-6.1.0.txt");
  QNUnicodeDatabase database({scratch.path()}, {});
  EXPECT_FALSE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"6.1.0");
  EXPECT_EQ(database.unicodeDataFileInfos().size(), checkedPrefixes.size() - 1);
  EXPECT_EQ(infoWithPrefix(database.unicodeDataFileInfos(), u"Jamo"), nullptr);
}

TEST(QNUnicodeDataVersionsTest, UnversionedUnicodeDataNeedsItsDigest) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.1.0");
  fs::rename(scratch.path() + "/UnicodeData-6.1.0.txt", scratch.path() + "/UnicodeData.txt");
  const UnicodeString digest =
      QNAdditions::md5HexString(readFile(scratch.path() + "/UnicodeData.txt"));
  {
    // No digest list, or none that matches: no version at all.
    QNUnicodeDatabase database({scratch.path()}, {});
    EXPECT_FALSE(database.isConsistent());
    EXPECT_EQ(database.unicodeDataVersions(), Versions{});
    EXPECT_FALSE(database.unicodeDataVersion().has_value());
    QNInfoDictionary info{{u"UnicodeDataMD5",
                           QNInfoValue::List{pair(u"0123456789abcdef0123456789abcdef", u"6.1.0")}}};
    QNUnicodeDatabase unmatched({scratch.path()}, {}, info);
    EXPECT_FALSE(unmatched.isConsistent());
    EXPECT_FALSE(unmatched.unicodeDataVersion().has_value());
  }
  {
    // The common version is the UnicodeData file's last one that every file shares.
    QNInfoDictionary info{
        {u"UnicodeDataMD5",
         QNInfoValue::List{pair(digest, QNInfoValue::List{u"6.0.0", u"6.1.0", u"7.0.0"})}}};
    QNUnicodeDatabase database({scratch.path()}, {}, info);
    EXPECT_EQ(database.unicodeDataVersions(), (Versions{u"6.0.0", u"6.1.0", u"7.0.0"}));
    EXPECT_TRUE(database.isConsistent());
    EXPECT_EQ(database.unicodeDataVersion(), u"6.1.0");
  }
}

TEST(QNUnicodeDataVersionsTest, UnihanFilesEachHaveTheirOwnEntry) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.0.0");
  const std::string padding = "#\n" + std::string(40, '#') + "\n";
  const std::string a = scratch.write(
      "Unihan/Unihan_A.txt", "# Unicode version: 5.2.0\n# Unicode version: 6.0.0\n" + padding);
  const std::string b = scratch.write("Unihan/Unihan_B.txt", "# Unihan_B.txt\n" + padding);
  const UnicodeString bDigest = QNAdditions::md5HexString(readFile(b));
  // B's version comes from its digest only.
  QNInfoDictionary info{
      {u"UnihanDataMD5",
       QNInfoValue::List{pair(QNInfoValue::Map{{u"Unihan_B.txt", bDigest}}, u"6.0.0")}}};
  QNUnicodeDatabase database({scratch.path()}, {}, info);
  ASSERT_TRUE(database.isUnihanAvailable());
  EXPECT_TRUE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"6.0.0");

  const std::vector<QNUnicodeDataFileInfo>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size() + 2);
  const std::string d = real(scratch);
  std::vector<QNUnicodeDataFileInfo> unihan(infos.begin() + checkedPrefixes.size(), infos.end());
  std::sort(unihan.begin(), unihan.end(),
            [](const auto& x, const auto& y) { return x.paths < y.paths; });
  EXPECT_EQ(unihan[0],
            (QNUnicodeDataFileInfo{u"Unihan", {d + "/Unihan/Unihan_A.txt"}, {u"5.2.0", u"6.0.0"}}));
  EXPECT_EQ(unihan[1],
            (QNUnicodeDataFileInfo{u"Unihan", {d + "/Unihan/Unihan_B.txt"}, {u"6.0.0"}}));
  const std::optional<QNUnicodeDataFileInfo> merged =
      database.unicodeDataFileInfoForFilePrefix(u"Unihan");
  ASSERT_TRUE(merged.has_value());
  EXPECT_EQ(merged->paths,
            (std::set<std::string>{d + "/Unihan/Unihan_A.txt", d + "/Unihan/Unihan_B.txt"}));
  EXPECT_EQ(merged->versions, Versions{u"6.0.0"});
}

TEST(QNUnicodeDataVersionsTest, UnihanFileWithoutVersionBreaksConsistency) {
  ScratchDirectory scratch;
  writeVersionedFiles(scratch, "6.0.0");
  scratch.write("Unihan/Unihan_A.txt", "# Unihan_A.txt\n#\n");
  QNUnicodeDatabase database({scratch.path()}, {});
  EXPECT_FALSE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"6.0.0");
}

TEST(QNUnicodeDataVersionsTest, MissingUnicodeDataIsNoticedOnEveryUse) {
  ScratchDirectory scratch;
  scratch.write("Blocks-6.0.0.txt", "");
  QNUnicodeDatabase database({scratch.path()}, {});
  {
    LogCapture log;
    EXPECT_FALSE(database.isConsistent());
    EXPECT_FALSE(database.unicodeDataVersion().has_value());
    EXPECT_TRUE(database.unicodeDataVersions().empty());
    EXPECT_TRUE(database.unicodeDataFileInfos().empty());
    EXPECT_EQ(log.lines(),
              std::vector<std::string>(4, "QNUnicodeDatabase could not find file 'UnicodeData'"));
  }
  auto delegate = std::make_shared<RecordingDelegate>();
  database.setDelegate(delegate);
  LogCapture log;
  EXPECT_FALSE(database.isConsistent());
  EXPECT_FALSE(database.unicodeDataFileInfoForFilePrefix(u"Blocks").has_value());
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(delegate->prefixes, (Versions{u"UnicodeData", u"UnicodeData"}));
}

// ---- The real data ----------------------------------------------------------------------------

std::string infoFile() {
  return qnunicode::testing::sourceDirectory() + "/resources/QNUnicodeInfo.plist";
}

TEST(QNUnicodeDataVersionsTest, RealDataWithTheInformationFileIsConsistentAt15) {
  const std::string ucd = fs::canonical(qnunicode::testing::ucdDirectory()).string();
  QNUnicodeDatabase database({ucd}, {}, infoFile());
  LogCapture log;
  EXPECT_TRUE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"15.0.0");
  EXPECT_EQ(database.unicodeDataVersions(), Versions{u"15.0.0"});
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();

  // Every file, the eight Unihan files included, is known to belong to 15.0.0 and nothing else.
  const std::vector<QNUnicodeDataFileInfo>& infos = database.unicodeDataFileInfos();
  ASSERT_EQ(infos.size(), checkedPrefixes.size() + 8);
  for (size_t i = 0; i < infos.size(); ++i) {
    const UnicodeString prefix(i < checkedPrefixes.size() ? checkedPrefixes[i] : u"Unihan");
    EXPECT_EQ(infos[i].prefix, prefix);
    EXPECT_EQ(infos[i].versions, Versions{u"15.0.0"}) << qnunicode::toUTF8(prefix);
    ASSERT_EQ(infos[i].paths.size(), 1u);
    EXPECT_TRUE(infos[i].paths.begin()->starts_with(ucd + "/")) << *infos[i].paths.begin();
  }
  const std::optional<QNUnicodeDataFileInfo> unihan =
      database.unicodeDataFileInfoForFilePrefix(u"Unihan");
  ASSERT_TRUE(unihan.has_value());
  EXPECT_EQ(unihan->paths.size(), 8u);
  EXPECT_EQ(unihan->versions, Versions{u"15.0.0"});
  // The Index file carries no version of its own: its only version is its digest's.
  EXPECT_EQ(QNUnicodeDatabase::versionsOfUnicodeFile(ucd + "/Index.txt", u"Index"), Versions{});
}

TEST(QNUnicodeDataVersionsTest, RealDataWithoutDigestsCannotSettleAVersion) {
  // UnicodeData and Index name no version; without the host's digests nothing is common.
  const std::shared_ptr<QNUnicodeDatabase> database = qnunicode::testing::realDatabase();
  EXPECT_FALSE(database->isConsistent());
  EXPECT_FALSE(database->unicodeDataVersion().has_value());
  const QNUnicodeDataFileInfo* names =
      infoWithPrefix(database->unicodeDataFileInfos(), u"NamesList");
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(names->versions, Versions{u"15.0.0"});
}

TEST(QNUnicodeDataVersionsTest, RealDataWithAnOlderBlocksFileIsInconsistent) {
  ScratchDirectory scratch;
  const std::string ucd = qnunicode::testing::ucdDirectory();
  // Links to the real files, except for Blocks.txt of Unicode 14.0.0.
  for (const auto& entry : fs::directory_iterator(ucd)) {
    const std::string name = entry.path().filename().string();
    if (name == "Blocks.txt" || name.starts_with(".")) continue;
    fs::create_symlink(fs::canonical(entry.path()), fs::path(scratch.path()) / name);
  }
  scratch.copy(qnunicode::testing::perlUnicoreDirectory() + "/Blocks.txt", "Blocks.txt");

  QNUnicodeDatabase database({scratch.path()}, {}, infoFile());
  EXPECT_FALSE(database.isConsistent());
  EXPECT_EQ(database.unicodeDataVersion(), u"15.0.0");
  const QNUnicodeDataFileInfo* blocks = infoWithPrefix(database.unicodeDataFileInfos(), u"Blocks");
  ASSERT_NE(blocks, nullptr);
  EXPECT_EQ(blocks->versions, Versions{u"14.0.0"});
  // Linked files are reported by their targets' paths.
  const QNUnicodeDataFileInfo* scripts =
      infoWithPrefix(database.unicodeDataFileInfos(), u"Scripts");
  ASSERT_NE(scripts, nullptr);
  EXPECT_EQ(scripts->paths, std::set<std::string>{fs::canonical(ucd + "/Scripts.txt").string()});
  EXPECT_EQ(database.unicodeDataFileInfoForFilePrefix(u"Unihan").value().paths.size(), 8u);
}

}  // namespace
