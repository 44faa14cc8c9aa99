#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeHangulConstants.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"

// The hot helpers of the normalization loop are always inlined into it.
#define QN_HOT_INLINE __attribute__((always_inline)) inline

namespace qnunicode::detail {

namespace {

constexpr uint32_t kCodepointCount = 0x110000;
constexpr uint32_t kBMPCount = 0x10000;
// Limits that only a malformed UnicodeData reaches (the longest real decomposition has 18
// codepoints and 4 levels): a decomposition longer than this, a chain of mappings deeper than
// this, or a mapping that leads back to itself leaves the codepoint where the limit is reached
// undecomposed, instead of growing without end.
constexpr size_t kMaximumDecompositionLength = 256;
constexpr int kMaximumDecompositionDepth = 32;
constexpr uint64_t kMaximumDecompositionCount = 0xFFFF;
// Runs of non-starters up to this length are ordered by insertion; longer ones by merging.
constexpr size_t kInsertionRunLength = 16;

using Element = NormalizationElement;

// The position of the first unit at or after `position` that is not below `threshold` (at most
// 0xD800, so that no surrogate is passed over), or `length`.
QN_HOT_INLINE size_t skipUnitsBelow(const char16_t* units, size_t position, size_t length,
                                    char16_t threshold) {
#if defined(__SSE2__)
  // Eight units at a time; the bias turns the signed comparison into an unsigned one.
  const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
  const __m128i limit = _mm_set1_epi16(static_cast<short>(threshold ^ 0x8000));
  while (position + 8 <= length) {
    const __m128i chunk =
        _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(units + position)), bias);
    const unsigned below = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi16(chunk, limit)));
    if (below != 0xFFFF) return position + (__builtin_ctz(~below) >> 1);
    position += 8;
  }
#endif
  while (position < length && units[position] < threshold) ++position;
  return position;
}

struct Decoded {
  uint32_t codepoint;
  size_t next;
};

// One step of the codepoint walk at `index`, with the offset where the walk goes on.
QN_HOT_INLINE Decoded decodeAt(const char16_t* units, size_t length, size_t index) {
  const UTF16Codepoint step = codepointWalkStep(units, length, index);
  return {step.codepoint, index + step.length};
}

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

// The Hangul pass over a piece. Only a vowel or a trailing value can combine with the element
// before it, so the pass starts at the first of those.
uint64_t hangulPass(std::vector<Element>& list) {
  size_t i = 1;
  while (i < list.size() && !hangul::combinesWithPrevious(list[i].codepoint)) ++i;
  if (i >= list.size()) return 0;
  uint64_t count = 0;
  size_t written = i;
  for (; i < list.size(); ++i) {
    uint32_t combined;
    if (hangul::combine(list[written - 1].codepoint, list[i].codepoint, &combined)) {
      list[written - 1].codepoint = combined;
      ++count;
    } else {
      list[written++] = list[i];
    }
  }
  list.resize(written);
  return count;
}

// Appends to the result: runs of units directly, single codepoints through a small buffer.
class UTF16Sink {
 public:
  UTF16Sink(UnicodeString& text, size_t expected) : _text(text) { _text.reserve(expected); }
  ~UTF16Sink() { flush(); }
  UTF16Sink(const UTF16Sink&) = delete;
  UTF16Sink& operator=(const UTF16Sink&) = delete;

  QN_HOT_INLINE void appendUnits(const char16_t* units, size_t length) {
    if (length <= kBufferSize - _buffered) {
      for (size_t i = 0; i < length; ++i) _buffer[_buffered + i] = units[i];
      _buffered += length;
      return;
    }
    flush();
    _text.append(units, length);
  }
  // Only right after appendUnits of at least one unit.
  void removeLastUnit() {
    if (_buffered > 0) {
      --_buffered;
    } else {
      _text.pop_back();
    }
  }
  QN_HOT_INLINE void appendCodepoint(uint32_t codepoint) {
    if (_buffered + 2 > kBufferSize) flush();
    write(codepoint);
  }
  void appendElements(const Element* elements, size_t length) {
    if (length > kBufferSize / 2) {
      for (size_t i = 0; i < length; ++i) appendCodepoint(elements[i].codepoint);
      return;
    }
    if (_buffered + 2 * length > kBufferSize) flush();
    for (size_t i = 0; i < length; ++i) write(elements[i].codepoint);
  }

