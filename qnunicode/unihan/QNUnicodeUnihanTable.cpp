#include "qnunicode/unihan/QNUnicodeUnihanTable.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

// The keys whose values are stored as their leading integers.
constexpr std::string_view kNumericKeys[] = {
    "kAccountingNumeric", "kFrequency",      "kGradeLevel",  "kLau",
    "kOtherNumeric",      "kPrimaryNumeric", "kTotalStrokes"};

constexpr uint32_t kCodepointLimit = 0x110000;

}  // namespace

// ---- Parsing ----------------------------------------------------------------------------------

int64_t qnunicode::detail::unihanLeadingInteger(std::string_view value) {
  size_t position = 0;
  while (position < value.size()) {
    const size_t space = whitespaceOrNewlineLengthInUTF8(value, position);
    if (space == 0) break;
    position += space;
  }
  bool negative = false;
  if (position < value.size() && (value[position] == '+' || value[position] == '-')) {
    negative = value[position] == '-';
    ++position;
  }
  // Accumulated as a negative number, whose range reaches the lower limit.
  constexpr int64_t kLowest = std::numeric_limits<int64_t>::min();
  int64_t result = 0;
  bool saturated = false;
  for (; position < value.size(); ++position) {
    const unsigned char byte = static_cast<unsigned char>(value[position]);
    if (byte < '0' || byte > '9') break;
    const int digit = byte - '0';
    if (result < (kLowest + digit) / 10) {
      saturated = true;
    } else if (!saturated) {
      result = result * 10 - digit;
    }
  }
  if (saturated) return negative ? kLowest : std::numeric_limits<int64_t>::max();
  if (negative) return result;
  return result == kLowest ? std::numeric_limits<int64_t>::max() : -result;
}

qnunicode::detail::UnihanLine qnunicode::detail::parseUnihanDataLine(std::string_view bytes,
                                                                     size_t start, size_t* next,
                                                                     UnihanLineParts* parts) {
  const char* const data = bytes.data();
  const size_t size = bytes.size();
  const void* lf = std::memchr(data + start, '\n', size - start);
  if (!lf) {
    // The last line of a file is stored only with its line feed.
    *next = size;
    return UnihanLine::Unfinished;
  }
  const size_t end = static_cast<size_t>(static_cast<const char*>(lf) - data);
  *next = end + 1;
  // "U+", the codepoint and its tab: the tab is looked for from the line's fourth byte on.
  if (end - start < 4) return UnihanLine::Skipped;
  const char* firstTab =
      static_cast<const char*>(std::memchr(data + start + 3, '\t', end - start - 3));
  if (!firstTab) return UnihanLine::Skipped;
  const size_t keyStart = static_cast<size_t>(firstTab - data) + 1;
  QNUTF8Scanner scanner(bytes.substr(start + 2, keyStart - 1 - (start + 2)));
  uint32_t codepoint;
  if (!scanner.scanHexInt(&codepoint)) return UnihanLine::Skipped;
  if (codepoint >= kCodepointLimit) {
    QNLogFormat("Codepoint out of range: %ld", static_cast<long>(codepoint));
    return UnihanLine::OutOfRange;
  }
  // The key runs to the second tab, looked for from the second byte after the first.
  if (end - keyStart < 1) return UnihanLine::Skipped;
  const char* secondTab =
      static_cast<const char*>(std::memchr(data + keyStart + 1, '\t', end - keyStart - 1));
  if (!secondTab) return UnihanLine::Skipped;
  const size_t valueStart = static_cast<size_t>(secondTab - data) + 1;
  parts->codepoint = codepoint;
  parts->key = bytes.substr(keyStart, valueStart - 1 - keyStart);
  parts->value = bytes.substr(valueStart, end - valueStart);
  if ((!isASCII(parts->key) && !isWellFormedUTF8(parts->key)) ||
      (!isASCII(parts->value) && !isWellFormedUTF8(parts->value))) {
    return UnihanLine::Skipped;
  }
  return UnihanLine::Data;
}

// ---- The table --------------------------------------------------------------------------------

QNUnicodeUnihanValue QNUnicodeUnihanTable::valueOf(const StoredValue& value) const {
  if (value.isNumber) return numberOf(value);
  return qnunicode::utf16FromUTF8(bytesOf(value));
}

std::optional<uint16_t> QNUnicodeUnihanTable::indexOfKey(std::u16string_view key) const {
  const auto found = std::lower_bound(
      _keys.begin(), _keys.end(), key,
      [](const UnicodeString& a, std::u16string_view b) { return std::u16string_view(a) < b; });
  if (found == _keys.end() || *found != key) return std::nullopt;
  return static_cast<uint16_t>(found - _keys.begin());
}

