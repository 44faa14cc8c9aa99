#include "qnunicode/util/QNDigest.h"

#include <openssl/evp.h>

#include "qnunicode/util/QNExceptions.h"

namespace QNAdditions {

std::array<uint8_t, 16> md5(std::span<const uint8_t> bytes) {
  std::array<uint8_t, 16> digest{};
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr) != 1 ||
      length != digest.size()) {
    // Only a crypto library configured to refuse MD5 gets here.
    throw QNInternalInconsistencyException("MD5 digest unavailable from the crypto library");
  }
  return digest;
}

std::array<uint8_t, 16> md5(std::string_view bytes) {
  return md5(
      std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

UnicodeString md5HexString(std::span<const uint8_t> bytes) {
  static constexpr char16_t digits[] = u"0123456789abcdef";
  const std::array<uint8_t, 16> digest = md5(bytes);
  UnicodeString hex;
  hex.reserve(2 * digest.size());
  for (uint8_t byte : digest) {
    hex.push_back(digits[byte >> 4]);
    hex.push_back(digits[byte & 0x0F]);
  }
  return hex;
}

UnicodeString md5HexString(std::string_view bytes) {
  return md5HexString(
      std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

}  // namespace QNAdditions
