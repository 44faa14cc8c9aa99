#include "qnunicode/records/QNUnicodePointerData.h"

namespace {

constexpr std::u16string_view kFirstMarker = u", First>";

}  // namespace

UnicodeString QNUnicodePointerData::characterName() const {
  if (!_referenceData) return {};
  UnicodeString name = _referenceData->characterName();
  if (name.ends_with(kFirstMarker)) {
    name.resize(name.size() - kFirstMarker.size());
    name.push_back(u'>');
  }
  return name;
}

UnicodeString QNUnicodePointerData::generalCategory() const {
  return _referenceData ? _referenceData->generalCategory() : UnicodeString();
}

uint32_t QNUnicodePointerData::canonicalCombiningClass() const {
  return _referenceData ? _referenceData->canonicalCombiningClass() : 0;
}

UnicodeString QNUnicodePointerData::bidirectionalCategory() const {
  return _referenceData ? _referenceData->bidirectionalCategory() : UnicodeString();
}

UnicodeString QNUnicodePointerData::characterDecompositionMapping() const {
  return _referenceData ? _referenceData->characterDecompositionMapping() : UnicodeString();
}

std::optional<std::span<const uint32_t>> QNUnicodePointerData::characterDecompositionMappingArray()
    const {
  if (!_referenceData) return std::nullopt;
  return _referenceData->characterDecompositionMappingArray();
}

QNUnicodeNumericType QNUnicodePointerData::numericType() const {
  return _referenceData ? _referenceData->numericType() : QNUnicodeNumericTypeNone;
}

std::optional<QNUnicodeNumericValue> QNUnicodePointerData::numericValue() const {
  if (!_referenceData) return std::nullopt;
  return _referenceData->numericValue();
}

UnicodeString QNUnicodePointerData::numericValueString() const {
  return _referenceData ? _referenceData->numericValueString() : UnicodeString();
}

bool QNUnicodePointerData::mirrored() const {
  return _referenceData && _referenceData->mirrored();
}

UnicodeString QNUnicodePointerData::unicode1Name() const {
  return _referenceData ? _referenceData->unicode1Name() : UnicodeString();
}

UnicodeString QNUnicodePointerData::commentField() const {
  return _referenceData ? _referenceData->commentField() : UnicodeString();
}

UnicodeString QNUnicodePointerData::uppercaseMapping() const {
  return _referenceData ? _referenceData->uppercaseMapping() : UnicodeString();
}

UnicodeString QNUnicodePointerData::lowercaseMapping() const {
  return _referenceData ? _referenceData->lowercaseMapping() : UnicodeString();
}

UnicodeString QNUnicodePointerData::titlecaseMapping() const {
  return _referenceData ? _referenceData->titlecaseMapping() : UnicodeString();
}

bool QNUnicodePointerData::canonicalMapping() const {
  return _referenceData && _referenceData->canonicalMapping();
}

bool QNUnicodePointerData::compatibilityMapping() const {
  return _referenceData && _referenceData->compatibilityMapping();
}

std::shared_ptr<QNUnicodeData> QNUnicodePointerData::copy() const {
  return std::make_shared<QNUnicodePointerData>(_codepoint, _referenceData);
}
