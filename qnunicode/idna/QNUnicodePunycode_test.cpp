#include "qnunicode/idna/QNUnicodePunycode.h"

#include <gtest/gtest.h>
#include <punycode.h>

#include <random>
#include <string>
#include <vector>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using QNUnicode_IDNA::punycodeDecodedStringWithError;
using QNUnicode_IDNA::punycodeEncodedStringWithError;
using Codepoints = std::vector<uint32_t>;

UnicodeString textOf(const Codepoints& codepoints) {
  UnicodeString text;
  for (uint32_t c : codepoints) qnunicode::appendUTF16(text, c);
  return text;
}

UnicodeString ascii(std::string_view bytes) {
  return UnicodeString(bytes.begin(), bytes.end());
}

// The samples of RFC 3492 section 7.1, encoded without case flags.
struct Sample {
  const char* name;
  Codepoints codepoints;
  const char* encoded;
};
const std::vector<Sample> kRFCSamples = {
    {"(A) Arabic (Egyptian)",
     {0x0644, 0x064A, 0x0647, 0x0645, 0x0627, 0x0628, 0x062A, 0x0643, 0x0644, 0x0645, 0x0648,
      0x0634, 0x0639, 0x0631, 0x0628, 0x064A, 0x061F},
     "egbpdaj6bu4bxfgehfvwxn"},
    {"(B) Chinese (simplified)",
     {0x4ED6, 0x4EEC, 0x4E3A, 0x4EC0, 0x4E48, 0x4E0D, 0x8BF4, 0x4E2D, 0x6587},
     "ihqwcrb4cv8a8dqg056pqjye"},
    {"(C) Chinese (traditional)",
     {0x4ED6, 0x5011, 0x7232, 0x4EC0, 0x9EBD, 0x4E0D, 0x8AAA, 0x4E2D, 0x6587},
     "ihqwctvzc91f659drss3x8bo0yb"},
    {"(D) Czech",
     {0x0050, 0x0072, 0x006F, 0x010D, 0x0070, 0x0072, 0x006F, 0x0073, 0x0074, 0x011B, 0x006E,
      0x0065, 0x006D, 0x006C, 0x0075, 0x0076, 0x00ED, 0x010D, 0x0065, 0x0073, 0x006B, 0x0079},
     "Proprostnemluvesky-uyb24dma41a"},
    {"(E) Hebrew",
     {0x05DC, 0x05DE, 0x05D4, 0x05D4, 0x05DD, 0x05E4, 0x05E9, 0x05D5, 0x05D8, 0x05DC, 0x05D0,
      0x05DE, 0x05D3, 0x05D1, 0x05E8, 0x05D9, 0x05DD, 0x05E2, 0x05D1, 0x05E8, 0x05D9, 0x05EA},
     "4dbcagdahymbxekheh6e0a7fei0b"},
    {"(F) Hindi (Devanagari)",
     {0x092F, 0x0939, 0x0932, 0x094B, 0x0917, 0x0939, 0x093F, 0x0928, 0x094D, 0x0926,
      0x0940, 0x0915, 0x094D, 0x092F, 0x094B, 0x0902, 0x0928, 0x0939, 0x0940, 0x0902,
      0x092C, 0x094B, 0x0932, 0x0938, 0x0915, 0x0924, 0x0947, 0x0939, 0x0948, 0x0902},
     "i1baa7eci9glrd9b2ae1bj0hfcgg6iyaf8o0a1dig0cd"},
    {"(G) Japanese (kanji and hiragana)",
     {0x306A, 0x305C, 0x307F, 0x3093, 0x306A, 0x65E5, 0x672C, 0x8A9E, 0x3092, 0x8A71, 0x3057,
      0x3066, 0x304F, 0x308C, 0x306A, 0x3044, 0x306E, 0x304B},
     "n8jok5ay5dzabd5bym9f0cm5685rrjetr6pdxa"},
    {"(H) Korean (Hangul syllables)",
     {0xC138, 0xACC4, 0xC758, 0xBAA8, 0xB4E0, 0xC0AC, 0xB78C, 0xB4E4,
      0xC774, 0xD55C, 0xAD6D, 0xC5B4, 0xB97C, 0xC774, 0xD574, 0xD55C,
      0xB2E4, 0xBA74, 0xC5BC, 0xB9C8, 0xB098, 0xC88B, 0xC744, 0xAE4C},
     "989aomsvi5e83db1d2a355cv1e0vak1dwrv93d5xbh15a0dt30a5jpsd879ccm6fea98c"},
    {"(I) Russian (Cyrillic)",
     {0x043F, 0x043E, 0x0447, 0x0435, 0x043C, 0x0443, 0x0436, 0x0435, 0x043E, 0x043D,
      0x0438, 0x043D, 0x0435, 0x0433, 0x043E, 0x0432, 0x043E, 0x0440, 0x044F, 0x0442,
      0x043F, 0x043E, 0x0440, 0x0443, 0x0441, 0x0441, 0x043A, 0x0438},
     "b1abfaaepdrnnbgefbadotcwatmq2g4l"},
    {"(J) Spanish",
     {0x0050, 0x006F, 0x0072, 0x0071, 0x0075, 0x00E9, 0x006E, 0x006F, 0x0070, 0x0075,
      0x0065, 0x0064, 0x0065, 0x006E, 0x0073, 0x0069, 0x006D, 0x0070, 0x006C, 0x0065,
      0x006D, 0x0065, 0x006E, 0x0074, 0x0065, 0x0068, 0x0061, 0x0062, 0x006C, 0x0061,
      0x0072, 0x0065, 0x006E, 0x0045, 0x0073, 0x0070, 0x0061, 0x00F1, 0x006F, 0x006C},
     "PorqunopuedensimplementehablarenEspaol-fmd56a"},
    {"(K) Vietnamese",
     {0x0054, 0x1EA1, 0x0069, 0x0073, 0x0061, 0x006F, 0x0068, 0x1ECD, 0x006B, 0x0068, 0x00F4,
      0x006E, 0x0067, 0x0074, 0x0068, 0x1EC3, 0x0063, 0x0068, 0x1EC9, 0x006E, 0x00F3, 0x0069,
      0x0074, 0x0069, 0x1EBF, 0x006E, 0x0067, 0x0056, 0x0069, 0x1EC7, 0x0074},
     "TisaohkhngthchnitingVit-kjcr8268qyxafd2f1b9g"},
    {"(L) 3<nen>B<gumi><kinpachi><sensei>",
     {0x0033, 0x5E74, 0x0042, 0x7D44, 0x91D1, 0x516B, 0x5148, 0x751F},
     "3B-ww4c5e180e575a65lsy2b"},
    {"(M) <amuro><namie>-with-SUPER-MONKEYS",
     {0x5B89, 0x5BA4, 0x5948, 0x7F8E, 0x6075, 0x002D, 0x0077, 0x0069,
      0x0074, 0x0068, 0x002D, 0x0053, 0x0055, 0x0050, 0x0045, 0x0052,
      0x002D, 0x004D, 0x004F, 0x004E, 0x004B, 0x0045, 0x0059, 0x0053},
     "-with-SUPER-MONKEYS-pc58ag80a8qai00g7n9n"},
    {"(N) Hello-Another-Way-<sorezore><no><basho>",
     {0x0048, 0x0065, 0x006C, 0x006C, 0x006F, 0x002D, 0x0041, 0x006E, 0x006F,
      0x0074, 0x0068, 0x0065, 0x0072, 0x002D, 0x0057, 0x0061, 0x0079, 0x002D,
      0x305D, 0x308C, 0x305E, 0x308C, 0x306E, 0x5834, 0x6240},
     "Hello-Another-Way--fc4qua05auwb3674vfr0b"},
    {"(O) <hitotsu><yane><no><shita>2",
     {0x3072, 0x3068, 0x3064, 0x5C4B, 0x6839, 0x306E, 0x4E0B, 0x0032},
     "2-u9tlzr9756bt3uc0v"},
    {"(P) Maji<de>Koi<suru>5<byou><mae>",
     {0x004D, 0x0061, 0x006A, 0x0069, 0x3067, 0x004B, 0x006F, 0x0069, 0x3059, 0x308B, 0x0035,
      0x79D2, 0x524D},
     "MajiKoi5-783gue6qz075azm5e"},
    {"(Q) <pafii>de<runba>",
     {0x30D1, 0x30D5, 0x30A3, 0x30FC, 0x0064, 0x0065, 0x30EB, 0x30F3, 0x30D0},
     "de-jg4avhby1noc0d"},
    {"(R) <sono><supiido><de>",
     {0x305D, 0x306E, 0x30B9, 0x30D4, 0x30FC, 0x30C9, 0x3067},
     "d9juau41awczczp"},
    {"(S) -> $1.00 <-",
     {0x002D, 0x003E, 0x0020, 0x0024, 0x0031, 0x002E, 0x0030, 0x0030, 0x0020, 0x003C, 0x002D},
     "-> $1.00 <--"},
};

