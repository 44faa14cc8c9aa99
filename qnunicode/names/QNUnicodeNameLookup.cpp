// The name lookup: display keys "NAME [U+XXXX]" of every UnicodeData name and Unicode 1.0 name
// and of every Index entry, mapped to their codepoints; the Index names per codepoint; and the
// case-insensitively sorted key lists of the host's search list.
#include "qnunicode/names/QNUnicodeNameLookup.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <numeric>
#include <unordered_map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNMappedFile.h"
#include "qnunicode/util/QNScanner.h"

namespace {

// The maps are made with little room: each stage makes room for the keys it brings (the
// published files give about 6000 Index keys and 36000 UnicodeData keys).
constexpr size_t kNameLookupCapacity = 64;

// The longest " [U+XXXX]" that follows a name in a key: eight digits.
constexpr size_t kLongestCodeSuffix = 13;

// " [U+%04X]": a blank and the bracketed code in at least four upper-case digits, written at
// `out`; answers its length.
size_t writeCodeSuffix(char16_t* out, uint32_t codepoint) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  char16_t code[8];
  size_t length = 0;
  for (uint32_t rest = codepoint; rest != 0 || length < 4; rest >>= 4) {
    code[length++] = kDigits[rest & 0xF];
  }
  const char16_t* const start = out;
  for (const char16_t u : std::u16string_view(u" [U+")) *out++ = u;
  while (length > 0) *out++ = code[--length];
  *out++ = u']';
  return static_cast<size_t>(out - start);
}

// "%@ [U+%04X]": the name and its code suffix, written over `key`.
void makeNameKey(UnicodeString& key, std::u16string_view name, uint32_t codepoint) {
  key.resize(name.size() + kLongestCodeSuffix);
  std::copy(name.begin(), name.end(), key.data());
  key.resize(name.size() + writeCodeSuffix(key.data() + name.size(), codepoint));
}

