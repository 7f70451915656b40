#include "server/http/replies.h"

#include "server/auth/account_service.h"
#include "server/membership/membership_service.h"

#include <nlohmann/json.hpp>

namespace trelvis::server {
namespace {

using Json = nlohmann::json;

std::string date(Timestamp time) {
  return formatIso8601(time, /*withFraction=*/true);
}

void putDate(Json& object, const char* key, const std::optional<Timestamp>& time) {
  if (time) object[key] = date(*time);
}

// Invalid UTF-8 cannot reach a body (inputs are checked), but a reply must never
// throw half way: replace rather than fail.
std::string dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string errorBody(std::string_view detail) {
  return dump(Json{{"detail", detail}});
}

std::string retryLaterBody(std::string_view detail, std::chrono::seconds retryAfter) {
  return dump(Json{{"detail", detail}, {"retryAfterSeconds", retryAfter.count()}});
}

std::string tokenPairBody(const TokenPair& pair) {
  return dump(Json{
      {"accessToken", pair.accessToken},
      {"refreshToken", pair.refreshToken},
      {"expiresIn", pair.expiresIn.count()},
      {"user", {{"id", pair.userId}, {"email", pair.email}}},
  });
}

std::string cooldownBody(int64_t seconds) {
  return dump(Json{{"cooldownSeconds", seconds}});
}

std::string emptyObjectBody() {
  return "{}";
}

std::string membershipStatusBody(const MembershipStatus& status) {
  Json quota = Json::object();
  if (status.quota) {
    quota = {
        {"mode", "metered"},
        {"used", status.quota->used},
        {"limit", status.quota->limit},
        {"remaining", status.quota->remaining},
        {"periodStart", date(status.quota->period.start)},
        {"resetAt", date(status.quota->period.end)},
    };
  } else {
    quota = {{"mode", "unlimited"}};
  }
  Json entitlement = Json::object();
  putDate(entitlement, "proExpiresAt", status.proExpiresAt);
  putDate(entitlement, "seedGrantedAt", status.seedGrantedAt);
  return dump(Json{
      {"plan", {{"code", toString(status.plan)}}},
      {"quota", std::move(quota)},
      {"entitlement", std::move(entitlement)},
      {"serverTime", date(status.serverTime)},
  });
}

std::string homeSummaryBody(const HomeSummary& summary) {
  Json body{
      {"lookupCount", summary.lookupCount},     {"savedCount", summary.savedCount},
      {"masteredCount", summary.masteredCount}, {"dueReviewCount", summary.dueReviewCount},
      {"snapshotAt", date(summary.snapshotAt)},
  };
  putDate(body, "nextReviewDueAt", summary.nextReviewDueAt);
  return dump(body);
}

std::string quotaExhaustedBody(const QuotaSnapshot& quota) {
  constexpr std::string_view kMessage = "The daily translation quota is used up";
  return dump(Json{
      {"message", kMessage},
      {"detail", kMessage},
      {"code", "translation_quota_exhausted"},
      {"retryable", false},
      {"quota",
       {
           {"used", quota.used},
           {"limit", quota.limit},
           {"remaining", quota.remaining},
           {"resetAt", date(quota.period.end)},
       }},
  });
}

}  // namespace trelvis::server
