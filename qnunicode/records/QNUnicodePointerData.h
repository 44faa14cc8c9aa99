#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "qnunicode/records/QNUnicodeData.h"

// The record of a codepoint strictly inside a First/Last range of UnicodeData: it answers from
// the range's First record, except for its own codepoint and the range label as its name.
class QNUnicodePointerData final : public QNUnicodeData {
 public:
  // The reference may be none; every forwarded accessor then answers empty, 0, false or none.
  // Records that the database owns are referred to by a non-owning shared_ptr (an aliasing one
  // without a control block), so the reference costs no reference counting.
  QNUnicodePointerData(uint32_t codepoint,
                       std::shared_ptr<const QNUnicodeData> referenceUnicodeData)
      : _codepoint(codepoint), _referenceData(std::move(referenceUnicodeData)) {}
  static std::shared_ptr<QNUnicodePointerData> unicodePointerDataWithCodepoint(
      uint32_t codepoint, std::shared_ptr<const QNUnicodeData> referenceUnicodeData) {
    return std::make_shared<QNUnicodePointerData>(codepoint, std::move(referenceUnicodeData));
  }

  const std::shared_ptr<const QNUnicodeData>& referenceData() const { return _referenceData; }

  uint32_t codepoint() const override { return _codepoint; }
  // The First record's name with ", First>" replaced by ">": the same range label for every
  // member of the range.
  UnicodeString characterName() const override;
  UnicodeString generalCategory() const override;
  uint32_t canonicalCombiningClass() const override;
  UnicodeString bidirectionalCategory() const override;
  UnicodeString characterDecompositionMapping() const override;
  std::optional<std::span<const uint32_t>> characterDecompositionMappingArray() const override;
  QNUnicodeNumericType numericType() const override;
  std::optional<QNUnicodeNumericValue> numericValue() const override;
  UnicodeString numericValueString() const override;
  bool mirrored() const override;
  UnicodeString unicode1Name() const override;
  UnicodeString commentField() const override;
  UnicodeString uppercaseMapping() const override;
  UnicodeString lowercaseMapping() const override;
  UnicodeString titlecaseMapping() const override;
  bool canonicalMapping() const override;
  bool compatibilityMapping() const override;

  // A new range-member record with the same codepoint and the same reference.
  std::shared_ptr<QNUnicodeData> copy() const override;

 private:
  uint32_t _codepoint;
  std::shared_ptr<const QNUnicodeData> _referenceData;
};
