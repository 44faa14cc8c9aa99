#include "qnunicode/properties/QNUnicodeSpecialCasing.h"

#include <algorithm>
#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNScanner.h"

namespace {

constexpr std::u16string_view kRemoveMark = u"<remove>";

// Reads the codepoints of one mapping field. The scan stops at anything that is not a
// hexadecimal number, so text outside the format ends the list instead of looping on it.
void scanMapping(std::u16string_view field, std::vector<uint32_t>* codepoints,
                 UnicodeString* text) {
  qnunicode::QNScanner scanner(field);
  while (!scanner.isAtEnd()) {
    uint32_t codepoint = 0;
    if (!scanner.scanHexInt(&codepoint)) break;
    codepoints->push_back(codepoint);
  }
  *text = codepoints->empty() ? UnicodeString(kRemoveMark) : QNUnicode::trimmedString(field);
}

void appendDecimal(UnicodeString& text, uint32_t number) {
  for (char digit : std::to_string(number)) text.push_back(static_cast<char16_t>(digit));
}

void appendJoined(UnicodeString& text, const std::vector<uint32_t>& codepoints) {
  for (size_t i = 0; i < codepoints.size(); ++i) {
    if (i > 0) text.push_back(u' ');
    appendDecimal(text, codepoints[i]);
  }
}

}  // namespace

std::shared_ptr<const QNUnicodeSpecialCasing> QNUnicodeSpecialCasing::specialCasingWithString(
    std::u16string_view line) {
  if (!line.empty() && line[0] == u'#') return nullptr;
  const std::vector<std::u16string_view> pieces = qnunicode::splitAt(line, u';');
  if (pieces.size() < 5) return nullptr;

  std::shared_ptr<QNUnicodeSpecialCasing> record(new QNUnicodeSpecialCasing());
  qnunicode::QNScanner codeScanner(pieces[0]);
  if (!codeScanner.scanHexInt(&record->_codeValue)) return nullptr;
  scanMapping(pieces[1], &record->_lowercaseMappingArray, &record->_lowercaseMapping);
  scanMapping(pieces[2], &record->_titlecaseMappingArray, &record->_titlecaseMapping);
  scanMapping(pieces[3], &record->_uppercaseMappingArray, &record->_uppercaseMapping);

  // With exactly five pieces the fifth is the comment part, and a condition can only stand
  // before its "#"; with more, the fifth piece is the condition field itself.
  UnicodeString condition;
  if (pieces.size() == 5) {
    qnunicode::QNScanner conditionScanner(pieces[4]);
    conditionScanner.scanUpToString(u"#", &condition);
  } else {
    condition.assign(pieces[4]);
  }
  condition = QNUnicode::trimmedString(condition);
  if (!condition.empty()) record->_conditionList = std::move(condition);
  return record;
}

UnicodeString QNUnicodeSpecialCasing::description() const {
  UnicodeString text;
  appendDecimal(text, _codeValue);
  for (const std::vector<uint32_t>* mapping :
       {&_lowercaseMappingArray, &_titlecaseMappingArray, &_uppercaseMappingArray}) {
    text += u"; ";
    appendJoined(text, *mapping);
  }
  if (_conditionList) {
    text += u"; ";
    text += *_conditionList;
  }
  return text;
}

// ---- The database's special casings ---------------------------------------------------------

std::shared_ptr<const QNUnicodeSpecialCasings> QNUnicodeDatabase::specialCasings() {
  if (!_specialCasings) readSpecialCasings();
  return _specialCasings;
}

void QNUnicodeDatabase::readSpecialCasings() {
  auto table = std::make_shared<QNUnicodeSpecialCasings>();
  table->reserve(100);
  _specialCasings = table;
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixSpecialCasing);
  if (!file.isReadable()) {
    // The empty table stays: the file is not looked for again.
    return;
  }
  // Each line is made a record from its UTF-16 form, in one buffer used again for every line.
  UnicodeString buffer;
  qnunicode::detail::LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    // Comments and lines with fewer than four ";" make no record.
    if ((!line.empty() && line[0] == '#') || std::count(line.begin(), line.end(), ';') < 4) {
      continue;
    }
    qnunicode::assignUTF16FromUTF8(buffer, line);
    std::shared_ptr<const QNUnicodeSpecialCasing> record =
        QNUnicodeSpecialCasing::specialCasingWithString(buffer);
    if (!record) continue;
    QNUnicodeSpecialCasingList& list = (*table)[record->codeValue()];
    if (list.empty()) list.reserve(2);
    list.push_back(std::move(record));
  }
}

std::optional<QNUnicodeSpecialCasingList> QNUnicodeDatabase::specialCasingsForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeSpecialCasings> table = specialCasings();
  const auto found = table->find(codepoint);
  if (found == table->end()) return std::nullopt;
  return found->second;
}
