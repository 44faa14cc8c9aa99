// The Unihan stage of the name lookup: every definition (kDefinition) becomes a name key of its
// codepoint, in the full lookup only.
#include <cstdio>
#include <mutex>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"
#include "qnunicode/util/QNScanner.h"

namespace {

// Calls visit(codepoint, definition) for each codepoint of the table that has a definition, in
// codepoint order.
template <typename Visit>
void forEachDefinition(const QNUnicodeUnihanTable& table, Visit&& visit) {
  const std::optional<uint16_t> definitionKey = table.indexOfKey(QNUnicodeUnihanKey_kDefinition);
  if (!definitionKey) return;
  for (size_t i = 0; i < table.size(); ++i) {
    for (const QNUnicodeUnihanTable::StoredValue& value : table.storedValuesAt(i)) {
      if (value.key != *definitionKey) continue;
      if (!value.isNumber) visit(table.codepoints()[i], table.bytesOf(value));
      break;
    }
  }
}

// "%@ [U+%04X]" of the definition and its codepoint, written over `key`; answers the length of
// the definition's part.
size_t makeDefinitionKey(UnicodeString& key, std::string_view definition, uint32_t codepoint) {
  qnunicode::assignUTF16FromUTF8(key, definition);
  const size_t nameLength = key.size();
  char digits[16];
  const int length = std::snprintf(digits, sizeof digits, " [U+%04X]", codepoint);
  key.append(digits, digits + length);
  return nameLength;
}

}  // namespace

void QNUnicodeDatabase::createUnihanNameLookup() {
  createNameLookupMaps();
  std::shared_ptr<const QNUnicodeUnihanTable> table;
  {
    // Waits for a read under way.
    std::lock_guard<std::mutex> wait(_unihanReadingLock);
    table = _unihan;
  }
  if (!table) {
    readUnihan();
    std::lock_guard<std::mutex> wait(_unihanReadingLock);
    table = _unihan;
  }
  // The map without Unihan names keeps what it holds: the full map becomes a map of its own.
  if (_nameLookupWithoutUnihan == _nameLookup) {
    _nameLookup = std::make_shared<QNUnicodeNameLookup>(*_nameLookupWithoutUnihan);
  }
  _nameLookup->reserve(_nameLookup->size() + table->size() / 4);
  UnicodeString key, uppercased;
  forEachDefinition(*table, [&](uint32_t codepoint, std::string_view definition) {
    makeDefinitionKey(key, definition, codepoint);
    if (!nameLookupMapsUppercasedKey(key, codepoint, uppercased)) {
      _nameLookup->setCodepointForKey(codepoint, key);
    }
  });
  _nameLookupContainsUnihan = true;
}

void QNUnicodeDatabase::addUnihanKeysPassingTest(
    const std::function<bool(std::u16string_view)>& test, QNUnicodeNameLookup& lookup,
    const std::function<bool(uint32_t codepoint, std::u16string_view definition)>& repeatsKey) {
  const std::shared_ptr<const QNUnicodeUnihanTable> table = unihan();
  if (!table) return;
  UnicodeString key;
  forEachDefinition(*table, [&](uint32_t codepoint, std::string_view definition) {
    const size_t nameLength = makeDefinitionKey(key, definition, codepoint);
    if (!test(key)) return;
    if (repeatsKey(codepoint, std::u16string_view(key).substr(0, nameLength))) return;
    lookup.setCodepointForKey(codepoint, key);
  });
}