TEST(QNUnicodePunycodeTest, RFCSamplesEncodeAndDecodeExactly) {
  for (const Sample& sample : kRFCSamples) {
    SCOPED_TRACE(sample.name);
    std::string output(200, '\0');
    uint32_t length = 200;
    ASSERT_EQ(qnunicode::punycode_encode(static_cast<uint32_t>(sample.codepoints.size()),
                                         sample.codepoints.data(), nullptr, &length, output.data()),
              qnunicode::QNPunycodeSuccess);
    EXPECT_EQ(output.substr(0, length), sample.encoded);

    Codepoints decoded(200);
    uint32_t count = 200;
    const std::string encoded = sample.encoded;
    ASSERT_EQ(qnunicode::punycode_decode(static_cast<uint32_t>(encoded.size()), encoded.data(),
                                         &count, decoded.data(), nullptr),
              qnunicode::QNPunycodeSuccess);
    decoded.resize(count);
    EXPECT_EQ(decoded, sample.codepoints);

    // The string wrappers give the same.
    EXPECT_EQ(punycodeEncodedStringWithError(textOf(sample.codepoints)), ascii(encoded));
    EXPECT_EQ(punycodeDecodedStringWithError(ascii(encoded)), textOf(sample.codepoints));
  }
}

// ---- Against the peer --------------------------------------------------------------------------