// The same from a record's stored name, written at `out`; answers the key's length.
size_t writeNameKey(char16_t* out, const QNUnicodeConcreteData::StoredText& name,
                    uint32_t codepoint) {
  char16_t* const start = out;
  for (const char byte : name.bytes) *out++ = static_cast<unsigned char>(byte);
  out = std::copy(name.units.begin(), name.units.end(), out);
  return static_cast<size_t>(out - start) + writeCodeSuffix(out, codepoint);
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

// The text with every codepoint replaced by its simple upper- or lower-case mapping, written
// over `result`. ASCII text (all of UnicodeData's names and of the Index) is mapped without
// asking the records; other letters are mapped by the records of a database that has read
// UnicodeData (none: kept as they are, so that the case mapping never sets off a read of its
// own).
void caseMap(QNUnicodeDatabase* readDatabase, std::u16string_view text, bool upper,
             UnicodeString& result) {
  result.resize(text.size());
  char16_t* out = result.data();
  for (const char16_t u : text) {
    if (u >= 0x80) break;
    *out++ = upper ? qnunicode::asciiUppercase(u) : qnunicode::asciiLowercase(u);
  }
  if (out == result.data() + text.size()) return;
  result.clear();
  for (size_t i = 0; i < text.size();) {
    const qnunicode::UTF16Codepoint read = qnunicode::codepointAt(text, i);
    i += read.length;
    uint32_t c = read.codepoint;
    if (c < 0x80) {
      c = upper ? qnunicode::asciiUppercase(c) : qnunicode::asciiLowercase(c);
    } else if (readDatabase && !qnunicode::isSurrogate(c)) {
      c = simpleCaseMapping(*readDatabase, c, upper);
    }
    qnunicode::appendUTF16(result, c);
  }
}

// Appends one UTF-16 unit in the UTF-8 form of its value: comparing such bytes compares the
// units by value, one to three bytes each.
void appendOrderedBytes(std::string& bytes, char16_t unit) {
  qnunicode::appendUTF8(bytes, unit);
}

// Sorts keys of a lookup without regard to case: compared unit by unit after lower-casing, keys
// that differ only in case ordered by their units. Composed and decomposed forms are not
// unified.
//
// Each key's sort key, its lower-cased form laid out as bytes that compare like its units, is
// made once, all in one buffer. The sort goes through the sort keys eight bytes at a time (a
// three-way radix quicksort): the keys are split by their word at one depth into smaller,
// equal and greater ones, and only the equal ones go on to the next word, so that the long
// prefixes that names share ("latin small letter ") are looked at once, not at every comparison.
class NameKeySorter {
 public:
  NameKeySorter(QNUnicodeDatabase* readDatabase, const QNUnicodeNameLookup& lookup,
                const std::vector<uint32_t>& positions)
      : _lookup(lookup) {
    // Each sort key is laid out as its length (four bytes) and its bytes.
    size_t units = 0;
    for (uint32_t position : positions) units += lookup[position].key().size();
    _bytes.reserve(units + units / 8 + 4 * positions.size());
    _items.resize(positions.size());
    UnicodeString lowered;
    for (size_t i = 0; i < positions.size(); ++i) {
      const std::u16string_view key = lookup[positions[i]].key();
      const size_t offset = _bytes.size();
      _bytes.resize(offset + 4 + key.size());
      if (!qnunicode::writeASCIILowercase(key, _bytes.data() + offset + 4)) {
        _bytes.resize(offset + 4);
        caseMap(readDatabase, key, false, lowered);
        for (char16_t u : lowered) appendOrderedBytes(_bytes, u);
      }
      const auto length = static_cast<uint32_t>(_bytes.size() - offset - 4);
      std::memcpy(_bytes.data() + offset, &length, 4);
      _items[i] = {0, static_cast<uint32_t>(offset), positions[i]};
    }
    for (Item& item : _items) item.word = wordAt(item, 0);
  }

  // The positions in sorted order.
  std::vector<uint32_t> sorted() {
    sortFrom(_items.data(), _items.size(), 0, 2 * std::bit_width(_items.size()) + 64);
    std::vector<uint32_t> positions(_items.size());
    for (size_t i = 0; i < _items.size(); ++i) positions[i] = _items[i].position;
    return positions;
  }

 private:
  struct Item {
    uint64_t word;      // the sort key's bytes at the current depth, big-endian, zero-padded
    uint32_t offset;    // of the sort key in _bytes
    uint32_t position;  // of the key in the lookup
  };

  uint32_t lengthOf(const Item& item) const {
    uint32_t length;
    std::memcpy(&length, _bytes.data() + item.offset, 4);
    return length;
  }
  const char* bytesOf(const Item& item) const { return _bytes.data() + item.offset + 4; }

  // The sort key's bytes from depth * 8 on, eight of them (zeros past its end) as one number.
  uint64_t wordAt(const Item& item, size_t depth) const {
    const size_t start = depth * 8;
    const size_t length = lengthOf(item);
    if (start >= length) return 0;
    unsigned char bytes[8] = {};
    std::memcpy(bytes, bytesOf(item) + start, std::min<size_t>(8, length - start));
    uint64_t word;
    std::memcpy(&word, bytes, 8);
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
  }

  // The whole comparison, for keys whose first `depth` words are equal.
  bool lessFrom(const Item& a, const Item& b, size_t depth) const {
    const size_t start = depth * 8;
    const uint32_t lengthA = lengthOf(a), lengthB = lengthOf(b);
    const size_t common = std::min(lengthA, lengthB);
    if (common > start) {
      const int order = std::memcmp(bytesOf(a) + start, bytesOf(b) + start, common - start);
      if (order != 0) return order < 0;
    }
    if (lengthA != lengthB) return lengthA < lengthB;
    return _lookup[a.position].key() < _lookup[b.position].key();
  }

  // Items whose first `depth` words are equal, with their words at `depth` in place. Each
  // partition uses up one step of the budget; a part left without budget (or small) is sorted
  // by whole comparisons instead, so no input makes the sort slow or its recursion deep.
  void sortFrom(Item* items, size_t count, size_t depth, size_t budget) {
    while (count > 1) {
      if (count <= 4 || budget == 0) {
        std::sort(items, items + count,
                  [this, depth](const Item& a, const Item& b) { return lessFrom(a, b, depth); });
        return;
      }
      --budget;
      const uint64_t first = items[0].word, middle = items[count / 2].word,
                     last = items[count - 1].word;
      const uint64_t pivot =
          std::max(std::min(first, middle), std::min(std::max(first, middle), last));
      size_t less = 0, equal = 0, greater = count;  // [0, less) < pivot, [greater, count) > pivot
      while (equal < greater) {
        if (items[equal].word < pivot) {
          std::swap(items[less++], items[equal++]);
        } else if (items[equal].word > pivot) {
          std::swap(items[equal], items[--greater]);
        } else {
          ++equal;
        }
      }
      sortFrom(items, less, depth, budget);
      sortFrom(items + greater, count - greater, depth, budget);
      // The equal ones differ only further on, if at all: once all have ended, only their
      // lengths and units are left to compare.
      items += less;
      count = greater - less;
      ++depth;
      bool anyLonger = false;
      for (size_t i = 0; i < count; ++i) {
        // The sort keys lie all over their buffer: ask for the ones a few items on early.
        if (i + 8 < count) __builtin_prefetch(_bytes.data() + items[i + 8].offset);
        items[i].word = wordAt(items[i], depth);
        anyLonger |= lengthOf(items[i]) > depth * 8;
      }
      if (!anyLonger) budget = 0;
    }
  }

  const QNUnicodeNameLookup& _lookup;
  std::string _bytes;
  std::vector<Item> _items;
};

// Stores the key in the full map and in the map without Unihan names where that is another one.
void storeKey(QNUnicodeNameLookup& lookup, QNUnicodeNameLookup* withoutUnihan, uint32_t codepoint,
              std::u16string_view key) {
  lookup.setCodepointForKey(codepoint, key);
  if (withoutUnihan && withoutUnihan != &lookup) withoutUnihan->setCodepointForKey(codepoint, key);
}

void storeKeys(QNUnicodeNameLookup& lookup, QNUnicodeNameLookup* withoutUnihan,
               std::span<const QNUnicodeNameLookup::KeyAndCodepoint> keys) {
  lookup.setCodepointsForKeys(keys);
  if (withoutUnihan && withoutUnihan != &lookup) withoutUnihan->setCodepointsForKeys(keys);
}

// The keys of UnicodeData's lines in file order, handed over a run of lines at a time: a Unicode
// 1.0 name's key (for a few lines) before the name's own, each run's keys written into one
// buffer that is reused from run to run.
template <typename VisitRun>
void forEachUnicodeDataKeyRun(std::span<const QNUnicodeConcreteData* const> records,
                              VisitRun visitRun) {
  constexpr size_t kRun = 64;
  std::vector<char16_t> units;
  std::vector<QNUnicodeNameLookup::KeyAndCodepoint> run;
  run.reserve(2 * kRun);
  for (size_t first = 0; first < records.size(); first += kRun) {
    const auto part = records.subspan(first, std::min(kRun, records.size() - first));
    size_t longest = 0;
    for (const QNUnicodeConcreteData* record : part) {
      longest += record->storedUnicode1Name().size() + record->storedCharacterName().size() +
                 2 * kLongestCodeSuffix;
    }
    if (units.size() < longest) units.resize(longest);
    char16_t* out = units.data();
    run.clear();
    const auto add = [&](const QNUnicodeConcreteData::StoredText& name, uint32_t codepoint) {
      const size_t length = writeNameKey(out, name, codepoint);
      run.push_back({{out, length}, codepoint});
      out += length;
    };
    for (const QNUnicodeConcreteData* record : part) {
      const uint32_t codepoint = record->codepoint();
      const QNUnicodeConcreteData::StoredText unicode1Name = record->storedUnicode1Name();
      if (unicode1Name.size() != 0) add(unicode1Name, codepoint);
      add(record->storedCharacterName(), codepoint);
    }
    visitRun(std::span<const QNUnicodeNameLookup::KeyAndCodepoint>(run));
  }
}

std::optional<std::string> fileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) return std::nullopt;
  return bytes;
}

}  // namespace

