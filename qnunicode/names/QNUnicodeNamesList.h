#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNBlockArena.h"
#include "qnunicode/util/QNScanner.h"

namespace qnunicode::detail {
class NamesListBuilder;
}

// One character's annotations from the names list: the lines under its heading line. The
// heading's character name is not kept (names come from UnicodeData). Each list is none until
// its first line arrives; lines keep file order. Entries never change once read.
//
// An entry is a view into the list that holds it, where its lines and their texts are kept; it
// stays valid as long as its list.
class QNUnicodeNamesList_CharEntry {
 public:
  // The annotation kinds in display order.
  enum Field : uint32_t {
    AliasField,          // "\t= "
    FormalAliasField,    // "\t% "
    CommentField,        // "\t" and any other text, its own marker kept
    CrossRefField,       // "\tX " or "\tx "
    DecompositionField,  // "\t:", the blank after the colon kept
    CompatMappingField,  // "\t# "
    NoticeField,         // "@+\t"
    FieldCount,
  };
  // One stored line: its text in the list's buffer and its kind.
  struct Line {
    const char16_t* text;
    uint32_t length;
    uint32_t field;
  };

  // The lines of one kind, in file order, as views of their texts.
  class LineList {
   public:
    class iterator {
     public:
      using iterator_category = std::random_access_iterator_tag;
      using value_type = std::u16string_view;
      using difference_type = std::ptrdiff_t;
      using pointer = void;
      using reference = std::u16string_view;

      iterator() = default;
      explicit iterator(const Line* line) : _line(line) {}
      std::u16string_view operator*() const { return {_line->text, _line->length}; }
      std::u16string_view operator[](difference_type n) const { return *(*this + n); }
      iterator& operator++() { return ++_line, *this; }
      iterator operator++(int) { return iterator(_line++); }
      iterator& operator--() { return --_line, *this; }
      iterator operator--(int) { return iterator(_line--); }
      iterator& operator+=(difference_type n) { return _line += n, *this; }
      iterator& operator-=(difference_type n) { return _line -= n, *this; }
      friend iterator operator+(iterator i, difference_type n) { return i += n; }
      friend iterator operator+(difference_type n, iterator i) { return i += n; }
      friend iterator operator-(iterator i, difference_type n) { return i -= n; }
      friend difference_type operator-(iterator a, iterator b) { return a._line - b._line; }
      friend auto operator<=>(iterator a, iterator b) = default;

     private:
      const Line* _line = nullptr;
    };

    LineList(const Line* begin, const Line* end) : _begin(begin), _end(end) {}
    iterator begin() const { return iterator(_begin); }
    iterator end() const { return iterator(_end); }
    size_t size() const { return static_cast<size_t>(_end - _begin); }
    bool empty() const { return _begin == _end; }
    std::u16string_view operator[](size_t i) const { return {_begin[i].text, _begin[i].length}; }
    // The lines as strings of their own.
    std::vector<UnicodeString> strings() const { return {begin(), end()}; }

   private:
    const Line* _begin;
    const Line* _end;
  };
  using Lines = std::optional<LineList>;

  // Reads a names-list file into its entries in file order. None when the file cannot be read
  // or decoded; each failure logs one line naming this source file and line.
  static std::shared_ptr<QNUnicodeNamesListEntries> readNamesListAtPath(
      const std::optional<std::string>& path);

  // Builds one entry from a scanner at the start of a heading line and leaves the scanner at the
  // start of the first line that does not belong to the entry. None (the scanner unmoved) when
  // no hexadecimal number stands there. The scanner is expected to skip nothing and to match
  // literals without regard to case, as the file reader sets it up. The entry keeps its own
  // copy of its texts.
  static std::shared_ptr<const QNUnicodeNamesList_CharEntry> charEntryWithScanner(
      qnunicode::QNScanner& scanner);

  // The annotations as display text, one line per stored text in the order aliases, formal
  // aliases, comments, cross references, decompositions, compatibility mappings, notices, with
  // their display symbols; no line feed after the last line, "" without annotations.
  UnicodeString allLinesString() const;

  uint32_t codepoint() const { return _codepoint; }
  Lines aliases() const { return linesOfField(AliasField); }
  Lines formalAliases() const { return linesOfField(FormalAliasField); }
  Lines comments() const { return linesOfField(CommentField); }
  Lines crossRefs() const { return linesOfField(CrossRefField); }
  Lines decompositions() const { return linesOfField(DecompositionField); }
  Lines compatMappings() const { return linesOfField(CompatMappingField); }
  Lines notices() const { return linesOfField(NoticeField); }
  // Every stored line, the kinds in display order and file order within each kind.
  LineList allLines() const { return {_lines, _lines + _lineCount}; }

 private:
  friend class qnunicode::detail::NamesListBuilder;
  QNUnicodeNamesList_CharEntry(uint32_t codepoint, const Line* lines, uint32_t lineCount)
      : _lines(lines), _codepoint(codepoint), _lineCount(lineCount) {}
  Lines linesOfField(Field field) const;

  const Line* _lines;  // this entry's lines, grouped by kind in display order
  uint32_t _codepoint;
  uint32_t _lineCount;
};

// The entries of a names list in file order, with the texts and lines of all of them in blocks
// that never move. Entries are handed out by reference and live as long as the list.
class QNUnicodeNamesListEntries {
 public:
  using Entry = QNUnicodeNamesList_CharEntry;
  using const_iterator = std::vector<Entry>::const_iterator;

  QNUnicodeNamesListEntries() = default;
  // The entries point into the list's own buffers.
  QNUnicodeNamesListEntries(const QNUnicodeNamesListEntries&) = delete;
  QNUnicodeNamesListEntries& operator=(const QNUnicodeNamesListEntries&) = delete;

  size_t size() const { return _entries.size(); }
  bool empty() const { return _entries.empty(); }
  const Entry& operator[](size_t i) const { return _entries[i]; }
  const_iterator begin() const { return _entries.begin(); }
  const_iterator end() const { return _entries.end(); }

  // The first entry in file order whose codepoint is the given one; none when there is none.
  const Entry* entryForCodepoint(uint32_t codepoint) const;

 private:
  friend class qnunicode::detail::NamesListBuilder;

  qnunicode::detail::BlockArena<char16_t> _text{size_t{1} << 15};
  qnunicode::detail::BlockArena<Entry::Line> _lines{size_t{1} << 12};
  std::vector<Entry> _entries;
  // Positions of the entries sorted by codepoint (the first of equal ones first); empty when the
  // entries themselves are in codepoint order, as in the published file.
  std::vector<uint32_t> _byCodepoint;
};
