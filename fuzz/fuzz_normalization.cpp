// Normalization of arbitrary UTF-16 (two bytes a unit) over the real UCD: the first byte picks
// the form (D, C, KD, KC) and the rest is the text. Each form runs with its counts; the
// decomposing forms also run through decomposeString, and the result of a form is a fixed point
// of that form for well-formed text.
#include <cstddef>
#include <cstdint>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/strings/QNTextPrimitives.h"

namespace {

bool wellFormed(std::u16string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (qnunicode::isHighSurrogate(text[i]) && i + 1 < text.size() &&
        qnunicode::isLowSurrogate(text[i + 1])) {
      ++i;
    } else if (qnunicode::isHighSurrogate(text[i]) || qnunicode::isLowSurrogate(text[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  qnunicode::fuzz::realDatabase();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t form = data[0] % 4;
  const UnicodeString text = qnunicode::fuzz::unitsFromBytes(data + 1, size - 1);
  QNUnicodeDatabase& database = qnunicode::fuzz::realDatabase();
  const bool K = form >= 2;
  const bool C = form % 2 == 1;
  uint32_t replaced = 0, reordered = 0, composed = 0;
  const UnicodeString once =
      database.normalizationFormK(K, C, text, &replaced, &reordered, &composed);
  if (!C) database.decomposeString(text, K, &replaced, &reordered);
  if (wellFormed(text)) {
    const UnicodeString twice = database.normalizationFormK(K, C, once);
    if (twice != once) __builtin_trap();
  }
  return 0;
}
