// The counting of data-file warnings among the library's log lines, and the data directories of
// QNU_DATA.
#include "QNUDataWarnings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QNUHost.h"

namespace qnu {
namespace {

TEST(DataWarningCounter, CountsReaderWarningsOnceAndNeverTheNoticesOfLookupsOrTheTestRun) {
  struct Case {
    std::vector<std::string> log;
    size_t warnings;
  };
  const std::vector<Case> cases = {
      // Readers' lines: one warning each.
      {{"Unexpected mirrored value in UnicodeData.txt (ignoring)", "no data"}, 2},
      {{"UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:",
        "UnicodeDatabase -readLineBreaks:: failed: prop is empty string in line:"},
       2},
      {{"Warning: Multiple files with prefix 'Blocks' found. Returning last file with extension "
        "'txt': /d/Blocks.txt"},
       1},
      // The PropList reader logs the offending line after its message: one warning, whatever
      // the line says, and the line after it counts again.
      {{"UnicodeDatabase -readPropListOrScriptsFile:: failed: ';' not scanned in line:", "no data",
        "no data"},
       2},
      // A CaseFolding line logged as unparsed and then as empty is one warning; an empty
      // mapping of another line is one of its own.
      {{"could not parse CaseFolding line: 0041; C; 0061 #",
        "parsed empty CaseFolding mapping from line: 0041; C; 0061 #",
        "parsed empty CaseFolding mapping from line: 0042; C; ;"},
       2},
      {{"could not parse CaseFolding line: 0041; C; 0061 #", "no data",
        "parsed empty CaseFolding mapping from line: 0041; C; 0061 #"},
       3},
      // Notices by design, the conformance run's own report, memory and misuse.
      {{"no line break class 'EB', returning XX",
        "invalid line break class index '40', returning XX",
        "Starting normalization test for codepoints not in @Part1", "Normalization test count: 200",
        "All 19074 normalization tests successfully passed",
        "NFC test failed. c1: A (line: '0041;0041;0041;0041;0041;')",
        "NSString::levenshteinMatrixForString: could not allocate memory",
        "Punycode encoding failed.", "QNUnicodeDatabase unknown IDNA type",
        "Invalid U-Label. 4.2.2. of RFC 5891: U+0042 is DISALLOWED",
        "Label is ASCII only but not an LDH-Label (Letters, Digits, Hyphen).", "Not an LDH-Label.",
        "Fake A-Label: Punycode decoding failed.",
        "Not an A-Label. Does not start with ACE prefix (xn--).",
        "Not an ASCII-Label. Contains non-ASCII codepoint U+00FC.",
        "Invalid A-Label. Must contain at least one character after the ACE prefix (xn--)."},
       0},
      // Almost a notice is a warning: the ends must match too.
      {{"no line break class 'EB'", "All lines were fine"}, 2},
      // Test-file damage is data damage.
      {{"Illegal line, ignoring: 0041;0041", "Normalization test file not valid!"}, 2},
  };
  for (const Case& c : cases) {
    DataWarningCounter counter;
    for (const std::string& line : c.log) counter.take(line);
    EXPECT_EQ(counter.count(), c.warnings) << c.log.front();
  }
}

TEST(SearchPathDirectories, SplitsAtColonsAndLeavesOutEmptyPieces) {
  using Dirs = std::vector<std::string>;
  EXPECT_EQ(searchPathDirectories(""), Dirs{});
  EXPECT_EQ(searchPathDirectories(":"), Dirs{});
  EXPECT_EQ(searchPathDirectories("/a"), Dirs{"/a"});
  EXPECT_EQ(searchPathDirectories("::/a b::rel/c:"), (Dirs{"/a b", "rel/c"}));
}

}  // namespace
}  // namespace qnu
