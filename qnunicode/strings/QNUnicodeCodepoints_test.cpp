#include "qnunicode/strings/QNUnicodeCodepoints.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <sstream>

#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"

using namespace QNUnicode;

namespace {

// One codepoint as ICU reads a string forward: pairs joined, every unpaired surrogate a codepoint
// of its own value.
struct IcuCodepoint {
  uint32_t value;
  size_t offset;
  size_t units;
};

std::vector<IcuCodepoint> icuCodepoints(std::u16string_view s, size_t from = 0) {
  std::vector<IcuCodepoint> result;
  const auto* units = reinterpret_cast<const UChar*>(s.data());
  const int32_t length = static_cast<int32_t>(s.size());
  for (int32_t i = static_cast<int32_t>(from); i < length;) {
    const int32_t start = i;
    UChar32 c;
    U16_NEXT(units, i, length, c);
    result.push_back(
        {static_cast<uint32_t>(c), static_cast<size_t>(start), static_cast<size_t>(i - start)});
  }
  return result;
}

UnicodeString icuString(const std::vector<uint32_t>& codepoints) {
  UnicodeString result;
  for (uint32_t c : codepoints) {
    UChar units[2];
    int32_t length = 0;
    UBool error = false;
    U16_APPEND(units, length, 2, c, error);
    EXPECT_FALSE(error);
    result.append(reinterpret_cast<const char16_t*>(units), static_cast<size_t>(length));
  }
  return result;
}

std::string unitsText(std::u16string_view s) {
  std::ostringstream text;
  text << std::hex << std::uppercase;
  for (char16_t u : s) text << static_cast<unsigned>(u) << ' ';
  return text.str();
}

// What a caller sees when it walks with index 0 from offset 0 along the returned offsets: ICU's
// reading, except that the unit after an unpaired high surrogate (when there is one) is passed
// over.
std::vector<uint32_t> walkedCodepoints(std::u16string_view s) {
  std::vector<uint32_t> result;
  size_t position = 0;
  while (position < s.size()) {
    const IcuCodepoint c = icuCodepoints(s.substr(position, 2)).front();
    result.push_back(c.value);
    position += c.units;
    if (U16_IS_LEAD(c.value) && position < s.size()) ++position;
  }
  return result;
}

template <typename Operation>
void expectRangeError(Operation&& operation, int32_t index) {
  try {
    operation();
    ADD_FAILURE() << "no range error; expected one for index " << index;
  } catch (const QNRangeException& e) {
    EXPECT_EQ(std::string(e.what()), "UTF32 Index " + std::to_string(index) + " out of range");
    EXPECT_STREQ(e.name(), "NSRangeException");
  }
}

// Every string of up to five units over a letter, both ends of both surrogate halves and the
// unit after the surrogates: lone and paired surrogates in every position, at both ends.
const std::vector<UnicodeString>& surrogateCombinations() {
  static const std::vector<UnicodeString> strings = [] {
    const char16_t alphabet[] = {u'A', 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
    std::vector<UnicodeString> all{UnicodeString()};
    for (size_t begin = 0, length = 1; length <= 5; ++length) {
      const size_t end = all.size();
      for (size_t i = begin; i < end; ++i) {
        for (char16_t unit : alphabet) all.push_back(all[i] + unit);
      }
      begin = end;
    }
    return all;
  }();
  return strings;
}

// The value of upper-case hexadecimal digits; none for anything else.
std::optional<uint32_t> hexValue(std::u16string_view text) {
  if (text.empty()) return std::nullopt;
  uint32_t value = 0;
  for (char16_t u : text) {
    if (u >= u'0' && u <= u'9') {
      value = value * 16 + static_cast<uint32_t>(u - u'0');
    } else if (u >= u'A' && u <= u'F') {
      value = value * 16 + static_cast<uint32_t>(u - u'A' + 10);
    } else {
      return std::nullopt;
    }
  }
  return value;
}

uint32_t parseHex(std::u16string_view text) {
  const auto value = hexValue(text);
  EXPECT_TRUE(value.has_value()) << "not upper-case hexadecimal: " << qnunicode::toUTF8(text);
  return value.value_or(0xFFFFFFFF);
}

std::string icuUTF8(uint32_t codepoint) {
  uint8_t bytes[4];
  int32_t length = 0;
  UBool error = false;
  U8_APPEND(bytes, length, 4, codepoint, error);
  return error ? std::string("error") : std::string(reinterpret_cast<const char*>(bytes), length);
}

// The bytes a UTF-8 representation stands for: two hexadecimal digits a byte (after the "0x"
// prefix, which the caller removes) or a backslash and three octal digits a byte; none when
// the text has another form.
std::optional<std::string> bytesOfRepresentation(std::u16string_view text, uint32_t numberSystem) {
  std::string bytes;
  const size_t width = numberSystem == 16 ? 2 : 4;
  if (text.empty() || text.size() % width != 0) return std::nullopt;
  for (size_t i = 0; i < text.size(); i += width) {
    if (numberSystem == 16) {
      const auto value = hexValue(text.substr(i, 2));
      if (!value) return std::nullopt;
      bytes.push_back(static_cast<char>(*value));
      continue;
    }
    if (text[i] != u'\\') return std::nullopt;
    uint32_t value = 0;
    for (size_t k = 1; k <= 3; ++k) {
      if (text[i + k] < u'0' || text[i + k] > u'7') return std::nullopt;
      value = value * 8 + (text[i + k] - u'0');
    }
    bytes.push_back(static_cast<char>(value));
  }
  return bytes;
}

}  // namespace

TEST(CodepointWalk, LengthAndUnitReadsAgreeWithIcuOverSurrogateCombinations) {
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const auto icu = icuCodepoints(s);
    EXPECT_EQ(UTF32Length(s), u_countChar32(reinterpret_cast<const UChar*>(s.data()),
                                            static_cast<int32_t>(s.size())));
    for (int32_t i = 0; i < static_cast<int32_t>(s.size()); ++i) {
      EXPECT_EQ(codepointAtUnicharIndex(s, i, true), icuCodepoints(s, i).front().value);
      EXPECT_EQ(codepointAtUnicharIndex(s, i, false), static_cast<uint32_t>(s[i]));
    }
    const int32_t length = static_cast<int32_t>(s.size());
    expectRangeError([&] { codepointAtUnicharIndex(s, length, true); }, length);
    expectRangeError([&] { codepointAtUnicharIndex(s, -1, false); }, -1);
    // Codepoint indexes from the start skip pairs as ICU does, unpaired high surrogates included.
    for (size_t n = 0; n < icu.size(); ++n) {
      EXPECT_EQ(codepointAtIndex(s, static_cast<int32_t>(n)), icu[n].value) << "index " << n;
    }
    expectRangeError([&] { codepointAtIndex(s, static_cast<int32_t>(icu.size())); },
                     static_cast<int32_t>(icu.size()));
  }
}

