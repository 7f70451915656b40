#pragma once

// FakeCommandEventTap: a command tap that the test drives. `send` delivers an event
// to the installed handler as the tap thread would (from whichever thread calls it).

#include "core/triggers/input_events.h"
#include "support/fake_tap.h"

namespace trelvis {

class FakeCommandEventTap final : public FakeTap<CommandEventTapManaging> {
 public:
  // False when no tap runs, so nothing was delivered.
  bool send(InputEventType type, uint16_t keyCode = 0, uint64_t modifierFlags = 0,
            Point location = {}) const {
    if (!handler_) return false;
    handler_(type, keyCode, modifierFlags, location);
    return true;
  }
};

}  // namespace trelvis
