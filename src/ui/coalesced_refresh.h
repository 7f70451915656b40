#pragma once

// CoalescedRefresh: how a view follows an observable model. The view connects to
// the model's change signal and calls schedule() for every change it cares about;
// the refresh then runs once, on the next turn of the Qt event loop, however many
// changes came in meanwhile. A model that writes several fields in a row (a state,
// then a request to fit the card) is seen once, settled, and a stream of small
// changes costs one update per turn. Main thread only; a refresh still pending
// when this object or its context goes away never runs.

#include <QMetaObject>
#include <QObject>

#include <functional>
#include <memory>
#include <utility>

namespace trelvis {

class CoalescedRefresh {
 public:
  CoalescedRefresh(QObject* context, std::function<void()> refresh)
      : context_(context), state_(std::make_shared<State>(State{false, std::move(refresh)})) {}
  CoalescedRefresh(const CoalescedRefresh&) = delete;
  CoalescedRefresh& operator=(const CoalescedRefresh&) = delete;

  void schedule() {
    if (state_->scheduled) return;
    state_->scheduled = true;
    QMetaObject::invokeMethod(
        context_,
        [weak = std::weak_ptr<State>(state_)] {
          if (const auto state = weak.lock()) run(*state);
        },
        Qt::QueuedConnection);
  }

  // Runs a scheduled refresh now; the queued call then finds nothing to do.
  void flush() { run(*state_); }

  bool isScheduled() const { return state_->scheduled; }

 private:
  struct State {
    bool scheduled;
    std::function<void()> refresh;
  };

  static void run(State& state) {
    if (!state.scheduled) return;
    state.scheduled = false;
    state.refresh();
  }

  QObject* context_;
  std::shared_ptr<State> state_;
};

}  // namespace trelvis
