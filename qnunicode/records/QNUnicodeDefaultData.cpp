#include "qnunicode/records/QNUnicodeDefaultData.h"

#include <array>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodePropertyMatching.h"

namespace {

struct CodepointRange {
  uint32_t first;
  uint32_t last;
  bool contains(uint32_t codepoint) const { return codepoint >= first && codepoint <= last; }
};

// Right-to-left by position alone, whatever block lies there.
constexpr std::array<CodepointRange, 5> kRightToLeftRanges = {{
    {0x0590, 0x05FF},
    {0x07C0, 0x08FF},
    {0xFB1D, 0xFB4F},
    {0x10840, 0x109FF},
    {0x10A60, 0x10FFF},
}};

// Arabic letters by position, noncharacters excepted.
constexpr std::array<CodepointRange, 3> kArabicLetterRanges = {{
    {0x0600, 0x07BF},
    {0xFB50, 0xFDFF},
    {0xFE70, 0xFEFF},
}};

constexpr std::array<std::u16string_view, 6> kRightToLeftBlocks = {
    u"Hebrew", u"NKo", u"Cypriot_Syllabary", u"Phoenician", u"Lydian", u"Kharoshthi",
};

constexpr std::array<std::u16string_view, 6> kArabicLetterBlocks = {
    u"Arabic",
    u"Syriac",
    u"Arabic_Supplement",
    u"Thaana",
    u"Arabic_Presentation_Forms_A",
    u"Arabic_Presentation_Forms_B",
};

template <size_t N>
bool inRanges(const std::array<CodepointRange, N>& ranges, uint32_t codepoint) {
  for (const CodepointRange& range : ranges) {
    if (range.contains(codepoint)) return true;
  }
  return false;
}

// Block names compare loosely, by their matchable forms (as isEqualToUnicodePropertyString
// does). The block lists in their matchable form, made once: a block name then needs one conversion
// per question instead of one per comparison.
template <size_t N>
std::array<UnicodeString, N> matchableForms(const std::array<std::u16string_view, N>& names) {
  std::array<UnicodeString, N> forms;
  for (size_t i = 0; i < N; ++i) forms[i] = QNUnicode::matchableUnicodePropertyString(names[i]);
  return forms;
}

template <size_t N>
bool namedIn(const std::array<UnicodeString, N>& matchableNames, const UnicodeString& block) {
  for (const UnicodeString& name : matchableNames) {
    if (block == name) return true;
  }
  return false;
}

// Noncharacters are left-to-right even where the letters around them are Arabic.
std::u16string_view arabicLetterOrNoncharacter(QNUnicodeDatabase* database, uint32_t codepoint) {
  if (database && database->codepointHasExtendedProperty(codepoint, u"Noncharacter_Code_Point")) {
    return u"L";
  }
  return u"AL";
}

}  // namespace

std::u16string_view QNUnicodeDefaultData::defaultBidirectionalCategory(uint32_t codepoint) {
  if (inRanges(kRightToLeftRanges, codepoint)) return u"R";
  const std::shared_ptr<QNUnicodeDatabase> database = QNUnicodeDatabase::sharedDatabase();
  if (inRanges(kArabicLetterRanges, codepoint)) {
    return arabicLetterOrNoncharacter(database.get(), codepoint);
  }
  if (!database) return u"L";
  static const auto rightToLeftBlocks = matchableForms(kRightToLeftBlocks);
  static const auto arabicLetterBlocks = matchableForms(kArabicLetterBlocks);
  const UnicodeString block =
      QNUnicode::matchableUnicodePropertyString(database->characterBlockForCodepoint(codepoint));
  if (namedIn(rightToLeftBlocks, block)) return u"R";
  if (namedIn(arabicLetterBlocks, block)) {
    return arabicLetterOrNoncharacter(database.get(), codepoint);
  }
  return u"L";
}
