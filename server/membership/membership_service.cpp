#include "server/membership/membership_service.h"

#include <algorithm>
#include <utility>

namespace trelvis::server {

QuotaPeriod quotaPeriod(Timestamp now) {
  const auto start = std::chrono::floor<std::chrono::days>(now);
  return QuotaPeriod{Timestamp(start), Timestamp(start + std::chrono::days(1))};
}

PlanCode planInForce(const PlanGrant& grant, Timestamp now) {
  if (grant.code == PlanCode::pro && (!grant.proExpiresAt || *grant.proExpiresAt <= now)) {
    return PlanCode::free;
  }
  return grant.code;
}

MembershipService::MembershipService(Store& store, WallClock clock, int64_t freeTranslationsPerDay)
    : store_(store), clock_(std::move(clock)), freeTranslationsPerDay_(freeTranslationsPerDay) {}

QuotaSnapshot MembershipService::snapshot(int64_t used, const QuotaPeriod& period) const {
  return QuotaSnapshot{
      .used = used,
      .limit = freeTranslationsPerDay_,
      .remaining = std::max<int64_t>(freeTranslationsPerDay_ - used, 0),
      .period = period,
  };
}

MembershipStatus MembershipService::status(const UserRecord& user) {
  const Timestamp now = clock_();
  MembershipStatus status{.plan = planInForce(user.plan, now), .serverTime = now};
  switch (status.plan) {
    case PlanCode::free: {
      const QuotaPeriod period = quotaPeriod(now);
      status.quota = snapshot(store_.translationsInPeriod(user.id, period.start), period);
      // An expired grant is still shown: it tells the client when pro ended. A
      // future one on a free account would contradict the plan, so it is not.
      if (user.plan.proExpiresAt && *user.plan.proExpiresAt <= now) {
        status.proExpiresAt = user.plan.proExpiresAt;
      }
      break;
    }
    case PlanCode::pro:
      status.proExpiresAt = user.plan.proExpiresAt;
      break;
    case PlanCode::seed:
      status.seedGrantedAt = user.plan.seedGrantedAt.value_or(user.createdAt);
      break;
  }
  return status;
}

HomeSummary MembershipService::summary(const UserRecord& user) {
  // Saved, mastered and due words belong to the learning records, which do not
  // exist yet: an account has none.
  return HomeSummary{.lookupCount = store_.translationCount(user.id), .snapshotAt = clock_()};
}

TranslationChargeResult MembershipService::chargeTranslation(const UserRecord& user) {
  const Timestamp now = clock_();
  const QuotaPeriod period = quotaPeriod(now);
  if (planInForce(user.plan, now) != PlanCode::free) {
    store_.chargeTranslation(user.id, period.start, std::nullopt);
    return TranslationChargeResult{.charged = true, .periodStart = period.start};
  }
  const TranslationCharge charge =
      store_.chargeTranslation(user.id, period.start, freeTranslationsPerDay_);
  return TranslationChargeResult{.charged = charge.charged,
                                 .quota = snapshot(charge.used, period),
                                 .periodStart = period.start};
}

void MembershipService::refundTranslation(const UserRecord& user,
                                          const TranslationChargeResult& charge) {
  if (charge.charged) store_.refundTranslation(user.id, charge.periodStart);
}

}  // namespace trelvis::server
