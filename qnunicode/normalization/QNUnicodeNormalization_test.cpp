#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using Codepoints = std::vector<uint32_t>;
using QN = QNUnicodeDatabase;
using qnunicode::testing::realDatabase;
using std::chrono::steady_clock;
using ::testing::PrintToString;
constexpr uint32_t kNoCount = 0xFFFFFFFF;
enum Form { kD, kKD, kC, kKC };  // bit 0: compatibility mappings, bit 1: composition
const char* const kNames[] = {"NFD", "NFKD", "NFC", "NFKC"};

UnicodeString text(const Codepoints& codepoints) {
  UnicodeString result;
  for (uint32_t codepoint : codepoints) result += QNUnicode::stringWithCodepoint(codepoint);
  return result;
}

UnicodeString icuForm(int form, const UnicodeString& s) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString normalized =
      icu::Normalizer2::getInstance(nullptr, form & 1 ? "nfkc" : "nfc",
                                    form & 2 ? UNORM2_COMPOSE : UNORM2_DECOMPOSE, status)
          ->normalize(icu::UnicodeString(s.data(), static_cast<int32_t>(s.size())), status);
  EXPECT_TRUE(U_SUCCESS(status));
  return UnicodeString(normalized.getBuffer(), normalized.length());
}

using Result = std::tuple<UnicodeString, uint32_t, uint32_t, uint32_t>;  // text, R, O, X

Result normalized(QNUnicodeDatabase& database, int form, const UnicodeString& s, bool cf = false) {
  uint32_t r = kNoCount, o = kNoCount, x = kNoCount;
  const UnicodeString result = database.normalizationFormK(form & 1, form & 2, s, &r, &o, &x, cf);
  return {result, r, o, x};
}

Codepoints randomText(std::mt19937& random, const Codepoints& from, size_t length) {
  Codepoints text(length);
  for (uint32_t& codepoint : text) codepoint = from[random() % from.size()];
  return text;
}

// The form worked out literally from the records: full decomposition one mapping at a time, an
// exchange sort of the non-starters, composition with the last starter and the Hangul pass.
Result literalForm(QNUnicodeDatabase& database, Codepoints list, int form) {
  const auto combiningClass = [&database](uint32_t codepoint) {
    const auto data = database.unicodeDataForCodepoint(codepoint);
    return data ? static_cast<int32_t>(data->canonicalCombiningClass()) : 0;
  };
  uint32_t decompositions = 0, reorderings = 0, compositions = 0;
  for (size_t i = 0; i < list.size();) {
    const auto data = database.unicodeDataForCodepoint(list[i]);
    const auto mapping = data ? data->characterDecompositionMappingArray() : std::nullopt;
    Codepoints replacement = QN::decomposeHangul(list[i]);
    if (mapping && ((form & 1) || !data->compatibilityMapping())) {
      replacement.assign(mapping->begin(), mapping->end());
    } else if (replacement.size() == 1) {
      ++i;
      continue;
    }
    list.insert(list.erase(list.begin() + i), replacement.begin(), replacement.end());
    ++decompositions;
  }
  for (size_t i = 1; i < list.size(); ++i) {
    const int32_t c = combiningClass(list[i]);
    if (c == 0 || combiningClass(list[i - 1]) <= c) continue;
    std::swap(list[i - 1], list[i]);
    ++reorderings;
    i = std::max<size_t>(i, 2) - 2;  // back to the swapped pair's first position, or 1
  }
  std::optional<size_t> starter;
  for (size_t i = 0; (form & 2) && i < list.size(); ++i) {
    if (starter && (i == *starter + 1 || combiningClass(list[i - 1]) < combiningClass(list[i]))) {
      if (const auto made = database.primaryCompositeForCodepointNumber(list[*starter], list[i])) {
        list[*starter] = *made;
        list.erase(list.begin() + i);
        ++compositions;
        i = *starter;
        continue;
      }
    }
    if (combiningClass(list[i]) == 0) starter = i;
  }
  uint32_t hangul = 0;
  if (form & 2) list = QN::composeHangul(list, &hangul);
  return {text(list), decompositions, reorderings, compositions + hangul};
}

