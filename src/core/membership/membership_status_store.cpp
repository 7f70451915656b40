#include "core/membership/membership_status_store.h"

#include <exception>
#include <utility>

#include "base/async/sleep.h"
#include "base/log.h"
#include "core/membership/membership_status_api_client.h"
#include "core/membership/refresh_round.h"

namespace trelvis {
namespace {

const LogCategory kLog("membership");

}  // namespace

MembershipStatusStore::MembershipStatusStore(std::shared_ptr<Executor> mainExecutor,
                                             std::shared_ptr<MembershipStatusServing> service,
                                             Duration translationRefreshDelay)
    : main_(std::move(mainExecutor)),
      service_(std::move(service)),
      translationRefreshDelay_(translationRefreshDelay) {}

MembershipStatusStore::~MembershipStatusStore() {
  refreshTask_.cancel();
  translationRefreshTask_.cancel();
}

bool MembershipStatusStore::isCurrent(const MembershipStatusContext& context) const {
  return context == this->context();
}

std::optional<MembershipStatusContext> MembershipStatusStore::activeContext() const {
  if (!activeUserID_) return std::nullopt;
  return context();
}

std::optional<MembershipPlanCode> MembershipStatusStore::currentPlan() const {
  if (!status_) return std::nullopt;
  return status_->plan.code;
}

void MembershipStatusStore::activate(const std::optional<std::string>& userID) {
  if (userID == activeUserID_) return;
  ++generation_;
  activeUserID_ = userID;
  refreshTask_.cancel();
  refreshTask_ = {};
  translationRefreshTask_.cancel();
  translationRefreshTask_ = {};
  refreshRequested_ = false;
  isRefreshing_ = false;
  lastRefreshFailed_ = false;
  setStatus(std::nullopt);
}

Async<void> MembershipStatusStore::refresh() {
  // Only the part before the wait touches the store: it may be gone by the end.
  co_await awaitRefreshRound(joinRefresh());
}

Task<void> MembershipStatusStore::joinRefresh() {
  if (!activeUserID_) return {};
  refreshRequested_ = true;
  if (refreshTask_) return refreshTask_;
  translationRefreshTask_.cancel();
  translationRefreshTask_ = {};
  setFlags(true, lastRefreshFailed_);
  refreshTask_ = spawn(main_, [weak = weak_from_this(), context = context()] {
    return drainRefreshes(weak, context);
  });
  return refreshTask_;
}

Async<void> MembershipStatusStore::drainRefreshes(std::weak_ptr<MembershipStatusStore> weak,
                                                  MembershipStatusContext context) {
  for (;;) {
    std::shared_ptr<MembershipStatusServing> service;
    if (auto self = weak.lock();
        self && self->refreshRequested_ && self->isCurrent(context) && !isCancelled()) {
      self->refreshRequested_ = false;
      service = self->service_;
    } else {
      break;
    }

    std::optional<MembershipStatus> status;
    bool failed = false;
    try {
      status = co_await service->fetch();
    } catch (const CancellationError&) {
    } catch (const std::exception& error) {
      kLog.warning("membership status refresh failed: {}", error.what());
      failed = true;
    }

    auto self = weak.lock();
    if (!self) co_return;
    if (!self->isCurrent(context) || isCancelled()) continue;
    if (status && !status->isValid()) {
      kLog.warning("membership status refresh failed: {}",
                   MembershipStatusAPIError::invalidResponse().what());
      status.reset();
      failed = true;
    }
    if (status) {
      self->apply(*status, context);
      self->setFlags(self->isRefreshing_, false);
    } else if (failed) {
      self->setFlags(self->isRefreshing_, true);
    }
  }
  if (auto self = weak.lock(); self && self->isCurrent(context)) {
    self->refreshTask_ = {};
    self->setFlags(false, self->lastRefreshFailed_);
  }
}

void MembershipStatusStore::apply(const MembershipStatus& status,
                                  const MembershipStatusContext& context) {
  if (!isCurrent(context) || !status.isValid()) return;
  // An older reply that arrives late must not replace a newer one.
  if (status_ && status.serverTime <= status_->serverTime) return;
  setStatus(status);
}

void MembershipStatusStore::requestRefresh() {
  if (!activeUserID_) return;
  spawn(main_, [weak = weak_from_this(), context = context()]() -> Async<void> {
    Task<void> round;
    if (auto self = weak.lock(); self && self->isCurrent(context)) round = self->joinRefresh();
    co_await awaitRefreshRound(std::move(round));
  }).detach();
}

void MembershipStatusStore::requestRefreshAfterTranslation(
    const std::optional<MembershipStatusContext>& context) {
  if (!context || !isCurrent(*context)) return;
  translationRefreshTask_.cancel();
  translationRefreshTask_ =
      spawn(main_,
            [weak = weak_from_this(), context = *context,
             delay = translationRefreshDelay_]() -> Async<void> {
              co_await sleepFor(delay);
              Task<void> round;
              if (auto self = weak.lock(); self && self->isCurrent(context) && !isCancelled()) {
                self->translationRefreshTask_ = {};
                round = self->joinRefresh();
              }
              co_await awaitRefreshRound(std::move(round));
            });
}

void MembershipStatusStore::setStatus(std::optional<MembershipStatus> status) {
  status_ = std::move(status);
  if (onStatusChanged) onStatusChanged(status_);
  changed_.emit();
}

void MembershipStatusStore::setFlags(bool isRefreshing, bool lastRefreshFailed) {
  if (isRefreshing == isRefreshing_ && lastRefreshFailed == lastRefreshFailed_) return;
  isRefreshing_ = isRefreshing;
  lastRefreshFailed_ = lastRefreshFailed;
  changed_.emit();
}

}  // namespace trelvis
