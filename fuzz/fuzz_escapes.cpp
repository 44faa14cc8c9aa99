// Every escape decoder and encoder and the XHTML references. The first byte picks the operation
// (its value modulo kOperationCount) and how the rest becomes text: for even multiples of the
// count the rest is UTF-8 read leniently (so the fuzzer can write backslashes and digits), for odd
// ones arbitrary UTF-16, two bytes a unit.
//   0-6    replacing the escapes of method kMethods[op], with a count
//   7-13   adding the escapes of method kMethods[op - 7]: the default set, then no set at all
//   14     XHTML decoding, with and without the low-ASCII set, and with no set
//   15     XHTML encoding, named and numeric, decimal and hexadecimal, with no set
//   16     the method of a four-byte code
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/strings/UnicodeString.h"

namespace {

constexpr std::u16string_view kMethods[] = {u"URL ", u"C99 ", u"Java", u"COct",
                                            u"CS1 ", u"CS2 ", u"CS21"};
constexpr uint8_t kOperationCount = 17;

void xhtml(std::u16string_view text, bool decode) {
  const QNXHTMLDatabase& entities = qnunicode::fuzz::realXHTMLDatabase();
  uint32_t count = 0;
  if (decode) {
    entities.unicodeStringFromXHTML(text, true, &count);
    entities.unicodeStringFromXHTML(text, false, &count);
    entities.unicodeStringFromXHTML(text, nullptr, &count);
    QNXHTMLDatabase().unicodeStringFromXHTML(text, &count);
  } else {
    entities.XHTMLStringFromUnicode(text, true, true, false, &count);
    entities.XHTMLStringFromUnicode(text, false, false, true, &count);
    entities.XHTMLStringFromUnicode(text, nullptr, true, true, &count);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  qnunicode::fuzz::realXHTMLDatabase();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t operation = data[0] % kOperationCount;
  const bool units = (data[0] / kOperationCount) % 2 == 1;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const UnicodeString text =
      units ? qnunicode::fuzz::unitsFromBytes(data + 1, size - 1) : qnunicode::fromUTF8(bytes);
  uint32_t count = 0;
  if (operation < 7) {
    QNUnicode::stringByReplacingEscapes(text, kMethods[operation], &count);
  } else if (operation < 14) {
    const std::u16string_view method = kMethods[operation - 7];
    QNUnicode::stringByAddingEscapes(text, method, nullptr, true, &count);
    QNUnicode::stringByAddingEscapes(text, method, nullptr, false, &count);
  } else if (operation < 16) {
    xhtml(text, operation == 14);
  } else if (bytes.size() >= 4) {
    QNUnicode::escapingMethodForOSType(static_cast<uint32_t>(data[1]) << 24 | data[2] << 16 |
                                       data[3] << 8 | data[4]);
  }
  return 0;
}
