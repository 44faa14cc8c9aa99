#include "qnunicode/util/QNScanner.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "qnunicode/strings/QNTextPrimitives.h"

namespace qnunicode {

namespace {

constexpr size_t kNoMatch = static_cast<size_t>(-1);

bool isASCIILetter(char16_t u) {
  return asciiLowercase(u) >= u'a' && asciiLowercase(u) <= u'z';
}

// The number scans of both scanners, on code units or bytes. Each answers the position after the
// number, or kNoMatch (and sets nothing) when there is no number at `position`.

// An optional "0x" or "0X" and one or more hexadecimal digits; saturates at 0xFFFFFFFF.
template <typename Char>
size_t hexNumberEnd(std::basic_string_view<Char> text, size_t position, uint32_t* value) {
  // A byte above 0x7F widens to no digit.
  const auto digitAt = [&](size_t i) { return hexDigitValue(static_cast<uint32_t>(text[i])); };
  if (position + 2 < text.size() && text[position] == '0' &&
      (text[position + 1] == 'x' || text[position + 1] == 'X') && digitAt(position + 2) >= 0) {
    position += 2;
  }
  uint64_t result = 0;
  const size_t first = position;
  for (; position < text.size(); ++position) {
    const int digit = digitAt(position);
    if (digit < 0) break;
    result = (result << 4) | static_cast<uint64_t>(digit);
    if (result > 0xFFFFFFFFu) result = 0x1FFFFFFFFull;  // stays saturated, no wrap-around
  }
  if (position == first) return kNoMatch;
  if (value) *value = result > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(result);
  return position;
}

// An optional sign and one or more decimal digits; saturates at the 32-bit limits.
template <typename Char>
size_t decimalNumberEnd(std::basic_string_view<Char> text, size_t position, int32_t* value) {
  bool negative = false;
  if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
    negative = text[position] == '-';
    ++position;
  }
  const size_t first = position;
  int64_t magnitude = 0;
  for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position) {
    if (magnitude <= std::numeric_limits<int32_t>::max()) {
      magnitude = magnitude * 10 + (text[position] - '0');
    }
  }
  if (position == first) return kNoMatch;
  int64_t result = negative ? -magnitude : magnitude;
  if (result > std::numeric_limits<int32_t>::max()) result = std::numeric_limits<int32_t>::max();
  if (result < std::numeric_limits<int32_t>::min()) result = std::numeric_limits<int32_t>::min();
  if (value) *value = static_cast<int32_t>(result);
  return position;
}

}  // namespace