// ---- The map ----------------------------------------------------------------------------------

QNUnicodeNameLookup::QNUnicodeNameLookup(size_t capacity) {
  _slots.assign(16, 0);
  reserve(capacity);
}

// At most seven slots in ten are used; the slots at least double when they grow.
void QNUnicodeNameLookup::reserve(size_t keys) {
  if (keys * 10 <= _slots.size() * 7) return;
  rehash(std::max(_slots.size() * 2, std::bit_ceil(keys * 10 / 7 + 1)));
}

// Sixteen bytes at a time in two lanes, each word mixed into its lane by a multiplication, then
// the lanes joined and mixed once more; the upper half of the result is the hash.
uint32_t QNUnicodeNameLookup::hash(std::u16string_view key) {
  constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15u, kOtherMultiplier = 0xC2B2AE3D27D4EB4Fu;
  const char* bytes = reinterpret_cast<const char*>(key.data());
  size_t size = key.size() * sizeof(char16_t);
  uint64_t lane = (size + 1) * kMultiplier, otherLane = kOtherMultiplier;
  for (; size >= 16; bytes += 16, size -= 16) {
    uint64_t word, otherWord;
    std::memcpy(&word, bytes, 8);
    std::memcpy(&otherWord, bytes + 8, 8);
    lane = std::rotl((lane ^ word) * kMultiplier, 29);
    otherLane = std::rotl((otherLane ^ otherWord) * kOtherMultiplier, 29);
  }
  uint64_t tail[2] = {0, 0};
  std::memcpy(tail, bytes, size);
  lane = (lane ^ tail[0]) * kMultiplier;
  otherLane = (otherLane ^ tail[1]) * kOtherMultiplier;
  uint64_t h = lane ^ std::rotl(otherLane, 32);
  h ^= h >> 32;
  h *= 0xBF58476D1CE4E5B9u;
  h ^= h >> 31;
  return static_cast<uint32_t>(h >> 32);
}

