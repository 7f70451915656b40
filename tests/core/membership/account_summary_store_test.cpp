// The summary store over the real summary client and a scripted transport, on
// virtual time; its wall clock runs with the virtual one.

#include "core/membership/account_summary_store.h"

#include <string>
#include <vector>

#include <fmt/core.h>
#include <gtest/gtest.h>

#include "base/async/test_scheduler.h"
#include "core/membership/home_summary_api_client.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_http_transport.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

const Timestamp kStart = *parseIso8601("2026-01-02T12:00:00Z");

HomeSummary summary(int64_t saved, int64_t mastered, Duration snapshotAfterStart,
                    std::optional<Timestamp> nextReviewDueAt = std::nullopt) {
  return HomeSummary{
      .lookupCount = 5,
      .savedCount = saved,
      .masteredCount = mastered,
      .dueReviewCount = 0,
      .nextReviewDueAt = nextReviewDueAt,
      .snapshotAt = kStart + std::chrono::floor<std::chrono::milliseconds>(snapshotAfterStart)};
}

std::string body(int64_t saved, int second) {
  return fmt::format(
      R"({{"lookupCount":5,"savedCount":{},"masteredCount":0,"dueReviewCount":0,
          "snapshotAt":"2026-01-02T12:00:{:02}Z"}})",
      saved, second);
}

class AccountSummaryStoreTest : public ::testing::Test {
 protected:
  std::size_t requests() const { return transport_->exchanges().size(); }

  void answer(std::size_t index, const std::string& reply) {
    ASSERT_LT(index, requests());
    auto& exchange = *transport_->exchanges()[index];
    ASSERT_TRUE(exchange.isPending());
    exchange.respond(200);
    exchange.sendBody(reply);
    exchange.finishBody();
    scheduler_.runUntilIdle();
  }

  std::optional<int64_t> saved() const {
    return store_->summary() ? std::optional(store_->summary()->savedCount) : std::nullopt;
  }

  TestScheduler scheduler_;
  const Instant origin_ = scheduler_.now();
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeAccessTokenProvider> tokens_ = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeHttpTransport> transport_ = std::make_shared<FakeHttpTransport>();
  std::shared_ptr<AccountSummaryStore> store_ = std::make_shared<AccountSummaryStore>(
      main_,
      std::make_shared<HomeSummaryAPIClient>(scheduler_.makeExecutor(), tokens_, transport_,
                                             *Url::parse("https://api.test/trelvis")),
      [this] {
        return kStart + std::chrono::floor<std::chrono::milliseconds>(scheduler_.now() - origin_);
      });
};

TEST_F(AccountSummaryStoreTest, TheNewestTrustedSnapshotWinsAndDoubtsAskTheServer) {
  store_->activate("ann");
  const auto ann = store_->context();
  store_->apply(summary(3, 1, 5s), ann);
  ASSERT_EQ(saved(), 3);

  struct Case {
    const char* name;
    std::optional<HomeSummary> summary;
    std::optional<AccountSummaryContext> context;
    int64_t saved;
    bool fetches;
  };
  const Case cases[] = {
      {"more mastered than saved", summary(3, 4, 9s), ann, 3, true},
      {"a reply without numbers", std::nullopt, ann, 3, true},
      {"older", summary(8, 1, 4s), ann, 3, false},
      {"the same again", summary(3, 1, 5s), ann, 3, false},
      {"the same moment, other counts", summary(9, 1, 5s), ann, 3, true},
      {"no context", summary(8, 1, 9s), std::nullopt, 3, false},
      {"a context without user", summary(8, 1, 9s), AccountSummaryContext{std::nullopt, 1}, 3,
       false},
      {"the previous generation", summary(8, 1, 9s), AccountSummaryContext{"ann", 0}, 3, false},
      {"newer", summary(4, 1, 6s), ann, 4, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::size_t before = requests();
    store_->apply(c.summary, c.context);
    scheduler_.runUntilIdle();
    EXPECT_EQ(saved(), c.saved);
    EXPECT_EQ(requests() - before, c.fetches ? 1u : 0u);
    // A fetched reply older than what is stored changes nothing.
    if (c.fetches) answer(requests() - 1, body(1, 0));
    EXPECT_EQ(saved(), c.saved);
  }
}

TEST_F(AccountSummaryStoreTest, AUserSwitchDropsWhatWasBegunForThePreviousUser) {
  store_->activate("ann");
  const auto ann = store_->context();
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  ASSERT_EQ(requests(), 1u);

  store_->activate("bob");
  EXPECT_TRUE(transport_->last().isCancelled());
  store_->apply(summary(7, 0, 9s), ann);
  EXPECT_EQ(saved(), std::nullopt);

  store_->requestRefresh();
  scheduler_.runUntilIdle();
  answer(1, body(2, 3));
  EXPECT_EQ(saved(), 2);

  store_->activate(std::nullopt);
  EXPECT_EQ(saved(), std::nullopt);
  store_->apply(summary(9, 0, 9s), store_->context());  // nobody's numbers are kept
  EXPECT_EQ(saved(), std::nullopt);
  store_->requestRefresh();
  scheduler_.advanceBy(1min);
  EXPECT_EQ(requests(), 2u);
}

TEST_F(AccountSummaryStoreTest, AFailedFetchKeepsTheNumbersAndConcurrentRequestsCoalesce) {
  store_->activate("ann");
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  answer(0, body(2, 1));
  for (int i = 0; i < 3; ++i) store_->requestRefresh();
  scheduler_.runUntilIdle();
  ASSERT_EQ(requests(), 2u);
  store_->requestRefresh();
  store_->requestRefresh();
  scheduler_.runUntilIdle();
  transport_->exchanges()[1]->respond(503);
  transport_->exchanges()[1]->finishBody();
  scheduler_.runUntilIdle();
  EXPECT_EQ(saved(), 2);
  ASSERT_EQ(requests(), 3u);  // one more round for the two that came during the fetch
  answer(2, body(4, 2));
  EXPECT_EQ(saved(), 4);
  EXPECT_EQ(requests(), 3u);
}

TEST_F(AccountSummaryStoreTest, TheStoreWakesWhenTheNextReviewFallsDue) {
  store_->activate("ann");
  const auto ann = store_->context();
  struct Case {
    const char* name;
    Duration dueFromNow;
    Duration wake;
  };
  const Case cases[] = {
      {"in ten seconds", 10s, 10s},
      {"in the past", -1h, 500ms},
  };
  Duration snapshot = 1s;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Timestamp now =
        kStart + std::chrono::floor<std::chrono::milliseconds>(scheduler_.now() - origin_);
    snapshot += 1min;
    store_->apply(
        summary(3, 0, snapshot, now + std::chrono::floor<std::chrono::milliseconds>(c.dueFromNow)),
        ann);
    const std::size_t before = requests();
    scheduler_.advanceBy(c.wake - 1ms);
    EXPECT_EQ(requests(), before);
    scheduler_.advanceBy(1ms);
    ASSERT_EQ(requests(), before + 1);
    answer(requests() - 1, body(3, 0));  // older: changes nothing
  }

  // A summary without a due review cancels the pending wake.
  store_->apply(summary(3, 0, snapshot + 1min, kStart + 24h), ann);
  store_->apply(summary(3, 0, snapshot + 2min), ann);
  const std::size_t before = requests();
  scheduler_.advanceBy(25h);
  EXPECT_EQ(requests(), before);
}

}  // namespace
}  // namespace trelvis
