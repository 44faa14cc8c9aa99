#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <chrono>
#include <random>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using Codepoints = std::vector<uint32_t>;
using qnunicode::testing::realDatabase;
using qnunicode::testing::ScratchDirectory;

constexpr uint32_t kNoCount = 0xFFFFFFFF;

UnicodeString text(const Codepoints& codepoints) {
  UnicodeString result;
  for (uint32_t codepoint : codepoints) result += QNUnicode::stringWithCodepoint(codepoint);
  return result;
}

std::string hex(std::u16string_view s) {
  std::string result;
  for (char16_t unit : s) result += QNFormat("%04X ", static_cast<unsigned>(unit));
  return result;
}

struct Form {
  const char* name;
  bool K, C;
};
constexpr Form kForms[] = {
    {"NFD", false, false}, {"NFC", false, true}, {"NFKD", true, false}, {"NFKC", true, true}};

UnicodeString icuForm(const Form& form, const UnicodeString& s) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = form.K ? (form.C ? icu::Normalizer2::getNFKCInstance(status)
                                                        : icu::Normalizer2::getNFKDInstance(status))
                                              : (form.C ? icu::Normalizer2::getNFCInstance(status)
                                                        : icu::Normalizer2::getNFDInstance(status));
  const icu::UnicodeString normalized =
      normalizer->normalize(icu::UnicodeString(s.data(), static_cast<int32_t>(s.size())), status);
  EXPECT_TRUE(U_SUCCESS(status));
  return UnicodeString(normalized.getBuffer(), normalized.length());
}

struct Result {
  UnicodeString text;
  uint32_t decompositions = kNoCount, reorderings = kNoCount, compositions = kNoCount;
  bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& r) {
  return out << "[" << hex(r.text) << "] R " << r.decompositions << " O " << r.reorderings << " X "
             << r.compositions;
}

Result normalized(QNUnicodeDatabase& database, const Form& form, const UnicodeString& s) {
  Result r;
  r.text = database.normalizationFormK(form.K, form.C, s, &r.decompositions, &r.reorderings,
                                       &r.compositions);
  return r;
}

// ---- The described counts on the real data ------------------------------------------------

struct CountCase {
  Codepoints input;
  Form form;
  Codepoints output;
  uint32_t decompositions, reorderings, compositions;
};

TEST(NormalizationCounts, DescribedExamples) {
  auto database = realDatabase();
  const Form D = kForms[0], C = kForms[1], KD = kForms[2];
  const CountCase cases[] = {
      {{0xC5}, D, {0x41, 0x30A}, 1, 0, 0},
      {{0xC5}, C, {0xC5}, 1, 0, 1},
      // Two levels of mapping count twice; the marks come out ordered without a swap.
      {{0x1E69}, D, {0x73, 0x323, 0x307}, 2, 0, 0},
      {{0x73, 0x307, 0x323}, D, {0x73, 0x323, 0x307}, 0, 1, 0},
      {{0x1E69}, C, {0x1E69}, 2, 0, 2},
      // The overline (230) neither composes with A nor lets the acute (230) through; the grave
      // below (220) does.
      {{0x41, 0x305, 0x301}, C, {0x41, 0x305, 0x301}, 0, 0, 0},
      {{0x41, 0x316, 0x301}, C, {0xC1, 0x316}, 0, 0, 1},
      {{0x41, 0x301, 0x316}, C, {0xC1, 0x316}, 0, 1, 1},
      {{0xFB01}, KD, {0x66, 0x69}, 1, 0, 0},
      {{0xFB01}, D, {0xFB01}, 0, 0, 0},
      // Hangul syllables are made in a pass of their own after every other composition.
      {{0x1100, 0x1161, 0x11A8}, C, {0xAC01}, 0, 0, 2},
      {{0xAC01}, D, {0x1100, 0x1161, 0x11A8}, 1, 0, 0},
      {{0xAC01}, C, {0xAC01}, 1, 0, 2},
      // An excluded composite is decomposed and stays so.
      {{0x958}, C, {0x915, 0x93C}, 1, 0, 0},
      // Singletons decompose and never come back.
      {{0x212B}, C, {0xC5}, 2, 0, 1},
      // Classes 230, 230, 220 take two swaps; equal classes keep their order.
      {{0x61, 0x301, 0x300, 0x316}, D, {0x61, 0x316, 0x301, 0x300}, 0, 2, 0},
  };
  for (const CountCase& c : cases) {
    const Result expected{text(c.output), c.decompositions, c.reorderings, c.compositions};
    EXPECT_EQ(normalized(*database, c.form, text(c.input)), expected)
        << c.form.name << " of " << hex(text(c.input));
  }
}

