#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

// Codepoint operations of the string type. Indexes and offsets are signed 32-bit code-unit
// positions unless a name says codepoint index. An unpaired surrogate is a codepoint of its own
// value. Range errors raise QNRangeException with "UTF32 Index %i out of range".
namespace QNUnicode {

// A string of one unit (codepoint <= 0xFFFF) or of a surrogate pair.
UnicodeString stringWithCodepoint(uint32_t codepoint);
// The first UTF-16 unit in the low 16 bits and, above the BMP, the second in the high 16 bits.
uint32_t UTF16CodeForCode(uint32_t codepoint);
// The codepoint's UTF-8 bytes as "%02X" each (number system 16, after "0x" when withPrefix) or
// "\%03o" each (number system 8, never a prefix); "0x00" or "\000" for U+0000; none for a
// surrogate value. Other number systems raise QNInvalidArgumentException.
std::optional<UnicodeString> UTF8RepresentationOfCodepoint(uint32_t codepoint,
                                                           uint32_t numberSystem = 16,
                                                           bool withPrefix = true);
// The file's whole text, decoded strictly as UTF-8; none when unreadable or invalid.
std::optional<UnicodeString> stringWithContentsOfUTF8File(const std::string& path);

// The codepoint at a code-unit index; a high surrogate followed by a low one is joined only
// when higherPlanes is set.
uint32_t codepointAtUnicharIndex(std::u16string_view s, int32_t index, bool higherPlanes);
// The walk: the codepoint `index` codepoints after the code-unit `offset`; *next receives the
// offset of the following codepoint, or -1 at the end. After an unpaired high surrogate the
// next offset skips two units (the walk from offset 0 with index 0 never sees the unit after),
// while counting `index` codepoints steps over it as one. A negative index steps zero times. An
// offset outside the string (the -1 included) or an index past the last codepoint raises the
// range error with the index.
uint32_t codepointAtIndex(std::u16string_view s, int32_t index, int32_t fromCharacterOffset,
                          int32_t* nextCodepointCharacterOffset = nullptr);
uint32_t codepointAtIndex(std::u16string_view s, int32_t index);
int32_t UTF32Length(std::u16string_view s);
// One string per codepoint, UTF32Length walks along the walk's offsets: a string in which the
// walk passes over a unit runs out early and raises the range error.
std::vector<UnicodeString> codepoints(std::u16string_view s);

std::optional<UnicodeString> UTF8RepresentationAtIndex(std::u16string_view s, int32_t index,
                                                       uint32_t numberSystem = 16,
                                                       bool withPrefix = true);
UnicodeString UTF16RepresentationAtIndex(std::u16string_view s, int32_t index);
// "%04X" per codepoint, at most maximumLength of them (0: no limit) and then "..."; none for
// the empty string.
std::optional<std::vector<UnicodeString>> hexCodepointsArrayWithMaximumLength(
    std::u16string_view s, uint32_t maximumLength);
std::optional<UnicodeString> hexCodepointsJoinedBySpacesWithMaximumLength(std::u16string_view s,
                                                                          uint32_t maximumLength);
std::optional<UnicodeString> hexCodepointsJoinedBySpaces(std::u16string_view s);

// Without white space and line ends at both ends.
UnicodeString trimmedString(std::u16string_view s);
UnicodeString stringWithoutLeadingCharactersFromSet(std::u16string_view s, const CodepointSet& set);
UnicodeString stringWithoutTrailingCharactersFromSet(std::u16string_view s,
                                                     const CodepointSet& set);

// The codepoints before the index, the string, then the codepoints from the index on (after
// the one at the index when replacing). An index past the codepoint count raises the range error
// with the count. The tail's codepoints are fetched by the walk from the start, so a negative
// tail index copies the first codepoint once for each index below 0 (in an empty string it
// raises the range error with that index).
UnicodeString stringByInsertingString(std::u16string_view s, std::u16string_view string,
                                      int32_t atCodepointIndex, bool replace = false);
UnicodeString stringByReplacingCodepointAtIndex(std::u16string_view s, int32_t index,
                                                std::u16string_view withString);
UnicodeString stringByRemovingCodepointsAtIndexes(std::u16string_view s,
                                                  const CodepointIndexSet& indexes);
// One piece more than there are separators; follows the walk's offsets, so the unit after an
// unpaired high surrogate is lost.
std::vector<UnicodeString> componentsSeparatedByCodepoint(std::u16string_view s,
                                                          uint32_t codepoint);

}  // namespace QNUnicode
