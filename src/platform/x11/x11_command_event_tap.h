#pragma once

// X11CommandEventTap: the global, listen-only command tap on X11. While started,
// a dedicated thread ("trelvis-cmdtap") with its own X connection reads XInput2
// raw key, button and motion events of the root window (which reach it whatever
// other clients grab) and XKB's lock state, and hands each event of the command
// tap's set (flags changed, key down, left/right/other mouse down, left mouse up,
// left mouse dragged) to the handler on that thread, with the pointer position in
// bottom-left global points. Nothing is ever consumed. The shortcut controller's
// command tap monitor owns it; start(), stop() and enable() may be called from
// any thread.

#include <string>

#include "core/triggers/input_events.h"
#include "platform/x11/x11_tap_sessions.h"

namespace trelvis {

class X11CommandEventTap final : public CommandEventTapManaging {
 public:
  struct Options {
    // The X display to watch; empty means $DISPLAY.
    std::string displayName;
    // Drop what the XTest devices produce, which includes the keys this program
    // posts itself. Off by default: tests drive the tap with XTest.
    bool ignoreSyntheticInput = false;
    // The interface's scale: reported positions are root pixels divided by it.
    double pixelsPerPoint = 1;
  };

  X11CommandEventTap();
  explicit X11CommandEventTap(Options options);
  // Stops the tap and waits for every tap thread it started to end.
  ~X11CommandEventTap() override;
  X11CommandEventTap(const X11CommandEventTap&) = delete;
  X11CommandEventTap& operator=(const X11CommandEventTap&) = delete;

  // Stops a running tap, then starts one. False when the display cannot be opened
  // or its server lacks XInput 2.1. Returns once the thread is reading events.
  bool start(EventHandler handler) override;
  // Tells the thread to end and returns without waiting for it; the handler is
  // not called for events read after this.
  void stop() override;
  // X never disables a listener, so there is nothing to re-enable.
  void enable() override;

 private:
  class Session;

  Options options_;
  x11::TapSessions<Session> sessions_;
};

}  // namespace trelvis
