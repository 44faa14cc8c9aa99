#pragma once

#include <string_view>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"

namespace qnunicode::detail {

// The codepoint walk of the string type from offset 0, handing each codepoint to `visit` (which
// answers whether to go on); the unit after an unpaired high surrogate is passed over, as the
// walk does. Answers false when `visit` stopped it.
template <typename Visit>
bool walkCodepoints(std::u16string_view string, Visit visit) {
  for (size_t position = 0; position < string.size();) {
    const UTF16Codepoint step = codepointWalkStep(string.data(), string.size(), position);
    position += step.length;
    if (!visit(step.codepoint)) return false;
  }
  return true;
}

}  // namespace qnunicode::detail
