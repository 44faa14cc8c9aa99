// Building the normalization tables from a database's records: decompositions, boundaries,
// inert codepoints, the results of single-codepoint pieces and the composition pairs.

#include <algorithm>
#include <optional>
#include <span>
#include <unordered_set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeHangulConstants.h"
#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"

namespace qnunicode::detail {

namespace {

constexpr uint32_t kCodepointCount = 0x110000;
// Limits that only a malformed UnicodeData reaches (the longest real decomposition has 18
// codepoints and 4 levels): a decomposition longer than this, a chain of mappings deeper than
// this, or a mapping that leads back to itself leaves the codepoint where the limit is reached
// undecomposed, instead of growing without end.
constexpr size_t kMaximumDecompositionLength = 256;
constexpr int kMaximumDecompositionDepth = 32;
constexpr uint64_t kMaximumDecompositionCount = 0xFFFF;

using Element = NormalizationElement;

}  // namespace

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
    uint64_t* bits = _bmpInertBits.data() + form * kInertWordsPerForm;
    for (uint32_t unit = 0; unit < 0x10000; ++unit) {
      const bool inert = (values[unit] & (kInertBit << form)) && !isSurrogate(unit);
      bits[unit >> 6] =
          (bits[unit >> 6] & ~(uint64_t{1} << (unit & 63))) | (uint64_t{inert} << (unit & 63));
    }
  }
}

size_t NormalizationTables::memorySize() const {
  return sizeof(*this) + _trie.memorySize() + _infos.size() * sizeof(Info) +
         _elements.size() * sizeof(Element) + _pairSlots.size() * sizeof(uint64_t) +
         _bmpInertBits.size() * sizeof(uint64_t) + _widePairs.size() * 32;
}

bool NormalizationTables::wideComposite(uint32_t first, uint32_t second,
                                        uint32_t* composite) const {
  const auto found = _widePairs.find((static_cast<uint64_t>(first) << 32) | second);
  if (found == _widePairs.end()) return false;
  *composite = found->second;
  return true;
}

}  // namespace qnunicode::detail
