#include "qnunicode/database/QNUnicodeDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;
using Paths = std::vector<std::string>;

namespace {

// A scratch directory's link-free path, the form in which the database reports paths.
std::string real(const ScratchDirectory& scratch) {
  return fs::canonical(scratch.path()).string();
}

Paths sorted(Paths paths) {
  std::sort(paths.begin(), paths.end());
  return paths;
}

TEST(QNUnicodeDatabaseTest, ConstructionKeepsValidDirectoriesInOrder) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  scratch.write("one/x", "");
  scratch.write("file", "");
  fs::create_directory(d + "/two");
  fs::create_directory_symlink(d + "/two", d + "/two-link");
  LogCapture log;
  QNUnicodeDatabase database({d + "/two-link/", d + "/missing", d + "/file", d + "/one", ""},
                             {d + "/one/"});
  // Invalid ones dropped silently; the others alias-resolved, trailing "/" gone, order kept.
  EXPECT_EQ(database.dataDirectories(), (Paths{d + "/two", d + "/one"}));
  EXPECT_EQ(database.descriptionDirectories(), Paths{d + "/one"});
  EXPECT_FALSE(database.infoDictionary().has_value());
  EXPECT_FALSE(database.isUnihanAvailable());
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeDatabaseTest, LookupPrecedenceAcrossDirectories) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  for (const char* name :
       {"first/Blocks.txt", "second/Blocks.txt", "second/Scripts.txt", "first/UnicodeData.TXT",
        "second/UnicodeData.txt", "first/Jamo.TXT", "desc/Blocks.txt"}) {
    scratch.write(name, "");
  }
  LogCapture log;
  QNUnicodeDatabase database({d + "/first", d + "/second"}, {d + "/desc"});
  // The first directory holding a file wins, without a warning.
  EXPECT_EQ(database.filenamesWithPrefix(u"Blocks"), Paths{d + "/first/Blocks.txt"});
  EXPECT_EQ(database.filenameWithPrefix(u"Scripts"), d + "/second/Scripts.txt");
  // An upper-case extension is no ".txt" file: it neither counts nor stops the search.
  EXPECT_EQ(database.filenameWithPrefix(u"UnicodeData"), d + "/second/UnicodeData.txt");
  EXPECT_FALSE(database.filenameWithPrefix(u"Jamo").has_value());
  // Descriptions come from the description directories only, data files never from there.
  EXPECT_EQ(database.descriptionFilenameWithPrefix(u"Blocks"), d + "/desc/Blocks.txt");
  EXPECT_FALSE(database.descriptionFilenameWithPrefix(u"Scripts").has_value());
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks", {d + "/second"}), d + "/second/Blocks.txt");
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeDatabaseTest, SeveralFilesOfOnePrefix) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  for (const char* name : {"Blocks.txt", "Blocks-5.0.0.txt", "Blocks-notes.html"})
    scratch.write(name, "");
  QNUnicodeDatabase database({d}, {});
  LogCapture log;
  const Paths all = database.filenamesWithPrefix(u"Blocks");
  EXPECT_EQ(sorted(all), (Paths{d + "/Blocks-5.0.0.txt", d + "/Blocks.txt"}));
  EXPECT_TRUE(log.lines().empty());
  // The single-file lookup answers the listing's last file and warns on every call.
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), all.back());
  EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), all.back());
  const std::string warning =
      "Warning: Multiple files with prefix 'Blocks' found. Returning last file with extension "
      "'txt': " +
      all.back();
  EXPECT_EQ(log.lines(), Paths(2, warning));
}

TEST(QNUnicodeDatabaseTest, UnihanFoldersAndLinks) {
  ScratchDirectory scratch;
  const std::string d = real(scratch);
  for (const char* name :
       {"ucd/Unihan/Unihan_Readings.txt", "ucd/Unihan/README", "ucd/Unihan/Upper.TXT",
        "ucd/Unihan/deeper/Unihan_Hidden.txt", "ucd/Unihan-5.2.0/Old.txt", "ucd/Unihan.txt",
        "store/unihan/Unihan_Variants.txt", "store/blocks-15.txt"}) {
    scratch.write(name, "");
  }
  // A matching folder gives its ".txt" files whatever their names, one level deep only.
  QNUnicodeDatabase database({d + "/ucd"}, {});
  EXPECT_TRUE(database.isUnihanAvailable());
  EXPECT_EQ(sorted(database.filenamesWithPrefix(u"Unihan")),
            sorted({d + "/ucd/Unihan/Unihan_Readings.txt", d + "/ucd/Unihan-5.2.0/Old.txt",
                    d + "/ucd/Unihan.txt"}));

  // Linked folders and files are reported by their targets' paths.
  fs::create_directory(d + "/linked");
  fs::create_directory_symlink(d + "/store/unihan", d + "/linked/Unihan");
  fs::create_symlink("../store/blocks-15.txt", d + "/linked/Blocks.txt");
  fs::create_directory_symlink(d + "/linked", d + "/linked-again");
  QNUnicodeDatabase linked({d + "/linked-again"}, {});
  EXPECT_TRUE(linked.isUnihanAvailable());
  EXPECT_EQ(linked.filenamesWithPrefix(u"Unihan"), Paths{d + "/store/unihan/Unihan_Variants.txt"});
  EXPECT_EQ(linked.filenameWithPrefix(u"Blocks"), d + "/store/blocks-15.txt");
}

