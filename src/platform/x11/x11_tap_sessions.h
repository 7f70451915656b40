#pragma once

// x11::TapSessions: the running session of an X11 tap and the stopped ones whose
// threads may still be ending. A tap's stop() must not wait for its thread, yet
// the thread's state has to live until the thread is done; stopped sessions are
// therefore kept here, destroyed (which joins their threads) once they have
// ended, and at the latest with the tap. `Session` has requestStop() and
// hasExited(), and its destructor joins its thread. Thread-safe.

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "base/log.h"

namespace trelvis::x11 {

template <class Session>
class TapSessions {
 public:
  TapSessions() = default;
  ~TapSessions() {
    stop([] {});
    std::vector<std::unique_ptr<Session>> retired;
    {
      std::lock_guard lock(mutex_);
      retired.swap(retired_);
    }
  }
  TapSessions(const TapSessions&) = delete;
  TapSessions& operator=(const TapSessions&) = delete;

  // Asks the running session to end, without waiting; `onStopping` runs first,
  // when there is one to stop.
  template <class OnStopping>
  void stop(OnStopping&& onStopping) {
    std::lock_guard lock(mutex_);
    if (!running_) return;
    onStopping();
    running_->requestStop();
    retired_.push_back(std::move(running_));
  }

  // Destroys the stopped sessions whose threads have ended.
  void reapEnded() {
    std::vector<std::unique_ptr<Session>> ended;
    {
      std::lock_guard lock(mutex_);
      auto running = std::stable_partition(retired_.begin(), retired_.end(),
                                           [](const auto& s) { return s->hasExited(); });
      std::move(retired_.begin(), running, std::back_inserter(ended));
      retired_.erase(retired_.begin(), running);
    }
  }

  // Makes `session` the running one; one that another caller installed
  // meanwhile is stopped.
  void install(std::unique_ptr<Session> session) {
    std::lock_guard lock(mutex_);
    if (running_) {
      running_->requestStop();
      retired_.push_back(std::move(running_));
    }
    running_ = std::move(session);
  }

  bool isRunning() const {
    std::lock_guard lock(mutex_);
    return running_ != nullptr;
  }

  // A tap's start(), stop() and enable(), with the log lines every tap writes.
  // `session` is started here; one that fails is dropped, and false returned.
  bool startLogged(std::unique_ptr<Session> session, const LogCategory& log,
                   std::string_view threadLabel) {
    stopLogged(log);
    reapEnded();
    if (!session->start()) {
      if (!session->displayOpened()) {
        log.error("tap create failed: {} cannot open the X display", threadLabel);
      }
      return false;
    }
    install(std::move(session));
    log.notice("tap created + enabled on dedicated thread");
    return true;
  }
  void stopLogged(const LogCategory& log) {
    stop([&log] { log.notice("stopping tap; tearing down dedicated thread"); });
  }
  void enableLogged(const LogCategory& log) const {
    if (isRunning()) log.notice("tap re-enabled");
  }

 private:
  mutable std::mutex mutex_;
  std::unique_ptr<Session> running_;
  std::vector<std::unique_ptr<Session>> retired_;
};

}  // namespace trelvis::x11
