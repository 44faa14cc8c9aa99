#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The text primitives every string walk and reader of the library is written on: surrogate
// pairing over UTF-16, UTF-16 and UTF-8 encoding of one codepoint, ASCII case mapping and
// hexadecimal digit values. Each exists once, here; nothing else pairs surrogates or lower-cases
// ASCII by hand.
//
// The surrogate policy: a high surrogate directly followed by a low surrogate is one
// supplementary codepoint; every other unit, an unpaired surrogate included, is a codepoint of
// its own value and is never replaced. (The codepoint walk of QNUnicodeCodepoints.h adds the one
// exception: after an unpaired high surrogate it goes on two units further.)
namespace qnunicode {

inline constexpr uint32_t kMaximumCodepoint = 0x10FFFF;

constexpr bool isHighSurrogate(uint32_t unit) {
  return (unit & 0xFFFFFC00u) == 0xD800;
}
constexpr bool isLowSurrogate(uint32_t unit) {
  return (unit & 0xFFFFFC00u) == 0xDC00;
}
// True for the values 0xD800 to 0xDFFF, paired or not.
constexpr bool isSurrogate(uint32_t value) {
  return (value & 0xFFFFF800u) == 0xD800;
}

// One codepoint read from UTF-16: its value and the number of units it takes (1 or 2).
struct UTF16Codepoint {
  uint32_t codepoint;
  uint32_t length;
};

// The codepoint that starts at `position` (< size) of the units at `text`, by the surrogate
// policy above.
constexpr UTF16Codepoint codepointAt(const char16_t* text, size_t size, size_t position) {
  const uint32_t unit = text[position];
  if (isHighSurrogate(unit) && position + 1 < size && isLowSurrogate(text[position + 1])) {
    return {(((unit & 0x3FF) << 10) | (text[position + 1] & 0x3FFu)) + 0x10000, 2};
  }
  return {unit, 1};
}
constexpr UTF16Codepoint codepointAt(std::u16string_view text, size_t position) {
  return codepointAt(text.data(), text.size(), position);
}

// One step of the codepoint walk from `position` (< size): the codepoint there, and in `length`
// the units the walk moves on by. These are codepointAt's, but for the walk's one exception: after
// an unpaired high surrogate that has a unit after it, the walk moves on two units, passing over
// that unit.
constexpr UTF16Codepoint codepointWalkStep(const char16_t* text, size_t size, size_t position) {
  UTF16Codepoint step = codepointAt(text, size, position);
  if (step.length == 1 && isHighSurrogate(step.codepoint) && position + 1 < size) step.length = 2;
  return step;
}

// The codepoint that ends just before `end` (> 0), read backwards by the same policy.
constexpr UTF16Codepoint codepointBefore(std::u16string_view text, size_t end) {
  if (end >= 2 && isLowSurrogate(text[end - 1]) && isHighSurrogate(text[end - 2])) {
    return codepointAt(text, end - 2);
  }
  return {text[end - 1], 1};
}

// The number of UTF-16 units of a codepoint: 2 above the Basic Multilingual Plane, else 1.
constexpr size_t UTF16Length(uint32_t codepoint) {
  return codepoint < 0x10000 ? 1 : 2;
}

// Writes the codepoint's units at `out` and answers the position after them. A value up to
// 0xFFFF (a lone surrogate included) is one unit; above, a surrogate pair.
constexpr char16_t* writeUTF16(char16_t* out, uint32_t codepoint) {
  if (codepoint < 0x10000) {
    *out++ = static_cast<char16_t>(codepoint);
  } else {
    const uint32_t v = codepoint - 0x10000;
    *out++ = static_cast<char16_t>(0xD800 | ((v >> 10) & 0x3FF));
    *out++ = static_cast<char16_t>(0xDC00 | (v & 0x3FF));
  }
  return out;
}
inline void appendUTF16(std::u16string& out, uint32_t codepoint) {
  char16_t units[2];
  out.append(units, static_cast<size_t>(writeUTF16(units, codepoint) - units));
}

// Writes the codepoint's UTF-8 bytes (1 to 4) at `out` and answers the position after them.
// Surrogate values are encoded as their three-byte form; callers that must not write one check
// first.
constexpr char* writeUTF8(char* out, uint32_t c) {
  if (c < 0x80) {
    *out++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *out++ = static_cast<char>(0xC0 | (c >> 6));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out++ = static_cast<char>(0xE0 | (c >> 12));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out++ = static_cast<char>(0xF0 | (c >> 18));
    *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}
inline void appendUTF8(std::string& out, uint32_t codepoint) {
  char bytes[4];
  out.append(bytes, static_cast<size_t>(writeUTF8(bytes, codepoint) - bytes));
}

// A-Z to a-z; every other value, ASCII or not, unchanged. For any unit or codepoint type.
template <typename Unit>
constexpr Unit asciiLowercase(Unit unit) {
  return (unit >= Unit('A') && unit <= Unit('Z')) ? static_cast<Unit>(unit + 0x20) : unit;
}
// a-z to A-Z; every other value unchanged.
template <typename Unit>
constexpr Unit asciiUppercase(Unit unit) {
  return (unit >= Unit('a') && unit <= Unit('z')) ? static_cast<Unit>(unit - 0x20) : unit;
}

// The value of a hexadecimal digit of either case, or -1 for anything else.
constexpr int hexDigitValue(uint32_t unit) {
  if (unit >= '0' && unit <= '9') return static_cast<int>(unit - '0');
  const uint32_t lower = asciiLowercase(unit);
  if (lower >= 'a' && lower <= 'f') return static_cast<int>(lower - 'a' + 10);
  return -1;
}

}  // namespace qnunicode
