#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "qnunicode/properties/QNUnicodeIntervalIndex.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

// A map from property (or script, version, syllable type) name to the set of codepoints that
// have it, as read from PropList, DerivedCoreProperties, Scripts, DerivedAge and
// HangulSyllableType. The map's order is the sorted order of the names; every per-codepoint
// answer lists names in that order.
//
// Built once and then immutable. Construction cuts the codepoint space into intervals over which
// the set of matching names does not change, and records for each interval which combination of
// names holds there, so that a per-codepoint lookup is an interval lookup instead of a walk over
// every set. Names are answered by reference into the table.
class QNUnicodePropertyTable {
 public:
  using Map = std::map<UnicodeString, CodepointSet, std::less<>>;

  // The names whose sets hold one codepoint, in map order: how many, the first and the last
  // (none when the count is 0).
  struct Matches {
    size_t count = 0;
    const UnicodeString* first = nullptr;
    const UnicodeString* last = nullptr;
  };

  // The most name entries that building the interval index may go through (the sum over the
  // intervals of the names that hold there). The files of UCD 15.0.0 need at most some 26000
  // (DerivedCoreProperties); a hostile file with thousands of staggered overlapping sets would
  // need millions, and its table then answers by walking the sets instead.
  static constexpr size_t kDefaultIndexBudget = size_t(1) << 20;

  QNUnicodePropertyTable() : QNUnicodePropertyTable(Map{}) {}
  explicit QNUnicodePropertyTable(Map sets, size_t indexBudget = kDefaultIndexBudget);
  // Lookups refer into the map, so the table stays where it was built.
  QNUnicodePropertyTable(const QNUnicodePropertyTable&) = delete;
  QNUnicodePropertyTable& operator=(const QNUnicodePropertyTable&) = delete;

  const Map& sets() const { return _sets; }
  Map::const_iterator begin() const { return _sets.begin(); }
  Map::const_iterator end() const { return _sets.end(); }
  size_t size() const { return _sets.size(); }
  bool empty() const { return _sets.empty(); }
  // The set under a name, or none.
  const CodepointSet* setNamed(std::u16string_view name) const;

  Matches matchesForCodepoint(uint32_t codepoint) const {
    if (_isIndexed) return _combinations[_index.payloadAt(codepoint)];
    return walkedMatches(codepoint);
  }
  // True when the named set holds the codepoint.
  bool codepointHasProperty(uint32_t codepoint, std::u16string_view name) const;
  // Every name whose set holds the codepoint, in map order.
  std::vector<UnicodeString> namesForCodepoint(uint32_t codepoint) const;

  // False when the index would have exceeded its budget and lookups walk the sets.
  bool isIndexed() const { return _isIndexed; }
  size_t intervalCount() const { return _index.intervalCount(); }
  size_t combinationCount() const { return _combinations.size(); }

 private:
  void buildIndex(size_t budget);
  Matches walkedMatches(uint32_t codepoint) const;

  Map _sets;
  // Name -> set by open addressing on a hash of the name's length and three of its units, so a
  // membership test by name costs one or two probes and one comparison, not a walk down the map.
  struct NameSlot {
    const UnicodeString* name = nullptr;
    const CodepointSet* set = nullptr;
  };
  static size_t nameHash(std::u16string_view name);
  std::vector<NameSlot> _setsByName;
  // The map's names and sets, in map order.
  std::vector<const UnicodeString*> _names;
  std::vector<const CodepointSet*> _setsInOrder;
  // Combination k holds the names _names[_combinationNames[i]] for i from
  // _combinationOffsets[k] to _combinationOffsets[k + 1]; combination 0 is the empty one.
  std::vector<Matches> _combinations;
  std::vector<uint32_t> _combinationOffsets;
  std::vector<uint32_t> _combinationNames;
  // Interval -> combination.
  qnunicode::detail::IntervalIndex _index;
  bool _isIndexed = false;
};