std::optional<QNUnicodeUnihanEntry> QNUnicodeUnihanTable::entryForCodepoint(
    uint32_t codepoint) const {
  const auto found = std::lower_bound(_codepoints.begin(), _codepoints.end(), codepoint);
  if (found == _codepoints.end() || *found != codepoint) return std::nullopt;
  return entryAt(static_cast<size_t>(found - _codepoints.begin()));
}

QNUnicodeUnihanEntry QNUnicodeUnihanTable::entryAt(size_t i) const {
  return QNUnicodeUnihanEntry(shared_from_this(), i);
}

const QNUnicodeUnihanTable::StoredValue* QNUnicodeUnihanEntry::storedValueForKey(
    std::u16string_view key) const {
  const std::optional<uint16_t> index = _table->indexOfKey(key);
  if (!index) return nullptr;
  const auto stored = values();
  const auto found = std::lower_bound(stored.begin(), stored.end(), *index,
                                      [](const QNUnicodeUnihanTable::StoredValue& value,
                                         uint16_t wanted) { return value.key < wanted; });
  if (found == stored.end() || found->key != *index) return nullptr;
  return &*found;
}

std::optional<QNUnicodeUnihanValue> QNUnicodeUnihanEntry::valueForKey(
    std::u16string_view key) const {
  const QNUnicodeUnihanTable::StoredValue* value = storedValueForKey(key);
  if (!value) return std::nullopt;
  return _table->valueOf(*value);
}

std::optional<std::string_view> QNUnicodeUnihanEntry::bytesForKey(std::u16string_view key) const {
  const QNUnicodeUnihanTable::StoredValue* value = storedValueForKey(key);
  if (!value || value->isNumber) return std::nullopt;
  return _table->bytesOf(*value);
}

std::optional<UnicodeString> QNUnicodeUnihanEntry::textForKey(std::u16string_view key) const {
  const std::optional<std::string_view> bytes = bytesForKey(key);
  if (!bytes) return std::nullopt;
  return qnunicode::utf16FromUTF8(*bytes);
}

// ---- Building ---------------------------------------------------------------------------------

void QNUnicodeUnihanTableBuilder::FreeDeleter::operator()(uint32_t* p) const {
  std::free(p);
}

QNUnicodeUnihanTableBuilder::QNUnicodeUnihanTableBuilder(size_t byteHint) {
  // Reserved room that is never written costs address space, not memory: the values' bytes
  // (at most the files' bytes) and the lines (at least eight bytes each) never move.
  _text.reserve(byteHint);
  _pending.reserve(byteHint / 8);
  _entryCodepoints.reserve(1 << 17);
}

QNUnicodeUnihanTableBuilder::~QNUnicodeUnihanTableBuilder() = default;

void QNUnicodeUnihanTableBuilder::beginCodepoint(uint32_t codepoint) {
  if (!_entryOfCodepoint) {
    // calloc hands out zero pages that take memory only where written.
    _entryOfCodepoint.reset(static_cast<uint32_t*>(std::calloc(kCodepointLimit, sizeof(uint32_t))));
    if (!_entryOfCodepoint) throw std::bad_alloc();
  }
  uint32_t& slot = _entryOfCodepoint[codepoint];
  if (slot == 0) {
    _entryCodepoints.push_back(codepoint);
    slot = static_cast<uint32_t>(_entryCodepoints.size());
  }
  _currentEntry = slot - 1;
}

uint16_t QNUnicodeUnihanTableBuilder::keyIndex(std::string_view key) {
  // Most lines' keys are the key that followed the previous line's key the last time.
  if (_lastKey != kNoKey) {
    const uint16_t predicted = _nextKey[_lastKey];
    if (predicted != kNoKey && _keyNames[predicted] == key) return _lastKey = predicted;
  }
  uint16_t index;
  const auto found = _keyIndexes.find(key);
  if (found != _keyIndexes.end()) {
    index = found->second;
  } else {
    if (_keyNames.size() == kMaxKeys) return kNoKey;
    index = static_cast<uint16_t>(_keyNames.size());
    _keyNames.emplace_back(key);
    _keyIsNumeric.push_back(std::find(std::begin(kNumericKeys), std::end(kNumericKeys), key) !=
                            std::end(kNumericKeys));
    _nextKey.push_back(kNoKey);
    _keyIndexes.emplace(std::string(key), index);
  }
  if (_lastKey != kNoKey) _nextKey[_lastKey] = index;
  return _lastKey = index;
}

void QNUnicodeUnihanTableBuilder::add(std::string_view key, std::string_view value) {
  const uint16_t index = keyIndex(key);
  if (index == kNoKey) return;
  PendingValue pending{(_currentEntry << kKeyBits) | index, 0, 0};
  if (_keyIsNumeric[index]) {
    const auto number = static_cast<uint64_t>(qnunicode::detail::unihanLeadingInteger(value));
    pending.low = static_cast<uint32_t>(number);
    pending.high = static_cast<uint32_t>(number >> 32);
  } else {
    // Text places are 32-bit: beyond 4 GiB of values (no published file comes near), lines drop.
    if (_text.size() + value.size() > UINT32_MAX) return;
    pending.low = static_cast<uint32_t>(_text.size());
    pending.high = static_cast<uint32_t>(value.size());
    _text.append(value);
  }
  _pending.push_back(pending);
}

