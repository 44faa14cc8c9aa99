#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "qnunicode/idna/QNUnicodeIDNA2008.h"

namespace qnunicode::detail {

// One codepoint's IDNA2008 facts in 16 bits: a bit per category (A to J), the derived property
// in three bits and a bit that says the entry has been worked out.
enum IDNA2008Bit : uint16_t {
  kIDNA2008LetterDigits = 1u << 0,
  kIDNA2008Unstable = 1u << 1,
  kIDNA2008IgnorableProperties = 1u << 2,
  kIDNA2008IgnorableBlocks = 1u << 3,
  kIDNA2008LDH = 1u << 4,
  kIDNA2008Exceptions = 1u << 5,
  kIDNA2008BackwardCompatible = 1u << 6,
  kIDNA2008JoinControl = 1u << 7,
  kIDNA2008OldHangulJamo = 1u << 8,
  kIDNA2008Unassigned = 1u << 9,
  // Beside the categories, two facts the label conversion asks of every codepoint: the
  // bidirectional category is R, AL or AN, and the codepoint is left as it is by NFC whatever
  // surrounds it (so a label of such codepoints is in NFC).
  kIDNA2008RightToLeft = 1u << 13,
  kIDNA2008NFCInert = 1u << 14,
  kIDNA2008Known = 1u << 15,
};
constexpr unsigned kIDNA2008DerivedShift = 10;

// The derived property values, in the order of their views below.
enum class IDNA2008Derived : uint8_t { PVALID, CONTEXTJ, CONTEXTO, DISALLOWED, UNASSIGNED };

constexpr IDNA2008Derived derivedOfBits(uint16_t bits) {
  return static_cast<IDNA2008Derived>((bits >> kIDNA2008DerivedShift) & 7u);
}

constexpr std::u16string_view derivedPropertyText(IDNA2008Derived derived) {
  switch (derived) {
    case IDNA2008Derived::PVALID:
      return IDNA2008DerivedProperty_PVALID;
    case IDNA2008Derived::CONTEXTJ:
      return IDNA2008DerivedProperty_CONTEXTJ;
    case IDNA2008Derived::CONTEXTO:
      return IDNA2008DerivedProperty_CONTEXTO;
    case IDNA2008Derived::DISALLOWED:
      return IDNA2008DerivedProperty_DISALLOWED;
    case IDNA2008Derived::UNASSIGNED:
      break;
  }
  return IDNA2008DerivedProperty_UNASSIGNED;
}

// The entries of every codepoint up to 0x10FFFF, zero (not worked out) until asked.
class IDNA2008PropertyTable {
 public:
  static constexpr uint32_t kSize = 0x110000;
  IDNA2008PropertyTable() : _bits(new uint16_t[kSize]()) {}
  uint16_t& operator[](uint32_t codepoint) { return _bits[codepoint]; }

 private:
  std::unique_ptr<uint16_t[]> _bits;
};

}  // namespace qnunicode::detail
