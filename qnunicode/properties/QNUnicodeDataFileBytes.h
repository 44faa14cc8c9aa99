#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace qnunicode::detail {

class MappedFile;

// True when the bytes are well-formed UTF-8 by the library's strict rules (no overlong forms,
// no encoded surrogates, nothing above U+10FFFF, no truncated sequence): exactly the bytes that
// decodeUTF8 accepts.
bool isWellFormedUTF8(std::string_view bytes);

// The bytes of one data file for a reader that goes through them once, mapped when the file can
// be mapped and read otherwise. A file that cannot be read, or is not well-formed UTF-8, is
// unreadable: the reader treats it as missing, just as when it decodes the whole text.
class UTF8DataFile {
 public:
  // No path is an unreadable file.
  explicit UTF8DataFile(const std::optional<std::string>& path);
  ~UTF8DataFile();
  UTF8DataFile(const UTF8DataFile&) = delete;
  UTF8DataFile& operator=(const UTF8DataFile&) = delete;

  bool isReadable() const { return _isReadable; }
  // Valid while the object lives.
  std::string_view bytes() const { return _bytes; }

 private:
  std::unique_ptr<MappedFile> _mapped;
  std::string _read;
  std::string_view _bytes;
  bool _isReadable = false;
};

// The pieces of a text split at every line feed, one at a time and without a list: the pieces
// splitAt gives, in order (n line feeds give n + 1 pieces, the last one possibly empty).
class LineCursor {
 public:
  explicit LineCursor(std::string_view text) : _text(text) {}
  // The next piece; false after the last one.
  bool next(std::string_view* line);
  // The offset of the next piece in the text.
  size_t position() const { return _position; }

 private:
  std::string_view _text;
  size_t _position = 0;
  bool _isDone = false;
};

// The number of pieces of a text split at every line feed: one more than its line feeds.
size_t lineCount(std::string_view text);

}  // namespace qnunicode::detail
