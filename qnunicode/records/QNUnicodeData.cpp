#include "qnunicode/records/QNUnicodeData.h"

#include <cxxabi.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <typeinfo>
#include <unordered_map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"

namespace {

[[noreturn]] void raiseNotImplemented() {
  throw QNInternalInconsistencyException("method not implemented in abstract class QNUnicodeData");
}

// The script names cached by records: append-only for the life of the process, so that a record
// keeps a two-byte index instead of a string. Index 0 stands for "not cached yet".
class ScriptNameTable {
 public:
  static ScriptNameTable& shared() {
    // Never destroyed: records of static lifetime may still ask for their script at exit.
    static ScriptNameTable* table = new ScriptNameTable;
    return *table;
  }

  // The index of the name, added when new; 0 when the table is full.
  uint16_t indexOf(const UnicodeString& name) {
    std::lock_guard lock(_mutex);
    const auto found = _indexes.find(name);
    if (found != _indexes.end()) return found->second;
    if (_names.size() >= 0xFFFF) return 0;
    _names.push_back(name);
    const auto index = static_cast<uint16_t>(_names.size());
    _indexes.emplace(name, index);
    return index;
  }

  UnicodeString name(uint16_t index) {
    std::lock_guard lock(_mutex);
    return _names[index - 1];
  }

 private:
  std::mutex _mutex;
  std::deque<UnicodeString> _names;
  std::unordered_map<UnicodeString, uint16_t> _indexes;
};

bool isGraphicCategoryLetter(char16_t letter) {
  return letter == u'L' || letter == u'M' || letter == u'N' || letter == u'P' || letter == u'S';
}

bool isNoncharacter(uint32_t codepoint) {
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  return database && database->codepointHasExtendedProperty(codepoint, u"Noncharacter_Code_Point");
}

std::optional<QNInfoValue> text(UnicodeString value) {
  return QNInfoValue(std::move(value));
}

std::optional<QNInfoValue> number(uint64_t value) {
  return QNInfoValue(static_cast<int64_t>(value));
}

std::string demangledClassName(const std::type_info& type) {
  int status = 0;
  char* name = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string result = (status == 0 && name) ? name : type.name();
  std::free(name);
  return result;
}

}  // namespace

const UnicodeString& QNUnicode_StringForNumericType(QNUnicodeNumericType type) {
  static const std::array<UnicodeString, 4> names = {u"None", u"Decimal", u"Digit", u"Numeric"};
  if (type >= names.size()) {
    throw QNInvalidArgumentException(QNFormat("QNUnicode_StringForNumericType: no numeric type %u",
                                              static_cast<unsigned>(type)));
  }
  return names[type];
}

const UnicodeString& QNUnicode_StringForCodepointType(QNUnicodeCodepointType type) {
  static const std::array<UnicodeString, 7> names = {u"Graphic",     u"Format",    u"Control",
                                                     u"Private-use", u"Surrogate", u"Noncharacter",
                                                     u"Reserved"};
  if (type >= names.size()) {
    throw QNInvalidArgumentException(QNFormat(
        "QNUnicode_StringForCodepointType: no codepoint type %u", static_cast<unsigned>(type)));
  }
  return names[type];
}

// ---- The accessors of the plain base ----------------------------------------------------------

uint32_t QNUnicodeData::codepoint() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::characterName() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::generalCategory() const {
  raiseNotImplemented();
}
uint32_t QNUnicodeData::canonicalCombiningClass() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::bidirectionalCategory() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::characterDecompositionMapping() const {
  raiseNotImplemented();
}
std::optional<std::span<const uint32_t>> QNUnicodeData::characterDecompositionMappingArray() const {
  raiseNotImplemented();
}
QNUnicodeNumericType QNUnicodeData::numericType() const {
  raiseNotImplemented();
}
std::optional<QNUnicodeNumericValue> QNUnicodeData::numericValue() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::numericValueString() const {
  raiseNotImplemented();
}
bool QNUnicodeData::mirrored() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::unicode1Name() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::commentField() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::uppercaseMapping() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::lowercaseMapping() const {
  raiseNotImplemented();
}
UnicodeString QNUnicodeData::titlecaseMapping() const {
  raiseNotImplemented();
}
bool QNUnicodeData::canonicalMapping() const {
  raiseNotImplemented();
}
bool QNUnicodeData::compatibilityMapping() const {
  raiseNotImplemented();
}
std::shared_ptr<QNUnicodeData> QNUnicodeData::copy() const {
  raiseNotImplemented();
}

