// The name lookup: display keys "NAME [U+XXXX]" of every UnicodeData name and Unicode 1.0 name
// and of every Index entry, mapped to their codepoints; the Index names per codepoint; and the
// case-insensitively sorted key lists of the host's search list.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

constexpr size_t kNameLookupCapacity = 50000;

// "%@ [U+%04X]": the name, a blank and the bracketed code in at least four upper-case digits.
UnicodeString nameKey(std::u16string_view name, uint32_t codepoint) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  char16_t code[8];
  int length = 0;
  for (uint32_t rest = codepoint; rest != 0 || length < 4; rest >>= 4) {
    code[length++] = kDigits[rest & 0xF];
  }
  UnicodeString key;
  key.reserve(name.size() + 5 + static_cast<size_t>(length));
  key.append(name);
  key.append(u" [U+");
  while (length > 0) key.push_back(code[--length]);
  key.push_back(u']');
  return key;
}

void storeKey(QNUnicodeNameLookup& lookup, const UnicodeString& key, uint32_t codepoint) {
  lookup.insert_or_assign(key, codepoint);
}

bool isASCII(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t u) { return u < 0x80; });
}

char16_t asciiUpper(char16_t u) {
  return (u >= u'a' && u <= u'z') ? u - 32 : u;
}
char16_t asciiLower(char16_t u) {
  return (u >= u'A' && u <= u'Z') ? u + 32 : u;
}

// The simple case mapping of one codepoint as this database's UnicodeData gives it; the
// codepoint itself when it has none.
uint32_t simpleCaseMapping(QNUnicodeDatabase& database, uint32_t codepoint, bool upper) {
  const std::shared_ptr<const QNUnicodeData> record = database.unicodeDataForCodepoint(codepoint);
  if (!record) return codepoint;
  const UnicodeString mapping = upper ? record->uppercaseMapping() : record->lowercaseMapping();
  qnunicode::QNScanner scanner(mapping);
  uint32_t mapped;
  if (!scanner.scanHexInt(&mapped) || !scanner.isAtEnd() || mapped > 0x10FFFF) return codepoint;
  return mapped;
}

// The text with every codepoint replaced by its simple upper- or lower-case mapping. ASCII text
// (all of UnicodeData's names and of the Index) is mapped without asking the records; other
// letters are mapped by the records of a database that has read UnicodeData (none: kept as they
// are, so that the case mapping never sets off a read of its own).
UnicodeString caseMapped(QNUnicodeDatabase* readDatabase, std::u16string_view text, bool upper) {
  UnicodeString result(text);
  if (isASCII(text)) {
    for (char16_t& u : result) u = upper ? asciiUpper(u) : asciiLower(u);
    return result;
  }
  result.clear();
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t c = text[i];
    if (c < 0x80) {
      result.push_back(upper ? asciiUpper(text[i]) : asciiLower(text[i]));
      continue;
    }
    if ((c & 0xFC00) == 0xD800 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00) {
      c = 0x10000 + (((c & 0x3FF) << 10) | (text[i + 1] & 0x3FF));
      ++i;
    }
    if (readDatabase && (c & 0xF800) != 0xD800) c = simpleCaseMapping(*readDatabase, c, upper);
    result.append(QNUnicode::stringWithCodepoint(c));
  }
  return result;
}

// Appends one UTF-16 unit in the UTF-8 form of its value: comparing such bytes compares the
// units by value, one to three bytes each.
void appendOrderedBytes(std::string& bytes, char16_t unit) {
  if (unit < 0x80) {
    bytes.push_back(static_cast<char>(unit));
  } else if (unit < 0x800) {
    bytes.push_back(static_cast<char>(0xC0 | (unit >> 6)));
    bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
  } else {
    bytes.push_back(static_cast<char>(0xE0 | (unit >> 12)));
    bytes.push_back(static_cast<char>(0x80 | ((unit >> 6) & 0x3F)));
    bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
  }
}

