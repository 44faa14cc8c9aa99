#include "qnunicode/properties/QNUnicodeIntervalIndex.h"

#include "qnunicode/util/QNExceptions.h"

namespace qnunicode::detail {

IntervalIndex::IntervalIndex() : _starts{0}, _payloads{0} {
  buildPages();
}

IntervalIndex::IntervalIndex(const std::vector<uint32_t>& starts,
                             const std::vector<uint32_t>& payloads) {
  if (starts.empty() || starts.size() != payloads.size() || starts.front() != 0) {
    throw QNInternalInconsistencyException("interval index needs one payload per start, from 0");
  }
  _starts.reserve(starts.size());
  _payloads.reserve(payloads.size());
  for (size_t i = 0; i < starts.size(); ++i) {
    if (i > 0 && starts[i] <= starts[i - 1]) {
      throw QNInternalInconsistencyException("interval index starts must ascend strictly");
    }
    if (!_payloads.empty() && _payloads.back() == payloads[i]) continue;
    _starts.push_back(starts[i]);
    _payloads.push_back(payloads[i]);
  }
  buildPages();
}

void IntervalIndex::buildPages() {
  const size_t pages = kPagedLimit >> kPageShift;
  _pageFirst.assign(pages + 1, 0);
  size_t interval = 0;
  for (size_t page = 0; page <= pages; ++page) {
    const uint64_t pageStart = static_cast<uint64_t>(page) << kPageShift;
    while (interval + 1 < _starts.size() && _starts[interval + 1] <= pageStart) ++interval;
    _pageFirst[page] = static_cast<uint32_t>(interval);
  }
}

uint32_t IntervalIndex::intervalStartOf(uint32_t value) const {
  const auto after = std::upper_bound(_starts.begin(), _starts.end(), value);
  return *(after - 1);
}

}  // namespace qnunicode::detail
