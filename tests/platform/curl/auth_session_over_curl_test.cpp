// The session coordinator on a real thread pool, over the real curl transport, with
// a loopback server in the place of the refresh endpoint.

#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/thread_pool.h"
#include "core/account/auth_session_coordinator.h"
#include "core/account/auth_user_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "platform/curl/curl_http_transport.h"
#include "support/auth_printers.h"
#include "support/in_memory_refresh_token_store.h"
#include "support/loopback_server.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;

const std::string kService = "me.mossgrove.trelvis.auth.refreshToken";

// A server whose refresh endpoint rotates r<n> into a<n+1>/r<n+1>.
class AuthServer {
 public:
  AuthServer() {
    server_->Post(
        "/trelvis/v1/auth/refresh", [this](const httplib::Request& req, httplib::Response& res) {
          std::string token = Json::parse(req.body, nullptr, false).value("refreshToken", "");
          {
            std::lock_guard lock(mutex_);
            refreshes_.push_back(token);
          }
          if (holdRefreshes_) refreshGate_.wait();
          if (token.size() < 2 || token[0] != 'r') {
            res.status = 401;
            return;
          }
          int next = std::stoi(token.substr(1)) + 1;
          res.set_content(Json{{"accessToken", "a" + std::to_string(next)},
                               {"refreshToken", "r" + std::to_string(next)},
                               {"expiresIn", 900},
                               {"user", {{"id", "u-1"}, {"email", "ada@example.com"}}}}
                              .dump(),
                          "application/json");
        });
    server_.start();
  }

  ~AuthServer() { refreshGate_.open(); }

  std::string baseURL() const { return server_.url("/trelvis/"); }
  // Holds every refresh until release(), to gather its callers.
  void holdRefreshes() { holdRefreshes_ = true; }
  void release() { refreshGate_.open(); }

  std::vector<std::string> refreshes() const {
    std::lock_guard lock(mutex_);
    return refreshes_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> refreshes_;  // the refresh tokens posted, in order
  std::atomic<bool> holdRefreshes_{false};
  Gate refreshGate_;
  LoopbackServer<> server_;
};

class AuthSessionOverCurlTest : public ::testing::Test {
 protected:
  AuthSessionOverCurlTest() {
    tokens_->put(kService, "refreshToken", "r0");
    session_ = std::make_shared<AuthSessionCoordinator>(
        pool_.makeSequencedExecutor(), *Url::parse(server_.baseURL()),
        std::make_shared<TransportAuthHTTPClient>(transport_), tokens_,
        std::make_shared<PreferencesAuthUserStore>(defaults_), kService);
  }

  AuthServer server_;
  ThreadPool pool_{"auth-test", 3};
  std::shared_ptr<CurlHttpTransport> transport_ = std::make_shared<CurlHttpTransport>();
  std::shared_ptr<InMemoryRefreshTokenStore> tokens_ =
      std::make_shared<InMemoryRefreshTokenStore>();
  InMemoryPreferenceStore defaults_;
  std::shared_ptr<AuthSessionCoordinator> session_;
};

TEST_F(AuthSessionOverCurlTest, CallersOnManyThreadsShareOneRefresh) {
  server_.holdRefreshes();
  constexpr int kCallers = 8;
  std::vector<std::shared_ptr<Executor>> executors;
  for (int i = 0; i < 4; ++i) executors.push_back(pool_.makeSequencedExecutor());
  std::vector<Task<AuthResult<std::optional<std::string>>>> callers;
  for (int i = 0; i < kCallers; ++i) {
    callers.push_back(
        spawn(executors[i % executors.size()],
              [session = session_]() -> Async<AuthResult<std::optional<std::string>>> {
                co_return co_await session->getAccessToken(true);
              }));
  }
  // Each caller reads the store and joins the refresh in one step on the session's
  // executor, so once all have read, all wait on the one request.
  for (int i = 0; i < 500 && tokens_->counts().reads < kCallers; ++i)
    std::this_thread::sleep_for(10ms);
  ASSERT_EQ(tokens_->counts().reads, kCallers);
  server_.release();
  auto allDone = [&] {
    for (auto& caller : callers) {
      if (!caller.isDone()) return false;
    }
    return true;
  };
  for (int i = 0; i < 1000 && !allDone(); ++i) std::this_thread::sleep_for(10ms);
  ASSERT_TRUE(allDone());
  for (auto& caller : callers) {
    EXPECT_EQ(caller.value(), AuthResult<std::optional<std::string>>(std::string("a1")));
  }
  EXPECT_EQ(server_.refreshes(), (std::vector<std::string>{"r0"}));
  EXPECT_EQ(tokens_->counts().saves, 1);
  EXPECT_EQ(tokens_->token(kService, "refreshToken"), "r1");
}

}  // namespace
}  // namespace trelvis
