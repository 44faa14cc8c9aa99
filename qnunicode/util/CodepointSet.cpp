#include "qnunicode/util/CodepointSet.h"

#include <algorithm>

namespace qnunicode::detail {

void RangeSet::addRange(uint32_t first, uint32_t last) {
  if (last < first) return;
  // Fast path: appending at or after the end, as readers of sorted files do.
  if (_ranges.empty() || first > static_cast<uint64_t>(_ranges.back().last) + 1) {
    _ranges.push_back({first, last});
    return;
  }
  // The first range that ends at or after first - 1 (it may touch or overlap the new one).
  auto begin = std::lower_bound(
      _ranges.begin(), _ranges.end(), first,
      [](const Range& r, uint32_t v) { return static_cast<uint64_t>(r.last) + 1 < v; });
  auto end = begin;
  uint32_t mergedFirst = first, mergedLast = last;
  while (end != _ranges.end() && end->first <= static_cast<uint64_t>(last) + 1) {
    mergedFirst = std::min(mergedFirst, end->first);
    mergedLast = std::max(mergedLast, end->last);
    ++end;
  }
  if (begin == end) {
    _ranges.insert(begin, {first, last});
    return;
  }
  *begin = {mergedFirst, mergedLast};
  _ranges.erase(begin + 1, end);
}

void RangeSet::remove(uint32_t value) {
  auto it = std::lower_bound(_ranges.begin(), _ranges.end(), value,
                             [](const Range& r, uint32_t v) { return r.last < v; });
  if (it == _ranges.end() || it->first > value) return;
  if (it->first == value && it->last == value) {
    _ranges.erase(it);
  } else if (it->first == value) {
    ++it->first;
  } else if (it->last == value) {
    --it->last;
  } else {
    const Range tail{value + 1, it->last};
    it->last = value - 1;
    _ranges.insert(it + 1, tail);
  }
}

bool RangeSet::contains(uint32_t value) const {
  auto it = std::lower_bound(_ranges.begin(), _ranges.end(), value,
                             [](const Range& r, uint32_t v) { return r.last < v; });
  return it != _ranges.end() && it->first <= value;
}

uint64_t RangeSet::count() const {
  uint64_t total = 0;
  for (const Range& r : _ranges) total += static_cast<uint64_t>(r.last) - r.first + 1;
  return total;
}

}  // namespace qnunicode::detail
