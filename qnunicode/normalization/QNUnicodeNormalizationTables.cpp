#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeHangulConstants.h"
#include "qnunicode/records/QNUnicodeData.h"

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
// Runs of non-starters up to this length are ordered by insertion; longer ones by merging.
constexpr size_t kInsertionRunLength = 16;

using Element = NormalizationElement;

bool isSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}

struct Decoded {
  uint32_t codepoint;
  size_t next;
};

// The codepoint walk: a high surrogate followed by a low one is a pair; any other surrogate is a
// codepoint of its own value, and an unpaired high surrogate that has a unit after it passes
// over that unit too.
inline Decoded decodeAt(const char16_t* units, size_t length, size_t index) {
  const char16_t unit = units[index];
  if ((unit & 0xFC00) == 0xD800 && index + 1 < length) {
    const char16_t low = units[index + 1];
    if ((low & 0xFC00) == 0xDC00) {
      return {((static_cast<uint32_t>(unit & 0x3FF) << 10) | (low & 0x3FF)) + 0x10000, index + 2};
    }
    return {unit, index + 2};
  }
  return {unit, index + 1};
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

// The canonical ordering as written: an exchange sort over the whole list in which a starter
// never starts a move. Used only where classes read as negative (a malformed UnicodeData), where
// starters can be passed and the runs above do not describe the result.
uint64_t exchangeSort(std::vector<Element>& list) {
  uint64_t swaps = 0;
  size_t i = 1;
  while (i < list.size()) {
    const int32_t current = list[i].combiningClass;
    if (current == 0) {
      ++i;
      continue;
    }
    if (list[i - 1].combiningClass > current) {
      std::swap(list[i - 1], list[i]);
      ++swaps;
      if (i >= 2) --i;
    } else {
      ++i;
    }
  }
  return swaps;
}

uint64_t orderCanonically(std::vector<Element>& list, std::vector<Element>& scratch,
                          bool hasNegativeClasses) {
  if (list.size() < 2) return 0;
  if (hasNegativeClasses) return exchangeSort(list);
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

uint64_t hangulPass(std::vector<Element>& list) {
  uint64_t count = 0;
  size_t written = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    uint32_t combined;
    if (written > 0 && hangul::combine(list[written - 1].codepoint, list[i].codepoint, &combined)) {
      list[written - 1].codepoint = combined;
      ++count;
    } else {
      list[written++] = list[i];
    }
  }
  list.resize(written);
  return count;
}

struct UTF16Sink {
  UnicodeString& text;

  void appendUnits(const char16_t* units, size_t length) { text.append(units, length); }
  void appendCodepoint(uint32_t codepoint) {
    if (codepoint <= 0xFFFF) {
      text.push_back(static_cast<char16_t>(codepoint));
    } else {
      // Values above 0x10FFFF (only from a malformed mapping) lose their excess bits.
      const uint32_t v = codepoint - 0x10000;
      const char16_t pair[2] = {static_cast<char16_t>(0xD800 | ((v >> 10) & 0x3FF)),
                                static_cast<char16_t>(0xDC00 | (v & 0x3FF))};
      text.append(pair, 2);
    }
  }
  void appendElements(const Element* elements, size_t length) {
    for (size_t i = 0; i < length; ++i) appendCodepoint(elements[i].codepoint);
  }
};

struct CodepointSink {
  std::vector<uint32_t>& codepoints;

  // Only called with units that are codepoints of their own (no surrogates).
  void appendUnits(const char16_t* units, size_t length) {
    codepoints.insert(codepoints.end(), units, units + length);
  }
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
    _blocks[block] = offset;
  }
}

// ---- Building ------------------------------------------------------------------------------

class NormalizationTablesBuilder {
 public:
  explicit NormalizationTablesBuilder(NormalizationTables& tables) : _tables(tables) {}

  // The decomposition part from the records (none: no codepoint has a record).
  void buildDecomposition(const std::vector<const QNUnicodeData*>* records) {
    _classes.assign(kCodepointCount, 0);
    if (records) {
      // In file order, a later record of a codepoint replacing an earlier one, as in the index.
      for (const QNUnicodeData* record : *records) {
        const uint32_t codepoint = record->codepoint();
        if (codepoint >= kCodepointCount) continue;
        _classes[codepoint] = static_cast<int32_t>(record->canonicalCombiningClass());
        const std::optional<std::span<const uint32_t>> mapping =
            record->characterDecompositionMappingArray();
        if (mapping) {
          _mappings[codepoint] = {std::vector<uint32_t>(mapping->begin(), mapping->end()),
                                  record->compatibilityMapping()};
        } else {
          _mappings.erase(codepoint);
        }
      }
    }
    for (int32_t combiningClass : _classes) {
      if (combiningClass < 0) _tables._hasNegativeClasses = true;
    }

    std::vector<uint32_t> candidates;
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      if (_classes[codepoint] != 0 || _mappings.count(codepoint) ||
          QNUnicodeDatabase::codepointIsHangul(codepoint)) {
        candidates.push_back(codepoint);
      }
    }

