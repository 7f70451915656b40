#include "server/auth/secrets.h"

#include <sodium.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace trelvis::server {
namespace {

constexpr std::size_t kTokenBytes = 32;

void ensureSodium() {
  static const bool ready = sodium_init() >= 0;
  if (!ready) throw std::runtime_error("libsodium could not be initialised");
}

std::string sha256Hex(std::string_view data) {
  std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
  crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(data.data()),
                     data.size());
  std::array<char, crypto_hash_sha256_BYTES * 2 + 1> hex{};
  sodium_bin2hex(hex.data(), hex.size(), digest.data(), digest.size());
  return std::string(hex.data(), crypto_hash_sha256_BYTES * 2);
}

}  // namespace

std::string hmacSha256Hex(std::string_view key, std::string_view message) {
  ensureSodium();
  crypto_auth_hmacsha256_state state;
  crypto_auth_hmacsha256_init(&state, reinterpret_cast<const unsigned char*>(key.data()),
                              key.size());
  crypto_auth_hmacsha256_update(&state, reinterpret_cast<const unsigned char*>(message.data()),
                                message.size());
  std::array<unsigned char, crypto_auth_hmacsha256_BYTES> mac{};
  crypto_auth_hmacsha256_final(&state, mac.data());
  std::array<char, crypto_auth_hmacsha256_BYTES * 2 + 1> hex{};
  sodium_bin2hex(hex.data(), hex.size(), mac.data(), mac.size());
  return std::string(hex.data(), crypto_auth_hmacsha256_BYTES * 2);
}

std::string newSecretToken() {
  ensureSodium();
  std::array<unsigned char, kTokenBytes> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
  std::array<char, sodium_base64_ENCODED_LEN(kTokenBytes, kVariant)> text{};
  sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kVariant);
  sodium_memzero(bytes.data(), bytes.size());
  return std::string(text.data());
}

std::string tokenDigest(std::string_view token) {
  return sha256Hex(token);
}

std::string newVerificationCode() {
  ensureSodium();
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%06u", randombytes_uniform(1000000));
  return std::string(text.data(), 6);
}

std::string verificationCodeDigest(std::string_view email, EmailCodePurpose purpose,
                                   std::string_view code) {
  std::string material(toString(purpose));
  material += '\n';
  material += email;
  material += '\n';
  material += code;
  return sha256Hex(material);
}

bool constantTimeEquals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  return sodium_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace trelvis::server
