// Plans, quota days and the ledger on a real SQLite store with a clock the test
// moves; the replies are read by the client's own rules (the membership status by
// its rules of trust, the quota refusal by the lookup client's decoder).

#include "server/membership/membership_service.h"

#include <gtest/gtest.h>

#include "base/json_decode.h"
#include "core/lookup/lookup_decoding.h"
#include "core/lookup/lookup_error.h"
#include "core/membership/home_summary.h"
#include "core/membership/membership_status.h"
#include "server/http/replies.h"
#include "server/store/open_store.h"
#include "support/temp_directory.h"

namespace trelvis::server {
namespace {

using namespace std::chrono_literals;

Timestamp at(std::string_view iso) {
  return *parseIso8601(iso);
}

class MembershipServiceTest : public ::testing::Test {
 protected:
  MembershipServiceTest() { EXPECT_TRUE(store_->insertUser(ann_)); }

  // The status as the client reads it; fails the test when the client would not
  // trust it.
  trelvis::MembershipStatus clientStatus() {
    const std::string body = membershipStatusBody(membership_.status(ann_));
    const trelvis::MembershipStatus status = decodeMembershipStatus(body);
    EXPECT_TRUE(status.isValid()) << body;
    return status;
  }

  trelvis::testing::TempDirectory directory_;
  std::unique_ptr<Store> store_ = openStore("sqlite:" + (directory_.path() / "db").string(), 4);
  Timestamp now_ = at("2026-03-01T23:59:59.999Z");
  MembershipService membership_{*store_, [this] { return now_; }, 3};
  UserRecord ann_{"ann", "ann@example.com", "hash", {}, at("2026-01-01T00:00:00Z")};
};

TEST_F(MembershipServiceTest, AFreeDayRunsFromMidnightToMidnightUtc) {
  trelvis::MembershipStatus status = clientStatus();
  EXPECT_EQ(status.plan.code, MembershipPlanCode::free);
  EXPECT_EQ(status.quota.periodStart, at("2026-03-01T00:00:00Z"));
  EXPECT_EQ(status.quota.resetAt, at("2026-03-02T00:00:00Z"));
  EXPECT_EQ(status.quota.remaining, 3);

  TranslationChargeResult lastOfTheDay;
  for (int i = 0; i < 3; ++i) {
    lastOfTheDay = membership_.chargeTranslation(ann_);
    EXPECT_TRUE(lastOfTheDay.charged);
  }
  const TranslationChargeResult refused = membership_.chargeTranslation(ann_);
  EXPECT_FALSE(refused.charged);
  EXPECT_EQ(clientStatus().quota.remaining, 0);

  // The refusal as the lookup client reads a 429 body: a quota failure whose
  // snapshot it trusts.
  const auto failure = json::decodeText<LookupStreamFailure>(quotaExhaustedBody(*refused.quota));
  const LookupError error =
      LookupError::fromTransport(LookupTransportError::quotaExhausted(failure));
  EXPECT_EQ(error.code(), LookupErrorCode::translationQuotaExhausted);
  ASSERT_TRUE(error.quota()) << "the client dropped the snapshot as implausible";
  EXPECT_EQ(error.quota()->used, 3);
  EXPECT_EQ(error.quota()->remaining, 0);
  EXPECT_EQ(error.quota()->resetAt, at("2026-03-02T00:00:00Z"));

  now_ += 1ms;  // midnight: a new day with a fresh quota
  status = clientStatus();
  EXPECT_EQ(status.quota.periodStart, at("2026-03-02T00:00:00Z"));
  EXPECT_EQ(status.quota.used, 0);
  EXPECT_TRUE(membership_.chargeTranslation(ann_).charged);
  EXPECT_EQ(membership_.summary(ann_).lookupCount, 4);

  // A refund after midnight goes to the day that was charged, not to the new one;
  // a refused charge has nothing to give back.
  membership_.refundTranslation(ann_, lastOfTheDay);
  membership_.refundTranslation(ann_, refused);
  EXPECT_EQ(clientStatus().quota.used, 1);
  EXPECT_EQ(membership_.summary(ann_).lookupCount, 3);
}

TEST_F(MembershipServiceTest, ProIsUnlimitedUntilItExpiresAndSeedIsUnlimited) {
  ann_.plan = {PlanCode::pro, at("2026-03-02T00:00:00Z"), std::nullopt};
  EXPECT_EQ(clientStatus().plan.code, MembershipPlanCode::pro);
  for (int i = 0; i < 5; ++i) {
    const TranslationChargeResult charge = membership_.chargeTranslation(ann_);
    EXPECT_TRUE(charge.charged);
    EXPECT_FALSE(charge.quota);
  }

  now_ += 1ms;  // the grant ends exactly now: metered again, and charged again
  const trelvis::MembershipStatus lapsed = clientStatus();
  EXPECT_EQ(lapsed.plan.code, MembershipPlanCode::free);
  EXPECT_EQ(lapsed.entitlement.proExpiresAt, at("2026-03-02T00:00:00Z"));
  EXPECT_TRUE(membership_.chargeTranslation(ann_).charged);

  ann_.plan = {PlanCode::seed, std::nullopt, at("2026-02-01T00:00:00Z")};
  const trelvis::MembershipStatus seed = clientStatus();
  EXPECT_EQ(seed.plan.code, MembershipPlanCode::seed);
  EXPECT_EQ(seed.entitlement.seedGrantedAt, at("2026-02-01T00:00:00Z"));

  // A free account that still carries a future grant must not send it.
  ann_.plan = {PlanCode::free, at("2027-01-01T00:00:00Z"), std::nullopt};
  EXPECT_EQ(clientStatus().entitlement.proExpiresAt, std::nullopt);
  const trelvis::HomeSummary summary =
      decodeHomeSummary(homeSummaryBody(membership_.summary(ann_)));
  EXPECT_TRUE(summary.isWellFormed());
  EXPECT_EQ(summary.lookupCount, 6);
  EXPECT_EQ(summary.snapshotAt, now_);
}

}  // namespace
}  // namespace trelvis::server
