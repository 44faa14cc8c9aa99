#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qnunicode::detail {

// Maps every unsigned 32-bit number to a payload through contiguous intervals that cover
// 0..0xFFFFFFFF. A page table over the codepoint space narrows a lookup to the intervals that
// meet one page of 128 codepoints, so most lookups are two table reads, and pages where the
// payload changes cost a short binary search. Values above 0x10FFFF search the intervals beyond.
class IntervalIndex {
 public:
  // One interval with payload 0.
  IntervalIndex();
  // starts: strictly ascending, the first one 0; payloads: one per start. Neighbouring
  // intervals with equal payloads are merged.
  IntervalIndex(const std::vector<uint32_t>& starts, const std::vector<uint32_t>& payloads);

  uint32_t payloadAt(uint32_t value) const {
    size_t low, high;
    if (value < kPagedLimit) {
      const size_t page = value >> kPageShift;
      low = _pageFirst[page];
      high = _pageFirst[page + 1];
    } else {
      low = _pageFirst.back();
      high = _starts.size() - 1;
    }
    if (low != high) {
      // The last interval of low..high that starts at or before value.
      const auto after =
          std::upper_bound(_starts.begin() + low + 1, _starts.begin() + high + 1, value);
      low = static_cast<size_t>(after - _starts.begin()) - 1;
    }
    return _payloads[low];
  }

  size_t intervalCount() const { return _starts.size(); }
  // Interval i runs from its start to the next interval's start (the last one to 0xFFFFFFFF).
  uint32_t intervalStart(size_t i) const { return _starts[i]; }
  uint32_t intervalPayload(size_t i) const { return _payloads[i]; }
  // The start of the interval that holds the value (for tests and dumps).
  uint32_t intervalStartOf(uint32_t value) const;

 private:
  static constexpr unsigned kPageShift = 7;
  static constexpr uint32_t kPagedLimit = 0x110000;

  void buildPages();

  std::vector<uint32_t> _starts;
  std::vector<uint32_t> _payloads;
  // _pageFirst[p]: the interval that holds p << kPageShift; the last entry: the one that holds
  // kPagedLimit.
  std::vector<uint32_t> _pageFirst;
};

}  // namespace qnunicode::detail
