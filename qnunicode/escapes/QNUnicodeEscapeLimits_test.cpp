// Hostile input for the escape decoders: text made of nothing but the start of an escape (a
// megabyte of backslashes, of "\u", of "%" runs and of "&#x") is decoded in linear time by every
// method. The tests compare a megabyte with a tenth of it: linear work takes about ten times as
// long, quadratic work a hundred times.
#include <gtest/gtest.h>

#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::scalingRatio;

constexpr size_t kSmall = 100'000;
constexpr size_t kLarge = 1'000'000;
// Linear gives about 10 and n log n about 12 (up to 25 on a loaded machine, as caches miss on
// the large side only); quadratic work gives 100 and more.
constexpr double kBound = 40;

UnicodeString repeated(std::u16string_view piece, size_t size) {
  UnicodeString text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  return text;
}

constexpr std::u16string_view kMethods[] = {u"URL ", u"C99 ", u"Java", u"COct",
                                            u"CS1 ", u"CS2 ", u"CS21"};

TEST(EscapeLimits, EveryDecoderIsLinearInEscapeStarts) {
  // Each text is nothing but unfinished escapes of one kind or another.
  for (std::u16string_view piece : {u"\\", u"\\u", u"\\uuuu", u"\\U0", u"\\30", u"%E2%82", u"%"}) {
    const UnicodeString texts[] = {repeated(piece, kSmall), repeated(piece, kLarge)};
    const double ratio = scalingRatio(
        [&](size_t size) {
          const UnicodeString& text = texts[size == kLarge];
          for (std::u16string_view method : kMethods) {
            uint32_t count = 0;
            QNUnicode::stringByReplacingEscapes(text, method, &count);
          }
        },
        kSmall, kLarge);
    EXPECT_LT(ratio, kBound) << "pieces " << qnunicode::toUTF8(piece);
  }
}

TEST(EscapeLimits, XHTMLDecodingIsLinearInReferenceStarts) {
  const QNXHTMLDatabase entities;
  for (std::u16string_view piece : {u"&#x", u"&", u"&#", u"&amp", u"&#1234567"}) {
    const UnicodeString texts[] = {repeated(piece, kSmall), repeated(piece, kLarge)};
    const double ratio = scalingRatio(
        [&](size_t size) {
          uint32_t count = 0;
          entities.unicodeStringFromXHTML(texts[size == kLarge], nullptr, &count);
        },
        kSmall, kLarge);
    EXPECT_LT(ratio, kBound) << "pieces " << qnunicode::toUTF8(piece);
  }
}

TEST(EscapeLimits, EncodersAreLinear) {
  // Every codepoint escaped, a supplementary one among the BMP ones.
  const UnicodeString texts[] = {repeated(u"\u00E9\U0001F600\\", kSmall),
                                 repeated(u"\u00E9\U0001F600\\", kLarge)};
  const double ratio = scalingRatio(
      [&](size_t size) {
        const UnicodeString& text = texts[size == kLarge];
        for (std::u16string_view method : kMethods)
          QNUnicode::stringByAddingEscapes(text, method, nullptr, false);
      },
      kSmall, kLarge);
  EXPECT_LT(ratio, kBound);
}

}  // namespace