// Each form and its counts equal the literal ones (and ICU's form, if asked), and so do the
// decomposition alone and the number of codepoints composition removed. False at a difference.
bool formsHold(QNUnicodeDatabase& database, const Codepoints& input, bool withICU) {
  const UnicodeString s = text(input);
  for (int form : {kD, kKD, kC, kKC}) {
    const Result ours = normalized(database, form, s), literal = literalForm(database, input, form);
    const UnicodeString& t = std::get<0>(ours);
    uint32_t r = 0, o = 0;
    const Codepoints list = database.decomposeString(s, form & 1, &r, &o);
    const auto removed = static_cast<uint32_t>(list.size() - QNUnicode::UTF32Length(t));
    const Result alone = form & 2 ? Result{t, r, o, removed} : Result{text(list), r, o, 0};
    if (ours == literal && alone == literal && (!withICU || t == icuForm(form, s))) continue;
    ADD_FAILURE() << kNames[form] << " of " << PrintToString(s) << " gives " << PrintToString(ours)
                  << ", alone " << PrintToString(alone) << ", literally " << PrintToString(literal)
                  << ", ICU " << PrintToString(icuForm(form, s));
    return false;
  }
  return true;
}

TEST(NormalizationCounts, KnownExamplesThePlatformPathAndPrimaryComposites) {
  auto database = realDatabase();
  const std::tuple<Codepoints, Form, Result> cases[] = {
      {{0xC5}, kD, {u"A\u030A", 1, 0, 0}},
      {{0xC5}, kC, {u"\u00C5", 1, 0, 1}},
      // Two levels of mapping count twice; the marks come out ordered without a swap.
      {{0x1E69}, kD, {u"s\u0323\u0307", 2, 0, 0}},
      {{0x73, 0x307, 0x323}, kD, {u"s\u0323\u0307", 0, 1, 0}},
      {{0x1E69}, kC, {u"\u1E69", 2, 0, 2}},
      // The overline (230) blocks the acute (230); the grave below (220) does not.
      {{0x41, 0x305, 0x301}, kC, {u"A\u0305\u0301", 0, 0, 0}},
      {{0x41, 0x316, 0x301}, kC, {u"\u00C1\u0316", 0, 0, 1}},
      {{0x1100, 0x1161, 0x11A8}, kC, {u"\uAC01", 0, 0, 2}},
      {{0x958}, kC, {u"\u0915\u093C", 1, 0, 0}},  // excluded: decomposed for good
      {{}, kKC, {u"", 0, 0, 0}},
  };
  for (const auto& [input, form, expected] : cases) {
    EXPECT_EQ(normalized(*database, form, text(input)), expected) << kNames[form];
    // The platform path gives ICU's form and no counts.
    EXPECT_EQ(normalized(*database, form, text(input), true),
              (Result{icuForm(form, text(input)), kNoCount, kNoCount, kNoCount}));
  }
  // A pair led by a non-starter has its composite, though composition never offers it.
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0xF71, 0xF72), 0xF73u);
  EXPECT_EQ(database->primaryCompositeForCodepointNumber(0x110000, 0x300), std::nullopt);
}

