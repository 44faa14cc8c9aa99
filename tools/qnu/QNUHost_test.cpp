#include "QNUHost.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;

namespace qnu {
namespace {

using qnunicode::testing::ScratchDirectory;

std::string setUpError(const CommonOptions& options, const DefaultPaths& defaults) {
  try {
    Host host(options, defaults);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

DefaultPaths scratchDefaults(const ScratchDirectory& scratch) {
  return {scratch.path(), scratch.path() + "/descriptions", scratch.path() + "/none.plist"};
}

TEST(DefaultPaths, TheBuildTreeBinaryUsesThePreparedDataAndTheRepositoryResources) {
  const DefaultPaths paths =
      DefaultPaths::forExecutable(fs::path(QNU_EXECUTABLE).parent_path() / "qnu");
  EXPECT_TRUE(fs::equivalent(paths.dataDirectory, qnunicode::testing::ucdDirectory()));
  const std::string resources = qnunicode::testing::sourceDirectory() + "/resources";
  EXPECT_EQ(paths.descriptionDirectory, resources + "/descriptions");
  EXPECT_EQ(paths.infoFile, resources + "/QNUnicodeInfo.plist");
}

TEST(DefaultPaths, AnyOtherLocationIsAnInstallationWithItsDataBesideTheBinary) {
  const DefaultPaths paths = DefaultPaths::forExecutable("/opt/qnu-prefix/bin/qnu");
  const fs::path resources = fs::path(paths.dataDirectory).parent_path();
  EXPECT_EQ(fs::path(paths.dataDirectory).filename(), "ucd");
  EXPECT_EQ(resources.filename(), "qnunicode");
  EXPECT_EQ(paths.descriptionDirectory, (resources / "descriptions").string());
  EXPECT_EQ(paths.infoFile, (resources / "QNUnicodeInfo.plist").string());
  EXPECT_EQ(paths.dataDirectory.rfind("/opt/qnu-prefix/", 0), 0u) << paths.dataDirectory;
}

TEST(HostSetUp, DirectoriesAndFilesTheUserNamedMustExist) {
  ScratchDirectory scratch;
  const std::string file = scratch.write("Blocks.txt", "0000..007F; Basic Latin\n");
  const std::string missing = scratch.path() + "/missing";
  const DefaultPaths defaults = scratchDefaults(scratch);

  EXPECT_EQ(setUpError({{missing}, {}, {}, false}, defaults),
            "data directory '" + missing + "' does not exist");
  EXPECT_EQ(setUpError({{scratch.path(), file}, {}, {}, false}, defaults),
            "data directory '" + file + "' is not a directory");
  EXPECT_EQ(setUpError({{}, {missing}, {}, false}, defaults),
            "description directory '" + missing + "' does not exist");
  EXPECT_EQ(setUpError({{}, {}, missing + ".plist", false}, defaults),
            "information file '" + missing + ".plist' does not exist");
  EXPECT_EQ(setUpError({}, DefaultPaths{missing, "", ""}),
            "the default data directory '" + missing +
                "' does not exist (run scripts/setup.sh, or name one with --data DIR)");
  // Absent default descriptions and information file are no error: both are optional.
  EXPECT_EQ(setUpError({}, defaults), "");
}

TEST(HostSetUp, TheDatabaseIsSharedForTheHostsLifetimeAndSearchesTheNamedDirectoriesInOrder) {
  ScratchDirectory first, second;
  first.write("Blocks.txt", "0000..007F; First Latin\n");
  second.write("Blocks.txt", "0000..007F; Second Latin\n");
  {
    Host host({{first.path(), second.path()}, {}, {}, true}, scratchDefaults(first));
    EXPECT_EQ(QNUnicodeDatabase::sharedDatabase().get(), &host.database());
    EXPECT_EQ(host.dataDirectories(), (std::vector<std::string>{first.path(), second.path()}));
    EXPECT_EQ(host.database().blockForCodepoint(0x41), u"First Latin");
    EXPECT_TRUE(host.json());
  }
  EXPECT_EQ(QNUnicodeDatabase::sharedDatabase(), nullptr);
}

TEST(HostSetUp, EachMissingFileIsNotedOnceAndUnicodeDataIsRequired) {
  ScratchDirectory scratch;
  scratch.write("Blocks.txt", "0000..007F; Basic Latin\n");
  Host host({{scratch.path()}, {}, {}, false}, scratchDefaults(scratch));
  EXPECT_FALSE(host.hasMissingFiles());
  // The script table is retried, and notified, on every use while its file is missing.
  EXPECT_EQ(host.database().scriptForCodepoint(0x41), u"Unknown");
  EXPECT_EQ(host.database().scriptForCodepoint(0x42), u"Unknown");
  EXPECT_EQ(host.delegate().missingPrefixes(), std::vector<std::string>{"Scripts"});
  EXPECT_TRUE(host.hasMissingFiles());
  EXPECT_THROW(host.requireUnicodeData(), ReportedFailure);
  EXPECT_THROW(host.requireUnicodeData(), ReportedFailure);
  EXPECT_EQ(host.delegate().missingPrefixes(),
            (std::vector<std::string>{"Scripts", "UnicodeData"}));
  EXPECT_EQ(host.delegate().messageForPrefix("UnicodeData"),
            "missing data file 'UnicodeData' (no file with that prefix in " + scratch.path() + ")");
}

}  // namespace
}  // namespace qnu
