#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/util/QNScanner.h"

// The record of one UnicodeData line: fifteen fields separated by ";" and ended by a line feed.
class QNUnicodeConcreteData final : public QNUnicodeData {
 public:
  // From raw bytes, the loader's way: `bytes` is the line's first byte, `sentinel` the first
  // byte past the data (never read). Separator searches run across line ends and fail only at
  // the sentinel, which logs "no data" and answers none; otherwise *bytesRead is the line's
  // length including its line feed.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithBytes(const char* bytes,
                                                                     const char* sentinel,
                                                                     size_t* bytesRead);
  // One line as text: none for the empty string, otherwise the scanner form.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithString(std::u16string_view line);
  // From a scanner at the start of a line. An empty field takes the text of the field before it
  // in the chain name, general category, bidirectional category, decomposition, numeric value,
  // Unicode 1.0 name, comment, uppercase, lowercase, titlecase.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithScanner(qnunicode::QNScanner& scanner);

  // The byte form without a heap allocation of its own, for the loader's record storage.
  static std::optional<QNUnicodeConcreteData> parseBytes(const char* bytes, const char* sentinel,
                                                         size_t* bytesRead);

  // A concrete copy of any record kind (initWithUnicodeData:).
  explicit QNUnicodeConcreteData(const QNUnicodeData& other);

  uint32_t codepoint() const override;
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

  std::shared_ptr<QNUnicodeData> copy() const override;
  // "CodeValue: %@, CharacterName: %@, ..." from the raw fields; an absent field prints "(null)".
  UnicodeString description() const override;

  // Sets the decomposition array and the two mapping flags from a decomposition field.
  void characterDecompositionMappingWithString(std::optional<std::u16string_view> text);

 private:
  QNUnicodeConcreteData() = default;

  // TODO(records): compact member layout (text fields in one buffer, presence bits).
};

// The numeric field read as a 32-bit float: numerator and denominator checked for digits (with
// the described log lines), divided in double precision and narrowed.
float numberFromNumericValueString(std::optional<std::u16string_view> text);
