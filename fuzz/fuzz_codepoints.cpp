// The codepoint walk and the codepoint operations of the string type over arbitrary UTF-16. The
// first byte picks an index, the next two bytes an offset, the rest (two bytes a unit) is the
// text. The walk from offset 0 must end, each step moving forward; indexes and offsets out of
// range raise the range error, which is the described answer.
#include <cstddef>
#include <cstdint>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNExceptions.h"

namespace {

template <typename Operation>
void allowingRangeError(Operation operation) {
  try {
    operation();
  } catch (const QNRangeException&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  // Small indexes around the string: negative ones copy a codepoint per step below 0.
  const int32_t index = static_cast<int8_t>(data[0]);
  const int32_t offset = static_cast<int16_t>(data[1] | data[2] << 8);
  const UnicodeString text = qnunicode::fuzz::unitsFromBytes(data + 3, size - 3);
  std::u16string_view s = text;

  // The walk: strictly forward, ending at -1, never more steps than units.
  int32_t next = s.empty() ? -1 : 0;
  size_t steps = 0;
  while (next != -1) {
    int32_t following = 0;
    QNUnicode::codepointAtIndex(s, 0, next, &following);
    if (following != -1 && following <= next) __builtin_trap();
    if (++steps > s.size()) __builtin_trap();
    next = following;
  }
  const int32_t length = QNUnicode::UTF32Length(s);
  if (length < 0 || static_cast<size_t>(length) > s.size()) __builtin_trap();

  allowingRangeError([&] { QNUnicode::codepointAtIndex(s, index, offset, &next); });
  allowingRangeError([&] { QNUnicode::codepointAtIndex(s, index); });
  allowingRangeError([&] { QNUnicode::codepoints(s); });
  allowingRangeError([&] { QNUnicode::UTF8RepresentationAtIndex(s, index, 8, false); });
  allowingRangeError([&] { QNUnicode::UTF16RepresentationAtIndex(s, index); });
  allowingRangeError([&] { QNUnicode::stringByInsertingString(s, u"\U0001F600", index); });
  allowingRangeError([&] { QNUnicode::stringByReplacingCodepointAtIndex(s, index, u"x"); });
  if (!s.empty()) {
    const bool inside = offset >= 0 && static_cast<size_t>(offset) < s.size();
    QNUnicode::codepointAtUnicharIndex(s, inside ? offset : 0, true);
  }
  // The walk passes over the unit after an unpaired high surrogate, so the lists built on a
  // codepoint count run out early in such a string and raise the range error.
  allowingRangeError(
      [&] { QNUnicode::hexCodepointsJoinedBySpacesWithMaximumLength(s, data[0] % 8); });
  QNUnicode::trimmedString(s);
  allowingRangeError(
      [&] { QNUnicode::componentsSeparatedByCodepoint(s, s.empty() ? 0x20 : s[0]); });
  return 0;
}
