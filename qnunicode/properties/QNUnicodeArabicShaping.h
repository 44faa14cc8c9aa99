#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

// One line of ArabicShaping: a codepoint, its schematic name, its joining type (R, L, D, C, U or
// T as the file writes it) and its joining group. Immutable once made.
class QNUnicodeArabicShaping {
 public:
  QNUnicodeArabicShaping(uint32_t codeValue, UnicodeString schematicName, UnicodeString joiningType,
                         UnicodeString joiningGroup);

  // The record of one line, or none when the line is not a data line: a line that begins with
  // "#", a line that does not split into exactly four ";"-separated pieces, or a line whose
  // first piece does not begin with a hexadecimal number. The three text pieces are trimmed;
  // whatever follows the number in the first piece is ignored, and a "#" comment in the last
  // piece stays part of the joining group.
  static std::shared_ptr<QNUnicodeArabicShaping> arabicShapingWithString(std::u16string_view line);

  uint32_t codeValue() const { return _codeValue; }
  const UnicodeString& schematicName() const { return _schematicName; }
  const UnicodeString& joiningType() const { return _joiningType; }
  const UnicodeString& joiningGroup() const { return _joiningGroup; }

  bool operator==(const QNUnicodeArabicShaping&) const = default;

 private:
  uint32_t _codeValue;
  UnicodeString _schematicName;
  UnicodeString _joiningType;
  UnicodeString _joiningGroup;
};
