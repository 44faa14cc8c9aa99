#include "qnunicode/normalization/QNUnicodeCanonicalOrdering.h"

#include <algorithm>
#include <climits>
#include <cstddef>

namespace qnunicode::detail {

namespace {

using Element = NormalizationElement;

// Runs of non-starters up to this length are ordered by insertion; longer ones by merging.
constexpr size_t kInsertionRunLength = 16;

// Stable insertion sort by class; answers the number of adjacent swaps an exchange sort makes.
uint64_t insertionSort(Element* run, size_t length) {
  uint64_t swaps = 0;
  for (size_t i = 1; i < length; ++i) {
    const Element element = run[i];
    size_t j = i;
    while (j > 0 && run[j - 1].combiningClass > element.combiningClass) {
      run[j] = run[j - 1];
      --j;
    }
    swaps += i - j;
    run[j] = element;
  }
  return swaps;
}

// Stable sort of one run of non-starters. The exchange sort moves each element left past every
// earlier element of a higher class, so its swaps are the run's inversions: counted here while
// merging, in O(n log n) for runs of any length.
uint64_t sortRun(Element* run, size_t length, std::vector<Element>& scratch) {
  if (length <= kInsertionRunLength) return insertionSort(run, length);
  uint64_t swaps = 0;
  for (size_t start = 0; start < length; start += kInsertionRunLength) {
    swaps += insertionSort(run + start, std::min(kInsertionRunLength, length - start));
  }
  scratch.resize(length);
  Element* from = run;
  Element* to = scratch.data();
  for (size_t width = kInsertionRunLength; width < length; width *= 2) {
    for (size_t left = 0; left < length; left += 2 * width) {
      const size_t middle = std::min(left + width, length);
      const size_t right = std::min(left + 2 * width, length);
      size_t i = left, j = middle, k = left;
      while (i < middle && j < right) {
        if (from[j].combiningClass < from[i].combiningClass) {
          swaps += middle - i;
          to[k++] = from[j++];
        } else {
          to[k++] = from[i++];
        }
      }
      while (i < middle) to[k++] = from[i++];
      while (j < right) to[k++] = from[j++];
    }
    std::swap(from, to);
  }
  if (from != run) std::copy(from, from + length, run);
  return swaps;
}

// The canonical ordering where classes can read as negative (a malformed UnicodeData): an
// exchange sort over the whole list in which a starter never starts a move, so that a negative
// class can pass starters and the runs above do not describe the result. The exchange sort moves
// each element that is not a starter left past the neighbours before it of a higher class, and
// what it passes stays in order among itself; so each element is placed right after the nearest
// element before it of a class not higher than its own, and the swaps are the elements passed.
// The list is kept in blocks, each with its lowest class, so that the search skips whole blocks
// and long lists take O(n sqrt n) instead of the exchange sort's O(n^2).
uint64_t orderWithNegativeClasses(std::vector<Element>& list) {
  constexpr size_t kBlockLength = 256;
  struct Block {
    std::vector<Element> elements;
    int32_t lowest = INT32_MAX;
  };
  std::vector<Block> blocks;
  uint64_t swaps = 0;
  const auto lowestOf = [](const std::vector<Element>& elements) {
    int32_t lowest = INT32_MAX;
    for (const Element& element : elements) lowest = std::min(lowest, element.combiningClass);
    return lowest;
  };
  for (const Element& element : list) {
    if (blocks.empty() || blocks.back().elements.size() >= kBlockLength) blocks.emplace_back();
    size_t block = blocks.size() - 1;
    size_t insertAt = blocks[block].elements.size();
    if (element.combiningClass != 0) {
      // Leftwards over every block whose lowest class is higher, then within the block that
      // holds the stopping element.
      for (;;) {
        std::vector<Element>& elements = blocks[block].elements;
        if (blocks[block].lowest > element.combiningClass) {
          swaps += insertAt;
          if (block == 0) {
            insertAt = 0;
            break;
          }
          --block;
          insertAt = blocks[block].elements.size();
          continue;
        }
        while (insertAt > 0 && elements[insertAt - 1].combiningClass > element.combiningClass) {
          --insertAt;
          ++swaps;
        }
        break;
      }
    }
    std::vector<Element>& target = blocks[block].elements;
    target.insert(target.begin() + static_cast<ptrdiff_t>(insertAt), element);
    blocks[block].lowest = std::min(blocks[block].lowest, element.combiningClass);
    if (target.size() > 2 * kBlockLength) {
      // Split a block that has grown, so that inserting stays cheap.
      Block second;
      second.elements.assign(target.begin() + kBlockLength, target.end());
      target.resize(kBlockLength);
      blocks[block].lowest = lowestOf(target);
      second.lowest = lowestOf(second.elements);
      blocks.insert(blocks.begin() + static_cast<ptrdiff_t>(block) + 1, std::move(second));
    }
  }
  size_t written = 0;
  for (const Block& block : blocks) {
    std::copy(block.elements.begin(), block.elements.end(), list.begin() + written);
    written += block.elements.size();
  }
  return swaps;
}

}  // namespace

uint64_t orderCanonically(std::vector<Element>& list, std::vector<Element>& scratch,
                          bool hasNegativeClasses) {
  if (list.size() < 2) return 0;
  if (hasNegativeClasses) return orderWithNegativeClasses(list);
  uint64_t swaps = 0;
  Element* elements = list.data();
  const size_t length = list.size();
  size_t i = 0;
  while (i < length) {
    if (elements[i].combiningClass == 0) {
      ++i;
      continue;
    }
    size_t end = i + 1;
    while (end < length && elements[end].combiningClass != 0) ++end;
    if (end - i > 1) swaps += sortRun(elements + i, end - i, scratch);
    i = end;
  }
  return swaps;
}

}  // namespace qnunicode::detail
