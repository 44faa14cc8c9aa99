// The three small tables of the database: the short names of the conjoining jamo, the
// composition exclusions and the Arabic shaping records. Each reader stores its empty table
// before it looks for the file, so a missing file is reported once and never looked for again.

#include <optional>
#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

// ---- Jamo ----------------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeJamoShortNames> QNUnicodeDatabase::jamoShortNames() {
  if (!_jamoShortNames) readJamoShortNames();
  return _jamoShortNames;
}

void QNUnicodeDatabase::readJamoShortNames() {
  _jamoShortNames = std::make_shared<QNUnicodeJamoShortNames>();
  const std::optional<UnicodeString> text = dataFileTextWithPrefix(QNUnicodeFilePrefixJamo);
  if (!text) return;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    if (!line.empty() && line.front() == u'#') continue;
    qnunicode::QNScanner scanner(line);
    uint32_t codepoint = 0;
    if (!scanner.scanHexInt(&codepoint) || !scanner.scanString(u";")) continue;
    // An empty short name directly followed by its comment collects nothing: such a jamo (the
    // silent IEUNG) gets no entry at all.
    UnicodeString name;
    if (!scanner.scanUpToString(u"#", &name)) continue;
    (*_jamoShortNames)[codepoint] = QNUnicode::trimmedString(name);
  }
}

std::optional<UnicodeString> QNUnicodeDatabase::jamoShortNameForCodepoint(uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeJamoShortNames> names = jamoShortNames();
  const auto found = names->find(codepoint);
  if (found == names->end()) return std::nullopt;
  return found->second;
}

// ---- CompositionExclusions -----------------------------------------------------------------

std::shared_ptr<const std::vector<uint32_t>> QNUnicodeDatabase::compositionExclusions() {
  if (!_compositionExclusions) readCompositionExclusions();
  return _compositionExclusions;
}

void QNUnicodeDatabase::readCompositionExclusions() {
  _compositionExclusions = std::make_shared<std::vector<uint32_t>>();
  _compositionExclusions->reserve(200);
  const std::optional<UnicodeString> text =
      dataFileTextWithPrefix(QNUnicodeFilePrefixCompositionExclusions);
  if (!text) return;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    qnunicode::QNScanner scanner(line);
    uint32_t codepoint = 0;
    // File order, duplicates kept; what follows the number is its comment.
    if (scanner.scanHexInt(&codepoint)) _compositionExclusions->push_back(codepoint);
  }
}

// ---- ArabicShaping -------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeArabicShapings> QNUnicodeDatabase::arabicShapings() {
  if (!_arabicShapings) readArabicShapings();
  return _arabicShapings;
}

void QNUnicodeDatabase::readArabicShapings() {
  _arabicShapings = std::make_shared<QNUnicodeArabicShapings>();
  const std::optional<UnicodeString> text =
      dataFileTextWithPrefix(QNUnicodeFilePrefixArabicShaping);
  if (!text) return;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    std::shared_ptr<const QNUnicodeArabicShaping> record =
        QNUnicodeArabicShaping::arabicShapingWithString(line);
    // A later line for the same codepoint replaces an earlier one.
    if (record) (*_arabicShapings)[record->codeValue()] = std::move(record);
  }
}

std::shared_ptr<const QNUnicodeArabicShaping> QNUnicodeDatabase::arabicShapingForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeArabicShapings> shapings = arabicShapings();
  const auto found = shapings->find(codepoint);
  if (found != shapings->end()) return found->second;

  // An unlisted codepoint is transparent when it is a mark or a format character and
  // non-joining otherwise. The record is made afresh for each call and never stored.
  const std::shared_ptr<const QNUnicodeData> data = unicodeDataForCodepoint(codepoint);
  if (!data) return nullptr;
  const UnicodeString category = data->generalCategory();
  const bool transparent = category == u"Mn" || category == u"Me" || category == u"Cf";
  const std::string line = QNFormat(transparent ? "%04X; ; T;" : "%04X; ; U;", codepoint);
  return QNUnicodeArabicShaping::arabicShapingWithString(qnunicode::fromUTF8(line));
}
