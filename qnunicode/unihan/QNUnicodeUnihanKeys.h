#pragma once

// The Unihan keys the library names: one constant per key, whose value is the key itself. The
// reader is not limited to these: every key found in the files is stored.

#include <array>
#include <string_view>

inline constexpr std::u16string_view QNUnicodeUnihanKey_kAccountingNumeric = u"kAccountingNumeric";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kBigFive = u"kBigFive";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCCCII = u"kCCCII";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCNS1986 = u"kCNS1986";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCNS1992 = u"kCNS1992";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCangjie = u"kCangjie";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCantonese = u"kCantonese";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCheungBauer = u"kCheungBauer";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCheungBauerIndex = u"kCheungBauerIndex";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCihaiT = u"kCihaiT";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCompatibilityVariant =
    u"kCompatibilityVariant";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kCowles = u"kCowles";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kDaeJaweon = u"kDaeJaweon";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kDefinition = u"kDefinition";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kEACC = u"kEACC";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kFenn = u"kFenn";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kFennIndex = u"kFennIndex";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kFourCornerCode = u"kFourCornerCode";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kFrequency = u"kFrequency";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB0 = u"kGB0";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB1 = u"kGB1";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB3 = u"kGB3";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB5 = u"kGB5";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB7 = u"kGB7";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGB8 = u"kGB8";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGSR = u"kGSR";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kGradeLevel = u"kGradeLevel";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHDZRadBreak = u"kHDZRadBreak";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHKGlyph = u"kHKGlyph";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHKSCS = u"kHKSCS";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHanYu = u"kHanYu";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHangul = u"kHangul";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHanyuPinlu = u"kHanyuPinlu";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kHanyuPinyin = u"kHanyuPinyin";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIBMJapan = u"kIBMJapan";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIICore = u"kIICore";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRGDaeJaweon = u"kIRGDaeJaweon";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRGDaiKanwaZiten = u"kIRGDaiKanwaZiten";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRGHanyuDaZidian = u"kIRGHanyuDaZidian";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRGKangXi = u"kIRGKangXi";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_GSource = u"kIRG_GSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_HSource = u"kIRG_HSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_JSource = u"kIRG_JSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_KPSource = u"kIRG_KPSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_KSource = u"kIRG_KSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_MSource = u"kIRG_MSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_TSource = u"kIRG_TSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_USource = u"kIRG_USource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kIRG_VSource = u"kIRG_VSource";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJIS0213 = u"kJIS0213";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJa = u"kJa";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJapaneseKun = u"kJapaneseKun";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJapaneseOn = u"kJapaneseOn";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJis0 = u"kJis0";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kJis1 = u"kJis1";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKPS0 = u"kKPS0";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKPS1 = u"kKPS1";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKSC0 = u"kKSC0";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKSC1 = u"kKSC1";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKangXi = u"kKangXi";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKarlgren = u"kKarlgren";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kKorean = u"kKorean";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kLau = u"kLau";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kMainlandTelegraph = u"kMainlandTelegraph";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kMandarin = u"kMandarin";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kMatthews = u"kMatthews";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kMeyerWempe = u"kMeyerWempe";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kMorohashi = u"kMorohashi";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kNelson = u"kNelson";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kOtherNumeric = u"kOtherNumeric";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kPhonetic = u"kPhonetic";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kPrimaryNumeric = u"kPrimaryNumeric";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kPseudoGB1 = u"kPseudoGB1";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSAdobe_Japan1_6 = u"kRSAdobe_Japan1_6";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSJapanese = u"kRSJapanese";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSKanWa = u"kRSKanWa";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSKangXi = u"kRSKangXi";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSKorean = u"kRSKorean";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kRSUnicode = u"kRSUnicode";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kSBGY = u"kSBGY";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kSemanticVariant = u"kSemanticVariant";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kSimplifiedVariant = u"kSimplifiedVariant";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kSpecializedSemanticVariant =
    u"kSpecializedSemanticVariant";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kTaiwanTelegraph = u"kTaiwanTelegraph";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kTang = u"kTang";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kTotalStrokes = u"kTotalStrokes";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kTraditionalVariant =
    u"kTraditionalVariant";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kVietnamese = u"kVietnamese";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kXHC1983 = u"kXHC1983";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kXerox = u"kXerox";
inline constexpr std::u16string_view QNUnicodeUnihanKey_kZVariant = u"kZVariant";

