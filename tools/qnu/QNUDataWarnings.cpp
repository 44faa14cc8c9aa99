#include "QNUDataWarnings.h"

#include <array>
#include <utility>

namespace qnu {

namespace {

// A log line, known by its fixed beginning and end (either may be empty).
struct LinePattern {
  std::string_view start;
  std::string_view end;
  bool matches(std::string_view line) const {
    return line.size() >= start.size() + end.size() && line.starts_with(start) &&
           line.ends_with(end);
  }
};

// Lines that are not about damaged data: what the lookups and the conformance run write by
// design with any data, and failures of memory or of the caller.
constexpr std::array kNotices = {
    // The line-break class lookups: UCD 15.0.0 itself names classes beyond the fixed table.
    LinePattern{"no line break class '", "', returning XX"},
    LinePattern{"invalid line break class index '", "', returning XX"},
    // The conformance run's progress, result and test failures (the run's own answer).
    LinePattern{"Normalization test count: ", ""},
    LinePattern{"Starting normalization test for codepoints not in @Part1", ""},
    LinePattern{"All ", " normalization tests successfully passed"},
    LinePattern{"NFC test failed. ", ""},
    LinePattern{"NFD test failed. ", ""},
    LinePattern{"NFKC test failed. ", ""},
    LinePattern{"NFKD test failed. ", ""},
    LinePattern{"Normalization test failed for codepoint not in @Part1: ", ""},
    // Memory, misuse and failed assertions.
    LinePattern{"NSString::levenshteinMatrixForString: ", ""},
    LinePattern{"Punycode ", ""},
    LinePattern{"QNUnicodeDatabase unknown IDNA type", ""},
    // The messages of failed IDNA2008 conversions, which the forms without an error
    // out-parameter write to the log: about the domain given, not about the data.
    LinePattern{"Label is ASCII only but not an LDH-Label", ""},
    LinePattern{"Invalid U-Label. ", ""},
    LinePattern{"Invalid A-Label. ", ""},
    LinePattern{"Not an ASCII-Label. ", ""},
    LinePattern{"Not an LDH-Label.", ""},
    LinePattern{"Not an A-Label. ", ""},
    LinePattern{"Fake A-Label: ", ""},
    LinePattern{"*** Assertion failure in ", ""},
};

// Warnings whose offending data line follows as a log line of its own.
constexpr std::array kWarningsFollowedByTheLine = {
    LinePattern{"UnicodeDatabase -readPropListOrScriptsFile:: failed: ", " in line:"},
};

// A CaseFolding line that does not parse is logged twice: as unparsed, then as empty.
constexpr std::string_view kCaseFoldingUnparsed = "could not parse CaseFolding line: ";
constexpr std::string_view kCaseFoldingEmpty = "parsed empty CaseFolding mapping from line: ";

}  // namespace

bool DataWarningCounter::take(std::string_view line) {
  const bool continues = std::exchange(_nextLineContinues, false);
  const std::optional<std::string> unparsedCaseFolding = std::exchange(_unparsedCaseFolding, {});
  if (continues) return false;
  if (unparsedCaseFolding && line.starts_with(kCaseFoldingEmpty) &&
      line.substr(kCaseFoldingEmpty.size()) == *unparsedCaseFolding) {
    return false;
  }
  for (const LinePattern& notice : kNotices) {
    if (notice.matches(line)) return false;
  }
  for (const LinePattern& warning : kWarningsFollowedByTheLine) {
    if (warning.matches(line)) _nextLineContinues = true;
  }
  if (line.starts_with(kCaseFoldingUnparsed)) {
    _unparsedCaseFolding = std::string(line.substr(kCaseFoldingUnparsed.size()));
  }
  ++_count;
  return true;
}

}  // namespace qnu