TEST(NormalizationCounts, EmptyStringAndAbsentCountPlaces) {
  auto database = realDatabase();
  for (const Form& form : kForms) {
    EXPECT_EQ(normalized(*database, form, u""), (Result{u"", 0, 0, 0})) << form.name;
  }
  // Every shorter operation is the same form without its counts.
  const UnicodeString s = text({0x1E69, 0x41, 0x301, 0x316, 0xFB01, 0xAC01});
  EXPECT_EQ(database->normalizationFormDForString(s), normalized(*database, kForms[0], s).text);
  EXPECT_EQ(database->normalizationFormCForString(s), normalized(*database, kForms[1], s).text);
  EXPECT_EQ(database->normalizationFormKDForString(s), normalized(*database, kForms[2], s).text);
  EXPECT_EQ(database->normalizationFormKCForString(s), normalized(*database, kForms[3], s).text);
  uint32_t r = 7, o = 7, x = 7;
  database->normalizationFormDForString(s, &r, &o);
  EXPECT_EQ(r, 3u);
  EXPECT_EQ(o, 1u);
  database->normalizationFormKCForString(s, &r, &o, &x);
  EXPECT_EQ(r, 4u);
  EXPECT_EQ(x, 5u);
  database->normalizationFormKCForString(s, nullptr, &o, nullptr);
  EXPECT_EQ(o, 1u);
  // The decomposition alone, as codepoints, in either mode.
  EXPECT_EQ(
      database->decomposeString(s, true, &r, &o),
      (Codepoints{0x73, 0x323, 0x307, 0x41, 0x316, 0x301, 0x66, 0x69, 0x1100, 0x1161, 0x11A8}));
  EXPECT_EQ(r, 4u);
  EXPECT_EQ(o, 1u);
  EXPECT_EQ(database->decomposeString(u"\xFB01", false), Codepoints{0xFB01});
  EXPECT_EQ(database->decomposeString(u"", true, &r, &o), Codepoints{});
  EXPECT_EQ(r + o, 0u);
  // The non-composing forms report a composition count of 0.
  x = 7;
  database->normalizationFormK(true, false, s, nullptr, nullptr, &x);
  EXPECT_EQ(x, 0u);
}

TEST(NormalizationCounts, PlatformPathTakesNoCounts) {
  auto database = realDatabase();
  const UnicodeString s = text({0x1E69, 0x41, 0x316, 0x301, 0xFB01, 0xAC01, 0x958});
  for (const Form& form : kForms) {
    Result r;
    r.text = database->normalizationFormK(form.K, form.C, s, &r.decompositions, &r.reorderings,
                                          &r.compositions, true);
    EXPECT_EQ(r, (Result{icuForm(form, s), kNoCount, kNoCount, kNoCount})) << form.name;
    EXPECT_EQ(QNUnicodeDatabase::CFnormalizationFormK(form.K, form.C, s), icuForm(form, s));
  }
}

TEST(PrimaryComposite, PairsWithoutExclusionsOrSingletons) {
  auto database = realDatabase();
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x41, 0x300), 0xC0u);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x1100, 0x1161), std::nullopt);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x915, 0x93C), std::nullopt);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x300, 0x41), std::nullopt);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x110000, 0x300), std::nullopt);
  // A pair whose first codepoint is a non-starter has its composite (composition never offers
  // it, since only a starter comes first); a composite listed as an exclusion has none.
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0xF71, 0xF72), 0xF73u);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x1D157, 0x1D165), std::nullopt);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x3B1, 0x301), 0x3ACu);
}

