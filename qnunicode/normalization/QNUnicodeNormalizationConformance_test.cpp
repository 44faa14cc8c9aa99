#include <gtest/gtest.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::realDatabase;
using Lines = std::vector<std::string>;
using Outcome = std::pair<bool, Lines>;
const std::string kStart = "Starting normalization test for codepoints not in @Part1";
const std::string kGood = "1E0A;1E0A;0044 0307;1E0A;0044 0307;\n";
const std::string kInvalid = "Normalization test file not valid!";

// The run's result over a file, with its log lines.
Outcome run(const std::string& path) {
  realDatabase()->normalizationFormKCForString(u"\u00C5");  // tables made before the capture
  qnunicode::testing::LogCapture log;
  const bool passed = realDatabase()->runNormalizationConformanceTestsForTestFileAtURL(path);
  return {passed, log.lines()};
}

Outcome runOver(const std::string& content) {
  qnunicode::testing::ScratchDirectory directory;
  return run(directory.write("NormalizationTest.txt", content));
}

TEST(NormalizationConformance, RealFilePassesAndSmallFilesLogTheirFaults) {
  // Every codepoint with a decomposition is listed, so the second phase adds no test.
  Lines log;
  for (int count = 500; count <= 19074; count += 500) {
    log.push_back("Normalization test count: " + std::to_string(count));
  }
  log.insert(log.end(), {kStart, "All 19074 normalization tests successfully passed"});
  EXPECT_EQ(run(qnunicode::testing::ucdFile("NormalizationTest.txt")), (Outcome{true, log}));
  // Unreadable and one-line files are not valid.
  for (const char* content : {"1E0A;1E0A;0044 0307;1E0A;0044 0307;", "", "\xFF\xFE\n\n"}) {
    EXPECT_EQ(runOver(content), (Outcome{false, {kInvalid}}));
  }
  EXPECT_EQ(run("/nonexistent/NormalizationTest.txt"), (Outcome{false, {kInvalid}}));
  // Illegal lines are skipped; the fields may have any spacing and case.
  std::string content = "@Part0 # Specific cases\n0041;0041;0041\n\n";
  for (int i = 0; i < 1000; ++i) content += kGood;
  EXPECT_EQ(runOver(content + "0x00c0 ;00C0;0041  0300 ;00C0;0041 0300\n"),
            (Outcome{true,
                     {"Illegal line, ignoring: 0041;0041;0041", "Normalization test count: 500",
                      "Normalization test count: 1000", kStart,
                      "Warning: Could not find @Part1 delimiter in Test File, test incomplete!",
                      "All 1001 normalization tests successfully passed"}}));
  // NFKC is checked first, then NFC, NFKD and NFD; the NFKD message shows the NFKC form.
  const std::pair<std::string, std::string> cases[] = {
      {"0041;0042;0041;0041;0041;", "NFKC test failed. expected string c4: A  returned: B for c2"},
      {"00C0;0041 0300;0041 0300;00C0;0041 0300; # A grave", "NFC test failed. c1: \xC3\x80"},
      {"00C0;00C0;0041 0300;00C0;00C0;",
       "NFKD test failed. expected string c5: \xC3\x80  returned: \xC3\x80 for c1"},
      {"00C0;00C0;00C0;00C0;0041 0300;", "NFD test failed. c1: \xC3\x80"}};
  for (const auto& [line, message] : cases) {
    EXPECT_EQ(runOver("# header\n@Part0\n" + kGood + line + "\n" + kGood),
              (Outcome{false, {message + " (line: '" + line + "')"}}));
  }
  // Between listed codepoints all must stay alone. The delimiter is found without regard to
  // case; below U+00A0 nothing decomposes.
  const std::string head = "@Part0\n" + kGood + "@part1 # Character\n";
  const std::string nbsp = "00A0;00A0;00A0;0020;0020; # NO-BREAK SPACE\n";
  const std::string copyright = "00A9;00A9;00A9;00A9;00A9;\n";
  const std::string failed = "Normalization test failed for codepoint not in @Part1: ";
  // U+00A8 lies between two listed codepoints and NFKD changes it.
  EXPECT_EQ(runOver(head + nbsp + "# comment\n" + copyright + "@Part2\n"),
            (Outcome{false, {kStart, failed + "\xC2\xA8"}}));
  // Listing U+00A8 as well moves the failure into the sweep after @Part2, to U+00AA.
  EXPECT_EQ(runOver(head + nbsp + "00A8;00A8;00A8;0020 0308;0020 0308;\n" + copyright + "@Part2\n"),
            (Outcome{false, {kStart, failed + "\xC2\xAA"}}));
  // Without @Part2 the text ends without a final sweep.
  EXPECT_EQ(runOver(head + "0041;0041;0041;0041;0041;\n0042;0042;0042;0042;0042;"),
            (Outcome{true, {kStart, "All 3 normalization tests successfully passed"}}));
}

}  // namespace
