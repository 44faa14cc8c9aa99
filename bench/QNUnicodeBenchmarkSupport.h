#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"

namespace qnunicode::bench {

std::string ucdDirectory();
// A new database over the build's UCD, the repository's descriptions and information file.
std::shared_ptr<QNUnicodeDatabase> newDatabase();
// One database for the whole run, installed as the shared database, with every table the
// benchmarks touch already read (so that no figure includes a file read by accident).
std::shared_ptr<QNUnicodeDatabase> warmDatabase();

// Corpus A: every field of every test line of NormalizationTest.txt, joined by spaces.
const UnicodeString& corpusA();
// Corpus B: Unihan_Readings.txt as text (mostly ASCII, already NFC).
const UnicodeString& corpusB();
// Corpus C: a deterministic hard mix of starters and combining marks, Hangul jamo and syllables,
// and characters with decompositions.
const UnicodeString& corpusC();

// Registers one figure as two benchmarks, "<figure>/QNUnicode" and "<figure>/peer", so that the
// ratio reporter can pair them.
void registerPair(const std::string& figure, std::function<void(benchmark::State&)> ours,
                  std::function<void(benchmark::State&)> peer,
                  benchmark::TimeUnit unit = benchmark::kMillisecond);

// Prints the usual console table and, at the end, one line per figure with both medians (or
// means without repetitions) and the ratio QNUnicode / peer.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Figure {
    double ours = -1;
    double peer = -1;
    std::string unit;
  };
  std::vector<std::pair<std::string, Figure>> _figures;
  Figure& figure(const std::string& name);
};

int runBenchmarks(int argc, char** argv);

void registerCoreBenchmarks();
void registerNameBenchmarks();
void registerEscapeBenchmarks();
void registerUnihanBenchmarks();
void registerIDNABenchmarks();
void registerIDNA2008Benchmarks();

}  // namespace qnunicode::bench