TEST(CodepointWalk, FromEveryOffsetOverSurrogateCombinations) {
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const int32_t length = static_cast<int32_t>(s.size());
    for (int32_t offset = 0; offset < length; ++offset) {
      const auto icu = icuCodepoints(s, static_cast<size_t>(offset));
      for (int32_t n = 0; n <= static_cast<int32_t>(icu.size()); ++n) {
        if (n == static_cast<int32_t>(icu.size())) {
          expectRangeError([&] { codepointAtIndex(s, n, offset); }, n);
          continue;
        }
        int32_t next = 12345;
        EXPECT_EQ(codepointAtIndex(s, n, offset, &next), icu[n].value);
        // After an unpaired high surrogate with a unit behind it the walk goes two units on.
        size_t expectedNext = icu[n].offset + icu[n].units;
        if (U16_IS_LEAD(icu[n].value) && expectedNext < s.size()) ++expectedNext;
        EXPECT_EQ(next, expectedNext < s.size() ? static_cast<int32_t>(expectedNext) : -1)
            << "offset " << offset << " index " << n;
      }
    }
    // No offset outside the string is read: the end, the walk's -1 and far beyond.
    for (int32_t offset : {length, -1, INT32_MIN, INT32_MAX}) {
      expectRangeError([&] { codepointAtIndex(s, 0, offset); }, 0);
    }
  }
}

