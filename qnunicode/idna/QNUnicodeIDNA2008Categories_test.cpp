// The IDNA2008 categories and derived properties: the described cases, and every codepoint
// against libidn2's IDNA2008 tables (of Unicode 12.0).
#include <gtest/gtest.h>
#include <idn2.h>

#include <cstdio>
#include <map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeIDNA2008.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using Categories = std::vector<std::u16string_view>;

struct CategoryCase {
  const char* what;
  uint32_t codepoint;
  Categories categories;
  std::u16string_view derived;
};

TEST(QNUnicodeIDNA2008CategoriesTest, DescribedCodepoints) {
  const auto db = qnunicode::testing::realDatabase();
  const std::vector<CategoryCase> cases = {
      {"a lower-case letter is PVALID through LDH",
       0x61,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_LDH},
       IDNA2008DerivedProperty_PVALID},
      {"an upper-case letter is Unstable",
       0x41,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_Unstable},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a digit is LDH",
       0x35,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_LDH},
       IDNA2008DerivedProperty_PVALID},
      {"the hyphen is LDH and nothing else",
       0x2D,
       {IDNA2008_Category_LDH},
       IDNA2008DerivedProperty_PVALID},
      {"sharp s: the exception wins over Unstable",
       0xDF,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_Unstable, IDNA2008_Category_Exceptions},
       IDNA2008DerivedProperty_PVALID},
      {"tatweel: a letter the exceptions disallow",
       0x640,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_Exceptions},
       IDNA2008DerivedProperty_DISALLOWED},
      {"middle dot", 0xB7, {IDNA2008_Category_Exceptions}, IDNA2008DerivedProperty_CONTEXTO},
      {"an Arabic-Indic digit",
       0x660,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_Exceptions},
       IDNA2008DerivedProperty_CONTEXTO},
      {"ZWNJ: join control before the ignorable test",
       0x200C,
       {IDNA2008_Category_IgnorableProperties, IDNA2008_Category_JoinControl},
       IDNA2008DerivedProperty_CONTEXTJ},
      {"ZWJ",
       0x200D,
       {IDNA2008_Category_IgnorableProperties, IDNA2008_Category_JoinControl},
       IDNA2008DerivedProperty_CONTEXTJ},
      {"a noncharacter is not Unassigned",
       0xFFFF,
       {IDNA2008_Category_IgnorableProperties},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a leading Hangul jamo",
       0x1100,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_OldHangulJamo},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a musical symbol",
       0x1D11E,
       {IDNA2008_Category_IgnorableBlocks},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a musical combining mark is a letter but in an ignorable block",
       0x1D165,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_IgnorableBlocks},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a reserved codepoint",
       0x378,
       {IDNA2008_Category_Unassigned},
       IDNA2008DerivedProperty_UNASSIGNED},
      {"a reserved default-ignorable codepoint: Unassigned wins",
       0xE0080,
       {IDNA2008_Category_IgnorableProperties, IDNA2008_Category_Unassigned},
       IDNA2008DerivedProperty_UNASSIGNED},
      {"the space is white space",
       0x20,
       {IDNA2008_Category_IgnorableProperties},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a compatibility character is Unstable",
       0xFB01,
       {IDNA2008_Category_LetterDigits, IDNA2008_Category_Unstable},
       IDNA2008DerivedProperty_DISALLOWED},
      {"a symbol is nothing", 0x2603, {}, IDNA2008DerivedProperty_DISALLOWED},
      {"beyond the codespace: worked out each time, not kept",
       0x110000,
       {IDNA2008_Category_Unassigned},
       IDNA2008DerivedProperty_UNASSIGNED},
      {"a Han ideograph", 0x4E00, {IDNA2008_Category_LetterDigits}, IDNA2008DerivedProperty_PVALID},
      {"a soft hyphen is default ignorable; neither NFKC nor the folding removes it",
       0xAD,
       {IDNA2008_Category_IgnorableProperties},
       IDNA2008DerivedProperty_DISALLOWED},
  };
  for (const CategoryCase& c : cases) {
    // Twice: once worked out, once from the database's table.
    for (int pass = 0; pass < 2; ++pass) {
      EXPECT_EQ(db->IDNA2008CategoriesForCodepoint(c.codepoint), c.categories) << c.what;
      EXPECT_EQ(db->IDNA2008DerivedPropertyForCodepoint(c.codepoint), c.derived) << c.what;
    }
  }
}

TEST(QNUnicodeIDNA2008CategoriesTest, TheExceptionsAreFortyOne) {
  const auto db = qnunicode::testing::realDatabase();
  size_t exceptions = 0;
  // Every exception lies below U+3100.
  for (uint32_t c = 0; c < 0x3100; ++c) {
    const Categories categories = db->IDNA2008CategoriesForCodepoint(c);
    exceptions += std::count(categories.begin(), categories.end(), IDNA2008_Category_Exceptions);
  }
  EXPECT_EQ(exceptions, 41u);
}

