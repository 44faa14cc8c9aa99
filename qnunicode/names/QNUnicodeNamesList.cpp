#include "qnunicode/names/QNUnicodeNamesList.h"

#include <algorithm>
#include <utility>

#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNMappedFile.h"

using qnunicode::QNScanner;
using qnunicode::detail::MappedFile;

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
  const auto lower = [](char16_t u) -> char16_t { return (u >= u'A' && u <= u'Z') ? u + 32 : u; };
  if (needle.size() > text.size()) return false;
  for (size_t start = 0; start + needle.size() <= text.size(); ++start) {
    size_t i = 0;
    while (i < needle.size() && lower(text[start + i]) == lower(needle[i])) ++i;
    if (i == needle.size()) return true;
  }
  return false;
}

// The rest of the current line, up to (not including) its line feed or the end of the text; the
// scanner moves past the line feed. (A plain search: a line feed has no case to ignore.)
std::u16string_view takeRestOfLine(QNScanner& scanner) {
  const std::u16string_view text = scanner.text();
  const size_t start = scanner.scanLocation();
  const size_t lineFeed = text.find(u'\n', start);
  if (lineFeed == std::u16string_view::npos) {
    scanner.setScanLocation(text.size());
    return text.substr(start);
  }
  scanner.setScanLocation(lineFeed + 1);
  return text.substr(start, lineFeed - start);
}

// Strict UTF-8 decoding with runs of ASCII bytes copied as they are: a multi-byte sequence never
// holds an ASCII byte, so decoding the runs between them one by one gives the same text and
// fails exactly when the whole would.
std::optional<UnicodeString> decodeUTF8Text(std::string_view bytes) {
  UnicodeString text(bytes.size(), u'\0');  // never more units than bytes
  size_t length = 0;
  for (size_t i = 0; i < bytes.size();) {
    while (i < bytes.size() && static_cast<uint8_t>(bytes[i]) < 0x80) {
      text[length++] = static_cast<char16_t>(bytes[i++]);
    }
    size_t end = i;
    while (end < bytes.size() && static_cast<uint8_t>(bytes[end]) >= 0x80) ++end;
    if (end == i) break;
    const std::optional<UnicodeString> run = qnunicode::decodeUTF8(bytes.substr(i, end - i));
    if (!run) return std::nullopt;
    std::copy(run->begin(), run->end(), text.begin() + static_cast<ptrdiff_t>(length));
    length += run->size();
    i = end;
  }
  text.resize(length);
  return text;
}

void appendLines(UnicodeString& text, const QNUnicodeNamesList_CharEntry::Lines& lines,
                 std::u16string_view prefix, bool bulletForAsterisk) {
  if (!lines) return;
  for (const UnicodeString& line : *lines) {
    text.append(prefix);
    if (bulletForAsterisk && !line.empty() && line.front() == u'*') {
      text.push_back(u'\u2022');
      text.append(line, 1);
    } else {
      text.append(line);
    }
    text.push_back(u'\n');
  }
}

}  // namespace

// ---- Reading ----------------------------------------------------------------------------------

