#include "qnunicode/escapes/QNUnicodeEscapes.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "qnunicode/escapes/EscapeTestTexts_test.h"
#include "qnunicode/util/QNExceptions.h"

using namespace QNUnicode;
using qnunicode::testing::randomText;
using qnunicode::testing::unitsText;
using qnunicode::testing::walkedText;

namespace {

constexpr uint32_t kUnknownCount = 0xFFFFFFFF;
const std::u16string_view kMethods[] = {u"URL ", u"C99 ", u"Java", u"COct",
                                        u"CS1 ", u"CS2 ", u"CS21"};

template <typename Exception, typename Operation>
void expectThrows(Operation&& operation, const std::string& message) {
  try {
    operation();
    ADD_FAILURE() << "nothing raised; expected " << message;
  } catch (const Exception& e) {
    EXPECT_EQ(e.what(), message);
  }
}

TEST(EscapingMethods, CodesAreTheNamesReadBigEndianAndNothingElseNamesAMethod) {
  for (std::u16string_view method : kMethods) {
    const uint32_t code = (uint32_t(method[0]) << 24) | (uint32_t(method[1]) << 16) |
                          (uint32_t(method[2]) << 8) | uint32_t(method[3]);
    EXPECT_EQ(escapingMethodForOSType(code), UnicodeString(method));
  }
  EXPECT_EQ(escapingMethodForOSType(0), std::nullopt);
  EXPECT_EQ(escapingMethodForOSType(0x55524C00), std::nullopt);  // "URL" with a NUL, not a blank
}

TEST(EscapingMethods, DefaultSetsHaveTheirBounds) {
  const CodepointSet c99 = preserveSetForStringEscapingMethod(u"C99 ");
  EXPECT_EQ(c99.count(), 159u);
  EXPECT_TRUE(c99.contains(0x9E));
  EXPECT_FALSE(c99.contains(0x9F));
  for (std::u16string_view method : {u"Java", u"COct", u"CS1 ", u"CS2 ", u"CS21"}) {
    const CodepointSet set = preserveSetForStringEscapingMethod(method);
    EXPECT_EQ(set.count(), 127u);
    EXPECT_FALSE(set.contains(0x7F)) << "DEL is escaped";
  }
  const CodepointSet url = preserveSetForStringEscapingMethod(u"URL ");
  EXPECT_EQ(url.count(), 81u);
  for (char16_t c : std::u16string_view(u"!$&'()*+,-./:;=?@_~09AZaz")) EXPECT_TRUE(url.contains(c));
  for (char16_t c : std::u16string_view(u" \"#%<>[\\]^`{|}")) EXPECT_FALSE(url.contains(c));
}

TEST(EscapingMethods, UnknownMethodsRaiseTheirMessages) {
  using Invalid = QNInvalidArgumentException;
  expectThrows<Invalid>([] { preserveSetForStringEscapingMethod(u"URL"); },
                        "Unknown escaping method: URL");
  expectThrows<Invalid>([] { stringByReplacingEscapes(u"x", u"XHTML"); },
                        "Not a valid string escaping method: XHTML");
  // The default set is asked for first, so the flag decides the message.
  expectThrows<Invalid>([] { stringByAddingEscapes(u"x", u"css2", nullptr, true); },
                        "Unknown escaping method: css2");
  expectThrows<Invalid>([] { stringByAddingEscapes(u"x", u"css2", nullptr, false); },
                        "Not a valid string escaping method: css2");
}

struct AddingCase {
  const char* why;
  std::u16string_view method;
  UnicodeString input;
  bool defaultSet;
  UnicodeString expected;
  uint32_t count;
};

TEST(AddingEscapes, WritesEachMethodsNotationOneCountPerCodepoint) {
  const AddingCase cases[] = {
      {"U+0085 lies inside the C99 set", u"C99 ", u"\u0085\u00e9\u20ac", true,
       u"\u0085"
       uR"(\u00e9\u20ac)",
       2},
      {"C99 writes 8 digits above the BMP", u"C99 ", u"a\U0001F600", true, uR"(a\U0001f600)", 1},
      {"Java writes each UTF-16 unit", u"Java", u"\U0001F600", true, uR"(\ud83d\ude00)", 1},
      {"DEL is outside the Java set", u"Java", u"\u007f~", true, uR"(\u007f~)", 1},
      {"CSS 1 has a bare backslash prefix", u"CS1 ", u"\U0001F600", true, uR"(\d83d\de00)", 1},
      {"CSS 2.1: 6 digits and a blank", u"CS21", u"a\u20acb", true, uR"(a\0020ac b)", 1},
      {"CSS 2 likewise", u"CS2 ", u"\u00e9", true, uR"(\0000e9 )", 1},
      {"C octal writes the UTF-8 bytes", u"COct", u"\u00e9\u20ac", true, uR"(\303\251\342\202\254)",
       2},
      {"U+0000 outside the set", u"COct", UnicodeString(1, u'\0'), false, uR"(\000)", 1},
      {"a lone surrogate has no UTF-8 form", u"COct", u"a\xDC00", true, u"a\xDC00", 0},
      {"percent: UTF-8 bytes in upper case", u"URL ", u"a b\u00e9", true, u"a%20b%C3%A9", 2},
      {"percent above the BMP", u"URL ", u"\U0001F600", true, u"%F0%9F%98%80", 1},
      {"percent leaves a lone surrogate", u"URL ", u"\xD800", true, u"\xD800", 0},
      {"percent escapes its own sign", u"URL ", u"100%", true, u"100%25", 1},
      {"the empty text", u"Java", u"", true, u"", 0},
      {"no set at all escapes ASCII", u"C99 ", u"A", false, uR"(\u0041)", 1},
      {"the walk passes over the unit after a lone high surrogate", u"C99 ",
       u"\xD800"
       u"A",
       true, uR"(\ud800)", 1},
  };
  for (const AddingCase& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(stringByAddingEscapes(c.input, c.method, nullptr, c.defaultSet, &count), c.expected)
        << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
}

TEST(AddingEscapes, TheGivenSetJoinsTheDefaultSet) {
  const CodepointSet extra{0xE9, 0x1F600};
  uint32_t count;
  EXPECT_EQ(stringByAddingEscapes(u"\u00e9\u00e8\U0001F600 ", u"URL ", &extra, true, &count),
            u"\u00e9%C3%A8\U0001F600%20");
  EXPECT_EQ(count, 2u);
  // Without the default set only the given one is kept.
  EXPECT_EQ(stringByAddingEscapes(u"\u00e9a", u"Java", &extra, false, &count), uR"(é\u0061)");
  EXPECT_EQ(count, 1u);
}

TEST(AddingEscapes, COctalIsTheUTF8RepresentationOfEachCodepoint) {
  const CodepointSet none;
  for (uint32_t c : {0x1u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xFFFFu, 0x10000u, 0x10FFFFu}) {
    EXPECT_EQ(
        stringByAddingCOctEscapesPreservingOnlyCharactersFromSet(stringWithCodepoint(c), none),
        UTF8RepresentationOfCodepoint(c, 8, false))
        << c;
  }
}

struct ReplacingCase {
  const char* why;
  std::u16string_view method;
  UnicodeString input;
  UnicodeString expected;
  uint32_t count;
};

TEST(ReplacingEscapes, C99AndJava) {
  const ReplacingCase cases[] = {
      {"8 digits", u"C99 ", uR"(\U0001F600)", u"\U0001F600", 1},
      {"each escape writes one unit; two make a pair", u"Java", uR"(\ud83d\ude00)", u"\U0001F600",
       2},
      {"C99 takes no second u", u"C99 ", uR"(\uu0041)", uR"(\uu0041)", 0},
      {"Java eats any number of u", u"Java", uR"(\uuu0041!)", u"A!", 1},
      {"Java has no \\U", u"Java", uR"(\U0001F600)", uR"(\U0001F600)", 0},
      {"an escaped backslash stays", u"C99 ", uR"(\\u0041)", uR"(\\u0041)", 0},
      {"likewise in Java", u"Java", uR"(\\u0041)", uR"(\\u0041)", 0},
      {"after an escaped backslash", u"C99 ", uR"(\\\u0041)", uR"(\\A)", 1},
      {"digits of either case", u"C99 ", uR"(\u00E9\u20ac)", u"\u00e9\u20ac", 2},
      {"too few digits at the end", u"C99 ", uR"(x\u12)", uR"(x\u12)", 0},
      {"a non-digit ends the escape; its text is read again", u"C99 ", uR"(\u12G4\u0041)",
       uR"(\u12G4A)", 1},
      {"a backslash before anything else", u"Java", uR"(\x\n)", uR"(\x\n)", 0},
      {"a lone trailing backslash", u"C99 ", uR"(a\)", uR"(a\)", 0},
      {"a lone trailing backslash, Java", u"Java", uR"(\u0041\)", uR"(A\)", 1},
      {"values are not checked: a lone surrogate", u"C99 ", uR"(\ud800)", u"\xD800", 1},
      {"above U+10FFFF the packing masks", u"C99 ", uR"(\U00110000)", u"\U00010000", 1},
      {"a failed escape re-reads what followed it", u"Java", uR"(\uuu\u0041)", uR"(\uuuA)", 1},
  };
  for (const ReplacingCase& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(stringByReplacingEscapes(c.input, c.method, &count), c.expected) << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
}

TEST(ReplacingEscapes, CSSByLevel) {
  const ReplacingCase cases[] = {
      {"level 2 eats one blank", u"CS2 ", uR"(\41 B)", u"AB", 1},
      {"level 1 eats nothing", u"CS1 ", uR"(\41 B)", u"A B", 1},
      {"only one blank", u"CS2 ", uR"(\41  B)", u"A B", 1},
      {"tab and form feed", u"CS2 ", u"\\41\tB\\42\fC", u"ABBC", 2},
      {"level 2.1 eats CR LF as one", u"CS21", u"\\41\r\nB", u"AB", 1},
      {"level 2 eats only the CR", u"CS2 ", u"\\41\r\nB", u"A\nB", 1},
      {"a CR alone at 2.1", u"CS21", u"\\41\rB", u"AB", 1},
      {"level 1 keeps CR LF", u"CS1 ", u"\\41\r\nB", u"A\r\nB", 1},
      {"level 1 stops after 4 digits", u"CS1 ", uR"(\0000e9)", UnicodeString(1, u'\0') + u"e9", 1},
      {"level 2 reads 6", u"CS2 ", uR"(\0000e9 x)", u"\u00e9x", 1},
      {"fewer digits at the end", u"CS2 ", uR"(\e9)", u"\u00e9", 1},
      {"nothing eaten at the end", u"CS21", uR"(\1F600)", u"\U0001F600", 1},
      {"an escaped backslash stays", u"CS1 ", uR"(\\41)", uR"(\\41)", 0},
      {"a backslash before a non-digit stays", u"CS2 ", uR"(\g)", uR"(\g)", 0},
      {"a lone trailing backslash", u"CS21", uR"(a\)", uR"(a\)", 0},
      {"level 1: one unit an escape", u"CS1 ", uR"(\d83d\de00)", u"\U0001F600", 2},
  };
  for (const ReplacingCase& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(stringByReplacingEscapes(c.input, c.method, &count), c.expected) << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
}

TEST(ReplacingEscapes, COctalRunsOfWellFormedUTF8) {
  const ReplacingCase cases[] = {
      {"two bytes", u"COct", uR"(\303\251)", u"\u00e9", 1},
      {"one byte", u"COct", uR"(\101)", u"A", 1},
      {"three and four bytes", u"COct", uR"(\342\202\254\360\237\230\200)", u"\u20ac\U0001F600", 2},
      {"a lead byte without its continuation", u"COct", uR"(\303A)", uR"(\303A)", 0},
      {"a lone lead byte at the end", u"COct", uR"(\351)", uR"(\351)", 0},
      {"the failed run resumes at its later escape", u"COct", uR"(\303\303\251)", uR"(\303é)", 1},
      {"an escaped backslash stays", u"COct", uR"(\\101)", uR"(\\101)", 0},
      {"a lone trailing backslash", u"COct", uR"(a\)", uR"(a\)", 0},
      {"a backslash before a non-digit", u"COct", uR"(\x\101)", uR"(\xA)", 1},
      {"at most three digits", u"COct", uR"(\1011)", u"A1", 1},
      {"surrogates are not checked", u"COct", uR"(\355\240\200)", u"\xD800", 1},
      {"E0 needs A0 at least", u"COct", uR"(\340\200\200)", uR"(\340\200\200)", 0},
      {"F0 needs 90 at least", u"COct", uR"(\360\200\200\200)", uR"(\360\200\200\200)", 0},
      {"F4 allows 8F at most", u"COct", uR"(\364\220\200\200)", uR"(\364\220\200\200)", 0},
      {"an overlong lead byte", u"COct", uR"(\300\200)", uR"(\300\200)", 0},
      {"three digits above 0xFF", u"COct", uR"(\400)", uR"(\400)", 0},
      {"digits at the end complete their byte", u"COct", uR"(\30)", u"\x18", 1},
      {"a bad last byte", u"COct", uR"(\303\25)",
       uR"(\303)"
       u"\x15",
       1},
  };
  for (const ReplacingCase& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(stringByReplacingEscapes(c.input, c.method, &count), c.expected) << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
}

TEST(ReplacingEscapes, PercentDecodingKeepsNoCountAndFailsOnBadInput) {
  const std::pair<UnicodeString, std::optional<UnicodeString>> cases[] = {
      {u"%C3%A9%e2%82%ac", u"\u00e9\u20ac"},
      {u"a%20b\u00e9", u"a b\u00e9"},  // literal text stays
      {u"%00", UnicodeString(1, u'\0')},
      {u"", u""},
      {u"100%", std::nullopt},          // a "%" without digits
      {u"%4", std::nullopt},            // one digit
      {u"%ZZ", std::nullopt},           // no hex digits
      {u"%C3", std::nullopt},           // a truncated character
      {u"%C3x%A9", std::nullopt},       // split by a literal
      {u"%ED%A0%80", std::nullopt},     // an encoded surrogate
      {u"%F4%90%80%80", std::nullopt},  // above U+10FFFF
  };
  for (const auto& [input, expected] : cases) {
    uint32_t count = 0;
    EXPECT_EQ(stringByReplacingEscapes(input, u"URL ", &count), expected) << unitsText(input);
    EXPECT_EQ(count, kUnknownCount);
  }
}

// Adding with a preserved set, then replacing, gives back the text as the walk reads it.
// Backslashes are not preserved: a text's own backslash before "u" and four hex digits would
// otherwise be read as an escape (stringByAddingEscapes keeps such a text as it is, and the
// replacing routine decodes it: the default sets make those methods lossy there).
TEST(RoundTrips, EveryMethodGivesBackTheWalkedText) {
  std::mt19937 random(17);
  for (int round = 0; round < 300; ++round) {
    const UnicodeString text = randomText(random, 1 + round % 40);
    const UnicodeString walked = walkedText(text);
    for (std::u16string_view method : kMethods) {
      CodepointSet preserved = preserveSetForStringEscapingMethod(method);
      preserved.remove(u'\\');
      uint32_t added = 0, replaced = 0;
      const UnicodeString escaped = stringByAddingEscapes(text, method, &preserved, false, &added);
      const std::optional<UnicodeString> back =
          stringByReplacingEscapes(escaped, method, &replaced);
      ASSERT_EQ(back, walked) << "method '" << qnunicode::toUTF8(method) << "' on "
                              << unitsText(text) << "escaped " << qnunicode::toUTF8(escaped);
      // One count per escaped codepoint; a replacing routine counts escapes.
      uint32_t expectedAdded = 0, supplementary = 0;
      for (int32_t offset = 0; offset >= 0;) {
        const uint32_t c = codepointAtIndex(text, 0, offset, &offset);
        const bool hasForm =
            !((method == u"URL " || method == u"COct") && qnunicode::isSurrogate(c));
        if (!preserved.contains(c) && hasForm) {
          ++expectedAdded;
          if (c > 0xFFFF) ++supplementary;
        }
      }
      EXPECT_EQ(added, expectedAdded) << qnunicode::toUTF8(method);
      const bool perUnit = method == u"Java" || method == u"CS1 ";
      EXPECT_EQ(replaced,
                method == u"URL " ? kUnknownCount : expectedAdded + (perUnit ? supplementary : 0))
          << qnunicode::toUTF8(method);
    }
  }
}

TEST(RoundTrips, DefaultSetsAreLossyOnlyForTheTextsOwnEscapes) {
  std::mt19937 random(1717);
  for (int round = 0; round < 200; ++round) {
    const UnicodeString text =
        randomText(random, 30, {.loneSurrogates = true, .backslashes = false});
    for (std::u16string_view method : kMethods) {
      EXPECT_EQ(stringByReplacingEscapes(stringByAddingEscapes(text, method), method),
                walkedText(text))
          << qnunicode::toUTF8(method) << " on " << unitsText(text);
    }
  }
  // A backslash the default set keeps is read back as the start of an escape.
  EXPECT_EQ(stringByReplacingEscapes(stringByAddingEscapes(uR"(\u0041)", u"C99 "), u"C99 "), u"A");
}

// The C99 and Java states written out plainly, one unit a step and nothing else, to hold the
// library's routine (which takes runs of complete escapes in one step) to them.
UnicodeString plainC99Replacing(std::u16string_view s, bool eat, uint32_t* count) {
  enum { Text, Backslash, EatUs, Digits } state = Text;
  UnicodeString out;
  size_t position = 0, saved = 0;
  bool hasSaved = false;
  uint32_t value = 0;
  int expected = 0;
  *count = 0;
  const auto fail = [&] {
    out.push_back(u'\\');
    position = saved;
    hasSaved = false;
    state = Text;
  };
  while (true) {
    if (position >= s.size()) {
      if (state == Text || !hasSaved) break;
      fail();
      continue;
    }
    const char16_t unit = s[position];
    if (state == Text) {
      ++position;
      if (unit == u'\\') {
        saved = position, hasSaved = true;
        state = Backslash;
      } else {
        out.push_back(unit);
      }
    } else if (state == Backslash) {
      if (unit == u'u' || (unit == u'U' && !eat)) {
        ++position;
        expected = unit == u'u' ? 4 : 8, value = 0;
        state = unit == u'u' && eat ? EatUs : Digits;
      } else if (unit == u'\\') {
        out += u"\\\\";
        ++position;
        hasSaved = false;
        state = Text;
      } else {
        fail();
      }
    } else if (state == EatUs) {
      if (unit == u'u') {
        ++position;
      } else {
        state = Digits;
      }
    } else {
      const int digit = qnunicode::hexDigitValue(unit);
      if (digit < 0) {
        fail();
        continue;
      }
      value += static_cast<uint32_t>(digit) << (4 * (expected - 1));
      ++position;
      if (--expected == 0) {
        out += stringWithCodepoint(value);
        ++*count;
        hasSaved = false;
        state = Text;
      }
    }
  }
  return out;
}

TEST(ReplacingEscapes, C99AndJavaFollowTheirStatesOnEveryText) {
  std::mt19937 random(2024);
  constexpr std::u16string_view pieces[] = {u"\\",   u"\\u",  u"\\U",    u"u",       u"0",
                                            u"0041", u"d83d", u"F600",   u"\\u00e9", u"x",
                                            u" ",    u"G",    u"\u00e9", u"\\uu"};
  std::uniform_int_distribution<size_t> pick(0, std::size(pieces) - 1);
  for (int round = 0; round < 3000; ++round) {
    UnicodeString text;
    for (int i = 0; i < 1 + round % 24; ++i) text += pieces[pick(random)];
    for (bool java : {false, true}) {
      uint32_t ours = 0, plain = 0;
      EXPECT_EQ(stringByReplacingC99EscapesEatingJavaUs(text, java, &ours),
                plainC99Replacing(text, java, &plain))
          << (java ? "Java " : "C99 ") << qnunicode::toUTF8(text);
      EXPECT_EQ(ours, plain);
    }
  }
}

// Malformed input never fails, and stays within its length; text without a backslash (or "%",
// for percent decoding) is given back as it is.
TEST(BadInput, RandomUnitsAndLongRunsFinishInOnePass) {
  std::mt19937 random(4242);
  std::uniform_int_distribution<int> unit(0, 0xFFFF), small(0, 3);
  for (int round = 0; round < 20; ++round) {
    UnicodeString soup;
    for (int i = 0; i < 20000; ++i) {
      // Mostly the notations' own characters, so that every state is reached.
      soup.push_back(small(random) ? u"\\uU01234567%#&;x\r\n "[unit(random) % 20]
                                   : static_cast<char16_t>(unit(random)));
    }
    for (std::u16string_view method : kMethods) {
      const auto result = stringByReplacingEscapes(soup, method);
      if (result) {
        EXPECT_LE(result->size(), soup.size()) << qnunicode::toUTF8(method);
      }
    }
  }
  const size_t megabyte = 1 << 20;
  const UnicodeString longRuns[] = {
      UnicodeString(megabyte, u'\\'),
      UnicodeString(megabyte + 1, u'\\'),
      u"\\" + UnicodeString(megabyte, u'u'),
      UnicodeString(megabyte, u'u') + u"\\",
  };
  for (const UnicodeString& text : longRuns) {
    for (std::u16string_view method : {u"C99 ", u"Java", u"COct", u"CS1 ", u"CS2 ", u"CS21"}) {
      EXPECT_EQ(stringByReplacingEscapes(text, method), text) << qnunicode::toUTF8(method);
    }
  }
  UnicodeString octal;
  for (size_t i = 0; i < megabyte / 4; ++i) octal += uR"(\303)";
  EXPECT_EQ(stringByReplacingCOctEscapesCountingReplacements(octal), octal);
  EXPECT_EQ(stringByReplacingPercentEscapesCountingReplacements(UnicodeString(megabyte, u'%')),
            std::nullopt);
  UnicodeString percent;
  for (size_t i = 0; i < megabyte / 3; ++i) percent += u"%41";
  EXPECT_EQ(stringByReplacingPercentEscapesCountingReplacements(percent),
            UnicodeString(megabyte / 3, u'A'));
}

}  // namespace