// A slot holds the key's hash beside its entry's position, so that probing past other keys
// reads nothing but the slots; an entry and its key text are looked at only when the hashes
// agree.
size_t QNUnicodeNameLookup::slotFor(std::u16string_view key, uint32_t hash) const {
  const size_t mask = _slots.size() - 1;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const uint64_t value = _slots[slot];
    if (value == 0) return slot;
    if (static_cast<uint32_t>(value >> 32) == hash &&
        (*this)[static_cast<uint32_t>(value) - 1].key() == key) {
      return slot;
    }
  }
}

std::optional<uint32_t> QNUnicodeNameLookup::codepointForKey(std::u16string_view key) const {
  const uint64_t value = _slots[slotFor(key, hash(key))];
  if (value == 0) return std::nullopt;
  return (*this)[static_cast<uint32_t>(value) - 1].codepoint();
}

void QNUnicodeNameLookup::setCodepointForKey(uint32_t codepoint, std::u16string_view key) {
  if ((_size + 1) * 10 > _slots.size() * 7) rehash(_slots.size() * 2);
  store(codepoint, key, hash(key));
}

void QNUnicodeNameLookup::setCodepointsForKeys(std::span<const KeyAndCodepoint> keys) {
  // Slots are met in no order, each a likely cache miss: the slot of the key eight places on is
  // asked for before a key is stored.
  constexpr size_t kAhead = 8, kRun = 64;
  reserve(_size + keys.size());
  const size_t mask = _slots.size() - 1;
  std::array<uint32_t, kRun> hashes;
  for (size_t first = 0; first < keys.size(); first += kRun) {
    const size_t count = std::min(kRun, keys.size() - first);
    for (size_t i = 0; i < count; ++i) {
      hashes[i] = hash(keys[first + i].key);
      if (i < kAhead) __builtin_prefetch(&_slots[hashes[i] & mask]);
    }
    for (size_t i = 0; i < count; ++i) {
      if (i + kAhead < count) __builtin_prefetch(&_slots[hashes[i + kAhead] & mask]);
      store(keys[first + i].codepoint, keys[first + i].key, hashes[i]);
    }
  }
}

