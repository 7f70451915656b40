#pragma once

// FakeCommandEventTap: a command tap that the test drives. `send` delivers an event
// to the installed handler as the tap thread would (from whichever thread calls
// it). Counts start, stop and enable; `onEnable` runs inside enable(), so a test
// can place the re-enable in an ordered log.

#include <atomic>
#include <functional>
#include <utility>

#include "core/triggers/input_events.h"

namespace trelvis {

class FakeCommandEventTap final : public CommandEventTapManaging {
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

  // False when no tap runs, so nothing was delivered.
  bool send(InputEventType type, uint16_t keyCode = 0, uint64_t modifierFlags = 0,
            Point location = {}) const {
    if (!handler_) return false;
    handler_(type, keyCode, modifierFlags, location);
    return true;
  }

  bool startSucceeds = true;
  std::function<void()> onEnable;
  std::atomic<int> startCount{0};
  std::atomic<int> stopCount{0};
  std::atomic<int> enableCount{0};

 private:
  EventHandler handler_;
};

}  // namespace trelvis