UnicodeString QNUnicodeData::description() const {
  return qnunicode::fromUTF8(QNFormat("<%s: %p>", demangledClassName(typeid(*this)).c_str(),
                                      static_cast<const void*>(this)));
}

// ---- Properties by name -----------------------------------------------------------------------

std::optional<QNInfoValue> QNUnicodeData::valueForKey(std::string_view key) const {
  using Getter = std::optional<QNInfoValue> (*)(const QNUnicodeData&);
  static const std::unordered_map<std::string_view, Getter> getters = {
      {"codepoint", [](const QNUnicodeData& d) { return number(d.codepoint()); }},
      {"codeValue", [](const QNUnicodeData& d) { return number(d.codeValue()); }},
      {"characterName", [](const QNUnicodeData& d) { return text(d.characterName()); }},
      {"generalCategory", [](const QNUnicodeData& d) { return text(d.generalCategory()); }},
      {"canonicalCombiningClass",
       [](const QNUnicodeData& d) { return number(d.canonicalCombiningClass()); }},
      {"bidirectionalCategory",
       [](const QNUnicodeData& d) { return text(d.bidirectionalCategory()); }},
      {"characterDecompositionMapping",
       [](const QNUnicodeData& d) { return text(d.characterDecompositionMapping()); }},
      {"characterDecompositionMappingArray",
       [](const QNUnicodeData& d) -> std::optional<QNInfoValue> {
         const auto array = d.characterDecompositionMappingArray();
         if (!array) return std::nullopt;
         QNInfoValue::List list;
         for (const uint32_t codepoint : *array) list.emplace_back(static_cast<int64_t>(codepoint));
         return QNInfoValue(std::move(list));
       }},
      {"numericType", [](const QNUnicodeData& d) { return number(d.numericType()); }},
      {"numericValue",
       [](const QNUnicodeData& d) -> std::optional<QNInfoValue> {
         const auto value = d.numericValue();
         if (!value) return std::nullopt;
         if (const int64_t* integer = std::get_if<int64_t>(&*value)) return QNInfoValue(*integer);
         return QNInfoValue(static_cast<double>(std::get<float>(*value)));
       }},
      {"numericValueString", [](const QNUnicodeData& d) { return text(d.numericValueString()); }},
      {"mirrored", [](const QNUnicodeData& d) { return std::optional(QNInfoValue(d.mirrored())); }},
      {"unicode1Name", [](const QNUnicodeData& d) { return text(d.unicode1Name()); }},
      {"commentField", [](const QNUnicodeData& d) { return text(d.commentField()); }},
      {"uppercaseMapping", [](const QNUnicodeData& d) { return text(d.uppercaseMapping()); }},
      {"lowercaseMapping", [](const QNUnicodeData& d) { return text(d.lowercaseMapping()); }},
      {"titlecaseMapping", [](const QNUnicodeData& d) { return text(d.titlecaseMapping()); }},
      {"canonicalMapping",
       [](const QNUnicodeData& d) { return std::optional(QNInfoValue(d.canonicalMapping())); }},
      {"compatibilityMapping",
       [](const QNUnicodeData& d) { return std::optional(QNInfoValue(d.compatibilityMapping())); }},
      {"codepointType", [](const QNUnicodeData& d) { return number(d.codepointType()); }},
      {"isAssignedToAbstractCharacter",
       [](const QNUnicodeData& d) {
         return std::optional(QNInfoValue(d.isAssignedToAbstractCharacter()));
       }},
      {"isAssignedCodePoint",
       [](const QNUnicodeData& d) { return std::optional(QNInfoValue(d.isAssignedCodePoint())); }},
      {"plane", [](const QNUnicodeData& d) { return number(d.plane()); }},
      {"age",
       [](const QNUnicodeData& d) -> std::optional<QNInfoValue> {
         if (auto age = d.age()) return QNInfoValue(std::move(*age));
         return std::nullopt;
       }},
      {"block",
       [](const QNUnicodeData& d) -> std::optional<QNInfoValue> {
         if (auto block = d.block()) return QNInfoValue(std::move(*block));
         return std::nullopt;
       }},
      {"lineBreak", [](const QNUnicodeData& d) { return number(d.lineBreak()); }},
      {"script",
       [](const QNUnicodeData& d) -> std::optional<QNInfoValue> {
         if (auto script = d.script()) return QNInfoValue(std::move(*script));
         return std::nullopt;
       }},
      {"description", [](const QNUnicodeData& d) { return text(d.description()); }},
  };
  const auto found = getters.find(key);
  if (found == getters.end()) return std::nullopt;  // an unknown name answers none
  return found->second(*this);
}

