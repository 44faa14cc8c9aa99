#include "qnunicode/names/QNUnicodeNamesList.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNMappedFile.h"

using qnunicode::QNScanner;
using qnunicode::detail::MappedFile;
using Entry = QNUnicodeNamesList_CharEntry;

namespace {

// The name of this source file without its folders, for the reader's log lines.
constexpr const char* sourceFileName() {
  const char* name = __FILE__;
  for (const char* p = __FILE__; *p; ++p) {
    if (*p == '/') name = p + 1;
  }
  return name;
}

bool containsIgnoringASCIICase(std::u16string_view text, std::u16string_view needle) {
  if (needle.size() > text.size()) return false;
  for (size_t start = 0; start + needle.size() <= text.size(); ++start) {
    size_t i = 0;
    while (i < needle.size() &&
           qnunicode::asciiLowercase(text[start + i]) == qnunicode::asciiLowercase(needle[i]))
      ++i;
    if (i == needle.size()) return true;
  }
  return false;
}

// Whole-file UTF-8 check: the bytes are well-formed exactly when each maximal run of non-ASCII
// bytes is, since a multi-byte sequence never holds an ASCII byte. ASCII goes eight bytes at a
// time; only the (few) runs beyond it are handed to the decoder.
bool isWellFormedUTF8(std::string_view bytes) {
  const size_t size = bytes.size();
  for (size_t i = 0; i < size;) {
    uint64_t word;
    if (i + 8 <= size && (std::memcpy(&word, bytes.data() + i, 8), !(word & 0x8080808080808080u))) {
      i += 8;
      continue;
    }
    if (static_cast<uint8_t>(bytes[i]) < 0x80) {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < size && static_cast<uint8_t>(bytes[end]) >= 0x80) ++end;
    if (!qnunicode::decodeUTF8(bytes.substr(i, end - i))) return false;
    i = end;
  }
  return true;
}

}  // namespace

namespace qnunicode::detail {

// Reads names-list text in one pass: bytes of the mapped file (UTF-8 or Latin-1, whose syntax
// characters are all ASCII, so markers, tabs and line feeds are found among the bytes) or UTF-16
// units of a scanner's text. Only the annotation texts are decoded, straight into the list's
// text blocks; each entry's lines are grouped by kind as the entry ends. Nothing is allocated
// per line.
class NamesListBuilder {
 public:
  enum class Encoding { UTF16, UTF8, Latin1 };

  explicit NamesListBuilder(Encoding encoding) : _encoding(encoding) {}

  std::shared_ptr<QNUnicodeNamesListEntries> list() const { return _list; }

  void reserveEntries(size_t entries) { _list->_entries.reserve(entries); }

  // The file loop: an entry at each line that starts with a hexadecimal number, every other
  // line (headers, block and subheader lines, notices and annotations outside entries, blank
  // lines) passed over.
  template <typename Unit>
  void readText(const Unit* text, size_t size) {
    size_t position = 0;
    while (position < size) {
      const size_t lineStart = position;
      if (!hexNumberAt(text, size, position, nullptr)) {
        position = afterLine(text, size, position);
        continue;
      }
      position = readEntry(text, size, lineStart);
      if (position == lineStart) {
        QNLogFormat("%s:%u scanner did not progress - aborting", sourceFileName(), __LINE__);
        break;
      }
    }
  }

