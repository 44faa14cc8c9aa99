#include "qnunicode/util/QNFileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;

namespace {

constexpr const char* couldNotDetermine =
    "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't determine filename";
constexpr const char* couldNotRecreate =
    "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't recreate filepathprefix from "
    "components";

std::vector<std::string> sorted(std::vector<std::string> paths) {
  std::sort(paths.begin(), paths.end());
  return paths;
}

TEST(QNFileManagerTest, PathComponents) {
  struct Case {
    std::string_view path, last, parent, extension;
  };
  const Case cases[] = {
      {"/a/b/Blocks.txt", "Blocks.txt", "/a/b", "txt"},
      {"/a/b/", "b", "/a", ""},
      {"/a//b", "b", "/a", ""},
      {"/a", "a", "/", ""},
      {"/", "/", "/", ""},
      {"//", "/", "/", ""},
      {"", "", "", ""},
      {"Blocks", "Blocks", "", ""},
      {"dir/Blocks-6.1.0.txt", "Blocks-6.1.0.txt", "dir", "txt"},
      {"/a.d/Unihan", "Unihan", "/a.d", ""},
      {"/a/UnicodeData.TXT", "UnicodeData.TXT", "/a", "TXT"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(QNAdditions::lastPathComponent(c.path), c.last) << c.path;
    EXPECT_EQ(QNAdditions::stringByDeletingLastPathComponent(c.path), c.parent) << c.path;
    EXPECT_EQ(QNAdditions::pathExtension(c.path), c.extension) << c.path;
  }
  EXPECT_EQ(QNAdditions::stringByAppendingPathComponent("/a", "b"), "/a/b");
  EXPECT_EQ(QNAdditions::stringByAppendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(QNAdditions::stringByAppendingPathComponent("", "b"), "b");
}

TEST(QNFileManagerTest, FilenamesPrefixedByMatchesPlainCaseSensitivePrefixes) {
  ScratchDirectory scratch;
  scratch.write("Blocks.txt", "");
  scratch.write("Blocks-5.0.0.txt", "");
  scratch.write("BlocksExtra", "");
  scratch.write("blocks.txt", "");
  scratch.write("MoreBlocks.txt", "");
  scratch.write("Blocks-dir/inner.txt", "");

  LogCapture log;
  const auto found = QNAdditions::filenamesPrefixedBy(scratch.path() + "/Blocks");
  ASSERT_TRUE(found.has_value());
  const std::string d = scratch.path();
  EXPECT_EQ(sorted(*found), sorted({d + "/Blocks.txt", d + "/Blocks-5.0.0.txt", d + "/BlocksExtra",
                                    d + "/Blocks-dir"}));

  // The listing's own order is kept: the same as the platform's listing filtered.
  std::vector<std::string> listing;
  for (const auto& entry : fs::directory_iterator(d)) {
    if (entry.path().filename().string().starts_with("Blocks"))
      listing.push_back(entry.path().string());
  }
  EXPECT_EQ(*found, listing);

  const auto none = QNAdditions::filenamesPrefixedBy(d + "/Nothing");
  ASSERT_TRUE(none.has_value());
  EXPECT_TRUE(none->empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNFileManagerTest, FilenamesPrefixedByFailures) {
  ScratchDirectory scratch;
  scratch.write("Blocks.txt", "");
  {
    // A trailing slash cannot be rebuilt from the directory and the last component.
    LogCapture log;
    EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(scratch.path() + "/Blocks/").has_value());
    EXPECT_EQ(log.lines(), std::vector<std::string>{couldNotRecreate});
  }
  {
    LogCapture log;
    EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(scratch.path() + "//Blocks").has_value());
    EXPECT_EQ(log.lines(), std::vector<std::string>{couldNotRecreate});
  }
  {
    LogCapture log;
    EXPECT_FALSE(QNAdditions::filenamesPrefixedBy("/").has_value());
    EXPECT_FALSE(QNAdditions::filenamesPrefixedBy("").has_value());
    EXPECT_EQ(log.lines(), (std::vector<std::string>{couldNotDetermine, couldNotDetermine}));
  }
  {
    // An unlistable directory fails without a message.
    LogCapture log;
    EXPECT_FALSE(QNAdditions::filenamesPrefixedBy(scratch.path() + "/missing/Blocks").has_value());
    EXPECT_FALSE(
        QNAdditions::filenamesPrefixedBy(scratch.path() + "/Blocks.txt/Blocks").has_value());
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(QNFileManagerTest, ResolvingLinksComponentByComponent) {
  ScratchDirectory scratch;
  const std::string d = scratch.path();
  // The scratch directory itself may lie behind a link (a temporary directory often does).
  const std::string real = fs::canonical(d).string();
  scratch.write("data/UCD/Blocks.txt", "");
  fs::create_directory_symlink(d + "/data/UCD", d + "/current");      // absolute target
  fs::create_symlink("current", d + "/again");                        // relative target, chained
  fs::create_symlink("Blocks.txt", d + "/data/UCD/Blocks-link.txt");  // a link as last component
  fs::create_symlink(d + "/nowhere", d + "/dangling");

  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/current/Blocks.txt"),
            real + "/data/UCD/Blocks.txt");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/again/Blocks-link.txt"),
            real + "/data/UCD/Blocks.txt");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/again/"), real + "/data/UCD");
  // Components after a link are kept even when they do not exist.
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/current/New/File.txt"),
            real + "/data/UCD/New/File.txt");
  // A dangling link cannot be resolved and stays as written.
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/dangling/x"), real + "/dangling/x");
  // Without links the path comes back as it was (a trailing slash aside).
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(real + "/data/UCD/"), real + "/data/UCD");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath("/"), "/");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath(""), "");
  EXPECT_EQ(QNAdditions::pathByResolvingAliasesInPath("relative/path"), "relative/path");
}

