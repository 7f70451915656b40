#pragma once

// MembershipService: an account's plan in force, its translation quota, and the
// counts of its home page. Plans: `free` is metered, a configurable number of
// translations per day, the day starting at midnight UTC; `pro` is unlimited until
// its expiry, after which the account is metered again; `seed` is unlimited, granted.
//
// The ledger lives in the Store: every started translation is charged once, and a
// metered account's charge is refused when its day is used up. Charging is atomic
// across server processes, so a quota holds however many processes serve it.
// Thread-safe.

#include <cstdint>
#include <optional>

#include "server/store/store.h"
#include "server/wall_clock.h"

namespace trelvis::server {

struct QuotaPeriod {
  Timestamp start;  // midnight UTC
  Timestamp end;    // the next midnight
};

// The quota day that `now` falls in.
QuotaPeriod quotaPeriod(Timestamp now);

// The plan in force at `now`: an expired pro grant counts as free.
PlanCode planInForce(const PlanGrant& grant, Timestamp now);

struct QuotaSnapshot {
  int64_t used = 0;
  int64_t limit = 0;
  int64_t remaining = 0;  // limit - used, never below 0
  QuotaPeriod period;
};

struct MembershipStatus {
  PlanCode plan = PlanCode::free;
  // Present for a metered plan only.
  std::optional<QuotaSnapshot> quota;
  std::optional<Timestamp> proExpiresAt;
  std::optional<Timestamp> seedGrantedAt;
  Timestamp serverTime;
};

struct HomeSummary {
  int64_t lookupCount = 0;
  int64_t savedCount = 0;
  int64_t masteredCount = 0;
  int64_t dueReviewCount = 0;
  std::optional<Timestamp> nextReviewDueAt;
  Timestamp snapshotAt;
};

struct TranslationChargeResult {
  bool charged = false;
  // The metered quota after the attempt; absent for unlimited plans.
  std::optional<QuotaSnapshot> quota;
  // The quota day charged, which a refund gives back to even after midnight.
  Timestamp periodStart;
};

class MembershipService {
 public:
  MembershipService(Store& store, WallClock clock, int64_t freeTranslationsPerDay);

  MembershipStatus status(const UserRecord& user);
  HomeSummary summary(const UserRecord& user);
  // One charge per started translation; a refused charge means the quota is used up.
  TranslationChargeResult chargeTranslation(const UserRecord& user);
  // Gives back a charge that bought nothing (the translation failed before it gave
  // anything).
  void refundTranslation(const UserRecord& user, const TranslationChargeResult& charge);

 private:
  QuotaSnapshot snapshot(int64_t used, const QuotaPeriod& period) const;

  Store& store_;
  WallClock clock_;
  int64_t freeTranslationsPerDay_;
};

}  // namespace trelvis::server