// ---- Against ICU --------------------------------------------------------------------------

TEST(NormalizationAgainstICU, EveryCodepointAloneInAllFourForms) {
  // Surrogate code points are included: alone, each is a codepoint of its own that every form
  // leaves as it is, as ICU does.
  auto database = realDatabase();
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    const UnicodeString s = QNUnicode::stringWithCodepoint(codepoint);
    for (const Form& form : kForms) {
      const UnicodeString ours = database->normalizationFormK(form.K, form.C, s);
      const UnicodeString peer = icuForm(form, s);
      if (ours != peer) {
        FAIL() << form.name << " of U+" << std::hex << codepoint << ": " << hex(ours)
               << "instead of " << hex(peer);
      }
    }
  }
}

std::vector<UnicodeString> normalizationTestFields() {
  const std::optional<UnicodeString> file =
      QNUnicode::stringWithContentsOfUTF8File(qnunicode::testing::ucdFile("NormalizationTest.txt"));
  EXPECT_TRUE(file.has_value());
  std::vector<UnicodeString> fields;
  if (!file) return fields;
  for (std::u16string_view line : qnunicode::splitAt(*file, u'\n')) {
    if (line.empty() || line[0] == u'#' || line[0] == u'@') continue;
    const auto pieces = qnunicode::splitAt(line, u';');
    for (size_t f = 0; f < 5 && f < pieces.size(); ++f) {
      qnunicode::QNScanner scanner(pieces[f]);
      UnicodeString field;
      uint32_t codepoint;
      while (scanner.scanHexInt(&codepoint)) field += QNUnicode::stringWithCodepoint(codepoint);
      fields.push_back(field);
    }
  }
  return fields;
}

TEST(NormalizationAgainstICU, EveryFieldOfTheConformanceFile) {
  auto database = realDatabase();
  const std::vector<UnicodeString> fields = normalizationTestFields();
  ASSERT_EQ(fields.size(), 5u * 19074);
  for (const UnicodeString& field : fields) {
    for (const Form& form : kForms) {
      const UnicodeString ours = database->normalizationFormK(form.K, form.C, field);
      const UnicodeString peer = icuForm(form, field);
      if (ours != peer) {
        FAIL() << form.name << " of " << hex(field) << ": " << hex(ours) << "instead of "
               << hex(peer);
      }
    }
  }
  // All fields as one text: the pieces of a long text are cut where the forms allow it.
  UnicodeString all;
  for (const UnicodeString& field : fields) all += field + u" ";
  for (const Form& form : kForms) {
    EXPECT_TRUE(database->normalizationFormK(form.K, form.C, all) == icuForm(form, all))
        << form.name;
  }
}

// ---- Against the forms computed step by step ------------------------------------------------

// The forms worked out literally on a list of codepoints, from the records: full decomposition
// one mapping at a time, an exchange sort of the non-starters, composition with the last starter
// and the Hangul pass.
struct StepByStep {
  QNUnicodeDatabase& database;

  int32_t combiningClass(uint32_t codepoint) {
    const auto data = database.unicodeDataForCodepoint(codepoint);
    return data ? static_cast<int32_t>(data->canonicalCombiningClass()) : 0;
  }

  Codepoints decompose(Codepoints list, bool K, uint32_t* replacements) {
    *replacements = 0;
    size_t i = 0;
    while (i < list.size()) {
      const auto data = database.unicodeDataForCodepoint(list[i]);
      const auto mapping = data ? data->characterDecompositionMappingArray() : std::nullopt;
      Codepoints replacement;
      if (mapping && (K || !data->compatibilityMapping())) {
        replacement.assign(mapping->begin(), mapping->end());
      } else {
        replacement = QNUnicodeDatabase::decomposeHangul(list[i]);
        if (replacement == Codepoints{list[i]}) {
          ++i;
          continue;
        }
      }
      list.erase(list.begin() + static_cast<ptrdiff_t>(i));
      list.insert(list.begin() + static_cast<ptrdiff_t>(i), replacement.begin(), replacement.end());
      ++*replacements;
    }
    return list;
  }

