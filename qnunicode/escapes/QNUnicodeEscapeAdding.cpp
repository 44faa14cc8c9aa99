// The adding routines: one walk over the text that copies runs of preserved codepoints whole and
// writes every other codepoint in the method's notation.
#include <algorithm>

#include "qnunicode/escapes/QNEscapeSupport.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"

namespace QNUnicode {

namespace {

using qnunicode::detail::PreservedSet;
using qnunicode::detail::walkStep;
using qnunicode::detail::WalkStep;
using qnunicode::detail::writeHex;

// The output of an adding routine: a string written through a pointer, grown ahead of each
// escape so that no single write checks its room.
class Output {
 public:
  explicit Output(size_t expected) : _text(expected, u'\0') {}
  // Room for `units` more units at the write position.
  char16_t* reserve(size_t units) {
    if (_text.size() - _write < units) [[unlikely]]
      grow(units);
    return _text.data() + _write;
  }
  void append(std::u16string_view units) {
    char16_t* out = reserve(units.size());
    // Short runs (a blank between two escapes) are not worth a call.
    if (units.size() <= 8) {
      for (char16_t unit : units) *out++ = unit;
    } else {
      std::copy(units.begin(), units.end(), out);
    }
    _write += units.size();
  }
  void advanceTo(const char16_t* end) { _write = static_cast<size_t>(end - _text.data()); }
  UnicodeString finish() {
    _text.resize(_write);
    return std::move(_text);
  }

 private:
  [[gnu::noinline]] void grow(size_t units) {
    _text.resize(std::max(_text.size() * 2, _write + units));
  }

  UnicodeString _text;
  size_t _write = 0;
};

// The common walk. `escape(codepoint, out)` writes the codepoint's escaped form at out (at most
// `maximumLength` units) and answers its end, or answers nullptr when the codepoint has no escaped
// form (it is then copied as it is and not counted). Preserved codepoints are copied in runs.
template <typename Escape>
UnicodeString addEscapes(std::u16string_view s, const CodepointSet& set, uint32_t* count,
                         size_t maximumLength, Escape escape) {
  uint32_t replacements = 0;
  Output out(s.size() + s.size() / 2 + maximumLength);
  const PreservedSet preserved(&set);
  size_t runStart = 0;
  size_t position = 0;
  while (position < s.size()) {
    // A unit below the surrogates is a codepoint of its own.
    const char16_t unit = s[position];
    const WalkStep step = unit < 0xD800 ? WalkStep{unit, position + 1, 1} : walkStep(s, position);
    const bool isPreserved = preserved.contains(step.codepoint);
    // A preserved codepoint extends the run, unless the walk passes over a unit after it.
    if (isPreserved && step.next == position + step.length) {
      position = step.next;
      continue;
    }
    out.append(s.substr(runStart, position - runStart));
    char16_t* end = isPreserved ? nullptr : escape(step.codepoint, out.reserve(maximumLength));
    if (end) {
      out.advanceTo(end);
      ++replacements;
    } else {
      out.append(s.substr(position, step.length));
    }
    position = runStart = step.next;
  }
  out.append(s.substr(runStart, position - runStart));
  if (count) *count = replacements;
  return out.finish();
}

// The UTF-8 bytes of a codepoint, or 0 bytes for a surrogate value, which has no UTF-8 form.
inline size_t utf8Bytes(uint32_t codepoint, uint8_t* bytes) {
  if (codepoint < 0x80) {
    bytes[0] = static_cast<uint8_t>(codepoint);
    return 1;
  }
  if (qnunicode::isSurrogate(codepoint)) return 0;
  char buffer[4];
  const size_t length = static_cast<size_t>(qnunicode::writeUTF8(buffer, codepoint) - buffer);
  for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<uint8_t>(buffer[i]);
  return length;
}

}  // namespace

UnicodeString stringByAddingPercentEscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements) {
  static constexpr char16_t kUpperHexDigits[] = u"0123456789ABCDEF";
  return addEscapes(s, set, countingReplacements, 12, [](uint32_t codepoint, char16_t* out) {
    uint8_t bytes[4];
    const size_t length = utf8Bytes(codepoint, bytes);
    if (length == 0) return static_cast<char16_t*>(nullptr);
    for (size_t i = 0; i < length; ++i) {
      *out++ = u'%';
      *out++ = kUpperHexDigits[bytes[i] >> 4];
      *out++ = kUpperHexDigits[bytes[i] & 0xF];
    }
    return out;
  });
}

UnicodeString stringByAddingC99EscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements) {
  return addEscapes(s, set, countingReplacements, 10, [](uint32_t codepoint, char16_t* out) {
    *out++ = u'\\';
    if (codepoint < 0x10000) {
      *out++ = u'u';
      return writeHex(out, codepoint, 4);
    }
    *out++ = u'U';
    return writeHex(out, codepoint, 8);
  });
}

UnicodeString stringByAddingJavaOrCSSEscapes(std::u16string_view s, uint32_t level,
                                             std::u16string_view prefix,
                                             const CodepointSet& preservingOnlyCharactersFromSet,
                                             uint32_t* countingReplacements) {
  if (level < QNUnicodeEscapeLevelCSS2) {
    // The prefix and 4 digits per UTF-16 unit, first unit first.
    return addEscapes(s, preservingOnlyCharactersFromSet, countingReplacements,
                      2 * (prefix.size() + 4), [prefix](uint32_t codepoint, char16_t* out) {
                        char16_t units[2];
                        const char16_t* end = qnunicode::writeUTF16(units, codepoint);
                        for (const char16_t* unit = units; unit != end; ++unit) {
                          out = std::copy(prefix.begin(), prefix.end(), out);
                          out = writeHex(out, *unit, 4);
                        }
                        return out;
                      });
  }
  // The prefix, 6 digits of the codepoint and a blank.
  return addEscapes(s, preservingOnlyCharactersFromSet, countingReplacements, prefix.size() + 7,
                    [prefix](uint32_t codepoint, char16_t* out) {
                      out = std::copy(prefix.begin(), prefix.end(), out);
                      out = writeHex(out, codepoint, 6);
                      *out++ = u' ';
                      return out;
                    });
}

UnicodeString stringByAddingCOctEscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements) {
  return addEscapes(s, set, countingReplacements, 16, [](uint32_t codepoint, char16_t* out) {
    uint8_t bytes[4];
    const size_t length = utf8Bytes(codepoint, bytes);
    if (length == 0) return static_cast<char16_t*>(nullptr);
    for (size_t i = 0; i < length; ++i) {
      *out++ = u'\\';
      *out++ = static_cast<char16_t>(u'0' + (bytes[i] >> 6));
      *out++ = static_cast<char16_t>(u'0' + ((bytes[i] >> 3) & 7));
      *out++ = static_cast<char16_t>(u'0' + (bytes[i] & 7));
    }
    return out;
  });
}

}  // namespace QNUnicode