void QNUnicodeNameLookup::store(uint32_t codepoint, std::u16string_view key, uint32_t hash) {
  const size_t slot = slotFor(key, hash);
  if (_slots[slot] != 0) {
    entryAt(static_cast<uint32_t>(_slots[slot]) - 1)._codepoint = codepoint;
    return;
  }
  append(Entry(_texts.store(key.begin(), key.end()), static_cast<uint32_t>(key.size()), codepoint));
  _slots[slot] = (static_cast<uint64_t>(hash) << 32) | _size;
}

void QNUnicodeNameLookup::append(Entry entry) {
  if (_size % kEntriesPerBlock == 0) _entries.emplace_back().reserve(kEntriesPerBlock);
  _entries.back().push_back(entry);
  ++_size;
}

void QNUnicodeNameLookup::rehash(size_t slotCount) {
  std::vector<uint64_t> slots(slotCount, 0);
  const size_t mask = slots.size() - 1;
  for (const uint64_t value : _slots) {
    if (value == 0) continue;
    size_t slot = (value >> 32) & mask;
    while (slots[slot] != 0) slot = (slot + 1) & mask;
    slots[slot] = value;
  }
  _slots = std::move(slots);
}

QNUnicodeNameLookup::QNUnicodeNameLookup(const QNUnicodeNameLookup& other) : _slots(other._slots) {
  for (const Entry& entry : other) {
    const std::u16string_view key = entry.key();
    append(Entry(_texts.store(key.begin(), key.end()), entry._length, entry._codepoint));
  }
}

bool QNUnicodeNameLookup::operator==(const QNUnicodeNameLookup& other) const {
  if (size() != other.size()) return false;
  return std::all_of(begin(), end(), [&other](const Entry& entry) {
    return other.codepointForKey(entry.key()) == entry.codepoint();
  });
}

// ---- Index names ------------------------------------------------------------------------------

QNUnicodeIndexNames::QNUnicodeIndexNames(UnicodeString text, std::span<const Name> namesInFileOrder)
    : _text(std::move(text)) {
  // By codepoint, then by place in the file.
  std::vector<uint64_t> order(namesInFileOrder.size());
  for (size_t i = 0; i < order.size(); ++i) {
    order[i] = (static_cast<uint64_t>(namesInFileOrder[i].codepoint) << 32) | i;
  }
  std::sort(order.begin(), order.end());
  _names.reserve(order.size());
  for (const uint64_t codepointAndPlace : order) {
    const Name& name = namesInFileOrder[static_cast<uint32_t>(codepointAndPlace)];
    if (_codepoints.empty() || _codepoints.back() != name.codepoint) {
      _codepoints.push_back(name.codepoint);
      _firstNames.push_back(static_cast<uint32_t>(_names.size()));
    }
    _names.emplace_back(_text.data() + name.offset, name.length);
  }
  _firstNames.push_back(static_cast<uint32_t>(_names.size()));
}

QNUnicodeIndexNames::Names QNUnicodeIndexNames::namesForCodepoint(uint32_t codepoint) const {
  const auto found = std::lower_bound(_codepoints.begin(), _codepoints.end(), codepoint);
  if (found == _codepoints.end() || *found != codepoint) return {};
  const size_t i = static_cast<size_t>(found - _codepoints.begin());
  return Names(_names.data() + _firstNames[i], _firstNames[i + 1] - _firstNames[i]);
}

// ---- Index ------------------------------------------------------------------------------------

bool QNUnicodeDatabase::nameLookupMapsUppercasedKey(std::u16string_view key, uint32_t codepoint,
                                                    UnicodeString& scratch) {
  if (!_nameLookup) return false;
  caseMap(_isDatabaseRead ? this : nullptr, key, true, scratch);
  return _nameLookup->codepointForKey(scratch) == codepoint;
}

