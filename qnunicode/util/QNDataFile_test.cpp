#include "qnunicode/util/QNDataFile.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::detail::DataFile;
using qnunicode::detail::isWellFormedUTF8;
using qnunicode::detail::LineCursor;

// Random byte strings of well-formed sequences of the edge codepoints of each length and of
// single bytes where well-formedness is decided (the bounds of the lead and second bytes), after
// an ASCII run of random length so that the checks start at every offset of the 64- and 8-byte
// steps: the check must accept exactly what the strict decoder does.
TEST(QNDataFile, WellFormedExactlyWhereTheStrictDecoderSucceeds) {
  const unsigned char bytes[] = {0x00, 0x0A, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F,
                                 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
                                 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5, 0xFF};
  const char16_t* sequences[] = {u"\u0080", u"\u07FF",     u"\u0800",     u"\uD7FF", u"\uE000",
                                 u"\uFFFF", u"\U00010000", u"\U0010FFFF", u"\u00E9"};
  std::mt19937 random(44);
  size_t wellFormed = 0;
  for (int round = 0; round < 200000; ++round) {
    std::string text(random() % 100, 'a');
    for (int n = 1 + static_cast<int>(random() % 4); n > 0; --n) {
      if (random() % 3 == 0) {
        text += static_cast<char>(bytes[random() % sizeof bytes]);
      } else {
        text += qnunicode::toUTF8(sequences[random() % std::size(sequences)]);
      }
    }
    text += std::string(random() % 20, 'z');
    const bool decodes = qnunicode::decodeUTF8(text).has_value();
    ASSERT_EQ(isWellFormedUTF8(text), decodes) << ::testing::PrintToString(text);
    wellFormed += decodes;
  }
  // Both outcomes are met often.
  EXPECT_GT(wellFormed, 40000u);
  EXPECT_LT(wellFormed, 160000u);
  EXPECT_TRUE(isWellFormedUTF8(""));
}

TEST(QNDataFile, LinesAreThePiecesBetweenLineFeeds) {
  for (std::string_view text : {"", "\n", "a", "a\n", "\n\nb", "a\r\nb\n\n", "no line feed"}) {
    const UnicodeString text16 = qnunicode::utf16FromUTF8(text);
    const std::vector<std::u16string_view> expected = qnunicode::splitAt(text16, u'\n');
    std::vector<UnicodeString> lines;
    LineCursor cursor(text);
    for (std::string_view line; cursor.next(&line);)
      lines.push_back(qnunicode::utf16FromUTF8(line));
    EXPECT_EQ(lines, std::vector<UnicodeString>(expected.begin(), expected.end())) << text;
    EXPECT_EQ(qnunicode::detail::lineCount(text), expected.size()) << text;
  }
}

TEST(QNDataFile, FilesThatCannotBeReadOrAreNotUTF8AreUnreadable) {
  qnunicode::testing::ScratchDirectory scratch;
  const DataFile good(scratch.write("good.txt", "0041; \xC3\xA9\n"));
  ASSERT_TRUE(good.isReadable());
  EXPECT_EQ(good.bytes(), "0041; \xC3\xA9\n");
  const DataFile empty(scratch.write("empty.txt", ""));
  EXPECT_TRUE(empty.isReadable());
  EXPECT_TRUE(empty.bytes().empty());
  for (const std::optional<std::string>& path :
       {std::optional<std::string>(), std::optional(scratch.path()),
        std::optional(scratch.path() + "/absent.txt"),
        std::optional(scratch.write("truncated.txt", "0041; \xC3")),
        std::optional(scratch.write("surrogate.txt", "\xED\xA0\x80"))}) {
    EXPECT_FALSE(DataFile(path).isReadable()) << path.value_or("(none)");
  }
}

}  // namespace