std::vector<std::u16string_view> splitAt(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> pieces;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == separator) {
      pieces.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

size_t QNScanner::skipped(size_t from) const {
  switch (_skip) {
    case Skip::Nothing:
      return from;
    case Skip::WhitespaceAndNewlines:
      while (from < _text.size() && isWhitespaceOrNewline(_text[from])) ++from;
      return from;
    case Skip::SpacesAndTabs:
      while (from < _text.size() && (_text[from] == u' ' || _text[from] == u'\t')) ++from;
      return from;
  }
  return from;
}

bool QNScanner::isAtEnd() const {
  return skipped(_location) >= _text.size();
}

bool QNScanner::scanHexInt(uint32_t* value) {
  const size_t end = hexNumberEnd(_text, skipped(_location), value);
  if (end == kNoMatch) return false;
  _location = end;
  return true;
}

bool QNScanner::scanInt(int32_t* value) {
  const size_t end = decimalNumberEnd(_text, skipped(_location), value);
  if (end == kNoMatch) return false;
  _location = end;
  return true;
}

bool QNScanner::matchesAt(size_t position, std::u16string_view literal) const {
  if (literal.empty() || position + literal.size() > _text.size()) return false;
  for (size_t i = 0; i < literal.size(); ++i) {
    const char16_t a = _text[position + i], b = literal[i];
    if (a != b && (_caseSensitive || asciiLowercase(a) != asciiLowercase(b))) return false;
  }
  return true;
}

bool QNScanner::scanString(std::u16string_view literal) {
  const size_t position = skipped(_location);
  if (!matchesAt(position, literal)) return false;
  _location = position + literal.size();
  return true;
}

bool QNScanner::scanUpToString(std::u16string_view literal, UnicodeString* into) {
  const size_t first = skipped(_location);
  size_t position = first;
  if (literal.size() == 1 && (_caseSensitive || !isASCIILetter(literal[0]))) {
    // One unit that case does not touch: a plain search.
    position = std::min(_text.find(literal[0], first), _text.size());
  } else {
    while (position < _text.size() && !matchesAt(position, literal)) ++position;
  }
  if (position == first) return false;
  if (into) into->assign(_text.substr(first, position - first));
  _location = position;
  return true;
}

bool QNScanner::skipCharacter() {
  if (_location >= _text.size()) return false;
  ++_location;
  return true;
}

// ---- UTF-8 ------------------------------------------------------------------------------------

size_t whitespaceOrNewlineLengthInUTF8(std::string_view text, size_t position) {
  const auto byte = [&](size_t k) {
    return position + k < text.size() ? static_cast<uint8_t>(text[position + k]) : 0;
  };
  const uint8_t lead = byte(0);
  if (lead < 0x80) return (lead == 0x20 || (lead >= 0x09 && lead <= 0x0D)) ? 1 : 0;
  switch (lead) {
    case 0xC2:  // U+0085, U+00A0
      return (byte(1) == 0x85 || byte(1) == 0xA0) ? 2 : 0;
    case 0xE1:  // U+1680
      return (byte(1) == 0x9A && byte(2) == 0x80) ? 3 : 0;
    case 0xE2: {  // U+2000 to U+200A, U+2028, U+2029, U+202F; U+205F
      const uint8_t last = byte(2);
      if (byte(1) == 0x80) {
        return ((last >= 0x80 && last <= 0x8A) || last == 0xA8 || last == 0xA9 || last == 0xAF) ? 3
                                                                                                : 0;
      }
      return (byte(1) == 0x81 && last == 0x9F) ? 3 : 0;
    }
    case 0xE3:  // U+3000
      return (byte(1) == 0x80 && byte(2) == 0x80) ? 3 : 0;
    default:
      return 0;
  }
}

std::string_view trimmedUTF8(std::string_view text) {
  size_t length;
  while (!text.empty() && (length = whitespaceOrNewlineLengthInUTF8(text, 0)) > 0) {
    text.remove_prefix(length);
  }
  // A white-space form ends the text when its lead byte stands one, two or three bytes before
  // the end and it runs exactly to the end (continuation bytes are never lead bytes).
  for (bool trimmed = true; trimmed && !text.empty();) {
    const auto lastByte = static_cast<uint8_t>(text.back());
    if (lastByte < 0x80) {
      trimmed = lastByte == ' ' || (lastByte >= 0x09 && lastByte <= 0x0D);
      if (trimmed) text.remove_suffix(1);
      continue;
    }
    trimmed = false;
    for (size_t back = 1; back <= 3 && back <= text.size(); ++back) {
      if (whitespaceOrNewlineLengthInUTF8(text, text.size() - back) == back) {
        text.remove_suffix(back);
        trimmed = true;
        break;
      }
    }
  }
  return text;
}

bool isASCII(std::string_view bytes) {
  const char* data = bytes.data();
  size_t size = bytes.size();
  uint64_t any = 0;
  for (; size >= 32; data += 32, size -= 32) {
    uint64_t words[4];
    std::memcpy(words, data, 32);
    any |= words[0] | words[1] | words[2] | words[3];
  }
  for (; size > 0; ++data, --size) any |= static_cast<uint8_t>(*data);
  return (any & 0x8080808080808080ull) == 0;
}

UnicodeString utf16FromUTF8(std::string_view bytes) {
  if (isASCII(bytes)) return UnicodeString(bytes.begin(), bytes.end());
  if (std::optional<UnicodeString> decoded = decodeUTF8(bytes)) return std::move(*decoded);
  return fromUTF8(bytes);
}

void assignUTF16FromUTF8(UnicodeString& text, std::string_view bytes) {
  if (isASCII(bytes)) {
    text.assign(bytes.begin(), bytes.end());
  } else {
    text = utf16FromUTF8(bytes);
  }
}

bool QNUTF8Scanner::scanInt(int32_t* value) {
  const size_t end = decimalNumberEnd(_text, skipped(_location), value);
  if (end == kNoMatch) return false;
  _location = end;
  return true;
}

}  // namespace qnunicode