 private:
  static constexpr size_t kBufferSize = 256;

  void flush() {
    _text.append(_buffer, _buffered);
    _buffered = 0;
  }
  QN_HOT_INLINE void write(uint32_t codepoint) {
    // Values above 0x10FFFF (only from a malformed mapping) lose their excess bits.
    _buffered = static_cast<size_t>(writeUTF16(_buffer + _buffered, codepoint) - _buffer);
  }

  UnicodeString& _text;
  char16_t _buffer[kBufferSize];
  size_t _buffered = 0;
};

struct CodepointSink {
  std::vector<uint32_t>& codepoints;

  // Only called with units that are codepoints of their own (no surrogates).
  void appendUnits(const char16_t* units, size_t length) {
    codepoints.insert(codepoints.end(), units, units + length);
  }
  void removeLastUnit() { codepoints.pop_back(); }
  void appendCodepoint(uint32_t codepoint) { codepoints.push_back(codepoint); }
  void appendElements(const Element* elements, size_t length) {
    for (size_t i = 0; i < length; ++i) codepoints.push_back(elements[i].codepoint);
  }
};

}  // namespace

// ---- The trie ------------------------------------------------------------------------------

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

// ---- Building ------------------------------------------------------------------------------

class NormalizationTablesBuilder {
 public:
  using Info = NormalizationTables::Info;
  using Tables = NormalizationTables;

  explicit NormalizationTablesBuilder(NormalizationTables& tables) : _tables(tables) {}

  // The decomposition part from the records (none: no codepoint has a record).
  void buildDecomposition(QNUnicodeDatabase* database) {
    _classes.assign(kCodepointCount, 0);
    if (database) {
      // In file order, a later record of a codepoint replacing an earlier one, as in the index.
      database->visitUnicodeDataInFileOrder(
          [this](uint32_t codepoint, const QNUnicodeData& record) {
            if (codepoint >= kCodepointCount) return;
            _classes[codepoint] = static_cast<int32_t>(record.canonicalCombiningClass());
            const std::optional<std::span<const uint32_t>> mapping =
                record.characterDecompositionMappingArray();
            if (mapping) {
              _mappings[codepoint] = {std::vector<uint32_t>(mapping->begin(), mapping->end()),
                                      record.compatibilityMapping()};
            } else {
              _mappings.erase(codepoint);
            }
          });
    }
    for (int32_t combiningClass : _classes) {
      if (combiningClass < 0) _tables._hasNegativeClasses = true;
    }
    _hasMapping.assign(kCodepointCount, false);
    for (const auto& entry : _mappings) _hasMapping[entry.first] = true;

    // Plain syllables and simple codepoints live in the trie alone; the others get an Info.
    _tables._infos.assign(1, Info{});
    std::vector<uint32_t> values(kCodepointCount, Tables::kSimpleBit);
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      if (isPlainSyllable(codepoint)) {
        values[codepoint] = Tables::kHangulBit;
        continue;
      }
      const int32_t combiningClass = _classes[codepoint];
      if (combiningClass == 0 && !_hasMapping[codepoint] &&
          !hangul::decomposeSyllable(codepoint, _jamo)) {
        continue;
      }
      Info info;
      info.combiningClass = combiningClass;
      const Expansion* expansions[2] = {expand(codepoint, 0, 0), expand(codepoint, 1, 0)};
      for (uint32_t mode = 0; mode < 2; ++mode) {
        if (!expansions[mode]) continue;
        info.decomposes |= 1 << mode;
        info.decompositionCount[mode] = static_cast<uint16_t>(expansions[mode]->count);
        info.decompositionLength[mode] = static_cast<uint16_t>(expansions[mode]->elements.size());
        // Most compatibility decompositions are the canonical ones; those share their elements.
        info.decompositionOffset[mode] =
            mode == 1 && expansions[0] && expansions[0]->elements == expansions[1]->elements
                ? info.decompositionOffset[0]
                : addElements(expansions[mode]->elements);
      }
      if (!info.decomposes && combiningClass >= 0 && combiningClass <= 0xFF) {
        values[codepoint] =
            Tables::kSimpleBit | (static_cast<uint32_t>(combiningClass) << Tables::kPayloadShift);
        continue;
      }
      values[codepoint] = static_cast<uint32_t>(_tables._infos.size()) << Tables::kPayloadShift;
      _tables._infos.push_back(info);
    }

