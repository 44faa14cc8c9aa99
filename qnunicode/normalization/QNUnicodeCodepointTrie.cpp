#include "qnunicode/normalization/QNUnicodeCodepointTrie.h"

#include <algorithm>
#include <unordered_map>

namespace qnunicode::detail {

namespace {

constexpr uint32_t kCodepointCount = 0x110000;

}  // namespace

CodepointTrie::CodepointTrie(const std::vector<uint32_t>& values) {
  const uint32_t blockCount = kCodepointCount >> kBlockShift;
  _blocks.resize(blockCount);
  // Blocks by a hash of their values, each hash listing the offsets of the blocks stored so far.
  std::unordered_multimap<uint64_t, uint32_t> stored;
  for (uint32_t block = 0; block < blockCount; ++block) {
    const uint32_t* first = values.data() + (block << kBlockShift);
    uint64_t hash = 14695981039346656037ull;
    for (uint32_t i = 0; i < kBlockSize; ++i) hash = (hash ^ first[i]) * 1099511628211ull;
    uint32_t offset = UINT32_MAX;
    const auto [from, to] = stored.equal_range(hash);
    for (auto candidate = from; candidate != to; ++candidate) {
      if (std::equal(first, first + kBlockSize, _values.data() + candidate->second)) {
        offset = candidate->second;
        break;
      }
    }
    if (offset == UINT32_MAX) {
      offset = static_cast<uint32_t>(_values.size());
      _values.insert(_values.end(), first, first + kBlockSize);
      stored.emplace(hash, offset);
    }
    _blocks[block] = static_cast<uint16_t>(offset >> kBlockShift);
  }
}

}  // namespace qnunicode::detail
