// Both membership clients against a scripted transport: what they send, and
// how each reply becomes a record or a case of the client's error.

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/membership/home_summary_api_client.h"
#include "core/membership/membership_status_api_client.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_http_transport.h"

namespace trelvis {
namespace {

constexpr const char* kStatusBody = R"({"plan":{"code":"seed"},"quota":{"mode":"unlimited"},
    "entitlement":{"seedGrantedAt":"2025-06-01T00:00:00Z"},"serverTime":"2026-01-02T12:00:00Z"})";
constexpr const char* kSummaryBody = R"({"lookupCount":7,"savedCount":3,"masteredCount":1,
    "dueReviewCount":2,"nextReviewDueAt":"2026-01-03T08:00:00.5Z",
    "snapshotAt":"2026-01-02T12:00:00Z"})";

class MembershipAPIClientsTest : public ::testing::Test {
 protected:
  // Fetches with `fetch` on the test's main executor and answers the requests
  // with `replies` (status 0: the transport fails); the outcome is "ok" or the
  // error's description.
  template <class Fetch>
  std::string outcome(Fetch fetch, std::vector<std::pair<int, std::string>> replies) {
    transport_ = std::make_shared<FakeHttpTransport>();
    tokens_ = std::make_shared<FakeAccessTokenProvider>();
    for (auto& [status, body] : replies) transport_->enqueueReply(status, body);
    auto task = spawn(main_, [&]() -> Async<std::string> {
      try {
        co_await fetch();
        co_return "ok";
      } catch (const std::exception& error) {
        co_return error.what();
      }
    });
    scheduler_.runUntilIdle();
    EXPECT_TRUE(task.isDone());
    return task.isDone() ? task.value() : "pending";
  }

  Async<MembershipStatus> fetchStatus() {
    co_return co_await MembershipStatusAPIClient(clientExecutor_, tokens_, transport_, base_)
        .fetch();
  }
  Async<HomeSummary> fetchSummary() {
    co_return co_await HomeSummaryAPIClient(clientExecutor_, tokens_, transport_, base_).fetch();
  }

  Url base_ = *Url::parse("https://api.test/trelvis//");
  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<Executor> clientExecutor_ = scheduler_.makeExecutor();
  std::shared_ptr<FakeAccessTokenProvider> tokens_ = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeHttpTransport> transport_;
};

TEST_F(MembershipAPIClientsTest, EachClientGetsItsRecordWithTheAppsHeaders) {
  struct Case {
    const char* path;
    std::function<Async<void>()> fetch;
    const char* body;
  };
  std::optional<MembershipStatus> status;
  std::optional<HomeSummary> summary;
  const Case cases[] = {
      {"/trelvis/v1/account/status",
       [&]() -> Async<void> { status = co_await fetchStatus(); }, kStatusBody},
      {"/trelvis/v1/home/summary",
       [&]() -> Async<void> { summary = co_await fetchSummary(); }, kSummaryBody},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    ASSERT_EQ(outcome(c.fetch, {{200, c.body}}), "ok");
    ASSERT_EQ(transport_->exchanges().size(), 1u);
    const HttpRequest& request = transport_->last().request();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.url.absoluteString(), std::string("https://api.test") + c.path);
    EXPECT_EQ(request.headers.get("Accept"), "application/json");
    EXPECT_EQ(request.headers.get("Authorization"), "Bearer token-1");
    EXPECT_TRUE(request.headers.contains("X-Trelvis-Platform"));
    EXPECT_EQ(request.timeout, std::chrono::seconds(30));
  }
  ASSERT_TRUE(status && summary);
  EXPECT_EQ(status->plan.code, MembershipPlanCode::seed);
  EXPECT_EQ(status->entitlement.seedGrantedAt, *parseIso8601("2025-06-01T00:00:00Z"));
  EXPECT_EQ(summary->lookupCount, 7);
  EXPECT_EQ(summary->nextReviewDueAt, *parseIso8601("2026-01-03T08:00:00.500Z"));
  EXPECT_EQ(summary->snapshotAt, *parseIso8601("2026-01-02T12:00:00Z"));
}

TEST_F(MembershipAPIClientsTest, BadRepliesBecomeTheClientsOwnCases) {
  // Each client reports the same case under its own error type. The records that
  // break a summary's own rules are of the wrong kind for the status client too.
  struct Case {
    const char* name;
    std::vector<std::pair<int, std::string>> replies;
    std::string error;
  };
  const Case cases[] = {
      {"not JSON", {{200, "<html>"}}, "invalidResponse"},
      {"a record of the other kind", {{200, R"({"lookupCount":1})"}}, "invalidResponse"},
      {"more mastered than saved",
       {{200, R"({"lookupCount":0,"savedCount":3,"masteredCount":4,"dueReviewCount":0,
                  "snapshotAt":"2026-01-02T12:00:00Z"})"}},
       "invalidResponse"},
      {"more due than saved",
       {{200, R"({"lookupCount":0,"savedCount":3,"masteredCount":0,"dueReviewCount":4,
                  "snapshotAt":"2026-01-02T12:00:00Z"})"}},
       "invalidResponse"},
      {"a negative count",
       {{200, R"({"lookupCount":-1,"savedCount":3,"masteredCount":0,"dueReviewCount":0,
                  "snapshotAt":"2026-01-02T12:00:00Z"})"}},
       "invalidResponse"},
      {"a server error", {{503, "busy"}}, "http(503)"},
      {"refused twice", {{401, ""}, {401, ""}}, "unauthenticated"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(outcome([&] { return fetchStatus(); }, c.replies),
              "MembershipStatusAPIError." + c.error);
    EXPECT_EQ(outcome([&] { return fetchSummary(); }, c.replies), "HomeSummaryAPIError." + c.error);
  }
}

}  // namespace
}  // namespace trelvis