    // Boundaries, inert codepoints and single results of the decomposing forms.
    std::vector<Element> work, scratch;
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      if (_tables._hasNegativeClasses) break;
      uint32_t& value = values[codepoint];
      if (value & Tables::kHangulBit) {
        // Leading consonant first: a cut in both decomposing forms.
        value |= (Tables::kBoundaryBit << Tables::FormD) | (Tables::kBoundaryBit << Tables::FormKD);
        continue;
      }
      if (value & Tables::kSimpleBit) {
        if (simpleClass(value) == 0) {
          for (uint32_t form = Tables::FormD; form <= Tables::FormKD; ++form) {
            value |= (Tables::kInertBit | Tables::kBoundaryBit) << form;
          }
        }
        continue;
      }
      Info& info = infoAt(value);
      for (uint32_t form = Tables::FormD; form <= Tables::FormKD; ++form) {
        const uint32_t mode = form;
        const bool inert = !(info.decomposes & (1 << mode)) && info.combiningClass == 0;
        const bool boundary = startsWithStarter(info, mode);
        if (inert) value |= Tables::kInertBit << form;
        if (boundary) value |= Tables::kBoundaryBit << form;
        if (boundary && !inert) {
          // Every Info belongs to one codepoint. A decomposition that is already in order is
          // its own result.
          work.assign(decompositionBegin(info, mode),
                      decompositionBegin(info, mode) + info.decompositionLength[mode]);
          const uint64_t swaps = orderCanonically(work, scratch, false);
          setSingle(info, form, work, swaps, 0, codepoint);
        }
      }
    }
    _tables.rebuildTrie(values);
  }

  // The composition part: the pair map without the excluded composites, and the boundaries,
  // inert codepoints and single results of the composing forms.
  void buildComposition(const QNUnicodeMappingDictionary* pairMap,
                        const std::vector<uint32_t>* exclusions) {
    std::unordered_set<uint32_t> excluded;
    if (exclusions) excluded.insert(exclusions->begin(), exclusions->end());
    std::vector<bool> isSecond(kCodepointCount, false);
    std::vector<uint64_t> pairs;
    bool jamoInPairs = false;
    if (pairMap) {
      for (const auto& [first, seconds] : *pairMap) {
        for (const auto& [second, composite] : seconds) {
          if (excluded.count(composite)) continue;
          if (second < kCodepointCount) isSecond[second] = true;
          jamoInPairs = jamoInPairs || isJamo(first) || isJamo(second);
          if (first < kCodepointCount && second < kCodepointCount && composite < kCodepointCount) {
            pairs.push_back((static_cast<uint64_t>(first) << 42) |
                            (static_cast<uint64_t>(second) << 21) | composite);
          } else {
            _tables._widePairs[(static_cast<uint64_t>(first) << 32) | second] = composite;
          }
        }
      }
    }
    fillPairSlots(pairs);
    _tables._jamoComposeAlone = !jamoInPairs;
    const auto combinesWithPrevious = [&](uint32_t codepoint) {
      return codepoint >= kCodepointCount || isSecond[codepoint] ||
             hangul::combinesWithPrevious(codepoint);
    };

    std::vector<uint32_t> values(kCodepointCount);
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      values[codepoint] = _tables._trie.get(codepoint);
    }
    NormalizationCounts counts;
    std::vector<Element> work, scratch;
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      if (_tables._hasNegativeClasses) break;
      uint32_t& value = values[codepoint];
      if (value & Tables::kHangulBit) {
        // Its jamo compose back by the Hangul pass alone, unless a pair of the map takes part.
        if (!jamoInPairs) {
          value |=
              (Tables::kBoundaryBit << Tables::FormC) | (Tables::kBoundaryBit << Tables::FormKC);
        }
        continue;
      }
      if (value & Tables::kSimpleBit) {
        // A simple starter is a cut and stays as it is unless it composes with what precedes.
        if (simpleClass(value) == 0 && !combinesWithPrevious(codepoint)) {
          for (uint32_t form = Tables::FormC; form <= Tables::FormKC; ++form) {
            value |= (Tables::kInertBit | Tables::kBoundaryBit) << form;
          }
        }
        continue;
      }
      Info& info = infoAt(value);
      for (uint32_t form = Tables::FormC; form <= Tables::FormKC; ++form) {
        const uint32_t mode = form & 1;
        const bool inert =
            (value & (Tables::kInertBit << mode)) && !combinesWithPrevious(codepoint);
        bool boundary = startsWithStarter(info, mode);
        if (boundary) {
          const uint32_t first = (info.decomposes & (1 << mode))
                                     ? decompositionBegin(info, mode)->codepoint
                                     : codepoint;
          boundary = !combinesWithPrevious(first);
        }
        if (inert) value |= Tables::kInertBit << form;
        if (!boundary) continue;
        value |= Tables::kBoundaryBit << form;
        if (inert) continue;
        work.clear();
        counts = NormalizationCounts{};
        _tables.appendDecomposition(codepoint, value, mode, work, counts);
        _tables.finishPiece(true, work, scratch, counts);
        setSingle(info, form, work, counts.reorderings, counts.compositionReplacements, codepoint);
      }
    }
    _tables.rebuildTrie(values);
    _tables._compositionPrepared = true;
  }

 private:
  struct Mapping {
    std::vector<uint32_t> codepoints;
    bool compatibility = false;
  };
  struct Expansion {
    bool done = false;
    bool inProgress = false;
    bool decomposes = false;
    uint32_t count = 0;
    std::vector<Element> elements;
  };

  static bool isJamo(uint64_t codepoint) { return codepoint >= 0x1100 && codepoint <= 0x11FF; }
  static uint32_t simpleClass(uint32_t value) { return (value >> Tables::kPayloadShift) & 0xFF; }

  Info& infoAt(uint32_t value) { return _tables._infos[value >> Tables::kPayloadShift]; }
  const Element* decompositionBegin(const Info& info, uint32_t mode) const {
    return _tables._elements.data() + info.decompositionOffset[mode];
  }

  int32_t classOf(uint32_t codepoint) const {
    return codepoint < kCodepointCount ? _classes[codepoint] : 0;
  }

  // The result of a codepoint as a piece of its own; short enough for 16 bits, since
  // decompositions are.
  void setSingle(Info& info, uint32_t form, const std::vector<Element>& result,
                 uint64_t reorderings, uint64_t compositions, uint32_t codepoint) {
    info.singleReorderings[form] = static_cast<uint16_t>(reorderings);
    info.singleCompositions[form] = static_cast<uint16_t>(compositions);
    if (result.size() == 1 && result[0].codepoint == codepoint) {
      info.singleIsSelf |= 1 << form;
      return;
    }
    info.singleLength[form] = static_cast<uint16_t>(result.size());
    const uint32_t mode = form & 1;
    const Element* decomposition = decompositionBegin(info, mode);
    info.singleOffset[form] = std::equal(result.begin(), result.end(), decomposition,
                                         decomposition + info.decompositionLength[mode])
                                  ? info.decompositionOffset[mode]
                                  : addElements(result);
  }

  // A syllable without a record mapping and of class 0 whose jamo are of class 0 and have no
  // mappings either: its decomposition in both modes is its jamo, one mapping applied.
  bool isPlainSyllable(uint32_t codepoint) {
    const size_t count = hangul::decomposeSyllable(codepoint, _jamo);
    if (count == 0 || _classes[codepoint] != 0 || _hasMapping[codepoint]) return false;
    for (size_t i = 0; i < count; ++i) {
      if (_classes[_jamo[i]] != 0 || _hasMapping[_jamo[i]]) return false;
    }
    return true;
  }

  // One level of mapping as the decomposition applies it: the record's mapping when it is
  // canonical or compatibility mappings are used, otherwise a Hangul syllable's jamo.
  std::optional<std::vector<uint32_t>> mappingOf(uint32_t codepoint, uint32_t mode) const {
    const auto found = _mappings.find(codepoint);
    if (found != _mappings.end() && (mode == 1 || !found->second.compatibility)) {
      return found->second.codepoints;
    }
    uint32_t jamo[3];
    const size_t count = hangul::decomposeSyllable(codepoint, jamo);
    if (count == 0) return std::nullopt;
    return std::vector<uint32_t>(jamo, jamo + count);
  }

  // The full decomposition, or none when the codepoint stays itself here.
  const Expansion* expand(uint32_t codepoint, uint32_t mode, int depth) {
    if (codepoint >= kCodepointCount) return nullptr;
    const std::optional<std::vector<uint32_t>> mapping = mappingOf(codepoint, mode);
    if (!mapping) return nullptr;
    Expansion& expansion = _expansions[mode][codepoint];  // references survive rehashing
    if (expansion.done) return expansion.decomposes ? &expansion : nullptr;
    if (expansion.inProgress || depth > kMaximumDecompositionDepth) return nullptr;
    expansion.inProgress = true;
    std::vector<Element> elements;
    uint64_t count = 1;
    bool tooLong = false;
    for (uint32_t part : *mapping) {
      if (const Expansion* inner = expand(part, mode, depth + 1)) {
        elements.insert(elements.end(), inner->elements.begin(), inner->elements.end());
        count += inner->count;
      } else {
        elements.push_back({part, classOf(part)});
      }
      if (elements.size() > kMaximumDecompositionLength || count > kMaximumDecompositionCount) {
        tooLong = true;
        break;
      }
    }
    expansion.inProgress = false;
    expansion.done = true;
    expansion.decomposes = !tooLong;
    expansion.count = static_cast<uint32_t>(count);
    if (!tooLong) expansion.elements = std::move(elements);
    return expansion.decomposes ? &expansion : nullptr;
  }

  uint32_t addElements(const std::vector<Element>& elements) {
    const uint32_t offset = static_cast<uint32_t>(_tables._elements.size());
    _tables._elements.insert(_tables._elements.end(), elements.begin(), elements.end());
    return offset;
  }

  // Whether the codepoint's decomposition (or the codepoint) begins with a starter.
  bool startsWithStarter(const Info& info, uint32_t mode) const {
    if (!(info.decomposes & (1 << mode))) return info.combiningClass == 0;
    return info.decompositionLength[mode] > 0 &&
           decompositionBegin(info, mode)->combiningClass == 0;
  }

  void fillPairSlots(const std::vector<uint64_t>& pairs) {
    size_t size = 16;
    while (size < pairs.size() * 2) size *= 2;
    _tables._pairSlots.assign(size, Tables::kEmptyPair);
    _tables._pairMask = size - 1;
    for (uint64_t pair : pairs) {
      uint64_t slot = _tables.pairSlot(pair >> 21);
      while (_tables._pairSlots[slot] != Tables::kEmptyPair) slot = (slot + 1) & _tables._pairMask;
      _tables._pairSlots[slot] = pair;
    }
  }

  NormalizationTables& _tables;
  std::vector<int32_t> _classes;
  std::unordered_map<uint32_t, Mapping> _mappings;
  std::vector<bool> _hasMapping;
  std::unordered_map<uint32_t, Expansion> _expansions[2];
  uint32_t _jamo[3];
};