struct PeerEncoding {
  int status;
  std::string output;
};

PeerEncoding peerEncode(const Codepoints& input, const unsigned char* flags, size_t capacity) {
  std::string output(capacity + 1, '\0');
  size_t length = capacity;
  const int status = punycode_encode(input.size(), input.data(), const_cast<unsigned char*>(flags),
                                     &length, output.data());
  output.resize(status == PUNYCODE_SUCCESS ? length : 0);
  return {status, output};
}

PeerEncoding ourEncode(const Codepoints& input, const unsigned char* flags, uint32_t capacity) {
  std::string output(capacity + 1, '\0');
  uint32_t length = capacity;
  const auto status = static_cast<int>(qnunicode::punycode_encode(
      static_cast<uint32_t>(input.size()), input.data(), flags, &length, output.data()));
  output.resize(status == 0 ? length : 0);
  return {status, output};
}

struct PeerDecoding {
  int status;
  Codepoints output;
  std::vector<unsigned char> flags;
  bool operator==(const PeerDecoding&) const = default;
};

PeerDecoding peerDecode(const std::string& input, size_t capacity) {
  PeerDecoding result{0, Codepoints(capacity + 1), std::vector<unsigned char>(capacity + 1)};
  size_t length = capacity;
  result.status = punycode_decode(input.size(), input.data(), &length, result.output.data(),
                                  result.flags.data());
  result.output.resize(result.status == PUNYCODE_SUCCESS ? length : 0);
  result.flags.resize(result.output.size());
  return result;
}

