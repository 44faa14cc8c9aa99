// The IDNA2008 label conversions that the domain-level ToASCII and ToUnicode dispatch type 1 to:
// the registration checks of RFC 5891 section 4 in this library's order, and the A-label back
// to its U-label by way of a round trip.
#include <algorithm>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodeIDNA2008Table.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::equalIgnoringASCIICase;
using qnunicode::hasACEPrefix;
using qnunicode::isASCIIOnly;

using qnunicode::detail::IDNA2008Derived;
using qnunicode::detail::walkCodepoints;

constexpr int32_t kMaximumLabelLength = 63;
constexpr int32_t kShortLabel = 64;

std::nullopt_t fail(UnicodeString* error, std::u16string_view message) {
  if (error) error->assign(message);
  return std::nullopt;
}

std::nullopt_t fail(UnicodeString* error, const std::string& message) {
  if (error) *error = qnunicode::fromUTF8(message);
  return std::nullopt;
}

// The message of a failed step composed around the inner message.
std::nullopt_t fail(UnicodeString* error, std::u16string_view prefix, std::u16string_view inner) {
  if (error) {
    UnicodeString message(prefix);
    message += inner;
    *error = std::move(message);
  }
  return std::nullopt;
}

// The message with the texts in place of its %@ placeholders, in order.
UnicodeString quoted(std::u16string_view format, std::initializer_list<std::u16string_view> texts) {
  UnicodeString message;
  auto text = texts.begin();
  for (size_t k = 0; k < format.size(); ++k) {
    if (format[k] == u'%' && k + 1 < format.size() && format[k + 1] == u'@' &&
        text != texts.end()) {
      message += *text++;
      ++k;
    } else {
      message += format[k];
    }
  }
  return message;
}