std::shared_ptr<NormalizationTables> NormalizationTables::tablesForDatabase(
    QNUnicodeDatabase& database) {
  auto tables = std::make_shared<NormalizationTables>();
  NormalizationTablesBuilder(*tables).buildDecomposition(&database);
  return tables;
}

NormalizationTables& NormalizationTables::tablesWithoutRecords() {
  static NormalizationTables* const tables = [] {
    auto* made = new NormalizationTables();  // lives as long as the process
    NormalizationTablesBuilder builder(*made);
    builder.buildDecomposition(nullptr);
    builder.buildComposition(nullptr, nullptr);
    return made;
  }();
  return *tables;
}

void NormalizationTables::prepareComposition(QNUnicodeDatabase& database) {
  if (_compositionPrepared) return;
  const std::shared_ptr<const std::vector<uint32_t>> exclusions = database.compositionExclusions();
  NormalizationTablesBuilder(*this).buildComposition(&database.mappingDictionary(),
                                                     exclusions.get());
}

void NormalizationTables::rebuildTrie(const std::vector<uint32_t>& values) {
  _trie = CodepointTrie(values);
  for (uint32_t form = FormD; form <= FormKC; ++form) {
    uint32_t codepoint = 0;
    while (codepoint < 0xD800 && (values[codepoint] & (kInertBit << form))) ++codepoint;
    _belowAllInert[form] = static_cast<char16_t>(codepoint);
  }
}

