#include "qnunicode/database/QNUnicodeDatabase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using namespace qnunicode::testing;
using ::testing::UnorderedElementsAre;
using Paths = std::vector<std::string>;

namespace {

// Writes empty files and answers the link-free path, the form in which the database reports paths.
std::string populated(const ScratchDirectory& scratch, std::initializer_list<const char*> names) {
  for (const char* name : names) scratch.write(name, "");
  return fs::canonical(scratch.path()).string();
}

TEST(QNUnicodeDatabaseTest, DirectoriesAndLookupPrecedence) {
  ScratchDirectory scratch;
  const std::string d =
      populated(scratch, {"first/Blocks.txt", "first/Blocks-5.0.0.txt", "first/Blocks-notes.html",
                          "second/Blocks.txt", "second/Scripts.txt", "first/UnicodeData.TXT",
                          "second/UnicodeData.txt", "desc/Blocks.txt", "file"});
  LogCapture log;
  // Invalid directories are dropped silently, the others kept in order without a trailing "/".
  QNUnicodeDatabase database({d + "/first/", d + "/missing", d + "/file", "", d + "/second"},
                             {d + "/desc"});
  EXPECT_EQ(database.dataDirectories(), (Paths{d + "/first", d + "/second"}));
  // The first directory holding a ".txt" file of the prefix wins; ".TXT" does not count.
  const Paths blocks = database.filenamesWithPrefix(u"Blocks");
  EXPECT_THAT(blocks, UnorderedElementsAre(d + "/first/Blocks.txt", d + "/first/Blocks-5.0.0.txt"));
  EXPECT_EQ(database.filenameWithPrefix(u"Scripts"), d + "/second/Scripts.txt");
  EXPECT_EQ(database.filenameWithPrefix(u"UnicodeData"), d + "/second/UnicodeData.txt");
  EXPECT_EQ(database.descriptionFilenameWithPrefix(u"Blocks"), d + "/desc/Blocks.txt");
  EXPECT_FALSE(database.descriptionFilenameWithPrefix(u"Scripts"));  // never a data file
  // Of several files the single-file lookup answers the listing's last, warning on every call.
  for (int call = 0; call < 2; ++call)
    EXPECT_EQ(database.filenameWithPrefix(u"Blocks"), blocks.back());
  const std::string warning =
      "Warning: Multiple files with prefix 'Blocks' found. "
      "Returning last file with extension 'txt': ";
  EXPECT_EQ(log.lines(), Paths(2, warning + blocks.back()));
  EXPECT_FALSE(QNUnicodeDatabase({}, {}, scratch.write("bad.plist", "<plist>")).infoDictionary());
  EXPECT_FALSE(QNUnicodeDatabase({}, {}, d + "/none.plist").infoDictionary());
}

TEST(QNUnicodeDatabaseTest, UnihanFoldersAndLinks) {
  ScratchDirectory scratch;
  const std::string d = populated(
      scratch, {"ucd/Unihan/Unihan_Readings.txt", "ucd/Unihan/README", "ucd/Unihan/Upper.TXT",
                "ucd/Unihan/deeper/Unihan_Hidden.txt", "ucd/Unihan-5.2.0/Old.txt", "ucd/Unihan.txt",
                "store/unihan/Unihan_Variants.txt", "store/blocks-15.txt", "linked/README"});
  // A matching folder gives its ".txt" files whatever their names, one level deep only.
  QNUnicodeDatabase database({d + "/ucd"}, {});
  EXPECT_TRUE(database.isUnihanAvailable());
  EXPECT_THAT(database.filenamesWithPrefix(u"Unihan"),
              UnorderedElementsAre(d + "/ucd/Unihan/Unihan_Readings.txt",
                                   d + "/ucd/Unihan-5.2.0/Old.txt", d + "/ucd/Unihan.txt"));
  // Linked directories, folders and files are reported by their targets' paths.
  fs::create_directory_symlink(d + "/store/unihan", d + "/linked/Unihan");
  fs::create_symlink("../store/blocks-15.txt", d + "/linked/Blocks.txt");
  fs::create_directory_symlink(d + "/linked", d + "/linked-again");
  QNUnicodeDatabase linked({d + "/linked-again"}, {});
  EXPECT_EQ(linked.dataDirectories(), Paths{d + "/linked"});
  EXPECT_EQ(linked.filenamesWithPrefix(u"Unihan"), Paths{d + "/store/unihan/Unihan_Variants.txt"});
  EXPECT_EQ(linked.filenameWithPrefix(u"Blocks"), d + "/store/blocks-15.txt");
}

class SilentDelegate : public QNUnicodeDatabaseDelegate {};  // keeps "not implemented"

TEST(QNUnicodeDatabaseTest, MissingFileNotice) {
  QNUnicodeDatabase database({}, {});
  LogCapture log;
  database.notifyDelegateOfMissingFile(u"Ünïcödé");
  // A delegate that handles the notice silences the log; one without the operation does not.
  auto recording = std::make_shared<RecordingDelegate>();
  database.setDelegate(recording);
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
  database.setDelegate(std::make_shared<SilentDelegate>());
  database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixLineBreak);
  EXPECT_EQ(recording->prefixes, std::vector<UnicodeString>{u"Index"});
  const std::string head = "QNUnicodeDatabase could not find file '";
  EXPECT_EQ(log.lines(), (Paths{head + "Ünïcödé'", head + "LineBreak'"}));
}

}  // namespace

namespace {

// Two threads query records, their derived block, the direct lookups and a normalization through
// the shared database while the host switches it between two databases; each answer must come
// whole from one of them, and the thread that sets it lets go of the old one at once.
TEST(SharedDatabaseThreads, ReadersWhileTheHostSwitches) {
  const auto first = realDatabase();
  auto second = std::make_shared<QNUnicodeDatabase>(
      Paths{ucdDirectory()}, Paths{sourceDirectory() + "/resources/descriptions"});
  for (const auto& database : {first, second}) {  // every table the readers use, read once
    database->blockForCodepoint(0x41);
    database->generalCategoryForCodepoint(0x41);
    database->normalizationFormCForString(u"e\u0301");
  }
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  auto reader = [&] {
    for (uint32_t i = 0; !done.load(std::memory_order_relaxed) || i < 2000; ++i) {
      const std::shared_ptr<QNUnicodeDatabase> shared = QNUnicodeDatabase::sharedDatabase();
      if (shared != first && shared != second) ++wrong;
      const auto record = shared->unicodeDataForCodepoint(0xC0 + i % 0x40);
      if (record->block() != u"Latin-1 Supplement" ||
          shared->generalCategoryForCodepoint(0xE9) != u"Ll" ||
          shared->normalizationFormCForString(u"e\u0301") != u"\u00E9") {
        ++wrong;
      }
    }
  };
  std::thread one(reader), two(reader);
  for (int switches = 0; switches < 200; ++switches) {
    QNUnicodeDatabase::setSharedDatabase(switches % 2 ? first : second);
    std::this_thread::yield();
  }
  done = true;
  one.join();
  two.join();
  EXPECT_EQ(wrong.load(), 0);
  QNUnicodeDatabase::setSharedDatabase(first);
  const std::weak_ptr<QNUnicodeDatabase> watched = second;
  second.reset();
  EXPECT_TRUE(watched.expired()) << "the readers ended and the setting thread let go";
}

}  // namespace
