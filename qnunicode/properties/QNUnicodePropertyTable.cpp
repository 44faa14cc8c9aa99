#include "qnunicode/properties/QNUnicodePropertyTable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>

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

void QNUnicodePropertyTable::buildIndex(size_t budget) {
  // Every set's ranges become a start event and (unless they run to the top) a stop event just
  // after their end; between two event positions the names that hold do not change.
  struct Event {
    uint32_t position;
    uint32_t name;
    bool isStart;
  };
  std::vector<Event> events;
  for (uint32_t name = 0; name < _setsInOrder.size(); ++name) {
    for (const CodepointSet::Range& range : _setsInOrder[name]->ranges()) {
      events.push_back({range.first, name, true});
      if (range.last != std::numeric_limits<uint32_t>::max()) {
        events.push_back({range.last + 1, name, false});
      }
    }
  }
  // A set's ranges neither touch nor overlap, so one name never starts and stops at one position.
  std::sort(events.begin(), events.end(),
            [](const Event& a, const Event& b) { return a.position < b.position; });

  _combinations.assign(1, Matches{});
  _combinationOffsets.assign({0, 0});
  _combinationNames.clear();
  std::map<std::vector<uint32_t>, uint32_t> numbers{{{}, 0}};
  std::vector<uint32_t> starts{0}, payloads{0};
  std::set<uint32_t> active;  // name numbers ascend in map order
  std::vector<uint32_t> names;
  size_t work = 0;
  for (size_t i = 0; i < events.size();) {
    const uint32_t position = events[i].position;
    for (; i < events.size() && events[i].position == position; ++i) {
      if (events[i].isStart) {
        active.insert(events[i].name);
      } else {
        active.erase(events[i].name);
      }
    }
    names.assign(active.begin(), active.end());
    work += names.size() + 1;
    if (work > budget) {
      _combinations.assign(1, Matches{});
      _combinationOffsets.assign({0, 0});
      _combinationNames.clear();
      _index = qnunicode::detail::IntervalIndex();
      _isIndexed = false;
      return;
    }
    const auto [found, isNew] = numbers.try_emplace(names, static_cast<uint32_t>(numbers.size()));
    if (isNew) {
      _combinationNames.insert(_combinationNames.end(), names.begin(), names.end());
      _combinationOffsets.push_back(static_cast<uint32_t>(_combinationNames.size()));
      Matches matches;
      matches.count = names.size();
      if (!names.empty()) {
        matches.first = _names[names.front()];
        matches.last = _names[names.back()];
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
