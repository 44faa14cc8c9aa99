// IDNA2008 domain conversion against libidn2 (IDN2_NO_TR46) and ICU's UTS 46 conversion: ToASCII
// and ToUnicode of a list of lower-case domains (IDNA2008 maps no case). Each side gets the list
// in its own form prepared before timing, and the answers are checked to agree once before the
// figures are taken. The first conversion on a new database, which works out the derived
// property of each codepoint it meets, is timed once and printed before the figures.
#include <idn2.h>
#include <unicode/uidna.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "QNUnicodeBenchmarkSupport.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

namespace qnunicode::bench {
namespace {

constexpr size_t kDomains = 1000;

// Domains as people write them, lower-case: a name of one script (Latin with accents,
// Cyrillic, Greek, CJK, Hangul, or plain ASCII) under an ASCII or a native top-level domain.
std::vector<UnicodeString> makeDomains() {
  std::mt19937 random(2008);
  const auto pick = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
  const auto letter = [&](uint32_t script) -> uint32_t {
    switch (script) {
      case 0:
        return 'a' + pick(26);
      case 1: {
        const uint32_t c = 0xE0 + pick(0x1F);  // à to þ, without the division sign
        return pick(3) ? 'a' + pick(26) : (c == 0xF7 ? 0xE9 : c);
      }
      case 2:
        return 0x430 + pick(32);
      case 3:
        return 0x3B1 + pick(17);
      case 4:
        return 0x4E00 + pick(0x5000);
      default:
        return 0xAC00 + pick(0x2BA4);
    }
  };
  std::vector<UnicodeString> domains;
  static const std::vector<UnicodeString> kTopLevel = {
      u"com", u"org", u"de", u"\u0440\u0444", u"\u4E2D\u56FD", u"\uD55C\uAD6D"};
  for (size_t k = 0; k < kDomains; ++k) {
    const uint32_t script = pick(6);
    UnicodeString domain = pick(4) == 0 ? u"www." : u"";
    const uint32_t length = script >= 4 ? 2 + pick(4) : 4 + pick(10);
    for (uint32_t j = 0; j < length; ++j) appendUTF16(domain, letter(script));
    domain += u'.';
    domain += kTopLevel[pick(kTopLevel.size())];
    domains.push_back(std::move(domain));
  }
  return domains;
}

std::string peerToASCII(const std::string& domain) {
  char* output = nullptr;
  std::string result = "(failed)";
  if (idn2_to_ascii_8z(domain.c_str(), &output, IDN2_NO_TR46) == IDN2_OK) result = output;
  idn2_free(output);
  return result;
}

std::string peerToUnicode(const std::string& domain) {
  char* output = nullptr;
  std::string result = "(failed)";
  if (idn2_to_unicode_8z8z(domain.c_str(), &output, IDN2_NO_TR46) == IDN2_OK) result = output;
  idn2_free(output);
  return result;
}

// ICU's UTS 46 processing with the IDNA2008 checks it offers (bidi, CONTEXTJ, CONTEXTO).
const UIDNA* icu() {
  static const UIDNA* idna = [] {
    UErrorCode status = U_ZERO_ERROR;
    UIDNA* made = uidna_openUTS46(UIDNA_NONTRANSITIONAL_TO_ASCII | UIDNA_CHECK_BIDI |
                                      UIDNA_CHECK_CONTEXTJ | UIDNA_CHECK_CONTEXTO,
                                  &status);
    if (U_FAILURE(status)) throw std::runtime_error("ICU's UTS 46 conversion is not available");
    return made;
  }();
  return idna;
}

int32_t icuToASCII(const std::string& domain, char* output, int32_t capacity) {
  UErrorCode status = U_ZERO_ERROR;
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  const int32_t length = uidna_nameToASCII_UTF8(
      icu(), domain.data(), static_cast<int32_t>(domain.size()), output, capacity, &info, &status);
  return U_FAILURE(status) || info.errors != 0 ? -1 : length;
}

struct Corpus {
  std::vector<UnicodeString> unicode;  // the domains
  std::vector<std::string> unicodeUTF8;
  std::vector<UnicodeString> ascii;  // their ToASCII forms
  std::vector<std::string> asciiUTF8;
};

const Corpus& corpus() {
  static const Corpus corpus = [] {
    QNSetLogSink([](std::string_view) {});
    auto db = warmDatabase();
    Corpus c;
    c.unicode = makeDomains();
    for (const UnicodeString& domain : c.unicode) {
      c.unicodeUTF8.push_back(toUTF8(domain));
      const std::optional<UnicodeString> ascii = db->IDNAToASCII(1, domain, nullptr);
      const std::string& utf8 = c.unicodeUTF8.back();
      if (!ascii || toUTF8(*ascii) != peerToASCII(utf8)) {
        throw std::runtime_error("ToASCII differs from libidn2's for " + utf8);
      }
      char icuOutput[256];
      const int32_t icuLength = icuToASCII(utf8, icuOutput, sizeof icuOutput);
      if (icuLength < 0 ||
          std::string(icuOutput, static_cast<size_t>(icuLength)) != toUTF8(*ascii)) {
        throw std::runtime_error("ToASCII differs from ICU's for " + utf8);
      }
      c.ascii.push_back(*ascii);
      c.asciiUTF8.push_back(toUTF8(*ascii));
      const std::optional<UnicodeString> back = db->IDNAToUnicode(1, *ascii, nullptr);
      if (!back || *back != domain || toUTF8(*back) != peerToUnicode(c.asciiUTF8.back())) {
        throw std::runtime_error("ToUnicode differs from libidn2's for " + c.asciiUTF8.back());
      }
    }
    return c;
  }();
  return corpus;
}

template <typename Convert>
void overDomains(benchmark::State& state, const Convert& convert, size_t count) {
  for (auto _ : state) {
    for (size_t k = 0; k < count; ++k) convert(k);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}

void oursToASCII(benchmark::State& s) {
  const Corpus& c = corpus();
  auto db = warmDatabase();
  overDomains(
      s, [&](size_t k) { benchmark::DoNotOptimize(db->IDNAToASCII(1, c.unicode[k], nullptr)); },
      c.unicode.size());
}

// The first ToASCII pass over the domains on a new database whose files are already read, and
// a second pass, once each.
void printFirstConversion() {
  const Corpus& c = corpus();
  auto db = newDatabase();
  QNUnicodeDatabase::setSharedDatabase(db);
  // The files the conversion reads, read before the clock starts.
  db->unicodeDataForCodepoint(0x41);
  db->blockForCodepoint(0x41);
  db->derivedCorePropertiesForCodepoint(0x41);
  db->extendedPropertiesForCodepoint(0x41);
  db->hangulSyllableTypeForCodepoint(0x41);
  db->normalizationFormKCForString(u"\uFB01");
  db->normalizationFormCForString(u"\u00C5");
  db->fullCaseFoldingForString(u"A");
  double passes[2];
  for (double& pass : passes) {
    const auto start = std::chrono::steady_clock::now();
    for (const UnicodeString& domain : c.unicode) {
      benchmark::DoNotOptimize(db->IDNAToASCII(1, domain, nullptr));
    }
    pass =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  }
  std::printf(
      "IDNA2008 ToASCII of the %zu domains on a new database (its files read): first pass %.1f "
      "ms (the derived property of every codepoint met worked out), second pass %.2f ms\n",
      c.unicode.size(), passes[0], passes[1]);
  QNUnicodeDatabase::setSharedDatabase(warmDatabase());
}

}  // namespace

void registerIDNA2008Benchmarks() {
  registerPair(
      "IDNA2008 ToASCII, 1000 domains, against libidn2", oursToASCII,
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        overDomains(
            s,
            [&](size_t k) {
              char* output = nullptr;
              idn2_to_ascii_8z(c.unicodeUTF8[k].c_str(), &output, IDN2_NO_TR46);
              idn2_free(output);
            },
            c.unicode.size());
      },
      benchmark::kMicrosecond);
  registerPair(
      "IDNA2008 ToASCII, 1000 domains, against ICU UTS 46", oursToASCII,
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        char output[256];
        overDomains(
            s,
            [&](size_t k) {
              benchmark::DoNotOptimize(icuToASCII(c.unicodeUTF8[k], output, sizeof output));
            },
            c.unicode.size());
      },
      benchmark::kMicrosecond);
  registerPair(
      "IDNA2008 ToUnicode, 1000 ACE domains, against libidn2",
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        auto db = warmDatabase();
        overDomains(
            s,
            [&](size_t k) { benchmark::DoNotOptimize(db->IDNAToUnicode(1, c.ascii[k], nullptr)); },
            c.ascii.size());
      },
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        overDomains(
            s,
            [&](size_t k) {
              char* output = nullptr;
              idn2_to_unicode_8z8z(c.asciiUTF8[k].c_str(), &output, IDN2_NO_TR46);
              idn2_free(output);
            },
            c.ascii.size());
      },
      benchmark::kMicrosecond);
}

}  // namespace qnunicode::bench

int main(int argc, char** argv) {
  qnunicode::bench::printFirstConversion();
  qnunicode::bench::registerIDNA2008Benchmarks();
  return qnunicode::bench::runBenchmarks(argc, argv);
}
