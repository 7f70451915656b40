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

  std::vector<std::string> authorizations() const {
    std::vector<std::string> result;
    for (auto& exchange : transport_->exchanges()) {
      result.push_back(exchange->request().headers.get("Authorization").value_or("(none)"));
    }
    return result;
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
    std::vector<std::string> authorizations;
    std::vector<bool> forced;
  };
  const Case cases[] = {
      {"success", {}, {{200, "{}"}}, "body {}", {"Bearer token-1"}, {false}},
      {"one 401 is retried with a forced refresh",
       {},
       {{401, ""}, {204, ""}},
       "body ",
       {"Bearer token-1", "Bearer token-2"},
       {false, true}},
      {"a second 401 is unauthenticated",
       {},
       {{401, ""}, {401, "again"}},
       "unauthenticated",
       {"Bearer token-1", "Bearer token-2"},
       {false, true}},
      {"the session fails",
       {{std::nullopt, AuthSessionError::keychain("locked"), Duration(0)}},
       {},
       "auth keychain_error",
       {},
       {false}},
      {"the refresh fails after a 401",
       {signedIn("a1"),
        {std::nullopt, AuthSessionError(AuthSessionError::Kind::invalidCredentials), Duration(0)}},
       {{401, ""}},
       "auth invalid_credentials",
       {"Bearer a1"},
       {false, true}},
      {"nobody is signed in", {signedIn(std::nullopt)}, {}, "unauthenticated", {}, {false}},
      {"a blank token", {signedIn(" \n")}, {}, "unauthenticated", {}, {false}},
      {"another status",
       {},
       {{503, "busy\nnow"}},
       "http 503 busy\nnow",
       {"Bearer token-1"},
       {false}},
      {"a body that is not UTF-8",
       {},
       {{500, "\xFF\xFE"}},
       "http 500 ",
       {"Bearer token-1"},
       {false}},
      {"no HTTP status", {}, {{99, ""}}, "invalidResponse", {"Bearer token-1"}, {false}},
      {"the transport fails",
       {},
       {{0, "The request timed out."}},
       "network The request timed out.",
       {"Bearer token-1"},
       {false}},
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
    EXPECT_EQ(authorizations(), c.authorizations);
    EXPECT_EQ(tokens_->forceRefreshFlags(), c.forced);
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
