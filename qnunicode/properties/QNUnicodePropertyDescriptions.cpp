// Readable descriptions of property values: the alias table read from PropertyValueAliases, the
// decomposition-tag descriptions read from the host's description directories, and one
// description operation per property.
#include <algorithm>
#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"
#include "qnunicode/util/QNStringAdditions.h"

namespace {

// The blanks (the space separators) and the tab; line ends are not among them.
constexpr bool isBlankOrTab(char16_t u) {
  return u == u'\t' || (qnunicode::isWhitespaceOrNewline(u) && !(u >= 0x0A && u <= 0x0D) &&
                        u != 0x85 && u != 0x2028 && u != 0x2029);
}

std::u16string_view trimmedOfBlanksAndTabs(std::u16string_view text) {
  while (!text.empty() && isBlankOrTab(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlankOrTab(text.back())) text.remove_suffix(1);
  return text;
}

// The description of a value: its aliases joined by one blank, or none without an entry.
std::optional<UnicodeString> describe(const QNUnicodePropertyValueMap* values,
                                      const QNUnicodePropertyValueKey& key) {
  if (!values) return std::nullopt;
  const auto aliases = values->find(key);
  if (aliases == values->end()) return std::nullopt;
  UnicodeString description;
  for (size_t i = 0; i < aliases->second.size(); ++i) {
    if (i > 0) description.push_back(u' ');
    description += aliases->second[i];
  }
  return description;
}

}  // namespace

// ---- PropertyValueAliases -------------------------------------------------------------------

std::shared_ptr<const QNUnicodePropertyValueAliases> QNUnicodeDatabase::propertyValueAliases() {
  if (!_propertyValueAliases) readPropertyValueAliases();
  return _propertyValueAliases;
}

namespace {

// A field of PropertyValueAliases trimmed of blanks and tabs, lower-cased when asked. ASCII
// fields are handled as bytes; any other goes through its UTF-16 form.
UnicodeString aliasField(std::string_view field, bool lowercase) {
  if (!qnunicode::isASCII(field)) {
    const UnicodeString text = qnunicode::utf16FromUTF8(field);
    return lowercase ? qnunicode::detail::lowercasedString(trimmedOfBlanksAndTabs(text))
                     : UnicodeString(trimmedOfBlanksAndTabs(text));
  }
  while (!field.empty() && (field.front() == ' ' || field.front() == '\t')) field.remove_prefix(1);
  while (!field.empty() && (field.back() == ' ' || field.back() == '\t')) field.remove_suffix(1);
  UnicodeString result(field.size(), u'\0');
  for (size_t i = 0; i < field.size(); ++i) {
    const char c = field[i];
    result[i] = static_cast<char16_t>(lowercase ? qnunicode::asciiLowercase(c) : c);
  }
  return result;
}

}  // namespace

bool QNUnicodeDatabase::readPropertyValueAliases() {
  // The table exists before the file is looked for, so a missing file is not looked for again
  // (and, unlike the other data files, goes unreported).
  _propertyValueAliases = std::make_shared<QNUnicodePropertyValueAliases>();
  QNUnicodePropertyValueAliases& table = *_propertyValueAliases;
  const qnunicode::detail::DataFile file(
      filenameWithPrefix(QNUnicodeFilePrefixPropertyValueAliases));
  if (!file.isReadable()) return false;

  // Every message names the file's line count where the line number would stand.
  const int lineCount = static_cast<int>(qnunicode::detail::lineCount(file.bytes()));
  std::vector<std::string_view> fields;
  // Lines of one property come in runs: the map of the line before is kept at hand, under the
  // property field as written.
  std::string_view previousPropertyField;
  QNUnicodePropertyValueMap* previousValues = nullptr;
  bool previousIsCCC = false;
  qnunicode::detail::LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    if (line.empty() || line[0] == '#') continue;
    line = line.substr(0, line.find('#'));  // the comment goes

    fields.clear();
    for (size_t start = 0;;) {
      const size_t end = line.find(';', start);
      fields.push_back(line.substr(start, end == std::string_view::npos ? end : end - start));
      if (end == std::string_view::npos) break;
      start = end + 1;
    }
    if (fields.size() < 3) {
      QNLogFormat(
          "QNUnicode::UnicodeDatabase -readPropertyValueAliases: Line %i contains %i fields "
          "(minimum is 3). Ignoring line.",
          lineCount, static_cast<int>(fields.size()));
      continue;
    }
    if (!previousValues || fields[0] != previousPropertyField) {
      const UnicodeString property = aliasField(fields[0], true);
      if (property.empty()) {
        QNLogFormat(
            "QNUnicode::UnicodeDatabase -readPropertyValueAliases: Could not find property in "
            "line %i. Ignoring line.",
            lineCount);
        continue;
      }
      // The property's map stays even when the rest of the line is then rejected.
      previousValues = &table[property];
      previousPropertyField = fields[0];
      previousIsCCC = property == u"ccc";
    }
    QNUnicodePropertyValueMap& values = *previousValues;

    size_t valueField = 1;
    std::optional<int64_t> numericClass;
    if (previousIsCCC) {
      if (fields.size() < 4) {
        QNLogFormat(
            "QNUnicode::UnicodeDatabase -readPropertyValueAliases: ccc line %i contains %i "
            "fields (minimum is 4). Ignoring line.",
            lineCount, static_cast<int>(fields.size()));
        continue;
      }
      // The class number, read the way a text's integer value is: leading white space passed
      // over, an optional sign, the digits up to the first other character, 0 without any.
      qnunicode::QNUTF8Scanner scanner(fields[1]);
      int32_t number = 0;
      if (!scanner.scanInt(&number)) number = 0;
      numericClass = number;
      valueField = 2;
    }

    UnicodeString value = aliasField(fields[valueField], true);
    if (value.empty()) {
      QNLogFormat(
          "QNUnicode::UnicodeDatabase -readPropertyValueAliases: Could not find property value "
          "in line %i. Ignoring line.",
          lineCount);
      continue;
    }

    // The aliases are appended as one block, so each list grows as an insertion of the block
    // would make it grow, and holds no more room than that.
    const size_t aliasCount = fields.size() - valueField - 1;
    const auto makeRoom = [aliasCount](std::vector<UnicodeString>& list) {
      if (list.size() + aliasCount > list.capacity()) {
        list.reserve(list.size() + std::max(list.size(), aliasCount));
      }
    };
    std::vector<UnicodeString>& byName = values[QNUnicodePropertyValueKey(std::move(value))];
    std::vector<UnicodeString>* byNumber =
        numericClass ? &values[QNUnicodePropertyValueKey(*numericClass)] : nullptr;
    makeRoom(byName);
    if (byNumber) makeRoom(*byNumber);
    for (size_t field = valueField + 1; field < fields.size(); ++field) {
      byName.push_back(aliasField(fields[field], false));
      if (byNumber) byNumber->push_back(byName.back());
    }
  }
  return true;
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::propertyValueAliasesForProperty(
    std::u16string_view property) {
  const std::shared_ptr<const QNUnicodePropertyValueAliases> table = propertyValueAliases();
  const auto values = table->find(qnunicode::detail::lowercasedString(property));
  return values == table->end() ? nullptr : &values->second;
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::generalCategories() {
  return propertyValueAliasesForProperty(u"gc");
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::bidirectionalCategories() {
  return propertyValueAliasesForProperty(u"bc");
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::combiningClassDescriptions() {
  return propertyValueAliasesForProperty(u"ccc");
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::arabicShapingJoiningTypeDescriptions() {
  return propertyValueAliasesForProperty(u"jt");
}

const QNUnicodePropertyValueMap* QNUnicodeDatabase::lineBreakDescriptions() {
  return propertyValueAliasesForProperty(u"lb");
}

// ---- Description files ----------------------------------------------------------------------

std::shared_ptr<QNUnicodeDescriptionTable> QNUnicodeDatabase::readDescriptionFile(
    const std::string& path) {
  const std::optional<UnicodeString> text = QNUnicode::stringWithContentsOfUTF8File(path);
  if (!text) return nullptr;
  const std::vector<std::u16string_view> lines = qnunicode::splitAt(*text, u'\n');
  auto table = std::make_shared<QNUnicodeDescriptionTable>();
  table->reserve(lines.size());
  // Strictly key, one tab, description: nothing is trimmed, and other lines are passed over.
  for (std::u16string_view line : lines) {
    if (!line.empty() && line[0] == u'#') continue;
    const std::vector<std::u16string_view> fields = qnunicode::splitAt(line, u'\t');
    if (fields.size() != 2) continue;
    (*table)[qnunicode::detail::lowercasedString(fields[0])] = UnicodeString(fields[1]);
  }
  return table;
}

void QNUnicodeDatabase::readCompatibilityMappingCategoriesTagDescriptions() {
  const std::optional<std::string> path =
      descriptionFilenameWithPrefix(QNUnicodeDescriptionPrefixCompatMappingCategories);
  // Without the file the member stays absent, and the next access looks again.
  _compatibilityMappingTagDescriptions = path ? readDescriptionFile(*path) : nullptr;
}

std::shared_ptr<const QNUnicodeDescriptionTable>
QNUnicodeDatabase::compatibilityMappingTagDescriptions() {
  if (!_compatibilityMappingTagDescriptions) readCompatibilityMappingCategoriesTagDescriptions();
  return _compatibilityMappingTagDescriptions;
}

// ---- Descriptions of a codepoint ------------------------------------------------------------

std::optional<UnicodeString> QNUnicodeDatabase::generalCategoryDescriptionForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return std::nullopt;
  return describe(generalCategories(),
                  qnunicode::detail::lowercasedString(record->generalCategory()));
}

std::optional<UnicodeString> QNUnicodeDatabase::bidirectionalCategoryDescriptionForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return std::nullopt;
  return describe(bidirectionalCategories(),
                  qnunicode::detail::lowercasedString(record->bidirectionalCategory()));
}

std::optional<UnicodeString> QNUnicodeDatabase::lineBreakDescriptionForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return std::nullopt;
  return describe(
      lineBreakDescriptions(),
      qnunicode::detail::lowercasedString(QNUnicode_StringForLineBreakClass(record->lineBreak())));
}

std::optional<UnicodeString> QNUnicodeDatabase::combiningClassDescriptionForCodepoint(
    uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return std::nullopt;
  return describe(combiningClassDescriptions(),
                  static_cast<int64_t>(record->canonicalCombiningClass()));
}

std::optional<UnicodeString> QNUnicodeDatabase::arabicShapingJoiningTypeDescriptionForCodepoint(
    uint32_t codepoint) {
  // Listed or not, a codepoint with a character record has an Arabic shaping record.
  const std::shared_ptr<const QNUnicodeArabicShaping> shaping =
      arabicShapingForCodepoint(codepoint);
  if (!shaping) return std::nullopt;
  return describe(arabicShapingJoiningTypeDescriptions(),
                  qnunicode::detail::lowercasedString(shaping->joiningType()));
}

std::optional<UnicodeString> QNUnicodeDatabase::mappingDescriptionForCodepoint(uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return std::nullopt;
  const UnicodeString mapping = record->characterDecompositionMapping();
  if (mapping.empty()) return std::nullopt;
  const size_t tagEnd = mapping.find(u'>');
  if (tagEnd == UnicodeString::npos) return UnicodeString(u"Canonical Mapping");
  // The tag is looked up as written while the file's keys are lower-case, so a tag with a
  // capital letter (noBreak) always answers the general text.
  const std::shared_ptr<const QNUnicodeDescriptionTable> descriptions =
      compatibilityMappingTagDescriptions();
  if (descriptions) {
    const auto description = descriptions->find(mapping.substr(0, tagEnd + 1));
    if (description != descriptions->end()) return description->second;
  }
  return UnicodeString(u"Compatibility Mapping");
}
