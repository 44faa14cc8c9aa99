#include "qnunicode/properties/QNUnicodePropertyTable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <utility>

QNUnicodePropertyTable::QNUnicodePropertyTable(Map sets, size_t indexBudget)
    : _sets(std::move(sets)) {
  _names.reserve(_sets.size());
  _setsInOrder.reserve(_sets.size());
  for (const auto& [name, set] : _sets) {
    _names.push_back(&name);
    _setsInOrder.push_back(&set);
  }
  // At most a quarter full, so probe chains stay short.
  size_t slots = 8;
  while (slots < _sets.size() * 4) slots *= 2;
  _setsByName.resize(slots);
  for (const auto& [name, set] : _sets) {
    size_t slot = nameHash(name) & (slots - 1);
    while (_setsByName[slot].name) slot = (slot + 1) & (slots - 1);
    _setsByName[slot] = {&name, &set};
  }
  buildIndex(indexBudget);
}

namespace {

struct NamesHash {
  size_t operator()(const std::vector<uint32_t>& names) const {
    uint64_t hash = 0x9E3779B97F4A7C15ull ^ names.size();
    for (uint32_t name : names) hash = (hash ^ name) * 0x100000001B3ull;
    return static_cast<size_t>(hash ^ (hash >> 29));
  }
};

// Sorts events by their position (the high 32 bits), least significant digit first in three
// passes of 11 bits; a pass whose digit is the same for every event is left out. The order of
// events at one position does not matter.
void sortByPosition(std::vector<uint64_t>& events) {
  constexpr unsigned kDigitBits = 11;
  constexpr size_t kBuckets = size_t(1) << kDigitBits;
  std::vector<uint64_t> sorted(events.size());
  std::vector<size_t> counts(kBuckets);
  for (unsigned shift = 32; shift < 64; shift += kDigitBits) {
    std::fill(counts.begin(), counts.end(), 0);
    for (uint64_t event : events) ++counts[(event >> shift) & (kBuckets - 1)];
    if (std::find(counts.begin(), counts.end(), events.size()) != counts.end()) continue;
    size_t offset = 0;
    for (size_t& count : counts) offset += std::exchange(count, offset);
    for (uint64_t event : events) sorted[counts[(event >> shift) & (kBuckets - 1)]++] = event;
    events.swap(sorted);
  }
}

}  // namespace

void QNUnicodePropertyTable::buildIndex(size_t budget) {
  // Every set's ranges become a start event and (unless they run to the top) a stop event just
  // after their end; between two event positions the names that hold do not change. An event is
  // one number: its position in the high 32 bits, then the name number and whether it starts.
  std::vector<uint64_t> events;
  size_t rangeCount = 0;
  for (const CodepointSet* set : _setsInOrder) rangeCount += set->ranges().size();
  events.reserve(rangeCount * 2);
  for (uint32_t name = 0; name < _setsInOrder.size(); ++name) {
    for (const CodepointSet::Range& range : _setsInOrder[name]->ranges()) {
      events.push_back(uint64_t(range.first) << 32 | uint64_t(name) << 1 | 1);
      if (range.last != std::numeric_limits<uint32_t>::max()) {
        events.push_back(uint64_t(range.last + 1) << 32 | uint64_t(name) << 1);
      }
    }
  }
  // A set's ranges neither touch nor overlap, so one name never starts and stops at one position.
  sortByPosition(events);

  _combinations.assign(1, Matches{});
  _combinationOffsets.assign({0, 0});
  _combinationNames.clear();
  std::unordered_map<std::vector<uint32_t>, uint32_t, NamesHash> numbers{{{}, 0}};
  std::vector<uint32_t> starts{0}, payloads{0};
  // The names that hold, ascending (name numbers ascend in map order).
  std::vector<uint32_t> active;
  size_t work = 0;
  for (size_t i = 0; i < events.size();) {
    const uint32_t position = static_cast<uint32_t>(events[i] >> 32);
    for (; i < events.size() && static_cast<uint32_t>(events[i] >> 32) == position; ++i) {
      const uint32_t name = static_cast<uint32_t>(events[i]) >> 1;
      const auto place = std::lower_bound(active.begin(), active.end(), name);
      if (events[i] & 1) {
        active.insert(place, name);
      } else {
        active.erase(place);
      }
    }
    work += active.size() + 1;
    if (work > budget) {
      _combinations.assign(1, Matches{});
      _combinationOffsets.assign({0, 0});
      _combinationNames.clear();
      _index = qnunicode::detail::IntervalIndex();
      _isIndexed = false;
      return;
    }
    auto found = numbers.find(active);
    if (found == numbers.end()) {
      found = numbers.emplace(active, static_cast<uint32_t>(numbers.size())).first;
      _combinationNames.insert(_combinationNames.end(), active.begin(), active.end());
      _combinationOffsets.push_back(static_cast<uint32_t>(_combinationNames.size()));
      Matches matches;
      matches.count = active.size();
      if (!active.empty()) {
        matches.first = _names[active.front()];
        matches.last = _names[active.back()];
      }
      _combinations.push_back(matches);
    }
    if (position == 0) {
      payloads[0] = found->second;
    } else {
      starts.push_back(position);
      payloads.push_back(found->second);
    }
  }
  _index = qnunicode::detail::IntervalIndex(starts, payloads);
  _isIndexed = true;
}

QNUnicodePropertyTable::Matches QNUnicodePropertyTable::walkedMatches(uint32_t codepoint) const {
  Matches matches;
  for (size_t name = 0; name < _setsInOrder.size(); ++name) {
    if (!_setsInOrder[name]->contains(codepoint)) continue;
    if (matches.count++ == 0) matches.first = _names[name];
    matches.last = _names[name];
  }
  return matches;
}

size_t QNUnicodePropertyTable::nameHash(std::u16string_view name) {
  if (name.empty()) return 0;
  size_t hash = name.size() * 0x9E3779B1u;
  hash ^= name.front() * 0x85EBCA77u;
  hash ^= name[name.size() / 2] * 0xC2B2AE3Du;
  hash ^= name.back() * 0x27D4EB2Fu;
  return hash ^ (hash >> 15);
}

const CodepointSet* QNUnicodePropertyTable::setNamed(std::u16string_view name) const {
  const size_t mask = _setsByName.size() - 1;
  for (size_t slot = nameHash(name) & mask; _setsByName[slot].name; slot = (slot + 1) & mask) {
    const UnicodeString& candidate = *_setsByName[slot].name;
    if (candidate.size() == name.size() &&
        std::memcmp(candidate.data(), name.data(), name.size() * sizeof(char16_t)) == 0) {
      return _setsByName[slot].set;
    }
  }
  return nullptr;
}

bool QNUnicodePropertyTable::codepointHasProperty(uint32_t codepoint,
                                                  std::u16string_view name) const {
  const CodepointSet* set = setNamed(name);
  return set && set->contains(codepoint);
}

std::vector<UnicodeString> QNUnicodePropertyTable::namesForCodepoint(uint32_t codepoint) const {
  std::vector<UnicodeString> result;
  if (_isIndexed) {
    const uint32_t combination = _index.payloadAt(codepoint);
    const uint32_t begin = _combinationOffsets[combination];
    const uint32_t end = _combinationOffsets[combination + 1];
    result.reserve(end - begin);
    for (uint32_t i = begin; i < end; ++i) result.push_back(*_names[_combinationNames[i]]);
    return result;
  }
  for (size_t name = 0; name < _setsInOrder.size(); ++name) {
    if (_setsInOrder[name]->contains(codepoint)) result.push_back(*_names[name]);
  }
  return result;
}
