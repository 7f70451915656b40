// kill -9 of the real server during a burst of registrations and refreshes: what it
// acknowledged must survive the restart, and the database must be consistent.

#include <signal.h>
#include <unistd.h>

#include <httplib.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "server/support/wire_shapes.h"
#include "support/temp_directory.h"
#include "support/trelvis_server_process.h"

namespace trelvis {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// POST to the server; status 0 when it did not answer.
std::pair<int, std::string> post(int port, const std::string& path, const std::string& json) {
  httplib::Client client("127.0.0.1", port);
  client.set_read_timeout(10s);
  const auto result = client.Post("/trelvis" + path, json, "application/json");
  if (!result) return {0, ""};
  return {result->status, result->body};
}

// Registers `email`; true when the server acknowledged it.
bool registerAccount(TrelvisServerProcess& server, const std::string& email,
                     std::string* refreshToken = nullptr) {
  const auto [sent, _] =
      post(server.port(), "/v1/auth/email-codes",
           wire::requestBody({{"email", email}, {"purpose", "register"}, {"locale", "en"}}));
  if (sent != 200) return false;
  const std::optional<std::string> code = server.waitForVerificationCode(email, 5s);
  if (!code) return false;
  const auto [status, reply] = post(
      server.port(), "/v1/auth/register",
      wire::requestBody({{"email", email}, {"password", "password-" + email}, {"code", *code}}));
  if (status != 200) return false;
  if (refreshToken) *refreshToken = wire::decodeTokenPair(reply).refreshToken;
  return true;
}

TEST(DurabilityTest, AKilledServerKeepsWhatItAcknowledged) {
  const testing::TempDirectory temp;
  const fs::path& directory = temp.path();
  auto server = std::make_unique<TrelvisServerProcess>(
      TrelvisServerProcess::Options{.dataDirectory = directory});

  // Sessions to refresh during the burst; the last acknowledged token of each.
  constexpr int kRefreshers = 8;
  std::vector<std::string> tokens(kRefreshers);
  for (int i = 0; i < kRefreshers; ++i) {
    ASSERT_TRUE(registerAccount(*server, "r" + std::to_string(i) + "@example.com", &tokens[i]));
  }

  std::atomic<bool> dead = false;
  std::atomic<int> refreshes = 0;
  std::mutex mutex;
  std::vector<std::string> registered;
  std::vector<std::thread> threads;
  for (int i = 0; i < kRefreshers; ++i) {
    threads.emplace_back([&, i] {
      while (!dead) {
        const auto [status, reply] = post(server->port(), "/v1/auth/refresh",
                                          wire::requestBody({{"refreshToken", tokens[i]}}));
        if (status != 200) break;
        tokens[i] = wire::decodeTokenPair(reply).refreshToken;
        ++refreshes;
      }
    });
  }
  // The client address may ask for 20 codes an hour; 8 went to the sessions above.
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 4 && !dead; ++n) {
        const std::string email =
            "g" + std::to_string(i) + "-" + std::to_string(n) + "@example.com";
        if (!registerAccount(*server, email)) break;
        const std::lock_guard lock(mutex);
        registered.push_back(email);
      }
    });
  }
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (refreshes < 200 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(1ms);
  }
  ::kill(server->pid(), SIGKILL);
  dead = true;
  for (std::thread& thread : threads) thread.join();
  server->kill();
  ASSERT_GE(registered.size(), 1u);

  server = std::make_unique<TrelvisServerProcess>(
      TrelvisServerProcess::Options{.dataDirectory = directory});
  const CommandResult check = server->run({"check"});
  EXPECT_EQ(check.exitStatus, 0) << check.standardOutput << check.standardError;

  for (const std::string& email : registered) {
    EXPECT_EQ(post(server->port(), "/v1/auth/login",
                   wire::requestBody({{"email", email}, {"password", "password-" + email}}))
                  .first,
              200)
        << email << " was acknowledged, then lost";
  }
  // The last token each refresher received is known: live, or spent by the refresh
  // that was in flight at the kill (then its reuse is recognised as such). A token
  // the server has never heard of would be a lost commit.
  for (int i = 0; i < kRefreshers; ++i) {
    const auto [status, reply] =
        post(server->port(), "/v1/auth/refresh", wire::requestBody({{"refreshToken", tokens[i]}}));
    if (status != 200) {
      EXPECT_EQ(status, 401);
      EXPECT_EQ(wire::decodeDetail(reply),
                "the refresh token was already used; the session is revoked")
          << "refresher " << i;
    }
  }
  EXPECT_EQ(server->terminate(), 0);
}

}  // namespace
}  // namespace trelvis
