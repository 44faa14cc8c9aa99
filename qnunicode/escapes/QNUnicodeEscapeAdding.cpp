// The adding routines: one walk over the text that copies runs of preserved codepoints whole and
// writes every other codepoint in the method's notation.
#include "qnunicode/escapes/QNEscapeSupport.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"

namespace QNUnicode {

namespace {

using qnunicode::detail::PreservedSet;
using qnunicode::detail::walkStep;
using qnunicode::detail::WalkStep;
using qnunicode::detail::writeHex;

// The common walk. `escape(codepoint, out)` appends the codepoint's escaped form and answers true,
// or appends nothing and answers false when the codepoint has no escaped form (it is then copied
// as it is and not counted). Preserved codepoints are copied in runs.
template <typename Escape>
UnicodeString addEscapes(std::u16string_view s, const CodepointSet& set, uint32_t* count,
                         Escape escape) {
  uint32_t replacements = 0;
  UnicodeString out;
  if (!s.empty()) {
    out.reserve(s.size() + s.size() / 2 + 16);
    const PreservedSet preserved(&set);
    size_t runStart = 0;
    size_t position = 0;
    while (position < s.size()) {
      const WalkStep step = walkStep(s, position);
      const bool isPreserved = preserved.contains(step.codepoint);
      // A preserved codepoint extends the run, unless the walk passes over a unit after it.
      if (isPreserved && step.next == position + step.length) {
        position = step.next;
        continue;
      }
      out.append(s.substr(runStart, position - runStart));
      if (isPreserved || !escape(step.codepoint, out)) {
        out.append(s.substr(position, step.length));
      } else {
        ++replacements;
      }
      position = runStart = step.next;
    }
    out.append(s.substr(runStart, position - runStart));
  }
  if (count) *count = replacements;
  return out;
}

// The UTF-8 bytes of a codepoint, or 0 bytes for a surrogate value, which has no UTF-8 form.
size_t utf8Bytes(uint32_t codepoint, uint8_t* bytes) {
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
  return addEscapes(s, set, countingReplacements, [](uint32_t codepoint, UnicodeString& out) {
    uint8_t bytes[4];
    const size_t length = utf8Bytes(codepoint, bytes);
    char16_t units[12];
    char16_t* end = units;
    for (size_t i = 0; i < length; ++i) {
      *end++ = u'%';
      *end++ = kUpperHexDigits[bytes[i] >> 4];
      *end++ = kUpperHexDigits[bytes[i] & 0xF];
    }
    out.append(units, static_cast<size_t>(end - units));
    return length != 0;
  });
}

UnicodeString stringByAddingC99EscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements) {
  return addEscapes(s, set, countingReplacements, [](uint32_t codepoint, UnicodeString& out) {
    char16_t units[10] = {u'\\'};
    char16_t* end = codepoint < 0x10000 ? (units[1] = u'u', writeHex(units + 2, codepoint, 4))
                                        : (units[1] = u'U', writeHex(units + 2, codepoint, 8));
    out.append(units, static_cast<size_t>(end - units));
    return true;
  });
}

UnicodeString stringByAddingJavaOrCSSEscapes(std::u16string_view s, uint32_t level,
                                             std::u16string_view prefix,
                                             const CodepointSet& preservingOnlyCharactersFromSet,
                                             uint32_t* countingReplacements) {
  if (level < QNUnicodeEscapeLevelCSS2) {
    // The prefix and 4 digits per UTF-16 unit, first unit first.
    return addEscapes(s, preservingOnlyCharactersFromSet, countingReplacements,
                      [prefix](uint32_t codepoint, UnicodeString& out) {
                        char16_t units[2];
                        const char16_t* end = qnunicode::writeUTF16(units, codepoint);
                        for (const char16_t* unit = units; unit != end; ++unit) {
                          char16_t digits[4];
                          writeHex(digits, *unit, 4);
                          out.append(prefix);
                          out.append(digits, 4);
                        }
                        return true;
                      });
  }
  // The prefix, 6 digits of the codepoint and a blank.
  return addEscapes(s, preservingOnlyCharactersFromSet, countingReplacements,
                    [prefix](uint32_t codepoint, UnicodeString& out) {
                      char16_t digits[7];
                      writeHex(digits, codepoint, 6);
                      digits[6] = u' ';
                      out.append(prefix);
                      out.append(digits, 7);
                      return true;
                    });
}

UnicodeString stringByAddingCOctEscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements) {
  return addEscapes(s, set, countingReplacements, [](uint32_t codepoint, UnicodeString& out) {
    uint8_t bytes[4];
    const size_t length = utf8Bytes(codepoint, bytes);
    char16_t units[16];
    char16_t* end = units;
    for (size_t i = 0; i < length; ++i) {
      *end++ = u'\\';
      *end++ = static_cast<char16_t>(u'0' + (bytes[i] >> 6));
      *end++ = static_cast<char16_t>(u'0' + ((bytes[i] >> 3) & 7));
      *end++ = static_cast<char16_t>(u'0' + (bytes[i] & 7));
    }
    out.append(units, static_cast<size_t>(end - units));
    return length != 0;
  });
}

}  // namespace QNUnicode
