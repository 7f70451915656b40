// The status store over the real status client and a scripted transport, on
// virtual time.

#include "core/membership/membership_status_store.h"

#include <algorithm>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/membership/membership_status_api_client.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_http_transport.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

// A valid free status with `used` of 100 at 12:00:<second>.
std::string freeBody(int used, int second) {
  return fmt::format(
      R"({{"plan":{{"code":"free"}},"quota":{{"mode":"metered","used":{},"limit":100,
          "remaining":{},"periodStart":"2026-01-02T00:00:00Z","resetAt":"2026-01-03T00:00:00Z"}},
          "entitlement":{{}},"serverTime":"2026-01-02T12:00:{:02}Z"}})",
      used, std::max(100 - used, 0), second);
}

class MembershipStatusStoreTest : public ::testing::Test {
 protected:
  MembershipStatusStoreTest() {
    store_->onStatusChanged = [this](const std::optional<MembershipStatus>& status) {
      changes_.push_back(status ? std::to_string(*status->quota.used) : "none");
    };
  }

  std::size_t requests() const { return transport_->exchanges().size(); }

  // Answers request `index` (counting from 0) and lets everything run.
  void answer(std::size_t index, int status, const std::string& body) {
    ASSERT_LT(index, requests());
    auto& exchange = *transport_->exchanges()[index];
    ASSERT_TRUE(exchange.isPending());
    exchange.respond(status);
    exchange.sendBody(body);
    exchange.finishBody();
    scheduler_.runUntilIdle();
  }

  std::optional<int64_t> used() const {
    return store_->status() ? store_->status()->quota.used : std::nullopt;
  }

  void signIn(const std::string& user) {
    store_->activate(user);
    store_->requestRefresh();
    scheduler_.runUntilIdle();
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeAccessTokenProvider> tokens_ = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeHttpTransport> transport_ = std::make_shared<FakeHttpTransport>();
  std::shared_ptr<MembershipStatusStore> store_ = std::make_shared<MembershipStatusStore>(
      main_,
      std::make_shared<MembershipStatusAPIClient>(scheduler_.makeExecutor(), tokens_, transport_,
                                                  *Url::parse("https://api.test/trelvis")));
  std::vector<std::string> changes_;
};

// An awaited refresh ends only after the round that serves it.
TEST_F(MembershipStatusStoreTest, RequestsDuringAFetchCoalesceIntoOneMoreRound) {
  signIn("ann");
  ASSERT_EQ(requests(), 1u);
  EXPECT_TRUE(store_->isRefreshing());
  std::vector<std::string> log;
  auto waiter = spawn(main_, [&]() -> Async<void> {
    co_await store_->refresh();
    log.push_back("refreshed with " + std::to_string(used().value_or(-1)));
  });
  for (int i = 0; i < 3; ++i) store_->requestRefresh();
  scheduler_.runUntilIdle();
  EXPECT_EQ(requests(), 1u);  // still the first fetch

  answer(0, 200, freeBody(10, 1));
  EXPECT_EQ(used(), 10);
  EXPECT_TRUE(log.empty());
  ASSERT_EQ(requests(), 2u);  // one more round for the four requests
  EXPECT_TRUE(store_->isRefreshing());
  answer(1, 200, freeBody(11, 2));
  EXPECT_EQ(requests(), 2u);
  EXPECT_FALSE(store_->isRefreshing());
  EXPECT_EQ(log, (std::vector<std::string>{"refreshed with 11"}));
  EXPECT_EQ(store_->currentPlan(), MembershipPlanCode::free);
  EXPECT_EQ(changes_, (std::vector<std::string>{"none", "10", "11"}));
}

TEST_F(MembershipStatusStoreTest, OnlyANewerTrustedStatusReplacesTheStoredOne) {
  signIn("ann");
  answer(0, 200, freeBody(10, 5));
  struct Case {
    const char* name;
    int status;
    std::string body;
    int64_t used;
    bool failed;
  };
  const Case cases[] = {
      {"same server time, other numbers", 200, freeBody(20, 5), 10, false},
      {"older", 200, freeBody(30, 4), 10, false},
      {"invalid", 200, R"({"plan":{"code":"pro"},"quota":{"mode":"unlimited"},"entitlement":{},
                           "serverTime":"2026-01-02T12:00:09Z"})",
       10, true},
      {"server error", 500, "", 10, true},
      {"newer", 200, freeBody(40, 6), 40, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    store_->requestRefresh();
    scheduler_.runUntilIdle();
    answer(requests() - 1, c.status, c.body);
    EXPECT_EQ(used(), c.used);
    EXPECT_EQ(store_->lastRefreshFailed(), c.failed);
    EXPECT_FALSE(store_->isRefreshing());
  }
  EXPECT_EQ(changes_, (std::vector<std::string>{"none", "10", "40"}));
}

TEST_F(MembershipStatusStoreTest, AReplyForAnotherUserLandsNowhere) {
  signIn("ann");
  const auto annContext = store_->activeContext();
  store_->activate(std::nullopt);  // signed out during the fetch
  EXPECT_TRUE(transport_->last().isCancelled());
  EXPECT_FALSE(store_->isRefreshing());
  EXPECT_EQ(store_->activeContext(), std::nullopt);

  // What was begun for ann does nothing now, nor once bob is signed in.
  store_->apply(decodeMembershipStatus(freeBody(10, 1)), *annContext);
  store_->requestRefreshAfterTranslation(annContext);
  store_->requestRefresh();
  scheduler_.advanceBy(1s);
  EXPECT_EQ(requests(), 1u);
  EXPECT_EQ(used(), std::nullopt);

  signIn("bob");
  // A failure of bob's fetch already on its way when the user changes.
  auto& pending = transport_->last();
  pending.respond(500);
  pending.finishBody();
  store_->activate("carol");
  scheduler_.runUntilIdle();
  EXPECT_FALSE(store_->lastRefreshFailed());
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  ASSERT_EQ(requests(), 3u);
  answer(2, 200, freeBody(2, 1));
  store_->requestRefreshAfterTranslation(annContext);
  scheduler_.advanceBy(1s);
  EXPECT_EQ(requests(), 3u);
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  answer(3, 200, freeBody(3, 2));
  EXPECT_EQ(used(), 3);
  store_->apply(decodeMembershipStatus(freeBody(50, 9)), *annContext);
  EXPECT_EQ(used(), 3);
}

TEST_F(MembershipStatusStoreTest, ABurstOfTranslationsRefreshesOnceHalfASecondAfterTheLast) {
  signIn("ann");
  answer(0, 200, freeBody(10, 1));
  const auto context = store_->activeContext();
  for (int i = 0; i < 3; ++i) {
    store_->requestRefreshAfterTranslation(context);
    scheduler_.advanceBy(200ms);
  }
  EXPECT_EQ(requests(), 1u);
  scheduler_.advanceBy(299ms);
  EXPECT_EQ(requests(), 1u);
  scheduler_.advanceBy(1ms);
  ASSERT_EQ(requests(), 2u);
  answer(1, 200, freeBody(13, 2));
  EXPECT_EQ(used(), 13);

  // A refresh on demand in between takes over the pending one.
  store_->requestRefreshAfterTranslation(context);
  scheduler_.advanceBy(200ms);
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  EXPECT_EQ(requests(), 3u);
  answer(2, 200, freeBody(14, 3));
  scheduler_.advanceBy(1s);
  EXPECT_EQ(requests(), 3u);
}

}  // namespace
}  // namespace trelvis
