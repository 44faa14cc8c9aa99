#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/strings/UnicodeString.h"

// Texts for the escapes tests: random codepoints from every plane, and the text as the codepoint
// walk sees it.
namespace qnunicode::testing {

struct RandomTextOptions {
  bool loneSurrogates = true;  // unpaired surrogates of both halves
  bool backslashes = true;     // backslashes, "%", "&" and ";", which the notations use
};

// A text of `codepoints` random codepoints: ASCII, the rest of the BMP, every supplementary
// plane, and (as asked) unpaired surrogates and the notations' own characters.
inline UnicodeString randomText(std::mt19937& random, size_t codepoints,
                                RandomTextOptions options = {}) {
  UnicodeString text;
  std::uniform_int_distribution<int> kind(0, 9);
  for (size_t i = 0; i < codepoints; ++i) {
    uint32_t c;
    switch (kind(random)) {
      case 0:
      case 1:
      case 2:
        c = std::uniform_int_distribution<uint32_t>(0x20, 0x7E)(random);
        break;
      case 3:
        c = std::uniform_int_distribution<uint32_t>(0, 0xFF)(random);
        break;
      case 4:
      case 5:
        c = std::uniform_int_distribution<uint32_t>(0x100, 0xFFFF)(random);
        break;
      case 6:
      case 7:
        c = std::uniform_int_distribution<uint32_t>(0x10000, 0x10FFFF)(random);
        break;
      case 8:
        c = std::uniform_int_distribution<uint32_t>(0xD800, 0xDFFF)(random);
        break;
      default:
        c = u"\\%&;#uU0aF \r\n"[std::uniform_int_distribution<int>(0, 13)(random)];
        break;
    }
    if (!options.loneSurrogates && isSurrogate(c)) c = 0xFFFD;
    if (!options.backslashes && (c == u'\\' || c == u'%' || c == u'&' || c == u';')) c = u'x';
    appendUTF16(text, c);
  }
  return text;
}

// The text as the codepoint walk reads it: after an unpaired high surrogate followed by a unit,
// the walk goes on past that unit, so an adding routine never sees it.
inline UnicodeString walkedText(std::u16string_view text) {
  UnicodeString walked;
  for (int32_t offset = text.empty() ? -1 : 0; offset >= 0;) {
    walked += QNUnicode::stringWithCodepoint(QNUnicode::codepointAtIndex(text, 0, offset, &offset));
  }
  return walked;
}

// "%04X" per unit, for messages.
inline std::string unitsText(std::u16string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string out;
  for (char16_t unit : text) {
    for (int shift = 12; shift >= 0; shift -= 4) out += digits[(unit >> shift) & 0xF];
    out += ' ';
  }
  return out;
}

}  // namespace qnunicode::testing
