// The IDNA2003 label conversions of RFC 3490 (ToASCII steps 1 to 8 with UseSTD3ASCIIRules, and
// ToUnicode) with the nameprep profile, and the two IDNA2003 entry points over the shared
// nameprep processor.
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/idna/QNUnicodeSharedNameprep.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

namespace {

using qnunicode::equalIgnoringASCIICase;
using qnunicode::hasACEPrefix;
using qnunicode::isASCIIOnly;

using qnunicode::detail::walkCodepoints;

constexpr int32_t kMaximumLabelLength = 63;

void store(UnicodeString* error, std::u16string_view message) {
  if (error) error->assign(message);
}

// The ASCII characters other than letters, digits and "-" (the STD3 rules of step 3a).
constexpr bool isNonLDHASCII(uint32_t c) {
  const uint32_t lower = qnunicode::asciiLowercase(c);
  return c < 0x80 && c != '-' && !(c >= '0' && c <= '9') && !(lower >= 'a' && lower <= 'z');
}

// Step 3a: the first non-LDH ASCII codepoint fails, with the code-unit offset after it as its
// position, or the codepoint count when it is the last.
bool passesSTD3Rules(std::u16string_view label, UnicodeString* error) {
  for (int32_t offset = label.empty() ? -1 : 0; offset >= 0;) {
    const uint32_t c = QNUnicode::codepointAtIndex(label, 0, offset, &offset);
    if (isNonLDHASCII(c)) {
      const int32_t position = offset >= 0 ? offset : QNUnicode::UTF32Length(label);
      if (error) {
        *error = qnunicode::fromUTF8(
            QNFormat("ToASCII failed at step 3a. Offending codepoint value: U+%04X at position: %i",
                     c, position));
      }
      return false;
    }
  }
  return true;
}

// The label nameprepped when it holds a codepoint beyond ASCII, as it is otherwise; none when
// nameprep fails (or there is no processor). Clears *containsUnassignedCodepoints first.
std::optional<UnicodeString> nameprepIfNotASCII(
    std::u16string_view label, const QNUnicodeStringprepProcessor* stringprepProcessor,
    bool* containsUnassignedCodepoints) {
  if (containsUnassignedCodepoints) *containsUnassignedCodepoints = false;
  if (isASCIIOnly(label)) return UnicodeString(label);
  if (!stringprepProcessor) return std::nullopt;
  return stringprepProcessor->stringprepString(label, containsUnassignedCodepoints);
}

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2003SingleLabelToASCII(
    std::u16string_view label, const QNUnicodeStringprepProcessor* stringprepProcessor,
    bool* containsUnassignedCodepoints, UnicodeString* error) {
  // Steps 1 and 2: nameprep, for labels that are not all ASCII.
  std::optional<UnicodeString> nameprepped =
      nameprepIfNotASCII(label, stringprepProcessor, containsUnassignedCodepoints);
  if (!nameprepped) {
    store(error, u"ToASCII failed at step 2");
    return std::nullopt;
  }
  UnicodeString prepared = std::move(*nameprepped);
  // Step 3.
  if (!passesSTD3Rules(prepared, error)) return std::nullopt;
  if (!prepared.empty() && (prepared.front() == u'-' || prepared.back() == u'-')) {
    store(error, u"ToASCII failed at step 3b");
    return std::nullopt;
  }
  // Steps 4 to 7.
  if (!isASCIIOnly(prepared)) {
    if (hasACEPrefix(prepared)) {
      store(error, u"ToASCII failed at step 5");
      return std::nullopt;
    }
    std::optional<UnicodeString> encoded =
        QNUnicode_IDNA::punycodeEncodedStringWithError(prepared, error);
    if (!encoded) return std::nullopt;
    prepared.assign(QNUnicodeACELabel);
    prepared += *encoded;
  }
  // Step 8.
  const int32_t length = QNUnicode::UTF32Length(prepared);
  if (length < 1 || length > kMaximumLabelLength) {
    if (error) {
      *error =
          qnunicode::fromUTF8(QNFormat("ToASCII failed at step 8. Invalid length: %i", length));
    }
    return std::nullopt;
  }
  return prepared;
}

UnicodeString QNUnicodeDatabase::IDNA2003SingleLabelToUnicode(
    std::u16string_view label, const QNUnicodeStringprepProcessor* stringprepProcessor,
    bool* containsUnassignedCodepoints, UnicodeString* error) {
  std::optional<UnicodeString> nameprepped =
      nameprepIfNotASCII(label, stringprepProcessor, containsUnassignedCodepoints);
  if (!nameprepped) return UnicodeString(label);
  UnicodeString prepared = std::move(*nameprepped);
  if (!hasACEPrefix(prepared)) return prepared;
  std::optional<UnicodeString> decoded = QNUnicode_IDNA::punycodeDecodedStringWithError(
      std::u16string_view(prepared).substr(QNUnicodeACELabel.size()), error);
  if (!decoded) return prepared;
  // The round trip goes through the shared processor, whatever processor was given; a decoded
  // separator splits the decoded text into labels again.
  const std::optional<UnicodeString> back =
      IDNA2003ToASCII(*decoded, containsUnassignedCodepoints, error);
  if (back && equalIgnoringASCIICase(*back, prepared)) return std::move(*decoded);
  return prepared;
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2003ToASCII(std::u16string_view domain,
                                                                bool* containsUnassignedCodepoints,
                                                                UnicodeString* error) {
  return IDNAToASCII(0, domain, qnunicode::detail::sharedNameprepProcessor(*this),
                     containsUnassignedCodepoints, error);
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2003ToUnicode(
    std::u16string_view domain, bool* containsUnassignedCodepoints, UnicodeString* error) {
  return IDNAToUnicode(0, domain, qnunicode::detail::sharedNameprepProcessor(*this),
                       containsUnassignedCodepoints, error);
}
