#pragma once

#include <optional>
#include <string>
#include <string_view>

// The library's string: UTF-16 code units, immutable by convention. An unpaired surrogate is a
// codepoint of its own value and is never replaced inside the library.
using UnicodeString = std::u16string;

namespace qnunicode {

// UTF-8 for output and logs. Unpaired surrogates have no UTF-8 form and are written as U+FFFD.
std::string toUTF8(std::u16string_view text);

// Strict decoding: none when the bytes are not well-formed UTF-8 (overlong forms, encoded
// surrogates and values above U+10FFFF included).
std::optional<UnicodeString> decodeUTF8(std::string_view bytes);

// Lossy decoding for text the library writes itself (literals, file names): every ill-formed
// sequence becomes one U+FFFD, a sequence being the maximal subpart of a well-formed one (a
// truncated three-byte form is one sequence; a stray continuation byte is one of its own).
UnicodeString fromUTF8(std::string_view text);

// Each byte is the codepoint of the same value.
UnicodeString decodeLatin1(std::string_view bytes);

// ASCII with bytes above 0x7F kept as their Latin-1 characters.
inline UnicodeString decodeASCIILossy(std::string_view bytes) {
  return decodeLatin1(bytes);
}

// Writes the text lower-cased in ASCII (A-Z to a-z) as one byte a unit at `out`, which has room
// for text.size() bytes; false, the output then incomplete, when a unit lies beyond ASCII. For
// case-blind searches and sorts over names, which are nearly always ASCII.
bool writeASCIILowercase(std::u16string_view text, char* out);

}  // namespace qnunicode
