// The Bidi Rule of RFC 5893 for a label and a domain-level bidi test, and the contextual rules
// of RFC 5892 appendix A.
#include <algorithm>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodeIDNA2008.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/util/QNLog.h"

namespace {

using qnunicode::detail::walkCodepoints;

// The categories allowed after the first codepoint of a right-to-left and of a left-to-right
// label; made on first use and kept.
const std::vector<UnicodeString>& allowedRTLBidiCategories() {
  static const std::vector<UnicodeString> list = {u"R",  u"AL", u"AN", u"EN", u"ES",
                                                  u"CS", u"ET", u"ON", u"BN", u"NSM"};
  return list;
}

const std::vector<UnicodeString>& allowedLTRBidiCategories() {
  static const std::vector<UnicodeString> list = {u"L",  u"EN", u"ES", u"CS",
                                                  u"ET", u"ON", u"BN", u"NSM"};
  return list;
}

bool isOneOf(const UnicodeString& value, std::initializer_list<std::u16string_view> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

bool isIn(const std::vector<UnicodeString>& list, const UnicodeString& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

bool fail(UnicodeString* error, const std::string& message) {
  if (error) *error = qnunicode::fromUTF8(message);
  return false;
}

bool failBidi(UnicodeString* error, int rule, uint32_t codepoint) {
  return fail(error, QNFormat("Failed bidi test %d. for codepoint U+%04X", rule, codepoint));
}

std::vector<uint32_t> codepointsOf(std::u16string_view label) {
  std::vector<uint32_t> codepoints;
  walkCodepoints(label, [&](uint32_t c) {
    codepoints.push_back(c);
    return true;
  });
  return codepoints;
}

}  // namespace

bool QNUnicodeDatabase::IDNA2008BidiTestForLabel(std::u16string_view label, UnicodeString* error) {
  if (label.empty()) return fail(error, "Failed bidi test: label is empty");
  std::vector<std::pair<uint32_t, UnicodeString>> categories;
  walkCodepoints(label, [&](uint32_t c) {
    const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(c);
    categories.emplace_back(c, record ? record->bidirectionalCategory() : UnicodeString());
    return true;
  });
  const UnicodeString& first = categories.front().second;
  const bool rtl = isOneOf(first, {u"R", u"AL"});
  if (!rtl && first != u"L") return failBidi(error, 1, categories.front().first);
  // Rules 2 and 5: what may follow the first codepoint.
  const std::vector<UnicodeString>& allowed =
      rtl ? allowedRTLBidiCategories() : allowedLTRBidiCategories();
  for (size_t k = 1; k < categories.size(); ++k) {
    if (!isIn(allowed, categories[k].second)) {
      return failBidi(error, rtl ? 2 : 5, categories[k].first);
    }
  }
  // Rules 3 and 6: how the label ends, trailing marks aside.
  size_t end = categories.size() - 1;
  while (end > 0 && categories[end].second == u"NSM") --end;
  const UnicodeString& last = categories[end].second;
  if (rtl ? !isOneOf(last, {u"R", u"AL", u"EN", u"AN"}) : !isOneOf(last, {u"L", u"EN"})) {
    return failBidi(error, rtl ? 3 : 6, categories[end].first);
  }
  if (!rtl) return true;
  // Rule 4: European and Arabic-Indic numbers do not mix.
  bool seenEN = false, seenAN = false;
  for (const auto& [c, category] : categories) {
    seenEN = seenEN || category == u"EN";
    seenAN = seenAN || category == u"AN";
    if (seenEN && seenAN) return failBidi(error, 4, c);
  }
  return true;
}

bool QNUnicodeDatabase::IDNA2008BidiTestForDomainName(std::u16string_view domain,
                                                      UnicodeString* error) {
  const std::vector<UnicodeString> labels = QNUnicode_IDNA::domainNameLabels(domain);
  bool anyRTL = false, allPassed = true, nonLDHFailed = false, digitLabelFollowsRTL = false;
  bool previousRTL = false;
  for (const UnicodeString& label : labels) {
    const bool rtl = QNUnicode_IDNA::containsRTLCharacter(label);
    if (!IDNA2008BidiTestForLabel(label, error)) {
      allPassed = false;
      if (!QNUnicode_IDNA::isLDHLabel(label)) {
        nonLDHFailed = true;
      } else if (!label.empty() && label[0] >= u'0' && label[0] <= u'9' && previousRTL) {
        digitLabelFollowsRTL = true;
      }
    }
    previousRTL = rtl;
    anyRTL = anyRTL || rtl;
  }
  if (!anyRTL || allPassed) return true;
  return !nonLDHFailed && !digitLabelFollowsRTL;
}

namespace qnunicode::detail {

// A label's codepoints with what the contextual rules ask of them, each worked out once for the
// whole label, so that testing every codepoint of a label takes time linear in its length.
class ContextRuleLabel {
 public:
  ContextRuleLabel(QNUnicodeDatabase& database, std::u16string_view label)
      : _database(database), _codepoints(codepointsOf(label)) {}

  // The rule for the codepoint at p (an index within the label).
  bool holds(size_t p, bool isLookup, UnicodeString* error);

 private:
  uint32_t combiningClassBefore(size_t p) {
    if (p == 0) return 0;
    const std::shared_ptr<const QNUnicodeData> record =
        _database.unicodeDataForCodepoint(_codepoints[p - 1]);
    return record ? record->canonicalCombiningClass() : 0;
  }
  bool scriptIs(size_t k, std::initializer_list<std::u16string_view> scripts) {
    return isOneOf(_database.scriptForCodepoint(_codepoints[k]), scripts);
  }
  // The joining type of the first codepoint that is not transparent going from p (exclusive)
  // to the left or the right, "" when there is none; worked out for all positions at once.
  const UnicodeString& joiningBeyond(size_t p, bool left);
  bool anyIn(uint32_t first, uint32_t last) {
    return std::any_of(_codepoints.begin(), _codepoints.end(),
                       [&](uint32_t c) { return c >= first && c <= last; });
  }

  QNUnicodeDatabase& _database;
  std::vector<uint32_t> _codepoints;
  std::vector<UnicodeString> _joiningLeft, _joiningRight;
  std::optional<bool> _holdsKana, _holdsArabicIndic, _holdsExtendedArabicIndic;
};

const UnicodeString& ContextRuleLabel::joiningBeyond(size_t p, bool left) {
  if (_joiningLeft.empty()) {
    const size_t n = _codepoints.size();
    _joiningLeft.resize(n);
    _joiningRight.resize(n);
    std::vector<UnicodeString> types(n);
    for (size_t k = 0; k < n; ++k) {
      const std::shared_ptr<const QNUnicodeArabicShaping> shaping =
          _database.arabicShapingForCodepoint(_codepoints[k]);
      types[k] = shaping ? shaping->joiningType() : UnicodeString(u"U");
    }
    for (size_t k = 1; k < n; ++k) {
      _joiningLeft[k] = types[k - 1] == u"T" ? _joiningLeft[k - 1] : types[k - 1];
    }
    for (size_t k = n - 1; k-- > 0;) {
      _joiningRight[k] = types[k + 1] == u"T" ? _joiningRight[k + 1] : types[k + 1];
    }
  }
  return left ? _joiningLeft[p] : _joiningRight[p];
}

bool ContextRuleLabel::holds(size_t p, bool isLookup, UnicodeString* error) {
  const uint32_t c = _codepoints[p];
  const size_t last = _codepoints.size() - 1;
  constexpr uint32_t kVirama = 9;
  switch (c) {
    case 0x200C: {
      if (combiningClassBefore(p) == kVirama) return true;
      const UnicodeString& before = joiningBeyond(p, true);
      const UnicodeString& after = joiningBeyond(p, false);
      if ((before == u"L" || before == u"D") && (after == u"R" || after == u"D")) return true;
      return fail(error, "Failed A.1. context rule (ZERO WIDTH NON-JOINER)");
    }
    case 0x200D:
      if (combiningClassBefore(p) == kVirama) return true;
      return fail(error, "Failed A.2. context rule (ZERO WIDTH JOINER)");
    default:
      break;
  }
  const bool isContextO = c == 0xB7 || c == 0x375 || c == 0x5F3 || c == 0x5F4 || c == 0x30FB ||
                          (c >= 0x660 && c <= 0x669) || (c >= 0x6F0 && c <= 0x6F9);
  if (!isContextO) {
    return fail(error, QNFormat("No context rule defined for codepoint: U+%04X", c));
  }
  if (isLookup) return true;
  switch (c) {
    case 0xB7:
      if (p > 0 && p < last && _codepoints[p - 1] == 0x6C && _codepoints[p + 1] == 0x6C) {
        return true;
      }
      return fail(error, "Failed A.3. context rule (MIDDLE DOT)");
    case 0x375:
      if (p < last && scriptIs(p + 1, {u"Greek"})) return true;
      return fail(error, "Failed A.4. context rule (GREEK LOWER NUMERAL SIGN (KERAIA))");
    case 0x5F3:
      if (p > 0 && scriptIs(p - 1, {u"Hebrew"})) return true;
      return fail(error, "Failed A.5. context rule (HEBREW PUNCTUATION GERESH)");
    case 0x5F4:
      if (p > 0 && scriptIs(p - 1, {u"Hebrew"})) return true;
      return fail(error, "Failed A.6. context rule (HEBREW PUNCTUATION GERSHAYIM)");
    case 0x30FB:
      if (!_holdsKana) {
        _holdsKana = false;
        for (size_t k = 0; k < _codepoints.size() && !*_holdsKana; ++k) {
          _holdsKana = scriptIs(k, {u"Hiragana", u"Katakana", u"Han"});
        }
      }
      if (*_holdsKana) return true;
      return fail(error, "Failed A.7. context rule (KATAKANA MIDDLE DOT)");
    default:
      break;
  }
  if (c <= 0x669) {
    if (!_holdsExtendedArabicIndic) _holdsExtendedArabicIndic = anyIn(0x6F0, 0x6F9);
    if (!*_holdsExtendedArabicIndic) return true;
    return fail(error, "Failed A.8. context rule (ARABIC-INDIC DIGITS)");
  }
  if (!_holdsArabicIndic) _holdsArabicIndic = anyIn(0x660, 0x669);
  if (!*_holdsArabicIndic) return true;
  return fail(error, "Failed A.9. context rule (EXTENDED ARABIC-INDIC DIGITS)");
}

}  // namespace qnunicode::detail

bool QNUnicodeDatabase::IDNA2008ContextRuleTestForCodepointAtPosition(int32_t position,
                                                                      std::u16string_view label,
                                                                      bool isLookup,
                                                                      UnicodeString* error) {
  // The codepoint at the position as the string type finds it: an index past the end raises
  // the range error, and a negative one stands for the first codepoint.
  QNUnicode::codepointAtIndex(label, position);
  qnunicode::detail::ContextRuleLabel rules(*this, label);
  return rules.holds(position < 0 ? 0 : static_cast<size_t>(position), isLookup, error);
}

bool QNUnicodeDatabase::IDNA2008ContextRulesHold(std::u16string_view label, UnicodeString* error) {
  qnunicode::detail::ContextRuleLabel rules(*this, label);
  size_t position = 0;
  UnicodeString ruleError;
  const bool held = walkCodepoints(label, [&](uint32_t c) {
    const std::u16string_view derived = IDNA2008DerivedPropertyForCodepoint(c);
    if ((derived == IDNA2008DerivedProperty_CONTEXTJ ||
         derived == IDNA2008DerivedProperty_CONTEXTO) &&
        !rules.holds(position, false, &ruleError)) {
      return false;
    }
    ++position;
    return true;
  });
  if (!held && error) {
    *error = u"Invalid U-Label. 4.2.3.3. (Contextual Rules) of RFC 5891: " + ruleError;
  }
  return held;
}
