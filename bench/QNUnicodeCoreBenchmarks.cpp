// The core's figures against ICU: record lookups, range properties, the four normalization forms
// on three corpora, full case folding, and the first UnicodeData read against a bare floor.
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/uscript.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "QNUnicodeBenchmarkSupport.h"
#include "qnunicode/records/QNUnicodeData.h"

namespace qnunicode::bench {
namespace {

constexpr uint32_t kLastCodepoint = 0x10FFFF;

// ---- One record lookup plus one field, every codepoint in order --------------------------------

template <typename Field>
void recordField(benchmark::State& state, Field field) {
  auto database = warmDatabase();
  for (auto _ : state) {
    for (uint32_t c = 0; c <= kLastCodepoint; ++c) {
      benchmark::DoNotOptimize(field(*database->unicodeDataForCodepoint(c)));
    }
  }
}

template <typename Lookup>
void everyCodepoint(benchmark::State& state, Lookup lookup) {
  for (auto _ : state) {
    for (uint32_t c = 0; c <= kLastCodepoint; ++c) benchmark::DoNotOptimize(lookup(c));
  }
}

void registerRecordFigures() {
  registerPair(
      "record + generalCategory",
      [](benchmark::State& s) {
        recordField(s, [](const QNUnicodeData& r) { return r.generalCategory(); });
      },
      [](benchmark::State& s) { everyCodepoint(s, [](uint32_t c) { return u_charType(c); }); });
  registerPair(
      "record + canonicalCombiningClass",
      [](benchmark::State& s) {
        recordField(s, [](const QNUnicodeData& r) { return r.canonicalCombiningClass(); });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) { return u_getCombiningClass(c); });
      });
  registerPair(
      "record + bidirectionalCategory",
      [](benchmark::State& s) {
        recordField(s, [](const QNUnicodeData& r) { return r.bidirectionalCategory(); });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) { return u_charDirection(c); });
      });
}

// ---- Direct lookups of one field, every codepoint in order -------------------------------------

template <typename Field>
void directField(benchmark::State& state, Field field) {
  auto database = warmDatabase();
  field(*database, 0);  // the table is made once per database
  for (auto _ : state) {
    for (uint32_t c = 0; c <= kLastCodepoint; ++c) benchmark::DoNotOptimize(field(*database, c));
  }
}

void registerDirectFigures() {
  registerPair(
      "generalCategoryForCodepoint",
      [](benchmark::State& s) {
        directField(
            s, [](QNUnicodeDatabase& d, uint32_t c) { return d.generalCategoryForCodepoint(c); });
      },
      [](benchmark::State& s) { everyCodepoint(s, [](uint32_t c) { return u_charType(c); }); });
  registerPair(
      "canonicalCombiningClassForCodepoint",
      [](benchmark::State& s) {
        directField(s, [](QNUnicodeDatabase& d, uint32_t c) {
          return d.canonicalCombiningClassForCodepoint(c);
        });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) { return u_getCombiningClass(c); });
      });
  registerPair(
      "bidirectionalCategoryForCodepoint",
      [](benchmark::State& s) {
        directField(s, [](QNUnicodeDatabase& d, uint32_t c) {
          return d.bidirectionalCategoryForCodepoint(c);
        });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) { return u_charDirection(c); });
      });
}

// ---- Range properties, every codepoint in order
// --------------------------------------------------

void registerRangeFigures() {
  registerPair(
      "block",
      [](benchmark::State& s) {
        auto db = warmDatabase();
        everyCodepoint(s, [&](uint32_t c) { return &db->blockForCodepoint(c); });
      },
      [](benchmark::State& s) { everyCodepoint(s, [](uint32_t c) { return ublock_getCode(c); }); });
  registerPair(
      "script",
      [](benchmark::State& s) {
        auto db = warmDatabase();
        everyCodepoint(s, [&](uint32_t c) { return &db->scriptForCodepoint(c); });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) {
          UErrorCode status = U_ZERO_ERROR;
          return uscript_getScript(c, &status);
        });
      });
  registerPair(
      "line-break class",
      [](benchmark::State& s) {
        auto db = warmDatabase();
        everyCodepoint(s, [&](uint32_t c) { return db->lineBreakForCodepoint(c); });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) { return u_getIntPropertyValue(c, UCHAR_LINE_BREAK); });
      });
  registerPair(
      "age",
      [](benchmark::State& s) {
        auto db = warmDatabase();
        everyCodepoint(s, [&](uint32_t c) { return db->versionCodepointWasDesignated(c); });
      },
      [](benchmark::State& s) {
        everyCodepoint(s, [](uint32_t c) {
          UVersionInfo version;
          u_charAge(c, version);
          return version[0];
        });
      });
}

