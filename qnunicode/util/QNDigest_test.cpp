#include "qnunicode/util/QNDigest.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

// The test suite of RFC 1321, appendix A.5.
TEST(QNDigestTest, RFC1321TestSuite) {
  const std::pair<std::string_view, std::u16string_view> suite[] = {
      {"", u"d41d8cd98f00b204e9800998ecf8427e"},
      {"a", u"0cc175b9c0f1b6a831c399e269772661"},
      {"abc", u"900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", u"f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", u"c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       u"d174ab98d277d9f5a5611c2c9f419d9f"},
      {"1234567890123456789012345678901234567890"
       "1234567890123456789012345678901234567890",
       u"57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [message, digest] : suite) {
    EXPECT_EQ(QNAdditions::md5HexString(message), digest) << "message \"" << message << "\"";
  }
}

TEST(QNDigestTest, RawBytes) {
  // The empty message's digest, byte by byte in order.
  const std::array<uint8_t, 16> empty = {0xd4, 0x1d, 0x8c, 0xd9, 0x8f, 0x00, 0xb2, 0x04,
                                         0xe9, 0x80, 0x09, 0x98, 0xec, 0xf8, 0x42, 0x7e};
  EXPECT_EQ(QNAdditions::md5(std::string_view()), empty);
  // NUL bytes and bytes above 0x7F count like any other, whichever view carries them.
  const std::vector<uint8_t> bytes = {0x00, 0xff, 0x80, 0x00};
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  EXPECT_EQ(QNAdditions::md5(text), QNAdditions::md5(std::span<const uint8_t>(bytes)));
  EXPECT_NE(QNAdditions::md5HexString(text), QNAdditions::md5HexString(text.substr(0, 3)));
  EXPECT_NE(QNAdditions::md5HexString(text), u"d41d8cd98f00b204e9800998ecf8427e");
}

}  // namespace
