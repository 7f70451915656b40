#pragma once

// FakeAccessTokenProvider: hands out "token-1", "token-2", ... unless the test
// has queued other answers (a token, none, an error, after a delay on the
// caller's executor). Records every request's forceRefresh flag.

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "base/async/sleep.h"
#include "core/account/auth_session_error.h"
#include "core/net/access_token_provider.h"

namespace trelvis {

class FakeAccessTokenProvider final : public AccessTokenProviding {
 public:
  struct Answer {
    std::optional<std::string> token;
    std::optional<AuthSessionError> error;
    Duration delay{0};
  };

  void enqueue(Answer answer) { answers_.push_back(std::move(answer)); }
  const std::vector<bool>& forceRefreshFlags() const { return forceRefreshFlags_; }

  Async<AuthResult<std::optional<std::string>>> getAccessToken(bool forceRefresh) override {
    forceRefreshFlags_.push_back(forceRefresh);
    Answer answer{"token-" + std::to_string(forceRefreshFlags_.size()), std::nullopt, Duration(0)};
    if (!answers_.empty()) {
      answer = std::move(answers_.front());
      answers_.pop_front();
    }
    if (answer.delay > Duration(0)) co_await sleepFor(answer.delay);
    if (answer.error) co_return tl::unexpected(*answer.error);
    co_return answer.token;
  }

 private:
  std::deque<Answer> answers_;
  std::vector<bool> forceRefreshFlags_;
};

}  // namespace trelvis
