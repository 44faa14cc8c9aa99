#include "qnunicode/properties/QNUnicodePropertyMatching.h"

#include "qnunicode/util/QNStringAdditions.h"

namespace QNUnicode {

UnicodeString matchableUnicodePropertyString(std::u16string_view s) {
  // The removals come first: a removed character may bring two halves of a pair together, and
  // the pair is then lower-cased as one codepoint.
  UnicodeString kept;
  kept.reserve(s.size());
  for (char16_t unit : s) {
    if (unit != u' ' && unit != u'-' && unit != u'_') kept.push_back(unit);
  }
  return qnunicode::detail::lowercasedString(kept);
}

bool isEqualToUnicodePropertyString(std::u16string_view s, std::u16string_view other) {
  return matchableUnicodePropertyString(s) == matchableUnicodePropertyString(other);
}

bool containsUnicodePropertyString(const std::vector<QNInfoValue>& list, std::u16string_view s) {
  const UnicodeString wanted = matchableUnicodePropertyString(s);
  for (const QNInfoValue& element : list) {
    const UnicodeString* text = element.string();
    if (text && matchableUnicodePropertyString(*text) == wanted) return true;
  }
  return false;
}

bool containsUnicodePropertyString(const std::vector<UnicodeString>& list, std::u16string_view s) {
  const UnicodeString wanted = matchableUnicodePropertyString(s);
  for (const UnicodeString& element : list) {
    if (matchableUnicodePropertyString(element) == wanted) return true;
  }
  return false;
}

}  // namespace QNUnicode
