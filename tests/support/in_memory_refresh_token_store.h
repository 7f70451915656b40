#pragma once

// InMemoryRefreshTokenStore: a RefreshTokenStoring that keeps tokens in a map, for
// tests of the session. A test can make the next read, save or delete fail, and
// reads the tokens and the count of each operation. Thread-safe, so that a test can
// watch it while a coordinator on a thread pool uses it.

#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/account/refresh_token_storing.h"

namespace trelvis {

class InMemoryRefreshTokenStore final : public RefreshTokenStoring {
 public:
  struct Counts {
    int reads = 0;
    int saves = 0;
    int deletes = 0;
  };

  // The next call of that operation raises `message` (as a std::runtime_error).
  void failNextRead(std::string message) {
    locked([&] { failRead_ = std::move(message); });
  }
  void failNextSave(std::string message) {
    locked([&] { failSave_ = std::move(message); });
  }
  void failNextDelete(std::string message) {
    locked([&] { failDelete_ = std::move(message); });
  }

  void put(std::string service, std::string account, std::string token) {
    locked([&] { tokens_[{std::move(service), std::move(account)}] = std::move(token); });
  }
  std::optional<std::string> token(const std::string& service, const std::string& account) const {
    std::lock_guard lock(mutex_);
    auto found = tokens_.find({service, account});
    if (found == tokens_.end()) return std::nullopt;
    return found->second;
  }
  Counts counts() const {
    std::lock_guard lock(mutex_);
    return counts_;
  }

  std::optional<std::string> readRefreshToken(std::string_view service,
                                              std::string_view account) override {
    locked([&] {
      ++counts_.reads;
      raiseIfSet(failRead_);
    });
    return token(std::string(service), std::string(account));
  }
  void saveRefreshToken(std::string_view token, std::string_view service,
                        std::string_view account) override {
    locked([&] {
      ++counts_.saves;
      raiseIfSet(failSave_);
    });
    put(std::string(service), std::string(account), std::string(token));
  }
  void deleteRefreshToken(std::string_view service, std::string_view account) override {
    locked([&] {
      ++counts_.deletes;
      raiseIfSet(failDelete_);
      tokens_.erase({std::string(service), std::string(account)});
    });
  }

 private:
  static void raiseIfSet(std::optional<std::string>& failure) {
    if (auto message = std::exchange(failure, std::nullopt)) throw std::runtime_error(*message);
  }

  template <class F>
  void locked(F change) {
    std::lock_guard lock(mutex_);
    change();
  }

  mutable std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::string> tokens_;
  std::optional<std::string> failRead_;
  std::optional<std::string> failSave_;
  std::optional<std::string> failDelete_;
  Counts counts_;
};

}  // namespace trelvis