// Every named key, in the order above.
inline constexpr std::array<std::u16string_view, 91> QNUnicodeUnihanNamedKeys = {
    QNUnicodeUnihanKey_kAccountingNumeric,
    QNUnicodeUnihanKey_kBigFive,
    QNUnicodeUnihanKey_kCCCII,
    QNUnicodeUnihanKey_kCNS1986,
    QNUnicodeUnihanKey_kCNS1992,
    QNUnicodeUnihanKey_kCangjie,
    QNUnicodeUnihanKey_kCantonese,
    QNUnicodeUnihanKey_kCheungBauer,
    QNUnicodeUnihanKey_kCheungBauerIndex,
    QNUnicodeUnihanKey_kCihaiT,
    QNUnicodeUnihanKey_kCompatibilityVariant,
    QNUnicodeUnihanKey_kCowles,
    QNUnicodeUnihanKey_kDaeJaweon,
    QNUnicodeUnihanKey_kDefinition,
    QNUnicodeUnihanKey_kEACC,
    QNUnicodeUnihanKey_kFenn,
    QNUnicodeUnihanKey_kFennIndex,
    QNUnicodeUnihanKey_kFourCornerCode,
    QNUnicodeUnihanKey_kFrequency,
    QNUnicodeUnihanKey_kGB0,
    QNUnicodeUnihanKey_kGB1,
    QNUnicodeUnihanKey_kGB3,
    QNUnicodeUnihanKey_kGB5,
    QNUnicodeUnihanKey_kGB7,
    QNUnicodeUnihanKey_kGB8,
    QNUnicodeUnihanKey_kGSR,
    QNUnicodeUnihanKey_kGradeLevel,
    QNUnicodeUnihanKey_kHDZRadBreak,
    QNUnicodeUnihanKey_kHKGlyph,
    QNUnicodeUnihanKey_kHKSCS,
    QNUnicodeUnihanKey_kHanYu,
    QNUnicodeUnihanKey_kHangul,
    QNUnicodeUnihanKey_kHanyuPinlu,
    QNUnicodeUnihanKey_kHanyuPinyin,
    QNUnicodeUnihanKey_kIBMJapan,
    QNUnicodeUnihanKey_kIICore,
    QNUnicodeUnihanKey_kIRGDaeJaweon,
    QNUnicodeUnihanKey_kIRGDaiKanwaZiten,
    QNUnicodeUnihanKey_kIRGHanyuDaZidian,
    QNUnicodeUnihanKey_kIRGKangXi,
    QNUnicodeUnihanKey_kIRG_GSource,
    QNUnicodeUnihanKey_kIRG_HSource,
    QNUnicodeUnihanKey_kIRG_JSource,
    QNUnicodeUnihanKey_kIRG_KPSource,
    QNUnicodeUnihanKey_kIRG_KSource,
    QNUnicodeUnihanKey_kIRG_MSource,
    QNUnicodeUnihanKey_kIRG_TSource,
    QNUnicodeUnihanKey_kIRG_USource,
    QNUnicodeUnihanKey_kIRG_VSource,
    QNUnicodeUnihanKey_kJIS0213,
    QNUnicodeUnihanKey_kJa,
    QNUnicodeUnihanKey_kJapaneseKun,
    QNUnicodeUnihanKey_kJapaneseOn,
    QNUnicodeUnihanKey_kJis0,
    QNUnicodeUnihanKey_kJis1,
    QNUnicodeUnihanKey_kKPS0,
    QNUnicodeUnihanKey_kKPS1,
    QNUnicodeUnihanKey_kKSC0,
    QNUnicodeUnihanKey_kKSC1,
    QNUnicodeUnihanKey_kKangXi,
    QNUnicodeUnihanKey_kKarlgren,
    QNUnicodeUnihanKey_kKorean,
    QNUnicodeUnihanKey_kLau,
    QNUnicodeUnihanKey_kMainlandTelegraph,
    QNUnicodeUnihanKey_kMandarin,
    QNUnicodeUnihanKey_kMatthews,
    QNUnicodeUnihanKey_kMeyerWempe,
    QNUnicodeUnihanKey_kMorohashi,
    QNUnicodeUnihanKey_kNelson,
    QNUnicodeUnihanKey_kOtherNumeric,
    QNUnicodeUnihanKey_kPhonetic,
    QNUnicodeUnihanKey_kPrimaryNumeric,
    QNUnicodeUnihanKey_kPseudoGB1,
    QNUnicodeUnihanKey_kRSAdobe_Japan1_6,
    QNUnicodeUnihanKey_kRSJapanese,
    QNUnicodeUnihanKey_kRSKanWa,
    QNUnicodeUnihanKey_kRSKangXi,
    QNUnicodeUnihanKey_kRSKorean,
    QNUnicodeUnihanKey_kRSUnicode,
    QNUnicodeUnihanKey_kSBGY,
    QNUnicodeUnihanKey_kSemanticVariant,
    QNUnicodeUnihanKey_kSimplifiedVariant,
    QNUnicodeUnihanKey_kSpecializedSemanticVariant,
    QNUnicodeUnihanKey_kTaiwanTelegraph,
    QNUnicodeUnihanKey_kTang,
    QNUnicodeUnihanKey_kTotalStrokes,
    QNUnicodeUnihanKey_kTraditionalVariant,
    QNUnicodeUnihanKey_kVietnamese,
    QNUnicodeUnihanKey_kXHC1983,
    QNUnicodeUnihanKey_kXerox,
    QNUnicodeUnihanKey_kZVariant,
};
