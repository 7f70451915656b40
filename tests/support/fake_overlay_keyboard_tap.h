#pragma once

// FakeOverlayKeyboardTap: an overlay keyboard tap that the test drives. `send`
// hands a key event to the installed handler and answers whether it was
// swallowed; with no tap running every event goes on.

#include "core/triggers/input_events.h"
#include "support/fake_tap.h"

namespace trelvis {

class FakeOverlayKeyboardTap final : public FakeTap<OverlayKeyboardEventTapManaging> {
 public:
  // Whether the event was swallowed.
  bool send(const OverlayKeyboardEvent& event) const { return handler_ && handler_(event); }
};

}  // namespace trelvis