// ---- Derived operations -----------------------------------------------------------------------

QNUnicodeCodepointType QNUnicodeData::codepointType() const {
  const UnicodeString category = generalCategory();
  if (category.size() != 2) {
    QNLogFormat(
        "QNUnicode::UnicodeData generalCategory '%s' for codepoint U+%04lx of length %luu "
        "instead of 2",
        qnunicode::logText(category).c_str(), static_cast<unsigned long>(codepoint()),
        static_cast<unsigned long>(category.size()));
    return QNUnicodeCodepointTypeGraphic;
  }
  const char16_t first = category[0], second = category[1];
  if (isGraphicCategoryLetter(first)) return QNUnicodeCodepointTypeGraphic;
  if (first == u'Z') {
    if (second == u's') return QNUnicodeCodepointTypeGraphic;
    if (second == u'l' || second == u'p') return QNUnicodeCodepointTypeFormat;
  } else if (first == u'C') {
    switch (second) {
      case u'c':
        return QNUnicodeCodepointTypeControl;
      case u'f':
        return QNUnicodeCodepointTypeFormat;
      case u'o':
        return QNUnicodeCodepointTypePrivateUse;
      case u's':
        return QNUnicodeCodepointTypeSurrogate;
      case u'n':
        return isNoncharacter(codepoint()) ? QNUnicodeCodepointTypeNoncharacter
                                           : QNUnicodeCodepointTypeReserved;
      default:
        break;
    }
  }
  QNLogFormat(
      "QNUnicode::UnicodeData unknown codepointType for codepoint U+%04lx (generalCategory "
      "'%s')",
      static_cast<unsigned long>(codepoint()), qnunicode::logText(category).c_str());
  return QNUnicodeCodepointTypeReserved;
}

namespace {

void logCategoryLength(const UnicodeString& category, uint32_t codepoint) {
  QNLogFormat(
      "QNUnicode::UnicodeData generalCategory '%s' for codepoint U+%04lx of length %lu instead of "
      "2",
      qnunicode::logText(category).c_str(), static_cast<unsigned long>(codepoint),
      static_cast<unsigned long>(category.size()));
}

}  // namespace

bool QNUnicodeData::isAssignedToAbstractCharacter() const {
  const UnicodeString category = generalCategory();
  if (category.size() != 2) {
    logCategoryLength(category, codepoint());
    return false;
  }
  const char16_t first = category[0], second = category[1];
  if (isGraphicCategoryLetter(first)) return true;
  if (first == u'Z' && (second == u'l' || second == u'p' || second == u's')) return true;
  if (first == u'C') {
    if (second == u'c' || second == u'f' || second == u'o') return true;
    if (second == u'n' || second == u's') return false;
  }
  QNLogFormat("QNUnicode::UnicodeData unknown generalCategory '%s' for codepoint U+%04lx",
              qnunicode::logText(category).c_str(), static_cast<unsigned long>(codepoint()));
  return false;
}

bool QNUnicodeData::isAssignedCodePoint() const {
  const UnicodeString category = generalCategory();
  if (category.size() != 2) {
    logCategoryLength(category, codepoint());
    return false;
  }
  if (category != u"Cn") return true;
  // Noncharacters are assigned code points; reserved ones are not.
  return isNoncharacter(codepoint());
}

std::optional<UnicodeString> QNUnicodeData::age() const {
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) return std::nullopt;
  return database->versionCodepointWasDesignated(codepoint());
}

std::optional<UnicodeString> QNUnicodeData::block() const {
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) return std::nullopt;
  return database->blockForCodepoint(codepoint());
}

uint32_t QNUnicodeData::lineBreak() const {
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) return 0;
  return database->lineBreakForCodepoint(codepoint());
}

std::optional<UnicodeString> QNUnicodeData::script() const {
  // Records are shared between threads: the cache is read and written atomically, and the name
  // table is published before the index that points into it.
  std::atomic_ref<uint16_t> cached(_cachedScript);
  const uint16_t index = cached.load(std::memory_order_acquire);
  if (index != 0) return ScriptNameTable::shared().name(index);
  QNUnicodeDatabase* const database = QNUnicodeDatabase::borrowedSharedDatabase();
  if (!database) return std::nullopt;  // not cached: the next call asks again
  UnicodeString script = database->scriptForCodepoint(codepoint());
  cached.store(ScriptNameTable::shared().indexOf(script), std::memory_order_release);
  return script;
}
