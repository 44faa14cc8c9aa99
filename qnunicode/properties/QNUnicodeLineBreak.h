#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

// The line-break classes, numbered 0 to 39 by this fixed table; the numbers are part of the
// interface. 39 (XX, unknown) is the default class.
inline constexpr std::array<std::u16string_view, 40> QNUnicode_LineBreakClass_Strings = {
    u"BK", u"CR", u"LF", u"CM", u"NL", u"SG", u"WJ", u"ZW", u"GL", u"SP",
    u"B2", u"BA", u"BB", u"HY", u"CB", u"CL", u"CP", u"EX", u"IN", u"NS",
    u"OP", u"QU", u"IS", u"NU", u"PO", u"PR", u"SY", u"AI", u"AL", u"CJ",
    u"H2", u"H3", u"HL", u"ID", u"JL", u"JV", u"JT", u"RI", u"SA", u"XX"};

// The class name of a number; 40 or more logs "invalid line break class index '%u', returning XX"
// and answers "XX".
const UnicodeString& QNUnicode_StringForLineBreakClass(uint32_t lineBreakClass);

// The first number whose name equals the text exactly (case-sensitive, whole text); no match
// logs "no line break class '%@', returning XX" and answers 39.
uint32_t QNUnicode_LineBreakClassForString(std::u16string_view name);