// The keys sorted without regard to case: compared unit by unit after lower-casing, keys that
// differ only in case ordered by their units. Composed and decomposed forms are not unified.
//
// Each key's lower-cased form is laid out once as bytes that compare like its units, all in one
// buffer, and its first eight bytes are kept as a number beside it: most comparisons end at that
// number, the others in one memcmp.
std::shared_ptr<std::vector<UnicodeString>> sortedKeys(QNUnicodeDatabase* readDatabase,
                                                       const QNUnicodeNameLookup& lookup) {
  struct Item {
    uint64_t prefix;  // the first eight bytes, big-endian, zero-padded
    uint32_t offset;
    uint32_t length;
    const UnicodeString* key;
  };
  std::vector<Item> items;
  items.reserve(lookup.size());
  std::string bytes;
  size_t units = 0;
  for (const auto& entry : lookup) units += entry.first.size();
  bytes.reserve(units + units / 8);
  for (const auto& entry : lookup) {
    const size_t offset = bytes.size();
    if (isASCII(entry.first)) {
      for (char16_t u : entry.first) bytes.push_back(static_cast<char>(asciiLower(u)));
    } else {
      for (char16_t u : caseMapped(readDatabase, entry.first, false)) appendOrderedBytes(bytes, u);
    }
    items.push_back({0, static_cast<uint32_t>(offset), static_cast<uint32_t>(bytes.size() - offset),
                     &entry.first});
  }
  for (Item& item : items) {
    for (uint32_t i = 0; i < 8; ++i) {
      const uint8_t byte = i < item.length ? static_cast<uint8_t>(bytes[item.offset + i]) : 0;
      item.prefix = (item.prefix << 8) | byte;
    }
  }
  const char* base = bytes.data();
  std::sort(items.begin(), items.end(), [base](const Item& a, const Item& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    const int order = std::memcmp(base + a.offset, base + b.offset, std::min(a.length, b.length));
    if (order != 0) return order < 0;
    if (a.length != b.length) return a.length < b.length;
    return *a.key < *b.key;
  });
  auto keys = std::make_shared<std::vector<UnicodeString>>();
  keys->reserve(items.size());
  for (const Item& item : items) keys->push_back(*item.key);
  return keys;
}

std::optional<std::string> fileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) return std::nullopt;
  return bytes;
}

}  // namespace

bool QNUnicodeDatabase::nameLookupMapsUppercasedKey(std::u16string_view key, uint32_t codepoint) {
  if (!_nameLookup) return false;
  const auto found = _nameLookup->find(caseMapped(_isDatabaseRead ? this : nullptr, key, true));
  return found != _nameLookup->end() && found->second == codepoint;
}

// ---- Index ------------------------------------------------------------------------------------

void QNUnicodeDatabase::readIndex() {
  const std::optional<std::string> path = filenameWithPrefix(QNUnicodeFilePrefixIndex);
  std::optional<UnicodeString> text;
  if (path) {
    text = QNUnicode::stringWithContentsOfUTF8File(*path);
    if (!text) {
      if (const std::optional<std::string> bytes = fileBytes(*path)) {
        text = qnunicode::decodeASCIILossy(*bytes);
        QNLogFormat(
            "QNUnicode warning: file at path '%s' is invalid UTF-8. using lossy ASCII encoding "
            "for reading",
            path->c_str());
      }
    }
  }
  if (!text) {
    // _indexNames stays none, so the next use tries again.
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
    return;
  }

  const std::vector<std::u16string_view> lines = qnunicode::splitAt(*text, u'\n');
  _indexNames = std::make_shared<QNUnicodeIndexNames>();
  _indexNames->reserve(lines.size());
  createNameLookupMaps();
  if (_nameLookupContainsIndex) QNLog("WARNING: _nameLookupContainsIndex == YES in -readIndex");

  for (std::u16string_view line : lines) {
    // A line is a name, a tab and a hexadecimal codepoint; anything else is passed over.
    const size_t tab = line.find(u'\t');
    if (tab == std::u16string_view::npos) continue;
    const std::u16string_view name = line.substr(0, tab);
    qnunicode::QNScanner scanner(line.substr(tab + 1));
    uint32_t codepoint;
    if (!scanner.scanHexInt(&codepoint)) continue;

    // An entry that only repeats a name already there in other letter case ("acute accent" for
    // ACUTE ACCENT) adds no key of its own; its name still counts among the Index names.
    const UnicodeString key = nameKey(name, codepoint);
    if (!nameLookupMapsUppercasedKey(key, codepoint)) {
      storeKey(*_nameLookup, key, codepoint);
      if (_nameLookupWithoutUnihan) storeKey(*_nameLookupWithoutUnihan, key, codepoint);
    }
    std::vector<UnicodeString>& names = (*_indexNames)[codepoint];
    if (names.empty()) names.reserve(2);
    names.emplace_back(name);
  }
  _nameLookupContainsIndex = true;
}

