#include "qnunicode/escapes/QNUnicodeEscapes.h"

#include <new>

#include "qnunicode/escapes/QNEscapeSupport.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"

namespace qnunicode::detail {

UnicodeString workingCopy(std::u16string_view text) {
  try {
    return UnicodeString(text);
  } catch (const std::bad_alloc&) {
    throw QNMallocException(QNFormat("Malloc failed for string of length %lu",
                                     static_cast<unsigned long>(text.size())));
  }
}

}  // namespace qnunicode::detail

namespace QNUnicode {

namespace {

struct MethodName {
  uint32_t code;
  std::u16string_view name;
};
constexpr MethodName kMethods[] = {
    {QNUnicodeEscapingMethodURL, u"URL "},  {QNUnicodeEscapingMethodC99, u"C99 "},
    {QNUnicodeEscapingMethodJava, u"Java"}, {QNUnicodeEscapingMethodCOct, u"COct"},
    {QNUnicodeEscapingMethodCS1, u"CS1 "},  {QNUnicodeEscapingMethodCS2, u"CS2 "},
    {QNUnicodeEscapingMethodCS21, u"CS21"},
};

// The code of a method string, or 0 for anything that names no method.
uint32_t codeOfMethod(std::u16string_view method) {
  for (const MethodName& known : kMethods) {
    if (known.name == method) return known.code;
  }
  return 0;
}

// The characters that need no escape in a URL.
constexpr std::u16string_view kURLPreserved =
    u"!$&'()*+,-./0123456789:;=?@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~";

[[noreturn]] void throwNotAMethod(std::u16string_view method) {
  throw QNInvalidArgumentException(
      QNFormat("Not a valid string escaping method: %s", qnunicode::logText(method).c_str()));
}

}  // namespace

std::optional<UnicodeString> escapingMethodForOSType(uint32_t OSType) {
  for (const MethodName& known : kMethods) {
    if (known.code == OSType) return UnicodeString(known.name);
  }
  return std::nullopt;
}

CodepointSet preserveSetForStringEscapingMethod(std::u16string_view method) {
  CodepointSet set;
  switch (codeOfMethod(method)) {
    case QNUnicodeEscapingMethodURL:
      for (char16_t c : kURLPreserved) set.add(c);
      return set;
    case QNUnicodeEscapingMethodC99:
      set.addRange(0, 0x9E);
      return set;
    case QNUnicodeEscapingMethodJava:
    case QNUnicodeEscapingMethodCOct:
    case QNUnicodeEscapingMethodCS1:
    case QNUnicodeEscapingMethodCS2:
    case QNUnicodeEscapingMethodCS21:
      set.addRange(0, 0x7E);
      return set;
    default:
      throw QNInvalidArgumentException(
          QNFormat("Unknown escaping method: %s", qnunicode::logText(method).c_str()));
  }
}

std::optional<UnicodeString> stringByReplacingEscapes(std::u16string_view s,
                                                      std::u16string_view method,
                                                      uint32_t* countingReplacements) {
  switch (codeOfMethod(method)) {
    case QNUnicodeEscapingMethodURL:
      return stringByReplacingPercentEscapesCountingReplacements(s, countingReplacements);
    case QNUnicodeEscapingMethodC99:
      return stringByReplacingC99EscapesEatingJavaUs(s, false, countingReplacements);
    case QNUnicodeEscapingMethodCS1:
      return stringByReplacingCSSEscapes(s, QNUnicodeEscapeLevelCSS1, countingReplacements);
    case QNUnicodeEscapingMethodCS2:
      return stringByReplacingCSSEscapes(s, QNUnicodeEscapeLevelCSS2, countingReplacements);
    case QNUnicodeEscapingMethodCS21:
      return stringByReplacingCSSEscapes(s, QNUnicodeEscapeLevelCSS21, countingReplacements);
    case QNUnicodeEscapingMethodJava:
      return stringByReplacingC99EscapesEatingJavaUs(s, true, countingReplacements);
    case QNUnicodeEscapingMethodCOct:
      return stringByReplacingCOctEscapesCountingReplacements(s, countingReplacements);
    default:
      throwNotAMethod(method);
  }
}

UnicodeString stringByAddingEscapes(std::u16string_view s, std::u16string_view method,
                                    const CodepointSet* preservingCharactersFromSet,
                                    bool preservingDefaultSet, uint32_t* countingReplacements) {
  // The default set first: an unknown method then fails with its message.
  CodepointSet preserved;
  if (preservingDefaultSet) preserved = preserveSetForStringEscapingMethod(method);
  if (preservingCharactersFromSet) {
    for (const auto& range : preservingCharactersFromSet->ranges()) {
      preserved.addRange(range.first, range.last);
    }
  }
  switch (codeOfMethod(method)) {
    case QNUnicodeEscapingMethodURL:
      return stringByAddingPercentEscapesPreservingOnlyCharactersFromSet(s, preserved,
                                                                         countingReplacements);
    case QNUnicodeEscapingMethodCS1:
      return stringByAddingJavaOrCSSEscapes(s, QNUnicodeEscapeLevelCSS1, u"\\", preserved,
                                            countingReplacements);
    case QNUnicodeEscapingMethodCS2:
      return stringByAddingJavaOrCSSEscapes(s, QNUnicodeEscapeLevelCSS2, u"\\", preserved,
                                            countingReplacements);
    case QNUnicodeEscapingMethodCS21:
      return stringByAddingJavaOrCSSEscapes(s, QNUnicodeEscapeLevelCSS21, u"\\", preserved,
                                            countingReplacements);
    case QNUnicodeEscapingMethodJava:
      return stringByAddingJavaOrCSSEscapes(s, QNUnicodeEscapeLevelJava, u"\\u", preserved,
                                            countingReplacements);
    case QNUnicodeEscapingMethodC99:
      return stringByAddingC99EscapesPreservingOnlyCharactersFromSet(s, preserved,
                                                                     countingReplacements);
    case QNUnicodeEscapingMethodCOct:
      return stringByAddingCOctEscapesPreservingOnlyCharactersFromSet(s, preserved,
                                                                      countingReplacements);
    default:
      throwNotAMethod(method);
  }
}

UnicodeString stringByAddingEscapes(std::u16string_view s, std::u16string_view method) {
  return stringByAddingEscapes(s, method, nullptr, true, nullptr);
}

}  // namespace QNUnicode