PeerDecoding ourDecode(const std::string& input, uint32_t capacity) {
  PeerDecoding result{0, Codepoints(capacity + 1), std::vector<unsigned char>(capacity + 1)};
  uint32_t length = capacity;
  result.status = static_cast<int>(
      qnunicode::punycode_decode(static_cast<uint32_t>(input.size()), input.data(), &length,
                                 result.output.data(), result.flags.data()));
  result.output.resize(result.status == 0 ? length : 0);
  result.flags.resize(result.output.size());
  return result;
}

TEST(QNUnicodePunycodeTest, CaseFlagsAndCapacitiesOfTheCodec) {
  // Flags set the case of basic letters and of the last digit of a delta; on decoding they
  // report upper-case letters, basic or digit.
  const Codepoints input = {'a', 'B', 0xFC, 'c'};
  const unsigned char flags[] = {1, 0, 1, 0};
  char output[16];
  uint32_t length = sizeof output;
  ASSERT_EQ(qnunicode::punycode_encode(4, input.data(), flags, &length, output), 0u);
  EXPECT_EQ(std::string(output, length), "Abc-ioA");
  uint32_t decoded[8];
  unsigned char decodedFlags[8];
  uint32_t count = 8;
  ASSERT_EQ(qnunicode::punycode_decode(7, "Abc-ioA", &count, decoded, decodedFlags), 0u);
  EXPECT_EQ(Codepoints(decoded, decoded + count), (Codepoints{'A', 'b', 0xFC, 'c'}));
  EXPECT_EQ(std::vector<int>(decodedFlags, decodedFlags + count), (std::vector<int>{1, 0, 1, 0}));

  struct Case {
    const char* what;
    Codepoints input;
    uint32_t capacity;
    uint32_t status;
  };
  const std::vector<Case> encodings = {
      {"two bytes must remain before each basic copy", {'a', 'b'}, 2, 2},
      {"room for the basics and the delimiter", {'a', 'b'}, 3, 0},
      {"no room for the delta's digits", {'b', 0xFC}, 3, 2},
      {"a delta beyond 32 bits", {0x80, 0xFFFFFFFF, 0xFFFFFFFF}, 100, 3},
      {"nothing to encode", {}, 0, 0},
  };
  for (const Case& c : encodings) {
    SCOPED_TRACE(c.what);
    std::string out(c.capacity + 1, '\0');
    uint32_t capacity = c.capacity;
    EXPECT_EQ(qnunicode::punycode_encode(static_cast<uint32_t>(c.input.size()), c.input.data(),
                                         nullptr, &capacity, out.data()),
              c.status);
    // The peer rejects values above 0x10FFFF as bad input; this codec does not check them.
    if (c.input.size() < 3) {
      EXPECT_EQ(peerEncode(c.input, nullptr, c.capacity).status, static_cast<int>(c.status));
    }
    // The length is stored on success only.
    if (c.status != 0) {
      EXPECT_EQ(capacity, c.capacity);
    }
  }

  struct Decoding {
    const char* what;
    std::string input;
    uint32_t capacity;
    uint32_t status;
    bool peerAgrees = true;  // see PeerDeparture below
  };
  const std::vector<Decoding> decodings = {
      {"a leading delimiter is read as a digit", "-abc", 10, 1, false},
      {"the basics do not fit", "abc-", 2, 2},
      {"the basics fit exactly", "abc-", 3, 0},
      {"a decoded codepoint does not fit", "bcher-kva", 5, 2},
      {"a byte above 0x7F among the basics", "\xC3\xBC-kva", 10, 1},
      {"a character that is no digit", "bcher-kv!", 10, 1, false},
      {"a character above the digits", "bcher-kv{", 10, 1},
      {"the input ends inside a number", "bcher-kv", 10, 1},
      {"the weight overflows", "99999999999", 10, 3},
      {"n overflows (the peer stops earlier, at a value above 0x10FFFF)", "0z550555ak9b09z", 10, 3,
       false},
  };
  for (const Decoding& d : decodings) {
    SCOPED_TRACE(d.what);
    Codepoints out(d.capacity + 1);
    uint32_t capacity = d.capacity;
    EXPECT_EQ(qnunicode::punycode_decode(static_cast<uint32_t>(d.input.size()), d.input.data(),
                                         &capacity, out.data(), nullptr),
              d.status);
    if (d.peerAgrees) {
      EXPECT_EQ(peerDecode(d.input, d.capacity).status, static_cast<int>(d.status));
    }
    if (d.status != 0) {
      EXPECT_EQ(capacity, d.capacity);
    }
  }
}

