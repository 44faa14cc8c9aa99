#include "QNUCodepointReport.h"

#include <algorithm>

#include "QNUEscape.h"
#include "QNUProgress.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/names/QNUnicodeNamesList.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodeSpecialCasing.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"

namespace qnu {

namespace {

Json jsonLines(const QNUnicodeNamesList_CharEntry::Lines& lines) {
  if (!lines) return nullptr;
  Json list = Json::array();
  for (std::u16string_view line : *lines) list.push_back(jsonText(line));
  return list;
}

Json namesListObject(const QNUnicodeNamesList_CharEntry& entry) {
  Json object;
  object["aliases"] = jsonLines(entry.aliases());
  object["formalAliases"] = jsonLines(entry.formalAliases());
  object["comments"] = jsonLines(entry.comments());
  object["crossRefs"] = jsonLines(entry.crossRefs());
  object["decompositions"] = jsonLines(entry.decompositions());
  object["compatMappings"] = jsonLines(entry.compatMappings());
  object["notices"] = jsonLines(entry.notices());
  return object;
}

// The entry's display text without the two tabs that open each of its lines: the text table
// gives every line its own indentation.
std::string namesListText(const QNUnicodeNamesList_CharEntry& entry) {
  const UnicodeString lines = entry.allLinesString();
  std::string text;
  for (std::u16string_view line : qnunicode::splitAt(lines, u'\n')) {
    while (!line.empty() && line.front() == u'\t') line.remove_prefix(1);
    if (!text.empty()) text += '\n';
    text += qnunicode::toUTF8(line);
  }
  return text;
}

Json specialCasingsValue(const std::optional<QNUnicodeSpecialCasingList>& casings,
                         std::string& text) {
  Json list = Json::array();
  if (!casings) return list;
  for (const auto& casing : *casings) {
    Json object;
    object["lowercaseMapping"] = jsonText(std::u16string_view(casing->lowercaseMapping()));
    object["titlecaseMapping"] = jsonText(std::u16string_view(casing->titlecaseMapping()));
    object["uppercaseMapping"] = jsonText(std::u16string_view(casing->uppercaseMapping()));
    object["conditionList"] = jsonText(casing->conditionList());
    list.push_back(std::move(object));
    if (!text.empty()) text += '\n';
    text += "lower " + qnunicode::toUTF8(casing->lowercaseMapping()) + "; title " +
            qnunicode::toUTF8(casing->titlecaseMapping()) + "; upper " +
            qnunicode::toUTF8(casing->uppercaseMapping());
    if (casing->conditionList()) text += "; when " + qnunicode::toUTF8(*casing->conditionList());
  }
  return list;
}

Json numericValue(const std::optional<QNUnicodeNumericValue>& value) {
  if (!value) return nullptr;
  if (const int64_t* integer = std::get_if<int64_t>(&*value)) return *integer;
  return std::get<float>(*value);
}

}  // namespace

const QNUnicodeNamesList_CharEntry* CodepointReporter::namesListEntry(uint32_t codepoint) {
  if (!_namesListTried) {
    // Tried once: a names list that cannot be read would be retried (and logged) on every call.
    _namesListTried = true;
    _namesListRead = _database.namesList() != nullptr;
    if (!_namesListRead && !_database.filenameWithPrefix(QNUnicodeFilePrefixNamesList)) {
      // The library reads this file without a missing-file notice; the host still wants one.
      _database.notifyDelegateOfMissingFile(QNUnicodeFilePrefixNamesList);
    }
  }
  // Once read, the list stays, so the library's lookup answers without reading again.
  return _namesListRead ? _database.namesListCharEntryForCodepoint(codepoint) : nullptr;
}

std::vector<ReportField> CodepointReporter::fields(uint32_t codepoint) {
  using Shown = ReportField::Shown;
  QNUnicodeDatabase& db = _database;
  const auto record = db.unicodeDataForCodepoint(codepoint);
  const UnicodeString character = QNUnicode::stringWithCodepoint(codepoint);
  std::vector<ReportField> fields;
  auto add = [&fields](std::string key, std::string label, Json value) -> ReportField& {
    fields.push_back({std::move(key), std::move(label), std::move(value), {}, {}, Shown::Always});
    return fields.back();
  };

  add("codepoint", "Codepoint", codepoint).shown = Shown::InJSONOnly;
  add("UTF8Representation", "UTF-8", jsonText(QNUnicode::UTF8RepresentationOfCodepoint(codepoint)));
  add("UTF16Representation", "UTF-16",
      jsonText(std::u16string_view(QNUnicode::UTF16RepresentationAtIndex(character, 0))));
  add("characterName", "Name", jsonText(std::u16string_view(record->characterName())));
  add("hangulName", "Hangul syllable name",
      jsonText(QNUnicodeDatabase::getHangulName(static_cast<int32_t>(codepoint))))
      .shown = Shown::InTextWhenPresent;
  add("generalCategory", "General category",
      jsonText(std::u16string_view(record->generalCategory())))
      .description = jsonText(db.generalCategoryDescriptionForCodepoint(codepoint));
  add("codepointType", "Codepoint type",
      jsonText(std::u16string_view(QNUnicode_StringForCodepointType(record->codepointType()))));
  add("canonicalCombiningClass", "Combining class", record->canonicalCombiningClass()).description =
      jsonText(db.combiningClassDescriptionForCodepoint(codepoint));
  add("bidirectionalCategory", "Bidirectional category",
      jsonText(std::u16string_view(record->bidirectionalCategory())))
      .description = jsonText(db.bidirectionalCategoryDescriptionForCodepoint(codepoint));
  add("characterDecompositionMapping", "Decomposition",
      jsonText(std::u16string_view(record->characterDecompositionMapping())))
      .description = jsonText(db.mappingDescriptionForCodepoint(codepoint));
  add("numericType", "Numeric type",
      jsonText(std::u16string_view(QNUnicode_StringForNumericType(record->numericType()))));
  add("numericValue", "Numeric value", numericValue(record->numericValue())).shown =
      Shown::InJSONOnly;
  add("numericValueString", "Numeric value",
      jsonText(std::u16string_view(record->numericValueString())));
  add("mirrored", "Mirrored", record->mirrored());
  add("unicode1Name", "Unicode 1.0 name", jsonText(std::u16string_view(record->unicode1Name())));
  add("commentField", "Comment", jsonText(std::u16string_view(record->commentField())));
  add("uppercaseMapping", "Uppercase mapping",
      jsonText(std::u16string_view(record->uppercaseMapping())));
  add("lowercaseMapping", "Lowercase mapping",
      jsonText(std::u16string_view(record->lowercaseMapping())));
  add("titlecaseMapping", "Titlecase mapping",
      jsonText(std::u16string_view(record->titlecaseMapping())));
  std::string casingText;
  Json casings = specialCasingsValue(db.specialCasingsForCodepoint(codepoint), casingText);
  add("specialCasings", "Special casing", std::move(casings)).text =
      casingText.empty() ? "(none)" : casingText;
  const UnicodeString folded = db.fullCaseFoldingForString(character);
  add("fullCaseFolding", "Case folding (full)", jsonText(std::u16string_view(folded))).text =
      qnunicode::toUTF8(QNUnicode::hexCodepointsJoinedBySpaces(folded).value_or(u"(none)"));
  add("block", "Block", jsonText(record->block()));
  add("script", "Script", jsonText(record->script()));
  add("age", "Age", jsonText(record->age()));
  add("lineBreak", "Line break",
      jsonText(std::u16string_view(QNUnicode_StringForLineBreakClass(record->lineBreak()))))
      .description = jsonText(db.lineBreakDescriptionForCodepoint(codepoint));
  add("hangulSyllableType", "Hangul syllable type",
      jsonText(std::u16string_view(db.hangulSyllableTypeForCodepoint(codepoint))));
  add("jamoShortName", "Jamo short name", jsonText(db.jamoShortNameForCodepoint(codepoint)));
  const auto shaping = db.arabicShapingForCodepoint(codepoint);
  add("joiningType", "Joining type",
      shaping ? jsonText(std::u16string_view(shaping->joiningType())) : Json(nullptr))
      .description = jsonText(db.arabicShapingJoiningTypeDescriptionForCodepoint(codepoint));
  add("joiningGroup", "Joining group",
      shaping ? jsonText(std::u16string_view(shaping->joiningGroup())) : Json(nullptr));
  add("extendedProperties", "Properties",
      jsonTextList(db.extendedPropertiesForCodepoint(codepoint)));
  add("derivedCoreProperties", "Derived core properties",
      jsonTextList(db.derivedCorePropertiesForCodepoint(codepoint)));
  Json idna2008Categories = Json::array();
  for (std::u16string_view category : db.IDNA2008CategoriesForCodepoint(codepoint)) {
    idna2008Categories.push_back(jsonText(category));
  }
  add("IDNA2008Categories", "IDNA2008 categories", std::move(idna2008Categories));
  add("IDNA2008DerivedProperty", "IDNA2008 derived property",
      jsonText(db.IDNA2008DerivedPropertyForCodepoint(codepoint)));
  add("plane", "Plane", record->plane());
  add("isAssignedCodePoint", "Assigned code point", record->isAssignedCodePoint());
  const QNUnicodeNamesList_CharEntry* entry = namesListEntry(codepoint);
  add("namesList", "Names list", entry ? namesListObject(*entry) : Json(nullptr)).text =
      entry ? namesListText(*entry) : std::string();
  const auto indexNames = db.indexNames();
  const QNUnicodeIndexNames::Names names =
      indexNames ? indexNames->namesForCodepoint(codepoint) : QNUnicodeIndexNames::Names();
  // One name a line: Index names hold commas of their own ("E WITH ACUTE, LATIN SMALL LETTER").
  std::string namesText;
  Json namesList = Json::array();
  for (std::u16string_view name : names) {
    if (!namesText.empty()) namesText += '\n';
    namesText += qnunicode::toUTF8(name);
    namesList.push_back(jsonText(name));
  }
  add("indexNames", "Index names", std::move(namesList)).text = namesText;
  // Every notation, one a line, the method names in a column of their own.
  Json escapes = Json::object();
  std::string escapesText;
  for (const auto& [method, escaped] : escapesOfCodepoint(codepoint, *_entities)) {
    escapes[method] = jsonText(escaped);
    if (!escapesText.empty()) escapesText += '\n';
    escapesText += method + std::string(6 - method.size(), ' ') +
                   (escaped ? qnunicode::toUTF8(*escaped) : std::string("(none)"));
  }
  add("escapes", "Escapes", std::move(escapes)).text = escapesText;
  if (auto unihan = unihanEntry(codepoint)) {
    add("unihanData", "Unihan", std::move(unihan->first)).text = std::move(unihan->second);
  }
  return fields;
}

bool CodepointReporter::mayHaveUnihanData(uint32_t codepoint) {
  const std::u16string_view block = _database.blockForCodepoint(codepoint);
  return block.starts_with(u"CJK Unified Ideographs") ||
         block.starts_with(u"CJK Compatibility Ideographs");
}

std::optional<std::pair<Json, std::string>> CodepointReporter::unihanEntry(uint32_t codepoint) {
  if (!_database.isUnihanAvailable() || !mayHaveUnihanData(codepoint)) return std::nullopt;
  readUnihanWithProgress(_database, _showProgress);
  const std::optional<QNUnicodeUnihanEntry> entry = _database.unihanDataForCodepoint(codepoint);
  if (!entry) return std::nullopt;
  Json object = Json::object();
  size_t widest = 0;
  for (size_t i = 0; i < entry->size(); ++i) widest = std::max(widest, entry->keyAt(i).size());
  std::string text;
  for (size_t i = 0; i < entry->size(); ++i) {
    const std::string key = qnunicode::toUTF8(entry->keyAt(i));
    const QNUnicodeUnihanValue value = entry->valueAt(i);
    std::string shown;
    if (const int64_t* number = std::get_if<int64_t>(&value)) {
      object[key] = *number;
      shown = std::to_string(*number);
    } else {
      const UnicodeString& valueText = std::get<UnicodeString>(value);
      object[key] = jsonText(std::u16string_view(valueText));
      shown = qnunicode::toUTF8(valueText);
    }
    if (!text.empty()) text += '\n';
    text += key + std::string(widest - key.size() + 2, ' ') + shown;
  }
  return std::make_pair(std::move(object), std::move(text));
}

std::string CodepointReporter::textOfValue(const Json& value) {
  if (value.is_null()) return "(none)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) {
    const std::string& text = value.get_ref<const std::string&>();
    return text.empty() ? "(none)" : text;
  }
  if (value.is_array()) {
    std::string joined;
    for (const Json& element : value) joined += (joined.empty() ? "" : ", ") + textOfValue(element);
    return joined.empty() ? "(none)" : joined;
  }
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string CodepointReporter::text(uint32_t codepoint) {
  const std::vector<ReportField> all = fields(codepoint);
  TextTable table;
  std::string generalCategory;
  for (const ReportField& field : all) {
    if (field.key == "generalCategory") generalCategory = field.value.get<std::string>();
    if (field.shown == ReportField::Shown::InJSONOnly) continue;
    if (field.shown == ReportField::Shown::InTextWhenPresent && field.value.is_null()) continue;
    std::string value =
        field.text ? (field.text->empty() ? "(none)" : *field.text) : textOfValue(field.value);
    if (field.description && !field.description->is_null()) {
      value += " (" + textOfValue(*field.description) + ")";
    }
    table.add(field.label, std::move(value));
  }
  std::string header = codepointLabel(codepoint);
  const std::string character = displayedCharacter(codepoint, qnunicode::fromUTF8(generalCategory));
  if (!character.empty()) header += " " + character;
  return header + "\n" + table.render(2);
}

std::string CodepointReporter::jsonLine(uint32_t codepoint) {
  Json object;
  for (ReportField& field : fields(codepoint)) {
    object[field.key] = std::move(field.value);
    if (field.description) object[field.key + "Description"] = std::move(*field.description);
  }
  return qnu::jsonLine(object);
}

}  // namespace qnu
