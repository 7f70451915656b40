#include "server/auth/password_hasher.h"

#include <sodium.h>

#include <array>
#include <stdexcept>

namespace trelvis::server {
namespace {

constexpr std::size_t kMiB = 1024 * 1024;

// Holds one hashing slot for its lifetime.
class Slot {
 public:
  explicit Slot(std::counting_semaphore<>& slots) : slots_(slots) { slots_.acquire(); }
  ~Slot() { slots_.release(); }
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

 private:
  std::counting_semaphore<>& slots_;
};

}  // namespace

PasswordHasher::PasswordHasher(Cost cost, std::ptrdiff_t concurrency)
    : cost_(cost), slots_(std::max<std::ptrdiff_t>(1, concurrency)) {
  if (sodium_init() < 0) throw std::runtime_error("libsodium could not be initialised");
}

std::string PasswordHasher::hash(std::string_view password) {
  std::array<char, crypto_pwhash_STRBYTES> text{};
  const Slot slot(slots_);
  if (crypto_pwhash_str_alg(text.data(), password.data(), password.size(), cost_.passes,
                            cost_.memoryMiB * kMiB, crypto_pwhash_ALG_ARGON2ID13) != 0) {
    throw std::runtime_error("not enough memory to hash a password");
  }
  return std::string(text.data());
}

bool PasswordHasher::verify(std::string_view storedHash, std::string_view password) {
  // libsodium wants a NUL-terminated hash.
  const std::string hashText(storedHash);
  const Slot slot(slots_);
  return crypto_pwhash_str_verify(hashText.c_str(), password.data(), password.size()) == 0;
}

bool PasswordHasher::needsRehash(std::string_view storedHash) const {
  const std::string hashText(storedHash);
  return crypto_pwhash_str_needs_rehash(hashText.c_str(), cost_.passes, cost_.memoryMiB * kMiB) !=
         0;
}

}  // namespace trelvis::server
