#pragma once

// The arithmetic of the precomposed Hangul syllables, shared by the database's Hangul operations
// and the normalization loop. Internal to the normalization folder.

#include <cstddef>
#include <cstdint>

namespace qnunicode::hangul {

inline constexpr uint32_t SBase = 0xAC00;
inline constexpr uint32_t LBase = 0x1100;
inline constexpr uint32_t VBase = 0x1161;
inline constexpr uint32_t TBase = 0x11A7;
inline constexpr uint32_t LCount = 19;
inline constexpr uint32_t VCount = 21;
inline constexpr uint32_t TCount = 28;
inline constexpr uint32_t NCount = VCount * TCount;    // 588
inline constexpr uint32_t SCount = LCount * NCount;    // 11172
inline constexpr uint32_t SLast = SBase + SCount - 1;  // 0xD7A3

// The composition step accepts 29 trailing values, TBase itself and TBase + 28 included.
inline constexpr uint32_t TAcceptedSpan = 28;

// Writes the two or three jamo of a syllable and answers their count; 0 for anything else.
[[gnu::always_inline]] inline size_t decomposeSyllable(uint32_t codepoint, uint32_t jamo[3]) {
  const uint32_t sIndex = codepoint - SBase;
  if (sIndex >= SCount) return 0;
  jamo[0] = LBase + sIndex / NCount;
  jamo[1] = VBase + (sIndex % NCount) / TCount;
  const uint32_t tIndex = sIndex % TCount;
  if (tIndex == 0) return 2;
  jamo[2] = TBase + tIndex;
  return 3;
}

// Whether `next` combines with the preceding `last`: a leading consonant with a vowel, or an LV
// syllable with one of the 29 accepted trailing values. The differences are unsigned, so values
// below a base fail.
[[gnu::always_inline]] inline bool combine(uint32_t last, uint32_t next, uint32_t* combined) {
  if (last - LBase < LCount && next - VBase < VCount) {
    *combined = SBase + ((last - LBase) * VCount + (next - VBase)) * TCount;
    return true;
  }
  const uint32_t sIndex = last - SBase;
  if (sIndex < SCount && sIndex % TCount == 0 && next - TBase <= TAcceptedSpan) {
    *combined = last + (next - TBase);
    return true;
  }
  return false;
}

// Whether a codepoint can be absorbed by the element before it (a vowel or an accepted trailing
// value).
[[gnu::always_inline]] inline bool combinesWithPrevious(uint32_t codepoint) {
  return codepoint - VBase < VCount || codepoint - TBase <= TAcceptedSpan;
}

// Composes neighbours in place, left to right, each step looking at the last element written;
// answers the new length and sets the count of combinations made when asked.
inline size_t composeInPlace(uint32_t* codepoints, size_t length, uint32_t* replacementCount) {
  uint32_t count = 0;
  size_t written = 0;
  for (size_t i = 0; i < length; ++i) {
    uint32_t combined;
    if (written > 0 && combine(codepoints[written - 1], codepoints[i], &combined)) {
      codepoints[written - 1] = combined;
      ++count;
    } else {
      codepoints[written++] = codepoints[i];
    }
  }
  if (replacementCount) *replacementCount = count;
  return written;
}

}  // namespace qnunicode::hangul