  uint32_t exchangeSort(Codepoints& list) {
    uint32_t swaps = 0;
    size_t i = 1;
    while (i < list.size()) {
      const int32_t c = combiningClass(list[i]);
      if (c != 0 && combiningClass(list[i - 1]) > c) {
        std::swap(list[i - 1], list[i]);
        ++swaps;
        if (i >= 2) --i;
      } else {
        ++i;
      }
    }
    return swaps;
  }

  Codepoints compose(Codepoints list, uint32_t* compositions) {
    *compositions = 0;
    size_t i = 0;
    std::optional<size_t> starter;
    while (i < list.size()) {
      const uint32_t ch = list[i];
      if (starter && (i == *starter + 1 || combiningClass(list[i - 1]) < combiningClass(ch))) {
        if (const auto composite =
                database.primaryCompositeForCodepointNumber(list[*starter], ch)) {
          list[*starter] = *composite;
          list.erase(list.begin() + static_cast<ptrdiff_t>(i));
          ++*compositions;
          i = *starter + 1;
          continue;
        }
      }
      if (combiningClass(ch) == 0) starter = i;
      ++i;
    }
    uint32_t hangul = 0;
    list = QNUnicodeDatabase::composeHangul(list, &hangul);
    *compositions += hangul;
    return list;
  }
};

// Codepoints with something to do: a decomposition, a class, a part in a composable pair, the
// jamo; and some plain letters.
Codepoints interestingCodepoints(QNUnicodeDatabase& database) {
  Codepoints pool;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    const auto data = database.unicodeDataForCodepoint(codepoint);
    if (data->canonicalCombiningClass() != 0 || data->characterDecompositionMappingArray() ||
        (codepoint >= 0x1100 && codepoint <= 0x11FF) || (codepoint >= 0x41 && codepoint <= 0x7A)) {
      pool.push_back(codepoint);
    }
  }
  for (const auto& [first, seconds] : database.mappingDictionary()) {
    pool.push_back(first);
    for (const auto& entry : seconds) pool.push_back(entry.first);
  }
  return pool;
}

TEST(NormalizationStepByStep, RandomStringsGiveTheSameFormsAndCounts) {
  auto database = realDatabase();
  StepByStep steps{*database};
  const Codepoints pool = interestingCodepoints(*database);
  ASSERT_GT(pool.size(), 5000u);
  std::mt19937 random(2024);
  for (int round = 0; round < 4000; ++round) {
    Codepoints input;
    for (int n = static_cast<int>(random() % 10); n > 0; --n) {
      input.push_back(pool[random() % pool.size()]);
    }
    for (const Form& form : kForms) {
      Result expected;
      Codepoints list = steps.decompose(input, form.K, &expected.decompositions);
      expected.reorderings = steps.exchangeSort(list);
      expected.compositions = 0;
      if (form.C) list = steps.compose(list, &expected.compositions);
      expected.text = text(list);
      ASSERT_EQ(normalized(*database, form, text(input)), expected)
          << form.name << " of " << hex(text(input));
    }
  }
}

TEST(NormalizationStepByStep, EveryShortSequenceOfAwkwardCodepoints) {
  // Jamo (the trailing values TBase and TBase + 28 among them), syllables, letters with marks
  // of several classes, excluded and singleton composites, a lone low surrogate, a supplementary
  // composite and marks that decompose: every sequence of up to three of them, at the start,
  // the end and the middle of a text.
  auto database = realDatabase();
  StepByStep steps{*database};
  const Codepoints alphabet = {0x1100, 0x1161, 0x11A7,  0x11A8,  0x11C3, 0xAC00, 0xAC01, 0x41,
                               0x300,  0x301,  0x316,   0x345,   0xC0,   0x958,  0x93C,  0x915,
                               0x212B, 0xDC00, 0x1D15E, 0x1D165, 0x344,  0xF73,  0xFB01, 0x20};
  const size_t n = alphabet.size();
  for (size_t count = 1; count <= n * n * n + n * n + n; ++count) {
    Codepoints input;
    for (size_t rest = count; rest > 0; rest = (rest - 1) / n)
      input.push_back(alphabet[(rest - 1) % n]);
    for (const Codepoints& prefix : {Codepoints{}, Codepoints{0x62}, Codepoints{0x300}}) {
      Codepoints text_ = prefix;
      text_.insert(text_.end(), input.begin(), input.end());
      for (const Form& form : kForms) {
        Result expected;
        Codepoints list = steps.decompose(text_, form.K, &expected.decompositions);
        expected.reorderings = steps.exchangeSort(list);
        expected.compositions = 0;
        if (form.C) list = steps.compose(list, &expected.compositions);
        expected.text = text(list);
        ASSERT_EQ(normalized(*database, form, text(text_)), expected)
            << form.name << " of " << hex(text(text_));
      }
    }
  }
}

