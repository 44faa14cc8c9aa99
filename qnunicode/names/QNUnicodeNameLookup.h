#pragma once

// The tables of the name lookup: name keys ("NAME [U+XXXX]") mapped to codepoints, lists of such
// keys in a chosen order, and the Index names of each codepoint.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNBlockArena.h"
#include "qnunicode/util/QNIndexIterator.h"

// A map from name keys to codepoints: one key maps to one codepoint, two keys may map to the
// same one. Entries keep the order in which their keys arrived. Entries and key texts lie in
// blocks that never move, so an entry or a key handed out stays valid, unchanged, as long as
// the map, however it grows.
class QNUnicodeNameLookup {
 public:
  class Entry {
   public:
    std::u16string_view key() const { return {_key, _length}; }
    uint32_t codepoint() const { return _codepoint; }

   private:
    friend class QNUnicodeNameLookup;
    Entry(const char16_t* key, uint32_t length, uint32_t codepoint)
        : _key(key), _length(length), _codepoint(codepoint) {}
    const char16_t* _key;
    uint32_t _length;
    uint32_t _codepoint;
  };
  // Iterates over the entries in the order their keys arrived.
  using const_iterator = qnunicode::IndexIterator<QNUnicodeNameLookup>;

  // Room for `capacity` keys before the map grows.
  explicit QNUnicodeNameLookup(size_t capacity = 0);
  // Room for `keys` keys in all before the slots grow again.
  void reserve(size_t keys);
  // A copy keeps its own key texts.
  QNUnicodeNameLookup(const QNUnicodeNameLookup& other);
  QNUnicodeNameLookup& operator=(const QNUnicodeNameLookup&) = delete;

  size_t size() const { return _size; }
  bool empty() const { return _size == 0; }
  // Entries in the order their keys arrived.
  const_iterator begin() const { return {this, 0}; }
  const_iterator end() const { return {this, _size}; }
  const Entry& operator[](size_t position) const {
    return _entries[position / kEntriesPerBlock][position % kEntriesPerBlock];
  }

  // The codepoint the key maps to; none when the key is not in the map.
  std::optional<uint32_t> codepointForKey(std::u16string_view key) const;
  bool contains(std::u16string_view key) const { return codepointForKey(key).has_value(); }
  // Maps the key to the codepoint: a new key is added at the end, a key already there keeps its
  // place and takes the new codepoint.
  void setCodepointForKey(uint32_t codepoint, std::u16string_view key);
  struct KeyAndCodepoint {
    std::u16string_view key;
    uint32_t codepoint;
  };
  // The same for each of the keys, one after the other; the places of the keys further on are
  // looked up ahead, while the ones before them are stored.
  void setCodepointsForKeys(std::span<const KeyAndCodepoint> keys);

  // The same keys mapped to the same codepoints, whatever their order.
  bool operator==(const QNUnicodeNameLookup& other) const;

 private:
  static uint32_t hash(std::u16string_view key);
  // The slot that holds the key, or the empty slot where it would go.
  size_t slotFor(std::u16string_view key, uint32_t hash) const;
  void rehash(size_t slotCount);
  void store(uint32_t codepoint, std::u16string_view key, uint32_t hash);

  Entry& entryAt(size_t position) {
    return _entries[position / kEntriesPerBlock][position % kEntriesPerBlock];
  }
  void append(Entry entry);

  static constexpr size_t kEntriesPerBlock = 4096;
  // Blocks of entries, each made with room for a whole block, so that none ever moves.
  std::vector<std::vector<Entry>> _entries;
  size_t _size = 0;
  // Open addressing, linear probing: each slot is empty (0) or holds its key's hash (upper
  // half) and its entry's position plus one (lower half).
  std::vector<uint64_t> _slots;
  qnunicode::detail::BlockArena<char16_t> _texts{size_t{1} << 15};
};

// Keys of a name lookup in a chosen order, as positions of the lookup's entries. The list keeps
// the lookup alive; it does not change when the lookup grows.
class QNUnicodeNameKeyList {
 public:
  // Iterates over the keys.
  using const_iterator = qnunicode::IndexIterator<QNUnicodeNameKeyList>;

  QNUnicodeNameKeyList(std::shared_ptr<const QNUnicodeNameLookup> lookup,
                       std::vector<uint32_t> positions)
      : _lookup(std::move(lookup)), _positions(std::move(positions)) {}

  size_t size() const { return _positions.size(); }
  bool empty() const { return _positions.empty(); }
  std::u16string_view operator[](size_t i) const { return entry(i).key(); }
  // The lookup's entry of the i-th key: the key and the codepoint it maps to.
  const QNUnicodeNameLookup::Entry& entry(size_t i) const { return (*_lookup)[_positions[i]]; }
  const_iterator begin() const { return {this, 0}; }
  const_iterator end() const { return {this, size()}; }

  const std::shared_ptr<const QNUnicodeNameLookup>& lookup() const { return _lookup; }
  const std::vector<uint32_t>& positions() const { return _positions; }

 private:
  std::shared_ptr<const QNUnicodeNameLookup> _lookup;
  std::vector<uint32_t> _positions;
};

// The Index names of each codepoint in file order, as views into the Index text kept here.
class QNUnicodeIndexNames {
 public:
  using Names = std::span<const std::u16string_view>;
  // A name of `text` and its codepoint.
  struct Name {
    uint32_t codepoint;
    uint32_t offset;  // in units
    uint32_t length;
  };

  // The names, each with its codepoint, in file order; `text` holds them all.
  QNUnicodeIndexNames(UnicodeString text, std::span<const Name> namesInFileOrder);
  QNUnicodeIndexNames(const QNUnicodeIndexNames&) = delete;
  QNUnicodeIndexNames& operator=(const QNUnicodeIndexNames&) = delete;

  // The codepoints that have names, in ascending order.
  const std::vector<uint32_t>& codepoints() const { return _codepoints; }
  size_t size() const { return _codepoints.size(); }
  bool contains(uint32_t codepoint) const { return !namesForCodepoint(codepoint).empty(); }
  // The codepoint's names in file order; empty when it has none.
  Names namesForCodepoint(uint32_t codepoint) const;

 private:
  UnicodeString _text;
  std::vector<uint32_t> _codepoints;
  std::vector<uint32_t> _firstNames;  // per codepoint, then the end of the last one's names
  std::vector<std::u16string_view> _names;
};

// The Index file decoded and split into names, before any of it reaches a lookup.
struct QNUnicodeIndexFile {
  std::optional<UnicodeString> text;  // none when there was no file to read
  std::vector<QNUnicodeIndexNames::Name> names;
  std::vector<std::string> logLines;  // given while reading it, to be given back in turn
};
