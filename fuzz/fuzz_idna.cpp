// Punycode and the domain-name conversions, over the real UCD and the library's nameprep
// profile. The first byte picks the operation (modulo kOperationCount) and how the rest becomes
// text, as in fuzz_escapes: even multiples of the count read the rest as lenient UTF-8, odd ones
// as arbitrary UTF-16.
//   0  the codec's decoder over the raw bytes (output room from the second byte) and the
//      string decoder
//   1  the codec's encoder over 32-bit values from the bytes (with and without case flags) and
//      the string encoder; a string that encodes decodes back to its codepoints
//   2  ToASCII of type 0 (IDNA2003)     3  ToUnicode of type 0
//   4  ToASCII of type 1 (IDNA2008)     5  ToUnicode of type 1
//   6  both conversions of an unknown type
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/strings/UnicodeString.h"

namespace {

constexpr uint8_t kOperationCount = 7;

void rawCodec(const uint8_t* data, size_t size, bool decode) {
  if (size == 0) return;
  const uint32_t room = data[0];
  ++data, --size;
  if (decode) {
    std::vector<uint32_t> output(room);
    std::vector<unsigned char> flags(room);
    uint32_t length = room;
    qnunicode::punycode_decode(static_cast<uint32_t>(size), reinterpret_cast<const char*>(data),
                               &length, output.data(), flags.data());
    length = room;
    qnunicode::punycode_decode(static_cast<uint32_t>(size), reinterpret_cast<const char*>(data),
                               &length, output.data(), nullptr);
    return;
  }
  std::vector<uint32_t> input(size / 4);
  if (!input.empty()) std::memcpy(input.data(), data, input.size() * 4);
  std::vector<unsigned char> flags(input.size());
  for (size_t i = 0; i < flags.size(); ++i) flags[i] = data[i] & 1;
  std::vector<char> output(room);
  uint32_t length = room;
  qnunicode::punycode_encode(static_cast<uint32_t>(input.size()), input.data(), flags.data(),
                             &length, output.data());
  length = room;
  qnunicode::punycode_encode(static_cast<uint32_t>(input.size()), input.data(), nullptr, &length,
                             output.data());
}

// A well-formed string that encodes decodes back to itself.
void roundTrip(const UnicodeString& text, bool wellFormed) {
  UnicodeString error;
  auto encoded = QNUnicode_IDNA::punycodeEncodedStringWithError(text, &error);
  if (!encoded || !wellFormed) return;
  auto decoded = QNUnicode_IDNA::punycodeDecodedStringWithError(*encoded, &error);
  if (!decoded || *decoded != text) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  qnunicode::fuzz::realDatabase();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t operation = data[0] % kOperationCount;
  const bool units = (data[0] / kOperationCount) % 2 == 1;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const UnicodeString text =
      units ? qnunicode::fuzz::unitsFromBytes(data + 1, size - 1) : qnunicode::fromUTF8(bytes);
  QNUnicodeDatabase& database = qnunicode::fuzz::realDatabase();
  UnicodeString error;
  bool unassigned = false;
  switch (operation) {
    case 0:
      rawCodec(data + 1, size - 1, true);
      QNUnicode_IDNA::punycodeDecodedStringWithError(text, &error);
      break;
    case 1:
      rawCodec(data + 1, size - 1, false);
      roundTrip(text, !units);
      break;
    case 2:
      database.IDNA2003ToASCII(text, &unassigned, &error);
      database.IDNAToASCII(0, text, &error);
      break;
    case 3:
      database.IDNA2003ToUnicode(text, &unassigned, &error);
      database.IDNAToUnicode(0, text, &error);
      break;
    case 4:
      database.IDNAToASCII(1, text, &error);
      break;
    case 5:
      database.IDNAToUnicode(1, text, &error);
      break;
    default:
      database.IDNAToASCII(2, text, &error);
      database.IDNAToUnicode(2, text, &error);
      break;
  }
  return 0;
}
