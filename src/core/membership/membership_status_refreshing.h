#pragma once

// MembershipStatusRefreshing: what the translation pipelines and the composition
// root ask of the membership status store: the context a translation starts
// in, a refresh of the quota once it has ended, a refresh on demand, and the
// current plan. The store lives on the main thread; a context from before a
// change of user refreshes nothing.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/enum_table.h"

namespace trelvis {

enum class MembershipPlanCode { free, pro, seed };
inline constexpr EnumTable<MembershipPlanCode, 3> kMembershipPlanCodeNames{{
    {MembershipPlanCode::free, "free"},
    {MembershipPlanCode::pro, "pro"},
    {MembershipPlanCode::seed, "seed"},
}};
constexpr std::string_view toString(MembershipPlanCode code) {
  return enumToString(kMembershipPlanCodeNames, code);
}

// The active user and the store's generation at one moment.
struct MembershipStatusContext {
  std::optional<std::string> activeUserID;
  int64_t generation = 0;
  friend bool operator==(const MembershipStatusContext&, const MembershipStatusContext&) = default;
};

class MembershipStatusRefreshing {
 public:
  virtual ~MembershipStatusRefreshing() = default;

  // The context now, when a user is signed in.
  virtual std::optional<MembershipStatusContext> activeContext() const = 0;
  // A translation that started in `context` has ended; its quota use shows shortly.
  virtual void requestRefreshAfterTranslation(
      const std::optional<MembershipStatusContext>& context) = 0;
  virtual void requestRefresh() = 0;
  // The plan of the latest trusted status.
  virtual std::optional<MembershipPlanCode> currentPlan() const = 0;
};

}  // namespace trelvis