TEST(CodepointWalk, CallersAlongTheReturnedOffsetsOverSurrogateCombinations) {
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const auto walked = walkedCodepoints(s);
    std::vector<uint32_t> seen;
    for (int32_t offset = s.empty() ? -1 : 0; offset >= 0;) {
      seen.push_back(codepointAtIndex(s, 0, offset, &offset));
    }
    EXPECT_EQ(seen, walked);

    // codepoints and the hexadecimal list walk the string UTF32Length times, so the unit a walk
    // passes over makes them run past the end.
    // A passed-over unit that was the high half of a pair leaves the count intact, and the walk
    // then reads the low half on its own.
    if (walked.size() < icuCodepoints(s).size()) {
      expectRangeError([&] { codepoints(s); }, 0);
      expectRangeError([&] { hexCodepointsArrayWithMaximumLength(s, 0); }, 0);
    } else {
      std::vector<UnicodeString> expected;
      for (uint32_t c : walked) expected.push_back(icuString({c}));
      EXPECT_EQ(codepoints(s), expected);
      const auto hex = hexCodepointsArrayWithMaximumLength(s, 0);
      ASSERT_EQ(hex.has_value(), !s.empty());
      if (hex) {
        ASSERT_EQ(hex->size(), walked.size());
        for (size_t k = 0; k < walked.size(); ++k) {
          EXPECT_GE((*hex)[k].size(), 4u);
          EXPECT_EQ(parseHex((*hex)[k]), walked[k]);
        }
      }
    }

    // Splitting loses the passed-over unit silently and matches whole codepoints.
    for (uint32_t separator : {0x41u, 0xD800u, 0xDC00u, 0x10000u, 0x10FFFFu}) {
      std::vector<UnicodeString> expected;
      std::vector<uint32_t> piece;
      for (uint32_t c : walked) {
        if (c == separator) {
          expected.push_back(icuString(piece));
          piece.clear();
        } else {
          piece.push_back(c);
        }
      }
      expected.push_back(icuString(piece));
      EXPECT_EQ(componentsSeparatedByCodepoint(s, separator), expected) << "at " << separator;
    }
  }
}

TEST(CodepointEditing, InsertReplaceAndRemoveOverSurrogateCombinations) {
  const UnicodeString inserted = u"x\U0001F600";
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const auto icu = icuCodepoints(s);
    const int32_t count = static_cast<int32_t>(icu.size());
    // The units of the codepoints from index `from` up to (not including) `to`.
    const auto slice = [&](int32_t from, int32_t to) {
      UnicodeString text;
      for (int32_t k = std::max(from, 0); k < std::min(to, count); ++k) {
        text += s.substr(icu[k].offset, icu[k].units);
      }
      return text;
    };
    for (int32_t i = 0; i <= count; ++i) {
      EXPECT_EQ(stringByInsertingString(s, inserted, i), slice(0, i) + inserted + slice(i, count));
      EXPECT_EQ(stringByInsertingString(s, inserted, i, true),
                slice(0, i) + inserted + slice(i + 1, count));
      EXPECT_EQ(stringByReplacingCodepointAtIndex(s, i, inserted),
                stringByInsertingString(s, inserted, i, true));
    }
    // Past the end the head copy fails at the first missing codepoint.
    for (int32_t i : {count + 1, count + 7, INT32_MAX}) {
      expectRangeError([&] { stringByInsertingString(s, inserted, i); }, count);
      expectRangeError([&] { stringByReplacingCodepointAtIndex(s, i, inserted); }, count);
    }
    // A negative index fails where the tail copy asks for that codepoint.
    expectRangeError([&] { stringByInsertingString(s, inserted, -1); }, -1);
    expectRangeError([&] { stringByReplacingCodepointAtIndex(s, -2, inserted); }, -1);
    expectRangeError([&] { stringByInsertingString(s, inserted, INT32_MIN); }, INT32_MIN);

    // Every subset of the codepoint indexes, and indexes past the end, which are ignored.
    for (uint32_t subset = 0; subset < (1u << count); ++subset) {
      CodepointIndexSet indexes{static_cast<uint32_t>(count), 1000, 0xFFFFFFFF};
      UnicodeString expected;
      for (int32_t k = 0; k < count; ++k) {
        if (subset & (1u << k)) {
          indexes.add(static_cast<uint32_t>(k));
        } else {
          expected += slice(k, k + 1);
        }
      }
      EXPECT_EQ(stringByRemovingCodepointsAtIndexes(s, indexes), expected);
    }
  }
}

