#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "qnunicode/properties/QNUnicodeIntervalIndex.h"
#include "qnunicode/strings/UnicodeString.h"

// The blocks of Blocks: a map from a codepoint range, written as its first codepoint and its
// count, to the block's name. The map is ordered by first codepoint, then by count; a codepoint
// belongs to the first range in that order that holds it, even where a malformed file lets
// ranges overlap.
//
// Built once and then immutable. Construction paints the codepoint space with the first range
// in map order over each stretch, so that a lookup is an interval lookup and not a walk over the
// ranges. Every entry has a name, so a lookup that finds a range always has a name to answer.
class QNUnicodeBlockTable {
 public:
  struct Range {
    uint32_t first = 0;
    // Last minus first plus one, modulo 2 to the power 32 (a reversed range wraps around).
    uint32_t count = 0;

    auto operator<=>(const Range&) const = default;
    // first <= codepoint and codepoint - first < count, in unsigned 32-bit arithmetic.
    bool contains(uint32_t codepoint) const {
      return first <= codepoint && codepoint - first < count;
    }
  };
  using Map = std::map<Range, UnicodeString>;

  QNUnicodeBlockTable() : QNUnicodeBlockTable(Map{}) {}
  explicit QNUnicodeBlockTable(Map entries);
  // Lookups refer into the map, so the table stays where it was built.
  QNUnicodeBlockTable(const QNUnicodeBlockTable&) = delete;
  QNUnicodeBlockTable& operator=(const QNUnicodeBlockTable&) = delete;

  const Map& entries() const { return _entries; }
  Map::const_iterator begin() const { return _entries.begin(); }
  Map::const_iterator end() const { return _entries.end(); }
  size_t size() const { return _entries.size(); }
  bool empty() const { return _entries.empty(); }

  // The name of the first range in map order that holds the codepoint, or none.
  const UnicodeString* blockForCodepoint(uint32_t codepoint) const {
    return _names[_index.payloadAt(codepoint)];
  }

 private:
  Map _entries;
  // Payload 0 is "no block"; payload k the k-th entry's name.
  std::vector<const UnicodeString*> _names;
  qnunicode::detail::IntervalIndex _index;
};