// ---- Normalization with all three counts
// ----------------------------------------------------------

struct Form {
  const char* name;
  bool K, C;
  const UNormalizer2* (*instance)(UErrorCode*);
};

const Form kForms[] = {{"NFC", false, true, unorm2_getNFCInstance},
                       {"NFD", false, false, unorm2_getNFDInstance},
                       {"NFKC", true, true, unorm2_getNFKCInstance},
                       {"NFKD", true, false, unorm2_getNFKDInstance}};

UnicodeString icuNormalize(const Form& form, const UnicodeString& text,
                           std::vector<UChar>& buffer) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* normalizer = form.instance(&status);
  buffer.resize(text.size() * 4 + 16);
  const int32_t length =
      unorm2_normalize(normalizer, text.data(), static_cast<int32_t>(text.size()), buffer.data(),
                       static_cast<int32_t>(buffer.size()), &status);
  return U_SUCCESS(status) ? UnicodeString(buffer.data(), length) : UnicodeString();
}

void registerNormalizationFigures() {
  const std::pair<const char*, const UnicodeString& (*)()> corpora[] = {
      {"A", corpusA}, {"B", corpusB}, {"C", corpusC}};
  for (const Form& form : kForms) {
    for (const auto& [corpusName, corpus] : corpora) {
      registerPair(
          std::string(form.name) + " corpus " + corpusName,
          [form, corpus](benchmark::State& s) {
            auto db = warmDatabase();
            const UnicodeString& text = corpus();
            std::vector<UChar> buffer;
            uint32_t r = 0, o = 0, x = 0;
            if (db->normalizationFormK(form.K, form.C, text, &r, &o, &x) !=
                icuNormalize(form, text, buffer)) {
              s.SkipWithError("the result differs from the peer's");
              return;
            }
            for (auto _ : s)
              benchmark::DoNotOptimize(db->normalizationFormK(form.K, form.C, text, &r, &o, &x));
            s.SetBytesProcessed(static_cast<int64_t>(s.iterations() * text.size() * 2));
          },
          [form, corpus](benchmark::State& s) {
            const UnicodeString& text = corpus();
            std::vector<UChar> buffer;
            for (auto _ : s) benchmark::DoNotOptimize(icuNormalize(form, text, buffer));
            s.SetBytesProcessed(static_cast<int64_t>(s.iterations() * text.size() * 2));
          });
    }
  }
}

// ---- Full case folding
// ------------------------------------------------------------------------------

UnicodeString icuFold(const UnicodeString& text, std::vector<UChar>& buffer) {
  UErrorCode status = U_ZERO_ERROR;
  buffer.resize(text.size() * 3 + 16);
  const int32_t length =
      u_strFoldCase(buffer.data(), static_cast<int32_t>(buffer.size()), text.data(),
                    static_cast<int32_t>(text.size()), U_FOLD_CASE_DEFAULT, &status);
  return U_SUCCESS(status) ? UnicodeString(buffer.data(), length) : UnicodeString();
}

void registerCaseFoldingFigures() {
  const std::pair<const char*, const UnicodeString& (*)()> corpora[] = {{"A", corpusA},
                                                                        {"B", corpusB}};
  for (const auto& [corpusName, corpus] : corpora) {
    registerPair(
        std::string("full case folding corpus ") + corpusName,
        [corpus](benchmark::State& s) {
          auto db = warmDatabase();
          const UnicodeString& text = corpus();
          std::vector<UChar> buffer;
          if (db->fullCaseFoldingForString(text) != icuFold(text, buffer)) {
            s.SkipWithError("the result differs from the peer's");
            return;
          }
          for (auto _ : s) benchmark::DoNotOptimize(db->fullCaseFoldingForString(text));
        },
        [corpus](benchmark::State& s) {
          const UnicodeString& text = corpus();
          std::vector<UChar> buffer;
          for (auto _ : s) benchmark::DoNotOptimize(icuFold(text, buffer));
        });
  }
}

// ---- The first record lookup: the whole UnicodeData read
// ------------------------------------------

// The floor: a bare read and split of the file into codepoint, name, categories and class.
struct BareRecord {
  uint32_t codepoint;
  std::string name, generalCategory, bidirectionalCategory;
  unsigned combiningClass;
};

