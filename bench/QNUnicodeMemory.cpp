// Peak resident memory of a process that holds nothing but the library: after the first record
// lookup (the whole UnicodeData read) and after every table of the core has been read.
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"

namespace {

// VmHWM: the peak resident set size of this process, in kiB.
long peakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

void report(const char* moment) {
  std::printf("%-52s %8.1f MiB\n", moment, static_cast<double>(peakResidentKiB()) / 1024.0);
}

}  // namespace

int main() {
  report("peak resident at start");
  auto database = std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{QNUNICODE_BENCH_UCD_DIR},
      std::vector<std::string>{QNUNICODE_BENCH_DESCRIPTIONS_DIR},
      std::string(QNUNICODE_BENCH_INFO_FILE));
  QNUnicodeDatabase::setSharedDatabase(database);
  if (!database->unicodeDataForCodepoint(0xE9)) {
    std::fprintf(stderr, "UnicodeData could not be read from %s\n", QNUNICODE_BENCH_UCD_DIR);
    return 1;
  }
  report("peak resident after the first record lookup");

  // Every table of the core: range properties, aliases, shaping, case, normalization.
  database->blockForCodepoint(0xE9);
  database->scriptForCodepoint(0xE9);
  database->extendedPropertiesForCodepoint(0xE9);
  database->derivedCorePropertiesForCodepoint(0xE9);
  database->versionCodepointWasDesignated(0xE9);
  database->hangulSyllableTypeForCodepoint(0xE9);
  database->lineBreakForCodepoint(0xE9);
  database->generalCategoryDescriptionForCodepoint(0xE9);
  database->mappingDescriptionForCodepoint(0xE9);
  database->jamoShortNameForCodepoint(0x1100);
  database->arabicShapingForCodepoint(0x627);
  database->specialCasingsForCodepoint(0xDF);
  database->fullCaseFoldingForString(u"\u00C9");
  database->normalizationFormKCForString(u"\u00C9\uFB01");
  report("peak resident after every core table was read");
  return 0;
}
