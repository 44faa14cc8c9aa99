#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/UnicodeString.h"

namespace qnunicode {

// The platform's white-space-and-newline set: the space separators (Zs), U+0009 to U+000D,
// U+0085, U+2028 and U+2029.
constexpr bool isWhitespaceOrNewline(char16_t u) {
  return u == 0x20 || (u >= 0x09 && u <= 0x0D) || u == 0x85 || u == 0xA0 || u == 0x1680 ||
         (u >= 0x2000 && u <= 0x200A) || u == 0x2028 || u == 0x2029 || u == 0x202F || u == 0x205F ||
         u == 0x3000;
}

// Splits at every occurrence of the separator; n separators give n + 1 pieces, empty ones kept.
// The pieces are views into the text.
std::vector<std::u16string_view> splitAt(std::u16string_view text, char16_t separator);

// ---- The same rules over UTF-8 bytes ----------------------------------------------------------
// Readers that go through a data file's bytes directly use these. On well-formed UTF-8 each
// answers what its UTF-16 counterpart answers over the decoded text; on other bytes they stay in
// bounds and answer something harmless.

// The number of bytes of the white space or line end (isWhitespaceOrNewline) that begins at
// text[position], or 0 when none begins there.
size_t whitespaceOrNewlineLengthInUTF8(std::string_view text, size_t position);
// The text without white space and line ends at either end (trimmedString over bytes).
std::string_view trimmedUTF8(std::string_view text);
// True when no byte is above 0x7F.
bool isASCII(std::string_view bytes);
// The UTF-16 form of UTF-8 text; an ill-formed sequence becomes U+FFFD.
UnicodeString utf16FromUTF8(std::string_view bytes);
// The same into an existing string, whose storage is kept when it has room (for ASCII text).
void assignUTF16FromUTF8(UnicodeString& text, std::string_view bytes);

// The one text scanner of the readers. Before each item it passes over the characters of its
// skip set; a failed scan leaves the position where it was. Readers state their own rules by
// choosing the skip set and case sensitivity. The scanned text must outlive the scanner.
class QNScanner {
 public:
  enum class Skip {
    Nothing,                // every character is significant
    WhitespaceAndNewlines,  // isWhitespaceOrNewline
    SpacesAndTabs,          // U+0020 and U+0009 only
  };

  explicit QNScanner(std::u16string_view text, Skip skip = Skip::WhitespaceAndNewlines)
      : _text(text), _skip(skip) {}

  void setSkip(Skip skip) { _skip = skip; }
  // Literals are matched without regard to (ASCII) case when false.
  void setCaseSensitive(bool caseSensitive) { _caseSensitive = caseSensitive; }

  size_t scanLocation() const { return _location; }
  void setScanLocation(size_t location) {
    _location = location < _text.size() ? location : _text.size();
  }
  // True when only skipped characters remain.
  bool isAtEnd() const;
  std::u16string_view text() const { return _text; }
  // The text from the current position on (nothing skipped).
  std::u16string_view remainingText() const { return _text.substr(_location); }

  // An optional "0x" or "0X" and one or more hexadecimal digits of either case, as unsigned
  // 32-bit; a value that does not fit saturates at 0xFFFFFFFF with all its digits consumed.
  bool scanHexInt(uint32_t* value);
  // An optional sign and one or more decimal digits; saturates at the 32-bit limits.
  bool scanInt(int32_t* value);
  // Matches the literal exactly (or case-blind, see setCaseSensitive).
  bool scanString(std::u16string_view literal);
  // Collects characters up to the literal or the end; fails when nothing was collected.
  bool scanUpToString(std::u16string_view literal, UnicodeString* into = nullptr);
  // Steps over exactly one character, whatever it is; fails at the end.
  bool skipCharacter();

 private:
  size_t skipped(size_t from) const;
  bool matchesAt(size_t position, std::u16string_view literal) const;

