#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace qnunicode::detail {

// Storage for many small runs of values (texts, lists of lines) that are handed out as pointers:
// runs are laid out back to back in blocks, and a block is never moved or reallocated, so a run
// stays where it is for the life of the arena. Only the memory written is touched.
template <typename T>
class BlockArena {
 public:
  explicit BlockArena(size_t blockSize) : _blockSize(blockSize) {}

  // Room for `count` contiguous values, uninitialised.
  T* allocate(size_t count) {
    if (count > _free) {
      const size_t size = std::max(_blockSize, count);
      _blocks.push_back(std::make_unique_for_overwrite<T[]>(size));
      _next = _blocks.back().get();
      _free = size;
    }
    T* run = _next;
    _next += count;
    _free -= count;
    return run;
  }

  // The values copied into a run of their own.
  template <typename Iterator>
  T* store(Iterator begin, Iterator end) {
    T* run = allocate(static_cast<size_t>(std::distance(begin, end)));
    std::copy(begin, end, run);
    return run;
  }

 private:
  size_t _blockSize;
  std::vector<std::unique_ptr<T[]>> _blocks;
  T* _next = nullptr;
  size_t _free = 0;
};

}  // namespace qnunicode::detail