// A delegate that keeps the default answer: not implemented.
class SilentDelegate : public QNUnicodeDatabaseDelegate {};

TEST(QNUnicodeDatabaseTest, MissingFileNotice) {
  QNUnicodeDatabase database({}, {});
  LogCapture log;
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixBlocks);
  database.notifyDelegateOfMissingFile(u"Ünïcödé");
  // A delegate that handles the notice silences the log; one without the operation does not.
  auto recording = std::make_shared<RecordingDelegate>();
  database.setDelegate(recording);
  EXPECT_EQ(database.delegate(), recording);
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixJamo);
  database.setDelegate(std::make_shared<SilentDelegate>());
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixLineBreak);
  EXPECT_EQ(recording->prefixes, (std::vector<UnicodeString>{u"Index", u"Jamo"}));
  EXPECT_EQ(log.lines(), (Paths{"QNUnicodeDatabase could not find file 'Blocks'",
                                "QNUnicodeDatabase could not find file 'Ünïcödé'",
                                "QNUnicodeDatabase could not find file 'LineBreak'"}));
}

TEST(QNUnicodeDatabaseTest, InformationFile) {
  ScratchDirectory scratch;
  const std::string plist = scratch.write("info.plist", R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>IndexMD5</key><array><array><string>00112233445566778899aabbccddeeff</string>
<array><string>6.0.0</string></array></array></array><key>Other</key><integer>7</integer></dict></plist>)");
  QNUnicodeDatabase database({}, {}, plist);
  ASSERT_TRUE(database.infoDictionary().has_value());
  EXPECT_EQ(database.infoDictionary()->size(), 2u);
  ASSERT_NE(database.indexMD5Array(), nullptr);
  // One pair: a digest and a list of versions.
  const QNInfoValue pair(
      QNInfoValue::List{u"00112233445566778899aabbccddeeff", QNInfoValue::List{u"6.0.0"}});
  const QNInfoValue expected(QNInfoValue::List{pair});
  EXPECT_EQ(*database.indexMD5Array(), expected);
  EXPECT_EQ(database.unicodeDataMD5Array(), nullptr);
  // An unparsable or missing file gives no dictionary.
  EXPECT_FALSE(
      QNUnicodeDatabase({}, {}, scratch.write("bad.plist", "<plist><dict><key>")).infoDictionary());
  EXPECT_FALSE(QNUnicodeDatabase({}, {}, scratch.path() + "/none.plist").infoDictionary());
}

TEST(QNUnicodeDatabaseTest, SharedDatabaseIsOwnedBySlot) {
  const std::shared_ptr<QNUnicodeDatabase> before = QNUnicodeDatabase::sharedDatabase();
  auto mine = std::make_shared<QNUnicodeDatabase>(Paths{}, Paths{});
  const std::weak_ptr<QNUnicodeDatabase> weak = mine;
  QNUnicodeDatabase::setSharedDatabase(std::move(mine));
  EXPECT_FALSE(weak.expired());
  EXPECT_EQ(QNUnicodeDatabase::sharedDatabase(), weak.lock());
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_EQ(QNUnicodeDatabase::sharedDatabase(), nullptr);
  EXPECT_TRUE(weak.expired());
  QNUnicodeDatabase::setSharedDatabase(before);
}

TEST(QNUnicodeDatabaseTest, DataFileInfoAsInfoValue) {
  const QNUnicodeDataFileInfo info{u"Unihan", {"/b/U.txt", "/a/U.txt"}, {u"6.0.0", u"5.2.0"}};
  const QNInfoValue expected(
      QNInfoValue::Map{{u"prefix", u"Unihan"},
                       {u"paths", QNInfoValue::List{u"/a/U.txt", u"/b/U.txt"}},
                       {u"versions", QNInfoValue::List{u"6.0.0", u"5.2.0"}}});
  EXPECT_EQ(info.infoValue(), expected);
}

}  // namespace
