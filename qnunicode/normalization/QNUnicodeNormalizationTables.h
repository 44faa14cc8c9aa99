#pragma once

// The database's derived tables for the four normalization forms. Internal to the library.
//
// The forms are defined on the whole list of a string's codepoints: full decomposition (every
// mapping applied counting once), an exchange sort of each run of non-starters by combining
// class (counting adjacent swaps), composition with a starter (counting pairs composed) and a
// Hangul pass over the composed list. These tables give the same results and counts in one pass
// over the text:
//
// - Per codepoint: its combining class, its full decomposition in both modes (canonical and
//   compatibility) with the number of mappings it applies, and four "boundary" and four "inert"
//   bits, one of each per form.
// - A codepoint is a boundary of a form when the text can be cut before it: the first codepoint
//   of its decomposition is a starter (class 0) and, for the composing forms, no codepoint
//   composes with anything before it (it is neither the second codepoint of a composable pair
//   nor a Hangul vowel or trailing value). No reordering, composition or Hangul combination then
//   crosses the cut, so each piece between boundaries can be normalized on its own and the
//   counts of the pieces add up to the counts of the whole.
// - A boundary codepoint that is followed by another boundary (or the end) is a piece of its
//   own; its result and counts are precomputed. An inert codepoint is such a piece that stays
//   unchanged with all counts 0: runs of them are copied as they are.
//
// The composition part (pairs, exclusions, boundary bits of the composing forms) is built the
// first time a composing form is asked for, since it reads CompositionExclusions.

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qnunicode/normalization/QNUnicodeCanonicalOrdering.h"
#include "qnunicode/normalization/QNUnicodeCodepointTrie.h"
#include "qnunicode/normalization/QNUnicodeHangulConstants.h"
#include "qnunicode/strings/UnicodeString.h"

class QNUnicodeDatabase;

namespace qnunicode::detail {

// Counts in 64 bits; they are stored truncated to 32 bits, as a 32-bit counter would wrap.
struct NormalizationCounts {
  uint64_t decompositionReplacements = 0;
  uint64_t reorderings = 0;
  uint64_t compositionReplacements = 0;
};

class NormalizationTables {
 public:
  // Bit 0 of a form: compatibility mappings; bit 1: composition.
  enum Form : uint32_t { FormD = 0, FormKD = 1, FormC = 2, FormKC = 3 };

  // The decomposition part, from the records of a database whose UnicodeData is read.
  static std::shared_ptr<NormalizationTables> tablesForDatabase(QNUnicodeDatabase& database);
  // The tables of a database whose UnicodeData cannot be read: no codepoint has a record, so
  // only the Hangul arithmetic decomposes and composes.
  static NormalizationTables& tablesWithoutRecords();

  // Builds the composition part on first use (reads the exclusions and the pair map).
  void prepareComposition(QNUnicodeDatabase& database);
  bool isCompositionPrepared() const { return _compositionPrepared; }

  // The form of a non-empty text, counts added to `counts`. A composing form needs
  // prepareComposition first.
  void normalize(std::u16string_view text, Form form, UnicodeString& result,
                 NormalizationCounts& counts) const;
  // The decomposed and ordered codepoints (FormD or FormKD) of a non-empty text.
  void decompose(std::u16string_view text, Form form, std::vector<uint32_t>& result,
                 NormalizationCounts& counts) const;

  // The combining class the forms use for a codepoint (0 without a record).
  int32_t combiningClass(uint32_t codepoint) const {
    const uint32_t value = _trie.get(codepoint);
    if (value & kSimpleBit) return static_cast<int32_t>((value >> kPayloadShift) & 0xFF);
    if (value & kHangulBit) return 0;
    return _infos[value >> kPayloadShift].combiningClass;
  }
  // The primary composite of a pair with the exclusions applied (after prepareComposition).
  bool composite(uint32_t first, uint32_t second, uint32_t* composite) const {
    if (first < kCodepointLimit && second < kCodepointLimit) {
      const uint64_t key = (static_cast<uint64_t>(first) << 21) | second;
      for (uint64_t slot = pairSlot(key);; slot = (slot + 1) & _pairMask) {
        const uint64_t entry = _pairSlots[slot];
        if ((entry >> 21) == key) {
          *composite = static_cast<uint32_t>(entry & 0x1FFFFF);
          return true;
        }
        if (entry == kEmptyPair) break;
      }
    }
    return !_widePairs.empty() && wideComposite(first, second, composite);
  }

  // For tests and memory figures.
  bool isBoundary(uint32_t codepoint, Form form) const {
    return (_trie.get(codepoint) & (kBoundaryBit << form)) != 0;
  }
  bool isInert(uint32_t codepoint, Form form) const {
    return (_trie.get(codepoint) & (kInertBit << form)) != 0;
  }
  bool hasNegativeClasses() const { return _hasNegativeClasses; }
  size_t memorySize() const;

  NormalizationTables() = default;
  NormalizationTables(const NormalizationTables&) = delete;
  NormalizationTables& operator=(const NormalizationTables&) = delete;

 private:
  friend class NormalizationTablesBuilder;
  template <typename Sink>
  friend class NormalizationRun;

  static constexpr uint32_t kCodepointLimit = 0x110000;

