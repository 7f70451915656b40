#include "core/account/auth_http_client.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "base/log.h"
#include "core/account/auth_session_error.h"
#include "support/fake_http_transport.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

class TransportAuthHTTPClientTest : public ::testing::Test {
 protected:
  Task<AuthHTTPResponse> post(AuthRequestBody body) {
    return spawn(main_, [this, body = std::move(body)]() -> Async<AuthHTTPResponse> {
      co_return co_await client_.postJSON(url_, body, std::nullopt);
    });
  }

  std::vector<std::string> authLog() const {
    std::vector<std::string> lines;
    for (const auto& record : log_.records("auth")) lines.push_back(record.message);
    return lines;
  }

  LogCapture log_;
  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeHttpTransport> transport_ = std::make_shared<FakeHttpTransport>();
  TransportAuthHTTPClient client_{transport_};
  Url url_ = *Url::parse("https://api.test/trelvis/v1/auth/login");
};

TEST_F(TransportAuthHTTPClientTest, PostsJSONAndLogsOnlyTheAddressAndStatus) {
  auto task = post({{"email", "ada@example.com"}, {"password", "s3cret \"quoted\" é"}});
  scheduler_.runUntilIdle();
  ASSERT_EQ(transport_->exchanges().size(), 1u);
  auto& exchange = transport_->last();
  const HttpRequest& request = exchange.request();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, url_);
  EXPECT_EQ(request.timeout, 8s);
  EXPECT_EQ(request.headers.get("Content-Type"), "application/json");
  EXPECT_EQ(request.headers.get("Accept"), "application/json");
  EXPECT_FALSE(request.headers.contains("Authorization"));
  EXPECT_EQ(nlohmann::json::parse(exchange.body()),
            (nlohmann::json{{"email", "ada@example.com"}, {"password", "s3cret \"quoted\" é"}}));

  exchange.respond(201);
  exchange.sendBody(R"({"accessToken":"a-secret","refreshToken":"r-secret"})");
  exchange.finishBody();
  scheduler_.runUntilIdle();
  EXPECT_EQ(task.value(),
            (AuthHTTPResponse{201, R"({"accessToken":"a-secret","refreshToken":"r-secret"})"}));
  EXPECT_EQ(authLog(), (std::vector<std::string>{
                           "Trelvis auth request POST https://api.test/trelvis/v1/auth/login",
                           "Trelvis auth response 201 https://api.test/trelvis/v1/auth/login"}));
  for (const auto& record : log_.records()) {
    EXPECT_EQ(record.message.find("s3cret"), std::string::npos) << record;
    EXPECT_EQ(record.message.find("secret\""), std::string::npos) << record;
  }
}

TEST_F(TransportAuthHTTPClientTest, FailuresAreRaisedAsTheyAreAndLogged) {
  auto task = post({{"email", "ada@example.com"}});
  scheduler_.runUntilIdle();
  transport_->last().fail(URLError(URLErrorCode::cannotConnectToHost, "Could not connect."));
  scheduler_.runUntilIdle();
  EXPECT_THROW(task.value(), URLError);
  EXPECT_EQ(authLog().back(),
            "Trelvis auth request failed " + url_.absoluteString() + ": Could not connect.");

  // No status line at all is not HTTP.
  auto noStatus = post({});
  scheduler_.runUntilIdle();
  transport_->last().respond(0);
  transport_->last().finishBody();
  scheduler_.runUntilIdle();
  EXPECT_EQ(testing::thrownBy<AuthSessionError>([&] { noStatus.value(); }),
            AuthSessionError(AuthSessionError::Kind::invalidResponse));
}

TEST_F(TransportAuthHTTPClientTest, TextThatIsNotUTF8IsRefusedWithoutQuotingIt) {
  auto task = post({{"password", "pass\xFFword"}});
  scheduler_.runUntilIdle();
  EXPECT_TRUE(transport_->exchanges().empty());
  const std::string refusal = testing::messageThrownBy<std::invalid_argument>([&] { task.value(); });
  EXPECT_NE(refusal, "(nothing thrown)");
  EXPECT_EQ(refusal.find("pass"), std::string::npos) << refusal;
  EXPECT_EQ(refusal.find("FF"), std::string::npos) << refusal;
}

}  // namespace
}  // namespace trelvis
