// The domain-level ToASCII and ToUnicode: a domain is split into labels at the label separators
// and each label is converted by the IDNA type's label operation.
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

constexpr uint32_t kIDNA2003 = 0;
constexpr uint32_t kIDNA2008 = 1;

enum class Direction { ToASCII, ToUnicode };

// The position after the white space and line ends from `position` on.
size_t skipWhitespace(std::u16string_view domain, size_t position) {
  while (position < domain.size() && qnunicode::isWhitespaceOrNewline(domain[position])) {
    ++position;
  }
  return position;
}

// Converts the labels of the domain in order with `convert(label, &unassigned)` (which answers
// none on failure), joining them with the separators as the direction writes them.
template <typename Convert>
std::optional<UnicodeString> convertDomain(std::u16string_view domain, Direction direction,
                                           bool* containsUnassignedCodepoints, Convert convert) {
  if (containsUnassignedCodepoints) *containsUnassignedCodepoints = false;
  UnicodeString result;
  result.reserve(domain.size() + 8);
  const size_t size = domain.size();
  size_t position = 0;
  // White space in front of a label or a separator run is dropped; inside or at the end of a
  // label it stays part of it.
  while ((position = skipWhitespace(domain, position)) < size) {
    const size_t labelStart = position;
    while (position < size && !qnunicode::isLabelSeparator(domain[position])) ++position;
    if (position > labelStart) {
      bool unassigned = false;
      std::optional<UnicodeString> converted =
          convert(domain.substr(labelStart, position - labelStart), &unassigned);
      // Reported even when the label fails.
      if (unassigned && containsUnassignedCodepoints) *containsUnassignedCodepoints = true;
      if (!converted) return std::nullopt;
      result += *converted;
    }
    const size_t runStart = skipWhitespace(domain, position);
    position = runStart;
    while (position < size && qnunicode::isLabelSeparator(domain[position])) ++position;
    if (direction == Direction::ToASCII) {
      result.append(position - runStart, u'.');
    } else {
      result.append(domain.substr(runStart, position - runStart));
    }
  }
  return result;
}

std::nullopt_t unknownType() {
  QNLog("QNUnicodeDatabase unknown IDNA type");
  return std::nullopt;
}

// The error-less forms log the message that came back.
std::optional<UnicodeString> logged(std::optional<UnicodeString> result,
                                    const UnicodeString& error) {
  if (!error.empty()) QNLog(qnunicode::logText(error));
  return result;
}

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToASCII(
    uint32_t type, std::u16string_view domain,
    const QNUnicodeStringprepProcessor* stringprepProcessor, bool* containsUnassignedCodepoints,
    UnicodeString* error) {
  return convertDomain(
      domain, Direction::ToASCII, containsUnassignedCodepoints,
      [&](std::u16string_view label, bool* unassigned) -> std::optional<UnicodeString> {
        if (type == kIDNA2003) {
          return IDNA2003SingleLabelToASCII(label, stringprepProcessor, unassigned, error);
        }
        if (type == kIDNA2008) return IDNA2008SingleLabelToASCII(label, error);
        return unknownType();
      });
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToUnicode(
    uint32_t type, std::u16string_view domain,
    const QNUnicodeStringprepProcessor* stringprepProcessor, bool* containsUnassignedCodepoints,
    UnicodeString* error) {
  return convertDomain(
      domain, Direction::ToUnicode, containsUnassignedCodepoints,
      [&](std::u16string_view label, bool* unassigned) -> std::optional<UnicodeString> {
        if (type == kIDNA2003) {
          return IDNA2003SingleLabelToUnicode(label, stringprepProcessor, unassigned, error);
        }
        if (type == kIDNA2008) return IDNA2008SingleLabelToUnicode(label, error);
        return unknownType();
      });
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToASCII(uint32_t type,
                                                            std::u16string_view domain,
                                                            UnicodeString* error) {
  if (type == kIDNA2003) return IDNA2003ToASCII(domain, nullptr, error);
  return IDNAToASCII(type, domain, nullptr, nullptr, error);
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToUnicode(uint32_t type,
                                                              std::u16string_view domain,
                                                              UnicodeString* error) {
  if (type == kIDNA2003) return IDNA2003ToUnicode(domain, nullptr, error);
  return IDNAToUnicode(type, domain, nullptr, nullptr, error);
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToASCII(uint32_t type,
                                                            std::u16string_view domain) {
  UnicodeString error;
  std::optional<UnicodeString> result = IDNAToASCII(type, domain, &error);
  return logged(std::move(result), error);
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNAToUnicode(uint32_t type,
                                                              std::u16string_view domain) {
  UnicodeString error;
  std::optional<UnicodeString> result = IDNAToUnicode(type, domain, &error);
  return logged(std::move(result), error);
}
