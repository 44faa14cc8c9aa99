#include "QNUArguments.h"

#include <gtest/gtest.h>

#include "QNUHost.h"

namespace qnu {
namespace {

// The message of the UsageError an argument raises, or "" when it parses.
std::string codepointError(std::string_view argument) {
  try {
    parseCodepointArgument(argument, 1);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(CodepointArgument, AcceptsTheThreeWritingsInEitherCase) {
  EXPECT_EQ(parseCodepointArgument("U+00E9", 1), (CodepointRange{0xE9, 0xE9}));
  EXPECT_EQ(parseCodepointArgument("u+00e9", 1), (CodepointRange{0xE9, 0xE9}));
  EXPECT_EQ(parseCodepointArgument("0xE9", 1), (CodepointRange{0xE9, 0xE9}));
  EXPECT_EQ(parseCodepointArgument("0XfFfF", 1), (CodepointRange{0xFFFF, 0xFFFF}));
  EXPECT_EQ(parseCodepointArgument("1F600", 1), (CodepointRange{0x1F600, 0x1F600}));
  EXPECT_EQ(parseCodepointArgument("0", 1), (CodepointRange{0, 0}));
  EXPECT_EQ(parseCodepointArgument("U+10FFFF", 1), (CodepointRange{0x10FFFF, 0x10FFFF}));
}

TEST(CodepointArgument, RangesMayMixWritingsAndHoldOneCodepoint) {
  EXPECT_EQ(parseCodepointArgument("U+0041..U+0043", 1), (CodepointRange{0x41, 0x43}));
  EXPECT_EQ(parseCodepointArgument("0x41..43", 1), (CodepointRange{0x41, 0x43}));
  EXPECT_EQ(parseCodepointArgument("U+0000..U+10FFFF", 1), (CodepointRange{0, 0x10FFFF}));
  EXPECT_EQ(parseCodepointArgument("AC00..AC00", 1), (CodepointRange{0xAC00, 0xAC00}));
}

TEST(CodepointArgument, MalformedWritingsAreRefusedWithTheFormsToUse) {
  const std::string hint =
      " is not a codepoint (write U+XXXX, 0xXXXX or XXXX, or a range U+XXXX..U+YYYY)";
  for (const char* bad : {"", "U+", "0x", "U+0x41", "G", "U+12G4", " 41", "41 ", "41..", "..41",
                          "41...43", "41..43..45", "U+41-U+43", "+41", "-1", "é"}) {
    EXPECT_EQ(codepointError(bad), "'" + std::string(bad) + "'" + hint) << bad;
  }
}

TEST(CodepointArgument, ValuesAboveTheCodespaceAndBackwardRangesAreRefused) {
  EXPECT_EQ(codepointError("U+110000"), "'U+110000' lies above U+10FFFF, the last codepoint");
  EXPECT_EQ(codepointError("FFFFFFFFFF"), "'FFFFFFFFFF' lies above U+10FFFF, the last codepoint");
  EXPECT_EQ(codepointError("41..110000"), "'41..110000' lies above U+10FFFF, the last codepoint");
  EXPECT_EQ(codepointError("U+0043..U+0041"), "the range 'U+0043..U+0041' ends before it starts");
}

TEST(TextArgument, IllFormedUTF8IsRefusedByPosition) {
  EXPECT_EQ(decodeArgument("\xC3\xA9", 1), u"é");
  for (const char* bad : {"\xC3", "\xFF", "a\x80", "\xED\xA0\x80" /* encoded surrogate */,
                          "\xC0\xAF" /* overlong */, "\xF4\x90\x80\x80" /* above U+10FFFF */}) {
    try {
      decodeArgument(bad, 3);
      ADD_FAILURE() << "accepted " << bad;
    } catch (const UsageError& error) {
      EXPECT_STREQ(error.what(), "argument 3 is not valid UTF-8");
    }
  }
  EXPECT_EQ(codepointError("\xC3"), "argument 1 is not valid UTF-8");
}

TEST(TextArgument, EveryCodepointInOrderWithSurrogatePairsJoined) {
  std::vector<CodepointRange> runs;
  appendCodepointsOfText(u"A\u00C5\U0001F600\u0301", runs);
  appendCodepointsOfText(u"", runs);
  appendCodepointsOfText(u"z", runs);
  const std::vector<CodepointRange> expected = {
      {0x41, 0x41}, {0xC5, 0xC5}, {0x1F600, 0x1F600}, {0x301, 0x301}, {0x7A, 0x7A}};
  EXPECT_EQ(runs, expected);
}

}  // namespace
}  // namespace qnu