  // One entry from a heading line at `position`; answers where the entry's lines end (the start
  // of the first line that does not belong to it), or 0 when no number stands there.
  template <typename Unit>
  size_t readEntry(const Unit* text, size_t size, size_t position) {
    uint32_t codepoint;
    position = hexNumberAt(text, size, position, &codepoint);
    if (position == 0) return 0;
    position = afterLine(text, size, position);  // the character name

    // Annotation lines follow until a line that is neither tab-indented nor a notice: a blank
    // line, a header line or the next heading end the entry.
    _pending.clear();
    while (position < size) {
      uint32_t field;
      if (text[position] == '\t') {
        ++position;
        if (matches(text, size, position, "= ")) {
          field = Entry::AliasField, position += 2;
        } else if (matches(text, size, position, "% ")) {
          field = Entry::FormalAliasField, position += 2;
        } else if (matches(text, size, position, "X ")) {
          field = Entry::CrossRefField, position += 2;
        } else if (matches(text, size, position, ":")) {
          field = Entry::DecompositionField, position += 1;
        } else if (matches(text, size, position, "# ")) {
          field = Entry::CompatMappingField, position += 2;
        } else if (matches(text, size, position, ";")) {
          field = Entry::FieldCount, position += 1;  // an editorial comment, read and dropped
        } else {
          field = Entry::CommentField;  // keeps its own marker ("* ", "~ ", ...)
        }
      } else if (matches(text, size, position, "@+\t")) {
        field = Entry::NoticeField, position += 3;
      } else {
        break;
      }
      // A marker directly followed by the line feed gives an empty line text.
      const size_t end = lineEnd(text, size, position);
      if (field != Entry::FieldCount) addLine(field, text + position, end - position);
      position = end < size ? end + 1 : end;
    }
    endEntry(codepoint);
    return position;
  }

  // Indexes the entries by codepoint unless they are in codepoint order already.
  void finish() {
    QNUnicodeNamesListEntries& list = *_list;
    const auto byCodepoint = [](const Entry& a, const Entry& b) {
      return a.codepoint() < b.codepoint();
    };
    if (std::is_sorted(list._entries.begin(), list._entries.end(), byCodepoint)) return;
    list._byCodepoint.resize(list._entries.size());
    for (uint32_t i = 0; i < list._byCodepoint.size(); ++i) list._byCodepoint[i] = i;
    std::stable_sort(list._byCodepoint.begin(), list._byCodepoint.end(),
                     [&list, &byCodepoint](uint32_t a, uint32_t b) {
                       return byCodepoint(list._entries[a], list._entries[b]);
                     });
  }

 private:
  // Hexadecimal number at the position: an optional "0x" (only before a digit), then one or
  // more digits, saturating at 0xFFFFFFFF. Answers the position after it, or 0 (nothing read).
  template <typename Unit>
  static size_t hexNumberAt(const Unit* text, size_t size, size_t position, uint32_t* value) {
    if (position + 2 < size && text[position] == '0' &&
        (text[position + 1] == 'x' || text[position + 1] == 'X') &&
        qnunicode::hexDigitValue(text[position + 2]) >= 0) {
      position += 2;
    }
    const size_t first = position;
    uint64_t result = 0;
    for (int digit; position < size && (digit = qnunicode::hexDigitValue(text[position])) >= 0;
         ++position) {
      result = std::min<uint64_t>((result << 4) | static_cast<uint64_t>(digit), 0x100000000u);
    }
    if (position == first) return 0;
    if (value) *value = static_cast<uint32_t>(std::min<uint64_t>(result, 0xFFFFFFFFu));
    return position;
  }

  // The literal at the position, its letters matched without regard to ASCII case.
  template <typename Unit>
  static bool matches(const Unit* text, size_t size, size_t position, std::string_view literal) {
    if (size - position < literal.size()) return false;
    for (size_t i = 0; i < literal.size(); ++i) {
      uint32_t unit = text[position + i];
      if (unit >= 'a' && unit <= 'z') unit -= 32;
      if (unit != static_cast<uint32_t>(literal[i])) return false;
    }
    return true;
  }

  static size_t lineEnd(const char* text, size_t size, size_t position) {
    const void* lineFeed = std::memchr(text + position, '\n', size - position);
    return lineFeed ? static_cast<size_t>(static_cast<const char*>(lineFeed) - text) : size;
  }
  static size_t lineEnd(const char16_t* text, size_t size, size_t position) {
    const size_t lineFeed = std::u16string_view(text, size).find(u'\n', position);
    return lineFeed == std::u16string_view::npos ? size : lineFeed;
  }
  template <typename Unit>
  static size_t afterLine(const Unit* text, size_t size, size_t position) {
    const size_t end = lineEnd(text, size, position);
    return end < size ? end + 1 : end;
  }

