#pragma once

// A table of one 32-bit value per codepoint, compact and with a lookup of two loads. Internal to
// the library.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qnunicode::detail {

// 0x110000 values in 64-codepoint blocks, identical blocks stored once.
class CodepointTrie {
 public:
  static constexpr uint32_t kBlockShift = 6;
  static constexpr uint32_t kBlockSize = 1u << kBlockShift;

  CodepointTrie() = default;
  // From one value per codepoint 0 to 0x10FFFF.
  explicit CodepointTrie(const std::vector<uint32_t>& values);

  // 0 above 0x10FFFF.
  uint32_t get(uint32_t codepoint) const {
    if (codepoint > 0x10FFFF) return 0;
    return getBelowLimit(codepoint);
  }
  uint32_t getBelowLimit(uint32_t codepoint) const {
    return _values[(static_cast<uint32_t>(_blocks[codepoint >> kBlockShift]) << kBlockShift) +
                   (codepoint & (kBlockSize - 1))];
  }
  size_t memorySize() const {
    return _blocks.size() * sizeof(uint16_t) + _values.size() * sizeof(uint32_t);
  }

 private:
  // Per block of 64 codepoints, the number of its stored block (at most 0x4400 of them).
  std::vector<uint16_t> _blocks;
  std::vector<uint32_t> _values;
};

}  // namespace qnunicode::detail