std::shared_ptr<QNUnicodeNamesListEntries> QNUnicodeNamesList_CharEntry::readNamesListAtPath(
    const std::optional<std::string>& path) {
  std::optional<MappedFile> file;
  if (path) file.emplace(*path);
  if (!file || !file->isMapped()) {
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
  UnicodeString text;
  if (isUTF8) {
    std::optional<UnicodeString> decoded = decodeUTF8Text(bytes);
    if (!decoded) {
      QNLogFormat("%s:%u could not interpret NamesList as %s string", sourceFileName(), __LINE__,
                  "Unicode (UTF-8)");
      return nullptr;
    }
    text = std::move(*decoded);
  } else {
    text = qnunicode::decodeLatin1(bytes);
  }

  // Every blank and tab is significant; markers match without regard to case.
  QNScanner scanner(text, QNScanner::Skip::Nothing);
  scanner.setCaseSensitive(false);
  auto entries = std::make_shared<QNUnicodeNamesListEntries>();
  entries->reserve(20000);
  while (!scanner.isAtEnd()) {
    const size_t lineStart = scanner.scanLocation();
    if (!scanner.scanHexInt(nullptr)) {
      // Header, block and subheader lines, notices and annotations outside entries, blank lines.
      takeRestOfLine(scanner);
      continue;
    }
    scanner.setScanLocation(lineStart);
    std::shared_ptr<QNUnicodeNamesList_CharEntry> entry = charEntryWithScanner(scanner);
    if (scanner.scanLocation() == lineStart) {
      QNLogFormat("%s:%u scanner did not progress - aborting", sourceFileName(), __LINE__);
      break;
    }
    if (entry) entries->push_back(std::move(entry));
  }
  return entries;
}

std::shared_ptr<QNUnicodeNamesList_CharEntry> QNUnicodeNamesList_CharEntry::charEntryWithScanner(
    QNScanner& scanner) {
  uint32_t codepoint;
  if (!scanner.scanHexInt(&codepoint)) return nullptr;
  std::shared_ptr<QNUnicodeNamesList_CharEntry> entry(new QNUnicodeNamesList_CharEntry(codepoint));
  takeRestOfLine(scanner);  // the character name

  // Annotation lines follow until a line that is neither tab-indented nor a notice: a blank
  // line, a header line or the next heading end the entry, and the scanner stays at its start.
  while (!scanner.isAtEnd()) {
    Lines* target;
    if (scanner.scanString(u"\t")) {
      if (scanner.scanString(u"= ")) {
        target = &entry->_aliases;
      } else if (scanner.scanString(u"% ")) {
        target = &entry->_formalAliases;
      } else if (scanner.scanString(u"X ")) {
        target = &entry->_crossRefs;
      } else if (scanner.scanString(u":")) {
        target = &entry->_decompositions;
      } else if (scanner.scanString(u"# ")) {
        target = &entry->_compatMappings;
      } else if (scanner.scanString(u";")) {
        target = nullptr;  // an editorial comment, read and dropped
      } else {
        target = &entry->_comments;  // keeps its own marker ("* ", "~ ", ...)
      }
    } else if (scanner.scanString(u"@+\t")) {
      target = &entry->_notices;
    } else {
      break;
    }
    // A marker directly followed by the line feed gives an empty line text.
    const std::u16string_view line = takeRestOfLine(scanner);
    if (target) addLine(line, *target);
  }
  return entry;
}

void QNUnicodeNamesList_CharEntry::addLine(std::u16string_view line, Lines& toArray) {
  if (!toArray) {
    toArray.emplace();
    toArray->reserve(1);
  }
  toArray->emplace_back(line);
}

// ---- Display text -----------------------------------------------------------------------------

UnicodeString QNUnicodeNamesList_CharEntry::allLinesString() const {
  UnicodeString text;
  appendLines(text, _aliases, u"\t\t= ", false);
  appendLines(text, _formalAliases, u"\t\t\u225D ", false);
  appendLines(text, _comments, u"\t\t", true);
  appendLines(text, _crossRefs, u"\t\t\u2192 ", false);
  appendLines(text, _decompositions, u"\t\tEQUIV ", false);
  appendLines(text, _compatMappings, u"\t\tAPPROX ", false);
  appendLines(text, _notices, u"\t\tnotice: ", true);
  if (!text.empty()) text.pop_back();
  return text;
}

// ---- The database's names list ----------------------------------------------------------------

bool QNUnicodeDatabase::readNamesList() {
  _namesList = QNUnicodeNamesList_CharEntry::readNamesListAtPath(
      filenameWithPrefix(QNUnicodeFilePrefixNamesList));
  // The entry lookup: each codepoint's first entry in file order, sorted by codepoint.
  _namesListPositions.clear();
  if (_namesList) {
    _namesListPositions.reserve(_namesList->size());
    for (uint32_t i = 0; i < _namesList->size(); ++i) {
      _namesListPositions.emplace_back((*_namesList)[i]->codepoint(), i);
    }
    std::sort(_namesListPositions.begin(), _namesListPositions.end());
    const auto sameCodepoint = [](const auto& a, const auto& b) { return a.first == b.first; };
    _namesListPositions.erase(
        std::unique(_namesListPositions.begin(), _namesListPositions.end(), sameCodepoint),
        _namesListPositions.end());
    _namesListPositions.shrink_to_fit();
  }
  return true;
}

std::shared_ptr<const QNUnicodeNamesListEntries> QNUnicodeDatabase::namesList() {
  // A failed read leaves the list none, so the next call reads (and logs) again.
  if (!_namesList) readNamesList();
  return _namesList;
}

std::shared_ptr<const QNUnicodeNamesList_CharEntry>
QNUnicodeDatabase::namesListCharEntryForCodepoint(uint32_t codepoint) {
  if (!_namesList) readNamesList();
  if (!_namesList) return nullptr;
  const auto found = std::lower_bound(
      _namesListPositions.begin(), _namesListPositions.end(), codepoint,
      [](const std::pair<uint32_t, uint32_t>& position, uint32_t c) { return position.first < c; });
  if (found == _namesListPositions.end() || found->first != codepoint) return nullptr;
  return (*_namesList)[found->second];
}