std::shared_ptr<const QNUnicodeIndexNames> QNUnicodeDatabase::indexNames() {
  if (!_indexNames) readIndex();
  return _indexNames;
}

// ---- The lookup -------------------------------------------------------------------------------

// The full map always; the map without Unihan names only where there are Unihan files.
void QNUnicodeDatabase::createNameLookupMaps() {
  if (!_nameLookup) {
    _nameLookup = std::make_shared<QNUnicodeNameLookup>();
    _nameLookup->reserve(kNameLookupCapacity);
  }
  if (!_nameLookupWithoutUnihan && _isUnihanAvailable) {
    _nameLookupWithoutUnihan = std::make_shared<QNUnicodeNameLookup>();
    _nameLookupWithoutUnihan->reserve(kNameLookupCapacity);
  }
}

void QNUnicodeDatabase::createNameLookupWithoutUnihan(bool withoutUnihan) {
  if (!_isDatabaseRead && !readDatabase()) return;
  createNameLookupMaps();

  if (!_nameLookupContainsDatabase) {
    // Every record read from the file; the members of First/Last ranges add nothing.
    for (const QNUnicodeConcreteData* record : _unicodeDataFileRecords) {
      const uint32_t codepoint = record->codepoint();
      const UnicodeString unicode1Name = record->unicode1Name();
      if (!unicode1Name.empty()) {
        const UnicodeString key = nameKey(unicode1Name, codepoint);
        storeKey(*_nameLookup, key, record->codeValue());
        if (_nameLookupWithoutUnihan) storeKey(*_nameLookupWithoutUnihan, key, record->codeValue());
      }
      const UnicodeString key = nameKey(record->characterName(), codepoint);
      storeKey(*_nameLookup, key, record->codeValue());
      if (_nameLookupWithoutUnihan) storeKey(*_nameLookupWithoutUnihan, key, record->codeValue());
    }
    _nameLookupContainsDatabase = true;
  }

  if (!_nameLookupContainsIndex) indexNames();

  if (withoutUnihan) return;
  // The Unihan definitions join _nameLookup (and only it) in the Unihan reader's stage, once
  // Unihan is read; until then the two maps hold the same keys.
}

std::shared_ptr<const QNUnicodeNameLookup> QNUnicodeDatabase::nameLookup() {
  if (!_nameLookup || !_nameLookupContainsDatabase || !_nameLookupContainsIndex) {
    createNameLookup();
  } else if (_isUnihanAvailable && !_nameLookupContainsUnihan) {
    createNameLookup();
  }
  return _nameLookup;
}

std::shared_ptr<const QNUnicodeNameLookup> QNUnicodeDatabase::nameLookupWithoutUnihan() {
  if (!_isUnihanAvailable) return nameLookup();
  if (!_nameLookupWithoutUnihan || !_nameLookupContainsDatabase || !_nameLookupContainsIndex) {
    createNameLookupWithoutUnihan(true);
  }
  return _nameLookupWithoutUnihan;
}

// The sorted lists are made once: keys that reach a map afterwards (Unihan names read later) do
// not appear in a list already made.
std::shared_ptr<const std::vector<UnicodeString>> QNUnicodeDatabase::sortedNameLookupKeys() {
  if (!_sortedNameLookupKeys) {
    if (const std::shared_ptr<const QNUnicodeNameLookup> lookup = nameLookup()) {
      _sortedNameLookupKeys = sortedKeys(_isDatabaseRead ? this : nullptr, *lookup);
    }
  }
  return _sortedNameLookupKeys;
}

std::shared_ptr<const std::vector<UnicodeString>>
QNUnicodeDatabase::sortedNameLookupWithoutUnihanKeys() {
  if (!_isUnihanAvailable) return sortedNameLookupKeys();
  if (!_sortedNameLookupWithoutUnihanKeys) {
    if (const std::shared_ptr<const QNUnicodeNameLookup> lookup = nameLookupWithoutUnihan()) {
      _sortedNameLookupWithoutUnihanKeys = sortedKeys(_isDatabaseRead ? this : nullptr, *lookup);
    }
  }
  return _sortedNameLookupWithoutUnihanKeys;
}