size_t NormalizationTables::memorySize() const {
  return sizeof(*this) + _trie.memorySize() + _infos.size() * sizeof(Info) +
         _elements.size() * sizeof(Element) + _pairSlots.size() * sizeof(uint64_t) +
         _widePairs.size() * 32;
}

bool NormalizationTables::wideComposite(uint32_t first, uint32_t second,
                                        uint32_t* composite) const {
  const auto found = _widePairs.find((static_cast<uint64_t>(first) << 32) | second);
  if (found == _widePairs.end()) return false;
  *composite = found->second;
  return true;
}

// ---- Normalizing ---------------------------------------------------------------------------

QN_HOT_INLINE void NormalizationTables::appendDecomposition(uint32_t codepoint, uint32_t value,
                                                            uint32_t mode,
                                                            std::vector<Element>& work,
                                                            NormalizationCounts& counts) const {
  if (value & kSimpleBit) {
    work.push_back({codepoint, static_cast<int32_t>((value >> kPayloadShift) & 0xFF)});
    return;
  }
  if (value & kHangulBit) {
    uint32_t jamo[3];
    const size_t count = hangul::decomposeSyllable(codepoint, jamo);
    for (size_t i = 0; i < count; ++i) work.push_back({jamo[i], 0});
    counts.decompositionReplacements += 1;
    return;
  }
  const Info& codepointInfo = _infos[value >> kPayloadShift];
  if (codepointInfo.decomposes & (1 << mode)) {
    const Element* first = _elements.data() + codepointInfo.decompositionOffset[mode];
    work.insert(work.end(), first, first + codepointInfo.decompositionLength[mode]);
    counts.decompositionReplacements += codepointInfo.decompositionCount[mode];
  } else {
    work.push_back({codepoint, codepointInfo.combiningClass});
  }
}

