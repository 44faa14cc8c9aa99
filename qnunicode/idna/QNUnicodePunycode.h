#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

// The Punycode codec of RFC 3492 (base 36, tmin 1, tmax 26, skew 38, damp 700, initial bias 72,
// initial n 0x80, delimiter "-") over arrays of 32-bit codepoints and ASCII bytes, and the two
// string wrappers of the domain-label group that report failures as message strings.
namespace qnunicode {

// The result of the two codec functions.
enum QNPunycodeStatus : uint32_t {
  QNPunycodeSuccess = 0,
  QNPunycodeBadInput = 1,   // a byte above 0x7F, a bad digit or input that ends inside a number
  QNPunycodeBigOutput = 2,  // the output would exceed the given capacity
  QNPunycodeOverflow = 3,   // the 32-bit arithmetic would overflow
};

// Encodes `input_length` codepoints into ASCII at `output`, which has room for *output_length
// bytes; on success *output_length becomes the number of bytes written (no terminator), and on
// failure it is left alone (the output may then hold a partial result). The basic codepoints
// (below 0x80) come first in input order, followed by "-" when there are any, then the deltas in
// lower-case digits. With case_flags (one byte per codepoint) a letter is written upper-case when
// its flag is set and lower-case otherwise; without, basic codepoints are copied as they stand.
// Values are not checked for being surrogates or above 0x10FFFF.
uint32_t punycode_encode(uint32_t input_length, const uint32_t* input,
                         const unsigned char* case_flags, uint32_t* output_length, char* output);

// Decodes `input_length` ASCII bytes into codepoints at `output`, which has room for
// *output_length of them; on success *output_length becomes the number produced, and on failure
// it is left alone. Everything before the last "-" is copied as basic codepoints (a "-" at
// position 0 counts as none, so a leading "-" is read as a digit and fails); digits of either
// case are accepted. When case_flags is given it receives one flag per output codepoint (1 for an
// upper-case letter). Any 32-bit value the arithmetic yields is accepted as a codepoint.
uint32_t punycode_decode(uint32_t input_length, const char* input, uint32_t* output_length,
                         uint32_t* output, unsigned char* case_flags);

}  // namespace qnunicode

// The Punycode operations of the domain-label group. Messages go to the optional `error`
// out-parameter; nothing is stored when it is null.
namespace QNUnicode_IDNA {

// The Punycode form of the string's codepoints (without the ACE prefix): its basic characters in
// their own case, "-", lower-case digits. Every string of codepoints fits (the 63-unit limit of
// a label is the callers' business); none with "Punycode encoding failed." when the codec fails.
// The codepoints are those of the codepoint walk, so the unit after an unpaired high surrogate is
// passed over.
std::optional<UnicodeString> punycodeEncodedStringWithError(std::u16string_view string,
                                                            UnicodeString* error = nullptr);

// The string decoded from Punycode (without the ACE prefix). Each codepoint enters the decoder
// as its low 8 bits, deliberately: U+0161 is read as "a", and a codepoint whose low byte is 0x80
// to 0xFF makes the decoding fail. None with "Punycode decoding failed." when the codec fails;
// decoded values above 0xFFFF become surrogate pairs of the string type's own rule.
std::optional<UnicodeString> punycodeDecodedStringWithError(std::u16string_view string,
                                                            UnicodeString* error = nullptr);

}  // namespace QNUnicode_IDNA
