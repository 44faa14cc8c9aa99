#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

// Escaped notations of the string type: URL percent escapes, C99, Java, C octal and the three
// CSS levels. Each method is named by a four-character string ("URL ", "C99 ", "Java", "COct",
// "CS1 ", "CS2 ", "CS21"; the blanks belong to the names) and by the 32-bit code of those four
// characters read big-endian.
//
// Adding escapes walks the text codepoint by codepoint (the walk of QNUnicodeCodepoints.h) and
// writes each codepoint outside the preserved set in the method's notation, counting one per
// codepoint however many units it produces. Replacing escapes decodes the notation's Unicode
// escapes in one pass and leaves everything else, escaped backslashes included, as it stands;
// malformed escapes never fail, they stay in the text. Counts are written through an optional
// output; 0xFFFFFFFF means that no count is known.
namespace QNUnicode {

// The method codes.
inline constexpr uint32_t QNUnicodeEscapingMethodURL = 0x55524C20;   // "URL "
inline constexpr uint32_t QNUnicodeEscapingMethodC99 = 0x43393920;   // "C99 "
inline constexpr uint32_t QNUnicodeEscapingMethodJava = 0x4A617661;  // "Java"
inline constexpr uint32_t QNUnicodeEscapingMethodCOct = 0x434F6374;  // "COct"
inline constexpr uint32_t QNUnicodeEscapingMethodCS1 = 0x43533120;   // "CS1 "
inline constexpr uint32_t QNUnicodeEscapingMethodCS2 = 0x43533220;   // "CS2 "
inline constexpr uint32_t QNUnicodeEscapingMethodCS21 = 0x43533231;  // "CS21"

// The levels of the shared Java and CSS routines: Java, CSS 1.0, 2.0 and 2.1. Below level 2.0 an
// escape stands for one UTF-16 unit in 4 digits; from 2.0 on for one codepoint in up to 6.
inline constexpr uint32_t QNUnicodeEscapeLevelJava = 0;
inline constexpr uint32_t QNUnicodeEscapeLevelCSS1 = 0x100;
inline constexpr uint32_t QNUnicodeEscapeLevelCSS2 = 0x200;
inline constexpr uint32_t QNUnicodeEscapeLevelCSS21 = 0x210;

// The method string of a 32-bit code, or none for a code that names no method.
std::optional<UnicodeString> escapingMethodForOSType(uint32_t OSType);

// The method's default preserved set: U+0000 to U+009E for "C99 ", the URL-safe ASCII
// characters for "URL " and U+0000 to U+007E (DEL excluded) for the others. Raises
// QNInvalidArgumentException "Unknown escaping method: %@" for any other method string.
CodepointSet preserveSetForStringEscapingMethod(std::u16string_view method);

// Decodes the method's escapes (see the routines below). None only where percent decoding
// fails. Raises QNInvalidArgumentException "Not a valid string escaping method: %@" for an
// unknown method.
std::optional<UnicodeString> stringByReplacingEscapes(std::u16string_view s,
                                                      std::u16string_view method,
                                                      uint32_t* countingReplacements = nullptr);

// Escapes every codepoint outside the union of the given set (if any) and, with
// preservingDefaultSet, the method's default set. The default set is asked for before the
// method is examined, so an unknown method raises "Unknown escaping method: %@" with the flag
// set and "Not a valid string escaping method: %@" without it.
UnicodeString stringByAddingEscapes(std::u16string_view s, std::u16string_view method,
                                    const CodepointSet* preservingCharactersFromSet,
                                    bool preservingDefaultSet,
                                    uint32_t* countingReplacements = nullptr);
// The same with the default set alone and no count.
UnicodeString stringByAddingEscapes(std::u16string_view s, std::u16string_view method);

// ---- The routines of each method ---------------------------------------------------------------

// Percent decoding: each "%" with two hexadecimal digits is a byte, runs of such bytes are
// decoded as UTF-8. None when a "%" lacks its digits or a run is not well-formed UTF-8. The count
// is always set to 0xFFFFFFFF: no count is kept.
std::optional<UnicodeString> stringByReplacingPercentEscapesCountingReplacements(
    std::u16string_view s, uint32_t* countingReplacements = nullptr);
// Each UTF-8 byte of a codepoint outside the set as "%" and two upper-case hexadecimal digits.
// An unpaired surrogate has no UTF-8 form: it is written as it is and not counted.
UnicodeString stringByAddingPercentEscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements = nullptr);

// C99 escapes ("\u" and 4 or "\U" and 8 hexadecimal digits) or, with eatingJavaUs, Java escapes
// ("\u", any number of further "u", 4 digits; no "\U"). Each escape writes the UTF-16 form of
// its value unchecked, so a Java surrogate pair in two escapes decodes to one codepoint (two
// counts). Raises QNMallocException when the working buffer cannot be had.
UnicodeString stringByReplacingC99EscapesEatingJavaUs(std::u16string_view s, bool eatingJavaUs,
                                                      uint32_t* countingReplacements = nullptr);
// "\u" and 4 lower-case hexadecimal digits below U+10000, "\U" and 8 above.
UnicodeString stringByAddingC99EscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements = nullptr);

// Runs of octal escapes ("\" and 1 to 3 octal digits, one byte each) that spell well-formed
// UTF-8 become one codepoint each; everything else stays as written.
UnicodeString stringByReplacingCOctEscapesCountingReplacements(
    std::u16string_view s, uint32_t* countingReplacements = nullptr);
// Each UTF-8 byte as "\" and 3 octal digits; an unpaired surrogate is written as it is and not
// counted.
UnicodeString stringByAddingCOctEscapesPreservingOnlyCharactersFromSet(
    std::u16string_view s, const CodepointSet& set, uint32_t* countingReplacements = nullptr);

// CSS escapes by level: "\" and 1 to 4 (below level 2.0) or 1 to 6 hexadecimal digits; from 2.0
// one white-space character after the escape is eaten (from 2.1 a CR LF as one).
UnicodeString stringByReplacingCSSEscapes(std::u16string_view s, uint32_t level,
                                          uint32_t* countingReplacements = nullptr);
// Java (level 0, prefix "\u") or CSS escapes (prefix "\"): below level 2.0 the prefix and 4
// lower-case hexadecimal digits per UTF-16 unit, from 2.0 the prefix, 6 digits of the codepoint
// and a blank.
UnicodeString stringByAddingJavaOrCSSEscapes(std::u16string_view s, uint32_t level,
                                             std::u16string_view prefix,
                                             const CodepointSet& preservingOnlyCharactersFromSet,
                                             uint32_t* countingReplacements = nullptr);

}  // namespace QNUnicode