TEST(CodepointEditing, TrimmingTreatsPairsAsOneCharacter) {
  // Sets with a supplementary codepoint, a lone low surrogate value and a letter.
  const CodepointSet set{0x10FFFF, 0xDC00, 0x41};
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const auto icu = icuCodepoints(s);
    size_t first = 0;
    while (first < icu.size() && set.contains(icu[first].value)) ++first;
    EXPECT_EQ(stringWithoutLeadingCharactersFromSet(s, set),
              first < icu.size() ? s.substr(icu[first].offset) : UnicodeString());
    size_t last = icu.size();
    while (last > 0 && set.contains(icu[last - 1].value)) --last;
    EXPECT_EQ(stringWithoutTrailingCharactersFromSet(s, set),
              last > 0 ? s.substr(0, icu[last - 1].offset + icu[last - 1].units) : UnicodeString());
  }
  // A set that holds only one half of a pair leaves the pair alone.
  const UnicodeString face = u"\U0001F600";
  EXPECT_EQ(stringWithoutLeadingCharactersFromSet(face, CodepointSet{0xD83D}), face);
  EXPECT_EQ(stringWithoutTrailingCharactersFromSet(face, CodepointSet{0xDE00}), face);
  EXPECT_EQ(stringWithoutLeadingCharactersFromSet(u"\U0001F600\U0001F600b", CodepointSet{0x1F600}),
            u"b");
  EXPECT_EQ(stringWithoutTrailingCharactersFromSet(u"a\U0001F600\U0001F600", CodepointSet{0x1F600}),
            u"a");
}

TEST(CodepointEditing, TrimmedStringRemovesThePlatformWhiteSpaceOfIcu) {
  // White space and line ends: the space separators, U+0009 to U+000D, U+0085, U+2028, U+2029.
  for (uint32_t c = 0; c <= 0xFFFF; ++c) {
    const bool white = u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR ||
                       (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
    const UnicodeString unit(1, static_cast<char16_t>(c));
    EXPECT_EQ(trimmedString(unit + unit + u"a" + unit + u"b" + unit),
              white ? u"a" + unit + u"b" : unit + unit + u"a" + unit + u"b" + unit)
        << std::hex << c;
  }
  EXPECT_EQ(trimmedString(u""), u"");
  EXPECT_EQ(trimmedString(u" \t\r\n\u3000"), u"");
  // A lone surrogate is not white space and stays.
  EXPECT_EQ(trimmedString(u"\n\xD800 "), u"\xD800");
}

TEST(CodepointText, UTF8FormsOfCodepointsDecodeToIcusBytes) {
  // Plain checks in the loop over the whole codepoint space, one report at the end.
  size_t failures = 0;
  std::string first;
  const auto fail = [&](uint32_t c, const char* what) {
    if (failures++ == 0) first = QNFormat("U+%04X: %s", c, what);
  };
  // Every BMP codepoint, and every seventh above with the ends of each plane.
  for (uint32_t c = 0; c <= 0x10FFFF; c += (c < 0xFFFF || (c & 0xFFFF) >= 0xFFF0) ? 1 : 7) {
    const auto hex = UTF8RepresentationOfCodepoint(c, 16, true);
    if (c >= 0xD800 && c <= 0xDFFF) {
      if (hex || UTF8RepresentationOfCodepoint(c, 8, false)) fail(c, "a surrogate has a form");
      continue;
    }
    if (!hex || hex->substr(0, 2) != u"0x") {
      fail(c, "no 0x form");
      continue;
    }
    if (bytesOfRepresentation(hex->substr(2), 16) != icuUTF8(c)) fail(c, "hexadecimal bytes");
    if (c % 61 == 0 || c < 0x100 || c == 0x7FF || c == 0x800 || c == 0xFFFF || c == 0x10000) {
      const auto bare = UTF8RepresentationOfCodepoint(c, 16, false);
      const auto octal = UTF8RepresentationOfCodepoint(c, 8, true);
      if (!bare || (c == 0 ? *bare : u"0x" + *bare) != *hex) fail(c, "form without prefix");
      if (!octal || bytesOfRepresentation(*octal, 8) != icuUTF8(c)) fail(c, "octal bytes");
      if (UTF8RepresentationOfCodepoint(c, 8, false) != octal) fail(c, "octal took a prefix");
    }
  }
  EXPECT_EQ(failures, 0u) << "first: " << first;
}

TEST(CodepointText, UTF8AndUTF16FormsAtUnitIndexesOverSurrogateCombinations) {
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const int32_t length = static_cast<int32_t>(s.size());
    for (int32_t i = 0; i < length; ++i) {
      const uint32_t c = icuCodepoints(s, i).front().value;
      const auto utf8 = UTF8RepresentationAtIndex(s, i);
      if (U_IS_SURROGATE(c)) {
        EXPECT_FALSE(utf8.has_value());
      } else {
        ASSERT_TRUE(utf8.has_value());
        EXPECT_EQ(UTF8RepresentationAtIndex(s, i, 16, true), utf8);
        EXPECT_EQ(bytesOfRepresentation(utf8->substr(2), 16), icuUTF8(c));
      }
      const UnicodeString utf16 = UTF16RepresentationAtIndex(s, i);
      ASSERT_EQ(utf16.substr(0, 2), u"0x");
      const UnicodeString expected =
          c > 0xFFFF ? s.substr(static_cast<size_t>(i), 2) : UnicodeString(1, s[i]);
      ASSERT_EQ(utf16.size(), 2 + 4 * expected.size());
      for (size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(parseHex(utf16.substr(2 + 4 * k, 4)), static_cast<uint32_t>(expected[k]));
      }
    }
    for (int32_t i : {length, -1, INT32_MIN}) {
      expectRangeError([&] { UTF8RepresentationAtIndex(s, i); }, i);
      expectRangeError([&] { UTF16RepresentationAtIndex(s, i); }, i);
    }
  }
}

