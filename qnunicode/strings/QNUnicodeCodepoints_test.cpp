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

// The UTF-8 bytes of a codepoint by ICU, written as the representations write them: two
// upper-case hexadecimal digits or a backslash and three octal digits a byte.
UnicodeString icuUTF8Text(uint32_t codepoint, uint32_t numberSystem) {
  uint8_t bytes[4];
  int32_t length = 0;
  UBool error = false;
  U8_APPEND(bytes, length, 4, codepoint, error);
  std::string text;
  for (int32_t i = 0; i < length; ++i)
    text += QNFormat(numberSystem == 16 ? "%02X" : "\\%03o", bytes[i]);
  return error ? u"error" : qnunicode::decodeLatin1(text);
}

}  // namespace

TEST(CodepointWalk, ReadsAgreeWithIcuOverSurrogateCombinations) {
  for (const UnicodeString& s : surrogateCombinations()) {
    SCOPED_TRACE(unitsText(s));
    const int32_t length = static_cast<int32_t>(s.size());
    EXPECT_EQ(UTF32Length(s), u_countChar32(reinterpret_cast<const UChar*>(s.data()), length));
    for (int32_t i = 0; i < length; ++i) {
      EXPECT_EQ(codepointAtUnicharIndex(s, i, true), icuCodepoints(s, i).front().value);
      EXPECT_EQ(codepointAtUnicharIndex(s, i, false), static_cast<uint32_t>(s[i]));
    }
    expectRangeError([&] { codepointAtUnicharIndex(s, length, true); }, length);
    expectRangeError([&] { codepointAtUnicharIndex(s, -1, false); }, -1);

    // Codepoint indexes from any offset skip pairs as ICU does, unpaired high surrogates
    // included; only the next offset after an unpaired high surrogate goes two units on.
    for (int32_t offset = 0; offset < length; ++offset) {
      const auto icu = icuCodepoints(s, static_cast<size_t>(offset));
      const int32_t count = static_cast<int32_t>(icu.size());
      for (int32_t n = 0; n < count; ++n) {
        int32_t next = 12345;
        EXPECT_EQ(codepointAtIndex(s, n, offset, &next), icu[n].value);
        size_t expectedNext = icu[n].offset + icu[n].units;
        if (U16_IS_LEAD(icu[n].value) && expectedNext < s.size()) ++expectedNext;
        EXPECT_EQ(next, expectedNext < s.size() ? static_cast<int32_t>(expectedNext) : -1)
            << "offset " << offset << " index " << n;
        if (offset == 0) {
          EXPECT_EQ(codepointAtIndex(s, n), icu[n].value);
        }
      }
      expectRangeError([&] { codepointAtIndex(s, count, offset); }, count);
      expectRangeError([&] { codepointAtIndex(s, -1, offset); }, -1);
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
          EXPECT_EQ((*hex)[k], qnunicode::decodeLatin1(QNFormat("%04X", walked[k])));
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
  // White space and line ends of every kind go; a lone surrogate is none and stays.
  EXPECT_EQ(trimmedString(u" \t\r\n\u0085\u00A0\u2028\u3000a b\u2029\u000B\u200A"), u"a b");
  EXPECT_EQ(trimmedString(u"\n\xD800 "), u"\xD800");
  EXPECT_EQ(trimmedString(u" \u200B"), u"\u200B");
  EXPECT_EQ(trimmedString(u"\t\n"), u"");
}

TEST(CodepointText, FormsOfCodepointsAgreeWithIcu) {
  // Plain checks in the loop over the codepoint space, one report at the end: every BMP
  // codepoint, and every seventh above with the ends of each plane.
  size_t failures = 0;
  std::string first;
  const auto check = [&](bool good, uint32_t c, const char* what) {
    if (!good && failures++ == 0) first = QNFormat("U+%04X: %s", c, what);
  };
  for (uint32_t c = 0; c <= 0x10FFFF; c += (c < 0xFFFF || (c & 0xFFFF) >= 0xFFF0) ? 1 : 7) {
    const uint32_t code = UTF16CodeForCode(c);
    const UnicodeString s = stringWithCodepoint(c);
    check(c <= 0xFFFF ? code == c && s == UnicodeString(1, static_cast<char16_t>(c))
                      : (code & 0xFFFF) == U16_LEAD(c) && (code >> 16) == U16_TRAIL(c) &&
                            s == icuString({c}),
          c, "UTF-16");
    const auto hex = UTF8RepresentationOfCodepoint(c, 16, true);
    if (U_IS_SURROGATE(c)) {
      check(!hex && !UTF8RepresentationOfCodepoint(c, 8, false), c, "a surrogate has a form");
      continue;
    }
    check(hex == (c == 0 ? u"0x00" : u"0x" + icuUTF8Text(c, 16)), c, "hexadecimal");
    check(UTF8RepresentationOfCodepoint(c, 16, false) == (c == 0 ? u"0x00" : icuUTF8Text(c, 16)), c,
          "hexadecimal without prefix");
    if (c % 61 == 0 || c < 0x100 || c == 0x7FF || c == 0x800 || c == 0xFFFF || c == 0x10000) {
      const auto octal = UTF8RepresentationOfCodepoint(c, 8, true);
      check(octal == icuUTF8Text(c, 8), c, "octal");
      check(UTF8RepresentationOfCodepoint(c, 8, false) == octal, c, "octal took a prefix");
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
        EXPECT_EQ(*utf8, u"0x" + icuUTF8Text(c, 16));
      }
      // The unit, or both units of a pair.
      std::string units = QNFormat("0x%04X", static_cast<unsigned>(s[i]));
      if (c > 0xFFFF) units += QNFormat("%04X", static_cast<unsigned>(s[i + 1]));
      EXPECT_EQ(UTF16RepresentationAtIndex(s, i), qnunicode::decodeLatin1(units));
    }
    for (int32_t i : {length, -1, INT32_MIN}) {
      expectRangeError([&] { UTF8RepresentationAtIndex(s, i); }, i);
      expectRangeError([&] { UTF16RepresentationAtIndex(s, i); }, i);
    }
  }
}

TEST(CodepointText, DescribedForms) {
  // Excess bits above the codepoint space are masked away, never rejected.
  EXPECT_EQ(UTF16CodeForCode(0x110000), 0xDC00D800u);
  EXPECT_EQ(stringWithCodepoint(0x110000), u"\U00010000");
  EXPECT_EQ(UTF16CodeForCode(0xFFFFFFFF), 0xDFFFDBBFu);
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x110000), u"0xF0908080");
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
