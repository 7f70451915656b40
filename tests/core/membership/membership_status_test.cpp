#include "core/membership/membership_status.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "base/json_decode.h"

namespace trelvis {
namespace {

Timestamp at(std::string_view text) {
  return *parseIso8601(text);
}

const Timestamp kNow = at("2026-01-02T12:00:00Z");

MembershipStatus freeStatus() {
  return MembershipStatus{
      .plan = {MembershipPlanCode::free},
      .quota = {MembershipQuotaMode::metered, 90, 100, 10, at("2026-01-02T00:00:00Z"),
                at("2026-01-03T00:00:00Z")},
      .entitlement = {},
      .serverTime = kNow,
  };
}

MembershipStatus unlimited(MembershipPlanCode code, MembershipEntitlement entitlement) {
  return MembershipStatus{.plan = {code},
                          .quota = {.mode = MembershipQuotaMode::unlimited},
                          .entitlement = entitlement,
                          .serverTime = kNow};
}

MembershipStatus proStatus() {
  return unlimited(MembershipPlanCode::pro, {.proExpiresAt = at("2026-02-01T00:00:00Z")});
}

MembershipStatus seedStatus() {
  return unlimited(MembershipPlanCode::seed, {.seedGrantedAt = at("2025-06-01T00:00:00Z")});
}

// A change to one of the statuses above; the tables start from one and apply it.
using Change = std::function<void(MembershipStatus&)>;
const Change none = [](MembershipStatus&) {
};

TEST(MembershipStatusTest, OnlyAStatusWhoseFieldsAgreeWithItsPlanIsTrusted) {
  struct Case {
    const char* name;
    MembershipStatus (*base)();
    Change change;
    bool valid;
  };
  const Case cases[] = {
      {"free as reported", freeStatus, none, true},
      {"free, remaining off by one", freeStatus, [](auto& s) { s.quota.remaining = 11; }, false},
      {"free, over the limit with 0 left", freeStatus,
       [](auto& s) {
         s.quota.used = 120;
         s.quota.remaining = 0;
       },
       true},
      {"free, negative use", freeStatus,
       [](auto& s) {
         s.quota.used = -1;
         s.quota.remaining = 101;
       },
       false},
      {"free, limit 0", freeStatus,
       [](auto& s) {
         s.quota.used = 0;
         s.quota.limit = 0;
         s.quota.remaining = 0;
       },
       false},
      {"free, unlimited mode", freeStatus,
       [](auto& s) { s.quota.mode = MembershipQuotaMode::unlimited; }, false},
      {"free, no used", freeStatus, [](auto& s) { s.quota.used.reset(); }, false},
      {"free, no reset", freeStatus, [](auto& s) { s.quota.resetAt.reset(); }, false},
      {"free, period not begun", freeStatus,
       [](auto& s) { s.quota.periodStart = kNow + std::chrono::seconds(1); }, false},
      {"free, period begins now", freeStatus, [](auto& s) { s.quota.periodStart = kNow; }, true},
      {"free, period ends now", freeStatus, [](auto& s) { s.quota.resetAt = kNow; }, false},
      {"free, future pro expiry", freeStatus,
       [](auto& s) { s.entitlement.proExpiresAt = kNow + std::chrono::hours(1); }, false},
      {"free, pro expired now", freeStatus, [](auto& s) { s.entitlement.proExpiresAt = kNow; },
       true},
      {"free, seed granted", freeStatus,
       [](auto& s) { s.entitlement.seedGrantedAt = at("2025-01-01T00:00:00Z"); }, false},
      {"pro as reported", proStatus, none, true},
      {"pro expiring now", proStatus, [](auto& s) { s.entitlement.proExpiresAt = kNow; }, false},
      {"pro without expiry", proStatus, [](auto& s) { s.entitlement.proExpiresAt.reset(); }, false},
      {"pro, metered", proStatus, [](auto& s) { s.quota.mode = MembershipQuotaMode::metered; },
       false},
      {"pro with a limit", proStatus, [](auto& s) { s.quota.limit = 100; }, false},
      {"pro with a reset", proStatus, [](auto& s) { s.quota.resetAt = kNow; }, false},
      {"seed as reported", seedStatus, none, true},
      {"seed with used", seedStatus, [](auto& s) { s.quota.used = 0; }, false},
      {"seed without grant", seedStatus, [](auto& s) { s.entitlement.seedGrantedAt.reset(); },
       false},
      {"seed with live pro", seedStatus,
       [](auto& s) { s.entitlement.proExpiresAt = kNow + std::chrono::hours(1); }, false},
      {"seed with ended pro", seedStatus,
       [](auto& s) { s.entitlement.proExpiresAt = kNow - std::chrono::hours(1); }, true},
      {"seed with a period start", seedStatus, [](auto& s) { s.quota.periodStart = kNow; }, false},
  };
  for (const Case& c : cases) {
    MembershipStatus status = c.base();
    c.change(status);
    EXPECT_EQ(status.isValid(), c.valid) << c.name;
  }
}

TEST(MembershipStatusTest, DecodesTheServersRecordAndRefusesOthers) {
  const MembershipStatus decoded = decodeMembershipStatus(R"({
      "plan": {"code": "free"},
      "quota": {"mode": "metered", "used": 90, "limit": 100, "remaining": 10,
                "periodStart": "2026-01-02T00:00:00.000Z", "resetAt": "2026-01-03T00:00:00Z"},
      "entitlement": {},
      "serverTime": "2026-01-02T12:00:00.000Z"})");
  EXPECT_EQ(decoded, freeStatus());
  EXPECT_EQ(decodeMembershipStatus(R"({"plan":{"code":"pro"},"quota":{"mode":"unlimited"},
      "entitlement":{"proExpiresAt":"2026-02-01T00:00:00Z","seedGrantedAt":null},
      "serverTime":"2026-01-02T12:00:00Z"})"),
            proStatus());

