#pragma once

// MembershipStatusStore: the latest trusted membership status of the signed-in
// user, behind the quota meter, the export gate, the settings page's membership
// card and the plan in analytics. It refreshes when a user becomes active (the
// composition root calls activate and then requestRefresh), on demand, and half
// a second after the last of a burst of finished translations. Requests during a
// fetch coalesce into one more fetch; a change of user (activate) makes every
// reply begun for the previous one land nowhere. Lives on the main executor;
// its tasks hold it weakly.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/async/async.h"
#include "base/async/task.h"
#include "base/signal.h"
#include "core/mainwindow/main_window_services.h"
#include "core/membership/membership_status.h"
#include "core/membership/membership_status_refreshing.h"

namespace trelvis {

class Executor;
class MembershipStatusServing;

class MembershipStatusStore final : public MembershipStatusRefreshing,
                                    public MembershipStoreActivating,
                                    public std::enable_shared_from_this<MembershipStatusStore> {
 public:
  static constexpr Duration kTranslationRefreshDelay = std::chrono::milliseconds(500);

  MembershipStatusStore(std::shared_ptr<Executor> mainExecutor,
                        std::shared_ptr<MembershipStatusServing> service,
                        Duration translationRefreshDelay = kTranslationRefreshDelay);
  ~MembershipStatusStore() override;

  const std::optional<MembershipStatus>& status() const { return status_; }
  bool isRefreshing() const { return isRefreshing_; }
  bool lastRefreshFailed() const { return lastRefreshFailed_; }
  // Emitted after any of the three observable fields above changed.
  Signal<>& changed() { return changed_; }

  // Called with the status each time `status` is assigned, absent after a change
  // of user included.
  std::function<void(const std::optional<MembershipStatus>&)> onStatusChanged;

  // The user of every applied session; a new one forgets everything of the old.
  void activate(const std::optional<std::string>& userID) override;
  // Fetches until no request is left; returns when the running round has ended.
  Async<void> refresh();
  // Stores `status` if it is valid, `context` is current and it is newer than the
  // stored one.
  void apply(const MembershipStatus& status, const MembershipStatusContext& context);

  // MembershipStatusRefreshing
  std::optional<MembershipStatusContext> activeContext() const override;
  void requestRefreshAfterTranslation(
      const std::optional<MembershipStatusContext>& context) override;
  void requestRefresh() override;
  std::optional<MembershipPlanCode> currentPlan() const override;

 private:
  MembershipStatusContext context() const { return {activeUserID_, generation_}; }
  bool isCurrent(const MembershipStatusContext& context) const;
  // Starts the draining task or asks the running one for one more round, and
  // gives the task to wait for; none without a user.
  Task<void> joinRefresh();
  static Async<void> drainRefreshes(std::weak_ptr<MembershipStatusStore> weak,
                                    MembershipStatusContext context);
  void setStatus(std::optional<MembershipStatus> status);
  void setFlags(bool isRefreshing, bool lastRefreshFailed);

  std::shared_ptr<Executor> main_;
  std::optional<MembershipStatus> status_;
  bool isRefreshing_ = false;
  bool lastRefreshFailed_ = false;
  std::shared_ptr<MembershipStatusServing> service_;
  Signal<> changed_;
  Task<void> refreshTask_;
  Task<void> translationRefreshTask_;
  Duration translationRefreshDelay_;
  bool refreshRequested_ = false;
  std::optional<std::string> activeUserID_;
  int64_t generation_ = 0;
};

}  // namespace trelvis
