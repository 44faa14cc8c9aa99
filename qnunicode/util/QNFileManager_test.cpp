#include "qnunicode/util/QNFileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;

namespace {

TEST(QNFileManagerTest, PathComponents) {
  struct Case {
    std::string_view path, last, parent, extension;
  };
  for (const Case& c :
       {Case{"/a/b/Blocks.txt", "Blocks.txt", "/a/b", "txt"}, Case{"/a/b/", "b", "/a", ""},
        Case{"/a//b", "b", "/a", ""}, Case{"/a", "a", "/", ""}, Case{"//", "/", "/", ""},
        Case{"", "", "", ""}, Case{"Blocks", "Blocks", "", ""},
        Case{"/a.d/X.TXT", "X.TXT", "/a.d", "TXT"}}) {
    EXPECT_EQ(QNAdditions::lastPathComponent(c.path), c.last) << c.path;
    EXPECT_EQ(QNAdditions::stringByDeletingLastPathComponent(c.path), c.parent) << c.path;
    EXPECT_EQ(QNAdditions::pathExtension(c.path), c.extension) << c.path;
  }
  EXPECT_EQ(QNAdditions::stringByAppendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(QNAdditions::stringByAppendingPathComponent("", "b"), "b");
}

TEST(QNFileManagerTest, FilenamesPrefixedBy) {
  ScratchDirectory scratch;
  const std::string d = scratch.path();
  for (const char* name : {"Blocks.txt", "Blocks-5.0.0.txt", "BlocksExtra", "blocks.txt",
                           "MyBlocks.txt", "Blocks-dir/inner.txt"}) {
    scratch.write(name, "");
  }
  LogCapture log;
  // A plain case-sensitive prefix test, in the listing's own order.
  std::vector<std::string> listing;
  for (const auto& entry : fs::directory_iterator(d)) {
    if (entry.path().filename().string().starts_with("Blocks"))
      listing.push_back(entry.path().string());
  }
  ASSERT_EQ(listing.size(), 4u);
  EXPECT_EQ(QNAdditions::filenamesPrefixedBy(d + "/Blocks"), listing);
  EXPECT_EQ(QNAdditions::filenamesPrefixedBy(d + "/None"), std::vector<std::string>{});
  // Unlistable directories fail silently.
  EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(d + "/missing/Blocks"));
  EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(d + "/Blocks.txt/Blocks"));
  EXPECT_TRUE(log.lines().empty());

  // A path that cannot be rebuilt from its directory and last component (a trailing or doubled
  // slash), and a path without a file name, fail with their messages.
  EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(d + "/Blocks/"));
  EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(d + "//Blocks"));
  EXPECT_FALSE(QNAdditions::filenamesPrefixedBy("/"));
  const std::string recreate =
      "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't recreate filepathprefix from "
      "components";
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                recreate, recreate,
                "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't determine filename"}));
}

TEST(QNFileManagerTest, ResolvingLinksComponentByComponent) {
  ScratchDirectory scratch;
  const std::string d = fs::canonical(scratch.path()).string();
  scratch.write("data/UCD/Blocks.txt", "");
  fs::create_directory_symlink(d + "/data/UCD", d + "/current");
  fs::create_symlink("current", d + "/again");  // relative, and a chain
  fs::create_symlink("Blocks.txt", d + "/data/UCD/Blocks-link.txt");
  fs::create_symlink(d + "/nowhere", d + "/dangling");

  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(d + "/again/Blocks-link.txt"),
            d + "/data/UCD/Blocks.txt");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(d + "/current/"), d + "/data/UCD");
  // Components after a link need not exist; a dangling link stays as written.
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(d + "/current/New/x"), d + "/data/UCD/New/x");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(d + "/dangling/x"), d + "/dangling/x");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath("relative/path"), "relative/path");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(""), "");
}

TEST(QNFileManagerTest, FileSystemAttributesAndMinimumFileSize) {
  ScratchDirectory scratch;
  const auto existing = QNAdditions::fileSystemAttributesAtPossiblePath(scratch.path());
  ASSERT_TRUE(existing && existing->systemSize && existing->systemNodes);
  EXPECT_GT(*existing->systemSize, 0u);
  // A path under directories that do not exist answers for its nearest ancestor's volume.
  const std::string possible = scratch.path() + "/not/yet/there.txt";
  const auto ancestor = QNAdditions::fileSystemAttributesAtPossiblePath(possible);
  ASSERT_TRUE(ancestor.has_value());
  EXPECT_EQ(ancestor->systemSize, existing->systemSize);
  EXPECT_EQ(QNAdditions::minimumFileSizeAtPossiblePath(possible),
            QNAdditions::minimumFileSizeForAttributes(existing));
  EXPECT_EQ(QNAdditions::minimumFileSizeAtPossiblePath(""), 0xFFFFFFFFu);

  using A = QNAdditions::QNFileSystemAttributes;
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{std::nullopt, 10}), 0xFFFFFFFEu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{1000, std::nullopt}), 0xFFFFFFFEu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{1000, 0}), 0xFFFFFFFDu);
  // Read as signed numbers: the top bit set is below 1.
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{0x8000000000000000ull, 10}), 0xFFFFFFFDu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{1000, 7}), 142u);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(A{0x500000003ull, 1}), 3u);  // 32 bits kept
}

TEST(QNFileManagerTest, RecursivelyCreatingDirectories) {
  ScratchDirectory scratch;
  const std::string d = scratch.path();
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/a/b/c"));
  EXPECT_TRUE(fs::is_directory(d + "/a/b/c"));
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/a/b"));
  scratch.write("file", "x");
  EXPECT_FALSE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/file"));
  EXPECT_FALSE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/file/sub"));
  // Through a link the directories are made at its target.
  fs::create_directory_symlink(d + "/a", d + "/link");
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/link/x/y"));
  EXPECT_TRUE(fs::is_directory(d + "/a/x/y"));
  // Given permissions apply to every directory made, whatever the creation mask.
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/p/q", 0750));
  for (const char* made : {"/p", "/p/q"}) {
    struct stat status {};
    ASSERT_EQ(stat((d + made).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750u) << made;
  }
}

}  // namespace
