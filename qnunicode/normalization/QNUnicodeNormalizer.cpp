// The normalizer: the four forms of a text in one pass over the tables, with their counts.

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qnunicode/normalization/QNUnicodeHangulConstants.h"
#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"
#include "qnunicode/strings/QNTextPrimitives.h"

// The hot helpers of the normalization loop are always inlined into it.
#define QN_HOT_INLINE __attribute__((always_inline)) inline

namespace qnunicode::detail {

namespace {

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

// ---- Pieces --------------------------------------------------------------------------------

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
  if (work.size() < 2) return;
  counts.reorderings += orderCanonically(work, scratch, _hasNegativeClasses);
  if (!compose) return;
  counts.compositionReplacements += composePiece(work);
  counts.compositionReplacements += hangulPass(work);
}

// ---- The pass over a text ------------------------------------------------------------------

// One pass of a form over a text into a sink. Every codepoint is looked up once. The pass moves
// from cut to cut; at each one it takes the cheapest step that applies: a run of inert
// codepoints copied as it stands, boundary codepoints written from their precomputed results,
// two fast compositions (conjoining jamo, a starter and one mark), or else the general piece up to
// the next boundary.
//
// The state: `_position` is the start of the text or of a boundary codepoint; when `_carried`,
// that codepoint is already decoded in `_current` with its trie value in `_value`. The object
// lives on the stack of one call and its steps are inlined into run(), so the state stays in
// registers.
template <typename Sink>
class NormalizationRun {
 public:
  using Tables = NormalizationTables;

  // The lists of a general piece are the caller's, so that handing them on never lets the
  // state escape from registers.
  NormalizationRun(const Tables& tables, std::u16string_view text, Tables::Form form, Sink& sink,
                   NormalizationCounts& counts, std::vector<Element>& work,
                   std::vector<Element>& scratch)
      : _tables(tables),
        _units(text.data()),
        _length(text.size()),
        _form(form),
        _inertBit(Tables::kInertBit << form),
        _boundaryBit(Tables::kBoundaryBit << form),
        _compose((form & 2) != 0),
        _sink(sink),
        _counts(counts),
        _work(work),
        _scratch(scratch) {}

  QN_HOT_INLINE void run() {
    for (;;) {
      if ((!_carried || (_value & _inertBit)) && !copyInertRun()) return;
      _carried = false;
      Step step = Step::NotTaken;
      if (_value & _boundaryBit) step = writeBoundaryPieces();
      if (step == Step::NotTaken && _compose) step = composeJamo();
      if (step == Step::NotTaken) step = composeStarterAndMark();
      if (step == Step::NotTaken) step = writePiece();
      if (step == Step::Finished) return;
    }
  }

 private:
  enum class Step {
    Finished,  // the whole text is written
    Moved,     // written up to _position; go on from there
    NotTaken,  // the step does not apply to the codepoint now decoded; go on to the next step
  };

  QN_HOT_INLINE Decoded decode(size_t position) const {
    return decodeAt(_units, _length, position);
  }
  QN_HOT_INLINE uint32_t valueOf(uint32_t codepoint) const { return _tables._trie.get(codepoint); }
  // Goes on at `position` with its codepoint decoded.
  QN_HOT_INLINE Step moveTo(size_t position, Decoded current, uint32_t value) {
    _position = position;
    _current = current;
    _value = value;
    _carried = true;
    return Step::Moved;
  }

  // Copies the run of inert codepoints of the Basic Multilingual Plane at _position as it
  // stands, up to the first codepoint that is not inert or is a surrogate, and leaves that one
  // decoded at _position. An inert codepoint right before a codepoint that is not a boundary is
  // taken back: it is the starter that what follows may compose with. False at the end.
  QN_HOT_INLINE bool copyInertRun() {
    const char16_t belowAllInert = _tables._belowAllInert[_form];
    const uint64_t* const inertBits =
        _tables._bmpInertBits.data() + _form * Tables::kInertWordsPerForm;
    size_t end = _position;
    bool found = false;
    for (;;) {
      end = skipUnitsBelow(_units, end, _length, belowAllInert);
      // Inert units from the threshold on, until a unit below it (back to the block skip).
      while (end < _length && _units[end] >= belowAllInert &&
             _tables.isInertUnit(inertBits, _units[end])) {
        ++end;
      }
      if (end >= _length) break;
      const char16_t unit = _units[end];
      if (unit < belowAllInert) continue;
      if (isSurrogate(unit)) {
        _current = decode(end);
        _value = valueOf(_current.codepoint);
      } else {
        _current = {unit, end + 1};
        _value = _tables._trie.getBelowLimit(unit);
      }
      found = true;
      break;
    }
    _sink.appendUnits(_units + _position, end - _position);
    if (!found) return false;
    if (!(_value & _boundaryBit) && end > _position) {
      _sink.removeLastUnit();
      _current = {_units[end - 1], end};
      _value = _tables._trie.getBelowLimit(_units[end - 1]);
      --end;
    }
    _position = end;
    return true;
  }

