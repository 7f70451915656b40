#include "core/net/authenticated_request.h"

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_http_transport.h"

namespace trelvis {
namespace {

using namespace std::string_literals;

// The closed error set of an imagined REST client, rendered as text for the tables.
struct SampleClientError {
  std::string text;

  static SampleClientError auth(const AuthSessionError& error) {
    return {"auth " + std::string(error.code())};
  }
  static SampleClientError unauthenticated() { return {"unauthenticated"}; }
  static SampleClientError invalidResponse() { return {"invalidResponse"}; }
  static SampleClientError http(int status, std::string body) {
    return {"http " + std::to_string(status) + " " + body};
  }
  static SampleClientError network(std::string description) { return {"network " + description}; }
};

FakeAccessTokenProvider::Answer signedIn(std::optional<std::string> token) {
  return {std::move(token), std::nullopt, Duration(0)};
}

class AuthenticatedRequestTest : public ::testing::Test {
 protected:
  // Starts one request; its outcome is the body or the error's text.
  Task<std::string> start() {
    return spawn(main_, [this]() -> Async<std::string> {
      HttpRequest request(*Url::parse("https://api.test/v1/home/summary"));
      request.headers.set("Accept", "application/json");
      try {
        co_return "body " + co_await performAuthenticatedRequest<SampleClientError>(
                                *tokens_, *transport_, std::move(request));
      } catch (const SampleClientError& error) {
        co_return error.text;
      }
    });
  }

  void answer(std::size_t index, int status, std::string body) {
    ASSERT_LT(index, transport_->exchanges().size());
    auto& exchange = *transport_->exchanges()[index];
    exchange.respond(status);
    exchange.sendBody(std::move(body));
    exchange.finishBody();
    scheduler_.runUntilIdle();
  }

  // The bearer token of each request, then the forceRefresh flag of each token
  // request: "token-1 token-2 / 01".
  std::string requestsAndRefreshes() const {
    std::string text;
    for (auto& exchange : transport_->exchanges()) {
      const std::string header = exchange->request().headers.get("Authorization").value_or("");
      text += (header.starts_with("Bearer ") ? header.substr(7) : "!" + header) + " ";
    }
    text += "/ ";
    for (bool forced : tokens_->forceRefreshFlags()) text += forced ? "1" : "0";
    return text;
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeAccessTokenProvider> tokens_ = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeHttpTransport> transport_ = std::make_shared<FakeHttpTransport>();
};

TEST_F(AuthenticatedRequestTest, EachOutcomeBecomesTheClientsOwnCase) {
  struct Case {
    const char* name;
    std::vector<FakeAccessTokenProvider::Answer> tokens;
    std::vector<std::pair<int, std::string>> replies;  // status 0: the transport fails
    std::string expected;
    std::string requests;  // requestsAndRefreshes()
  };
  const FakeAccessTokenProvider::Answer noPair{
      std::nullopt, AuthSessionError(AuthSessionError::Kind::invalidCredentials)};
  const auto locked = AuthSessionError::keychain("locked");
  const Case cases[] = {
      {"success", {}, {{200, "{}"}}, "body {}", "token-1 / 0"},
      {"a 401 is retried, forced", {}, {{401, ""}, {204, ""}}, "body ", "token-1 token-2 / 01"},
      {"a second 401", {}, {{401, ""}, {401, "x"}}, "unauthenticated", "token-1 token-2 / 01"},
      {"the session fails", {{std::nullopt, locked}}, {}, "auth keychain_error", "/ 0"},
      {"no refresh", {signedIn("a1"), noPair}, {{401, ""}}, "auth invalid_credentials", "a1 / 01"},
      {"nobody is signed in", {signedIn(std::nullopt)}, {}, "unauthenticated", "/ 0"},
      {"a blank token", {signedIn(" \n")}, {}, "unauthenticated", "/ 0"},
      {"another status", {}, {{503, "busy\nnow"}}, "http 503 busy\nnow", "token-1 / 0"},
      {"a body that is not UTF-8", {}, {{500, "\xFF\xFE"}}, "http 500 ", "token-1 / 0"},
      {"no HTTP status", {}, {{99, ""}}, "invalidResponse", "token-1 / 0"},
      {"the transport fails", {}, {{0, "timed out"}}, "network timed out", "token-1 / 0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    tokens_ = std::make_shared<FakeAccessTokenProvider>();
    transport_ = std::make_shared<FakeHttpTransport>();
    for (const auto& answer : c.tokens) tokens_->enqueue(answer);
    auto task = start();
    scheduler_.runUntilIdle();
    for (std::size_t i = 0; i < c.replies.size(); ++i) {
      auto [status, body] = c.replies[i];
      if (status == 0) {
        transport_->exchanges()[i]->fail(URLError(URLErrorCode::timedOut, body));
        scheduler_.runUntilIdle();
      } else {
        answer(i, status, body);
      }
    }
    ASSERT_TRUE(task.isDone());
    EXPECT_EQ(task.value(), c.expected);
    EXPECT_EQ(requestsAndRefreshes(), c.requests);
    for (auto& exchange : transport_->exchanges()) {
      EXPECT_EQ(exchange->request().headers.get("Accept"), "application/json");
    }
  }
}

TEST_F(AuthenticatedRequestTest, ACancellationStaysACancellation) {
  auto task = start();
  scheduler_.runUntilIdle();
  task.cancel();
  scheduler_.runUntilIdle();
  EXPECT_THROW(task.value(), CancellationError);
  EXPECT_TRUE(transport_->last().isCancelled());
}

}  // namespace
}  // namespace trelvis