    _tables._infos.assign(1, NormalizationTables::Info{});
    std::vector<uint32_t> values(kCodepointCount, 0);
    for (uint32_t codepoint : candidates) {
      NormalizationTables::Info info;
      info.combiningClass = _classes[codepoint];
      const Expansion* expansions[2] = {expand(codepoint, 0, 0), expand(codepoint, 1, 0)};
      for (uint32_t mode = 0; mode < 2; ++mode) {
        if (!expansions[mode]) continue;
        info.decomposes[mode] = true;
        info.decompositionCount[mode] = expansions[mode]->count;
        // Most compatibility decompositions are the canonical ones; those share their elements.
        info.decomposition[mode] =
            mode == 1 && expansions[0] && expansions[0]->elements == expansions[1]->elements
                ? info.decomposition[0]
                : addElements(expansions[mode]->elements);
      }
      if (info.combiningClass == 0 && !info.decomposes[0] && !info.decomposes[1]) continue;
      values[codepoint] = static_cast<uint32_t>(_tables._infos.size())
                          << NormalizationTables::kFlagBits;
      _tables._infos.push_back(info);
    }

    // Boundaries, inert codepoints and single results of the decomposing forms.
    std::vector<Element> work, scratch;
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      NormalizationTables::Info& info = infoAt(values[codepoint]);
      for (uint32_t form = NormalizationTables::FormD; form <= NormalizationTables::FormKD;
           ++form) {
        const uint32_t mode = form;
        const bool inert = !info.decomposes[mode] && info.combiningClass == 0;
        const bool boundary = startsWithStarter(info, mode);
        if (_tables._hasNegativeClasses) continue;
        if (inert) values[codepoint] |= NormalizationTables::kInertBit << form;
        if (boundary) values[codepoint] |= NormalizationTables::kBoundaryBit << form;
        if (boundary && !inert) {
          // Every record other than the shared default one belongs to one codepoint. A
          // decomposition that is already in order is its own result.
          const NormalizationTables::Piece piece = info.decomposition[mode];
          work.assign(_tables._elements.begin() + piece.offset,
                      _tables._elements.begin() + piece.offset + piece.length);
          const uint64_t swaps = orderCanonically(work, scratch, false);
          info.singleIsSelf[form] = false;
          info.singleReorderings[form] = static_cast<uint32_t>(swaps);
          info.single[form] = swaps == 0 ? piece : addElements(work);
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
    std::unordered_map<uint32_t, std::vector<std::pair<uint32_t, uint32_t>>> pairsByFirst;
    if (pairMap) {
      for (const auto& [first, seconds] : *pairMap) {
        for (const auto& [second, composite] : seconds) {
          if (excluded.count(composite)) continue;
          if (second < kCodepointCount) isSecond[second] = true;
          if (first < kCodepointCount) {
            pairsByFirst[first].emplace_back(second, composite);
          } else {
            _tables._outOfRangePairs[(static_cast<uint64_t>(first) << 32) | second] = composite;
          }
        }
      }
    }
    const auto combinesWithPrevious = [&](uint32_t codepoint) {
      return codepoint >= kCodepointCount || isSecond[codepoint] ||
             hangul::combinesWithPrevious(codepoint);
    };

    std::vector<uint32_t> values(kCodepointCount);
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      values[codepoint] = _tables._trie.get(codepoint);
    }
    std::vector<uint32_t> firsts;
    for (const auto& entry : pairsByFirst) firsts.push_back(entry.first);
    std::sort(firsts.begin(), firsts.end());
    for (uint32_t first : firsts) {
      std::vector<std::pair<uint32_t, uint32_t>>& pairs = pairsByFirst[first];
      std::sort(pairs.begin(), pairs.end());
      if ((values[first] >> NormalizationTables::kFlagBits) == 0) {
        values[first] |= static_cast<uint32_t>(_tables._infos.size())
                         << NormalizationTables::kFlagBits;
        _tables._infos.emplace_back();
      }
      NormalizationTables::Info& info = infoAt(values[first]);
      info.pairsOffset = static_cast<uint32_t>(_tables._pairs.size());
      info.pairsLength = static_cast<uint32_t>(pairs.size());
      _tables._pairs.insert(_tables._pairs.end(), pairs.begin(), pairs.end());
    }
    // The single results below look pairs up through the trie.
    _tables.rebuildTrie(values);

    NormalizationCounts counts;
    std::vector<Element> work, scratch;
    for (uint32_t codepoint = 0; codepoint < kCodepointCount; ++codepoint) {
      NormalizationTables::Info& info = infoAt(values[codepoint]);
      for (uint32_t form = NormalizationTables::FormC; form <= NormalizationTables::FormKC;
           ++form) {
        const uint32_t mode = form & 1;
        if (_tables._hasNegativeClasses) continue;
        const bool inert = (values[codepoint] & (NormalizationTables::kInertBit << mode)) &&
                           !combinesWithPrevious(codepoint);
        bool boundary = startsWithStarter(info, mode);
        if (boundary) {
          const uint32_t first = info.decomposes[mode]
                                     ? _tables._elements[info.decomposition[mode].offset].codepoint
                                     : codepoint;
          boundary = !combinesWithPrevious(first);
        }
        if (inert) values[codepoint] |= NormalizationTables::kInertBit << form;
        if (!boundary) continue;
        values[codepoint] |= NormalizationTables::kBoundaryBit << form;
        if (inert) continue;
        work.clear();
        counts = NormalizationCounts{};
        _tables.appendDecomposition(codepoint, values[codepoint], mode, work, counts);
        _tables.finishPiece(true, work, scratch, counts);
        info.singleReorderings[form] = static_cast<uint32_t>(counts.reorderings);
        info.singleCompositions[form] = static_cast<uint32_t>(counts.compositionReplacements);
        info.singleIsSelf[form] = work.size() == 1 && work[0].codepoint == codepoint;
        if (!info.singleIsSelf[form]) info.single[form] = addElements(work);
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

  NormalizationTables::Info& infoAt(uint32_t value) {
    return _tables._infos[value >> NormalizationTables::kFlagBits];
  }

  int32_t classOf(uint32_t codepoint) const {
    return codepoint < kCodepointCount ? _classes[codepoint] : 0;
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
      if (elements.size() > kMaximumDecompositionLength) {
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

  NormalizationTables::Piece addElements(const std::vector<Element>& elements) {
    NormalizationTables::Piece piece{static_cast<uint32_t>(_tables._elements.size()),
                                     static_cast<uint32_t>(elements.size())};
    _tables._elements.insert(_tables._elements.end(), elements.begin(), elements.end());
    return piece;
  }

  // Whether the codepoint's decomposition (or the codepoint) begins with a starter.
  bool startsWithStarter(const NormalizationTables::Info& info, uint32_t mode) const {
    if (!info.decomposes[mode]) return info.combiningClass == 0;
    const NormalizationTables::Piece piece = info.decomposition[mode];
    return piece.length > 0 && _tables._elements[piece.offset].combiningClass == 0;
  }

  NormalizationTables& _tables;
  std::vector<int32_t> _classes;
  std::unordered_map<uint32_t, Mapping> _mappings;
  std::unordered_map<uint32_t, Expansion> _expansions[2];
};

std::shared_ptr<NormalizationTables> NormalizationTables::tablesForDatabase(
    QNUnicodeDatabase& database) {
  auto tables = std::make_shared<NormalizationTables>();
  NormalizationTablesBuilder(*tables).buildDecomposition(&database.allUnicodeData());
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
  _bmpFlags.resize(kBMPCount);
  for (uint32_t codepoint = 0; codepoint < kBMPCount; ++codepoint) {
    _bmpFlags[codepoint] = static_cast<uint8_t>(values[codepoint] & 0xFF);
  }
}

size_t NormalizationTables::memorySize() const {
  return sizeof(*this) + _trie.memorySize() + _bmpFlags.size() + _infos.size() * sizeof(Info) +
         _elements.size() * sizeof(Element) + _pairs.size() * sizeof(_pairs[0]) +
         _outOfRangePairs.size() * 32;
}

// ---- Normalizing ---------------------------------------------------------------------------

bool NormalizationTables::composite(uint32_t first, uint32_t second, uint32_t* composite) const {
  if (first >= kCodepointCount) {
    if (_outOfRangePairs.empty()) return false;
    const auto found = _outOfRangePairs.find((static_cast<uint64_t>(first) << 32) | second);
    if (found == _outOfRangePairs.end()) return false;
    *composite = found->second;
    return true;
  }
  const Info& firstInfo = info(first);
  const std::pair<uint32_t, uint32_t>* pairs = _pairs.data() + firstInfo.pairsOffset;
  for (uint32_t i = 0; i < firstInfo.pairsLength; ++i) {
    if (pairs[i].first < second) continue;
    if (pairs[i].first > second) return false;
    *composite = pairs[i].second;
    return true;
  }
  return false;
}

void NormalizationTables::appendDecomposition(uint32_t codepoint, uint32_t value, uint32_t mode,
                                              std::vector<Element>& work,
                                              NormalizationCounts& counts) const {
  const Info& codepointInfo = _infos[value >> kFlagBits];
  if (codepointInfo.decomposes[mode]) {
    const Piece piece = codepointInfo.decomposition[mode];
    work.insert(work.end(), _elements.begin() + piece.offset,
                _elements.begin() + piece.offset + piece.length);
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

void NormalizationTables::finishPiece(bool compose, std::vector<Element>& work,
                                      std::vector<Element>& scratch,
                                      NormalizationCounts& counts) const {
  counts.reorderings += orderCanonically(work, scratch, _hasNegativeClasses);
  if (!compose) return;
  counts.compositionReplacements += composePiece(work);
  counts.compositionReplacements += hangulPass(work);
}

template <typename Sink>
void NormalizationTables::appendSingle(uint32_t codepoint, uint32_t value, Form form, Sink& sink,
                                       NormalizationCounts& counts) const {
  if (value & (kInertBit << form)) {
    sink.appendCodepoint(codepoint);
    return;
  }
  const Info& single = _infos[value >> kFlagBits];
  const uint32_t mode = form & 1;
  if (single.decomposes[mode]) {
    counts.decompositionReplacements += single.decompositionCount[mode];
  }
  counts.reorderings += single.singleReorderings[form];
  counts.compositionReplacements += single.singleCompositions[form];
  if (single.singleIsSelf[form]) {
    sink.appendCodepoint(codepoint);
  } else {
    sink.appendElements(_elements.data() + single.single[form].offset, single.single[form].length);
  }
}

template <typename Sink>
void NormalizationTables::run(std::u16string_view text, Form form, Sink& sink,
                              NormalizationCounts& counts) const {
  const char16_t* units = text.data();
  const size_t length = text.size();
  const uint8_t inertBit = static_cast<uint8_t>(kInertBit << form);
  const uint32_t boundaryBit = kBoundaryBit << form;
  const uint32_t mode = form & 1;
  const bool compose = (form & 2) != 0;
  const uint8_t* bmpFlags = _bmpFlags.data();
  std::vector<Element> work, scratch;  // allocated only when a piece needs them

  // At the top of the loop, `position` is the start of the text or of a boundary codepoint.
  size_t position = 0;
  while (position < length) {
    size_t end = position;
    while (end < length && !isSurrogate(units[end]) && (bmpFlags[units[end]] & inertBit)) ++end;
    if (end == length) {
      sink.appendUnits(units + position, end - position);
      return;
    }
    Decoded current = decodeAt(units, length, end);
    uint32_t value = _trie.get(current.codepoint);
    size_t pieceStart;
    if (value & boundaryBit) {
      sink.appendUnits(units + position, end - position);
      const bool alone = current.next >= length ||
                         (_trie.get(decodeAt(units, length, current.next).codepoint) & boundaryBit);
      if (alone) {
        appendSingle(current.codepoint, value, form, sink, counts);
        position = current.next;
        continue;
      }
      pieceStart = end;
    } else if (end > position) {
      // The inert codepoint before joins the piece: it is the starter that what follows may
      // compose with.
      sink.appendUnits(units + position, end - 1 - position);
      pieceStart = end - 1;
      current = decodeAt(units, length, pieceStart);
      value = _trie.get(current.codepoint);
    } else {
      pieceStart = end;  // the start of the text
    }

    // The piece: its first codepoint and every following one up to the next boundary.
    work.clear();
    for (;;) {
      appendDecomposition(current.codepoint, value, mode, work, counts);
      position = current.next;
      if (position >= length) break;
      current = decodeAt(units, length, position);
      value = _trie.get(current.codepoint);
      if (value & boundaryBit) break;
    }
    finishPiece(compose, work, scratch, counts);
    sink.appendElements(work.data(), work.size());
  }
}

void NormalizationTables::normalize(std::u16string_view text, Form form, UnicodeString& result,
                                    NormalizationCounts& counts) const {
  result.reserve(result.size() + text.size() + text.size() / 4 + 8);
  UTF16Sink sink{result};
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