// Steps 10 and 11: the label's A-label, from its walked codepoints when they were all kept (a
// label too long for that goes through the string form), or none with the message.
std::optional<UnicodeString> aLabelOf(std::u16string_view label, const uint32_t* codepoints,
                                      int32_t count, UnicodeString* error) {
  UnicodeString aLabel(QNUnicodeACELabel);
  if (count <= kShortLabel) {
    // The codec on the walked codepoints with the room the string form gives a label this short.
    char encoded[4 * kShortLabel];
    uint32_t encodedLength = sizeof encoded;
    if (qnunicode::punycode_encode(static_cast<uint32_t>(count), codepoints, nullptr,
                                   &encodedLength, encoded) != qnunicode::QNPunycodeSuccess) {
      return fail(error, u"Invalid U-Label. Punycode encoding failed.");
    }
    aLabel.append(encoded, encoded + encodedLength);
  } else {
    UnicodeString punycodeError;
    std::optional<UnicodeString> encoded =
        QNUnicode_IDNA::punycodeEncodedStringWithError(label, &punycodeError);
    if (!encoded) return fail(error, u"Invalid U-Label. ", punycodeError);
    aLabel += *encoded;
  }
  const auto length = static_cast<int32_t>(aLabel.size());  // ASCII
  if (length < 1 || length > kMaximumLabelLength) {
    return fail(
        error,
        QNFormat("Invalid U-Label. 4.4. (Punycode Conversion) of RFC 5891: Invalid length: %i",
                 length));
  }
  return aLabel;
}

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2008SingleLabelToASCII(
    std::u16string_view label, UnicodeString* error) {
  if (QNUnicode_IDNA::isLDHLabel(label)) return UnicodeString(label);
  if (isASCIIOnly(label)) {
    return fail(error, u"Label is ASCII only but not an LDH-Label (Letters, Digits, Hyphen).");
  }
  // Step 4, noting the codepoints (of a label short enough to become an A-label), whether any
  // needs a context rule, whether NFC could change any and whether any is right to left.
  uint32_t shortLabel[kShortLabel] = {};
  const uint32_t* leading = shortLabel;
  int32_t count = 0;
  uint16_t allBits = 0xFFFF, anyBits = 0;
  bool needsContext = false;
  uint32_t refused = 0;
  IDNA2008Derived refusal = IDNA2008Derived::PVALID;
  walkCodepoints(label, [&](uint32_t c) {
    const uint16_t bits = IDNA2008PropertyBits(c);
    allBits &= bits;
    anyBits |= bits;
    const IDNA2008Derived derived = qnunicode::detail::derivedOfBits(bits);
    if (refusal == IDNA2008Derived::PVALID &&
        (derived == IDNA2008Derived::DISALLOWED || derived == IDNA2008Derived::UNASSIGNED)) {
      refused = c;
      refusal = derived;
    }
    if (derived == IDNA2008Derived::CONTEXTJ || derived == IDNA2008Derived::CONTEXTO) {
      needsContext = true;
    }
    if (count < kShortLabel) shortLabel[count] = c;
    ++count;
    return true;
  });
  // Step 3 comes first: a label of codepoints that NFC leaves alone is in NFC.
  if (!(allBits & qnunicode::detail::kIDNA2008NFCInert)) {
    const UnicodeString text(label);
    if (normalizationFormCForString(text) != text) {
      return fail(error, u"Invalid U-Label. Must be in Normalization Form C");
    }
  }
  if (refusal != IDNA2008Derived::PVALID) {
    return fail(error,
                QNFormat("Invalid U-Label. 4.2.2. of RFC 5891: U+%04X is %s", refused,
                         refusal == IDNA2008Derived::DISALLOWED ? "DISALLOWED" : "UNASSIGNED"));
  }
  if (leading[0] == '-' || label.back() == u'-') {
    return fail(error,
                u"Invalid U-Label. 4.2.3.1. of RFC 5891: Label must not start or end with a '-'");
  }
  if (count >= 4 && leading[2] == '-' && leading[3] == '-') {
    return fail(error,
                u"Invalid U-Label. 4.2.3.1. of RFC 5891: Label must not contain '--' in 3rd and "
                u"4th position");
  }
  const std::shared_ptr<const QNUnicodeData> first = unicodeDataForCodepoint(leading[0]);
  const UnicodeString firstCategory = first ? first->generalCategory() : UnicodeString();
  if (firstCategory == u"Mc" || firstCategory == u"Me" || firstCategory == u"Mn") {
    return fail(error, u"Invalid U-Label. 4.2.3.2. (Leading Combining Marks) of RFC 5891");
  }
  if (needsContext && !IDNA2008ContextRulesHold(label, error)) return std::nullopt;
  // Right to left by the shared database's records: this database's when it is the shared one.
  const bool rightToLeft = QNUnicodeDatabase::sharedDatabase().get() == this
                               ? (anyBits & qnunicode::detail::kIDNA2008RightToLeft) != 0
                               : QNUnicode_IDNA::containsRTLCharacter(label);
  if (rightToLeft) {
    UnicodeString bidiError;
    if (!IDNA2008BidiTestForLabel(label, &bidiError)) {
      return fail(error, u"Invalid U-Label. 4.2.3.4. (Right to Left) of RFC 5891: ", bidiError);
    }
  }
  return aLabelOf(label, shortLabel, count, error);
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2008SingleLabelToUnicode(
    std::u16string_view label, UnicodeString* error) {
  if (QNUnicode_IDNA::isNonReservedLDHLabel(label)) return UnicodeString(label);
  uint32_t nonASCII = 0;
  walkCodepoints(label, [&](uint32_t c) {
    if (c >= 0x80) nonASCII = c;
    return c < 0x80;
  });
  if (nonASCII) {
    return fail(error,
                QNFormat("Not an ASCII-Label. Contains non-ASCII codepoint U+%04X.", nonASCII));
  }
  // The bare prefix ends in "-" and so is no LDH label; it goes on to the prefix steps, which
  // say what is wrong with it.
  if (!QNUnicode_IDNA::isLDHLabel(label) && !equalIgnoringASCIICase(label, QNUnicodeACELabel)) {
    return fail(error, u"Not an LDH-Label.");
  }
  if (!hasACEPrefix(label)) {
    return fail(error, quoted(u"Not an A-Label. Does not start with ACE prefix (%@).",
                              {QNUnicodeACELabel}));
  }
  if (label.size() == QNUnicodeACELabel.size()) {
    return fail(error, quoted(u"Invalid A-Label. Must contain at least one character after the "
                              u"ACE prefix (%@).",
                              {QNUnicodeACELabel}));
  }
  // The label is ASCII and at most 63 units (LDH), so the codec takes its units as they are
  // and needs room for as many codepoints.
  const std::u16string_view rest = label.substr(QNUnicodeACELabel.size());
  char input[kMaximumLabelLength];
  uint32_t output[kMaximumLabelLength];
  for (size_t k = 0; k < rest.size(); ++k) input[k] = static_cast<char>(rest[k]);
  auto length = static_cast<uint32_t>(rest.size());
  if (qnunicode::punycode_decode(length, input, &length, output, nullptr) !=
      qnunicode::QNPunycodeSuccess) {
    return fail(error, u"Fake A-Label: Punycode decoding failed.");
  }
  std::optional<UnicodeString> decoded(std::in_place);
  decoded->reserve(length);
  for (uint32_t k = 0; k < length; ++k) qnunicode::appendUTF16(*decoded, output[k]);
  // Back to an A-label by the domain-level conversion, or straight by the label's when the
  // decoded text is one label to it (no separator, no white space in front).
  UnicodeString backError;
  const bool oneLabel = !decoded->empty() && !qnunicode::isWhitespaceOrNewline((*decoded)[0]) &&
                        std::none_of(decoded->begin(), decoded->end(), qnunicode::isLabelSeparator);
  const std::optional<UnicodeString> back = oneLabel
                                                ? IDNA2008SingleLabelToASCII(*decoded, &backError)
                                                : IDNAToASCII(1, *decoded, &backError);
  if (!back) {
    return fail(error, quoted(u"Invalid A-Label. Converting putative U-Label \u201C%@\u201D back "
                              u"to A-Label failed: %@",
                              {*decoded, backError}));
  }
  if (!equalIgnoringASCIICase(*back, label)) {
    return fail(error, quoted(u"Invalid A-Label. Converting putative U-Label \u201C%@\u201D back "
                              u"to A-Label produced a different result: \u201C%@\u201D",
                              {*decoded, *back}));
  }
  return decoded;
}
