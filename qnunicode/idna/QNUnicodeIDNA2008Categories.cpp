// The IDNA2008 categories of RFC 5892 worked out from the loaded character database, and the
// derived property decided from them. Each codepoint's answer needs two NFKC normalizations and
// a case folding, so the database keeps every answer in a table once it has been worked out.
#include <algorithm>
#include <map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeIDNA2008Table.h"
#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

namespace {

using namespace qnunicode::detail;  // the IDNA2008 bits

bool contains(const std::vector<UnicodeString>& list, std::u16string_view value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// The process-wide tables, made on first use and kept.
const std::vector<UnicodeString>& letterDigitsCategories() {
  static const std::vector<UnicodeString> table = {u"Ll", u"Lu", u"Lo", u"Nd", u"Lm", u"Mn", u"Mc"};
  return table;
}

const std::vector<UnicodeString>& ignorableBlocks() {
  static const std::vector<UnicodeString> table = {u"Combining Diacritical Marks for Symbols",
                                                   u"Musical Symbols",
                                                   u"Ancient Greek Musical Notation"};
  return table;
}

const std::vector<UnicodeString>& oldHangulJamo() {
  static const std::vector<UnicodeString> table = {u"L", u"T", u"V"};
  return table;
}

// The exceptions of RFC 5892 section 2.6: 41 codepoints.
const std::map<uint32_t, IDNA2008Derived>& categoryExceptions() {
  static const std::map<uint32_t, IDNA2008Derived> table = [] {
    std::map<uint32_t, IDNA2008Derived> exceptions;
    for (uint32_t c : {0x00DFu, 0x03C2u, 0x06FDu, 0x06FEu, 0x0F0Bu, 0x3007u}) {
      exceptions.emplace(c, IDNA2008Derived::PVALID);
    }
    for (uint32_t c : {0x00B7u, 0x0375u, 0x05F3u, 0x05F4u, 0x30FBu}) {
      exceptions.emplace(c, IDNA2008Derived::CONTEXTO);
    }
    for (uint32_t c = 0x0660; c <= 0x0669; ++c) exceptions.emplace(c, IDNA2008Derived::CONTEXTO);
    for (uint32_t c = 0x06F0; c <= 0x06F9; ++c) exceptions.emplace(c, IDNA2008Derived::CONTEXTO);
    for (uint32_t c : {0x0640u, 0x07FAu, 0x302Eu, 0x302Fu, 0x303Bu}) {
      exceptions.emplace(c, IDNA2008Derived::DISALLOWED);
    }
    for (uint32_t c = 0x3031; c <= 0x3035; ++c) exceptions.emplace(c, IDNA2008Derived::DISALLOWED);
    return exceptions;
  }();
  return table;
}

// The decision of RFC 5892 section 3 over the category bits, first match winning.
IDNA2008Derived derivedProperty(uint32_t codepoint, uint16_t categories) {
  if (categories & kIDNA2008Exceptions) return categoryExceptions().at(codepoint);
  if (categories & kIDNA2008BackwardCompatible) {
    // The backward-compatible table is empty, so no codepoint has the category; should one ever
    // be added, this is where its value would be looked up.
    QNLog("no BackwardCompatible codepoints defined!");
    return IDNA2008Derived::PVALID;
  }
  if (categories & kIDNA2008Unassigned) return IDNA2008Derived::UNASSIGNED;
  if (categories & kIDNA2008LDH) return IDNA2008Derived::PVALID;
  if (categories & kIDNA2008JoinControl) return IDNA2008Derived::CONTEXTJ;
  if (categories & (kIDNA2008Unstable | kIDNA2008IgnorableProperties | kIDNA2008IgnorableBlocks |
                    kIDNA2008OldHangulJamo)) {
    return IDNA2008Derived::DISALLOWED;
  }
  if (categories & kIDNA2008LetterDigits) return IDNA2008Derived::PVALID;
  return IDNA2008Derived::DISALLOWED;
}

constexpr std::pair<uint16_t, std::u16string_view> kCategoryOrder[] = {
    {kIDNA2008LetterDigits, IDNA2008_Category_LetterDigits},
    {kIDNA2008Unstable, IDNA2008_Category_Unstable},
    {kIDNA2008IgnorableProperties, IDNA2008_Category_IgnorableProperties},
    {kIDNA2008IgnorableBlocks, IDNA2008_Category_IgnorableBlocks},
    {kIDNA2008LDH, IDNA2008_Category_LDH},
    {kIDNA2008Exceptions, IDNA2008_Category_Exceptions},
    {kIDNA2008JoinControl, IDNA2008_Category_JoinControl},
    {kIDNA2008OldHangulJamo, IDNA2008_Category_OldHangulJamo},
    {kIDNA2008Unassigned, IDNA2008_Category_Unassigned},
};

}  // namespace

uint16_t QNUnicodeDatabase::IDNA2008PropertyBits(uint32_t codepoint) {
  const bool kept = codepoint < IDNA2008PropertyTable::kSize;
  if (kept) {
    if (!_idna2008Properties) _idna2008Properties = std::make_shared<IDNA2008PropertyTable>();
    const uint16_t bits = (*_idna2008Properties)[codepoint];
    if (bits & kIDNA2008Known) return bits;
  }
  uint16_t categories = 0;
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  const UnicodeString generalCategory = record ? record->generalCategory() : UnicodeString();
  if (contains(letterDigitsCategories(), generalCategory)) categories |= kIDNA2008LetterDigits;
  UnicodeString single;
  qnunicode::appendUTF16(single, codepoint);
  if (normalizationFormKCForString(
          fullCaseFoldingForString(normalizationFormKCForString(single))) != single) {
    categories |= kIDNA2008Unstable;
  }
  const bool noncharacter = codepointHasExtendedProperty(codepoint, u"Noncharacter_Code_Point");
  if (contains(derivedCorePropertiesForCodepoint(codepoint), u"Default_Ignorable_Code_Point") ||
      codepointHasExtendedProperty(codepoint, u"White_Space") || noncharacter) {
    categories |= kIDNA2008IgnorableProperties;
  }
  if (contains(ignorableBlocks(), blockForCodepoint(codepoint))) {
    categories |= kIDNA2008IgnorableBlocks;
  }
  if (codepoint == '-' || (codepoint >= '0' && codepoint <= '9') ||
      (codepoint >= 'a' && codepoint <= 'z')) {
    categories |= kIDNA2008LDH;
  }
  if (categoryExceptions().contains(codepoint)) categories |= kIDNA2008Exceptions;
  if (codepointHasExtendedProperty(codepoint, u"Join_Control")) {
    categories |= kIDNA2008JoinControl;
  }
  if (contains(oldHangulJamo(), hangulSyllableTypeForCodepoint(codepoint))) {
    categories |= kIDNA2008OldHangulJamo;
  }
  if (generalCategory == u"Cn" && !noncharacter) categories |= kIDNA2008Unassigned;
  uint16_t facts = 0;
  const UnicodeString bidi = record ? record->bidirectionalCategory() : UnicodeString();
  if (bidi == u"R" || bidi == u"AL" || bidi == u"AN") facts |= kIDNA2008RightToLeft;
  if (normalizationTables(true).isInert(codepoint, NormalizationTables::FormC)) {
    facts |= kIDNA2008NFCInert;
  }
  const uint16_t bits =
      categories | facts | kIDNA2008Known |
      static_cast<uint16_t>(static_cast<unsigned>(derivedProperty(codepoint, categories))
                            << kIDNA2008DerivedShift);
  if (kept) (*_idna2008Properties)[codepoint] = bits;
  return bits;
}

std::vector<std::u16string_view> QNUnicodeDatabase::IDNA2008CategoriesForCodepoint(
    uint32_t codepoint) {
  const uint16_t bits = IDNA2008PropertyBits(codepoint);
  std::vector<std::u16string_view> categories;
  for (const auto& [bit, name] : kCategoryOrder) {
    if (bits & bit) categories.push_back(name);
  }
  return categories;
}

std::u16string_view QNUnicodeDatabase::IDNA2008DerivedPropertyForCodepoint(uint32_t codepoint) {
  return derivedPropertyText(derivedOfBits(IDNA2008PropertyBits(codepoint)));
}
