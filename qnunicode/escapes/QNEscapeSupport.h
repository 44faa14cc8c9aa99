#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

// The pieces shared by the escaping routines and the XHTML references: the codepoint walk as an
// inline step, a preserved set with a constant-time answer for the Latin-1 range, and the working
// buffer of the replacing routines.
namespace qnunicode::detail {

// One step of the codepoint walk (QNUnicode::codepointAtIndex with index 0), inline for the
// escaping loops. At `position` (< text.size()) it answers the codepoint and the position of the
// next one, which may equal text.size() (the walk's -1). After an unpaired high surrogate that is
// followed by a unit the walk goes on two units further, so that unit is never seen.
struct WalkStep {
  uint32_t codepoint;
  size_t next;
  // The units the codepoint itself takes (1 or 2); less than next - position where the walk
  // passes over a unit.
  size_t length;
};
inline WalkStep walkStep(std::u16string_view text, size_t position) {
  const UTF16Codepoint step = codepointWalkStep(text.data(), text.size(), position);
  return {step.codepoint, position + step.length, UTF16Length(step.codepoint)};
}

// A CodepointSet asked codepoint by codepoint: a bitmap answers U+0000 to U+00FF, the set's
// binary search everything above.
class PreservedSet {
 public:
  // The set must outlive this object.
  explicit PreservedSet(const CodepointSet* set) : _set(set) {
    if (!set || set->empty()) return;
    _last = set->ranges().back().last;
    for (const auto& range : set->ranges()) {
      if (range.first > 0xFF) break;
      const uint32_t last = range.last < 0xFF ? range.last : 0xFF;
      for (uint32_t c = range.first; c <= last; ++c) _low[c >> 6] |= uint64_t(1) << (c & 63);
    }
  }
  bool contains(uint32_t codepoint) const {
    if (codepoint <= 0xFF) return (_low[codepoint >> 6] >> (codepoint & 63)) & 1;
    // Most sets end in ASCII: nothing above their last member needs the search.
    return codepoint <= _last && _set->contains(codepoint);
  }

 private:
  std::array<uint64_t, 4> _low{};
  const CodepointSet* _set;
  uint32_t _last = 0;  // the highest member; 0 for an empty set, whose bitmap answers anyway
};

// The working buffer of a replacing routine: a flat copy of the text's units, decoded in place
// (the output is written behind the read position and never overtakes it) and then cut to the
// output's length and handed over as the result. Raises QNMallocException "Malloc failed for
// string of length %lu" when the copy cannot be had.
UnicodeString workingCopy(std::u16string_view text);

// The value of a hexadecimal digit of either case, or -1 (hexDigitValue through a table).
inline constexpr std::array<int8_t, 128> kHexDigitValues = [] {
  std::array<int8_t, 128> values{};
  for (uint32_t unit = 0; unit < 128; ++unit)
    values[unit] = static_cast<int8_t>(hexDigitValue(unit));
  return values;
}();
inline int hexValue(char16_t unit) {
  return unit < 128 ? kHexDigitValues[unit] : -1;
}

// The position of the first `mark` at or after `from`, or size.
inline size_t findUnit(const char16_t* text, size_t from, size_t size, char16_t mark) {
  size_t i = from;
#if defined(__SSE2__)
  const __m128i wanted = _mm_set1_epi16(static_cast<short>(mark));
  for (; i + 8 <= size; i += 8) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const int found = _mm_movemask_epi8(_mm_cmpeq_epi16(units, wanted));
    if (found) return i + (static_cast<unsigned>(__builtin_ctz(static_cast<unsigned>(found))) >> 1);
  }
#endif
  while (i < size && text[i] != mark) ++i;
  return i;
}

// Lower-case hexadecimal digits.
inline constexpr char16_t kLowerHexDigits[] = u"0123456789abcdef";

// Writes `count` lower-case hexadecimal digits of the value at out and answers the end.
inline char16_t* writeHex(char16_t* out, uint32_t value, int count) {
  for (int shift = 4 * (count - 1); shift >= 0; shift -= 4)
    *out++ = kLowerHexDigits[(value >> shift) & 0xF];
  return out;
}

}  // namespace qnunicode::detail
