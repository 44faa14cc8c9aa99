#pragma once

// The canonical ordering of the normalization forms, with its count. Internal to the library.
//
// Canonical ordering sorts each run of non-starters (codepoints of a combining class other than
// 0) by class, stably, as an exchange sort of adjacent codepoints would; its count is the number
// of adjacent swaps that exchange sort makes.

#include <cstdint>
#include <vector>

namespace qnunicode::detail {

// A codepoint of the working list with its combining class (signed, as the forms compare it).
struct NormalizationElement {
  uint32_t codepoint;
  int32_t combiningClass;
  bool operator==(const NormalizationElement&) const = default;
};

// Orders the list canonically and answers the exchange sort's swaps. `scratch` is working room
// that callers keep between calls. Where a class can read as negative (only a malformed
// UnicodeData gives one), a starter no longer stops a run: the whole list is ordered as one.
uint64_t orderCanonically(std::vector<NormalizationElement>& list,
                          std::vector<NormalizationElement>& scratch, bool hasNegativeClasses);

}  // namespace qnunicode::detail
