// The precomposed Hangul syllables follow from arithmetic on the conjoining jamo: their names,
// their decomposition into jamo and the composition of jamo back into syllables.

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeHangulConstants.h"

using namespace qnunicode::hangul;

namespace {

constexpr std::u16string_view kJamoLTable[LCount] = {u"G", u"GG", u"N", u"D",  u"DD", u"R", u"M",
                                                     u"B", u"BB", u"S", u"SS", u"",   u"J", u"JJ",
                                                     u"C", u"K",  u"T", u"P",  u"H"};
constexpr std::u16string_view kJamoVTable[VCount] = {
    u"A",  u"AE", u"YA", u"YAE", u"EO", u"E",  u"YEO", u"YE", u"O",  u"WA", u"WAE",
    u"OE", u"YO", u"U",  u"WEO", u"WE", u"WI", u"YU",  u"EU", u"YI", u"I"};
constexpr std::u16string_view kJamoTTable[TCount] = {
    u"",   u"G",  u"GG", u"GS", u"N",  u"NJ", u"NH", u"D",  u"L", u"LG", u"LM", u"LB", u"LS", u"LT",
    u"LP", u"LH", u"M",  u"B",  u"BS", u"S",  u"SS", u"NG", u"J", u"C",  u"K",  u"T",  u"P",  u"H"};

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::getHangulName(int32_t codepoint) {
  if (codepoint < static_cast<int32_t>(SBase) || codepoint > static_cast<int32_t>(SLast)) {
    return std::nullopt;
  }
  const uint32_t sIndex = static_cast<uint32_t>(codepoint) - SBase;
  UnicodeString name = u"HANGUL SYLLABLE ";
  name += kJamoLTable[sIndex / NCount];
  name += kJamoVTable[(sIndex % NCount) / TCount];
  name += kJamoTTable[sIndex % TCount];
  return name;
}

bool QNUnicodeDatabase::codepointIsHangul(uint32_t codepoint) {
  return codepoint >= SBase && codepoint <= SLast;
}

std::vector<uint32_t> QNUnicodeDatabase::decomposeHangul(uint32_t codepoint) {
  uint32_t jamo[3];
  const size_t count = decomposeSyllable(codepoint, jamo);
  if (count == 0) return {codepoint};
  return std::vector<uint32_t>(jamo, jamo + count);
}

std::vector<uint32_t> QNUnicodeDatabase::composeHangul(const std::vector<uint32_t>& codepoints,
                                                       uint32_t* replacementCount) {
  std::vector<uint32_t> composed(codepoints);
  const size_t length = composeInPlace(composed.data(), composed.size(), replacementCount);
  composed.resize(length);
  return composed;
}
