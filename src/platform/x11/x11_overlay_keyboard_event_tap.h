#pragma once

// X11OverlayKeyboardEventTap: the overlay's keyboard tap on X11. While started
// (which the owner of the translation card does while the card shows), a
// dedicated thread ("trelvis-kbdtap") with its own X connection holds passive
// grabs on the root window of exactly Escape and the copy chord Control+C, in
// every Caps Lock / Num Lock variant; no other key is touched. Each grabbed
// press, its auto-repeats and its release go to the handler on that thread as
// key codes 53 (Escape) and 8 (C), with Control reported as the Command flag,
// since that is this platform's copy chord. A key the handler declines goes on
// to the focused application as the very event it was (the grab replays it), so
// a pinned card lets Escape through. Any thread may call start/stop/enable.

#include <string>

#include "core/triggers/input_events.h"
#include "platform/x11/x11_tap_sessions.h"

namespace trelvis {

class X11OverlayKeyboardEventTap final : public OverlayKeyboardEventTapManaging {
 public:
  // `displayName` empty means $DISPLAY.
  explicit X11OverlayKeyboardEventTap(std::string displayName = {});
  // Stops the tap and waits for every tap thread it started to end.
  ~X11OverlayKeyboardEventTap() override;
  X11OverlayKeyboardEventTap(const X11OverlayKeyboardEventTap&) = delete;
  X11OverlayKeyboardEventTap& operator=(const X11OverlayKeyboardEventTap&) = delete;

  // Stops a running tap, then grabs the two keys. False when the display cannot
  // be opened or other clients hold both grabs; when only one is taken, the tap
  // runs with the other. Returns once the grabs are in place.
  bool start(EventHandler handler) override;
  // Tells the thread to release the grabs and end; does not wait for it.
  void stop() override;
  // X never disables a grab, so there is nothing to re-enable.
  void enable() override;

 private:
  class Session;

  std::string displayName_;
  x11::TapSessions<Session> sessions_;
};

}  // namespace trelvis