  std::u16string_view _text;
  Skip _skip;
  bool _caseSensitive = true;
  size_t _location = 0;
};

// QNScanner over UTF-8 bytes, for readers that go through a file's bytes without decoding them
// first. It passes over the same white space (in its UTF-8 forms), matches ASCII literals
// case-sensitively, and counts positions in bytes: over well-formed UTF-8 every scan succeeds
// or fails as QNScanner's does over the decoded text and collects the same characters.
class QNUTF8Scanner {
 public:
  using Skip = QNScanner::Skip;

  explicit QNUTF8Scanner(std::string_view text, Skip skip = Skip::WhitespaceAndNewlines)
      : _text(text), _skip(skip) {}

  size_t scanLocation() const { return _location; }
  bool isAtEnd() const { return skipped(_location) >= _text.size(); }
  std::string_view text() const { return _text; }
  std::string_view remainingText() const { return _text.substr(_location); }

  bool scanHexInt(uint32_t* value) {
    const auto digitAt = [&](size_t i) { return kHexDigitValues[static_cast<uint8_t>(_text[i])]; };
    size_t position = skipped(_location);
    const size_t size = _text.size();
    if (size - position > 2 && _text[position] == '0' &&
        (_text[position + 1] == 'x' || _text[position + 1] == 'X') && digitAt(position + 2) >= 0) {
      position += 2;
    }
    const size_t first = position;
    uint64_t result = 0;
    for (int digit; position < size && (digit = digitAt(position)) >= 0; ++position) {
      result = (result << 4) | static_cast<uint64_t>(digit);
      if (result > 0xFFFFFFFFu) result = 0x1FFFFFFFFull;  // stays saturated, no wrap-around
    }
    if (position == first) return false;
    if (value) *value = result > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(result);
    _location = position;
    return true;
  }
  bool scanInt(int32_t* value);
  // The literal is ASCII.
  bool scanString(std::string_view literal) {
    const size_t position = skipped(_location);
    if (literal.empty() || _text.size() - position < literal.size()) return false;
    for (size_t i = 0; i < literal.size(); ++i) {
      if (_text[position + i] != literal[i]) return false;
    }
    _location = position + literal.size();
    return true;
  }
  // The collected bytes are a view into the text.
  bool scanUpToString(std::string_view literal, std::string_view* into = nullptr) {
    const size_t first = skipped(_location);
    // An empty literal is never found, so everything up to the end is collected.
    size_t found = std::string_view::npos;
    if (literal.size() == 1) {
      found = _text.find(literal[0], first);
    } else if (!literal.empty()) {
      found = _text.find(literal, first);
    }
    const size_t position = std::min(found, _text.size());
    if (position == first) return false;
    if (into) *into = _text.substr(first, position - first);
    _location = position;
    return true;
  }

 private:
  // The value of each byte as a hexadecimal digit, -1 for any other byte.
  static constexpr std::array<int8_t, 256> kHexDigitValues = [] {
    std::array<int8_t, 256> values{};
    for (int byte = 0; byte < 256; ++byte) {
      values[byte] = static_cast<int8_t>(hexDigitValue(static_cast<uint32_t>(byte)));
    }
    return values;
  }();

  // ASCII white space is passed over here; a byte above 0x7F may begin a longer form.
  size_t skipped(size_t from) const {
    if (_skip == Skip::Nothing) return from;
    while (from < _text.size()) {
      const auto byte = static_cast<uint8_t>(_text[from]);
      if (byte == ' ' || byte == '\t' ||
          (_skip == Skip::WhitespaceAndNewlines && byte >= 0x0A && byte <= 0x0D)) {
        ++from;
      } else if (byte >= 0x80 && _skip == Skip::WhitespaceAndNewlines) {
        const size_t length = whitespaceOrNewlineLengthInUTF8(_text, from);
        if (length == 0) break;
        from += length;
      } else {
        break;
      }
    }
    return from;
  }

  std::string_view _text;
  Skip _skip;
  size_t _location = 0;
};

}  // namespace qnunicode
