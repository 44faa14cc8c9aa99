#pragma once

#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNInfoValue.h"

// Loose comparison of property values and block names, which the UCD files and the host's tables
// spell in several ways ("Old_Italic", "Old Italic", "old-italic").
namespace QNUnicode {

// The string without its blanks (U+0020), hyphen-minus signs and low lines, then given its full
// lower-case mapping whatever the user's locale ("İ" becomes "i" and a combining dot above). No
// other character is removed.
UnicodeString matchableUnicodePropertyString(std::u16string_view s);

// True when both matchable forms are equal unit for unit.
bool isEqualToUnicodePropertyString(std::u16string_view s, std::u16string_view other);

// True when some string element's matchable form equals that of s; the elements that are not
// strings are passed over, and the search stops at the first match.
bool containsUnicodePropertyString(const std::vector<QNInfoValue>& list, std::u16string_view s);
bool containsUnicodePropertyString(const std::vector<UnicodeString>& list, std::u16string_view s);

}  // namespace QNUnicode
