#include "qnunicode/strings/QNUnicodeCodepoints.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <climits>
#include <fstream>

#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"

using namespace QNUnicode;
using Strings = std::vector<UnicodeString>;
using namespace std::string_literals;

namespace {

// The codepoints as ICU reads them from a unit offset: an unpaired surrogate is one of its own.
struct IcuCodepoint {
  uint32_t value;
  size_t offset, units;
};

std::vector<IcuCodepoint> icuCodepoints(std::u16string_view s, int32_t from = 0) {
  std::vector<IcuCodepoint> result;
  for (int32_t i = from, start = from; i < static_cast<int32_t>(s.size()); start = i) {
    UChar32 c;
    U16_NEXT(s.data(), i, static_cast<int32_t>(s.size()), c);
    result.push_back({static_cast<uint32_t>(c), size_t(start), size_t(i - start)});
  }
  return result;
}

// "%04X" a unit (for traces and UTF-16 forms), or ICU's UTF-8 bytes as "%02X" or "\%03o" each.
std::string hexUnits(std::u16string_view s) {
  std::string text;
  for (char16_t u : s) text += QNFormat("%04X", static_cast<unsigned>(u));
  return text;
}
UnicodeString icuUTF8Text(uint32_t codepoint, bool hexadecimal) {
  uint8_t bytes[4];
  int32_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, codepoint);
  std::string text;
  for (int32_t i = 0; i < length; ++i) text += QNFormat(hexadecimal ? "%02X" : "\\%03o", bytes[i]);
  return qnunicode::decodeLatin1(text);
}

template <typename Operation>
void expectRangeError(Operation&& operation, int32_t index) {
  try {
    operation();
    ADD_FAILURE() << "no range error; expected one for index " << index;
  } catch (const QNRangeException& e) {
    EXPECT_EQ(e.what(), "UTF32 Index " + std::to_string(index) + " out of range");
    EXPECT_STREQ(e.name(), "NSRangeException");
  }
}

}  // namespace

