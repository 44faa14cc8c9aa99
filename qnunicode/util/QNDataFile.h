#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

namespace qnunicode::detail {

class MappedFile;

// True when the bytes are well-formed UTF-8 by the library's strict rules (no overlong forms,
// no encoded surrogates, nothing above U+10FFFF, no truncated sequence): exactly the bytes that
// decodeUTF8 accepts.
bool isWellFormedUTF8(std::string_view bytes);

// The one reading path of the library's data files: a file's whole content, mapped when it is a
// regular file and read otherwise (a pipe, a device). Readers of UCD text files ask for a check
// that the bytes are well-formed UTF-8: a file that fails it, or cannot be read at all, is
// unreadable, and the reader treats it as missing. Readers that judge each line on its own (the
// UnicodeData parser) ask for the bytes as they are.
class DataFile {
 public:
  enum class Check {
    WellFormedUTF8,  // unreadable unless isWellFormedUTF8 holds for the whole file
    None,            // any bytes
  };

  // No path is an unreadable file.
  explicit DataFile(const std::optional<std::string>& path, Check check = Check::WellFormedUTF8);
  ~DataFile();
  DataFile(DataFile&&) noexcept;
  DataFile& operator=(DataFile&&) noexcept;

  bool isReadable() const { return _isReadable; }
  // Valid while the object lives and until release().
  std::string_view bytes() const { return _bytes; }
  // The UTF-16 text of the bytes for readers that scan UTF-16; none when unreadable or (without
  // the check) not well-formed UTF-8.
  std::optional<UnicodeString> text() const;
  // Gives back the mapping or buffer at once; the file is unreadable afterwards.
  void release();

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