TEST(NormalizationStepByStep, SwapsAreTheExchangeSortsAndCompositionsTheRemovedCodepoints) {
  // Starters and marks of many classes in random order, so that long runs get sorted: the
  // reordering count is the number of swaps a plain exchange sort makes, and NFC's composition
  // count is the number of codepoints composition took out of the NFD list.
  auto database = realDatabase();
  StepByStep steps{*database};
  const Codepoints marks = {0x300, 0x301, 0x302, 0x303,  0x308,   0x30A,   0x316,  0x323,
                            0x327, 0x328, 0x31B, 0x334,  0x338,   0x345,   0x35C,  0x360,
                            0x5B0, 0x651, 0x93C, 0x3099, 0x1D165, 0x1D16E, 0x302A, 0x20D2};
  const Codepoints starters = {0x41, 0x61, 0x45, 0x3B1, 0x3C9, 0x915, 0x1100, 0x1161, 0x11A8};
  std::mt19937 random(99);
  for (int round = 0; round < 1500; ++round) {
    Codepoints input;
    for (int n = static_cast<int>(random() % 60); n > 0; --n) {
      input.push_back(random() % 5 == 0 ? starters[random() % starters.size()]
                                        : marks[random() % marks.size()]);
    }
    uint32_t r = 0, o = 0;
    const Codepoints decomposed = database->decomposeString(text(input), false, &r, &o);
    Codepoints sorted = input;
    ASSERT_EQ(o, steps.exchangeSort(sorted));
    ASSERT_EQ(decomposed, sorted);
    ASSERT_EQ(r, 0u);

    Result nfc = normalized(*database, kForms[1], text(input));
    ASSERT_EQ(nfc.reorderings, o);
    ASSERT_EQ(nfc.compositions,
              decomposed.size() - static_cast<size_t>(QNUnicode::UTF32Length(nfc.text)));
    ASSERT_EQ(nfc.text, icuForm(kForms[1], text(input))) << hex(text(input));
  }
}

// ---- Bad and large input --------------------------------------------------------------------

