#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNInfoValue.h"

class QNUnicodeUnihanEntry;

// The numeric type of a character (UnicodeData fields 6 to 8).
enum QNUnicodeNumericType : uint32_t {
  QNUnicodeNumericTypeNone = 0,
  QNUnicodeNumericTypeDecimal = 1,
  QNUnicodeNumericTypeDigit = 2,
  QNUnicodeNumericTypeNumeric = 3,
};

// "None", "Decimal", "Digit", "Numeric" by table lookup; only 0 to 3 are valid.
const UnicodeString& QNUnicode_StringForNumericType(QNUnicodeNumericType type);

// What kind of code point a record stands for, derived from its general category.
enum QNUnicodeCodepointType : uint32_t {
  QNUnicodeCodepointTypeGraphic = 0,
  QNUnicodeCodepointTypeFormat = 1,
  QNUnicodeCodepointTypeControl = 2,
  QNUnicodeCodepointTypePrivateUse = 3,
  QNUnicodeCodepointTypeSurrogate = 4,
  QNUnicodeCodepointTypeNoncharacter = 5,
  QNUnicodeCodepointTypeReserved = 6,
};

// "Graphic", "Format", "Control", "Private-use", "Surrogate", "Noncharacter", "Reserved".
const UnicodeString& QNUnicode_StringForCodepointType(QNUnicodeCodepointType type);

// A numeric value: an integer for decimal and digit values, a 32-bit float for numeric ones.
using QNUnicodeNumericValue = std::variant<int64_t, float>;

// The record of one codepoint. Three kinds answer the same accessors: the record of a
// UnicodeData line, the record of a member of a First/Last range and the default record of a
// codepoint the file does not list. Records are immutable once built (the script cache aside).
class QNUnicodeData {
 public:
  virtual ~QNUnicodeData() = default;

  // In this base every accessor raises QNInternalInconsistencyException with
  // "method not implemented in abstract class QNUnicodeData".
  virtual uint32_t codepoint() const;
  uint32_t codeValue() const { return codepoint(); }
  virtual UnicodeString characterName() const;
  virtual UnicodeString generalCategory() const;
  virtual uint32_t canonicalCombiningClass() const;
  virtual UnicodeString bidirectionalCategory() const;
  // The decomposition field as written, tag included.
  virtual UnicodeString characterDecompositionMapping() const;
  // The codepoints of the decomposition, or none when the record has no mapping.
  virtual std::optional<std::span<const uint32_t>> characterDecompositionMappingArray() const;
  virtual QNUnicodeNumericType numericType() const;
  virtual std::optional<QNUnicodeNumericValue> numericValue() const;
  virtual UnicodeString numericValueString() const;
  virtual bool mirrored() const;
  virtual UnicodeString unicode1Name() const;
  virtual UnicodeString commentField() const;
  virtual UnicodeString uppercaseMapping() const;
  virtual UnicodeString lowercaseMapping() const;
  virtual UnicodeString titlecaseMapping() const;
  virtual bool canonicalMapping() const;
  virtual bool compatibilityMapping() const;

  // A record of the same kind with the same content. The plain base raises like the accessors.
  virtual std::shared_ptr<QNUnicodeData> copy() const;
  // The record as text: "<ClassName: 0x...>" unless a kind prints its fields (the concrete
  // record prints its raw fields).
  virtual UnicodeString description() const;

  // Looks a property up by its accessor name ("generalCategory", "mirrored", ...), so that hosts
  // can show records by name; a name the record does not know answers none.
  std::optional<QNInfoValue> valueForKey(std::string_view key) const;

  // Derived from the accessors above; the shortcuts ask the shared database.
  QNUnicodeCodepointType codepointType() const;
  bool isAssignedToAbstractCharacter() const;
  bool isAssignedCodePoint() const;
  uint32_t plane() const { return codepoint() >> 16; }
  // With no shared database set: none, none, 0 and none.
  std::optional<UnicodeString> age() const;
  std::optional<UnicodeString> block() const;
  uint32_t lineBreak() const;
  // Cached in the record after the first answer; a none answer is not cached.
  std::optional<UnicodeString> script() const;
  // The codepoint's Unihan entry in the shared database (unihan/); none without one.
  std::optional<QNUnicodeUnihanEntry> unihanData() const;

 protected:
  QNUnicodeData() = default;
  QNUnicodeData(const QNUnicodeData&) = default;
  QNUnicodeData& operator=(const QNUnicodeData&) = default;

 private:
  // The script found by the first call of script(): an index into the process's table of script
  // names, 0 while unknown. Two bytes instead of a string keep the 250000 range members small.
  mutable uint16_t _cachedScript = 0;
};
