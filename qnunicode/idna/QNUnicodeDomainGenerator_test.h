#pragma once

// The generated domains that the domain-name conversions are compared with their peers over:
// Latin, Cyrillic, Greek, CJK and Hangul labels and hostile ones, from a fixed seed.
#include <random>
#include <vector>

#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNScanner.h"

namespace qnunicode::testing {

class DomainGenerator {
 public:
  explicit DomainGenerator(uint32_t seed) : _random(seed) {}

  UnicodeString domain() {
    UnicodeString domain;
    if (pick(20) == 0) domain += separator();  // a leading separator
    const int labels = 1 + static_cast<int>(pick(4));
    for (int k = 0; k < labels; ++k) {
      if (k > 0) {
        domain += separator();
        if (pick(25) == 0) domain += separator();  // an empty label
      }
      domain += label();
    }
    if (pick(15) == 0) domain += u'.';  // the root
    return domain;
  }

 private:
  uint32_t pick(uint32_t n) { return _random() % n; }
  uint32_t between(uint32_t first, uint32_t last) { return first + pick(last - first + 1); }

  UnicodeString separator() {
    static const char16_t kSeparators[] = {u'.', u'.', u'.', u'\u3002', u'\uFF0E', u'\uFF61'};
    return UnicodeString(1, kSeparators[pick(6)]);
  }

  // A codepoint of one script's letters.
  uint32_t letter(uint32_t script) {
    switch (script) {
      case 0:
        return pick(4) == 0 ? between('A', 'Z') : between('a', 'z');
      case 1:
        return pick(3) == 0 ? between(0xC0, 0xD6) : between(0xDF, 0xFF);  // Latin-1
      case 2:
        return between(0x100, 0x17F);  // Latin Extended-A
      case 3:
        return between(0x410, 0x44F);  // Cyrillic
      case 4: {                        // Greek
        const uint32_t c = between(0x391, 0x3C9);
        return c == 0x3A2 ? 0x3C2 : c;
      }
      case 5:
        return between(0x4E00, 0x9FA5);  // CJK
      default:
        return between(0xAC00, 0xD7A3);  // Hangul
    }
  }

  UnicodeString scriptLabel() {
    const uint32_t script = pick(7);
    UnicodeString label;
    for (uint32_t k = between(1, 12); k > 0; --k) {
      const uint32_t kind = pick(12);
      if (kind == 0) {
        qnunicode::appendUTF16(label, between('0', '9'));
      } else if (kind == 1 && !label.empty()) {
        label += u'-';
      } else {
        qnunicode::appendUTF16(label, letter(kind == 2 ? 0 : script));
      }
    }
    return label;
  }

  UnicodeString hostileLabel() {
    UnicodeString label = scriptLabel();
    static const std::vector<UnicodeString> kInserts = {
        u"_",      u" ",      u"*",      u"@",      u"/",         u"\u00A0", u"\uE000",
        u"\u200B", u"\u00AD", u"\u2028", u"\uFFFD", u"\u0340",    u"\uFF21", u"\u2100",
        u"\u05D0", u"\u0627", u"1",      u"\u3000", u"\uFB01",    u"\u00DF", u"\u0130",
        u"\u2488", u"\u2024", u"\uFE52", u"\u0371", u"\U000E0001"};
    switch (pick(12)) {
      case 0:
        return UnicodeString(between(62, 65), u'a');  // around the length limit
      case 1: {                                       // non-ASCII near the limit
        UnicodeString longer;
        for (uint32_t k = between(20, 60); k > 0; --k) qnunicode::appendUTF16(longer, letter(1));
        return longer;
      }
      case 2: {  // a valid ACE label, sometimes upper-cased
        UnicodeString encoded =
            QNUnicode_IDNA::punycodeEncodedStringWithError(scriptLabel()).value_or(u"x");
        UnicodeString ace = UnicodeString(QNUnicodeACELabel) + encoded;
        if (pick(4) == 0) {
          for (char16_t& unit : ace) unit = qnunicode::asciiUppercase(unit);
        }
        return ace;
      }
      case 3:
        return u"xn--" + UnicodeString(1, u"a-!9z"[pick(5)]) + scriptLabel();  // bad
      case 4:
        return u"xn--" + label;
      case 5:
        return u"-" + label;
      case 6:
        return label + u"-";
      case 7: {  // right to left, mixed or not
        UnicodeString rtl;
        const uint32_t base = pick(2) ? 0x5D0 : 0x627;
        for (uint32_t k = between(1, 6); k > 0; --k) qnunicode::appendUTF16(rtl, base + pick(20));
        if (pick(2)) rtl.insert(pick(static_cast<uint32_t>(rtl.size()) + 1), pick(2) ? u"a" : u"1");
        return rtl;
      }
      default: {
        label.insert(pick(static_cast<uint32_t>(label.size()) + 1),
                     kInserts[pick(kInserts.size())]);
        return label;
      }
    }
  }

  UnicodeString label() { return pick(4) == 0 ? hostileLabel() : scriptLabel(); }

  std::mt19937 _random;
};

// The labels of a domain as the domain-level conversions take them: white space in front dropped.
inline std::vector<UnicodeString> labelsOf(const UnicodeString& domain) {
  std::vector<UnicodeString> labels = QNUnicode_IDNA::domainNameLabels(domain);
  for (UnicodeString& label : labels) {
    size_t first = 0;
    while (first < label.size() && isWhitespaceOrNewline(label[first])) ++first;
    label.erase(0, first);
  }
  return labels;
}

}  // namespace qnunicode::testing