  // The trie's value of a codepoint: flag bits, and above kPayloadShift either the class (of a
  // simple codepoint) or the index of its Info.
  static constexpr uint32_t kInertBit = 1;      // << form
  static constexpr uint32_t kBoundaryBit = 16;  // << form
  // A Hangul syllable that decomposes by arithmetic alone into jamo of class 0 that have no
  // mappings of their own.
  static constexpr uint32_t kHangulBit = 256;
  // A codepoint without a decomposition in either mode and of a class from 0 to 255.
  static constexpr uint32_t kSimpleBit = 512;
  static constexpr uint32_t kPayloadShift = 10;
  static bool isSimpleStarter(uint32_t value) {
    return (value & kSimpleBit) && ((value >> kPayloadShift) & 0xFF) == 0;
  }

  // Everything else: decompositions and the results of the codepoint as a piece of its own.
  // Lengths and counts fit 16 bits, as the builder keeps decompositions short. One cache line.
  struct alignas(64) Info {
    int32_t combiningClass = 0;
    uint8_t decomposes = 0;    // bit per mode: 0 canonical, 1 compatibility
    uint8_t singleIsSelf = 0;  // bit per form
    uint16_t decompositionCount[2] = {0, 0};
    uint16_t decompositionLength[2] = {0, 0};
    uint32_t decompositionOffset[2] = {0, 0};  // into _elements
    // The result and counts of the codepoint as a piece of its own, per form; meaningful only
    // where the codepoint is a boundary of that form and not inert.
    uint16_t singleLength[4] = {0, 0, 0, 0};
    uint16_t singleReorderings[4] = {0, 0, 0, 0};
    uint16_t singleCompositions[4] = {0, 0, 0, 0};
    uint32_t singleOffset[4] = {0, 0, 0, 0};
  };

  // Pairs of the map as first << 42 | second << 21 | composite.
  static constexpr uint64_t kEmptyPair = UINT64_MAX;
  uint64_t pairSlot(uint64_t key) const {
    return ((key * 0x9E3779B97F4A7C15ull) >> 40) & _pairMask;
  }
  bool wideComposite(uint32_t first, uint32_t second, uint32_t* composite) const;

  // Makes the trie and the BMP flags from one value per codepoint.
  void rebuildTrie(const std::vector<uint32_t>& values);

  // Appends the codepoint's decomposition (or the codepoint) to the working list.
  void appendDecomposition(uint32_t codepoint, uint32_t value, uint32_t mode,
                           std::vector<NormalizationElement>& work,
                           NormalizationCounts& counts) const;
  // Orders the working list of one piece and, when asked, composes it and runs the Hangul pass.
  void finishPiece(bool compose, std::vector<NormalizationElement>& work,
                   std::vector<NormalizationElement>& scratch, NormalizationCounts& counts) const;
  uint64_t composePiece(std::vector<NormalizationElement>& work) const;

  CodepointTrie _trie;
  // Per form, the first codepoint that is not inert: the copying loop passes over everything
  // below it without a lookup.
  char16_t _belowAllInert[4] = {0, 0, 0, 0};
  // Per form, one bit per unit of the Basic Multilingual Plane: set for inert codepoints other
  // than surrogates. The copying loop tests a unit with one load from 8 KiB instead of the two
  // dependent loads of the trie (most of the time of a composing form on mixed text went there).
  static constexpr size_t kInertWordsPerForm = 0x10000 / 64;
  std::vector<uint64_t> _bmpInertBits = std::vector<uint64_t>(4 * kInertWordsPerForm, 0);
  bool isInertUnit(const uint64_t* formBits, char16_t unit) const {
    return (formBits[unit >> 6] >> (unit & 63)) & 1;
  }
  std::vector<Info> _infos;  // _infos[0]: class 0, no decomposition (above 0x10FFFF)
  std::vector<NormalizationElement> _elements;
  // The composable pairs, open addressing, at most half full.
  std::vector<uint64_t> _pairSlots = std::vector<uint64_t>(1, kEmptyPair);
  uint64_t _pairMask = 0;
  // Pairs with a codepoint above 0x10FFFF in them (only a malformed UnicodeData has them).
  std::unordered_map<uint64_t, uint32_t> _widePairs;
  // A malformed UnicodeData can give a class that reads as negative; the cuts then no longer
  // hold and the whole text is worked on as one piece.
  bool _hasNegativeClasses = false;
  bool _compositionPrepared = false;
  // No pair of the map involves a conjoining jamo, so jamo compose by the Hangul pass alone.
  bool _jamoComposeAlone = false;
};

// Used by the normalizer for every piece and by the builder for single results.
[[gnu::always_inline]] inline void NormalizationTables::appendDecomposition(
    uint32_t codepoint, uint32_t value, uint32_t mode, std::vector<NormalizationElement>& work,
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
    const NormalizationElement* first = _elements.data() + codepointInfo.decompositionOffset[mode];
    work.insert(work.end(), first, first + codepointInfo.decompositionLength[mode]);
    counts.decompositionReplacements += codepointInfo.decompositionCount[mode];
  } else {
    work.push_back({codepoint, codepointInfo.combiningClass});
  }
}

}  // namespace qnunicode::detail