// Composition over one piece, exactly as on the whole list: the last starter s; a codepoint
// right after s, or one whose predecessor has a lower class, is offered to s; a composite
// replaces s, the codepoint leaves the list and the work resumes right after s, so that the
// marks between are offered again to the new composite. The list is compacted as it goes
// (everything before `written` is the list's head, everything from `read` on its tail), so
// removals cost no more than the marks between s and the removed codepoint.
uint64_t NormalizationTables::composePiece(std::vector<Element>& work) const {
  constexpr size_t kNone = SIZE_MAX;
  Element* list = work.data();
  const size_t length = work.size();
  size_t written = 0, read = 0, i = 0, starter = kNone;
  uint64_t count = 0;
  for (;;) {
    if (i == written) {
      if (read == length) break;
      list[written++] = list[read++];
    }
    const Element current = list[i];
    if (starter != kNone &&
        (i == starter + 1 || list[i - 1].combiningClass < current.combiningClass)) {
      uint32_t composed;
      if (composite(list[starter].codepoint, current.codepoint, &composed)) {
        list[starter].codepoint = composed;
        std::copy(list + i + 1, list + written, list + i);
        --written;
        ++count;
        i = starter + 1;
        continue;
      }
    }
    if (current.combiningClass == 0) starter = i;
    ++i;
  }
  work.resize(written);
  return count;
}

inline void NormalizationTables::finishPiece(bool compose, std::vector<Element>& work,
                                             std::vector<Element>& scratch,
                                             NormalizationCounts& counts) const {
  if (work.size() < 2) return;
  counts.reorderings += orderCanonically(work, scratch, _hasNegativeClasses);
  if (!compose) return;
  counts.compositionReplacements += composePiece(work);
  counts.compositionReplacements += hangulPass(work);
}

