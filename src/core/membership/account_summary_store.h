#pragma once

// AccountSummaryStore: the newest HomeSummary of the signed-in user, merged from
// its own fetches and from the summaries that enrollment, review feedback and
// removal replies carry (those callers take context() before their request and
// hand it back to apply()). It refreshes again, without polling, when the next
// review falls due. It never reports a failure: the home page shows the last
// numbers or nothing. Lives on the main executor; its tasks hold it weakly.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/async/async.h"
#include "base/async/task.h"
#include "base/signal.h"
#include "core/mainwindow/main_window_services.h"
#include "core/membership/home_summary.h"

namespace trelvis {

class Executor;
class HomeSummaryServing;

struct AccountSummaryContext {
  std::optional<std::string> userID;
  int64_t generation = 0;
  friend bool operator==(const AccountSummaryContext&, const AccountSummaryContext&) = default;
};

class AccountSummaryStore final : public AccountSummaryStoring,
                                  public std::enable_shared_from_this<AccountSummaryStore> {
 public:
  // The wall clock that review due dates are measured against.
  using WallClock = std::function<Timestamp()>;
  // The system's real-time clock.
  static Timestamp systemTime();
  // The soonest a due review wakes the store, so that a date in the past or a
  // clock a little ahead of the server's cannot make it fetch in a loop.
  static constexpr Duration kMinimumBoundaryDelay = std::chrono::milliseconds(500);

  AccountSummaryStore(std::shared_ptr<Executor> mainExecutor,
                      std::shared_ptr<HomeSummaryServing> service, WallClock wallClock);
  ~AccountSummaryStore() override;

  const std::optional<HomeSummary>& summary() const { return summary_; }
  // Emitted after `summary` changed.
  Signal<>& changed() { return changed_; }

  // The context that a reply carrying a summary must be applied with.
  AccountSummaryContext context() const { return {activeUserID_, generation_}; }

  // The user of every applied session; a new one forgets everything of the old.
  void activate(const std::optional<std::string>& userID) override;
  // Fetches until no request is left; returns when the running round has ended.
  Async<void> refresh();
  void requestRefresh() override;
  std::optional<int64_t> dueReviewCount() const override {
    return summary_ ? std::optional(summary_->dueReviewCount) : std::nullopt;
  }
  // A summary from any source. An absent, malformed or self-contradicting one
  // asks for a fetch instead; an older one is ignored.
  void apply(const std::optional<HomeSummary>& summary,
             const std::optional<AccountSummaryContext>& context);

 private:
  bool isCurrent(const AccountSummaryContext& context) const { return context == this->context(); }
  Task<void> joinRefresh();
  static Async<void> drainRefreshes(std::weak_ptr<AccountSummaryStore> weak,
                                    AccountSummaryContext context);
  void scheduleNextReviewBoundary(std::optional<Timestamp> dueAt,
                                  const AccountSummaryContext& context);

  std::shared_ptr<Executor> main_;
  WallClock wallClock_;
  std::optional<HomeSummary> summary_;
  std::shared_ptr<HomeSummaryServing> service_;
  Signal<> changed_;
  Task<void> refreshTask_;
  Task<void> nextReviewBoundaryTask_;
  std::optional<std::string> activeUserID_;
  int64_t generation_ = 0;
  bool refreshRequested_ = false;
};

}  // namespace trelvis
