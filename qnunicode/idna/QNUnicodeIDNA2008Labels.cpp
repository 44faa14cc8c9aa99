// The IDNA2008 label conversions that the domain-level ToASCII and ToUnicode dispatch type 1 to.
// They are not built yet: until the IDNA2008 categories and label rules exist, type 1 fails
// every label with this message rather than pretend to convert it. This file is replaced whole
// when they are built.
#include "qnunicode/database/QNUnicodeDatabase.h"

namespace {

constexpr std::u16string_view kNotImplemented = u"IDNA2008 label conversion is not implemented yet";

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2008SingleLabelToASCII(std::u16string_view,
                                                                           UnicodeString* error) {
  if (error) error->assign(kNotImplemented);
  return std::nullopt;
}

std::optional<UnicodeString> QNUnicodeDatabase::IDNA2008SingleLabelToUnicode(std::u16string_view,
                                                                             UnicodeString* error) {
  if (error) error->assign(kNotImplemented);
  return std::nullopt;
}
