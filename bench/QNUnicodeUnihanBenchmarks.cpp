// The whole Unihan read of a new database against the floor, a bare parse of the same files.
#include "QNUnicodeBenchmarkSupport.h"
#include "QNUnihanBareParse.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"

namespace qnunicode::bench {

void registerUnihanBenchmarks() {
  registerPair(
      "Unihan: whole read (8 files, 1.44 million lines)",
      [](benchmark::State& s) {
        for (auto _ : s) {
          s.PauseTiming();
          auto database = std::make_unique<QNUnicodeDatabase>(std::vector{ucdDirectory()},
                                                              std::vector<std::string>{});
          s.ResumeTiming();
          database->readUnihan();
          const auto table = database->unihan();
          if (!table || table->size() != 98060) {
            s.SkipWithError("the Unihan table is not complete");
            return;
          }
          s.PauseTiming();
          database.reset();
          s.ResumeTiming();
        }
      },
      [](benchmark::State& s) {
        for (auto _ : s) {
          BareUnihan entries = bareParseUnihan(ucdDirectory() + "/Unihan");
          if (entries.size() != 98060) {
            s.SkipWithError("the bare parse is not complete");
            return;
          }
          s.PauseTiming();
          entries = {};
          s.ResumeTiming();
        }
      });
}

}  // namespace qnunicode::bench