  // Boundaries followed by boundaries are pieces of their own, written from their results. Not
  // taken once a boundary is followed by a codepoint that is not one: that piece starts here.
  QN_HOT_INLINE Step writeBoundaryPieces() {
    for (;;) {
      if (_current.next >= _length) {
        writeSingle(_current.codepoint, _value);
        return Step::Finished;
      }
      const size_t nextStart = _current.next;
      const Decoded next = decode(nextStart);
      const uint32_t nextValue = valueOf(next.codepoint);
      if (!(nextValue & _boundaryBit)) return Step::NotTaken;
      // The record of what comes next is fetched while this one is written.
      if (!(nextValue & (Tables::kSimpleBit | Tables::kHangulBit))) {
        __builtin_prefetch(&_tables._infos[nextValue >> Tables::kPayloadShift]);
      }
      writeSingle(_current.codepoint, _value);
      _position = nextStart;
      _current = next;
      _value = nextValue;
      if (_value & _inertBit) return moveTo(_position, _current, _value);
    }
  }

  // The result and counts of a boundary codepoint that is a piece of its own.
  QN_HOT_INLINE void writeSingle(uint32_t codepoint, uint32_t value) {
    if (value & _inertBit) {
      _sink.appendCodepoint(codepoint);
      return;
    }
    if (value & Tables::kHangulBit) {
      uint32_t jamo[3];
      const size_t count = hangul::decomposeSyllable(codepoint, jamo);
      _counts.decompositionReplacements += 1;
      if (_compose) {
        _counts.compositionReplacements += count - 1;
        _sink.appendCodepoint(codepoint);
      } else {
        for (size_t i = 0; i < count; ++i) _sink.appendCodepoint(jamo[i]);
      }
      return;
    }
    const Tables::Info& single = _tables._infos[value >> Tables::kPayloadShift];
    const uint32_t mode = _form & 1;
    if (single.decomposes & (1 << mode)) {
      _counts.decompositionReplacements += single.decompositionCount[mode];
    }
    _counts.reorderings += single.singleReorderings[_form];
    _counts.compositionReplacements += single.singleCompositions[_form];
    if (single.singleIsSelf & (1 << _form)) {
      _sink.appendCodepoint(codepoint);
    } else {
      _sink.appendElements(_tables._elements.data() + single.singleOffset[_form],
                           single.singleLength[_form]);
    }
  }

  // Conjoining jamo L V or L V T (with any of the 29 accepted trailing values) followed by a
  // boundary: when no pair of the map involves jamo, they make one syllable in the Hangul pass,
  // one combination per jamo after the first.
  QN_HOT_INLINE Step composeJamo() {
    if (!_tables._jamoComposeAlone || _current.codepoint - hangul::LBase >= hangul::LCount ||
        !Tables::isSimpleStarter(_value) || _current.next >= _length) {
      return Step::NotTaken;
    }
    const Decoded vowel = decode(_current.next);
    const uint32_t vowelValue = valueOf(vowel.codepoint);
    if (vowel.codepoint - hangul::VBase >= hangul::VCount || !Tables::isSimpleStarter(vowelValue)) {
      return Step::NotTaken;
    }
    uint32_t syllable = 0;
    hangul::combine(_current.codepoint, vowel.codepoint, &syllable);
    uint32_t combinations = 1;
    size_t nextStart = vowel.next;  // what follows the jamo taken so far
    Decoded after{0, 0};
    uint32_t afterValue = 0;
    if (nextStart < _length) {
      after = decode(nextStart);
      afterValue = valueOf(after.codepoint);
      if (after.codepoint - hangul::TBase <= hangul::TAcceptedSpan &&
          Tables::isSimpleStarter(afterValue)) {
        syllable += after.codepoint - hangul::TBase;
        combinations = 2;
        nextStart = after.next;
        if (nextStart < _length) {
          after = decode(nextStart);
          afterValue = valueOf(after.codepoint);
        }
      }
    }
    if (nextStart < _length && !(afterValue & _boundaryBit)) return Step::NotTaken;
    _sink.appendCodepoint(syllable);
    _counts.compositionReplacements += combinations;
    if (nextStart >= _length) return Step::Finished;
    return moveTo(nextStart, after, afterValue);
  }