std::unique_ptr<QNUnicodeIndexFile> QNUnicodeDatabase::readIndexFile() const {
  auto index = std::make_unique<QNUnicodeIndexFile>();
  const QNLogHold hold(index->logLines);
  const std::optional<std::string> path = filenameWithPrefix(QNUnicodeFilePrefixIndex);
  if (!path) return index;
  // A regular file is decoded from its mapped bytes; anything else is read the long way.
  std::optional<UnicodeString>& text = index->text;
  const qnunicode::detail::MappedFile file(*path);
  std::optional<std::string> bytes;
  if (file.isMapped()) {
    text = qnunicode::decodeUTF8(file.bytes());
    if (!text) bytes.emplace(file.bytes());
  } else {
    text = QNUnicode::stringWithContentsOfUTF8File(*path);
    if (!text) bytes = fileBytes(*path);
  }
  if (!text && bytes) {
    text = qnunicode::decodeASCIILossy(*bytes);
    QNLogFormat(
        "QNUnicode warning: file at path '%s' is invalid UTF-8. using lossy ASCII encoding "
        "for reading",
        path->c_str());
  }
  if (!text) return index;

  // A line is a name, a tab and a hexadecimal codepoint; anything else is passed over.
  const std::u16string_view all = *text;
  index->names.reserve(static_cast<size_t>(std::count(all.begin(), all.end(), u'\n')) + 1);
  for (size_t start = 0; start <= all.size();) {
    size_t end = all.find(u'\n', start);
    if (end == std::u16string_view::npos) end = all.size();
    const std::u16string_view line = all.substr(start, end - start);
    const size_t lineStart = start;
    start = end + 1;

    const size_t tab = line.find(u'\t');
    if (tab == std::u16string_view::npos) continue;
    qnunicode::QNScanner scanner(line.substr(tab + 1));
    uint32_t codepoint;
    if (!scanner.scanHexInt(&codepoint)) continue;
    index->names.push_back(
        {codepoint, static_cast<uint32_t>(lineStart), static_cast<uint32_t>(tab)});
  }
  return index;
}

void QNUnicodeDatabase::addIndex(QNUnicodeIndexFile& index) {
  for (std::string& line : index.logLines) QNLog(std::move(line));
  if (!index.text) {
    // _indexNames stays none, so the next use tries again.
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
    return;
  }

  createNameLookupMaps();
  if (_nameLookupContainsIndex) QNLog("WARNING: _nameLookupContainsIndex == YES in -readIndex");

  _nameLookup->reserve(_nameLookup->size() + index.names.size());
  UnicodeString key, uppercased;
  const std::u16string_view all = *index.text;
  for (const QNUnicodeIndexNames::Name& name : index.names) {
    // An entry that only repeats a name already there in other letter case ("acute accent" for
    // ACUTE ACCENT) adds no key of its own; its name still counts among the Index names.
    makeNameKey(key, all.substr(name.offset, name.length), name.codepoint);
    if (!nameLookupMapsUppercasedKey(key, name.codepoint, uppercased)) {
      storeKey(*_nameLookup, _nameLookupWithoutUnihan.get(), name.codepoint, key);
    }
  }
  _indexNames = std::make_shared<QNUnicodeIndexNames>(std::move(*index.text), index.names);
  _nameLookupContainsIndex = true;
}

void QNUnicodeDatabase::readIndex() {
  addIndex(_unusedIndexFile ? *std::exchange(_unusedIndexFile, nullptr) : *readIndexFile());
}

std::shared_ptr<const QNUnicodeIndexNames> QNUnicodeDatabase::indexNames() {
  if (!_indexNames) readIndex();
  return _indexNames;
}

// ---- The lookup -------------------------------------------------------------------------------

// The full map always; the map without Unihan names only where there are Unihan files. The two
// are made together and take the same keys until Unihan names join the full map, so until then
// one map serves as both (the Unihan stage gives the full map a copy of its own first).
void QNUnicodeDatabase::createNameLookupMaps() {
  if (!_nameLookup) _nameLookup = std::make_shared<QNUnicodeNameLookup>(kNameLookupCapacity);
  if (!_nameLookupWithoutUnihan && _isUnihanAvailable) _nameLookupWithoutUnihan = _nameLookup;
}

