#pragma once

// The Unihan data in memory: for each codepoint, its keys and their values, as the reader takes
// them from the Unihan files' bytes.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// A Unihan value: text, or under the numeric keys the value's leading integer.
using QNUnicodeUnihanValue = std::variant<UnicodeString, int64_t>;

class QNUnicodeUnihanEntry;

// Every codepoint's Unihan entry. Made once by a read and never changed; entries handed out
// keep the table alive.
class QNUnicodeUnihanTable : public std::enable_shared_from_this<QNUnicodeUnihanTable> {
 public:
  // One stored value: a text (its place among the table's text bytes) or a number.
  struct StoredValue {
    uint16_t key;  // index into keys()
    uint16_t isNumber;
    uint32_t low;   // text: offset; number: low half
    uint32_t high;  // text: length in bytes; number: high half
  };

  // The codepoints that have an entry, ascending.
  const std::vector<uint32_t>& codepoints() const { return _codepoints; }
  size_t size() const { return _codepoints.size(); }
  // Every key seen, sorted (by UTF-16 units).
  const std::vector<UnicodeString>& keys() const { return _keys; }
  // The codepoint's entry; none when it has no Unihan data.
  std::optional<QNUnicodeUnihanEntry> entryForCodepoint(uint32_t codepoint) const;
  // The i-th entry in codepoint order.
  QNUnicodeUnihanEntry entryAt(size_t i) const;

  // The stored values of the i-th codepoint, sorted by key.
  std::span<const StoredValue> storedValuesAt(size_t i) const {
    return {_values.data() + _firstValues[i], _firstValues[i + 1] - _firstValues[i]};
  }
  // The UTF-8 bytes of a stored text value.
  std::string_view bytesOf(const StoredValue& value) const {
    return {_text.data() + value.low, value.high};
  }
  static int64_t numberOf(const StoredValue& value) {
    return static_cast<int64_t>((static_cast<uint64_t>(value.high) << 32) | value.low);
  }
  QNUnicodeUnihanValue valueOf(const StoredValue& value) const;
  // The index of the key in keys(), or none.
  std::optional<uint16_t> indexOfKey(std::u16string_view key) const;

 private:
  friend class QNUnicodeUnihanTableBuilder;
  std::vector<UnicodeString> _keys;
  std::vector<uint32_t> _codepoints;
  std::vector<uint32_t> _firstValues;  // per codepoint, then the end of the last one's values
  std::vector<StoredValue> _values;
  std::string _text;
};

// One codepoint's Unihan data: its keys in sorted order with their values. Keeps its table.
class QNUnicodeUnihanEntry {
 public:
  QNUnicodeUnihanEntry(std::shared_ptr<const QNUnicodeUnihanTable> table, size_t index)
      : _table(std::move(table)), _index(index) {}

  uint32_t codepoint() const { return _table->codepoints()[_index]; }
  // The number of keys.
  size_t size() const { return values().size(); }
  std::u16string_view keyAt(size_t i) const { return _table->keys()[values()[i].key]; }
  QNUnicodeUnihanValue valueAt(size_t i) const { return _table->valueOf(values()[i]); }
  bool isNumberAt(size_t i) const { return values()[i].isNumber != 0; }
  // The value under the key; none when the codepoint has no such key.
  std::optional<QNUnicodeUnihanValue> valueForKey(std::u16string_view key) const;
  // The text under the key; none when there is none or the value is a number.
  std::optional<UnicodeString> textForKey(std::u16string_view key) const;
  // The UTF-8 bytes of the text under the key, without decoding; none likewise.
  std::optional<std::string_view> bytesForKey(std::u16string_view key) const;

 private:
  std::span<const QNUnicodeUnihanTable::StoredValue> values() const {
    return _table->storedValuesAt(_index);
  }
  const QNUnicodeUnihanTable::StoredValue* storedValueForKey(std::u16string_view key) const;

  std::shared_ptr<const QNUnicodeUnihanTable> _table;
  size_t _index;
};

// Fills a table line by line. Lines of one codepoint may come in several runs (one per file);
// a later value under the same codepoint and key replaces the earlier one.
class QNUnicodeUnihanTableBuilder {
 public:
  // byteHint: an upper bound of the value bytes to come (the files' sizes), reserved without
  // being touched.
  explicit QNUnicodeUnihanTableBuilder(size_t byteHint = 0);
  ~QNUnicodeUnihanTableBuilder();
  QNUnicodeUnihanTableBuilder(const QNUnicodeUnihanTableBuilder&) = delete;
  QNUnicodeUnihanTableBuilder& operator=(const QNUnicodeUnihanTableBuilder&) = delete;