// ---- Against libidn2 ----------------------------------------------------------------------------

std::string utf8Of(std::u16string_view text) {
  return qnunicode::toUTF8(text);
}

// libidn2's answer for one label, as a derived property where the answer names one.
std::optional<std::u16string_view> peerAnswer(const UnicodeString& label) {
  const std::string utf8 = utf8Of(label);
  uint8_t* output = nullptr;
  const int rc =
      idn2_register_u8(reinterpret_cast<const uint8_t*>(utf8.c_str()), nullptr, &output, 0);
  idn2_free(output);
  switch (rc) {
    case IDN2_OK:
      return IDNA2008DerivedProperty_PVALID;
    case IDN2_CONTEXTJ:
      return IDNA2008DerivedProperty_CONTEXTJ;
    case IDN2_CONTEXTO:
      return IDNA2008DerivedProperty_CONTEXTO;
    case IDN2_DISALLOWED:
    case IDN2_NOT_NFC:  // a lone codepoint that is not NFC is Unstable
      return IDNA2008DerivedProperty_DISALLOWED;
    case IDN2_UNASSIGNED:
      return IDNA2008DerivedProperty_UNASSIGNED;
    default:  // the label's other rules (bidi, leading mark, hyphens) say nothing of it
      return std::nullopt;
  }
}

// The codepoint registered alone, then (when the label's other rules stood in the way, or for
// ASCII, which the peer passes unchecked) after U+0250 (a left-to-right letter that composes
// with nothing), after U+05D0 (a right-to-left one) and between two U+0250.
std::u16string_view peerDerivedProperty(uint32_t c) {
  UnicodeString alone;
  qnunicode::appendUTF16(alone, c);
  const std::vector<UnicodeString> labels = {alone, u"\u0250" + alone, u"\u05D0" + alone,
                                             u"\u0250" + alone + u"\u0250"};
  for (size_t k = c < 0x80 ? 1 : 0; k < labels.size(); ++k) {
    if (const auto answer = peerAnswer(labels[k])) return *answer;
  }
  return u"undecided";
}

// The version a codepoint was assigned in, as major * 100 + minor; 0 when unassigned.
int ageOf(QNUnicodeDatabase& db, uint32_t c) {
  const std::optional<UnicodeString> age = db.versionCodepointWasDesignated(c);
  if (!age) return 0;
  unsigned major = 0, minor = 0;
  if (std::sscanf(utf8Of(*age).c_str(), "%u.%u", &major, &minor) != 2) return 0;
  return static_cast<int>(major * 100 + minor);
}

// Why a codepoint's derived property may differ from the peer's, or nothing.
std::string reasonForDifference(uint32_t c, std::u16string_view ours, std::u16string_view peer) {
  if (c >= 0xD800 && c <= 0xDFFF) return "a surrogate cannot be given to the peer as UTF-8";
  if (c == 0) return "U+0000 ends the peer's C string, leaving an empty label";
  if (ours == IDNA2008DerivedProperty_CONTEXTO && peer == IDNA2008DerivedProperty_PVALID &&
      ((c >= 0x660 && c <= 0x669) || (c >= 0x6F0 && c <= 0x6F9))) {
    return "an Arabic-Indic digit's context rule holds in a registered label, so the peer "
           "accepts it";
  }
  return "";
}

TEST(QNUnicodeIDNA2008CategoriesTest, EveryCodepointAgainstThePeer) {
  const auto db = qnunicode::testing::realDatabase();
  std::map<std::string, std::vector<uint32_t>> explained;
  std::map<std::u16string_view, size_t> newer;
  size_t agreed = 0;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::u16string_view ours = db->IDNA2008DerivedPropertyForCodepoint(c);
    const int age = ageOf(*db, c);
    if (age > 1200) {
      ++newer[ours];
      continue;
    }
    const std::u16string_view peer =
        (c >= 0xD800 && c <= 0xDFFF) ? std::u16string_view(u"none") : peerDerivedProperty(c);
    if (ours == peer) {
      ++agreed;
      continue;
    }
    const std::string reason = reasonForDifference(c, ours, peer);
    if (reason.empty()) {
      ADD_FAILURE() << "U+" << std::hex << c << " ours " << utf8Of(ours) << " peer "
                    << utf8Of(peer);
    } else {
      explained[reason].push_back(c);
    }
  }
  std::printf("%zu codepoints agree with the peer\n", agreed);
  for (const auto& [reason, codepoints] : explained) {
    std::printf("%zu differ: %s\n", codepoints.size(), reason.c_str());
  }
  for (const auto& [derived, count] : newer) {
    std::printf("%zu codepoints new since Unicode 12.0 derive %s\n", count,
                utf8Of(derived).c_str());
  }
  EXPECT_GT(agreed, 1000000u);
}

}  // namespace