TEST(NormalizationInput, SurrogatesAndUnassignedCodepointsPassThrough) {
  auto database = realDatabase();
  struct Case {
    UnicodeString input, nfd, nfc;
  };
  const Case cases[] = {
      // A lone low surrogate is a starter of its own that composes with nothing.
      {u"a\xDC00\x0301", u"a\xDC00\x0301", u"a\xDC00\x0301"},
      {u"\x00E9\xD800", u"e\x0301\xD800", u"\x00E9\xD800"},
      {u"\xD83D\xDE00\x0301", u"\xD83D\xDE00\x0301", u"\xD83D\xDE00\x0301"},
      {u"\x0378\x0301\xE000\U0010FFFF", u"\x0378\x0301\xE000\U0010FFFF",
       u"\x0378\x0301\xE000\U0010FFFF"},
      // The walk passes over the unit after an unpaired high surrogate, a second high
      // surrogate included.
      {u"x\xD800y\x00C0",
       u"x\xD800"
       u"A\x0300",
       u"x\xD800\x00C0"},
      {u"\xD800\xD800\xDC00", u"\xD800\xDC00", u"\xD800\xDC00"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(hex(database->normalizationFormDForString(c.input)), hex(c.nfd)) << hex(c.input);
    EXPECT_EQ(hex(database->normalizationFormCForString(c.input)), hex(c.nfc)) << hex(c.input);
  }
  uint32_t x = 0;
  EXPECT_EQ(database->normalizationFormCForString(u"a\xDC00\x0301", nullptr, nullptr, &x),
            u"a\xDC00\x0301");
  EXPECT_EQ(x, 0u);
}

TEST(NormalizationInput, HundredThousandMarksAfterOneStarter) {
  // (No peer here: ICU takes quadratic time on such runs.)
  auto database = realDatabase();
  const auto started = std::chrono::steady_clock::now();

  UnicodeString alternating = u"a";
  for (int i = 0; i < 50000; ++i) alternating += u"\x0301\x0316";
  Result nfc = normalized(*database, kForms[1], alternating);
  // Each grave below moves past every acute before it: 1 + 2 + ... + 50000 swaps; the first
  // acute then composes with the a, past the graves below.
  EXPECT_EQ(nfc.reorderings, 50000u * 50001u / 2);
  EXPECT_EQ(nfc.compositions, 1u);
  EXPECT_EQ(nfc.decompositions, 0u);
  EXPECT_EQ(nfc.text,
            u"\x00E1" + UnicodeString(50000, u'\x0316') + UnicodeString(49999, u'\x0301'));

  // Ten classes in descending order, 10000 marks each: every pair from different groups is
  // swapped once, 45 * 10^8 times, which a 32-bit counter reports modulo 2^32.
  const char16_t descending[] = {0x0345, 0x035D, 0x035C, 0x0315, 0x0301,
                                 0x302B, 0x302D, 0x0316, 0x302A, 0x031B};
  UnicodeString marks = u"a";
  UnicodeString sorted = u"a";
  for (size_t group = 0; group < 10; ++group) {
    if (group > 0) {
      ASSERT_GT(u_getCombiningClass(descending[group - 1]), u_getCombiningClass(descending[group]));
    }
    marks += UnicodeString(10000, descending[group]);
    sorted += UnicodeString(10000, descending[9 - group]);
  }
  const Result nfd = normalized(*database, kForms[0], marks);
  EXPECT_EQ(nfd.reorderings, static_cast<uint32_t>(45ull * 10000 * 10000));
  EXPECT_EQ(nfd.text, sorted);

  UnicodeString same = u"a" + UnicodeString(100000, u'\x0301');
  nfc = normalized(*database, kForms[1], same);
  EXPECT_EQ(nfc.compositions, 1u);
  EXPECT_EQ(nfc.reorderings, 0u);
  EXPECT_EQ(nfc.text, u"\x00E1" + UnicodeString(99999, u'\x0301'));

  const auto elapsed = std::chrono::steady_clock::now() - started;
  EXPECT_LT(elapsed, std::chrono::seconds(5)) << "long runs of marks must not be quadratic";
}

TEST(NormalizationInput, LongTextsEqualTheirPiecesJoined) {
  // A long text normalizes to the concatenation of its lines' forms when every line starts with
  // a plain letter, and its counts are the sums of theirs.
  auto database = realDatabase();
  const std::vector<UnicodeString> fields = normalizationTestFields();
  for (const Form& form : kForms) {
    UnicodeString whole, joined;
    uint64_t sums[3] = {0, 0, 0};
    for (size_t i = 0; i < fields.size(); i += 7) {
      const UnicodeString line = u"x" + fields[i];
      whole += line;
      const Result r = normalized(*database, form, line);
      joined += r.text;
      sums[0] += r.decompositions;
      sums[1] += r.reorderings;
      sums[2] += r.compositions;
    }
    const Result r = normalized(*database, form, whole);
    EXPECT_TRUE(r.text == joined) << form.name;
    EXPECT_EQ(r.decompositions, sums[0]);
    EXPECT_EQ(r.reorderings, sums[1]);
    EXPECT_EQ(r.compositions, sums[2]);
  }
}

// ---- Small and malformed data files -------------------------------------------------------

constexpr const char* kSmallUnicodeData =
    "0041;LATIN CAPITAL LETTER A;Lu;0;L;;;;;N;;;;0061;\n"
    "00C0;LATIN CAPITAL LETTER A WITH GRAVE;Lu;0;L;0041 0300;;;;N;;;;00E0;\n"
    "0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;;;;;\n"
    "0915;DEVANAGARI LETTER KA;Lo;0;L;;;;;N;;;;;\n"
    "093C;DEVANAGARI SIGN NUKTA;Mn;7;NSM;;;;;N;;;;;\n"
    "0958;DEVANAGARI LETTER QA;Lo;0;L;0915 093C;;;;N;;;;;\n";

struct ScratchDatabase {
  ScratchDirectory directory;
  std::shared_ptr<qnunicode::testing::RecordingDelegate> delegate =
      std::make_shared<qnunicode::testing::RecordingDelegate>();
  std::shared_ptr<QNUnicodeDatabase> database;

  QNUnicodeDatabase& open() {
    database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{directory.path()},
                                                   std::vector<std::string>{});
    database->setDelegate(delegate);
    return *database;
  }
};

