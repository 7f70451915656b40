#pragma once

// FakeVerificationCodeSender: the server's code delivery for in-process tests. It
// records every code it is asked to send, and fails deliveries while `failing` is
// set (recording the code all the same, so a test can try the undelivered code).

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "server/auth/verification_code_sender.h"

namespace trelvis::server {

class FakeVerificationCodeSender final : public VerificationCodeSender {
 public:
  bool send(std::string_view email, std::string_view code) override {
    const std::lock_guard lock(mutex_);
    codes_[std::string(email)].emplace_back(code);
    return !failing;
  }

  // The last code for `email`, or "" when none was sent.
  std::string lastCode(const std::string& email) const {
    const std::lock_guard lock(mutex_);
    const auto found = codes_.find(email);
    return found == codes_.end() ? std::string() : found->second.back();
  }

  bool failing = false;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<std::string>> codes_;
};

}  // namespace trelvis::server
