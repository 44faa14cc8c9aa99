// Hostile input for the domain-name conversions: a megabyte domain (of many labels, or of one
// label) and a megabyte of Punycode convert in linear or n log n time with both IDNA types. The
// tests compare a megabyte with a tenth of it: linear work takes about ten times as long,
// quadratic work a hundred times.
#include <gtest/gtest.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::realDatabase;
using qnunicode::testing::scalingRatio;

constexpr size_t kSmall = 100'000;
constexpr size_t kLarge = 1'000'000;
constexpr double kBound = 40;

UnicodeString repeated(std::u16string_view piece, size_t size) {
  UnicodeString text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  return text;
}

// One label of `size` units cycling through 20000 ideographs: nameprep and the encoder see many
// distinct codepoints.
UnicodeString ideographs(size_t size) {
  UnicodeString label(size, u'\0');
  for (size_t i = 0; i < size; ++i) label[i] = static_cast<char16_t>(0x4E00 + i % 20000);
  return label;
}

TEST(IDNALimits, LongDomainsBothTypesBothDirections) {
  QNUnicodeDatabase& database = *realDatabase();
  database.readDatabase();
  database.IDNAToASCII(0, u"b\u00FCcher.example");  // the nameprep tables, read once
  const struct {
    const char* what;
    UnicodeString (*make)(size_t);
  } domains[] = {
      {"many labels", [](size_t size) { return repeated(u"b\u00FCcher.", size); }},
      {"many ACE labels", [](size_t size) { return repeated(u"xn--bcher-kva\u3002", size); }},
      {"one label", ideographs},
      {"separators", [](size_t size) { return repeated(u".\uFF0E ", size); }},
  };
  for (const auto& domain : domains) {
    const UnicodeString texts[] = {domain.make(kSmall), domain.make(kLarge)};
    for (uint32_t type : {0u, 1u}) {
      const double ratio = scalingRatio(
          [&](size_t size) {
            const UnicodeString& text = texts[size == kLarge];
            UnicodeString error;
            database.IDNAToASCII(type, text, &error);
            database.IDNAToUnicode(type, text, &error);
          },
          kSmall, kLarge);
      EXPECT_LT(ratio, kBound) << domain.what << ", type " << type;
    }
  }
}

TEST(IDNALimits, PunycodeOfAMegabyte) {
  // Decoding: digits that never end a number, and a valid encoding of many distinct codepoints.
  const UnicodeString digits[] = {repeated(u"zz9", kSmall), repeated(u"zz9", kLarge)};
  const UnicodeString basics[] = {repeated(u"a-", kSmall), repeated(u"a-", kLarge)};
  const double decodeRatio = scalingRatio(
      [&](size_t size) {
        QNUnicode_IDNA::punycodeDecodedStringWithError(digits[size == kLarge]);
        QNUnicode_IDNA::punycodeDecodedStringWithError(basics[size == kLarge]);
      },
      kSmall, kLarge);
  EXPECT_LT(decodeRatio, kBound);
}

}  // namespace
