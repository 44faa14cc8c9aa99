#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

// Digests of byte buffers (the data files' integrity checks).
namespace QNAdditions {

// The 16-byte MD5 digest of the bytes.
std::array<uint8_t, 16> md5(std::span<const uint8_t> bytes);
std::array<uint8_t, 16> md5(std::string_view bytes);

// The MD5 digest as 32 lower-case hexadecimal digits, two per byte in order.
UnicodeString md5HexString(std::span<const uint8_t> bytes);
UnicodeString md5HexString(std::string_view bytes);

}  // namespace QNAdditions