  const char* refused[] = {
      R"({"plan":{"code":"gold"},"quota":{"mode":"unlimited"},"entitlement":{},
          "serverTime":"2026-01-02T12:00:00Z"})",
      R"({"plan":{"code":"free"},"quota":{"mode":"daily"},"entitlement":{},
          "serverTime":"2026-01-02T12:00:00Z"})",
      R"({"plan":{"code":"free"},"quota":{"mode":"metered"},"serverTime":"2026-01-02T12:00:00Z"})",
  };
  for (const char* body : refused) {
    EXPECT_THROW(decodeMembershipStatus(body), json::DecodeError) << body;
  }
}

TEST(MembershipStatusTest, TheQuotaMeterShowsOnlyForAKnownFreeQuota) {
  struct Case {
    const char* name;
    MembershipStatus (*base)();
    Change change;
    std::optional<FreeQuotaFooterPresentation> expected;
  };
  const Case cases[] = {
      {"free", freeStatus, none, FreeQuotaFooterPresentation{90, 100}},
      {"limit 1", freeStatus, [](auto& s) { s.quota.limit = 1; },
       FreeQuotaFooterPresentation{90, 1}},
      {"limit 0", freeStatus, [](auto& s) { s.quota.limit = 0; }, std::nullopt},
      {"no limit", freeStatus, [](auto& s) { s.quota.limit.reset(); }, std::nullopt},
      {"no used", freeStatus, [](auto& s) { s.quota.used.reset(); }, std::nullopt},
      {"pro with numbers", proStatus,
       [](auto& s) {
         s.quota.used = 1;
         s.quota.limit = 5;
       },
       std::nullopt},
  };
  for (const Case& c : cases) {
    MembershipStatus status = c.base();
    c.change(status);
    EXPECT_EQ(FreeQuotaFooterPresentation::make(status), c.expected) << c.name;
  }
  EXPECT_EQ(FreeQuotaFooterPresentation::make(std::nullopt), std::nullopt);
}

TEST(MembershipStatusTest, ThePricingPageFollowsTheInterfaceLanguage) {
  const Url english = MembershipPurchaseLink::url(AppLanguage::english);
  const Url chinese = MembershipPurchaseLink::url(AppLanguage::simplifiedChinese);
  EXPECT_EQ(english.path(), "/en/pricing/");
  EXPECT_EQ(chinese.path(), "/pricing/");
}

}  // namespace
}  // namespace trelvis
