#include "qnunicode/util/QNFileManager.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;
using namespace QNAdditions;
using Paths = std::vector<std::string>;

namespace {

TEST(QNFileManagerTest, FilenamesPrefixedByAndItsFailures) {
  qnunicode::testing::ScratchDirectory scratch;
  const std::string d = scratch.path();
  for (const char* name : {"Blocks.txt", "Blocks-5.0.0.txt", "BlocksX", "blocks.txt", "MyBlocks"})
    scratch.write(name, "");
  qnunicode::testing::LogCapture log;
  Paths listing;  // a plain case-sensitive prefix test, in the listing's own order
  for (const auto& entry : fs::directory_iterator(d))
    if (entry.path().filename().string().starts_with("Blocks")) listing.push_back(entry.path());
  EXPECT_EQ(filenamesPrefixedBy(d + "/Blocks"), listing);
  // Unlistable directories fail silently; paths that cannot be rebuilt from their directory and
  // last component, or have no file name, fail with a message.
  for (const std::string& path : {d + "/missing/Blocks", d + "/Blocks.txt/Blocks", d + "/Blocks/",
                                  d + "//Blocks", std::string("/")})
    EXPECT_FALSE(filenamesPrefixedBy(path)) << path;
  const std::string head = "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't ";
  const std::string recreate = head + "recreate filepathprefix from components";
  EXPECT_EQ(log.lines(), (Paths{recreate, recreate, head + "determine filename"}));
}

// Every link on the way is replaced by where its chain ends; a dangling link and the parts
// after it stay as written, and so do paths of nothing but plain names.
TEST(QNFileManagerTest, PathByResolvingAliasesInPath) {
  qnunicode::testing::ScratchDirectory scratch;
  const std::string d = scratch.path();
  const std::string real = fs::canonical(d).string();
  fs::create_directories(d + "/store/deep");
  scratch.write("store/deep/UnicodeData.txt", "");
  fs::create_directory_symlink("store", d + "/link");
  fs::create_symlink("link/deep/UnicodeData.txt", d + "/file-link");
  fs::create_symlink("nowhere", d + "/dangling");
  EXPECT_EQ(pathByResolvingAliasesInPath(d + "/link/deep/UnicodeData.txt"),
            real + "/store/deep/UnicodeData.txt");
  EXPECT_EQ(pathByResolvingAliasesInPath(d + "//file-link"), real + "/store/deep/UnicodeData.txt");
  EXPECT_EQ(pathByResolvingAliasesInPath(d + "/dangling/x.txt"), real + "/dangling/x.txt");
  EXPECT_EQ(pathByResolvingAliasesInPath(d + "/link/missing.txt"), real + "/store/missing.txt");
  EXPECT_EQ(pathByResolvingAliasesInPath("no/such/name.txt"), "no/such/name.txt");
  EXPECT_EQ(pathByResolvingAliasesInPath("/"), "/");
  EXPECT_EQ(pathByResolvingAliasesInPath(""), "");
}

TEST(QNFileManagerTest, MinimumFileSize) {
  qnunicode::testing::ScratchDirectory scratch;
  const auto existing = fileSystemAttributesAtPossiblePath(scratch.path());
  ASSERT_TRUE(existing && existing->systemSize > 0u && existing->systemNodes > 0u);
  EXPECT_EQ(minimumFileSizeAtPossiblePath(scratch.path() + "/not/yet/there.txt"),
            minimumFileSizeForAttributes(existing));  // the nearest existing ancestor's volume
  EXPECT_EQ(minimumFileSizeAtPossiblePath(""), 0xFFFFFFFFu);
  using A = QNFileSystemAttributes;  // both read as signed numbers; the quotient kept to 32 bits
  EXPECT_EQ(minimumFileSizeForAttributes(A{{}, 10}), 0xFFFFFFFEu);
  EXPECT_EQ(minimumFileSizeForAttributes(A{1000, 0}), 0xFFFFFFFDu);
  EXPECT_EQ(minimumFileSizeForAttributes(A{1ull << 63, 10}), 0xFFFFFFFDu);
  EXPECT_EQ(minimumFileSizeForAttributes(A{0x500000003ull, 1}), 3u);
}

}  // namespace
