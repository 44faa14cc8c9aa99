#include "qnunicode/database/QNUnicodeDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

namespace {

// Scratch paths in their link-free form, as the database reports them.
std::string real(const ScratchDirectory& scratch) {
  return fs::canonical(scratch.path()).string();
}

std::vector<std::string> sorted(std::vector<std::string> paths) {
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string multipleFilesWarning(std::string_view prefix, std::string_view path) {
  return "Warning: Multiple files with prefix '" + std::string(prefix) +
         "' found. Returning last file with extension 'txt': " + std::string(path);
}

TEST(QNUnicodeDatabaseTest, ConstructionKeepsValidDirectoriesInOrder) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("one/x", "");
  scratch.write("two/x", "");
  scratch.write("plain-file", "");
  fs::create_directory_symlink(d + "/two", d + "/two-link");

  LogCapture log;
  QNUnicodeDatabase database({d + "/two-link/", d + "/missing", d + "/plain-file", d + "/one", ""},
                             {d + "/one/", d + "/two"});
  // Dropped silently; the survivors alias-resolved (a trailing "/" removed) and in given order.
  EXPECT_EQ(database.dataDirectories(), (std::vector<std::string>{d + "/two", d + "/one"}));
  EXPECT_EQ(database.descriptionDirectories(), (std::vector<std::string>{d + "/one", d + "/two"}));
  EXPECT_FALSE(database.infoDictionary().has_value());
  EXPECT_FALSE(database.isUnihanAvailable());
  EXPECT_EQ(database.unicodeDataLineCount(), 0u);
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeDatabaseTest, LookupPrecedenceAcrossDirectories) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("first/Blocks.txt", "");
  scratch.write("second/Blocks.txt", "");
  scratch.write("second/Scripts.txt", "");
  scratch.write("first/UnicodeData.TXT", "");
  scratch.write("second/UnicodeData.txt", "");
  scratch.write("first/Jamo.TXT", "");

  LogCapture log;
  QNUnicodeDatabase database({d + "/first", d + "/second"}, {});
  // Both directories hold Blocks.txt: the first wins, with no warning.
  EXPECT_EQ(database.filenamesWithPrefix(u"Blocks"),
            std::vector<std::string>{d + "/first/Blocks.txt"});
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), d + "/first/Blocks.txt");
  // A directory without the file does not stop the search.
  EXPECT_EQ(database.filenameWithPrefix(u"Scripts"), d + "/second/Scripts.txt");
  // An upper-case extension is no ".txt": the first directory yields nothing and the second wins;
  // where no directory has a proper file, nothing is found.
  EXPECT_EQ(database.filenameWithPrefix(u"UnicodeData"), d + "/second/UnicodeData.txt");
  EXPECT_TRUE(database.filenamesWithPrefix(u"Jamo").empty());
  EXPECT_FALSE(database.filenameWithPrefix(u"Jamo").has_value());
  // The directories searched are the ones given, whatever the database's own.
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks", {d + "/second"}), d + "/second/Blocks.txt");
  EXPECT_TRUE(database.filenamesWithPrefix(u"Blocks", {}).empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeDatabaseTest, SeveralFilesOfOnePrefix) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("ucd/Blocks.txt", "");
  scratch.write("ucd/Blocks-5.0.0.txt", "");
  scratch.write("ucd/Blocks-notes.html", "");

  QNUnicodeDatabase database({d + "/ucd"}, {});
  LogCapture log;
  const std::vector<std::string> all = database.filenamesWithPrefix(u"Blocks");
  EXPECT_EQ(sorted(all), sorted({d + "/ucd/Blocks.txt", d + "/ucd/Blocks-5.0.0.txt"}));
  EXPECT_TRUE(log.lines().empty());

  // The single-file lookup answers the last of the listing, and warns every time it is asked.
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), all.back());
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), all.back());
  EXPECT_EQ(log.lines(), std::vector<std::string>(2, multipleFilesWarning("Blocks", all.back())));
}

TEST(QNUnicodeDatabaseTest, UnihanFolderIsFoundAsOnePrefix) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("ucd/Unihan/Unihan_Readings.txt", "");
  scratch.write("ucd/Unihan/Unihan_Variants.txt", "");
  scratch.write("ucd/Unihan/README", "");
  scratch.write("ucd/Unihan/Upper.TXT", "");
  scratch.write("ucd/Unihan/deeper/Unihan_Hidden.txt", "");
  scratch.write("ucd/Unihan-5.2.0/Unihan_Old.txt", "");
  scratch.write("ucd/Unihan.txt", "");

  QNUnicodeDatabase database({d + "/ucd"}, {});
  EXPECT_TRUE(database.isUnihanAvailable());
  // Inside a matching folder every ".txt" file counts whatever its name, one level deep only.
  EXPECT_EQ(sorted(database.filenamesWithPrefix(u"Unihan")),
            sorted({d + "/ucd/Unihan/Unihan_Readings.txt", d + "/ucd/Unihan/Unihan_Variants.txt",
                    d + "/ucd/Unihan-5.2.0/Unihan_Old.txt", d + "/ucd/Unihan.txt"}));

  ScratchDirectory empty;
  EXPECT_FALSE(QNUnicodeDatabase({empty.path()}, {}).isUnihanAvailable());
}