TEST(HangulSyllables, NamesMatchICUAndCompositionCombinesNeighboursWith29TrailingValues) {
  for (int32_t syllable = 0xAC00; syllable <= 0xD7A3; ++syllable) {
    char name[128];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_charName(syllable, U_UNICODE_CHAR_NAME, name, sizeof name, &status);
    ASSERT_EQ(QN::getHangulName(syllable), qnunicode::fromUTF8(std::string_view(name, length)));
    ASSERT_TRUE(QN::codepointIsHangul(syllable));
  }
  for (int32_t other : {0xABFF, 0xD7A4, 0x1100, 0x41, 0x110000, 0, -1, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(QN::getHangulName(other), std::nullopt) << other;
    EXPECT_FALSE(QN::codepointIsHangul(static_cast<uint32_t>(other))) << other;
    EXPECT_EQ(QN::decomposeHangul(other), Codepoints{static_cast<uint32_t>(other)});
  }
  // Composition: only neighbours combine; an LVT syllable takes no second T, a T or V alone
  // stays, and so do values just outside the ranges (below LBase, past the last L, V or
  // syllable, below SBase, past TBase + 28).
  const Codepoints unchanged[] = {{0xAC01, 0x11A8},        {0x11A8, 0x1161}, {0x1100, 0x41, 0x1161},
                                  {0x1100, 0x301, 0x1161}, {0x10FF, 0x1161}, {0x1113, 0x1161},
                                  {0x1112, 0x1176},        {0xD7A3, 0x11A8}, {0xABFF, 0x11A8},
                                  {0xAC00, 0x11C4},        {0x1100},         {}};
  // TBase itself is swallowed, and TBase + 28 moves on to the next LV syllable.
  std::vector<std::tuple<Codepoints, Codepoints, uint32_t>> cases = {
      {{0x1100, 0x1161, 0x11A8}, {0xAC01}, 2},
      {{0xAC00, 0x11A8}, {0xAC01}, 1},
      {{0x1100, 0x1161, 0x1161}, {0xAC00, 0x1161}, 1},
      {{0x1112, 0x1175}, {0xD788}, 1},
      {{0xAC00, 0x11A7}, {0xAC00}, 1},
      {{0xAC00, 0x11C3}, {0xAC1C}, 1},
      {{0x1100, 0x1161, 0x11C3, 0x11A8}, {0xAC1D}, 3},
      {{0x1100, 0x1161, 0x11A8, 0x1100, 0x1162, 0x1100}, {0xAC01, 0xAC1C, 0x1100}, 3}};
  for (const Codepoints& input : unchanged) cases.emplace_back(input, input, 0);
  for (const auto& [input, output, expected] : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(QN::composeHangul(input, &count), output);
    EXPECT_EQ(count, expected);
    EXPECT_EQ(QN::composeHangul(input), output);
  }
}

TEST(NormalizationAgainstICUAndLiteralSteps, EveryCodepointConformanceFieldAndRandomText) {
  // Surrogate code points included: alone, each stays as it is.
  auto database = realDatabase();
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    ASSERT_TRUE(formsHold(*database, {codepoint}, true));
  }
  const auto file =
      QNUnicode::stringWithContentsOfUTF8File(qnunicode::testing::ucdFile("NormalizationTest.txt"));
  ASSERT_TRUE(file.has_value());
  std::vector<Codepoints> fields;
  for (std::u16string_view line : qnunicode::splitAt(*file, u'\n')) {
    if (line.empty() || line[0] == u'#' || line[0] == u'@') continue;
    const auto pieces = qnunicode::splitAt(line, u';');
    for (size_t f = 0; f < 5; ++f) {
      qnunicode::QNScanner scanner(pieces.at(f));
      Codepoints& field = fields.emplace_back();
      for (uint32_t codepoint; scanner.scanHexInt(&codepoint);) field.push_back(codepoint);
    }
  }
  ASSERT_EQ(fields.size(), 5u * 19074);
  UnicodeString whole;  // the fields after runs of spaces of many lengths, to be passed over
  Codepoints pool;      // for random texts: the file's codepoints, once each, with few syllables
  for (const Codepoints& field : fields) {
    ASSERT_TRUE(formsHold(*database, field, true));
    whole += UnicodeString(whole.size() % 19, u' ') + text(field);
    pool.insert(pool.end(), field.begin(), field.end());
  }
  for (int form : {kD, kKD, kC, kKC}) {
    EXPECT_TRUE(std::get<0>(normalized(*database, form, whole)) == icuForm(form, whole))
        << kNames[form];
  }
  std::sort(pool.begin(), pool.end());
  pool.erase(std::unique(pool.begin(), pool.end()), pool.end());
  std::erase_if(pool, QN::codepointIsHangul);
  std::mt19937 random(2024);
  for (int round = 0; round < 4000; ++round) {
    ASSERT_TRUE(formsHold(*database, randomText(random, pool, random() % 10), true));
  }
  // Long runs of marks of many classes between a few starters.
  Codepoints awkward = {0x302, 0x303, 0x308, 0x30A, 0x323,  0x327,  0x328,   0x31B,  0x334,
                        0x338, 0x35C, 0x360, 0x5B0, 0x651,  0x3099, 0x1D16E, 0x302A, 0x20D2,
                        0x61,  0x45,  0x3B1, 0x3C9, 0x1100, 0x1161, 0x11A8,  0x41,   0x300,
                        0x301, 0x316, 0x345, 0x93C, 0x915,  0x1D165};
  for (int round = 0; round < 1500; ++round) {
    ASSERT_TRUE(formsHold(*database, randomText(random, awkward, random() % 60), true));
  }
  // Every text of up to three of the last eleven above and these, after nothing, a letter or a
  // mark: TBase and TBase + 28 (which ICU does not compose), syllables, excluded, singleton and
  // supplementary composites, a lone surrogate and marks that decompose.
  awkward.insert(awkward.end(), {0x11A7, 0x11C3, 0xAC00, 0xAC01, 0xC0, 0x958, 0x212B, 0xDC00,
                                 0x1D15E, 0x344, 0xF73, 0xFB01, 0x20});
  for (size_t n = 0; n < 3 * 25 * 25 * 25; ++n) {
    Codepoints input;
    if (n % 3) input.push_back(n % 3 == 1 ? 0x62 : 0x300);
    for (size_t rest = n / 3; rest > 0; rest /= 25) {
      if (rest % 25) input.push_back(awkward[awkward.size() - 25 + rest % 25]);
    }
    ASSERT_TRUE(formsHold(*database, input, false));
  }
}