  // The most common piece: a starter without a decomposition and one codepoint after it without
  // one either, such as a letter and its accent. Neither moves; in a composing form the second
  // composes with the first or, failing that, may make a Hangul syllable with it.
  QN_HOT_INLINE Step composeStarterAndMark() {
    if (!Tables::isSimpleStarter(_value) || _current.next >= _length ||
        _tables._hasNegativeClasses) {
      return Step::NotTaken;
    }
    const Decoded second = decode(_current.next);
    const uint32_t secondValue = valueOf(second.codepoint);
    if (!(secondValue & Tables::kSimpleBit)) return Step::NotTaken;
    Decoded third{0, 0};
    uint32_t thirdValue = 0;
    const bool last = second.next >= _length;
    if (!last) {
      third = decode(second.next);
      thirdValue = valueOf(third.codepoint);
      if (!(thirdValue & _boundaryBit)) return Step::NotTaken;
    }
    uint32_t composed;
    if (_compose && (_tables.composite(_current.codepoint, second.codepoint, &composed) ||
                     hangul::combine(_current.codepoint, second.codepoint, &composed))) {
      _sink.appendCodepoint(composed);
      _counts.compositionReplacements += 1;
    } else {
      _sink.appendCodepoint(_current.codepoint);
      _sink.appendCodepoint(second.codepoint);
    }
    if (last) return Step::Finished;
    return moveTo(second.next, third, thirdValue);
  }

  // The general piece: its first codepoint and every following one up to the next boundary,
  // decomposed, ordered and, in a composing form, composed.
  QN_HOT_INLINE Step writePiece() {
    _work.clear();
    const uint32_t mode = _form & 1;
    for (;;) {
      _tables.appendDecomposition(_current.codepoint, _value, mode, _work, _counts);
      _position = _current.next;
      if (_position >= _length) break;
      _current = decode(_position);
      _value = valueOf(_current.codepoint);
      if (_value & _boundaryBit) break;
    }
    _tables.finishPiece(_compose, _work, _scratch, _counts);
    _sink.appendElements(_work.data(), _work.size());
    if (_position >= _length) return Step::Finished;
    _carried = true;
    return Step::Moved;
  }

  const Tables& _tables;
  const char16_t* const _units;
  const size_t _length;
  const Tables::Form _form;
  const uint32_t _inertBit;
  const uint32_t _boundaryBit;
  const bool _compose;
  Sink& _sink;
  NormalizationCounts& _counts;
  std::vector<Element>& _work;
  std::vector<Element>& _scratch;

  size_t _position = 0;
  Decoded _current{0, 0};
  uint32_t _value = 0;
  bool _carried = false;
};

// ---- Entry points --------------------------------------------------------------------------

void NormalizationTables::normalize(std::u16string_view text, Form form, UnicodeString& result,
                                    NormalizationCounts& counts) const {
  UTF16Sink sink(result, text.size() + text.size() / 8 + 8);
  std::vector<Element> work, scratch;  // allocated only when a piece needs them
  NormalizationRun<UTF16Sink>(*this, text, form, sink, counts, work, scratch).run();
}

void NormalizationTables::decompose(std::u16string_view text, Form form,
                                    std::vector<uint32_t>& result,
                                    NormalizationCounts& counts) const {
  result.reserve(result.size() + text.size() + 8);
  CodepointSink sink{result};
  std::vector<Element> work, scratch;
  NormalizationRun<CodepointSink>(*this, text, static_cast<Form>(form & 1), sink, counts, work,
                                  scratch)
      .run();
}

}  // namespace qnunicode::detail
