#include "qnunicode/util/QNDigest.h"

#include <gtest/gtest.h>

namespace {

// RFC 1321's test suite (appendix A.5), and NUL and high bytes digested by an independent tool.
TEST(QNDigestTest, KnownDigests) {
  const std::pair<std::string_view, std::u16string_view> suite[] = {
      {"", u"d41d8cd98f00b204e9800998ecf8427e"},
      {"a", u"0cc175b9c0f1b6a831c399e269772661"},
      {"abc", u"900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", u"f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", u"c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       u"d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       u"57edf4a22be3c955ac49da2e2107b67a"},
      {std::string_view("\0\xff\x80\0", 4), u"c5efce613410db797c9b1b235d8906b8"}};
  for (const auto& [message, digest] : suite)
    EXPECT_EQ(QNAdditions::md5HexString(message), digest) << testing::PrintToString(message);
}

}  // namespace