QNUnicodeUnihanTableBuilder::Result QNUnicodeUnihanTableBuilder::finish() {
  auto table = std::make_shared<QNUnicodeUnihanTable>();
  auto keys = std::make_shared<std::set<UnicodeString>>();
  auto numericKeys = std::make_shared<std::set<UnicodeString>>();

  // Keys are numbered in sorted order, so that values sorted by number are sorted by key.
  std::vector<uint16_t> keyOrder(_keyNames.size());
  for (size_t i = 0; i < keyOrder.size(); ++i) {
    keyOrder[i] = static_cast<uint16_t>(i);
    table->_keys.push_back(qnunicode::utf16FromUTF8(_keyNames[i]));
  }
  std::sort(keyOrder.begin(), keyOrder.end(),
            [&](uint16_t a, uint16_t b) { return table->_keys[a] < table->_keys[b]; });
  std::vector<uint16_t> keyRank(keyOrder.size());
  std::vector<UnicodeString> sortedKeys(keyOrder.size());
  for (size_t rank = 0; rank < keyOrder.size(); ++rank) {
    keyRank[keyOrder[rank]] = static_cast<uint16_t>(rank);
    sortedKeys[rank] = table->_keys[keyOrder[rank]];
  }
  table->_keys = std::move(sortedKeys);
  for (size_t i = 0; i < _keyNames.size(); ++i) {
    keys->insert(table->_keys[keyRank[i]]);
    if (_keyIsNumeric[i]) numericKeys->insert(table->_keys[keyRank[i]]);
  }

  // Entries in codepoint order; each entry's values counted, then placed in arrival order.
  const size_t entryCount = _entryCodepoints.size();
  std::vector<uint32_t> entryOrder(entryCount);
  for (uint32_t i = 0; i < entryCount; ++i) entryOrder[i] = i;
  std::sort(entryOrder.begin(), entryOrder.end(),
            [&](uint32_t a, uint32_t b) { return _entryCodepoints[a] < _entryCodepoints[b]; });
  std::vector<uint32_t> entryRank(entryCount);
  table->_codepoints.resize(entryCount);
  for (uint32_t rank = 0; rank < entryCount; ++rank) {
    entryRank[entryOrder[rank]] = rank;
    table->_codepoints[rank] = _entryCodepoints[entryOrder[rank]];
  }
  std::vector<uint32_t> first(entryCount + 1, 0);
  const auto entryOf = [](const PendingValue& value) { return value.entryAndKey >> kKeyBits; };
  const auto keyOf = [](const PendingValue& value) {
    return static_cast<uint16_t>(value.entryAndKey & kMaxKeys);
  };
  for (const PendingValue& value : _pending) ++first[entryRank[entryOf(value)] + 1];
  for (size_t i = 0; i < entryCount; ++i) first[i + 1] += first[i];
  std::vector<QNUnicodeUnihanTable::StoredValue> values(_pending.size());
  {
    std::vector<uint32_t> next(first.begin(), first.end() - 1);
    for (const PendingValue& value : _pending) {
      const uint16_t key = keyOf(value);
      values[next[entryRank[entryOf(value)]]++] = {
          keyRank[key], static_cast<uint16_t>(_keyIsNumeric[key]), value.low, value.high};
    }
  }
  _pending = {};

  // Each entry's values sorted by key, a later value under a key replacing the earlier ones.
  size_t written = 0;
  table->_firstValues.resize(entryCount + 1);
  for (size_t i = 0; i < entryCount; ++i) {
    const auto begin = values.begin() + first[i], end = values.begin() + first[i + 1];
    // Few values each, mostly in order already: an insertion sort, which keeps arrival order.
    for (auto value = begin + 1; value < end; ++value) {
      const QNUnicodeUnihanTable::StoredValue moving = *value;
      auto place = value;
      for (; place != begin && (place - 1)->key > moving.key; --place) *place = *(place - 1);
      *place = moving;
    }
    table->_firstValues[i] = static_cast<uint32_t>(written);
    for (auto value = begin; value != end; ++value) {
      if (value + 1 != end && (value + 1)->key == value->key) continue;
      values[written++] = *value;
    }
  }
  table->_firstValues[entryCount] = static_cast<uint32_t>(written);
  values.resize(written);
  values.shrink_to_fit();
  table->_values = std::move(values);
  table->_text = std::move(_text);
  return {std::move(table), std::move(keys), std::move(numericKeys)};
}
