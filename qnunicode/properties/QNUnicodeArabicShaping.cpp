#include "qnunicode/properties/QNUnicodeArabicShaping.h"

#include <utility>

#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNScanner.h"

QNUnicodeArabicShaping::QNUnicodeArabicShaping(uint32_t codeValue, UnicodeString schematicName,
                                               UnicodeString joiningType,
                                               UnicodeString joiningGroup)
    : _codeValue(codeValue),
      _schematicName(std::move(schematicName)),
      _joiningType(std::move(joiningType)),
      _joiningGroup(std::move(joiningGroup)) {}

std::shared_ptr<QNUnicodeArabicShaping> QNUnicodeArabicShaping::arabicShapingWithString(
    std::u16string_view line) {
  if (!line.empty() && line.front() == u'#') return nullptr;
  const std::vector<std::u16string_view> pieces = qnunicode::splitAt(line, u';');
  // Blank lines, and lines whose trailing comment holds another ";", are not data lines.
  if (pieces.size() != 4) return nullptr;
  qnunicode::QNScanner scanner(pieces[0]);
  uint32_t codeValue = 0;
  if (!scanner.scanHexInt(&codeValue)) return nullptr;
  return std::make_shared<QNUnicodeArabicShaping>(codeValue, QNUnicode::trimmedString(pieces[1]),
                                                  QNUnicode::trimmedString(pieces[2]),
                                                  QNUnicode::trimmedString(pieces[3]));
}