TEST(NormalizationData, WithoutExclusionsEveryPairComposes) {
  ScratchDatabase without;
  without.directory.write("UnicodeData.txt", kSmallUnicodeData);
  EXPECT_EQ(normalized(without.open(), kForms[1], u"\x0958"), (Result{u"\x0958", 1, 0, 1}));
  EXPECT_EQ(without.database->primaryCompositeForCodepointNumber(0x915, 0x93C), 0x958u);
  EXPECT_EQ(without.delegate->prefixes,
            std::vector<UnicodeString>{UnicodeString(QNUnicodeFilePrefixCompositionExclusions)});

  ScratchDatabase with;
  with.directory.write("UnicodeData.txt", kSmallUnicodeData);
  with.directory.write("CompositionExclusions.txt", "0958 # DEVANAGARI LETTER QA\n");
  EXPECT_EQ(normalized(with.open(), kForms[1], u"\x0958"), (Result{u"\x0915\x093C", 1, 0, 0}));
  EXPECT_EQ(normalized(with.open(), kForms[1], u"A\x0300"), (Result{u"\x00C0", 0, 0, 1}));
}

TEST(NormalizationData, WithoutUnicodeDataOnlyHangulChanges) {
  ScratchDatabase scratch;
  QNUnicodeDatabase& database = scratch.open();
  EXPECT_EQ(normalized(database, kForms[0], u"\xAC01\x00C0"),
            (Result{u"\x1100\x1161\x11A8\x00C0", 1, 0, 0}));
  EXPECT_EQ(normalized(database, kForms[1], u"\x1100\x1161\x11A8\x0041\x0300"),
            (Result{u"\xAC01\x0041\x0300", 0, 0, 2}));
  EXPECT_EQ(normalized(database, kForms[3], u"\xFB01"), (Result{u"\xFB01", 0, 0, 0}));
  // The file is looked for on every call, since it may appear later.
  EXPECT_EQ(scratch.delegate->prefixes.size(), 3u);
  EXPECT_EQ(normalized(database, kForms[0], u""), (Result{u"", 0, 0, 0}));
  EXPECT_EQ(scratch.delegate->prefixes.size(), 3u);
}

