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

enum class BlockKind : uint8_t { RightToLeft, ArabicLetter, Other };

BlockKind kindOfBlock(const UnicodeString& block) {
  static const auto rightToLeftBlocks = matchableForms(kRightToLeftBlocks);
  static const auto arabicLetterBlocks = matchableForms(kArabicLetterBlocks);
  const UnicodeString matchable = QNUnicode::matchableUnicodePropertyString(block);
  if (namedIn(rightToLeftBlocks, matchable)) return BlockKind::RightToLeft;
  if (namedIn(arabicLetterBlocks, matchable)) return BlockKind::ArabicLetter;
  return BlockKind::Other;
}

// The kinds of the blocks met so far while a page works out its categories. Block names are
// kept by the database for its life, so a name met again has the same address.
struct BlockKinds {
  const UnicodeString* lastBlock = nullptr;
  BlockKind lastKind = BlockKind::Other;

  BlockKind of(const UnicodeString& block) {
    if (&block != lastBlock) {
      lastKind = kindOfBlock(block);
      lastBlock = &block;
    }
    return lastKind;
  }
};

std::u16string_view categoryFor(uint32_t codepoint, QNUnicodeDatabase* database,
                                BlockKinds* kinds) {
  if (inRanges(kRightToLeftRanges, codepoint)) return u"R";
  if (inRanges(kArabicLetterRanges, codepoint))
    return arabicLetterOrNoncharacter(database, codepoint);
  if (!database) return u"L";
  const UnicodeString& block = database->characterBlockForCodepoint(codepoint);
  switch (kinds ? kinds->of(block) : kindOfBlock(block)) {
    case BlockKind::RightToLeft:
      return u"R";
    case BlockKind::ArabicLetter:
      return arabicLetterOrNoncharacter(database, codepoint);
    case BlockKind::Other:
      break;
  }
  return u"L";
}

// The codes a page keeps its categories by.
constexpr std::array<std::u16string_view, 3> kCategoryCodes = {u"L", u"R", u"AL"};
constexpr uint8_t kRightToLeftCode = 1;
constexpr uint8_t kArabicLetterCode = 2;

uint8_t codeOf(std::u16string_view category) {
  for (uint8_t code = 0; code < kCategoryCodes.size(); ++code) {
    if (kCategoryCodes[code] == category) return code;
  }
  return 0;
}

}  // namespace

std::u16string_view QNUnicodeDefaultData::defaultBidirectionalCategory(uint32_t codepoint) {
  if (inRanges(kRightToLeftRanges, codepoint)) return u"R";
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  return categoryFor(codepoint, database, nullptr);
}

void QNUnicodeDefaultData::defaultBidirectionalCategoriesOfPage(
    uint32_t page, std::span<std::u16string_view, 256> categories) {
  const uint32_t first = page * Page::kSize;
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) {
    for (uint32_t i = 0; i < Page::kSize; ++i)
      categories[i] = categoryFor(first + i, nullptr, nullptr);
    return;
  }
  const auto& codes = database->defaultBidirectionalCodes().codesForPage(*database, page);
  for (uint32_t i = 0; i < Page::kSize; ++i) categories[i] = kCategoryCodes[codes[i]];
}

UnicodeString QNUnicodeDefaultData::bidirectionalCategory() const {
  if (!(_pagePosition & kInPage)) return UnicodeString(defaultBidirectionalCategory(_codepoint));
  const uint32_t offset = _pagePosition & (kInPage - 1);
  // The records are the first member of their page, in order.
  const auto* page = reinterpret_cast<const Page*>(this - offset);
  // Each code its own string of fixed length, so that making it is a few stores.
  switch (page->bidirectionalCode(offset)) {
    case kRightToLeftCode:
      return UnicodeString(u"R", 1);
    case kArabicLetterCode:
      return UnicodeString(u"AL", 2);
    default:
      return UnicodeString(u"L", 1);
  }
}

uint8_t QNUnicodeDefaultData::Page::bidirectionalCode(uint32_t offset) const {
  if (!_categoriesKnown.load(std::memory_order_acquire)) {
    const uint32_t codepoint = _records[offset]._codepoint;
    if (inRanges(kRightToLeftRanges, codepoint)) return kRightToLeftCode;
    QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
    // Without a database there is nothing worth keeping: the answer comes from the ranges.
    if (!database) return codeOf(categoryFor(codepoint, nullptr, nullptr));
    // Two threads may fill the page at once; they store the same codes.
    const auto& codes = database->defaultBidirectionalCodes().codesForPage(
        *database, _records[0]._codepoint / kSize);
    for (uint32_t i = 0; i < kSize; ++i) _categories[i].store(codes[i], std::memory_order_relaxed);
    _categoriesKnown.store(true, std::memory_order_release);
  }
  return _categories[offset].load(std::memory_order_relaxed);
}

namespace qnunicode::detail {

namespace {
constexpr uint32_t kCodedPages = 0x110000 / QNUnicodeDefaultData::Page::kSize;
}  // namespace

DefaultBidirectionalCodes::DefaultBidirectionalCodes()
    : _pages(std::make_unique<std::atomic<const Codes*>[]>(kCodedPages)) {}

const DefaultBidirectionalCodes::Codes& DefaultBidirectionalCodes::codesForPage(
    QNUnicodeDatabase& database, uint32_t page) {
  if (const Codes* known = _pages[page].load(std::memory_order_acquire)) return *known;
  std::lock_guard lock(_mutex);
  if (const Codes* known = _pages[page].load(std::memory_order_relaxed)) return *known;
  Codes codes;
  BlockKinds kinds;
  for (uint32_t i = 0; i < codes.size(); ++i) {
    codes[i] = codeOf(categoryFor(page * QNUnicodeDefaultData::Page::kSize + i, &database, &kinds));
  }
  const Codes& kept = _made.emplace_back(codes);
  _pages[page].store(&kept, std::memory_order_release);
  return kept;
}

}  // namespace qnunicode::detail

qnunicode::detail::DefaultBidirectionalCodes& QNUnicodeDatabase::defaultBidirectionalCodes() {
  std::call_once(_defaultBidirectionalCodesMade, [this] {
    _defaultBidirectionalCodes = std::make_shared<qnunicode::detail::DefaultBidirectionalCodes>();
  });
  return *_defaultBidirectionalCodes;
}
