#include "qnunicode/util/QNScanner.h"

#include <limits>

namespace qnunicode {

namespace {

int hexDigitValue(char16_t u) {
  if (u >= u'0' && u <= u'9') return u - u'0';
  if (u >= u'a' && u <= u'f') return u - u'a' + 10;
  if (u >= u'A' && u <= u'F') return u - u'A' + 10;
  return -1;
}

char16_t asciiLower(char16_t u) {
  return (u >= u'A' && u <= u'Z') ? u + 32 : u;
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
  size_t position = skipped(_location);
  if (position + 2 < _text.size() && _text[position] == u'0' &&
      (_text[position + 1] == u'x' || _text[position + 1] == u'X') &&
      hexDigitValue(_text[position + 2]) >= 0) {
    position += 2;
  }
  uint64_t result = 0;
  const size_t first = position;
  for (; position < _text.size(); ++position) {
    const int digit = hexDigitValue(_text[position]);
    if (digit < 0) break;
    result = (result << 4) | static_cast<uint64_t>(digit);
    if (result > 0xFFFFFFFFu) result = 0x1FFFFFFFFull;  // stays saturated, no wrap-around
  }
  if (position == first) return false;
  if (value) *value = result > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(result);
  _location = position;
  return true;
}

bool QNScanner::scanInt(int32_t* value) {
  size_t position = skipped(_location);
  bool negative = false;
  if (position < _text.size() && (_text[position] == u'-' || _text[position] == u'+')) {
    negative = _text[position] == u'-';
    ++position;
  }
  const size_t first = position;
  int64_t magnitude = 0;
  for (; position < _text.size() && _text[position] >= u'0' && _text[position] <= u'9';
       ++position) {
    if (magnitude <= std::numeric_limits<int32_t>::max()) {
      magnitude = magnitude * 10 + (_text[position] - u'0');
    }
  }
  if (position == first) return false;
  int64_t result = negative ? -magnitude : magnitude;
  if (result > std::numeric_limits<int32_t>::max()) result = std::numeric_limits<int32_t>::max();
  if (result < std::numeric_limits<int32_t>::min()) result = std::numeric_limits<int32_t>::min();
  if (value) *value = static_cast<int32_t>(result);
  _location = position;
  return true;
}

bool QNScanner::matchesAt(size_t position, std::u16string_view literal) const {
  if (literal.empty() || position + literal.size() > _text.size()) return false;
  for (size_t i = 0; i < literal.size(); ++i) {
    const char16_t a = _text[position + i], b = literal[i];
    if (a != b && (_caseSensitive || asciiLower(a) != asciiLower(b))) return false;
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
  while (position < _text.size() && !matchesAt(position, literal)) ++position;
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

}  // namespace qnunicode
