#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/strings/UnicodeString.h"

// The escaped notations as the host names them: the library's method strings without their
// blanks, and XHTML for the character references.
namespace qnu {

struct EscapeMethod {
  const char* name;            // as written after --method and as the JSON key of inspect
  std::u16string_view method;  // the library's method string; empty for XHTML
};
inline constexpr EscapeMethod kEscapeMethods[] = {
    {"URL", u"URL "}, {"C99", u"C99 "}, {"Java", u"Java"}, {"COct", u"COct"},
    {"CS1", u"CS1 "}, {"CS2", u"CS2 "}, {"CS21", u"CS21"}, {"XHTML", u""},
};

// One codepoint written in every notation with nothing preserved (XHTML preferring names, in
// hexadecimal), in the order above; none where a notation has no form for it (a surrogate has
// no UTF-8 bytes to percent- or octal-escape).
std::vector<std::pair<std::string, std::optional<UnicodeString>>> escapesOfCodepoint(
    uint32_t codepoint, const QNXHTMLDatabase& entities);

}  // namespace qnu
