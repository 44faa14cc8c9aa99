#include "qnunicode/properties/QNUnicodeArabicShaping.h"

#include <array>
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
  // Blank lines, and lines whose trailing comment holds another ";", are not data lines: there
  // must be exactly four pieces between the ";".
  std::array<std::u16string_view, 4> pieces;
  size_t start = 0;
  for (size_t piece = 0; piece < pieces.size(); ++piece) {
    const size_t end = line.find(u';', start);
    if ((end == std::u16string_view::npos) != (piece == pieces.size() - 1)) return nullptr;
    pieces[piece] = line.substr(start, end == std::u16string_view::npos ? end : end - start);
    start = end + 1;
  }
  qnunicode::QNScanner scanner(pieces[0]);
  uint32_t codeValue = 0;
  if (!scanner.scanHexInt(&codeValue)) return nullptr;
  return std::make_shared<QNUnicodeArabicShaping>(codeValue, QNUnicode::trimmedString(pieces[1]),
                                                  QNUnicode::trimmedString(pieces[2]),
                                                  QNUnicode::trimmedString(pieces[3]));
}