TEST(NormalizationInput, SurrogatesUnassignedCodepointsAndLongRunsOfMarks) {
  auto database = realDatabase();
  // A lone surrogate is a starter of its own that composes with nothing.
  EXPECT_TRUE(formsHold(
      *database,
      {0x61, 0xDC00, 0x301, 0x378, 0x301, 0xE000, 0x10FFFF, 0x1F600, 0x301, 0xE9, 0xD800}, true));
  // The walk passes over the unit after an unpaired high surrogate, a second high one included.
  for (int form : {kD, kKD, kC, kKC}) {
    EXPECT_EQ(std::get<0>(normalized(*database, form, u"x\xD800y\u00C0")),
              form & 2 ? u"x\xD800\u00C0" : u"x\xD800\u0041\u0300");
    EXPECT_EQ(std::get<0>(normalized(*database, form, u"\xD800\xD800\xDC00")), u"\xD800\xDC00");
  }
  // A hundred thousand marks after one starter in linear time (ICU takes quadratic time here).
  const auto started = steady_clock::now();
  // Each grave below passes the acutes before it; then the first acute composes with the a.
  UnicodeString alternating = u"a";
  for (int i = 0; i < 50000; ++i) alternating += u"\u0301\u0316";
  EXPECT_EQ(normalized(*database, kC, alternating),
            (Result{u"\u00E1" + UnicodeString(50000, u'\u0316') + UnicodeString(49999, u'\u0301'),
                    0, 50000u * 50001u / 2, 1}));
  // Ten classes in descending order: 45 * 10^8 swaps, which a 32-bit counter gives modulo 2^32.
  UnicodeString marks = u"a", sorted = u"a";
  for (char16_t mark :
       std::u16string_view(u"\u0345\u035D\u035C\u0315\u0301\u302B\u302D\u0316\u302A\u031B")) {
    marks += UnicodeString(10000, mark);
    sorted.insert(1, 10000, mark);
  }
  EXPECT_EQ(normalized(*database, kD, marks),
            (Result{sorted, 0, static_cast<uint32_t>(45ull * 10000 * 10000), 0}));
  EXPECT_EQ(normalized(*database, kC, u"a" + UnicodeString(100000, u'\u0301')),
            (Result{u"\u00E1" + UnicodeString(99999, u'\u0301'), 0, 0, 1}));
  EXPECT_LT(steady_clock::now() - started, std::chrono::seconds(5)) << "quadratic on long runs";
}

using qnunicode::testing::ScratchDatabase;

