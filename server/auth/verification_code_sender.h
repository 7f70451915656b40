#pragma once

// VerificationCodeSender: how a verification code reaches the owner of an address.
// A local server has no mail transport: ConsoleVerificationCodeSender writes the
// line "verification code for EMAIL: 123456" to standard output, and the code goes
// nowhere else. A mail transport can take its place later.

#include <cstdio>
#include <mutex>
#include <string_view>

namespace trelvis::server {

class VerificationCodeSender {
 public:
  virtual ~VerificationCodeSender() = default;
  // False when the code could not be delivered; the request then fails with 503.
  virtual bool send(std::string_view email, std::string_view code) = 0;
};

class ConsoleVerificationCodeSender final : public VerificationCodeSender {
 public:
  explicit ConsoleVerificationCodeSender(std::FILE* output = stdout) : output_(output) {}
  bool send(std::string_view email, std::string_view code) override;

 private:
  std::FILE* output_;
  std::mutex mutex_;
};

}  // namespace trelvis::server
