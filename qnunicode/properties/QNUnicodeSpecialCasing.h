#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// One line of SpecialCasing: a codepoint, its lower-, title- and upper-case mappings (as
// codepoints and as the hexadecimal text of the file) and the condition under which they apply.
// Immutable once made.
class QNUnicodeSpecialCasing {
 public:
  // The record of one line, or none when the line is a comment, has fewer than four ";" or does
  // not begin with a hexadecimal codepoint.
  static std::shared_ptr<const QNUnicodeSpecialCasing> specialCasingWithString(
      std::u16string_view line);

  virtual ~QNUnicodeSpecialCasing() = default;

  uint32_t codeValue() const { return _codeValue; }
  const std::vector<uint32_t>& lowercaseMappingArray() const { return _lowercaseMappingArray; }
  const std::vector<uint32_t>& titlecaseMappingArray() const { return _titlecaseMappingArray; }
  const std::vector<uint32_t>& uppercaseMappingArray() const { return _uppercaseMappingArray; }
  // The field as written, trimmed ("0069 0307"), or "<remove>" when it holds no codepoint.
  const UnicodeString& lowercaseMapping() const { return _lowercaseMapping; }
  const UnicodeString& titlecaseMapping() const { return _titlecaseMapping; }
  const UnicodeString& uppercaseMapping() const { return _uppercaseMapping; }
  // The condition field as one trimmed text ("Final_Sigma", "tr After_Soft_Dotted"), or none.
  const std::optional<UnicodeString>& conditionList() const { return _conditionList; }

  // The code value, the three mappings (each codepoint list joined by blanks) and the condition
  // if any, joined by "; ", numbers in decimal: "223; 223; 83 115; 83 83" for U+00DF.
  virtual UnicodeString description() const;

 private:
  QNUnicodeSpecialCasing() = default;

  uint32_t _codeValue = 0;
  std::vector<uint32_t> _lowercaseMappingArray;
  std::vector<uint32_t> _titlecaseMappingArray;
  std::vector<uint32_t> _uppercaseMappingArray;
  UnicodeString _lowercaseMapping;
  UnicodeString _titlecaseMapping;
  UnicodeString _uppercaseMapping;
  std::optional<UnicodeString> _conditionList;
};
