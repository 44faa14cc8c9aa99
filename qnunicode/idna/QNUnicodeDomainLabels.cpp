#include "qnunicode/idna/QNUnicodeDomainLabels.h"

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"

namespace QNUnicode_IDNA {

namespace {

constexpr size_t kMaximumLabelLength = 63;

constexpr bool isLDHCharacter(char16_t unit) {
  const char16_t lower = qnunicode::asciiLowercase(unit);
  return unit == u'-' || (unit >= u'0' && unit <= u'9') || (lower >= u'a' && lower <= u'z');
}

}  // namespace

bool isLDHLabel(std::u16string_view string) {
  if (!string.empty() && (string.front() == u'-' || string.back() == u'-')) return false;
  if (string.size() > kMaximumLabelLength) return false;
  for (char16_t unit : string) {
    if (!isLDHCharacter(unit)) return false;
  }
  return true;
}

bool isNonReservedLDHLabel(std::u16string_view string) {
  if (!isLDHLabel(string)) return false;
  if (string.size() < 4) return true;
  // An LDH label is ASCII, so its codepoint indexes are its unit offsets.
  return !(string[2] == u'-' && string[3] == u'-');
}

bool containsRTLCharacter(std::u16string_view string) {
  if (string.empty()) return false;
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) return false;
  for (int32_t offset = 0; offset >= 0;) {
    const uint32_t codepoint = QNUnicode::codepointAtIndex(string, 0, offset, &offset);
    const std::shared_ptr<const QNUnicodeData> record =
        database->unicodeDataForCodepoint(codepoint);
    if (!record) return false;
    const UnicodeString category = record->bidirectionalCategory();
    if (category == u"R" || category == u"AL" || category == u"AN") return true;
  }
  return false;
}

std::vector<UnicodeString> domainNameLabels(std::u16string_view string) {
  std::vector<UnicodeString> labels;
  labels.reserve(5);
  size_t position = 0;
  const size_t size = string.size();
  for (; position < size && qnunicode::isLabelSeparator(string[position]); ++position) {
    labels.emplace_back();
  }
  while (position < size) {
    const size_t start = position;
    while (position < size && !qnunicode::isLabelSeparator(string[position])) ++position;
    if (position > start) labels.emplace_back(string.substr(start, position - start));
    const size_t runStart = position;
    while (position < size && qnunicode::isLabelSeparator(string[position])) ++position;
    if (position > runStart) {
      labels.insert(labels.end(), position - runStart - 1, UnicodeString());
      if (position == size) labels.emplace_back();
    }
  }
  return labels;
}

}  // namespace QNUnicode_IDNA