TEST(QNUnicodeDatabaseTest, LinkedFilesAreReportedByTheirTargets) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("store/unihan-files/Unihan_Readings.txt", "");
  scratch.write("store/unihan-files/Unihan_IRGSources.txt", "");
  scratch.write("store/blocks-15.txt", "");
  scratch.write("ucd/UnicodeData.txt", "");
  fs::create_directory_symlink(d + "/store/unihan-files", d + "/ucd/Unihan");
  fs::create_symlink("../store/blocks-15.txt", d + "/ucd/Blocks.txt");
  fs::create_directory_symlink(d + "/ucd", d + "/ucd-link");

  QNUnicodeDatabase database({d + "/ucd-link/"}, {});
  EXPECT_EQ(database.dataDirectories(), std::vector<std::string>{d + "/ucd"});
  EXPECT_TRUE(database.isUnihanAvailable());
  EXPECT_EQ(sorted(database.filenamesWithPrefix(u"Unihan")),
            sorted({d + "/store/unihan-files/Unihan_Readings.txt",
                    d + "/store/unihan-files/Unihan_IRGSources.txt"}));
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), d + "/store/blocks-15.txt");
  EXPECT_EQ(database.filenameWithPrefix(u"UnicodeData"), d + "/ucd/UnicodeData.txt");
}

TEST(QNUnicodeDatabaseTest, DescriptionLookupSearchesOnlyDescriptionDirectories) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("ucd/CompatMappingCategories.txt", "");
  scratch.write("desc/Blocks.txt", "");
  scratch.write("desc/CompatMappingCategories.txt", "");
  scratch.write("desc/CompatMappingCategories-old.txt", "");

  QNUnicodeDatabase database({d + "/ucd"}, {d + "/desc"});
  EXPECT_FALSE(database.filenameWithPrefix(u"Blocks").has_value());
  LogCapture log;
  const std::optional<std::string> found =
      database.descriptionFilenameWithPrefix(QNUnicodeDescriptionPrefixCompatMappingCategories);
  ASSERT_TRUE(found.has_value());
  EXPECT_TRUE(found->starts_with(d + "/desc/CompatMappingCategories")) << *found;
  // The single-file rule, warning included, applies to descriptions as well.
  EXPECT_EQ(log.lines(),
            std::vector<std::string>{multipleFilesWarning("CompatMappingCategories", *found)});
}

// A delegate that keeps the default answer ("not implemented").
class SilentDelegate : public QNUnicodeDatabaseDelegate {};

TEST(QNUnicodeDatabaseTest, MissingFileNotice) {
  ScratchDirectory scratch;
  QNUnicodeDatabase database({scratch.path()}, {});
  {
    LogCapture log;
    database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixBlocks);
    database.notifyDelegateOfMissingFile(u"Ünïcödé");
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{"QNUnicodeDatabase could not find file 'Blocks'",
                                        "QNUnicodeDatabase could not find file 'Ünïcödé'"}));
  }
  {
    // A delegate that handles the notice silences the log and hears every prefix in turn.
    auto recording = std::make_shared<RecordingDelegate>();
    database.setDelegate(recording);
    EXPECT_EQ(database.delegate(), recording);
    LogCapture log;
    database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
    database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixJamo);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(recording->prefixes, (std::vector<UnicodeString>{u"Index", u"Jamo"}));
    // The database holds its delegate: the host may let go of its own reference.
    std::weak_ptr<RecordingDelegate> held = recording;
    recording.reset();
    EXPECT_FALSE(held.expired());
  }
  {
    // A delegate without the operation leaves the notice to the log.
    database.setDelegate(std::make_shared<SilentDelegate>());
    LogCapture log;
    database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixLineBreak);
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"QNUnicodeDatabase could not find file 'LineBreak'"});
  }
  database.setDelegate(nullptr);
  EXPECT_EQ(database.delegate(), nullptr);
}