template <typename Sink>
QN_HOT_INLINE void NormalizationTables::appendSingle(uint32_t codepoint, uint32_t value, Form form,
                                                     Sink& sink,
                                                     NormalizationCounts& counts) const {
  if (value & (kInertBit << form)) {
    sink.appendCodepoint(codepoint);
    return;
  }
  if (value & kHangulBit) {
    uint32_t jamo[3];
    const size_t count = hangul::decomposeSyllable(codepoint, jamo);
    counts.decompositionReplacements += 1;
    if (form & 2) {
      counts.compositionReplacements += count - 1;
      sink.appendCodepoint(codepoint);
    } else {
      for (size_t i = 0; i < count; ++i) sink.appendCodepoint(jamo[i]);
    }
    return;
  }
  const Info& single = _infos[value >> kPayloadShift];
  const uint32_t mode = form & 1;
  if (single.decomposes & (1 << mode)) {
    counts.decompositionReplacements += single.decompositionCount[mode];
  }
  counts.reorderings += single.singleReorderings[form];
  counts.compositionReplacements += single.singleCompositions[form];
  if (single.singleIsSelf & (1 << form)) {
    sink.appendCodepoint(codepoint);
  } else {
    sink.appendElements(_elements.data() + single.singleOffset[form], single.singleLength[form]);
  }
}