TEST(NormalizationData, MalformedMappingsEndInsteadOfLooping) {
  ScratchDatabase scratch;
  scratch.directory.write(
      "UnicodeData.txt",
      // 0061 and 0062 map to each other, 0063 to itself, 0064 to nothing at all, 0065 to a value
      // beyond the codepoint space, and 0066 has a class that reads as negative.
      "0061;A;Ll;0;L;0062;;;;N;;;;;\n"
      "0062;B;Ll;0;L;0061;;;;N;;;;;\n"
      "0063;C;Ll;0;L;0063;;;;N;;;;;\n"
      "0064;D;Ll;0;L;<compat>;;;;N;;;;;\n"
      "0065;E;Ll;0;L;110000 0300;;;;N;;;;;\n"
      "0066;F;Mn;-5;NSM;;;;;N;;;;;\n"
      "0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;;;;;\n");
  QNUnicodeDatabase& database = scratch.open();
  // A cycle is cut where it closes: the codepoint met again stays itself.
  EXPECT_EQ(normalized(database, kForms[0], u"c"), (Result{u"c", 1, 0, 0}));
  EXPECT_EQ(normalized(database, kForms[0], u"a"), (Result{u"a", 2, 0, 0}));
  EXPECT_EQ(normalized(database, kForms[3], u"ab"), (Result{u"aa", 3, 0, 0}));
  EXPECT_EQ(normalized(database, kForms[2], u"xdy"), (Result{u"xy", 1, 0, 0}));
  EXPECT_EQ(normalized(database, kForms[0], u"e").text, u"\xD800\xDC00\x0300");
  // The canonical pair (0x110000, 0x0300) composes back.
  EXPECT_EQ(normalized(database, kForms[1], u"e"), (Result{u"e", 1, 0, 1}));
  // A class below 0 moves a mark in front of starters: the exchange sort as written.
  EXPECT_EQ(normalized(database, kForms[0], u"x\x0300yf"), (Result{u"fx\x0300y", 0, 3, 0}));

  // Random texts without the cycles, step by step.
  StepByStep steps{database};
  const Codepoints alphabet = {0x64, 0x65, 0x66, 0x300, 0x78, 0x79};
  std::mt19937 random(5);
  for (int round = 0; round < 3004; ++round) {
    // Mostly short texts; the last ones long enough to fill several blocks of the ordering.
    Codepoints input;
    for (int n = static_cast<int>(round < 3000 ? random() % 12 : 600 + random() % 200); n > 0;
         --n) {
      input.push_back(alphabet[random() % alphabet.size()]);
    }
    for (const Form& form : kForms) {
      Result expected;
      Codepoints list = steps.decompose(input, form.K, &expected.decompositions);
      expected.reorderings = steps.exchangeSort(list);
      expected.compositions = 0;
      if (form.C) list = steps.compose(list, &expected.compositions);
      expected.text = text(list);
      ASSERT_EQ(normalized(database, form, text(input)), expected)
          << form.name << " of " << hex(text(input));
    }
  }

  // Each of 50000 marks of the negative class passes every starter before it and stops at the
  // previous mark: 1 + 2 + ... + 50000 swaps, without an exchange sort's quadratic time.
  UnicodeString alternating;
  for (int i = 0; i < 50000; ++i) alternating += u"xf";
  const auto started = std::chrono::steady_clock::now();
  const Result r = normalized(database, kForms[0], alternating);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
  EXPECT_EQ(r.reorderings, 50000u * 50001u / 2);
  EXPECT_EQ(r.text, UnicodeString(50000, u'f') + UnicodeString(50000, u'x'));
}

TEST(NormalizationTablesOfTheRealData, ClassesMatchTheRecordsAndICU) {
  auto database = realDatabase();
  const auto tables = qnunicode::detail::NormalizationTables::tablesForDatabase(*database);
  tables->prepareComposition(*database);
  EXPECT_FALSE(tables->hasNegativeClasses());
  size_t boundaries = 0;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    const int32_t combiningClass = tables->combiningClass(codepoint);
    ASSERT_EQ(combiningClass,
              static_cast<int32_t>(
                  database->unicodeDataForCodepoint(codepoint)->canonicalCombiningClass()));
    ASSERT_EQ(combiningClass, u_getCombiningClass(static_cast<UChar32>(codepoint)));
    // A boundary of a composing form is one of the decomposing form too.
    using Tables = qnunicode::detail::NormalizationTables;
    if (tables->isBoundary(codepoint, Tables::FormC)) {
      ASSERT_TRUE(tables->isBoundary(codepoint, Tables::FormD));
      ++boundaries;
    }
  }
  // Nearly every codepoint is a cut; the marks and the second halves of pairs are not.
  EXPECT_GT(boundaries, 0x110000u - 5000);
  EXPECT_LT(tables->memorySize(), 4u << 20);
}

}  // namespace
