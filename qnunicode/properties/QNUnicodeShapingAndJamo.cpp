// The three small tables of the database: the short names of the conjoining jamo, the
// composition exclusions and the Arabic shaping records. Each reader stores its empty table
// before it looks for the file, so a missing file is reported once and never looked for again.

#include <algorithm>
#include <optional>
#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

using qnunicode::detail::DataFile;
using qnunicode::detail::LineCursor;

// ---- Jamo ----------------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeJamoShortNames> QNUnicodeDatabase::jamoShortNames() {
  if (!_jamoShortNames) readJamoShortNames();
  return _jamoShortNames;
}

void QNUnicodeDatabase::readJamoShortNames() {
  _jamoShortNames = std::make_shared<QNUnicodeJamoShortNames>();
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixJamo);
  if (!file.isReadable()) return;
  LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    if (!line.empty() && line.front() == '#') continue;
    qnunicode::QNUTF8Scanner scanner(line);
    uint32_t codepoint = 0;
    if (!scanner.scanHexInt(&codepoint) || !scanner.scanString(";")) continue;
    // An empty short name directly followed by its comment collects nothing: such a jamo (the
    // silent IEUNG) gets no entry at all.
    std::string_view name;
    if (!scanner.scanUpToString("#", &name)) continue;
    (*_jamoShortNames)[codepoint] = qnunicode::utf16FromUTF8(qnunicode::trimmedUTF8(name));
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
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixCompositionExclusions);
  if (!file.isReadable()) return;
  LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    qnunicode::QNUTF8Scanner scanner(line);
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
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixArabicShaping);
  if (!file.isReadable()) return;
  // Each line is made a record from its UTF-16 form, in one buffer used again for every line.
  UnicodeString buffer;
  LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    // Comments and lines without exactly three ";" make no record.
    if ((!line.empty() && line.front() == '#') || std::count(line.begin(), line.end(), ';') != 3) {
      continue;
    }
    qnunicode::assignUTF16FromUTF8(buffer, line);
    std::shared_ptr<const QNUnicodeArabicShaping> record =
        QNUnicodeArabicShaping::arabicShapingWithString(buffer);
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
