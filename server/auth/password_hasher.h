#pragma once

// PasswordHasher: Argon2id password hashes (libsodium), in the self-describing text
// form that records the cost and salt of each hash. Hashing costs tens of
// milliseconds and tens of MiB on purpose; at most `concurrency` hashes run at once
// so that a burst of logins cannot exhaust the machine's memory. Thread-safe.

#include <cstddef>
#include <cstdint>
#include <semaphore>
#include <string>
#include <string_view>

namespace trelvis::server {

class PasswordHasher {
 public:
  struct Cost {
    uint64_t passes = 3;
    std::size_t memoryMiB = 48;
  };

  PasswordHasher(Cost cost, std::ptrdiff_t concurrency);

  // Raises std::runtime_error when the memory cannot be had.
  std::string hash(std::string_view password);
  // False for a wrong password and for a hash this program cannot read.
  bool verify(std::string_view storedHash, std::string_view password);
  // True when `storedHash` was made with another cost than the current one.
  bool needsRehash(std::string_view storedHash) const;

  const Cost& cost() const { return cost_; }

 private:
  Cost cost_;
  std::counting_semaphore<> slots_;
};

}  // namespace trelvis::server
