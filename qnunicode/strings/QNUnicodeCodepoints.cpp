#include "qnunicode/strings/QNUnicodeCodepoints.h"

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace QNUnicode {

namespace {

using qnunicode::codepointAt;

[[noreturn]] void throwIndexOutOfRange(int32_t index) {
  throw QNRangeException(QNFormat("UTF32 Index %i out of range", index));
}

// The unit offset of codepoint index `index` (counted as UTF32Length counts), or s.size() when
// the string has exactly `index` codepoints; answers false when it has fewer.
bool unitOffsetOfCodepointIndex(std::u16string_view s, int64_t index, size_t* offset) {
  size_t position = 0;
  for (int64_t k = 0; k < index; ++k) {
    if (position >= s.size()) return false;
    position += codepointAt(s, position).length;
  }
  *offset = position;
  return true;
}

}  // namespace

UnicodeString stringWithCodepoint(uint32_t codepoint) {
  UnicodeString result;
  qnunicode::appendUTF16(result, codepoint);
  return result;
}

uint32_t UTF16CodeForCode(uint32_t codepoint) {
  char16_t units[2] = {0, 0};
  qnunicode::writeUTF16(units, codepoint);
  return units[0] | (static_cast<uint32_t>(units[1]) << 16);
}

std::optional<UnicodeString> UTF8RepresentationOfCodepoint(uint32_t codepoint,
                                                           uint32_t numberSystem, bool withPrefix) {
  if (numberSystem != 16 && numberSystem != 8) {
    throw QNInvalidArgumentException("numberSystem must be 16 or 8");
  }
  const bool hexadecimal = numberSystem == 16;
  if (qnunicode::isSurrogate(codepoint)) return std::nullopt;
  const std::string bytes = qnunicode::toUTF8(stringWithCodepoint(codepoint));
  if (bytes.empty()) return std::nullopt;
  // U+0000 keeps the "0x" even without a prefix.
  if (bytes[0] == '\0') return hexadecimal ? UnicodeString(u"0x00") : UnicodeString(u"\\000");
  // Two upper-case hexadecimal digits a byte, or a backslash and three octal digits.
  static constexpr char16_t digits[] = u"0123456789ABCDEF";
  UnicodeString text = (withPrefix && hexadecimal) ? u"0x" : u"";
  text.reserve(text.size() + bytes.size() * 4);
  for (char byte : bytes) {
    const uint8_t value = static_cast<uint8_t>(byte);
    if (hexadecimal) {
      text.push_back(digits[value >> 4]);
      text.push_back(digits[value & 0xF]);
    } else {
      text.push_back(u'\\');
      text.push_back(digits[value >> 6]);
      text.push_back(digits[(value >> 3) & 7]);
      text.push_back(digits[value & 7]);
    }
  }
  return text;
}

std::optional<UnicodeString> stringWithContentsOfUTF8File(const std::string& path) {
  return qnunicode::detail::DataFile(path).text();
}

uint32_t codepointAtUnicharIndex(std::u16string_view s, int32_t index, bool higherPlanes) {
  // A negative index, taken as unsigned, is never below the length.
  if (static_cast<uint64_t>(static_cast<int64_t>(index)) >= s.size()) throwIndexOutOfRange(index);
  const size_t position = static_cast<size_t>(index);
  return higherPlanes ? codepointAt(s, position).codepoint : s[position];
}

uint32_t codepointAtIndex(std::u16string_view s, int32_t index, int32_t fromCharacterOffset,
                          int32_t* nextCodepointCharacterOffset) {
  const int64_t length = static_cast<int64_t>(s.size());
  // A negative offset (the -1 that ends a walk) or a negative index has no codepoint either.
  if (length <= fromCharacterOffset || fromCharacterOffset < 0 || index < 0) {
    throwIndexOutOfRange(index);
  }
  size_t position = static_cast<size_t>(fromCharacterOffset);
  // Counting codepoints steps over a pair as one and over an unpaired surrogate as one.
  for (int32_t k = 0; k < index; ++k) {
    position += codepointAt(s, position).length;
    if (position >= s.size()) throwIndexOutOfRange(index);
  }
  const qnunicode::UTF16Codepoint step = qnunicode::codepointWalkStep(s.data(), s.size(), position);
  const size_t next = position + step.length;
  if (nextCodepointCharacterOffset) {
    *nextCodepointCharacterOffset = next < s.size() ? static_cast<int32_t>(next) : -1;
  }
  return step.codepoint;
}

uint32_t codepointAtIndex(std::u16string_view s, int32_t index) {
  return codepointAtIndex(s, index, 0, nullptr);
}

int32_t UTF32Length(std::u16string_view s) {
  int32_t length = 0;
  for (size_t i = 0; i < s.size(); i += codepointAt(s, i).length) ++length;
  return length;
}

std::vector<UnicodeString> codepoints(std::u16string_view s) {
  const int32_t count = UTF32Length(s);
  std::vector<UnicodeString> result;
  result.reserve(static_cast<size_t>(count));
  int32_t offset = 0;
  for (int32_t k = 0; k < count; ++k) {
    // The walk's offsets pass over the unit after an unpaired high surrogate, so a string with
    // one runs out before its count and the next walk raises the range error.
    result.push_back(stringWithCodepoint(codepointAtIndex(s, 0, offset, &offset)));
  }
  return result;
}

std::optional<UnicodeString> UTF8RepresentationAtIndex(std::u16string_view s, int32_t index,
                                                       uint32_t numberSystem, bool withPrefix) {
  return UTF8RepresentationOfCodepoint(codepointAtUnicharIndex(s, index, true), numberSystem,
                                       withPrefix);
}

UnicodeString UTF16RepresentationAtIndex(std::u16string_view s, int32_t index) {
  const uint32_t code = UTF16CodeForCode(codepointAtUnicharIndex(s, index, true));
  std::string text = QNFormat("0x%04X", code & 0xFFFF);
  if (code >> 16) text += QNFormat("%04X", code >> 16);
  return qnunicode::decodeLatin1(text);
}

std::optional<std::vector<UnicodeString>> hexCodepointsArrayWithMaximumLength(
    std::u16string_view s, uint32_t maximumLength) {
  const int32_t count = UTF32Length(s);
  if (count == 0) return std::nullopt;
  const bool truncated = maximumLength != 0 && static_cast<uint32_t>(count) > maximumLength;
  const uint32_t listed = truncated ? maximumLength : static_cast<uint32_t>(count);
  std::vector<UnicodeString> result;
  result.reserve(listed + (truncated ? 1 : 0));
  int32_t offset = 0;
  for (uint32_t k = 0; k < listed; ++k) {
    result.push_back(
        qnunicode::decodeLatin1(QNFormat("%04X", codepointAtIndex(s, 0, offset, &offset))));
  }
  if (truncated) result.push_back(u"...");
  return result;
}

std::optional<UnicodeString> hexCodepointsJoinedBySpacesWithMaximumLength(std::u16string_view s,
                                                                          uint32_t maximumLength) {
  const auto list = hexCodepointsArrayWithMaximumLength(s, maximumLength);
  if (!list) return std::nullopt;
  UnicodeString joined;
  for (size_t i = 0; i < list->size(); ++i) {
    if (i) joined.push_back(u' ');
    joined += (*list)[i];
  }
  return joined;
}

std::optional<UnicodeString> hexCodepointsJoinedBySpaces(std::u16string_view s) {
  return hexCodepointsJoinedBySpacesWithMaximumLength(s, 0);
}

UnicodeString trimmedString(std::u16string_view s) {
  size_t first = 0, end = s.size();
  while (first < end && qnunicode::isWhitespaceOrNewline(s[first])) ++first;
  while (end > first && qnunicode::isWhitespaceOrNewline(s[end - 1])) --end;
  return UnicodeString(s.substr(first, end - first));
}

UnicodeString stringWithoutLeadingCharactersFromSet(std::u16string_view s,
                                                    const CodepointSet& set) {
  size_t position = 0;
  while (position < s.size()) {
    const qnunicode::UTF16Codepoint read = codepointAt(s, position);
    if (!set.contains(read.codepoint)) return UnicodeString(s.substr(position));
    position += read.length;
  }
  return UnicodeString();
}

UnicodeString stringWithoutTrailingCharactersFromSet(std::u16string_view s,
                                                     const CodepointSet& set) {
  size_t end = s.size();
  while (end > 0) {
    const qnunicode::UTF16Codepoint read = qnunicode::codepointBefore(s, end);
    if (!set.contains(read.codepoint)) return UnicodeString(s.substr(0, end));
    end -= read.length;
  }
  return UnicodeString();
}

// Copying codepoint by codepoint with fresh walks from the start gives exactly the units of the
// codepoints copied (stringWithCodepoint rebuilds a pair or a lone surrogate unit as it stood),
// so the copies are made as substrings at the codepoints' unit offsets, with the same range
// errors the walks would raise.
UnicodeString stringByInsertingString(std::u16string_view s, std::u16string_view string,
                                      int32_t atCodepointIndex, bool replace) {
  const int64_t count = UTF32Length(s);
  size_t headEnd = 0;
  if (atCodepointIndex > count) {
    // The head copy fails at the first index past the last codepoint.
    throwIndexOutOfRange(static_cast<int32_t>(count));
  }
  if (atCodepointIndex > 0) unitOffsetOfCodepointIndex(s, atCodepointIndex, &headEnd);
  const int64_t tailStart = static_cast<int64_t>(atCodepointIndex) + (replace ? 1 : 0);
  if (tailStart < 0) throwIndexOutOfRange(static_cast<int32_t>(tailStart));
  size_t tailBegin = s.size();
  if (tailStart < count) unitOffsetOfCodepointIndex(s, tailStart, &tailBegin);
  UnicodeString result;
  result.reserve(headEnd + string.size() + (s.size() - tailBegin));
  result.append(s.substr(0, headEnd));
  result.append(string);
  result.append(s.substr(tailBegin));
  return result;
}

UnicodeString stringByReplacingCodepointAtIndex(std::u16string_view s, int32_t index,
                                                std::u16string_view withString) {
  return stringByInsertingString(s, withString, index, true);
}

UnicodeString stringByRemovingCodepointsAtIndexes(std::u16string_view s,
                                                  const CodepointIndexSet& indexes) {
  UnicodeString result;
  result.reserve(s.size());
  size_t position = 0;
  for (uint32_t k = 0; position < s.size(); ++k) {
    const size_t units = codepointAt(s, position).length;
    if (!indexes.contains(k)) result.append(s.substr(position, units));
    position += units;
  }
  return result;
}

std::vector<UnicodeString> componentsSeparatedByCodepoint(std::u16string_view s,
                                                          uint32_t codepoint) {
  std::vector<UnicodeString> pieces;
  pieces.reserve(10);
  UnicodeString piece;
  piece.reserve(s.size());
  if (!s.empty()) {
    int32_t offset = 0;
    while (offset >= 0) {
      const uint32_t character = codepointAtIndex(s, 0, offset, &offset);
      if (character == codepoint) {
        pieces.push_back(std::move(piece));
        piece = UnicodeString();
      } else {
        qnunicode::appendUTF16(piece, character);
      }
    }
  }
  pieces.push_back(std::move(piece));
  return pieces;
}

}  // namespace QNUnicode
