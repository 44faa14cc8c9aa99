// Domain names against libidn: IDNA2003 ToASCII and ToUnicode of a list of domains, and the
// Punycode codec on their labels. Each side gets the list in its own form (UTF-16 here, UTF-8 or
// codepoint arrays for the peer) prepared before timing, and both answers are checked to agree
// once before the figures are taken.
#include <idn-free.h>
#include <idna.h>
#include <punycode.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "QNUnicodeBenchmarkSupport.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace qnunicode::bench {
namespace {

constexpr int kPeerFlags = IDNA_USE_STD3_ASCII_RULES | IDNA_ALLOW_UNASSIGNED;
constexpr size_t kDomains = 1000;

// Domains as people write them: a name of one script (Latin with accents and capitals,
// Cyrillic, Greek, CJK, Hangul, or plain ASCII) under an ASCII or a native top-level domain.
std::vector<UnicodeString> makeDomains() {
  std::mt19937 random(2003);
  const auto pick = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
  const auto letter = [&](uint32_t script) -> uint32_t {
    switch (script) {
      case 0:
        return 'a' + pick(26);
      case 1:
        return pick(5) == 0 ? 0xC0 + pick(0x17) : (pick(3) ? 'a' + pick(26) : 0xE0 + pick(0x17));
      case 2:
        return 0x430 + pick(32) - (pick(8) == 0 ? 32 : 0);
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

struct Corpus {
  std::vector<UnicodeString> unicode;  // the domains
  std::vector<std::string> unicodeUTF8;
  std::vector<UnicodeString> ascii;  // their ToASCII forms
  std::vector<std::string> asciiUTF8;
  std::vector<std::vector<uint32_t>> labels;  // the non-ASCII labels as codepoints
  std::vector<std::string> encodedLabels;     // their Punycode forms
};

std::string peerToASCII(const std::string& domain) {
  char* output = nullptr;
  if (idna_to_ascii_8z(domain.c_str(), &output, kPeerFlags) != IDNA_SUCCESS) return "(failed)";
  std::string result(output);
  idn_free(output);
  return result;
}

std::string peerToUnicode(const std::string& domain) {
  char* output = nullptr;
  if (idna_to_unicode_8z8z(domain.c_str(), &output, kPeerFlags) != IDNA_SUCCESS) return "(failed)";
  std::string result(output);
  idn_free(output);
  return result;
}

const Corpus& corpus() {
  static const Corpus corpus = [] {
    QNSetLogSink([](std::string_view) {});
    QNUnicodeSetResourceDirectory(QNUNICODE_BENCH_RESOURCE_DIR);
    auto db = warmDatabase();
    Corpus c;
    c.unicode = makeDomains();
    for (const UnicodeString& domain : c.unicode) {
      c.unicodeUTF8.push_back(toUTF8(domain));
      const std::optional<UnicodeString> ascii = db->IDNAToASCII(0, domain, nullptr);
      if (!ascii || toUTF8(*ascii) != peerToASCII(c.unicodeUTF8.back())) {
        throw std::runtime_error("ToASCII differs from the peer's for " + c.unicodeUTF8.back());
      }
      c.ascii.push_back(*ascii);
      c.asciiUTF8.push_back(toUTF8(*ascii));
      // The ACE forms decode to the nameprepped domain on both sides.
      if (toUTF8(*db->IDNAToUnicode(0, *ascii, nullptr)) != peerToUnicode(c.asciiUTF8.back())) {
        throw std::runtime_error("ToUnicode differs from the peer's for " + c.asciiUTF8.back());
      }
      size_t start = 0;
      for (size_t end = 0; end <= domain.size(); ++end) {
        if (end < domain.size() && domain[end] != u'.') continue;
        std::vector<uint32_t> label;
        for (size_t i = start; i < end;) {
          const UTF16Codepoint c16 = codepointAt(domain, i);
          label.push_back(c16.codepoint);
          i += c16.length;
        }
        start = end + 1;
        if (label.empty() || label.front() < 0x80) continue;
        std::string encoded(200, '\0');
        uint32_t length = 200;
        punycode_encode(static_cast<uint32_t>(label.size()), label.data(), nullptr, &length,
                        encoded.data());
        encoded.resize(length);
        c.labels.push_back(std::move(label));
        c.encodedLabels.push_back(std::move(encoded));
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

}  // namespace

void registerIDNABenchmarks() {
  registerPair(
      "IDNA2003 ToASCII, 1000 domains",
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        auto db = warmDatabase();
        overDomains(
            s,
            [&](size_t k) { benchmark::DoNotOptimize(db->IDNAToASCII(0, c.unicode[k], nullptr)); },
            c.unicode.size());
      },
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        overDomains(
            s,
            [&](size_t k) {
              char* output = nullptr;
              idna_to_ascii_8z(c.unicodeUTF8[k].c_str(), &output, kPeerFlags);
              idn_free(output);
            },
            c.unicode.size());
      },
      benchmark::kMicrosecond);
  registerPair(
      "IDNA2003 ToUnicode, 1000 ACE domains",
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        auto db = warmDatabase();
        overDomains(
            s,
            [&](size_t k) { benchmark::DoNotOptimize(db->IDNAToUnicode(0, c.ascii[k], nullptr)); },
            c.ascii.size());
      },
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        overDomains(
            s,
            [&](size_t k) {
              char* output = nullptr;
              idna_to_unicode_8z8z(c.asciiUTF8[k].c_str(), &output, kPeerFlags);
              idn_free(output);
            },
            c.ascii.size());
      },
      benchmark::kMicrosecond);
  registerPair(
      "Punycode encode, the non-ASCII labels",
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        char output[256];
        overDomains(
            s,
            [&](size_t k) {
              uint32_t length = sizeof output;
              benchmark::DoNotOptimize(
                  qnunicode::punycode_encode(static_cast<uint32_t>(c.labels[k].size()),
                                             c.labels[k].data(), nullptr, &length, output));
            },
            c.labels.size());
      },
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        char output[256];
        overDomains(
            s,
            [&](size_t k) {
              size_t length = sizeof output;
              benchmark::DoNotOptimize(::punycode_encode(c.labels[k].size(), c.labels[k].data(),
                                                         nullptr, &length, output));
            },
            c.labels.size());
      },
      benchmark::kMicrosecond);
  registerPair(
      "Punycode decode, the non-ASCII labels",
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        uint32_t output[256];
        overDomains(
            s,
            [&](size_t k) {
              uint32_t length = 256;
              const std::string& input = c.encodedLabels[k];
              benchmark::DoNotOptimize(qnunicode::punycode_decode(
                  static_cast<uint32_t>(input.size()), input.data(), &length, output, nullptr));
            },
            c.encodedLabels.size());
      },
      [](benchmark::State& s) {
        const Corpus& c = corpus();
        uint32_t output[256];
        overDomains(
            s,
            [&](size_t k) {
              size_t length = 256;
              const std::string& input = c.encodedLabels[k];
              benchmark::DoNotOptimize(
                  ::punycode_decode(input.size(), input.data(), &length, output, nullptr));
            },
            c.encodedLabels.size());
      },
      benchmark::kMicrosecond);
}

}  // namespace qnunicode::bench

int main(int argc, char** argv) {
  qnunicode::bench::registerIDNABenchmarks();
  return qnunicode::bench::runBenchmarks(argc, argv);
}
