// The self-check against the conformance file NormalizationTest.txt: every test line in four
// forms, then the codepoints with a decomposition that the file's character-by-character part
// does not list, which all four forms must leave alone.

#include <algorithm>
#include <array>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::logText;

constexpr uint32_t kLastCodepoint = 0x10FFFF;

// The codepoints of one field, scanned as hexadecimal numbers until something else comes.
UnicodeString fieldString(std::u16string_view field) {
  UnicodeString text;
  qnunicode::QNScanner scanner(field);
  uint32_t codepoint = 0;
  while (scanner.scanHexInt(&codepoint)) text += QNUnicode::stringWithCodepoint(codepoint);
  return text;
}

class ConformanceRun {
 public:
  explicit ConformanceRun(QNUnicodeDatabase& database) : _database(database) {}

  // Phase 1. False at the first failure (logged).
  bool checkLine(std::u16string_view line) {
    const std::vector<std::u16string_view> fields = qnunicode::splitAt(line, u';');
    if (fields.size() < 5) {
      QNLogFormat("Illegal line, ignoring: %s", logText(line).c_str());
      return true;
    }
    std::array<UnicodeString, 5> c;
    for (size_t i = 0; i < 5; ++i) c[i] = fieldString(fields[i]);
    const std::string lineText = logText(line);

    for (size_t i = 0; i < 5; ++i) {
      const UnicodeString nfkc = _database.normalizationFormKCForString(c[i]);
      if (c[3] != nfkc) {
        QNLogFormat("NFKC test failed. expected string c4: %s  returned: %s for c%i (line: '%s')",
                    logText(c[3]).c_str(), logText(nfkc).c_str(), static_cast<int>(i + 1),
                    lineText.c_str());
        return false;
      }
    }
    if (c[1] != _database.normalizationFormCForString(c[0]) ||
        c[1] != _database.normalizationFormCForString(c[1]) ||
        c[1] != _database.normalizationFormCForString(c[2]) ||
        c[3] != _database.normalizationFormCForString(c[3]) ||
        c[3] != _database.normalizationFormCForString(c[4])) {
      QNLogFormat("NFC test failed. c1: %s (line: '%s')", logText(c[0]).c_str(), lineText.c_str());
      return false;
    }
    for (size_t i = 0; i < 5; ++i) {
      if (c[4] != _database.normalizationFormKDForString(c[i])) {
        // The message shows the field's NFKC form, not the NFKD form that failed.
        QNLogFormat("NFKD test failed. expected string c5: %s  returned: %s for c%i (line: '%s')",
                    logText(c[4]).c_str(),
                    logText(_database.normalizationFormKCForString(c[i])).c_str(),
                    static_cast<int>(i + 1), lineText.c_str());
        return false;
      }
    }
    if (c[2] != _database.normalizationFormDForString(c[0]) ||
        c[2] != _database.normalizationFormDForString(c[1]) ||
        c[2] != _database.normalizationFormDForString(c[2]) ||
        c[4] != _database.normalizationFormDForString(c[3]) ||
        c[4] != _database.normalizationFormDForString(c[4])) {
      QNLogFormat("NFD test failed. c1: %s (line: '%s')", logText(c[0]).c_str(), lineText.c_str());
      return false;
    }
    passed(500);
    return true;
  }

  // Phase 2: every codepoint from `first` to `last` whose record has a decomposition mapping
  // must stay itself in all four forms.
  bool checkCandidates(uint32_t first, uint32_t last) {
    // Above 0x10FFFF every record is a default one without a mapping: nothing to check there.
    last = std::min(last, kLastCodepoint);
    for (uint64_t candidate = first; candidate <= last; ++candidate) {
      const uint32_t codepoint = static_cast<uint32_t>(candidate);
      const std::shared_ptr<const QNUnicodeData> data =
          _database.unicodeDataForCodepoint(codepoint);
      if (!data) continue;
      const std::optional<std::span<const uint32_t>> mapping =
          data->characterDecompositionMappingArray();
      if (!mapping || mapping->empty()) continue;
      const UnicodeString s = QNUnicode::stringWithCodepoint(codepoint);
      if (s != _database.normalizationFormDForString(s) ||
          s != _database.normalizationFormCForString(s) ||
          s != _database.normalizationFormKDForString(s) ||
          s != _database.normalizationFormKCForString(s)) {
        QNLogFormat("Normalization test failed for codepoint not in @Part1: %s",
                    logText(s).c_str());
        return false;
      }
      passed(200);
    }
    return true;
  }

  bool finish() {
    QNLogFormat("All %i normalization tests successfully passed", _count);
    return true;
  }

 private:
  void passed(int32_t every) {
    ++_count;
    if (_count % every == 0) QNLogFormat("Normalization test count: %i", _count);
  }

  QNUnicodeDatabase& _database;
  int32_t _count = 0;
};

}  // namespace

bool QNUnicodeDatabase::runNormalizationConformanceTestsForTestFileAtURL(const std::string& path) {
  const std::optional<UnicodeString> text = QNUnicode::stringWithContentsOfUTF8File(path);
  const std::vector<std::u16string_view> lines =
      text ? qnunicode::splitAt(*text, u'\n') : std::vector<std::u16string_view>{};
  if (lines.size() <= 1) {
    QNLog("Normalization test file not valid!");
    return false;
  }

  ConformanceRun run(*this);
  for (std::u16string_view line : lines) {
    if (line.empty() || line.front() == u'#' || line.front() == u'@') continue;
    if (!run.checkLine(line)) return false;
  }

  QNLog("Starting normalization test for codepoints not in @Part1");
  qnunicode::QNScanner scanner(*text, qnunicode::QNScanner::Skip::SpacesAndTabs);
  scanner.setCaseSensitive(false);  // the platform scanner's literals are case-blind
  const auto skipOverLineEnd = [&scanner] {
    scanner.scanUpToString(u"\n");
    return scanner.scanString(u"\n");
  };
  scanner.scanUpToString(u"@Part1");
  if (!scanner.scanString(u"@Part1")) {
    QNLog("Warning: Could not find @Part1 delimiter in Test File, test incomplete!");
    return run.finish();
  }
  if (!skipOverLineEnd() || scanner.scanLocation() >= text->size()) return run.finish();

  // The listed codepoints themselves were tested in the first phase; the ones between them
  // are checked here.
  uint64_t nextCandidate = 0;
  for (;;) {
    uint32_t listed = 0;
    if (scanner.scanHexInt(&listed)) {
      if (listed > nextCandidate &&
          !run.checkCandidates(static_cast<uint32_t>(nextCandidate), listed - 1)) {
        return false;
      }
      nextCandidate = static_cast<uint64_t>(listed) + 1;
    } else if (scanner.scanString(u"@Part2")) {
      if (nextCandidate <= kLastCodepoint &&
          !run.checkCandidates(static_cast<uint32_t>(nextCandidate), kLastCodepoint)) {
        return false;
      }
      return run.finish();
    }
    if (!skipOverLineEnd() || scanner.scanLocation() >= text->size()) return run.finish();
  }
}
