#pragma once

#include <string_view>

#include "qnunicode/strings/QNUnicodeCodepoints.h"

namespace qnunicode::detail {

// The codepoint walk of the string type from offset 0, handing each codepoint to `visit` (which
// answers whether to go on); the unit after an unpaired high surrogate is passed over, as the
// walk does. Answers false when `visit` stopped it.
template <typename Visit>
bool walkCodepoints(std::u16string_view string, Visit visit) {
  for (int32_t offset = string.empty() ? -1 : 0; offset >= 0;) {
    if (!visit(QNUnicode::codepointAtIndex(string, 0, offset, &offset))) return false;
  }
  return true;
}

}  // namespace qnunicode::detail
