#include "QNUnicodeBenchmarkSupport.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNScanner.h"

namespace qnunicode::bench {

namespace {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path + ": run the set-up first");
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

void appendCodepoint(UnicodeString& text, uint32_t codepoint) {
  text += QNUnicode::stringWithCodepoint(codepoint);
}

}  // namespace

std::string ucdDirectory() {
  return QNUNICODE_BENCH_UCD_DIR;
}

std::shared_ptr<QNUnicodeDatabase> newDatabase() {
  return std::make_shared<QNUnicodeDatabase>(
      std::vector<std::string>{ucdDirectory()},
      std::vector<std::string>{QNUNICODE_BENCH_DESCRIPTIONS_DIR},
      std::string(QNUNICODE_BENCH_INFO_FILE));
}

std::shared_ptr<QNUnicodeDatabase> warmDatabase() {
  static const std::shared_ptr<QNUnicodeDatabase> database = [] {
    auto made = newDatabase();
    QNUnicodeDatabase::setSharedDatabase(made);
    made->unicodeDataForCodepoint(0x41);
    made->blockForCodepoint(0x41);
    made->scriptForCodepoint(0x41);
    made->lineBreakForCodepoint(0x41);
    made->versionCodepointWasDesignated(0x41);
    made->extendedPropertiesForCodepoint(0x41);
    made->normalizationFormCForString(u"\u00C5");
    made->normalizationFormKDForString(u"\uFB01");
    made->fullCaseFoldingForString(u"A");
    return made;
  }();
  return database;
}

const UnicodeString& corpusA() {
  static const UnicodeString corpus = [] {
    const UnicodeString file = fromUTF8(readFile(ucdDirectory() + "/NormalizationTest.txt"));
    UnicodeString text;
    for (std::u16string_view line : splitAt(file, u'\n')) {
      if (line.empty() || line[0] == u'#' || line[0] == u'@') continue;
      const auto fields = splitAt(line, u';');
      if (fields.size() < 6) continue;
      for (size_t f = 0; f < 5; ++f) {
        QNScanner scanner(fields[f]);
        uint32_t codepoint;
        while (scanner.scanHexInt(&codepoint)) appendCodepoint(text, codepoint);
        text += u' ';
      }
    }
    return text;
  }();
  return corpus;
}

const UnicodeString& corpusB() {
  static const UnicodeString corpus =
      fromUTF8(readFile(ucdDirectory() + "/Unihan/Unihan_Readings.txt"));
  return corpus;
}

const UnicodeString& corpusC() {
  static const UnicodeString corpus = [] {
    std::mt19937 random(20261122);
    const auto pick = [&](uint32_t first, uint32_t last) {
      return first + static_cast<uint32_t>(random() % (last - first + 1));
    };
    // Marks of several combining classes (1, 202, 220, 230, 232, 240 among them).
    const std::vector<uint32_t> marks = {0x0300, 0x0301, 0x0302, 0x0303, 0x0304, 0x0306, 0x0307,
                                         0x0308, 0x030A, 0x030B, 0x030C, 0x0316, 0x0323, 0x0327,
                                         0x0328, 0x0331, 0x0334, 0x0338, 0x0345, 0x031B, 0x035C,
                                         0x0360, 0x05B0, 0x0651, 0x093C, 0x3099};
    UnicodeString text;
    while (text.size() < 400000) {
      switch (random() % 6) {
        case 0:  // a starter with marks in random order
          appendCodepoint(text, pick(0x41, 0x5A) + (random() % 2) * 0x20);
          for (uint32_t n = random() % 5; n > 0; --n)
            appendCodepoint(text, marks[random() % marks.size()]);
          break;
        case 1:  // conjoining jamo: L V, sometimes T (valid trailing consonants only)
          appendCodepoint(text, pick(0x1100, 0x1112));
          appendCodepoint(text, pick(0x1161, 0x1175));
          if (random() % 2) appendCodepoint(text, pick(0x11A8, 0x11C2));
          break;
        case 2:  // precomposed syllables
          appendCodepoint(text, pick(0xAC00, 0xD7A3));
          break;
        case 3:  // canonical decompositions (Latin extended additional, Greek extended)
          appendCodepoint(text, random() % 2 ? pick(0x1E00, 0x1EF9) : pick(0x1F00, 0x1F15));
          break;
        case 4:  // compatibility decompositions: ligatures, circled, fullwidth, squared
          appendCodepoint(text, std::vector<uint32_t>{pick(0xFB00, 0xFB06), pick(0x2460, 0x2473),
                                                      pick(0xFF01, 0xFF5E),
                                                      pick(0x3300, 0x3357)}[random() % 4]);
          break;
        default:  // excluded composites and precomposed Latin-1 letters followed by a mark
          appendCodepoint(text, random() % 2 ? pick(0x0958, 0x095F) : pick(0xC0, 0xFF));
          appendCodepoint(text, marks[random() % marks.size()]);
          break;
      }
    }
    return text;
  }();
  return corpus;
}

void registerPair(const std::string& figure, std::function<void(benchmark::State&)> ours,
                  std::function<void(benchmark::State&)> peer, benchmark::TimeUnit unit) {
  benchmark::RegisterBenchmark((figure + "/QNUnicode").c_str(), std::move(ours))->Unit(unit);
  benchmark::RegisterBenchmark((figure + "/peer").c_str(), std::move(peer))->Unit(unit);
}

RatioReporter::Figure& RatioReporter::figure(const std::string& name) {
  for (auto& [key, value] : _figures) {
    if (key == name) return value;
  }
  _figures.emplace_back(name, Figure{});
  return _figures.back().second;
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.error_occurred) continue;
    // With repetitions only the median counts; without, the single run.
    const bool aggregate = run.run_type == Run::RT_Aggregate;
    if (aggregate && run.aggregate_name != "median") continue;
    if (!aggregate && run.repetitions > 1) continue;
    const std::string& name = run.run_name.function_name;
    const size_t slash = name.rfind('/');
    if (slash == std::string::npos) continue;
    Figure& f = figure(name.substr(0, slash));
    const double time = run.GetAdjustedRealTime();
    (name.substr(slash + 1) == "QNUnicode" ? f.ours : f.peer) = time;
    f.unit = benchmark::GetTimeUnitString(run.time_unit);
  }
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::printf("\n%-48s %14s %14s %8s\n", "figure", "QNUnicode", "peer", "ratio");
  for (const auto& [name, f] : _figures) {
    if (f.ours < 0 || f.peer < 0) continue;
    std::printf("%-48s %11.3f %-2s %11.3f %-2s %8.2f\n", name.c_str(), f.ours, f.unit.c_str(),
                f.peer, f.unit.c_str(), f.ours / f.peer);
  }
  std::fflush(stdout);
}

int runBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace qnunicode::bench
