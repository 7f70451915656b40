#pragma once

// FakeOverlayKeyboardTap: an overlay keyboard tap that the test drives. `send`
// hands a key event to the installed handler and answers whether it was
// swallowed; with no tap running every event goes on. Counts start, stop and
// enable.

#include <atomic>
#include <functional>
#include <utility>

#include "core/triggers/input_events.h"

namespace trelvis {

class FakeOverlayKeyboardTap final : public OverlayKeyboardEventTapManaging {
 public:
  bool start(EventHandler handler) override {
    ++startCount;
    if (!startSucceeds) return false;
    handler_ = std::move(handler);
    return true;
  }
  void stop() override {
    ++stopCount;
    handler_ = nullptr;
  }
  void enable() override {
    ++enableCount;
    if (onEnable) onEnable();
  }

  bool isStarted() const { return static_cast<bool>(handler_); }

  // Whether the event was swallowed.
  bool send(const OverlayKeyboardEvent& event) const { return handler_ && handler_(event); }

  bool startSucceeds = true;
  std::function<void()> onEnable;
  std::atomic<int> startCount{0};
  std::atomic<int> stopCount{0};
  std::atomic<int> enableCount{0};

 private:
  EventHandler handler_;
};

}  // namespace trelvis