TEST(QNUnicodePunycodeTest, StringWrappersAndTheirMessages) {
  LogCapture log;
  struct Case {
    const char* what;
    UnicodeString input;
    std::optional<UnicodeString> encoded;
  };
  const std::vector<Case> encodings = {
      {"a delta", u"b\u00FCcher", u"bcher-kva"},
      {"only basics: the delimiter still follows", u"abc", u"abc-"},
      {"basics keep their case", u"B\u00FCcher", u"Bcher-kva"},
      {"nothing", u"", u""},
      {"a pair is one codepoint", u"\U0001F600", u"e28h"},
      {"a lone high surrogate walks over the unit after it", u"\xD800x\u00FC", u"tda1021i"},
  };
  for (const Case& c : encodings) {
    SCOPED_TRACE(c.what);
    UnicodeString error = u"untouched";
    EXPECT_EQ(punycodeEncodedStringWithError(c.input, &error), c.encoded);
    EXPECT_EQ(error, u"untouched");
  }

  const std::vector<Case> decodings = {
      {"a delta", u"bcher-kva", u"b\u00FCcher"},
      {"upper-case digits, basics keep their case", u"BCHER-KVA", u"B\u00FCCHER"},
      {"a leading delimiter fails", u"-abc", std::nullopt},
      {"narrowed to the low byte: U+0161 is read as \"a\"", u"bcher-kv\u0161", u"b\u00FCcher"},
      {"a low byte from 0x80 to 0xFF fails", u"bcher-kv\u00E1", std::nullopt},
      {"a value above the BMP becomes a pair", u"e28h", u"\U0001F600"},
      {"an overflow fails", u"99999999999", std::nullopt},
  };
  for (const Case& c : decodings) {
    SCOPED_TRACE(c.what);
    UnicodeString error;
    EXPECT_EQ(punycodeDecodedStringWithError(c.input, &error), c.encoded);
    EXPECT_EQ(error, c.encoded ? u"" : u"Punycode decoding failed.");
  }

  // A lone delimiter is a digit too; failures are not logged (only memory shortages are).
  EXPECT_EQ(punycodeDecodedStringWithError(u"-"), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
}

// Random labels of Unicode scalar values: basics, Latin, Cyrillic, CJK, Hangul and
// supplementary codepoints (the peer rejects surrogates and values above 0x10FFFF, which this
// codec takes as they come).
Codepoints randomCodepoints(std::mt19937& random, size_t length) {
  Codepoints codepoints(length);
  for (uint32_t& c : codepoints) {
    switch (random() % 8) {
      case 0:
      case 1:
        c = 0x20 + random() % 0x5F;
        break;
      case 2:
        c = 0x80 + random() % 0x180;
        break;
      case 3:
        c = 0x400 + random() % 0x60;
        break;
      case 4:
        c = 0x4E00 + random() % 0x200;
        break;
      case 5:
        c = 0xAC00 + random() % 0x2BA4;
        break;
      case 6:
        c = 0x10000 + random() % 0x100000;
        break;
      default:
        c = 0xE9;
        break;
    }
  }
  return codepoints;
}

// Decoder inputs: encodings of random labels, damaged now and then, and random digit runs.
std::string randomPunycode(std::mt19937& random) {
  std::string input;
  if (random() % 2 == 0) {
    const Codepoints label = randomCodepoints(random, random() % 20);
    input = ourEncode(label, nullptr, 400).output;
  } else {
    static const char kAlphabet[] = "abcdefxyzABCZ0129--";
    for (size_t k = random() % 16; k > 0; --k) input += kAlphabet[random() % 19];
  }
  if (!input.empty() && random() % 4 == 0) {
    const char kDamage[] = {'!', '\xC3', '-', 'z', '9', 'A'};
    input[random() % input.size()] = kDamage[random() % 6];
  }
  return input;
}

// Where the peer departs from RFC 3492 on purpose or by accident, the results differ:
// - it reads a byte below "0" (such as "!" or a leading "-") as the digit byte - 22, where the
//   RFC's decoder, and this one, fail with bad input;
// - it rejects decoded values above 0x10FFFF and surrogates as bad input, which this decoder
//   accepts as they come;
// - it rejects a byte above 0x7F anywhere once the basics fit, where this decoder fails when
//   it reaches the byte, or earlier for another reason.
enum class PeerDeparture { None, DigitBelowZero, InvalidCodepoint, ByteAbove7F };

PeerDeparture peerDeparture(const std::string& input) {
  for (char byte : input) {
    if (static_cast<uint8_t>(byte) > 0x7F) return PeerDeparture::ByteAbove7F;
  }
  const size_t delimiter = input.rfind('-');
  const size_t digits = delimiter == std::string::npos || delimiter == 0 ? 0 : delimiter + 1;
  for (size_t j = digits; j < input.size(); ++j) {
    if (static_cast<uint8_t>(input[j]) < '0') return PeerDeparture::DigitBelowZero;
  }
  // Decoded without a capacity limit: the values inserted before any failure.
  Codepoints values(input.size() + 1, 0);
  uint32_t length = static_cast<uint32_t>(input.size());
  qnunicode::punycode_decode(length, input.data(), &length, values.data(), nullptr);
  for (uint32_t c : values) {
    if (c > 0x10FFFF || qnunicode::isSurrogate(c)) return PeerDeparture::InvalidCodepoint;
  }
  return PeerDeparture::None;
}

TEST(QNUnicodePunycodePeerTest, CodecMatchesThePeerOnRandomLabels) {
  std::mt19937 random(3492);
  size_t failures = 0, departures[4] = {0, 0, 0, 0};
  for (int k = 0; k < 100000; ++k) {
    // Now and then a long label, whose deltas overflow 32 bits.
    const Codepoints label = randomCodepoints(random, k % 50 == 0 ? 3000 : random() % 70);
    // Flags only on basic codepoints: for a flagged digit the RFC leaves the result undefined.
    std::vector<unsigned char> flags(label.size());
    for (size_t j = 0; j < label.size(); ++j) flags[j] = label[j] < 0x80 && random() % 2;
    const bool withFlags = k % 3 == 0;
    const uint32_t capacity = k % 5 == 0 ? random() % 80 : 40000;
    const PeerEncoding peer = peerEncode(label, withFlags ? flags.data() : nullptr, capacity);
    const PeerEncoding ours = ourEncode(label, withFlags ? flags.data() : nullptr, capacity);
    ASSERT_EQ(ours.status, peer.status) << "encoding label " << k;
    ASSERT_EQ(ours.output, peer.output) << "encoding label " << k;

    const std::string input = randomPunycode(random);
    const uint32_t room = k % 5 == 0 ? random() % 20 : 100;
    const PeerDecoding peerDecoding = peerDecode(input, room);
    const PeerDecoding ourDecoding = ourDecode(input, room);
    const PeerDeparture departure = peerDeparture(input);
    ++departures[static_cast<int>(departure)];
    if (departure == PeerDeparture::None) {
      ASSERT_EQ(ourDecoding, peerDecoding) << "decoding \"" << input << "\"";
    } else if (departure == PeerDeparture::DigitBelowZero) {
      // This decoder fails at the byte, or before it for a reason of its own.
      ASSERT_NE(ourDecoding.status, 0) << "decoding \"" << input << "\"";
    } else if (departure == PeerDeparture::ByteAbove7F) {
      ASSERT_NE(ourDecoding.status, 0) << "decoding \"" << input << "\"";
      ASSERT_TRUE(peerDecoding.status == PUNYCODE_BAD_INPUT ||
                  peerDecoding.status == ourDecoding.status)
          << "decoding \"" << input << "\"";
    } else {
      // The peer stops at the invalid value unless a check of both stops it first.
      ASSERT_TRUE(peerDecoding.status == PUNYCODE_BAD_INPUT ||
                  peerDecoding.status == ourDecoding.status)
          << "decoding \"" << input << "\"";
    }
    failures += (peer.status != 0) + (peerDecoding.status != 0);
  }
  // The mix makes both codecs fail often, with every status; most inputs are compared.
  EXPECT_GT(failures, 30000u);
  EXPECT_GT(departures[0], 85000u);
  EXPECT_GT(departures[1], 0u);
  EXPECT_GT(departures[2], 0u);
  EXPECT_GT(departures[3], 0u);
}

TEST(QNUnicodePunycodePeerTest, LongInputsTakeTheCountedStepsWithTheSameResults) {
  std::mt19937 random(1000000);
  for (size_t length : {300, 700, 2000, 5000}) {
    SCOPED_TRACE(length);
    const Codepoints label = randomCodepoints(random, length);
    const PeerEncoding peer = peerEncode(label, nullptr, 8 * length);
    ASSERT_EQ(ourEncode(label, nullptr, static_cast<uint32_t>(8 * length)).output, peer.output);
    ASSERT_EQ(peer.status, 0);
    ASSERT_EQ(ourDecode(peer.output, static_cast<uint32_t>(length)),
              peerDecode(peer.output, length));
    // A damaged long input fails alike.
    std::string damaged = peer.output;
    damaged[damaged.size() / 2] = '{';
    ASSERT_EQ(ourDecode(damaged, static_cast<uint32_t>(length)).status,
              peerDecode(damaged, length).status);
  }
}

TEST(QNUnicodePunycodePeerTest, ThePeerRejectsWhatThisCodecTakesAsItComes) {
  // Deliberately unchecked here: surrogates and values above 0x10FFFF encode.
  for (const Codepoints& input : {Codepoints{0xD800}, Codepoints{'a', 0x110000}}) {
    EXPECT_EQ(ourEncode(input, nullptr, 100).status, 0);
    EXPECT_EQ(peerEncode(input, nullptr, 100).status, PUNYCODE_BAD_INPUT);
  }
}

TEST(QNUnicodePunycodeTest, MegabyteLabelsAreHandledWithoutQuadraticWork) {
  // A megabyte of "a": every digit is a codepoint of its own, inserted at the front.
  const UnicodeString as(1 << 20, u'a');
  const std::optional<UnicodeString> decoded = punycodeDecodedStringWithError(as);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(*decoded, UnicodeString(1 << 20, u'\u0080'));
  // A megabyte of few distinct codepoints encodes and decodes back.
  UnicodeString label;
  for (int k = 0; k < (1 << 18); ++k) label += u"a\u00FCb\u00E9";
  const std::optional<UnicodeString> encoded = punycodeEncodedStringWithError(label);
  ASSERT_TRUE(encoded);
  EXPECT_TRUE(punycodeDecodedStringWithError(*encoded) == label);
  // A megabyte of many distinct ones: the deltas overflow.
  std::mt19937 random(7);
  UnicodeString distinct;
  for (int k = 0; k < (1 << 20); ++k) distinct += static_cast<char16_t>(0x4E00 + random() % 0x5000);
  const std::optional<UnicodeString> distinctEncoded = punycodeEncodedStringWithError(distinct);
  ASSERT_TRUE(distinctEncoded);
  EXPECT_TRUE(punycodeDecodedStringWithError(*distinctEncoded) == distinct);
  // Past 32 bits of delta: a megabyte after a jump to the top of the codepoint range.
  UnicodeString jump(1 << 20, u'\u00E9');
  jump += u"\U0010FFFF";
  UnicodeString error;
  EXPECT_EQ(punycodeEncodedStringWithError(jump, &error), std::nullopt);
  EXPECT_EQ(error, u"Punycode encoding failed.");
}

}  // namespace