TEST(QNUnicodeDatabaseTest, InformationFile) {
  ScratchDirectory scratch;
  const std::string plist = scratch.write("info.plist", R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>IndexMD5</key><array><array><string>00112233445566778899aabbccddeeff</string>
  <array><string>6.0.0</string><string>6.1.0</string></array></array></array>
  <key>Other</key><integer>7</integer>
</dict></plist>
)");
  QNUnicodeDatabase database({scratch.path()}, {}, plist);
  ASSERT_TRUE(database.infoDictionary().has_value());
  EXPECT_EQ(database.infoDictionary()->size(), 2u);
  const QNInfoValue* index = database.indexMD5Array();
  ASSERT_NE(index, nullptr);
  ASSERT_NE(index->list(), nullptr);
  ASSERT_EQ(index->list()->size(), 1u);
  EXPECT_EQ(*(*index->list())[0].list()->at(0).string(), u"00112233445566778899aabbccddeeff");
  EXPECT_EQ(database.unicodeDataMD5Array(), nullptr);
  EXPECT_EQ(database.unihanDataMD5Array(), nullptr);

  // An unreadable or unparsable file gives no dictionary, and the database still works.
  const std::string garbage = scratch.write("garbage.plist", "<plist><dict><key>");
  QNUnicodeDatabase withGarbage({scratch.path()}, {}, garbage);
  EXPECT_FALSE(withGarbage.infoDictionary().has_value());
  EXPECT_EQ(withGarbage.indexMD5Array(), nullptr);
  QNUnicodeDatabase withMissing({scratch.path()}, {}, scratch.path() + "/none.plist");
  EXPECT_FALSE(withMissing.infoDictionary().has_value());
  EXPECT_EQ(withMissing.dataDirectories().size(), 1u);
}

TEST(QNUnicodeDatabaseTest, TheLibrarysInformationFileParses) {
  QNUnicodeDatabase database(
      {}, {}, qnunicode::testing::sourceDirectory() + "/resources/QNUnicodeInfo.plist");
  ASSERT_TRUE(database.infoDictionary().has_value());
  for (const QNInfoValue* digests :
       {database.unicodeDataMD5Array(), database.indexMD5Array(), database.unihanDataMD5Array()}) {
    ASSERT_NE(digests, nullptr);
    ASSERT_NE(digests->list(), nullptr);
    ASSERT_EQ(digests->list()->size(), 1u);
    const QNInfoValue::List& pair = *digests->list()->front().list();
    ASSERT_EQ(pair.size(), 2u);
    EXPECT_EQ(*pair[1].string(), u"15.0.0");
  }
  EXPECT_EQ(database.unihanDataMD5Array()->list()->front().list()->front().map()->size(), 8u);
}

TEST(QNUnicodeDatabaseTest, SharedDatabase) {
  const std::shared_ptr<QNUnicodeDatabase> before = QNUnicodeDatabase::sharedDatabase();
  auto mine =
      std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{}, std::vector<std::string>{});
  QNUnicodeDatabase::setSharedDatabase(mine);
  EXPECT_EQ(QNUnicodeDatabase::sharedDatabase(), mine);
  // Every thread sees the one process-wide database.
  std::shared_ptr<QNUnicodeDatabase> seen;
  std::thread([&] { seen = QNUnicodeDatabase::sharedDatabase(); }).join();
  EXPECT_EQ(seen, mine);
  // The shared slot owns its database.
  std::weak_ptr<QNUnicodeDatabase> weak = mine;
  mine.reset();
  seen.reset();
  EXPECT_FALSE(weak.expired());
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_EQ(QNUnicodeDatabase::sharedDatabase(), nullptr);
  EXPECT_TRUE(weak.expired());
  QNUnicodeDatabase::setSharedDatabase(before);
}

TEST(QNUnicodeDatabaseTest, DataFileInfoAsInfoValue) {
  const QNUnicodeDataFileInfo info{
      u"Unihan", {"/b/Unihan_Variants.txt", "/a/Unihan_Readings.txt"}, {u"6.0.0", u"5.2.0"}};
  const QNInfoValue value = info.infoValue();
  ASSERT_TRUE(value.isMap());
  const QNInfoValue::Map& map = *value.map();
  EXPECT_EQ(map.size(), 3u);
  EXPECT_EQ(map.at(u"prefix"), QNInfoValue(u"Unihan"));
  EXPECT_EQ(map.at(u"versions"), QNInfoValue(QNInfoValue::List{u"6.0.0", u"5.2.0"}));
  EXPECT_EQ(map.at(u"paths"),
            QNInfoValue(QNInfoValue::List{u"/a/Unihan_Readings.txt", u"/b/Unihan_Variants.txt"}));
}

}  // namespace