TEST(Codepoints, EveryOperationAgreesWithIcuOverLoneAndPairedSurrogates) {
  // Every string of up to five units: lone and paired surrogates in every position.
  Strings strings{UnicodeString()};
  for (size_t i = 0; strings[i].size() < 5; ++i) {
    for (char16_t unit : std::u16string_view(u"A\xD800\xDBFF\xDC00\xDFFF\xE000")) {
      strings.push_back(strings[i] + unit);
    }
  }
  const UnicodeString inserted = u"x\U0001F600";
  const CodepointSet trimmed{0x10FFFF, 0xD800, 0xDC00, 0x41};  // a pair, two lone halves, a letter
  for (const UnicodeString& s : strings) {
    SCOPED_TRACE(hexUnits(s));
    const int32_t length = static_cast<int32_t>(s.size());
    const auto icu = icuCodepoints(s);
    const int32_t count = static_cast<int32_t>(icu.size());
    EXPECT_EQ(UTF32Length(s), count);
    for (int32_t i = 0; i < length; ++i) {
      const IcuCodepoint c = icuCodepoints(s, i).front();
      EXPECT_EQ(codepointAtUnicharIndex(s, i, true), c.value);
      EXPECT_EQ(codepointAtUnicharIndex(s, i, false), static_cast<uint32_t>(s[i]));
      EXPECT_EQ(UTF8RepresentationAtIndex(s, i),
                U_IS_SURROGATE(c.value) ? std::nullopt
                                        : std::optional(u"0x" + icuUTF8Text(c.value, true)));
      EXPECT_EQ(UTF16RepresentationAtIndex(s, i),
                qnunicode::decodeLatin1("0x" + hexUnits(s.substr(i, c.units))));
    }
    for (int32_t i : {length, -1, INT32_MIN}) {
      expectRangeError([&] { codepointAtUnicharIndex(s, i, i < 0); }, i);
      expectRangeError([&] { UTF8RepresentationAtIndex(s, i); }, i);
      expectRangeError([&] { UTF16RepresentationAtIndex(s, i); }, i);
    }
    // Counting codepoints from any offset steps over pairs as ICU does, unpaired high surrogates
    // included; only the next offset after an unpaired high surrogate goes two units on, so
    // callers along the returned offsets never see the unit after one.
    std::vector<int32_t> nextOffset(s.size());
    for (int32_t offset = 0; offset < length; ++offset) {
      const auto from = icuCodepoints(s, offset);
      const int32_t left = static_cast<int32_t>(from.size());
      for (int32_t n = 0; n < left; ++n) {
        size_t next = from[n].offset + from[n].units;
        if (U16_IS_LEAD(from[n].value) && next < s.size()) ++next;
        if (n == 0) nextOffset[offset] = next < s.size() ? static_cast<int32_t>(next) : -1;
        int32_t answered = 12345;
        EXPECT_EQ(codepointAtIndex(s, n, offset, &answered), from[n].value);
        EXPECT_EQ(answered, next < s.size() ? static_cast<int32_t>(next) : -1) << n;
      }
      expectRangeError([&] { codepointAtIndex(s, left, offset); }, left);
      // A negative index steps zero times: the codepoint at the offset, the same next offset.
      for (int32_t n : {-1, INT32_MIN}) {
        int32_t answered = 12345;
        EXPECT_EQ(codepointAtIndex(s, n, offset, &answered), from[0].value);
        EXPECT_EQ(answered, nextOffset[offset]);
      }
    }
    for (int32_t n = 0; n < count; ++n) EXPECT_EQ(codepointAtIndex(s, n), icu[n].value);
    // No offset outside the string is read: the end, the walk's -1 and far beyond.
    for (int32_t offset : {length, -1, INT32_MIN, INT32_MAX}) {
      expectRangeError([&] { codepointAtIndex(s, 0, offset); }, 0);
    }
    const uint32_t separators[] = {0x41, 0xD800, 0xDC00, 0x10000, 0x10FFFF};
    Strings walked, hex;
    std::vector<Strings> pieces(std::size(separators), Strings(1));
    for (int32_t offset = length ? 0 : -1; offset >= 0; offset = nextOffset[offset]) {
      const IcuCodepoint c = icuCodepoints(s, offset).front();
      walked.push_back(s.substr(c.offset, c.units));
      hex.push_back(qnunicode::decodeLatin1(QNFormat("%04X", c.value)));
      for (size_t k = 0; k < std::size(separators); ++k) {
        if (c.value == separators[k]) {
          pieces[k].emplace_back();
        } else {
          pieces[k].back() += walked.back();
        }
      }
    }
    for (size_t k = 0; k < std::size(separators); ++k) {
      EXPECT_EQ(componentsSeparatedByCodepoint(s, separators[k]), pieces[k]) << separators[k];
    }
    // codepoints and the hexadecimal list take UTF32Length steps along the walk, so a unit passed
    // over makes them run past the end, unless it was the high half of a pair: the count is then
    // intact and the walk reads the low half on its own.
    if (static_cast<int32_t>(walked.size()) < count) {
      expectRangeError([&] { codepoints(s); }, 0);
      expectRangeError([&] { hexCodepointsArrayWithMaximumLength(s, 0); }, 0);
    } else {
      EXPECT_EQ(codepoints(s), walked);
      EXPECT_EQ(hexCodepointsArrayWithMaximumLength(s, 0),
                s.empty() ? std::nullopt : std::optional(hex));
    }

    // The units of the codepoints from `from` up to (not including) `to`.
    const auto slice = [&](int32_t from, int32_t to) {
      to = std::min(to, count);
      return from >= to ? UnicodeString()
                        : s.substr(icu[from].offset,
                                   icu[to - 1].offset + icu[to - 1].units - icu[from].offset);
    };
    for (int32_t i = 0; i <= count; ++i) {
      const UnicodeString replaced = slice(0, i) + inserted + slice(i + 1, count);
      EXPECT_EQ(stringByInsertingString(s, inserted, i), slice(0, i) + inserted + slice(i, count));
      EXPECT_EQ(stringByInsertingString(s, inserted, i, true), replaced);
      EXPECT_EQ(stringByReplacingCodepointAtIndex(s, i, inserted), replaced);
    }
    // Past the end the head copy fails at the first missing codepoint. Below 0 the tail copy
    // asks the walk for negative indexes, each of which answers the first codepoint; an empty
    // string has none and fails at the first negative index asked for.
    for (int32_t i : {count + 1, INT32_MAX}) {
      expectRangeError([&] { stringByInsertingString(s, inserted, i); }, count);
      expectRangeError([&] { stringByReplacingCodepointAtIndex(s, i, inserted); }, count);
    }
    if (count == 0) {
      expectRangeError([&] { stringByInsertingString(s, inserted, -1); }, -1);
      expectRangeError([&] { stringByReplacingCodepointAtIndex(s, -2, inserted); }, -1);
    } else {
      EXPECT_EQ(stringByInsertingString(s, inserted, -1), inserted + slice(0, 1) + s);
      EXPECT_EQ(stringByInsertingString(s, inserted, -3),
                inserted + slice(0, 1) + slice(0, 1) + slice(0, 1) + s);
      EXPECT_EQ(stringByReplacingCodepointAtIndex(s, -2, inserted), inserted + slice(0, 1) + s);
      EXPECT_EQ(stringByReplacingCodepointAtIndex(s, -1, inserted), inserted + s);
    }
    // Every subset of the codepoint indexes, with indexes past the end, which are ignored.
    for (uint32_t subset = 0; subset < (1u << count); ++subset) {
      CodepointIndexSet indexes{static_cast<uint32_t>(count), 1000, 0xFFFFFFFF};
      UnicodeString expected;
      for (int32_t k = 0; k < count; ++k) {
        if ((subset >> k) & 1) {
          indexes.add(static_cast<uint32_t>(k));
        } else {
          expected += slice(k, k + 1);
        }
      }
      EXPECT_EQ(stringByRemovingCodepointsAtIndexes(s, indexes), expected);
    }
    // Trimming takes a pair as one character, never one half of it.
    int32_t first = 0, last = count;
    while (first < count && trimmed.contains(icu[first].value)) ++first;
    while (last > 0 && trimmed.contains(icu[last - 1].value)) --last;
    EXPECT_EQ(stringWithoutLeadingCharactersFromSet(s, trimmed), slice(first, count));
    EXPECT_EQ(stringWithoutTrailingCharactersFromSet(s, trimmed), slice(0, last));
  }
  // White space and line ends go; a lone surrogate is none and stays.
  EXPECT_EQ(trimmedString(u" \r\n\u0085\u00A0\u2028\xD800 b\u200B\u2029\u000B\u3000"),
            u"\xD800 b\u200B");
  EXPECT_EQ(trimmedString(u"\t\n"), u"");
}