  // Stores the line's text, decoded; the file was checked as a whole already. Only a UTF-8
  // line beyond ASCII (rare) is decoded by way of a string of its own.
  void addLine(uint32_t field, const char* bytes, size_t length) {
    const auto* begin = reinterpret_cast<const uint8_t*>(bytes);
    const auto* end = begin + length;
    if (_encoding == Encoding::Latin1 ||
        std::all_of(begin, end, [](uint8_t byte) { return byte < 0x80; })) {
      _pending.push_back({field, static_cast<uint32_t>(length), _list->_text.store(begin, end)});
    } else {
      const UnicodeString text =
          qnunicode::decodeUTF8(std::string_view(bytes, length)).value_or(UnicodeString());
      _pending.push_back({field, static_cast<uint32_t>(text.size()),
                          _list->_text.store(text.begin(), text.end())});
    }
  }
  void addLine(uint32_t field, const char16_t* units, size_t length) {
    _pending.push_back(
        {field, static_cast<uint32_t>(length), _list->_text.store(units, units + length)});
  }

  // Stores the entry with its lines grouped by kind in display order, file order kept within a
  // kind.
  void endEntry(uint32_t codepoint) {
    Entry::Line* lines = _list->_lines.allocate(_pending.size());
    Entry::Line* next = lines;
    for (uint32_t field = 0; field < Entry::FieldCount && next != lines + _pending.size();
         ++field) {
      for (const PendingLine& line : _pending) {
        if (line.field == field) *next++ = {line.text, line.length, field};
      }
    }
    _list->_entries.push_back(Entry(codepoint, lines, static_cast<uint32_t>(_pending.size())));
  }

  struct PendingLine {
    uint32_t field;
    uint32_t length;
    const char16_t* text;
  };

  Encoding _encoding;
  std::shared_ptr<QNUnicodeNamesListEntries> _list = std::make_shared<QNUnicodeNamesListEntries>();
  std::vector<PendingLine> _pending;  // the current entry's lines, reused from entry to entry
};

}  // namespace qnunicode::detail

using qnunicode::detail::NamesListBuilder;

// ---- Reading ----------------------------------------------------------------------------------

std::shared_ptr<QNUnicodeNamesListEntries> QNUnicodeNamesList_CharEntry::readNamesListAtPath(
    const std::optional<std::string>& path) {
  std::optional<MappedFile> file;
  if (path) file.emplace(*path);
  // The lines are counted in 32 bits: a file beyond that is not a names list.
  if (!file || !file->isMapped() || file->bytes().size() > std::numeric_limits<uint32_t>::max()) {
    QNLogFormat("%s:%u could not open path '%s'", sourceFileName(), __LINE__,
                path ? path->c_str() : "<nil>");
    return nullptr;
  }
  const std::string_view bytes = file->bytes();

  // Latin-1 unless the first line is a comment that names UTF-8. A first line that is not valid
  // UTF-8 itself cannot be read for the charset and counts as UTF-8.
  bool isUTF8 = false;
  if (!bytes.empty() && bytes.front() == ';') {
    const size_t lineFeed = bytes.find('\n');
    if (lineFeed != std::string_view::npos) {
      const std::optional<UnicodeString> firstLine =
          qnunicode::decodeUTF8(bytes.substr(0, lineFeed));
      isUTF8 = !firstLine || containsIgnoringASCIICase(*firstLine, u"utf-8");
    }
  }
  if (isUTF8 && !isWellFormedUTF8(bytes)) {
    QNLogFormat("%s:%u could not interpret NamesList as %s string", sourceFileName(), __LINE__,
                "Unicode (UTF-8)");
    return nullptr;
  }

  NamesListBuilder builder(isUTF8 ? NamesListBuilder::Encoding::UTF8
                                  : NamesListBuilder::Encoding::Latin1);
  // The published file has an entry for every 48 bytes or so.
  builder.reserveEntries(std::max<size_t>(20000, bytes.size() / 40));
  builder.readText(bytes.data(), bytes.size());
  builder.finish();
  return builder.list();
}

