#pragma once

#include <string_view>
#include <vector>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/UnicodeString.h"

// The ACE prefix of an encoded label. Everything that adds or tests the prefix uses this.
inline constexpr std::u16string_view QNUnicodeACELabel = u"xn--";

// The label separators of a domain name, in this order: FULL STOP, IDEOGRAPHIC FULL STOP,
// FULLWIDTH FULL STOP, HALFWIDTH IDEOGRAPHIC FULL STOP.
inline constexpr std::u16string_view QNUnicodeLabelSeparators = u"\u002E\u3002\uFF0E\uFF61";

namespace qnunicode {
// True for the four label separators.
constexpr bool isLabelSeparator(char16_t unit) {
  return unit == u'\u002E' || unit == u'\u3002' || unit == u'\uFF0E' || unit == u'\uFF61';
}
// True when no unit of the text lies beyond ASCII.
constexpr bool isASCIIOnly(std::u16string_view text) {
  for (char16_t unit : text) {
    if (unit >= 0x80) return false;
  }
  return true;
}
// True when the texts are equal but for the case of ASCII letters.
constexpr bool equalIgnoringASCIICase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (asciiLowercase(a[i]) != asciiLowercase(b[i])) return false;
  }
  return true;
}
// True when the label begins with the ACE prefix, ignoring ASCII case.
constexpr bool hasACEPrefix(std::u16string_view label) {
  return label.size() >= QNUnicodeACELabel.size() &&
         equalIgnoringASCIICase(label.substr(0, QNUnicodeACELabel.size()), QNUnicodeACELabel);
}
}  // namespace qnunicode

// The domain-label operations of the string type.
namespace QNUnicode_IDNA {

// True for an LDH label: no "-" at either end, at most 63 code units, and nothing but ASCII
// letters, digits and "-". The empty string is one.
bool isLDHLabel(std::u16string_view string);

// True for an LDH label whose third and fourth characters are not both "-" (labels shorter than
// four characters always qualify).
bool isNonReservedLDHLabel(std::u16string_view string);

// True when a codepoint has the bidirectional category R, AL or AN (EN does not count) by the
// records of the shared database; false for the empty string and when no shared database is set
// or its UnicodeData cannot be read.
bool containsRTLCharacter(std::u16string_view string);

// The labels between the label separators, empty ones included: a separator at the start gives
// an empty label before it, n consecutive separators give n - 1 empty labels between their
// neighbours, and a separator run at the end gives one empty label after it. "a.b" gives "a" and
// "b", "a..b" gives "a", "" and "b", "a." gives "a" and "", "." gives one empty label, ".." two,
// and the empty string none.
std::vector<UnicodeString> domainNameLabels(std::u16string_view string);

}  // namespace QNUnicode_IDNA