TEST(CodepointText, FormsOfEveryCodepointAgreeWithIcu) {
  // Every BMP codepoint, and every seventh above with the ends of each plane.
  for (uint32_t c = 0; c <= 0x10FFFF; c += (c < 0xFFFF || (c & 0xFFFF) >= 0xFFF0) ? 1 : 7) {
    char16_t units[2] = {0, 0};
    int32_t length = 0;
    U16_APPEND_UNSAFE(units, length, c);
    ASSERT_EQ(stringWithCodepoint(c), std::u16string_view(units, length)) << std::hex << c;
    ASSERT_EQ(UTF16CodeForCode(c), units[0] | uint32_t{units[1]} << 16) << std::hex << c;
    if (U_IS_SURROGATE(c)) {
      ASSERT_EQ(UTF8RepresentationOfCodepoint(c), std::nullopt) << std::hex << c;
      ASSERT_EQ(UTF8RepresentationOfCodepoint(c, 8, false), std::nullopt) << std::hex << c;
      continue;
    }
    const UnicodeString hex = icuUTF8Text(c, true), octal = icuUTF8Text(c, false);
    ASSERT_EQ(UTF8RepresentationOfCodepoint(c), u"0x" + hex) << std::hex << c;
    // U+0000 keeps its "0x" even when no prefix is asked for.
    ASSERT_EQ(UTF8RepresentationOfCodepoint(c, 16, false), c ? hex : u"0x00") << std::hex << c;
    ASSERT_EQ(UTF8RepresentationOfCodepoint(c, 8, true), octal) << std::hex << c;
    ASSERT_EQ(UTF8RepresentationOfCodepoint(c, 8, false), octal) << std::hex << c;
  }
}

