#include "qnunicode/strings/UnicodeString.h"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qnunicode/strings/QNTextPrimitives.h"

namespace qnunicode {

namespace {

// Decodes the sequence at bytes[i] and answers its length. An ill-formed sequence answers
// *valid false and the length of its maximal subpart: the longest start of a well-formed sequence
// found there, at least one byte (so a truncated sequence is one ill-formed sequence, however
// many of its bytes are present).
size_t decodeOne(std::string_view bytes, size_t i, uint32_t* codepoint, bool* valid) {
  const auto byte = [&](size_t k) { return static_cast<uint8_t>(bytes[k]); };
  const uint8_t lead = byte(i);
  *valid = false;
  if (lead < 0x80) {
    *codepoint = lead;
    *valid = true;
    return 1;
  }
  size_t length;
  uint32_t c;
  uint8_t low = 0x80, high = 0xBF;  // bounds of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    c = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    c = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;  // no encoded surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    c = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 1;
  }
  for (size_t k = 1; k < length; ++k) {
    if (i + k >= bytes.size()) return k;
    const uint8_t b = byte(i + k);
    if (k == 1 ? (b < low || b > high) : (b < 0x80 || b > 0xBF)) return k;
    c = (c << 6) | (b & 0x3F);
  }
  *codepoint = c;
  *valid = true;
  return length;
}

}  // namespace

std::string toUTF8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const UTF16Codepoint read = codepointAt(text, i);
    i += read.length;
    appendUTF8(out, isSurrogate(read.codepoint) ? 0xFFFD : read.codepoint);
  }
  return out;
}

std::optional<UnicodeString> decodeUTF8(std::string_view bytes) {
  // Every data file is read through here, so ASCII runs go eight bytes at a time and units are
  // written straight into a string sized for the worst case: no sequence gives more units than
  // it has bytes.
  const auto* in = reinterpret_cast<const uint8_t*>(bytes.data());
  const size_t size = bytes.size();
  UnicodeString out(size, u'\0');
  char16_t* write = out.data();
  for (size_t i = 0; i < size;) {
    uint64_t word;
    if (i + 8 <= size && (std::memcpy(&word, in + i, 8), (word & 0x8080808080808080ull) == 0)) {
      for (size_t k = 0; k < 8; ++k) write[k] = in[i + k];
      write += 8;
      i += 8;
      continue;
    }
    if (in[i] < 0x80) {
      *write++ = in[i++];
      continue;
    }
    uint32_t c;
    bool valid;
    const size_t length = decodeOne(bytes, i, &c, &valid);
    if (!valid) return std::nullopt;
    write = writeUTF16(write, c);
    i += length;
  }
  out.resize(static_cast<size_t>(write - out.data()));
  return out;
}

UnicodeString fromUTF8(std::string_view text) {
  UnicodeString out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    uint32_t c;
    bool valid;
    const size_t length = decodeOne(text, i, &c, &valid);
    appendUTF16(out, valid ? c : 0xFFFD);
    i += length;
  }
  return out;
}

UnicodeString decodeLatin1(std::string_view bytes) {
  UnicodeString out(bytes.size(), u'\0');
  for (size_t i = 0; i < bytes.size(); ++i) out[i] = static_cast<uint8_t>(bytes[i]);
  return out;
}

// Eight units go at a time with SSE2 (every x86-64 has it); elsewhere four, as 16-bit lanes of
// one number: a lane is a capital letter when adding 0x80 - 'A' sets its bit 7 and adding
// 0x80 - 'Z' - 1 does not.
bool writeASCIILowercase(std::u16string_view text, char* out) {
  size_t i = 0;
#if defined(__SSE2__)
  const __m128i beyondASCII = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i beforeA = _mm_set1_epi16('A' - 1), afterZ = _mm_set1_epi16('Z' + 1);
  const __m128i caseBit = _mm_set1_epi16(0x20);
  for (; i + 8 <= text.size(); i += 8, out += 8) {
    __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    if (_mm_movemask_epi8(
            _mm_cmpeq_epi16(_mm_and_si128(units, beyondASCII), _mm_setzero_si128())) != 0xFFFF) {
      return false;
    }
    const __m128i capital =
        _mm_and_si128(_mm_cmpgt_epi16(units, beforeA), _mm_cmplt_epi16(units, afterZ));
    units = _mm_add_epi16(units, _mm_and_si128(capital, caseBit));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
  }
#endif
  constexpr uint64_t kLanes = 0x0001000100010001u;
  for (; std::endian::native == std::endian::little && i + 4 <= text.size(); i += 4, out += 4) {
    uint64_t lanes;
    std::memcpy(&lanes, text.data() + i, 8);
    if (lanes & (0xFF80 * kLanes)) return false;
    const uint64_t atLeastA = lanes + (0x80 - 'A') * kLanes;
    const uint64_t beyondZ = lanes + (0x80 - 'Z' - 1) * kLanes;
    lanes += ((atLeastA & ~beyondZ) & (0x80 * kLanes)) >> 2;
    // Each lane's low byte, packed into the low four bytes in lane order.
    lanes = (lanes | (lanes >> 8)) & 0x0000FFFF0000FFFFu;
    lanes = (lanes | (lanes >> 16)) & 0xFFFFFFFFu;
    const auto bytes = static_cast<uint32_t>(lanes);
    std::memcpy(out, &bytes, 4);
  }
  for (; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (unit >= 0x80) return false;
    *out++ = static_cast<char>(asciiLowercase(unit));
  }
  return true;
}

}  // namespace qnunicode
