#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace qnunicode::detail {

// A set of 32-bit numbers kept as sorted, disjoint, non-adjacent closed ranges. Membership is a
// binary search; adding ranges in ascending order (as the UCD files list them) is amortised O(1).
class RangeSet {
 public:
  struct Range {
    uint32_t first;
    uint32_t last;  // inclusive
    bool operator==(const Range&) const = default;
  };

  RangeSet() = default;
  RangeSet(std::initializer_list<uint32_t> values) {
    for (uint32_t value : values) add(value);
  }

  void add(uint32_t value) { addRange(value, value); }
  // Adds first..last inclusive; nothing when last < first.
  void addRange(uint32_t first, uint32_t last);
  void remove(uint32_t value);
  bool contains(uint32_t value) const;
  bool empty() const { return _ranges.empty(); }
  // The number of members.
  uint64_t count() const;
  const std::vector<Range>& ranges() const { return _ranges; }

  bool operator==(const RangeSet&) const = default;

 private:
  std::vector<Range> _ranges;
};

}  // namespace qnunicode::detail

// A set of codepoints (preserved characters of the escapes, characters to trim, the sets of the
// range property files).
class CodepointSet : public qnunicode::detail::RangeSet {
 public:
  using RangeSet::RangeSet;
};

// A set of non-negative codepoint indexes.
class CodepointIndexSet : public qnunicode::detail::RangeSet {
 public:
  using RangeSet::RangeSet;
};