TEST(NormalizationData, NoExclusionsNoRecordsAndMalformedRecords) {
  const char* records =
      "0041;A;Lu;0;L;;;;;N;;;;;\n0300;GRAVE;Mn;230;NSM;;;;;N;;;;;\n"
      "00C0;A GRAVE;Lu;0;L;0041 0300;;;;N;;;;;\n0915;KA;Lo;0;L;;;;;N;;;;;\n"
      "093C;NUKTA;Mn;7;NSM;;;;;N;;;;;\n0958;QA;Lo;0;L;0915 093C;;;;N;;;;;\n";
  ScratchDatabase with{{"UnicodeData.txt", records}, {"CompositionExclusions.txt", "0958 # QA\n"}};
  EXPECT_EQ(normalized(with.database, kC, u"\u0958A\u0300"),
            (Result{u"\u0915\u093C\u00C0", 1, 0, 1}));
  ScratchDatabase without{{"UnicodeData.txt", records}};
  EXPECT_EQ(normalized(without.database, kC, u"\u0958"), (Result{u"\u0958", 1, 0, 1}));
  EXPECT_EQ(without.delegate->prefixes,
            std::vector<UnicodeString>{UnicodeString(QNUnicodeFilePrefixCompositionExclusions)});
  // Without records the file is looked for again on every call but for the empty string.
  ScratchDatabase none{};
  EXPECT_EQ(normalized(none.database, kD, u"\uAC01\u00C0"),
            (Result{u"\u1100\u1161\u11A8\u00C0", 1, 0, 0}));
  EXPECT_EQ(normalized(none.database, kKC, u"\u1100\u1161\u11A8A\u0300\uFB01"),
            (Result{u"\uAC01A\u0300\uFB01", 0, 0, 2}));
  EXPECT_EQ(normalized(none.database, kD, u""), (Result{u"", 0, 0, 0}));
  EXPECT_EQ(none.delegate->prefixes,
            std::vector<UnicodeString>(2, UnicodeString(QNUnicodeFilePrefixUnicodeData)));
  // Malformed records: 0061 and 0062 map to each other, 0063 to itself, 0064 to nothing at all,
  // 0065 to a value beyond the codepoint space, and 0066 has a class that reads as negative.
  ScratchDatabase scratch{{"UnicodeData.txt",
                           "0061;A;Ll;0;L;0062;;;;N;;;;;\n0062;B;Ll;0;L;0061;;;;N;;;;;\n"
                           "0063;C;Ll;0;L;0063;;;;N;;;;;\n0064;D;Ll;0;L;<compat>;;;;N;;;;;\n"
                           "0065;E;Ll;0;L;110000 0300;;;;N;;;;;\n0066;F;Mn;-5;NSM;;;;;N;;;;;\n"
                           "0300;COMBINING GRAVE ACCENT;Mn;230;NSM;;;;;N;;;;;\n"}};
  QNUnicodeDatabase& database = scratch.database;
  // A cycle ends where it closes: the codepoint met again stays itself.
  EXPECT_EQ(normalized(database, kD, u"c"), (Result{u"c", 1, 0, 0}));
  EXPECT_EQ(normalized(database, kD, u"a"), (Result{u"a", 2, 0, 0}));
  EXPECT_EQ(normalized(database, kKC, u"ab"), (Result{u"aa", 3, 0, 0}));
  EXPECT_EQ(normalized(database, kKD, u"xdy"), (Result{u"xy", 1, 0, 0}));
  // A class below 0 moves a mark in front of starters: the exchange sort as written.
  EXPECT_EQ(normalized(database, kD, u"x\u0300yf"), (Result{u"fx\u0300y", 0, 3, 0}));
  // Random texts without the cycles; the long ones fill several blocks of the ordering.
  const Codepoints alphabet = {0x64, 0x65, 0x66, 0x300, 0x78, 0x79};
  std::mt19937 random(5);
  for (int round = 0; round < 3004; ++round) {
    const size_t length = round < 3000 ? random() % 12 : 600 + random() % 200;
    ASSERT_TRUE(formsHold(database, randomText(random, alphabet, length), false));
  }
  // Each mark of the negative class passes every starter before it, in less than quadratic time.
  UnicodeString alternating;
  for (int i = 0; i < 50000; ++i) alternating += u"xf";
  const auto started = steady_clock::now();
  EXPECT_EQ(
      normalized(database, kD, alternating),
      (Result{UnicodeString(50000, u'f') + UnicodeString(50000, u'x'), 0, 50000u * 50001u / 2, 0}));
  EXPECT_LT(steady_clock::now() - started, std::chrono::seconds(5));
}

}  // namespace
