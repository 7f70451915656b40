#pragma once

// The signed-in account's plan and translation quota as the server reports it,
// the rule by which a reported status is trusted, and the two small things the
// window derives from it: the free plan's quota meter and the link to the
// pricing page. Plain values; decoding lives in the .cpp.

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/enum_table.h"
#include "base/iso8601.h"
#include "base/url.h"
#include "core/localization/app_language.h"
#include "core/membership/membership_status_refreshing.h"
#include "core/membership/rest_client_error.h"

namespace trelvis {

enum class MembershipQuotaMode { metered, unlimited };
inline constexpr EnumTable<MembershipQuotaMode, 2> kMembershipQuotaModeNames{{
    {MembershipQuotaMode::metered, "metered"},
    {MembershipQuotaMode::unlimited, "unlimited"},
}};

struct MembershipPlan {
  MembershipPlanCode code = MembershipPlanCode::free;
  friend bool operator==(const MembershipPlan&, const MembershipPlan&) = default;
};

struct MembershipQuota {
  MembershipQuotaMode mode = MembershipQuotaMode::metered;
  std::optional<int64_t> used;
  std::optional<int64_t> limit;
  std::optional<int64_t> remaining;
  std::optional<Timestamp> periodStart;
  std::optional<Timestamp> resetAt;
  friend bool operator==(const MembershipQuota&, const MembershipQuota&) = default;
};

struct MembershipEntitlement {
  std::optional<Timestamp> proExpiresAt;
  std::optional<Timestamp> seedGrantedAt;
  friend bool operator==(const MembershipEntitlement&, const MembershipEntitlement&) = default;
};

struct MembershipStatus {
  MembershipPlan plan;
  MembershipQuota quota;
  MembershipEntitlement entitlement;
  // The server's clock when the status was made; every check of validity uses
  // it, never the local clock.
  Timestamp serverTime;

  // Whether the fields agree with the plan; a status that does not is never stored.
  bool isValid() const;

  friend bool operator==(const MembershipStatus&, const MembershipStatus&) = default;
};

// Raises json::DecodeError for anything that is not a status record.
MembershipStatus decodeMembershipStatus(std::string_view body);

struct MembershipStatusAPIErrorName {
  static constexpr std::string_view kName = "MembershipStatusAPIError";
};
using MembershipStatusAPIError = RestClientError<MembershipStatusAPIErrorName>;

// The sidebar's meter of the free plan.
struct FreeQuotaFooterPresentation {
  int64_t used = 0;
  int64_t limit = 0;

  // Only for a free plan whose used count and a limit of at least 1 are known.
  static std::optional<FreeQuotaFooterPresentation> make(
      const std::optional<MembershipStatus>& status);

  friend bool operator==(const FreeQuotaFooterPresentation&,
                         const FreeQuotaFooterPresentation&) = default;
};

namespace MembershipPurchaseLink {

// The pricing page of the product's website in the interface's language.
Url url(AppLanguage language);

}  // namespace MembershipPurchaseLink

}  // namespace trelvis