TEST(QNFileManagerTest, FileSystemAttributesOfPossiblePaths) {
  ScratchDirectory scratch;
  const auto existing = QNAdditions::fileSystemAttributesAtPossiblePath(scratch.path());
  ASSERT_TRUE(existing.has_value());
  ASSERT_TRUE(existing->systemSize.has_value());
  ASSERT_TRUE(existing->systemNodes.has_value());
  EXPECT_GT(*existing->systemSize, 0u);

  // A path under directories that do not exist answers for the volume of its nearest ancestor.
  const std::string possible = scratch.path() + "/not/yet/there.txt";
  const auto ancestors = QNAdditions::fileSystemAttributesAtPossiblePath(possible);
  ASSERT_TRUE(ancestors.has_value());
  EXPECT_EQ(ancestors->systemSize, existing->systemSize);
  EXPECT_EQ(QNAdditions::minimumFileSizeAtPossiblePath(possible),
            QNAdditions::minimumFileSizeAtPossiblePath(scratch.path()));
  EXPECT_FALSE(QNAdditions::fileSystemAttributesAtPossiblePath("").has_value());
  EXPECT_EQ(QNAdditions::minimumFileSizeAtPossiblePath(""), 0xFFFFFFFFu);
}

TEST(QNFileManagerTest, MinimumFileSizeErrorValuesAreDistinct) {
  using Attributes = QNAdditions::QNFileSystemAttributes;
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(std::nullopt), 0xFFFFFFFFu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{std::nullopt, 10}), 0xFFFFFFFEu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{1000, std::nullopt}), 0xFFFFFFFEu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{0, 10}), 0xFFFFFFFDu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{1000, 0}), 0xFFFFFFFDu);
  // Read as signed numbers: a value with the top bit set is below 1.
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{0x8000000000000000ull, 10}),
            0xFFFFFFFDu);
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{1000, 7}), 142u);
  // The quotient is truncated to 32 bits.
  EXPECT_EQ(QNAdditions::minimumFileSizeForAttributes(Attributes{0x500000003ull, 1}), 3u);
}

TEST(QNFileManagerTest, RecursivelyCreatingDirectories) {
  ScratchDirectory scratch;
  const std::string d = scratch.path();
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/a/b/c"));
  EXPECT_TRUE(fs::is_directory(d + "/a/b/c"));
  // An existing directory is success; an existing file is failure, and so is anything under it.
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/a/b"));
  scratch.write("file", "x");
  EXPECT_FALSE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/file"));
  EXPECT_FALSE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/file/sub"));
  EXPECT_FALSE(fs::exists(d + "/file/sub"));

  // Through a link, the directories are made at the link's target.
  fs::create_directory_symlink(d + "/a", d + "/link");
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/link/x/y"));
  EXPECT_TRUE(fs::is_directory(d + "/a/x/y"));

  // Given permissions are applied to every directory made, whatever the creation mask.
  EXPECT_TRUE(QNAdditions::recursivelyCreateDirectoryAtPath(d + "/p/q", 0750));
  for (const char* made : {"/p", "/p/q"}) {
    struct stat status {};
    ASSERT_EQ(stat((d + made).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750u) << made;
  }
}

}  // namespace