void QNUnicodeDatabase::createNameLookupWithoutUnihan(bool withoutUnihan) {
  if (!_isDatabaseRead && !readDatabase()) return;
  createNameLookupMaps();

  // The Index is read and split on another thread meanwhile; it joins the lookup after
  // UnicodeData's names.
  std::future<std::unique_ptr<QNUnicodeIndexFile>> index;
  if (!_nameLookupContainsIndex && !_indexNames && !_unusedIndexFile &&
      !_nameLookupContainsDatabase) {
    index = std::async(std::launch::async, [this] { return readIndexFile(); });
  }

  if (!_nameLookupContainsDatabase) {
    // Every record read from the file; the members of First/Last ranges add nothing.
    _nameLookup->reserve(_nameLookup->size() + _unicodeDataFileRecords.size() * 17 / 16);
    forEachUnicodeDataKeyRun(_unicodeDataFileRecords, [this](const auto& run) {
      storeKeys(*_nameLookup, _nameLookupWithoutUnihan.get(), run);
    });
    _nameLookupContainsDatabase = true;
  }

  if (index.valid()) {
    addIndex(*index.get());
  } else if (!_nameLookupContainsIndex) {
    indexNames();
  }

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

namespace {

std::shared_ptr<const QNUnicodeNameKeyList> sortedKeyList(
    QNUnicodeDatabase* readDatabase, const std::shared_ptr<const QNUnicodeNameLookup>& lookup,
    const std::function<bool(std::u16string_view)>* test) {
  std::vector<uint32_t> positions;
  positions.reserve(test ? 0 : lookup->size());
  for (uint32_t position = 0; position < lookup->size(); ++position) {
    if (!test || (*test)((*lookup)[position].key())) positions.push_back(position);
  }
  return std::make_shared<QNUnicodeNameKeyList>(
      lookup, NameKeySorter(readDatabase, *lookup, positions).sorted());
}

}  // namespace

// The sorted lists are made once: keys that reach a map afterwards (Unihan names read later) do
// not appear in a list already made.
std::shared_ptr<const QNUnicodeNameKeyList> QNUnicodeDatabase::sortedNameLookupKeys() {
  if (!_sortedNameLookupKeys) {
    if (const std::shared_ptr<const QNUnicodeNameLookup> lookup = nameLookup()) {
      _sortedNameLookupKeys = sortedKeyList(_isDatabaseRead ? this : nullptr, lookup, nullptr);
    }
  }
  return _sortedNameLookupKeys;
}

std::shared_ptr<const QNUnicodeNameKeyList> QNUnicodeDatabase::sortedNameLookupWithoutUnihanKeys() {
  if (!_isUnihanAvailable) return sortedNameLookupKeys();
  if (!_sortedNameLookupWithoutUnihanKeys) {
    if (const std::shared_ptr<const QNUnicodeNameLookup> lookup = nameLookupWithoutUnihan()) {
      _sortedNameLookupWithoutUnihanKeys =
          sortedKeyList(_isDatabaseRead ? this : nullptr, lookup, nullptr);
    }
  }
  return _sortedNameLookupWithoutUnihanKeys;
}

std::shared_ptr<const QNUnicodeNameKeyList> QNUnicodeDatabase::sortedNameLookupKeysPassingTest(
    const std::function<bool(std::u16string_view)>& test, bool includingUnihan) {
  const bool full = includingUnihan || !_isUnihanAvailable;
  // A list made already is the one to filter: it may lack keys that came later.
  const std::shared_ptr<const QNUnicodeNameKeyList> made =
      full ? _sortedNameLookupKeys : _sortedNameLookupWithoutUnihanKeys;
  if (made) {
    std::vector<uint32_t> positions;
    for (uint32_t position : made->positions()) {
      if (test((*made->lookup())[position].key())) positions.push_back(position);
    }
    return std::make_shared<QNUnicodeNameKeyList>(made->lookup(), std::move(positions));
  }
  // Without Unihan names, a lookup not begun yet need not be made for the few keys that pass.
  // (One that holds the Index alone, read first, goes on as it began.)
  if (!_nameLookup && !(includingUnihan && _isUnihanAvailable)) {
    if (!_isDatabaseRead && !readDatabase()) return nullptr;
    if (auto keys = keysPassingTestWithoutLookup(test)) return *keys;
  }
  const std::shared_ptr<const QNUnicodeNameLookup> lookup =
      full ? nameLookup() : nameLookupWithoutUnihan();
  if (!lookup) return nullptr;
  return sortedKeyList(_isDatabaseRead ? this : nullptr, lookup, &test);
}

namespace {

bool equalsStoredText(std::u16string_view text, const QNUnicodeConcreteData::StoredText& stored) {
  if (!stored.units.empty()) return text == stored.units;
  return std::equal(
      text.begin(), text.end(), stored.bytes.begin(), stored.bytes.end(),
      [](char16_t unit, char byte) { return unit == static_cast<unsigned char>(byte); });
}

}  // namespace

// The keys go into the new lookup in the whole lookup's order, those that fail left out: a key
// is made by the same lines either way, so it keeps its place among those that pass and its
// last codepoint. Only the Index rule looks beyond the keys that pass: whether an entry's name
// upper-cased is a key already. A key ends in its own codepoint, so that key can only be the
// name (or Unicode 1.0 name) of that codepoint's line, found by a binary search while the lines
// ascend, or the name of an earlier Index entry for it that took a key of its own.
std::optional<std::shared_ptr<const QNUnicodeNameKeyList>>
QNUnicodeDatabase::keysPassingTestWithoutLookup(
    const std::function<bool(std::u16string_view)>& test) {
  if (!_unicodeDataLinesAscend) return std::nullopt;
  const std::vector<const QNUnicodeConcreteData*>& records = _unicodeDataFileRecords;
  std::future<std::unique_ptr<QNUnicodeIndexFile>> reading;
  if (!_unusedIndexFile) {
    reading = std::async(std::launch::async, [this] { return readIndexFile(); });
  }

  auto lookup = std::make_shared<QNUnicodeNameLookup>(kNameLookupCapacity);
  // The lines' codepoints, in order, for the Index rule's search: one a line, as they ascend.
  std::vector<uint32_t> codepoints;
  codepoints.reserve(records.size());
  forEachUnicodeDataKeyRun(records, [&](const auto& run) {
    for (const QNUnicodeNameLookup::KeyAndCodepoint& key : run) {
      if (codepoints.empty() || codepoints.back() != key.codepoint) {
        codepoints.push_back(key.codepoint);
      }
      if (test(key.key)) lookup->setCodepointForKey(key.codepoint, key.key);
    }
  });

  if (reading.valid()) {
    _unusedIndexFile = reading.get();
    for (std::string& line : std::exchange(_unusedIndexFile->logLines, {})) QNLog(std::move(line));
  }
  if (!_unusedIndexFile->text) {
    _unusedIndexFile.reset();
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixIndex);
  } else {
    const auto lineOf = [&](uint32_t codepoint) -> const QNUnicodeConcreteData* {
      const auto found = std::lower_bound(codepoints.begin(), codepoints.end(), codepoint);
      if (found == codepoints.end() || *found != codepoint) return nullptr;
      return records[static_cast<size_t>(found - codepoints.begin())];
    };
    std::unordered_multimap<uint32_t, std::u16string_view> namesWithKeys;
    const std::u16string_view all = *_unusedIndexFile->text;
    UnicodeString key, uppercased;
    for (const QNUnicodeIndexNames::Name& entry : _unusedIndexFile->names) {
      const std::u16string_view name = all.substr(entry.offset, entry.length);
      caseMap(this, name, true, uppercased);
      const QNUnicodeConcreteData* line = lineOf(entry.codepoint);
      bool repeats = line && (equalsStoredText(uppercased, line->storedCharacterName()) ||
                              (line->storedUnicode1Name().size() != 0 &&
                               equalsStoredText(uppercased, line->storedUnicode1Name())));
      const auto [first, last] = namesWithKeys.equal_range(entry.codepoint);
      repeats = repeats || std::any_of(first, last, [&uppercased](const auto& named) {
                  return named.second == std::u16string_view(uppercased);
                });
      if (repeats) continue;
      namesWithKeys.emplace(entry.codepoint, name);
      makeNameKey(key, name, entry.codepoint);
      if (test(key)) lookup->setCodepointForKey(entry.codepoint, key);
    }
  }

  std::vector<uint32_t> positions(lookup->size());
  std::iota(positions.begin(), positions.end(), 0);
  return std::make_shared<QNUnicodeNameKeyList>(lookup,
                                                NameKeySorter(this, *lookup, positions).sorted());
}
