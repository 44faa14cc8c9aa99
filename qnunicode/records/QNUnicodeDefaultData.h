#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "qnunicode/records/QNUnicodeData.h"

// The record of a codepoint that UnicodeData does not list: a reserved, unassigned codepoint
// with the bidirectional category the UCD prescribes for such codepoints by range and block.
class QNUnicodeDefaultData final : public QNUnicodeData {
 public:
  explicit QNUnicodeDefaultData(uint32_t codepoint) : _codepoint(codepoint) {}
  static std::shared_ptr<QNUnicodeDefaultData> unicodeDataWithCodepoint(uint32_t codepoint) {
    return std::make_shared<QNUnicodeDefaultData>(codepoint);
  }

  // The default bidirectional category of an unlisted codepoint: "R" or "AL" in the fixed
  // right-to-left ranges (noncharacters there are "L"), then by the name of the codepoint's block
  // in the shared database, "L" everywhere else.
  static std::u16string_view defaultBidirectionalCategory(uint32_t codepoint);

  uint32_t codepoint() const override { return _codepoint; }
  UnicodeString characterName() const override { return u"<reserved>"; }
  UnicodeString generalCategory() const override { return u"Cn"; }
  uint32_t canonicalCombiningClass() const override { return 0; }
  UnicodeString bidirectionalCategory() const override {
    return UnicodeString(defaultBidirectionalCategory(_codepoint));
  }
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
  uint32_t _codepoint;
};