TEST(CodepointText, MaskedCodepointsNumberSystemsAndHexadecimalLists) {
  // Excess bits above the codepoint space are masked away, never rejected.
  EXPECT_EQ(UTF16CodeForCode(0xFFFFFFFF), 0xDFFFDBBFu);
  EXPECT_EQ(stringWithCodepoint(0x110000), u"\U00010000");
  EXPECT_EQ(UTF8RepresentationOfCodepoint(0x110000), u"0xF0908080");
  for (uint32_t system : {0u, 2u, 10u, 17u, 0xFFFFFFFFu}) {
    // The number system is checked before the surrogate test, the unit index before both.
    try {
      UTF8RepresentationOfCodepoint(0xD800, system, true);
      ADD_FAILURE() << "number system " << system << " accepted";
    } catch (const QNInvalidArgumentException& e) {
      EXPECT_STREQ(e.what(), "numberSystem must be 16 or 8");
      EXPECT_STREQ(e.name(), "NSInvalidArgumentException");
    }
    EXPECT_THROW(UTF8RepresentationAtIndex(u"a", 0, system), QNInvalidArgumentException);
    expectRangeError([&] { UTF8RepresentationAtIndex(u"a", 1, system); }, 1);
  }
  // At most that many codepoints (0: no limit), then "..."; the empty string has no list.
  EXPECT_EQ(hexCodepointsArrayWithMaximumLength(u"ABC", 2), (Strings{u"0041", u"0042", u"..."}));
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"\U0001F600\U0010FFFF", 2),
            u"1F600 10FFFF");
  EXPECT_EQ(hexCodepointsJoinedBySpacesWithMaximumLength(u"\U0001F600\xDC00", 1), u"1F600 ...");
  EXPECT_EQ(hexCodepointsJoinedBySpaces(u""), std::nullopt);
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
  u_strFromUTF8(expected.data(), static_cast<int32_t>(expected.size()), &length, bytes.data(),
                static_cast<int32_t>(bytes.size()), &status);
  ASSERT_TRUE(U_SUCCESS(status));
  EXPECT_EQ(stringWithContentsOfUTF8File(path), expected.substr(0, length));
  // One bad byte anywhere, even after a megabyte of good text, spoils the file.
  qnunicode::testing::ScratchDirectory scratch;
  const auto read = [&](std::string_view text) {
    return stringWithContentsOfUTF8File(scratch.write("file.txt", text));
  };
  EXPECT_EQ(read(""), u"");
  EXPECT_EQ(read("a\xC3\xA9\xF0\x9F\x98\x80\n"), u"a\u00E9\U0001F600\n");
  for (const std::string& bad : {bytes + "\xC0\x80", "a\xED\xA0\x80"s, "a\xE2\x82"s})
    EXPECT_EQ(read(bad), std::nullopt);
  for (const std::string& unreadable : {scratch.path() + "/missing.txt", scratch.path(), ""s}) {
    EXPECT_EQ(stringWithContentsOfUTF8File(unreadable), std::nullopt) << unreadable;
  }
}

// The walk steps a negative index zero times, and so inserting and replacing at a negative
// index copy the first codepoint once for every index below 0 that the tail asks for.
TEST(Codepoints, NegativeIndexesFollowTheWalk) {
  EXPECT_EQ(codepointAtIndex(u"A\U0001F600B", -1, 0), 0x41u);
  EXPECT_EQ(codepointAtIndex(u"A\U0001F600B", -1, 1), 0x1F600u);
  EXPECT_EQ(stringByInsertingString(u"abc", u"Z", -1), u"Zaabc");
  EXPECT_EQ(stringByReplacingCodepointAtIndex(u"abc", -2, u"Z"), u"Zaabc");
  EXPECT_EQ(stringByInsertingString(u"\U0001F600c", u"Z", -2), u"Z\U0001F600\U0001F600\U0001F600c");
}