TEST(CodepointText, PackedUTF16CodesAndSingleCodepointStrings) {
  size_t failures = 0;
  uint32_t first = 0;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const uint32_t code = UTF16CodeForCode(c);
    const UnicodeString s = stringWithCodepoint(c);
    const bool good = c <= 0xFFFF
                          ? code == c && s.size() == 1 && s[0] == c
                          : (code & 0xFFFF) == U16_LEAD(c) && (code >> 16) == U16_TRAIL(c) &&
                                s.size() == 2 && s[0] == U16_LEAD(c) && s[1] == U16_TRAIL(c);
    if (!good && failures++ == 0) first = c;
  }
  EXPECT_EQ(failures, 0u) << "first at " << std::hex << first;
  // Excess bits above the codepoint space are masked away, never rejected.
  EXPECT_EQ(UTF16CodeForCode(0x110000), 0xDC00D800u);
  EXPECT_EQ(stringWithCodepoint(0x110000), u"\U00010000");
  EXPECT_EQ(UTF16CodeForCode(0xFFFFFFFF), 0xDFFFDBBFu);
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x110000), u"0xF0908080");
}

TEST(CodepointText, DescribedForms) {
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x20AC), u"0xE282AC");
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x20AC, 16, false), u"E282AC");
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x20AC, 8, true), u"\\342\\202\\254");
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x41, 8, false), u"\\101");
  // U+0000 keeps its "0x" even when no prefix is asked for.
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0, 16, false), u"0x00");
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0, 8, false), u"\\000");
  for (uint32_t system : {0u, 2u, 10u, 15u, 17u, 0xFFFFFFFFu}) {
    try {
      UTF8RepresentationOfCodepoint(0x41, system, true);
      ADD_FAILURE() << "number system " << system << " accepted";
    } catch (const QNInvalidArgumentException& e) {
      EXPECT_STREQ(e.what(), "numberSystem must be 16 or 8");
      EXPECT_STREQ(e.name(), "NSInvalidArgumentException");
    }
    // The number system is checked before the surrogate test, the unit index before both.
    EXPECT_THROW(UTF8RepresentationAtIndex(u"a", 0, system), QNInvalidArgumentException);
    EXPECT_THROW(UTF8RepresentationOfCodepoint(0xD800, system, true), QNInvalidArgumentException);
    expectRangeError([&] { UTF8RepresentationAtIndex(u"a", 1, system); }, 1);
  }
  EXPECT_EQ(UTF16RepresentationAtIndex(u"\U0001F600", 0), u"0xD83DDE00");
  EXPECT_EQ(UTF16RepresentationAtIndex(u"\U0001F600", 1), u"0xDE00");
  EXPECT_EQ(UTF16RepresentationAtIndex(u"\u00E9", 0), u"0x00E9");
  EXPECT_EQ(UTF8RepresentationAtIndex(u"a\U0001F600", 1, 8), u"\\360\\237\\230\\200");
  EXPECT_EQ(UTF8RepresentationAtIndex(u"a\U0001F600", 2), std::nullopt);
}

