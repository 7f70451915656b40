#include "core/membership/membership_status.h"

#include <algorithm>

#include "base/json_decode.h"

namespace trelvis {
namespace {

constexpr std::string_view kWebsite = "https://trelvis.mossgrove.me";

bool expiredOrAbsent(const std::optional<Timestamp>& proExpiresAt, Timestamp serverTime) {
  return !proExpiresAt || *proExpiresAt <= serverTime;
}

bool meteredNumbersAgree(const MembershipQuota& quota, Timestamp serverTime) {
  const int64_t used = *quota.used;
  const int64_t limit = *quota.limit;
  if (used < 0 || limit < 1) return false;
  if (*quota.remaining != std::max<int64_t>(limit - used, 0)) return false;
  return *quota.periodStart <= serverTime && serverTime < *quota.resetAt;
}

}  // namespace

MembershipPlanCode decodeJson(const json::Value& value, json::Tag<MembershipPlanCode>) {
  auto code = enumFromString(kMembershipPlanCodeNames, value.as<std::string>());
  if (!code) value.fail("unknown plan code");
  return *code;
}

MembershipQuotaMode decodeJson(const json::Value& value, json::Tag<MembershipQuotaMode>) {
  auto mode = enumFromString(kMembershipQuotaModeNames, value.as<std::string>());
  if (!mode) value.fail("unknown quota mode");
  return *mode;
}

MembershipPlan decodeJson(const json::ObjectReader& reader, json::Tag<MembershipPlan>) {
  return MembershipPlan{reader.required<MembershipPlanCode>("code")};
}

MembershipQuota decodeJson(const json::ObjectReader& reader, json::Tag<MembershipQuota>) {
  return MembershipQuota{
      .mode = reader.required<MembershipQuotaMode>("mode"),
      .used = reader.optional<int64_t>("used"),
      .limit = reader.optional<int64_t>("limit"),
      .remaining = reader.optional<int64_t>("remaining"),
      .periodStart = reader.optional<Timestamp>("periodStart"),
      .resetAt = reader.optional<Timestamp>("resetAt"),
  };
}

MembershipEntitlement decodeJson(const json::ObjectReader& reader,
                                 json::Tag<MembershipEntitlement>) {
  return MembershipEntitlement{
      .proExpiresAt = reader.optional<Timestamp>("proExpiresAt"),
      .seedGrantedAt = reader.optional<Timestamp>("seedGrantedAt"),
  };
}

MembershipStatus decodeJson(const json::ObjectReader& reader, json::Tag<MembershipStatus>) {
  return MembershipStatus{
      .plan = reader.required<MembershipPlan>("plan"),
      .quota = reader.required<MembershipQuota>("quota"),
      .entitlement = reader.required<MembershipEntitlement>("entitlement"),
      .serverTime = reader.required<Timestamp>("serverTime"),
  };
}

MembershipStatus decodeMembershipStatus(std::string_view body) {
  return json::decodeText<MembershipStatus>(body);
}

bool MembershipStatus::isValid() const {
  const bool numbers = quota.used && quota.limit && quota.remaining;
  const bool noNumbers = !quota.used && !quota.limit && !quota.remaining;
  const bool period = quota.periodStart && quota.resetAt;
  const bool noPeriod = !quota.periodStart && !quota.resetAt;
  const auto& proExpiresAt = entitlement.proExpiresAt;
  switch (plan.code) {
    case MembershipPlanCode::free:
      return quota.mode == MembershipQuotaMode::metered && numbers && period &&
             !entitlement.seedGrantedAt && expiredOrAbsent(proExpiresAt, serverTime) &&
             meteredNumbersAgree(quota, serverTime);
    case MembershipPlanCode::pro:
      return quota.mode == MembershipQuotaMode::unlimited && noNumbers && noPeriod &&
             proExpiresAt && *proExpiresAt > serverTime;
    case MembershipPlanCode::seed:
      return quota.mode == MembershipQuotaMode::unlimited && noNumbers && noPeriod &&
             entitlement.seedGrantedAt && expiredOrAbsent(proExpiresAt, serverTime);
  }
  return false;
}

std::optional<FreeQuotaFooterPresentation> FreeQuotaFooterPresentation::make(
    const std::optional<MembershipStatus>& status) {
  if (!status || status->plan.code != MembershipPlanCode::free) return std::nullopt;
  const auto& quota = status->quota;
  if (!quota.used || !quota.limit || *quota.limit < 1) return std::nullopt;
  return FreeQuotaFooterPresentation{*quota.used, *quota.limit};
}

Url MembershipPurchaseLink::url(AppLanguage language) {
  static const Url website = *Url::parse(kWebsite);
  return website.settingPath(language == AppLanguage::simplifiedChinese ? "/pricing/"
                                                                        : "/en/pricing/");
}

}  // namespace trelvis