  // Makes the codepoint's entry the current one (at most 0x10FFFF), creating it the first time.
  void beginCodepoint(uint32_t codepoint);
  // Adds a key and its value (both well-formed UTF-8) to the current entry. Under a numeric key
  // the value's leading integer is stored. A new key beyond the first 2047 is not taken (the
  // published files have about a hundred): such a line is dropped, as is a text value that would
  // take the values' bytes beyond 4 GiB.
  void add(std::string_view key, std::string_view value);
  size_t entryCount() const { return _pending.size(); }

  // The finished table and the sets of keys and numeric keys seen. The builder is used up.
  struct Result {
    std::shared_ptr<const QNUnicodeUnihanTable> table;
    std::shared_ptr<const std::set<UnicodeString>> keys;
    std::shared_ptr<const std::set<UnicodeString>> numericKeys;
  };
  Result finish();

 private:
  // The key's number; kNoKey when there is no room for another key.
  uint16_t keyIndex(std::string_view key);
  static constexpr uint16_t kNoKey = UINT16_MAX;
  static constexpr size_t kKeyBits = 11;
  static constexpr size_t kMaxKeys = (size_t{1} << kKeyBits) - 1;

  // One line's value: its entry (21 bits, enough for every codepoint) and key packed together,
  // and its value as in StoredValue; whether it is a number follows from the key.
  struct PendingValue {
    uint32_t entryAndKey;
    uint32_t low;
    uint32_t high;
  };
  struct TransparentHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
  };
  std::unordered_map<std::string, uint16_t, TransparentHash, std::equal_to<>> _keyIndexes;
  std::vector<std::string> _keyNames;
  std::vector<bool> _keyIsNumeric;
  // The key that followed each key last time: lines of one codepoint come in a fixed key order.
  std::vector<uint16_t> _nextKey;
  uint16_t _lastKey = kNoKey;
  // Entry number plus one of each codepoint (0: none yet), made zero-filled by the system.
  struct FreeDeleter {
    void operator()(uint32_t* p) const;
  };
  std::unique_ptr<uint32_t[], FreeDeleter> _entryOfCodepoint;
  std::vector<uint32_t> _entryCodepoints;
  uint32_t _currentEntry = 0;
  std::vector<PendingValue> _pending;
  std::string _text;
};

namespace qnunicode::detail {

// The leading decimal integer of a Unihan value: white space skipped, an optional sign, then
// digits up to the first other character ("12 13" gives 12); 0 when there are no digits; the
// 64-bit limits when it does not fit.
int64_t unihanLeadingInteger(std::string_view value);

// Reads one Unihan file's bytes into the builder, line by line, without decoding them as a
// whole. A data line is "U+", a hexadecimal codepoint, TAB, key, TAB, value, LF; the value keeps
// a CR before the LF. A last line without its LF is not stored. A codepoint above 0x10FFFF is
// logged ("Codepoint out of range: %ld") and its line skipped; lines that do not begin with "U"
// and data lines without both tabs or with ill-formed UTF-8 are skipped silently. After each
// data line, when the builder's entry count is a multiple of 10000, `progress` is called with
// the number of bytes consumed so far.
template <typename Progress>
void readUnihanBytes(std::string_view bytes, QNUnicodeUnihanTableBuilder& builder,
                     Progress&& progress);

// The same line rules, one line at a time (for the template above).
enum class UnihanLine { Data, OutOfRange, Skipped, Unfinished };
struct UnihanLineParts {
  uint32_t codepoint;
  std::string_view key;
  std::string_view value;
};
// Parses the line that starts at `start` (its first byte is "U") and sets `next` to the offset
// after its LF.
UnihanLine parseUnihanDataLine(std::string_view bytes, size_t start, size_t* next,
                               UnihanLineParts* parts);

}  // namespace qnunicode::detail

template <typename Progress>
void qnunicode::detail::readUnihanBytes(std::string_view bytes,
                                        QNUnicodeUnihanTableBuilder& builder, Progress&& progress) {
  const char* const data = bytes.data();
  const size_t size = bytes.size();
  size_t position = 0;
  uint32_t current = UINT32_MAX;
  while (position < size) {
    if (data[position] != 'U') {
      // Comments and blank lines, through their LF.
      const void* lf = std::memchr(data + position, '\n', size - position);
      if (!lf) return;
      position = static_cast<size_t>(static_cast<const char*>(lf) - data) + 1;
      continue;
    }
    UnihanLineParts parts;
    const UnihanLine line = parseUnihanDataLine(bytes, position, &position, &parts);
    if (line == UnihanLine::Unfinished) return;
    if (line == UnihanLine::Skipped) continue;
    if (line == UnihanLine::Data) {
      // The previous line's entry serves while the codepoint stays the same.
      if (parts.codepoint != current) {
        builder.beginCodepoint(parts.codepoint);
        current = parts.codepoint;
      }
      builder.add(parts.key, parts.value);
    }
    if (builder.entryCount() % 10000 == 0) progress(position);
  }
}
