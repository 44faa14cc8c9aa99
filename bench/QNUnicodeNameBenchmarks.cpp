// The names list, the Index and the name lookup: reading and building them on a new database
// (the sorted keys with UnicodeData read beforehand, outside the timing), and exact
// name-to-codepoint lookups against ICU's algorithmic name search.
#include <unicode/uchar.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "QNUnicodeBenchmarkSupport.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/names/QNUnicodeNamesList.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"

namespace qnunicode::bench {
namespace {

// Names of a spread of characters, each looked up by its exact key.
const std::vector<std::pair<std::string, uint32_t>>& sampleNames() {
  static const std::vector<std::pair<std::string, uint32_t>> names = {
      {"LATIN SMALL LETTER E WITH ACUTE", 0xE9},
      {"GREEK CAPITAL LETTER OMEGA", 0x3A9},
      {"HEBREW LETTER ALEF", 0x5D0},
      {"DEVANAGARI LETTER KA", 0x915},
      {"EURO SIGN", 0x20AC},
      {"BLACK HEART SUIT", 0x2665},
      {"HIRAGANA LETTER A", 0x3042},
      {"GRINNING FACE", 0x1F600},
      {"MATHEMATICAL BOLD CAPITAL A", 0x1D400},
      {"ZERO WIDTH JOINER", 0x200D}};
  return names;
}

UnicodeString keyFor(const std::string& name, uint32_t codepoint) {
  char code[16];
  std::snprintf(code, sizeof code, " [U+%04X]", codepoint);
  return fromUTF8(name + code);
}

// Times one first call on a new database, after `prepare` (untimed) on the same database.
void registerFirstCall(const char* name, std::function<void(QNUnicodeDatabase&)> prepare,
                       std::function<void(QNUnicodeDatabase&)> firstCall) {
  benchmark::RegisterBenchmark(name, [prepare, firstCall](benchmark::State& s) {
    for (auto _ : s) {
      s.PauseTiming();
      auto db = newDatabase();
      prepare(*db);
      s.ResumeTiming();
      firstCall(*db);
      s.PauseTiming();
      db.reset();
      s.ResumeTiming();
    }
  })->Unit(benchmark::kMillisecond);
}

}  // namespace

void registerNameBenchmarks() {
  const auto nothing = [](QNUnicodeDatabase&) {};
  registerFirstCall("names list: read on a new database", nothing, [](QNUnicodeDatabase& db) {
    benchmark::DoNotOptimize(db.namesListCharEntryForCodepoint(0xE9));
  });
  registerFirstCall("Index names: read on a new database", nothing, [](QNUnicodeDatabase& db) {
    benchmark::DoNotOptimize(db.indexNames()->size());
  });
  registerFirstCall(
      "name lookup and sorted keys: build once UnicodeData is read",
      [](QNUnicodeDatabase& db) { db.unicodeDataForCodepoint(0x41); },
      [](QNUnicodeDatabase& db) {
        benchmark::DoNotOptimize(db.sortedNameLookupWithoutUnihanKeys()->size());
      });

  // What qnu search asks first: the sorted keys that hold a word, before any lookup is made.
  registerFirstCall(
      "keys holding \"LETTER E WITH\": sorted once UnicodeData is read",
      [](QNUnicodeDatabase& db) { db.unicodeDataForCodepoint(0x41); },
      [](QNUnicodeDatabase& db) {
        benchmark::DoNotOptimize(
            db.sortedNameLookupKeysPassingTest(
                  [](std::u16string_view key) { return key.find(u"LETTER E WITH") != key.npos; },
                  false)
                ->size());
      });

  benchmark::RegisterBenchmark("name lookup: build on a new database", [](benchmark::State& s) {
    for (auto _ : s) {
      auto db = newDatabase();
      benchmark::DoNotOptimize(db->nameLookupWithoutUnihan()->size());
      s.PauseTiming();
      db.reset();
      s.ResumeTiming();
    }
  })->Unit(benchmark::kMillisecond);

  registerPair(
      "exact name to codepoint (10 names)",
      [](benchmark::State& s) {
        auto lookup = warmDatabase()->nameLookupWithoutUnihan();
        std::vector<UnicodeString> keys;
        for (const auto& [name, codepoint] : sampleNames()) {
          keys.push_back(keyFor(name, codepoint));
          if (lookup->codepointForKey(keys.back()) != codepoint) {
            s.SkipWithError("a sample name is missing from the lookup");
            return;
          }
        }
        for (auto _ : s) {
          for (const UnicodeString& key : keys) {
            benchmark::DoNotOptimize(lookup->codepointForKey(key));
          }
        }
      },
      [](benchmark::State& s) {
        for (auto _ : s) {
          for (const auto& [name, codepoint] : sampleNames()) {
            UErrorCode status = U_ZERO_ERROR;
            benchmark::DoNotOptimize(u_charFromName(U_UNICODE_CHAR_NAME, name.c_str(), &status));
          }
        }
      },
      benchmark::kNanosecond);
}

}  // namespace qnunicode::bench