std::vector<BareRecord> bareReadAndSplit(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<BareRecord> records;
  records.reserve(40000);
  size_t start = 0;
  while (start < bytes.size()) {
    size_t end = bytes.find('\n', start);
    if (end == std::string::npos) end = bytes.size();
    std::string_view line(bytes.data() + start, end - start);
    std::string_view fields[5];
    size_t from = 0;
    for (auto& field : fields) {
      const size_t semicolon = line.find(';', from);
      field = line.substr(from, semicolon - from);
      from = semicolon == std::string_view::npos ? line.size() : semicolon + 1;
    }
    records.push_back({static_cast<uint32_t>(std::stoul(std::string(fields[0]), nullptr, 16)),
                       std::string(fields[1]), std::string(fields[2]), std::string(fields[4]),
                       static_cast<unsigned>(std::atoi(std::string(fields[3]).c_str()))});
    start = end + 1;
  }
  return records;
}

void registerFirstLookupFigure() {
  registerPair(
      "first unicodeDataForCodepoint (whole read)",
      [](benchmark::State& s) {
        for (auto _ : s) {
          auto db = newDatabase();
          auto record = db->unicodeDataForCodepoint(0xE9);
          if (!record || record->characterName() != u"LATIN SMALL LETTER E WITH ACUTE") {
            s.SkipWithError("the record of U+00E9 is wrong");
            return;
          }
          s.PauseTiming();  // tearing the database down is not part of the figure
          record.reset();
          db.reset();
          s.ResumeTiming();
        }
      },
      [](benchmark::State& s) {
        for (auto _ : s)
          benchmark::DoNotOptimize(bareReadAndSplit(ucdDirectory() + "/UnicodeData.txt"));
      });
}

// ---- Read-only queries on 1 and 2 threads -------------------------------------------------------

// One unit of work of a thread: the records (general and bidirectional category) of the Basic
// Multilingual Plane, and its own copy of a quarter of corpus A normalized to NFC and NFKD with
// counts.
void queryWork(QNUnicodeDatabase& database, const UnicodeString& text) {
  uint32_t r = 0, o = 0, x = 0;
  for (uint32_t c = 0; c <= 0xFFFF; ++c) {
    const auto record = database.unicodeDataForCodepoint(c);
    benchmark::DoNotOptimize(record->generalCategory());
    benchmark::DoNotOptimize(record->bidirectionalCategory());
  }
  benchmark::DoNotOptimize(database.normalizationFormCForString(text, &r, &o, &x));
  benchmark::DoNotOptimize(database.normalizationFormKDForString(text, &r, &o));
}

// Each iteration times the work once on this thread alone, then once on each of two threads at
// the same time (started together, timed from the start signal to the last one done). The
// counters give the fastest of each over the run and the scaling, the 2-thread throughput over
// the 1-thread one (2 x alone / together; 2.0 is perfect).
void threadedQueries(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const auto database = warmDatabase();
  const UnicodeString& corpus = corpusA();
  const UnicodeString texts[2] = {corpus.substr(0, corpus.size() / 4),
                                  corpus.substr(corpus.size() / 4, corpus.size() / 4)};
  double alone = 1e9, together = 1e9;
  for (auto _ : state) {
    const auto start = Clock::now();
    queryWork(*database, texts[0]);
    alone = std::min(alone, std::chrono::duration<double>(Clock::now() - start).count());
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    Clock::time_point begin;
    auto worker = [&](int t) {
      ready.fetch_add(1);
      while (!go.load(std::memory_order_acquire)) {
      }
      queryWork(*database, texts[t]);
    };
    std::thread first(worker, 0), second(worker, 1);
    while (ready.load() < 2) {
    }
    begin = Clock::now();
    go.store(true, std::memory_order_release);
    first.join();
    second.join();
    together = std::min(together, std::chrono::duration<double>(Clock::now() - begin).count());
  }
  state.counters["alone_ms"] = alone * 1e3;
  state.counters["two_threads_ms"] = together * 1e3;
  state.counters["scaling"] = 2 * alone / together;
}

void registerThreadFigures() {
  benchmark::RegisterBenchmark("read-only queries, 1 and 2 threads", threadedQueries)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace

void registerCoreBenchmarks() {
  registerRecordFigures();
  registerDirectFigures();
  registerRangeFigures();
  registerNormalizationFigures();
  registerCaseFoldingFigures();
  registerFirstLookupFigure();
  registerThreadFigures();
}

}  // namespace qnunicode::bench

int main(int argc, char** argv) {
  qnunicode::bench::registerCoreBenchmarks();
  qnunicode::bench::registerNameBenchmarks();
  qnunicode::bench::registerEscapeBenchmarks();
  qnunicode::bench::registerUnihanBenchmarks();
  return qnunicode::bench::runBenchmarks(argc, argv);
}