TEST(CodepointText, HexadecimalListsAndTheirLimit) {
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"ABC", 2), u"0041 0042 ...");
  EXPECT_EQ(hexCodepointsArrayWithMaximumLength(u"ABC", 2),
            (std::vector<UnicodeString>{u"0041", u"0042", u"..."}));
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"ABC", 3), u"0041 0042 0043");
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"ABC", 0), u"0041 0042 0043");
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"ABC", 1), u"0041 ...");
  EXPECT_EQ(hexCodepointsJoinedBySpaces(u"\U0001F600\U0010FFFF\u00E9\xDC00"),
            u"1F600 10FFFF 00E9 DC00");
  // The limit counts codepoints, not units.
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"\U0001F600\U0001F600", 2),
            u"1F600 1F600");
  // The empty string has no list, not an empty one.
  EXPECT_EQ(hexCodepointsArrayWithMaximumLength(u"", 0), std::nullopt);
  EXPECT_EQ(hexCodepointsJoinedBySpaces(u""), std::nullopt);
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"", 5), std::nullopt);
}

TEST(CodepointWalk, DescribedAsymmetryAfterAnUnpairedHighSurrogate) {
  const UnicodeString s =
      u"A\xD800"
      u"B";
  EXPECT_EQ(UTF32Length(s), 3);
  int32_t next = 0;
  EXPECT_EQ(codepointAtIndex(s, 0, 1, &next), 0xD800u);
  EXPECT_EQ(next, -1);
  // Indexes count the B, the walk's offsets do not.
  EXPECT_EQ(codepointAtIndex(s, 2), 0x42u);
  EXPECT_EQ(codepointAtIndex(s, 1, 1), 0x42u);
  expectRangeError([&] { codepoints(s); }, 0);
  EXPECT_EQ(componentsSeparatedByCodepoint(s, u'A'), (std::vector<UnicodeString>{u"", u"\xD800"}));
  // Editing fetches each codepoint by index, so nothing is lost there.
  EXPECT_EQ(stringByInsertingString(s, u"-", 2), u"A\xD800-B");
  EXPECT_EQ(stringByRemovingCodepointsAtIndexes(s, CodepointIndexSet{0}),
            u"\xD800"
            u"B");

  const UnicodeString pair = u"A\U0001F600B";
  EXPECT_EQ(codepointAtIndex(pair, 1), 0x1F600u);
  EXPECT_EQ(codepointAtIndex(pair, 2), 0x42u);
  expectRangeError([&] { codepointAtIndex(pair, 3); }, 3);
  EXPECT_EQ(codepointAtUnicharIndex(pair, 2, true), 0xDE00u);
  EXPECT_EQ(codepointAtUnicharIndex(pair, 1, false), 0xD83Du);
  EXPECT_EQ(componentsSeparatedByCodepoint(u"a,b,", u','),
            (std::vector<UnicodeString>{u"a", u"b", u""}));
  EXPECT_EQ(componentsSeparatedByCodepoint(u"", u','), std::vector<UnicodeString>{u""});
  EXPECT_EQ(stringByReplacingCodepointAtIndex(u"ab\U0001F600", 2, u"c"), u"abc");
  EXPECT_EQ(stringByInsertingString(u"ab", u"c", 2), u"abc");
  EXPECT_EQ(stringByInsertingString(u"", u"c", 0), u"c");
  expectRangeError([&] { stringByInsertingString(u"", u"c", 1); }, 0);
}

TEST(CodepointFile, ReadsWholeUTF8FilesStrictly) {
  // A real data file, far larger than one read buffer, against ICU's decoding of its bytes.
  const std::string path = qnunicode::testing::ucdFile("UnicodeData.txt");
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(bytes.size(), 1000000u);
  std::u16string expected(bytes.size(), u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(expected.data()), static_cast<int32_t>(expected.size()),
                &length, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
  ASSERT_TRUE(U_SUCCESS(status));
  expected.resize(static_cast<size_t>(length));
  EXPECT_EQ(stringWithContentsOfUTF8File(path), expected);

  qnunicode::testing::ScratchDirectory scratch;
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.write("empty.txt", "")), u"");
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.write("text.txt", "a\xC3\xA9\xF0\x9F\x98\x80\n")),
            u"a\u00E9\U0001F600\n");
  // One bad byte anywhere, even after a megabyte of good text, spoils the file.
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.write("bad.txt", bytes + "\xC0\x80")),
            std::nullopt);
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.write("surrogate.txt", "a\xED\xA0\x80")),
            std::nullopt);
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.write("cut.txt", "a\xE2\x82")), std::nullopt);
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.path() + "/missing.txt"), std::nullopt);
  EXPECT_EQ(stringWithContentsOfUTF8File(scratch.path()), std::nullopt);
  EXPECT_EQ(stringWithContentsOfUTF8File(""), std::nullopt);
}
