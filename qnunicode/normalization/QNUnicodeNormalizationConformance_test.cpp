#include <gtest/gtest.h>

#include <algorithm>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::realDatabase;
using qnunicode::testing::ScratchDirectory;

constexpr const char* kStart = "Starting normalization test for codepoints not in @Part1";

// Runs the conformance check over a file with the given content and answers the result.
class NormalizationConformance : public ::testing::Test {
 protected:
  // The database and its tables are made before any log is captured.
  static void SetUpTestSuite() { realDatabase()->normalizationFormKCForString(u"\u00C5"); }
};

bool runOver(const std::string& content) {
  ScratchDirectory directory;
  const std::string path = directory.write("NormalizationTest.txt", content);
  return realDatabase()->runNormalizationConformanceTestsForTestFileAtURL(path);
}

std::vector<std::string> withoutProgress(const std::vector<std::string>& lines) {
  std::vector<std::string> kept;
  for (const std::string& line : lines) {
    if (line.rfind("Normalization test count: ", 0) != 0) kept.push_back(line);
  }
  return kept;
}

TEST_F(NormalizationConformance, RealFilePassesBothPhases) {
  LogCapture log;
  EXPECT_TRUE(realDatabase()->runNormalizationConformanceTestsForTestFileAtURL(
      qnunicode::testing::ucdFile("NormalizationTest.txt")));
  // Every codepoint with a decomposition is listed in the character-by-character part, so the
  // second phase adds nothing to the 19074 test lines.
  EXPECT_EQ(
      withoutProgress(log.lines()),
      (std::vector<std::string>{kStart, "All 19074 normalization tests successfully passed"}));
  const auto progress = static_cast<size_t>(std::count_if(
      log.lines().begin(), log.lines().end(),
      [](const std::string& line) { return line.rfind("Normalization test count: ", 0) == 0; }));
  EXPECT_EQ(progress, 19074u / 500);
  EXPECT_TRUE(log.contains("Normalization test count: 19000"));
}

TEST_F(NormalizationConformance, UnreadableOrOneLineFilesAreNotValid) {
  for (const std::string content : {"1E0A;1E0A;0044 0307;1E0A;0044 0307;", "", "\xFF\xFE\n\n"}) {
    LogCapture log;
    EXPECT_FALSE(runOver(content));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Normalization test file not valid!"});
  }
  LogCapture log;
  EXPECT_FALSE(realDatabase()->runNormalizationConformanceTestsForTestFileAtURL(
      "/nonexistent/NormalizationTest.txt"));
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Normalization test file not valid!"});
}

TEST_F(NormalizationConformance, FirstFailingCheckIsLoggedWithItsLine) {
  struct Case {
    const char* line;
    const char* message;
  };
  // NFKC is checked first, then NFC, NFKD and NFD; the NFKD message shows the NFKC form.
  const Case cases[] = {
      {"0041;0042;0041;0041;0041;",
       "NFKC test failed. expected string c4: A  returned: B for c2 (line: "
       "'0041;0042;0041;0041;0041;')"},
      {"00C0;0041 0300;0041 0300;00C0;0041 0300; # A grave",
       "NFC test failed. c1: \xC3\x80 (line: '00C0;0041 0300;0041 0300;00C0;0041 0300; # A "
       "grave')"},
      {"00C0;00C0;0041 0300;00C0;00C0;",
       "NFKD test failed. expected string c5: \xC3\x80  returned: \xC3\x80 for c1 (line: "
       "'00C0;00C0;0041 0300;00C0;00C0;')"},
      {"00C0;00C0;00C0;00C0;0041 0300;",
       "NFD test failed. c1: \xC3\x80 (line: '00C0;00C0;00C0;00C0;0041 0300;')"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_FALSE(runOver(std::string("# header\n@Part0\n1E0A;1E0A;0044 0307;1E0A;0044 0307;\n") +
                         c.line + "\n1E0A;1E0A;0044 0307;1E0A;0044 0307;\n"));
    EXPECT_EQ(log.lines(), std::vector<std::string>{c.message}) << c.line;
  }
}

TEST_F(NormalizationConformance, IllegalLinesAreSkippedAndProgressIsCounted) {
  std::string content = "@Part0 # Specific cases\n0041;0041;0041\n\n";
  for (int i = 0; i < 1000; ++i) content += "1E0A;1E0A;0044 0307;1E0A;0044 0307;\n";
  content += "0x00c0 ;00C0;0041  0300 ;00C0;0041 0300\n";  // five fields, any spacing and case
  LogCapture log;
  EXPECT_TRUE(runOver(content));
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "Illegal line, ignoring: 0041;0041;0041", "Normalization test count: 500",
                "Normalization test count: 1000", kStart,
                "Warning: Could not find @Part1 delimiter in Test File, test incomplete!",
                "All 1001 normalization tests successfully passed"}));
}

TEST_F(NormalizationConformance, CodepointsBetweenListedOnesMustStayAlone) {
  // The delimiter is found without regard to case. Below U+00A0 nothing decomposes.
  const std::string header = "@Part0\n1E0A;1E0A;0044 0307;1E0A;0044 0307;\n@part1 # Character\n";
  const std::string nbsp = "00A0;00A0;00A0;0020;0020; # NO-BREAK SPACE\n";
  const std::string copyright = "00A9;00A9;00A9;00A9;00A9;\n";
  {
    // U+00A8 lies between two listed codepoints and NFKD changes it.
    LogCapture log;
    EXPECT_FALSE(runOver(header + nbsp + "# comment\n" + copyright + "@Part2\n"));
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{
                  kStart, "Normalization test failed for codepoint not in @Part1: \xC2\xA8"}));
  }
  {
    // Listing U+00A8 as well moves the failure into the sweep after @Part2, to U+00AA.
    LogCapture log;
    EXPECT_FALSE(
        runOver(header + nbsp + "00A8;00A8;00A8;0020 0308;0020 0308;\n" + copyright + "@Part2\n"));
    EXPECT_EQ(log.lines().back(),
              "Normalization test failed for codepoint not in @Part1: \xC2\xAA");
  }
  {
    // Without @Part2 the text ends without a final sweep.
    LogCapture log;
    EXPECT_TRUE(runOver(header + "0041;0041;0041;0041;0041;\n0042;0042;0042;0042;0042;"));
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{kStart, "All 3 normalization tests successfully passed"}));
  }
  {
    // A gap from U+0042 to U+00BE holds U+00A0, the first codepoint with a decomposition.
    LogCapture log;
    EXPECT_FALSE(runOver(header + "0041;0041;0041;0041;0041;\n00BF;00BF;00BF;00BF;00BF;\n"));
    EXPECT_EQ(log.lines().back(),
              "Normalization test failed for codepoint not in @Part1: \xC2\xA0");
  }
}

}  // namespace
