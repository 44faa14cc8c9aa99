#pragma once

#include <cstdint>
#include <string_view>

// The IDNA2008 categories of RFC 5892 (A to J) and the derived property values. The database's
// IDNA2008 operations answer these very views; callers compare against them.
inline constexpr std::u16string_view IDNA2008_Category_LetterDigits = u"LetterDigits (A)";
inline constexpr std::u16string_view IDNA2008_Category_Unstable = u"Unstable (B)";
inline constexpr std::u16string_view IDNA2008_Category_IgnorableProperties =
    u"IgnorableProperties (C)";
inline constexpr std::u16string_view IDNA2008_Category_IgnorableBlocks = u"IgnorableBlocks (D)";
inline constexpr std::u16string_view IDNA2008_Category_LDH = u"LDH (E)";
inline constexpr std::u16string_view IDNA2008_Category_Exceptions = u"Exceptions (F)";
inline constexpr std::u16string_view IDNA2008_Category_BackwardCompatible =
    u"BackwardCompatible (G)";
inline constexpr std::u16string_view IDNA2008_Category_JoinControl = u"JoinControl (H)";
inline constexpr std::u16string_view IDNA2008_Category_OldHangulJamo = u"OldHangulJamo (I)";
inline constexpr std::u16string_view IDNA2008_Category_Unassigned = u"Unassigned (J)";

inline constexpr std::u16string_view IDNA2008DerivedProperty_PVALID = u"PVALID";
inline constexpr std::u16string_view IDNA2008DerivedProperty_CONTEXTJ = u"CONTEXTJ";
inline constexpr std::u16string_view IDNA2008DerivedProperty_CONTEXTO = u"CONTEXTO";
inline constexpr std::u16string_view IDNA2008DerivedProperty_DISALLOWED = u"DISALLOWED";
inline constexpr std::u16string_view IDNA2008DerivedProperty_UNASSIGNED = u"UNASSIGNED";
