#include "core/membership/account_summary_store.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "base/async/sleep.h"
#include "base/log.h"
#include "core/membership/home_summary_api_client.h"
#include "core/membership/refresh_round.h"

namespace trelvis {
namespace {

const LogCategory kLog("home");

}  // namespace

Timestamp AccountSummaryStore::systemTime() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

AccountSummaryStore::AccountSummaryStore(std::shared_ptr<Executor> mainExecutor,
                                         std::shared_ptr<HomeSummaryServing> service,
                                         WallClock wallClock)
    : main_(std::move(mainExecutor)),
      wallClock_(std::move(wallClock)),
      service_(std::move(service)) {}

AccountSummaryStore::~AccountSummaryStore() {
  refreshTask_.cancel();
  nextReviewBoundaryTask_.cancel();
}

void AccountSummaryStore::activate(const std::optional<std::string>& userID) {
  if (userID == activeUserID_) return;
  ++generation_;
  activeUserID_ = userID;
  refreshRequested_ = false;
  refreshTask_.cancel();
  refreshTask_ = {};
  nextReviewBoundaryTask_.cancel();
  nextReviewBoundaryTask_ = {};
  if (summary_) {
    summary_.reset();
    changed_.emit();
  }
}

Async<void> AccountSummaryStore::refresh() {
  // Only the part before the wait touches the store: it may be gone by the end.
  co_await awaitRefreshRound(joinRefresh());
}

Task<void> AccountSummaryStore::joinRefresh() {
  if (!activeUserID_) return {};
  refreshRequested_ = true;
  if (refreshTask_) return refreshTask_;
  refreshTask_ = spawn(main_, [weak = weak_from_this(), context = context()] {
    return drainRefreshes(weak, context);
  });
  return refreshTask_;
}

Async<void> AccountSummaryStore::drainRefreshes(std::weak_ptr<AccountSummaryStore> weak,
                                                AccountSummaryContext context) {
  for (;;) {
    std::shared_ptr<HomeSummaryServing> service;
    if (auto self = weak.lock(); self && self->refreshRequested_ && self->isCurrent(context)) {
      self->refreshRequested_ = false;
      service = self->service_;
    } else {
      break;
    }

    std::optional<HomeSummary> summary;
    try {
      summary = co_await service->fetch();
    } catch (const CancellationError&) {
    } catch (const std::exception& error) {
      // The home page keeps the numbers it has.
      kLog.info("home summary refresh failed: {}", error.what());
    }

    if (isCancelled()) co_return;
    auto self = weak.lock();
    if (!self || !self->isCurrent(context)) co_return;
    if (summary) self->apply(summary, context);
  }
  if (auto self = weak.lock(); self && self->isCurrent(context)) self->refreshTask_ = {};
}

void AccountSummaryStore::requestRefresh() {
  spawn(main_, [weak = weak_from_this()]() -> Async<void> {
    Task<void> round;
    if (auto self = weak.lock()) round = self->joinRefresh();
    co_await awaitRefreshRound(std::move(round));
  }).detach();
}

void AccountSummaryStore::apply(const std::optional<HomeSummary>& summary,
                                const std::optional<AccountSummaryContext>& context) {
  if (!context || !context->userID || !isCurrent(*context)) return;
  if (!summary || !summary->isWellFormed()) {
    requestRefresh();
    return;
  }
  if (summary_) {
    if (summary->snapshotAt < summary_->snapshotAt) return;
    if (summary->snapshotAt == summary_->snapshotAt) {
      // The same moment with other numbers: the server contradicts itself, so
      // ask it again rather than pick one.
      if (*summary != *summary_) requestRefresh();
      return;
    }
  }
  summary_ = summary;
  changed_.emit();
  scheduleNextReviewBoundary(summary->nextReviewDueAt, *context);
}

void AccountSummaryStore::scheduleNextReviewBoundary(std::optional<Timestamp> dueAt,
                                                     const AccountSummaryContext& context) {
  nextReviewBoundaryTask_.cancel();
  nextReviewBoundaryTask_ = {};
  if (!dueAt) return;
  const Duration delay = std::max<Duration>(*dueAt - wallClock_(), kMinimumBoundaryDelay);
  nextReviewBoundaryTask_ =
      spawn(main_, [weak = weak_from_this(), context, delay]() -> Async<void> {
        co_await sleepFor(delay);
        Task<void> round;
        if (auto self = weak.lock(); self && !isCancelled() && self->isCurrent(context)) {
          round = self->joinRefresh();
        }
        co_await awaitRefreshRound(std::move(round));
      });
}

}  // namespace trelvis
