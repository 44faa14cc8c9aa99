#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "qnunicode/records/QNUnicodeData.h"

class QNUnicodeDatabase;

// The record of a codepoint that UnicodeData does not list: a reserved, unassigned codepoint
// with the bidirectional category the UCD prescribes for such codepoints by range and block.
class QNUnicodeDefaultData final : public QNUnicodeData {
 public:
  class Page;

  explicit QNUnicodeDefaultData(uint32_t codepoint) : _codepoint(codepoint) {}
  // A copy stands on its own, outside any page.
  QNUnicodeDefaultData(const QNUnicodeDefaultData& other)
      : QNUnicodeData(other), _codepoint(other._codepoint) {}
  QNUnicodeDefaultData& operator=(const QNUnicodeDefaultData&) = delete;
  static std::shared_ptr<QNUnicodeDefaultData> unicodeDataWithCodepoint(uint32_t codepoint) {
    return std::make_shared<QNUnicodeDefaultData>(codepoint);
  }

  // The default bidirectional category of an unlisted codepoint: "R" or "AL" in the fixed
  // right-to-left ranges (noncharacters there are "L"), then by the name of the codepoint's block
  // in the shared database, "L" everywhere else.
  static std::u16string_view defaultBidirectionalCategory(uint32_t codepoint);
  // The same for the 256 codepoints from page * 256 (page < 0x1100) at once, as the default
  // records of that page answer them now (with the shared database's blocks, worked out once per
  // page for that database's life).
  static void defaultBidirectionalCategoriesOfPage(uint32_t page,
                                                   std::span<std::u16string_view, 256> categories);

  uint32_t codepoint() const override { return _codepoint; }
  UnicodeString characterName() const override { return u"<reserved>"; }
  UnicodeString generalCategory() const override { return UnicodeString(u"Cn", 2); }
  uint32_t canonicalCombiningClass() const override { return 0; }
  UnicodeString bidirectionalCategory() const override;
  UnicodeString characterDecompositionMapping() const override { return {}; }
  std::optional<std::span<const uint32_t>> characterDecompositionMappingArray() const override {
    return std::nullopt;
  }
  QNUnicodeNumericType numericType() const override { return QNUnicodeNumericTypeNone; }
  std::optional<QNUnicodeNumericValue> numericValue() const override { return std::nullopt; }
  UnicodeString numericValueString() const override { return {}; }
  bool mirrored() const override { return false; }
  UnicodeString unicode1Name() const override { return {}; }
  UnicodeString commentField() const override { return {}; }
  UnicodeString uppercaseMapping() const override { return {}; }
  UnicodeString lowercaseMapping() const override { return {}; }
  UnicodeString titlecaseMapping() const override { return {}; }
  bool canonicalMapping() const override { return false; }
  bool compatibilityMapping() const override { return false; }

  // A new default record for the same codepoint.
  std::shared_ptr<QNUnicodeData> copy() const override {
    return std::make_shared<QNUnicodeDefaultData>(_codepoint);
  }

 private:
  static constexpr uint16_t kInPage = 0x100;
  QNUnicodeDefaultData(uint32_t codepoint, uint16_t pagePosition)
      : _pagePosition(pagePosition), _codepoint(codepoint) {}

  // kInPage plus the record's place in its page, or 0 for a record on its own. (This fits the
  // room the base leaves before the codepoint: a record stays 16 bytes.)
  uint16_t _pagePosition = 0;
  uint32_t _codepoint;
};

// The default records of 256 consecutive codepoints in one block of memory, as the database makes
// them for codepoints UnicodeData does not list. Once one of its records is asked for its
// bidirectional category, the page takes those of all 256 from the shared database, which works
// them out once per page for its life, so that a walk over unlisted codepoints does not compare
// block names once per codepoint, nor once per page it makes anew.
class QNUnicodeDefaultData::Page {
 public:
  static constexpr uint32_t kSize = 256;

  // firstCodepoint is a multiple of 256.
  explicit Page(uint32_t firstCodepoint)
      : Page(firstCodepoint, std::make_integer_sequence<uint16_t, kSize>()) {}
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  const QNUnicodeDefaultData& record(uint32_t offset) const { return _records[offset]; }

 private:
  friend class QNUnicodeDefaultData;

  template <uint16_t... Offsets>
  Page(uint32_t firstCodepoint, std::integer_sequence<uint16_t, Offsets...>)
      : _records{{QNUnicodeDefaultData(firstCodepoint + Offsets, kInPage | Offsets)...}} {}

  // The category code (see the source) of the record at `offset`.
  uint8_t bidirectionalCode(uint32_t offset) const;

  // The records come first: a record finds its page from its own place in this array.
  std::array<QNUnicodeDefaultData, kSize> _records;
  // Category codes (see the source), filled together once a shared database is there.
  mutable std::atomic<bool> _categoriesKnown{false};
  mutable std::array<std::atomic<uint8_t>, kSize> _categories{};
};

namespace qnunicode::detail {

// The default bidirectional categories of the codepoints of one database, as category codes,
// worked out from its blocks 256 codepoints at a time and kept for the database's life.
class DefaultBidirectionalCodes {
 public:
  using Codes = std::array<uint8_t, QNUnicodeDefaultData::Page::kSize>;

  DefaultBidirectionalCodes();
  // The codes of the page that starts at page * 256 (page < 0x1100).
  const Codes& codesForPage(QNUnicodeDatabase& database, uint32_t page);

 private:
  std::unique_ptr<std::atomic<const Codes*>[]> _pages;
  std::mutex _mutex;
  std::deque<Codes> _made;
};

}  // namespace qnunicode::detail