std::shared_ptr<const QNUnicodeNamesList_CharEntry>
QNUnicodeNamesList_CharEntry::charEntryWithScanner(QNScanner& scanner) {
  const std::u16string_view text = scanner.text();
  const size_t start = scanner.scanLocation();
  NamesListBuilder builder(NamesListBuilder::Encoding::UTF16);
  const size_t end = builder.readEntry(text.data(), text.size(), start);
  if (end == 0) return nullptr;
  scanner.setScanLocation(end);
  builder.finish();
  // The entry shares ownership of the one-entry list that holds its texts.
  const std::shared_ptr<QNUnicodeNamesListEntries> list = builder.list();
  return std::shared_ptr<const QNUnicodeNamesList_CharEntry>(list, &(*list)[0]);
}

// ---- Entries ----------------------------------------------------------------------------------

QNUnicodeNamesList_CharEntry::Lines QNUnicodeNamesList_CharEntry::linesOfField(Field field) const {
  const Line* begin = _lines;
  const Line* const end = _lines + _lineCount;
  while (begin != end && begin->field < field) ++begin;
  const Line* last = begin;
  while (last != end && last->field == field) ++last;
  if (begin == last) return std::nullopt;
  return LineList(begin, last);
}

UnicodeString QNUnicodeNamesList_CharEntry::allLinesString() const {
  static constexpr std::u16string_view kPrefixes[FieldCount] = {
      u"\t\t= ",     u"\t\t\u225D ", u"\t\t",        u"\t\t\u2192 ",
      u"\t\tEQUIV ", u"\t\tAPPROX ", u"\t\tnotice: "};
  UnicodeString text;
  for (const Line* line = _lines; line != _lines + _lineCount; ++line) {
    text.append(kPrefixes[line->field]);
    std::u16string_view lineText(line->text, line->length);
    // Comments and notices show a leading asterisk as a bullet.
    if ((line->field == CommentField || line->field == NoticeField) && !lineText.empty() &&
        lineText.front() == u'*') {
      text.push_back(u'\u2022');
      lineText.remove_prefix(1);
    }
    text.append(lineText);
    text.push_back(u'\n');
  }
  if (!text.empty()) text.pop_back();
  return text;
}

const QNUnicodeNamesList_CharEntry* QNUnicodeNamesListEntries::entryForCodepoint(
    uint32_t codepoint) const {
  if (_byCodepoint.empty()) {
    const auto found =
        std::lower_bound(_entries.begin(), _entries.end(), codepoint,
                         [](const Entry& entry, uint32_t c) { return entry.codepoint() < c; });
    return found != _entries.end() && found->codepoint() == codepoint ? &*found : nullptr;
  }
  const auto found = std::lower_bound(
      _byCodepoint.begin(), _byCodepoint.end(), codepoint,
      [this](uint32_t position, uint32_t c) { return _entries[position].codepoint() < c; });
  return found != _byCodepoint.end() && _entries[*found].codepoint() == codepoint
             ? &_entries[*found]
             : nullptr;
}

// ---- The database's names list ----------------------------------------------------------------

bool QNUnicodeDatabase::readNamesList() {
  _namesList = QNUnicodeNamesList_CharEntry::readNamesListAtPath(
      filenameWithPrefix(QNUnicodeFilePrefixNamesList));
  return true;
}

std::shared_ptr<const QNUnicodeNamesListEntries> QNUnicodeDatabase::namesList() {
  // A failed read leaves the list none, so the next call reads (and logs) again.
  if (!_namesList) readNamesList();
  return _namesList;
}

const QNUnicodeNamesList_CharEntry* QNUnicodeDatabase::namesListCharEntryForCodepoint(
    uint32_t codepoint) {
  if (!_namesList) readNamesList();
  return _namesList ? _namesList->entryForCodepoint(codepoint) : nullptr;
}
