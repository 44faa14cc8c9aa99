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

#include "qnunicode/strings/UnicodeString.h"

class QNUnicodeDatabase;

namespace qnunicode::detail {

// A codepoint of the working list with its combining class (signed, as the forms compare it).
struct NormalizationElement {
  uint32_t codepoint;
  int32_t combiningClass;
  bool operator==(const NormalizationElement&) const = default;
};

// Counts in 64 bits; they are stored truncated to 32 bits, as a 32-bit counter would wrap.
struct NormalizationCounts {
  uint64_t decompositionReplacements = 0;
  uint64_t reorderings = 0;
  uint64_t compositionReplacements = 0;
};

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
    return _values[_blocks[codepoint >> kBlockShift] + (codepoint & (kBlockSize - 1))];
  }
  size_t memorySize() const {
    return _blocks.size() * sizeof(uint32_t) + _values.size() * sizeof(uint32_t);
  }

 private:
  std::vector<uint32_t> _blocks;
  std::vector<uint32_t> _values;
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
  int32_t combiningClass(uint32_t codepoint) const { return info(codepoint).combiningClass; }
  // The primary composite of a pair with the exclusions applied (after prepareComposition).
  bool composite(uint32_t first, uint32_t second, uint32_t* composite) const;

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

  struct Piece {
    uint32_t offset = 0;  // into _elements
    uint32_t length = 0;
  };
  struct Info {
    int32_t combiningClass = 0;
    // The full decomposition in canonical (0) and compatibility (1) mode, unordered, as the
    // mappings give it, and the number of mappings applied; `decomposes` false when the
    // codepoint stays itself.
    bool decomposes[2] = {false, false};
    Piece decomposition[2];
    uint32_t decompositionCount[2] = {0, 0};
    // The result and counts of the codepoint as a piece of its own, per form; meaningful only
    // where the codepoint is a boundary of that form and not inert.
    bool singleIsSelf[4] = {true, true, true, true};
    Piece single[4];
    uint32_t singleReorderings[4] = {0, 0, 0, 0};
    uint32_t singleCompositions[4] = {0, 0, 0, 0};
    // The composable pairs with this codepoint first: (second, composite), sorted by second.
    uint32_t pairsOffset = 0;
    uint32_t pairsLength = 0;
  };

  static constexpr uint32_t kInertBit = 1;      // << form
  static constexpr uint32_t kBoundaryBit = 16;  // << form
  static constexpr uint32_t kFlagBits = 8;

  const Info& info(uint32_t codepoint) const { return _infos[_trie.get(codepoint) >> kFlagBits]; }
  // Makes the trie and the BMP flags from one value per codepoint.
  void rebuildTrie(const std::vector<uint32_t>& values);

  template <typename Sink>
  void run(std::u16string_view text, Form form, Sink& sink, NormalizationCounts& counts) const;
  template <typename Sink>
  void appendSingle(uint32_t codepoint, uint32_t value, Form form, Sink& sink,
                    NormalizationCounts& counts) const;
  // Appends the codepoint's decomposition (or the codepoint) to the working list.
  void appendDecomposition(uint32_t codepoint, uint32_t value, uint32_t mode,
                           std::vector<NormalizationElement>& work,
                           NormalizationCounts& counts) const;
  // Orders the working list of one piece and, when asked, composes it and runs the Hangul pass.
  void finishPiece(bool compose, std::vector<NormalizationElement>& work,
                   std::vector<NormalizationElement>& scratch, NormalizationCounts& counts) const;
  uint64_t composePiece(std::vector<NormalizationElement>& work) const;

  // Per codepoint: (index into _infos) << kFlagBits | inert and boundary bits.
  CodepointTrie _trie;
  // The flag bits of the Basic Multilingual Plane again, one byte each, for the copying loop.
  std::vector<uint8_t> _bmpFlags;
  std::vector<Info> _infos;  // _infos[0]: class 0, no decomposition, no pairs
  std::vector<NormalizationElement> _elements;
  std::vector<std::pair<uint32_t, uint32_t>> _pairs;
  // Pairs whose first codepoint lies above 0x10FFFF (only a malformed UnicodeData has them).
  std::unordered_map<uint64_t, uint32_t> _outOfRangePairs;
  // A malformed UnicodeData can give a class that reads as negative; the cuts then no longer
  // hold and the whole text is worked on as one piece.
  bool _hasNegativeClasses = false;
  bool _compositionPrepared = false;
};

}  // namespace qnunicode::detail