template <typename Sink>
void NormalizationTables::run(std::u16string_view text, Form form, Sink& sink,
                              NormalizationCounts& counts) const {
  const char16_t* units = text.data();
  const size_t length = text.size();
  const uint32_t inertBit = kInertBit << form;
  const uint32_t boundaryBit = kBoundaryBit << form;
  const uint32_t mode = form & 1;
  const bool compose = (form & 2) != 0;
  const char16_t belowAllInert = _belowAllInert[form];
  std::vector<Element> work, scratch;  // allocated only when a piece needs them

  // The loop looks every codepoint up once. `position` is the start of the text or of a
  // boundary codepoint; when `carried`, that codepoint is already decoded in `current` with its
  // trie value in `value`.
  size_t position = 0;
  Decoded current{0, 0};
  uint32_t value = 0;
  bool carried = false;
  for (;;) {
    if (!carried || (value & inertBit)) {
      // A run of inert codepoints of the Basic Multilingual Plane is copied as it stands, up
      // to the first codepoint that is not inert or is a surrogate.
      size_t end = position;
      bool found = false;
      for (;;) {
        end = skipUnitsBelow(units, end, length, belowAllInert);
        if (end >= length) break;
        const char16_t unit = units[end];
        if (isSurrogate(unit)) {
          current = decodeAt(units, length, end);
          value = _trie.get(current.codepoint);
          found = true;
          break;
        }
        const uint32_t unitValue = _trie.getBelowLimit(unit);
        if (!(unitValue & inertBit)) {
          current = {unit, end + 1};
          value = unitValue;
          found = true;
          break;
        }
        ++end;
      }
      sink.appendUnits(units + position, end - position);
      if (!found) return;
      if (!(value & boundaryBit) && end > position) {
        // The inert codepoint before joins the piece: it is the starter that what follows may
        // compose with.
        sink.removeLastUnit();
        current = {units[end - 1], end};
        value = _trie.getBelowLimit(units[end - 1]);
        --end;
      }
      position = end;
    }
    carried = false;

    if (value & boundaryBit) {
      // Boundaries followed by boundaries are pieces of their own.
      bool pieceStarts = false;
      for (;;) {
        if (current.next >= length) {
          appendSingle(current.codepoint, value, form, sink, counts);
          return;
        }
        const size_t nextStart = current.next;
        const Decoded next = decodeAt(units, length, nextStart);
        const uint32_t nextValue = _trie.get(next.codepoint);
        if (!(nextValue & boundaryBit)) {
          pieceStarts = true;
          break;
        }
        // The record of what comes next is fetched while this one is written.
        if (!(nextValue & (kSimpleBit | kHangulBit))) {
          __builtin_prefetch(&_infos[nextValue >> kPayloadShift]);
        }
        appendSingle(current.codepoint, value, form, sink, counts);
        position = nextStart;
        current = next;
        value = nextValue;
        if (value & inertBit) {
          carried = true;
          break;
        }
      }
      if (!pieceStarts) continue;
    }

    // Conjoining jamo L V or L V T (with any of the 29 accepted trailing values): when no pair of
    // the map involves jamo, they make one syllable in the Hangul pass, one combination per
    // jamo after the first.
    if (compose && _jamoComposeAlone && current.codepoint - hangul::LBase < hangul::LCount &&
        isSimpleStarter(value) && current.next < length) {
      const Decoded vowel = decodeAt(units, length, current.next);
      const uint32_t vowelValue = _trie.get(vowel.codepoint);
      if (vowel.codepoint - hangul::VBase < hangul::VCount && isSimpleStarter(vowelValue)) {
        uint32_t syllable = 0;
        hangul::combine(current.codepoint, vowel.codepoint, &syllable);
        uint32_t combinations = 1;
        size_t nextStart = vowel.next;  // what follows the jamo taken so far
        Decoded after{0, 0};
        uint32_t afterValue = 0;
        if (nextStart < length) {
          after = decodeAt(units, length, nextStart);
          afterValue = _trie.get(after.codepoint);
          if (after.codepoint - hangul::TBase <= hangul::TAcceptedSpan &&
              isSimpleStarter(afterValue)) {
            syllable += after.codepoint - hangul::TBase;
            combinations = 2;
            nextStart = after.next;
            if (nextStart < length) {
              after = decodeAt(units, length, nextStart);
              afterValue = _trie.get(after.codepoint);
            }
          }
        }
        if (nextStart >= length || (afterValue & boundaryBit)) {
          sink.appendCodepoint(syllable);
          counts.compositionReplacements += combinations;
          if (nextStart >= length) return;
          position = nextStart;
          current = after;
          value = afterValue;
          carried = true;
          continue;
        }
      }
    }

    // The most common piece: a starter without a decomposition and one codepoint after it
    // without one either, such as a letter and its accent. Neither moves; the second composes
    // with the first or, failing that, may make a Hangul syllable with it.
    if (isSimpleStarter(value) && current.next < length && !_hasNegativeClasses) {
      const Decoded second = decodeAt(units, length, current.next);
      const uint32_t secondValue = _trie.get(second.codepoint);
      if (secondValue & kSimpleBit) {
        Decoded third{0, 0};
        uint32_t thirdValue = 0;
        const bool last = second.next >= length;
        if (!last) {
          third = decodeAt(units, length, second.next);
          thirdValue = _trie.get(third.codepoint);
        }
        if (last || (thirdValue & boundaryBit)) {
          uint32_t composed;
          if (compose && (composite(current.codepoint, second.codepoint, &composed) ||
                          hangul::combine(current.codepoint, second.codepoint, &composed))) {
            sink.appendCodepoint(composed);
            counts.compositionReplacements += 1;
          } else {
            sink.appendCodepoint(current.codepoint);
            sink.appendCodepoint(second.codepoint);
          }
          if (last) return;
          position = second.next;  // where the third codepoint starts
          current = third;
          value = thirdValue;
          carried = true;
          continue;
        }
      }
    }

    // The piece: its first codepoint and every following one up to the next boundary.
    work.clear();
    bool atEnd = false;
    for (;;) {
      appendDecomposition(current.codepoint, value, mode, work, counts);
      position = current.next;
      if (position >= length) {
        atEnd = true;
        break;
      }
      current = decodeAt(units, length, position);
      value = _trie.get(current.codepoint);
      if (value & boundaryBit) break;
    }
    finishPiece(compose, work, scratch, counts);
    sink.appendElements(work.data(), work.size());
    if (atEnd) return;
    carried = true;
  }
}

void NormalizationTables::normalize(std::u16string_view text, Form form, UnicodeString& result,
                                    NormalizationCounts& counts) const {
  UTF16Sink sink(result, text.size() + text.size() / 8 + 8);
  run(text, form, sink, counts);
}

void NormalizationTables::decompose(std::u16string_view text, Form form,
                                    std::vector<uint32_t>& result,
                                    NormalizationCounts& counts) const {
  result.reserve(result.size() + text.size() + 8);
  CodepointSink sink{result};
  run(text, static_cast<Form>(form & 1), sink, counts);
}

}  // namespace qnunicode::detail
